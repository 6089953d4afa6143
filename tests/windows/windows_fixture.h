// A headless screen with a painted page under it, and a little main loop that feeds synthetic
// events to the Windows the way the program's loop does.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>

#include <string>
#include <vector>

#include "host/host.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/primitives.h"
#include "project/layers.h"
#include "project/page.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "start/settings.h"
#include "start/workspace.h"
#include "windows/system.h"
#include "windows/window.h"

namespace vela {

struct Call {
  int id;
  int code;
  bool operator==(const Call&) const = default;
};

class WindowsTest : public ::testing::Test {
 public:
  // What the handlers were called with, in order.
  static void Record(Window*, Gadget* g, int code) { calls.push_back({g ? g->id : 0, code}); }
  static inline std::vector<Call> calls;

 protected:
  static constexpr int kW = 640, kH = 480;

  void SetUp() override {
    HostConfig hc;
    hc.headless = true;
    hc.width = kW;
    hc.height = kH;
    std::string err;
    ASSERT_TRUE(HostOpen(hc, &err)) << err;
    ResetInput();
    Ws = Workspace{};
    for (int i = 0; i < kSysColorCount; ++i) Ws.sysColors[i] = kDefaultSysColors[i];
    page_.reset(NewBlock(200, 150));
    for (int y = 0; y < 150; ++y)
      for (int x = 0; x < 200; ++x) PutPixel(page_.get(), x, y, PenPixel(x, y, (x * y) & 255));
    Ws.page = page_.get();
    Ws.pageX = 100;
    Ws.pageY = 80;
    Ws.pageWidth = 200;
    Ws.pageHeight = 150;
    Ws.opacity = 255;
    MainSet.magnet = true;
    SystemSet.bulle = 2;
    RaiseOnDrag = true;
    SolidDragLimit = 640 * 480;
    PictureToBrush = nullptr;
    ActionKeyName = nullptr;
    QuitRequest = ExitFlag = 0;
    InstallWindowSystem();
    RepaintScreen();
    calls.clear();
  }

  void TearDown() override {
    CloseAllWindows();
    Ws.page = nullptr;
    Loop() = LoopHooks{};
    Input() = InputHooks{};
    HostClose();
  }

  // Queues events for a loop of the test's own; event times count from 0.
  void Feed(const std::string& events) {
    std::string err;
    HostSetVirtualClock(true);
    ASSERT_TRUE(HostLoadEvents(events + "\nwait 10\n", &err)) << err;
    QuitRequest = 0;
  }

  // Feeds events and runs the loop's read and tool step until they are used up.
  void Drive(const std::string& events) {
    Feed(events);
    for (int guard = 0; guard < 100000 && !QuitRequest; ++guard) {
      int count = ReadEvents(1);
      if (count == 0) {
        HostWaitEvent(20);
        if (!QuitRequest) WindowsTick();
        continue;
      }
      ToolStep();
      In.clickState = 0;
    }
    QuitRequest = 0;
  }

  // A Window with a frame: close, title and depth gadgets and a body colour, at (x, y).
  Window* Make(int x, int y, int w, int h, Gadget* table, Pixel body = 0) {
    Window* win = CreateWindow(w, h, 0);
    EXPECT_NE(win, nullptr);
    win->gadgets = table;
    win->handler = Record;
    win->title = "Test";
    DrawWindow(win);
    if (body) FillBlock(win->picture, body);
    MoveWindow(win, x, y);
    ShowWindow(win);
    return win;
  }

  std::vector<uint32_t> Screen() {
    HostScreen s = HostFramebuffer();
    std::vector<uint32_t> out;
    for (int y = 0; y < s.height; ++y)
      out.insert(out.end(), s.pixels + y * s.stride, s.pixels + y * s.stride + s.width);
    return out;
  }
  uint32_t At(int x, int y) {
    HostScreen s = HostFramebuffer();
    return s.pixels[y * s.stride + x];
  }
  // True when the screen rectangle shows the Window's picture from (px, py).
  bool Shows(const Window* w, int x, int y, int width, int height) {
    for (int r = 0; r < height; ++r)
      for (int c = 0; c < width; ++c)
        if (At(x + c, y + r) != w->picture->Row(y + r - w->top)[x + c - w->left]) return false;
    return true;
  }

  static std::vector<Pixel> Picture(const Window* w) {
    return {w->picture->data, w->picture->data + w->width * w->height};
  }

  BlockPtr page_;
};

// The Windows over a project: a 96 by 64 page, a cache in a temporary folder, messages silenced.
class ProjectWindowsTest : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    ASSERT_TRUE(BuildPixelTables());
    old_sink_ = SetMessageSink([](const char*) {});
    std::string pattern = (std::filesystem::temp_directory_path() / "vela_win_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    Paths().tempDir = dir_ + "/";
    ASSERT_EQ(CacheStartWithLimit(64 << 20), 1);
    Ws.undoMode = 0;
    ASSERT_EQ(OpenGraphicsBlocks(), 0);
    ASSERT_TRUE(MakePage(96, 64));
    ASSERT_TRUE(StartProject());
  }
  void TearDown() override {
    ReleaseProject();
    ReleasePage();
    CacheStop();
    std::filesystem::remove_all(dir_);
    SetMessageSink(old_sink_);
    WindowsTest::TearDown();
  }
  MessageSink old_sink_ = nullptr;
  std::string dir_;
};

}  // namespace vela
