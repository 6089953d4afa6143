// Keys in the main loop over the Windows: F12 and ctrl F12 through the key map, the demo's free
// key, and what the map leaves to the front Window.
#include <string>
#include <vector>

#include "start/actions.h"
#include "start/key_map.h"
#include "windows/demo.h"
#include "windows_fixture.h"

namespace vela {
namespace {

std::vector<std::string> g_keys;
int OnKey(const char* text, int count, int, Window* w, int code, int mods) {
  g_keys.push_back(std::string(w->title) + " " + std::to_string(code) + " " + text + " " +
                   std::to_string(count) + " " + std::to_string(mods));
  return 0;
}
void CloseIt(Window* w) {
  DeleteWindow(w);
}
const ActionRow kUndo[] = {{"Undo", [] { g_keys.push_back("Undo"); }}};

class WindowKeys : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    Input().keyMap = KeyMapEvent;
    InstallWindowSystem();
    BuildActionTable();
    saved_ = CurrentKeyMap();
    AddActions(kUndo);
    old_sink_ = SetMessageSink([](const char* text) { g_keys.push_back(text); });
    g_keys.clear();
    back_ = Make(20, 20, 200, 120, table_, 0xFF3060A0);
    back_->onClose = CloseIt;
    back_->onKey = OnKey;
    back_->title = "back";
    front_ = Make(100, 60, 200, 120, table_, 0xFFA06030);
    front_->onKey = OnKey;
    front_->title = "front";
  }
  void TearDown() override {
    CloseDemoWindow();
    RemoveActions(kUndo);
    CurrentKeyMap() = saved_;
    SetMessageSink(old_sink_);
    WindowsTest::TearDown();
  }
  Gadget table_[2] = {{0, 0, -1, -1, kGadFrame, kGadInert | kGadBox}, {}};
  Window *back_ = nullptr, *front_ = nullptr;
  KeyMap saved_;
  MessageSink old_sink_ = nullptr;
};

TEST_F(WindowKeys, F12HidesAndShowsTheWindowsAndCtrlF12ClosesThem) {
  const std::vector<uint32_t> before = Screen();
  Drive("key F12");
  EXPECT_FALSE(back_->shown || front_->shown);
  Drive("key F12");
  EXPECT_TRUE(back_->shown && front_->shown);
  EXPECT_EQ(Ws.frontWindow, front_) << "the order of the stack stays";
  EXPECT_EQ(Screen(), before);
  Drive("key ctrl+F12");
  EXPECT_FALSE(WindowListed(back_));
  EXPECT_TRUE(WindowListed(front_)) << "it has no close button";
  // The row is the user's.
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "F12", "CloseAllWindows"));
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "ctrl F12", ""));
  Drive("key ctrl+F12\nkey F12");
  EXPECT_TRUE(front_->shown);
  EXPECT_EQ(g_keys, std::vector<std::string>{"front 123  0 4"});
}

TEST_F(WindowKeys, TheDemoHasTheFreeCtrlShiftF12) {
  Drive("key ctrl+shift+F12");
  EXPECT_TRUE(DemoWindowOpen());
  // An open Window asked for while F12 hides them all shows again, and only it.
  Drive("key F12");
  EXPECT_TRUE(OpenDemoWindow()->shown);
  EXPECT_FALSE(front_->shown);
  Drive("key ctrl+shift+F12\nkey F12");
  EXPECT_FALSE(DemoWindowOpen());
  EXPECT_TRUE(front_->shown);
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "ctrl shift F12", "HideShowWindows"));
  Drive("key ctrl+shift+F12");
  EXPECT_FALSE(DemoWindowOpen());
  EXPECT_FALSE(front_->shown);
}

// Only the front Window hears a key, with the character of its press; a bound key's press and a
// Window hidden in front are not for it.
TEST_F(WindowKeys, KeysTheMapLeavesGoToTheFrontWindow) {
  Drive("key k\nchar k\nkey F10\nkey u");
  const std::vector<std::string> front = {"front 75  0 0", "front 1234567 k 1 0", "front 121  0 0",
                                          "Undo"};
  EXPECT_EQ(g_keys, front);
  g_keys.clear();
  HideWindow(front_);
  Drive("key alt+x");
  EXPECT_EQ(g_keys, std::vector<std::string>{"back 88  0 8"});
}

}  // namespace
}  // namespace vela
