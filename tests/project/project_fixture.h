// The project fixture: pixel tables, a cache in a temporary directory, a 96 by 64 page and a
// fresh project; messages are recorded.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <vector>

#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/primitives.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/input.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "start/workspace.h"

namespace vela {
namespace {

constexpr Pixel kRed = 0xFFFF0000, kBlue = 0xFF0000FF, kGreen = 0xFF00FF00;

std::vector<std::string> g_messages;
void Record(const char* text) {
  g_messages.emplace_back(text);
}

class Project : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(BuildPixelTables());
    g_messages.clear();
    old_sink_ = SetMessageSink(Record);
    std::string pattern = (std::filesystem::temp_directory_path() / "vela_project_XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
    Paths().tempDir = dir_ + "/";
    ASSERT_EQ(CacheStartWithLimit(64 << 20), 1);
    Ws.undoMode = 0;
    Restart(96, 64);
  }
  void TearDown() override {
    ReleaseProject();
    ReleasePage();
    CacheStop();
    std::filesystem::remove_all(dir_);
    SetMessageSink(old_sink_);
  }
  // A fresh project on a new page.
  static void Restart(int width, int height) {
    ReleaseProject();
    ReleasePage();
    ASSERT_EQ(OpenGraphicsBlocks(), 0);
    ASSERT_TRUE(MakePage(width, height));
    ASSERT_TRUE(StartProject());
  }
  // What a drawing primitive does: change pixels and widen the dirty rectangle.
  static void Paint(int x0, int y0, int x1, int y1, Pixel p) {
    FillRect(Ws.page, x0, y0, x1, y1, p);
    MarkChanged(x0, y0, x1, y1);
  }
  static void Press(int x = 0, int y = 0) {
    In.pageX = x, In.pageY = y;
    SaveUndo();
  }
  static Pixel At(int x, int y) { return GetPixel(Ws.page, x, y); }
  static std::vector<Pixel> PagePixels() {
    return {Ws.page->data, Ws.page->data + Ws.page->width * Ws.page->height};
  }
  static bool Seen(const char* text) {
    for (const auto& m : g_messages)
      if (m == text) return true;
    return false;
  }
  MessageSink old_sink_ = nullptr;
  std::string dir_;
};

}  // namespace
}  // namespace vela
