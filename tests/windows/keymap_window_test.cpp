// Edit Keyboard Mapping driven by presses: pick a key and an action, assign, take back, the map's
// copy until OK, and the files.
#include "windows/keymap_window.h"

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "start/ask.h"
#include "start/key_map.h"
#include "start/message.h"
#include "windows/windows_fixture.h"

namespace vela {
namespace {

std::string g_path;
bool AskPath(const char*, char* text, int capacity) {
  std::snprintf(text, static_cast<size_t>(capacity), "%s", g_path.c_str());
  return true;
}

class KeymapWindow : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    BuildActionTable();
    saved_ = CurrentKeyMap();
    handlers_.askText = AskPath;
    old_ask_ = SetAskHandlers(&handlers_);
    w_ = OpenKeymapWindow();
    ASSERT_NE(w_, nullptr);
    MoveWindow(w_, 10, 10);
  }
  void TearDown() override {
    CloseKeymapWindow();
    CurrentKeyMap() = saved_;
    SetAskHandlers(old_ask_);
    WindowsTest::TearDown();
  }
  // A click in the middle of a gadget of the Window.
  void Click(int id) {
    const Gadget* g = FindGadget(id, w_->gadgets);
    ASSERT_NE(g, nullptr);
    const int x = w_->left + (g->left + g->right) / 2, y = w_->top + (g->top + g->bottom) / 2;
    Drive("move " + std::to_string(x) + " " + std::to_string(y) + "\ndown left\nup left");
  }
  static int ActionRow(const char* name) {
    auto t = ActionTable();
    for (size_t i = 0; i < t.size(); ++i)
      if (t[i].name == name) return static_cast<int>(i);
    return -1;
  }
  static std::string Bound(const char* key) { return *KeyBinding(CurrentKeyMap(), key); }
  enum { kKeys = 1, kAssign = 10, kUnassign, kClear, kDefault, kLoad, kSave, kOk, kCancel };
  KeyMap saved_;
  AskHandlers handlers_{};
  const AskHandlers* old_ask_ = nullptr;
  Window* w_ = nullptr;
};

TEST_F(KeymapWindow, AssignAndUnassignWorkOnACopyUntilOK) {
  KeymapSelect(FindKeyRow("x"), ActionRow("Undo"));
  Click(kAssign);
  EXPECT_EQ(Bound("x"), "FlipBrushX") << "the map waits for OK";
  Click(kCancel);
  EXPECT_FALSE(KeymapWindowOpen());
  EXPECT_EQ(Bound("x"), "FlipBrushX");

  w_ = OpenKeymapWindow();
  MoveWindow(w_, 10, 10);
  KeymapSelect(FindKeyRow("x"), ActionRow("Undo"));
  Click(kAssign);
  KeymapSelect(FindKeyRow("x"), ActionRow("FlipBrushX"));
  Click(kUnassign);
  KeymapSelect(FindKeyRow("u"), ActionRow("Undo"));
  Click(kUnassign);
  Click(kOk);
  EXPECT_EQ(Bound("x"), "Undo");
  EXPECT_EQ(Bound("u"), "");

  // Clear Map leaves only what is assigned after it; Default brings the map back.
  w_ = OpenKeymapWindow();
  MoveWindow(w_, 10, 10);
  KeymapSelect(FindKeyRow("c"), ActionRow("Refill"));
  Click(kClear);
  Click(kAssign);
  Click(kOk);
  EXPECT_EQ(Bound("c"), "Refill");
  EXPECT_EQ(Bound("ctrl z"), "");
  w_ = OpenKeymapWindow();
  MoveWindow(w_, 10, 10);
  Click(kDefault);
  Click(kOk);
  EXPECT_EQ(Bound("c"), "SelectCircle");
  EXPECT_EQ(Bound("ctrl z"), "Undo");
}

TEST_F(KeymapWindow, ThePressedRowIsTheOneAssigned) {
  const Gadget* keys = FindGadget(kKeys, w_->gadgets);
  Drive("move " + std::to_string(w_->left + keys->left + 20) + " " +
        std::to_string(w_->top + keys->top + 2 * 14 + 6) + "\ndown left\nup left");
  const Gadget* acts = FindGadget(2, w_->gadgets);
  Drive("move " + std::to_string(w_->left + acts->left + 20) + " " +
        std::to_string(w_->top + acts->top + 6) + "\ndown left\nup left");
  Click(kClear);
  Click(kAssign);
  Click(kOk);
  EXPECT_EQ(Bound(KeyRows()[2]), ActionTable()[0].name);
}

// Save adds ".cfg" unless the name ends so in any case; Load reads the name as typed; what fails
// says so with the path.
TEST_F(KeymapWindow, SaveAndLoadGoThroughACfgFile) {
  const std::filesystem::path dir = std::filesystem::temp_directory_path() / "vela_keymap_test";
  std::filesystem::create_directories(dir);
  std::vector<std::string> said;
  static std::vector<std::string>* sink;
  sink = &said;
  const MessageSink old = SetMessageSink([](const char* text) { sink->push_back(text); });
  KeymapSelect(FindKeyRow("="), ActionRow("Quit"));
  Click(kAssign);
  for (const char* name : {"mine", "upper.CFG"}) {
    g_path = (dir / name).string();
    Click(kSave);
  }
  EXPECT_TRUE(std::filesystem::exists(dir / "mine.cfg"));
  EXPECT_TRUE(std::filesystem::exists(dir / "upper.CFG"));
  g_path = (dir / "no" / "keys").string();
  Click(kSave);
  EXPECT_FALSE(std::filesystem::exists(dir / "no"));
  g_path = dir.string() + "/";  // a folder is no file, and no hidden ".cfg" in it either
  Click(kSave);
  EXPECT_FALSE(std::filesystem::exists(dir / ".cfg"));
  Click(kClear);
  g_path = (dir / "mine").string();
  Click(kLoad);
  g_path = (dir / "upper.CFG").string();
  Click(kLoad);
  Click(kOk);
  EXPECT_EQ(said,
            (std::vector<std::string>{(dir / "no" / "keys.cfg").string() + "\nCan't open file",
                                      dir.string() + "/\nCan't open file",
                                      (dir / "mine").string() + "\nFile not found!"}));
  EXPECT_EQ(Bound("="), "DisplayAllLayer,Quit");
  EXPECT_EQ(Bound("u"), "Undo");
  SetMessageSink(old);
  std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace vela
