// The action table, the key names of events and the keyboard map with its files.
#include "start/key_map.h"

#include <strings.h>
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "host/host.h"
#include "start/actions.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start_fixture.h"

namespace vela {
namespace {

std::vector<std::string> g_log;
void LogMessage(const char* text) {
  g_log.push_back(std::string("message ") + text);
}
void Ran(const char* what) {
  g_log.push_back(what);
}
const ActionRow kRows[] = {
    {"Undo", [] { Ran("Undo"); }},
    {"Refill", [] { Ran("Refill"); }},
    {"NextTool", [] { Ran("NextTool"); }},
};

class KeyMapTest : public HomeTest {
 protected:
  void SetUp() override {
    HomeTest::SetUp();
    static bool added = false;
    if (!added) AddActions(kRows);
    added = true;
    g_log.clear();
    old_ = SetMessageSink(LogMessage);
    ConfigOpen("test");
    BuildActionTable();
  }
  void TearDown() override {
    SetMessageSink(old_);
    UnboundKeyHook = nullptr;
    Loop().endTool = nullptr;
    In.shift = In.control = In.alt = 0;
    HomeTest::TearDown();
  }
  static std::string Bound(const char* key) {
    const std::string* s = KeyBinding(CurrentKeyMap(), key);
    return s ? *s : "<no row>";
  }
  MessageSink old_ = nullptr;
};

TEST_F(KeyMapTest, TheTableHoldsEveryNameSortedAndReportsWhatIsMissing) {
  auto table = ActionTable();
  ASSERT_EQ(table.size(), 180u);
  for (size_t i = 1; i < table.size(); ++i)
    EXPECT_LT(strcasecmp(table[i - 1].name.c_str(), table[i].name.c_str()), 0) << table[i].name;
  for (const char* name : {"SelectBrush", "ToolGouache", "LayerMergeDisplay", "CallRexx10",
                           "SaveAnimbrush", "PlayPreview", "MagicNumber", "OpenSettings"})
    EXPECT_NE(FindActionInfo(name), nullptr) << name;
  EXPECT_NE(FindActionInfo("undo"), nullptr) << "names compare without case";
  EXPECT_EQ(FindActionInfo("PreviousTools"), nullptr);

  // Two actions in one list run in order; one without a handler says so and the rest still runs.
  RunActions("Undo, Print ,Refill");
  ASSERT_EQ(g_log.size(), 3u);
  EXPECT_EQ(g_log[0], "Undo");
  EXPECT_EQ(g_log[1], "message Not available yet:\nFile: Print");
  EXPECT_EQ(g_log[2], "Refill");
  g_log.clear();
  RunActions("NoSuchAction,Undo");  // the console hears of the first; the second runs
  EXPECT_EQ(g_log, std::vector<std::string>{"Undo"});
  EXPECT_TRUE(ActionAvailable(*FindActionInfo("Undo")));
  EXPECT_FALSE(ActionAvailable(*FindActionInfo("Print")));
}

TEST_F(KeyMapTest, EventsGetTheNamesOfTheRowsAndTheDefaultMapBindsThem) {
  EXPECT_EQ(KeyRows().size(), 207u);
  struct Case {
    int code, character, qualifiers;
    const char* name;
    const char* action;
  };
  const Case cases[] = {
      {'A', 0, 0, "a", "NextTool"},
      {'A', 0, 1, "shift a", "OpenTools"},
      {'A', 0, 2, "ctrl a", "PreviousTools"},  // the later pair of the two wins
      {'Z', 0, 2, "ctrl z", "Undo"},
      {'U', 0, 1, "shift u", "Refill"},
      {'5', 0, 0, "5", "CenterZoom"},
      {104, 0, 0, "8", "ScrollUp"},  // the keypad, where the scroll keys lie
      {96, 0, 0, "0", "ToggleMixer"},
      {kCharacterCode, '+', 0, "+", "IncreaseToolsSize"},
      {kCharacterCode, '=', 0, "=", "DisplayAllLayer"},
      {kCharacterCode, '"', 0, "\"", "SelectOpacity"},
      {kCharacterCode, '[', 0, "[", "FlipPageX"},
      {38, 0, 0, "up", "PrevLayer"},
      {38, 0, 1, "shift up", "AnimBrushNextImage"},
      {37, 0, 2, "ctrl left", "MoveColorCaseLeft"},
      {36, 0, 0, "home", "LayerFirstImage"},
      {120, 0, 2, "ctrl F9", "Iconify"},
      {113, 0, 1, "shift F2", "CallRexx2"},
      {116, 0, 0, "F5", "DrawModeAlpha"},
      {8, 0, 0, "backspace", "ResetUndo"},
      {32, 0, 0, "space", "MenuOnOff"},
      {9, 0, 0, "tab", "CycleOnOff"},
      {'R', 0, 1, "shift r", "OpenRexx"},
      {34, 0, 3, "ctrl shift Page Down", ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(KeyName(c.code, c.character, c.qualifiers), c.name) << c.name;
    EXPECT_EQ(Bound(c.name), c.action) << c.name;
  }
  // Keys whose character follows, and characters whose key came first, have no name of their own.
  EXPECT_EQ(KeyName(kCharacterCode, 'a', 0), "");
  EXPECT_EQ(KeyName(kCharacterCode, 1, 2), "") << "ctrl a's control character";
  EXPECT_EQ(KeyName('1', 0, 1), "") << "shift 1 is named by its character";
  EXPECT_EQ(KeyName('A' | kKeyRelease, 0, 0), "");
  EXPECT_EQ(Bound("shift F10"), "<no row>");
  EXPECT_EQ(Bound("F10"), "<no row>");

  // A press runs what its key holds, in order.
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "x", "Refill,Undo"));
  KeyPressed('X', 0);
  EXPECT_EQ(g_log, (std::vector<std::string>{"Refill", "Undo"}));
  // The host's character of that same press is no typing, for a Requester the actions open;
  // the next one is.
  for (int c : {'x', 'x'}) {
    HostEvent t;
    t.type = HostEventType::Text;
    t.character = c;
    HostPushEvent(t);
  }
  InputEvent e;
  ASSERT_TRUE(PollEvent(0, &e));
  EXPECT_EQ(e.character, 'x');
  EXPECT_FALSE(PollEvent(0, &e));
}

// F12 and its forms are rows like any key; what no row takes goes on, the character of its
// press with it, and so does Escape once it has ended the tool.
TEST_F(KeyMapTest, KeysNoRowTakesGoOnToTheWindows) {
  UnboundKeyHook = [](int code, int c) {
    g_log.push_back("on " + std::to_string(code) + " " + std::to_string(c));
  };
  Loop().endTool = [] { Ran("end tool"); };
  struct Case {
    int code, character, qualifiers;
    std::vector<std::string> log;
  };
  const Case cases[] = {
      {123, 0, 0, {"message Not available yet:\nVela: Hide show windows"}},
      {123, 0, 2, {"message Not available yet:\nVela: Close all windows"}},
      {123, 0, 3, {"on 123 0"}},
      {'U', 0, 0, {"Undo"}},
      {'K', 0, 0, {"on 75 0"}},
      {kCharacterCode, 'k', 0, {"on 1234567 107"}},
      {'U', 0, 4, {"on 85 0"}},  // no row has alt
      {kCharacterCode, '!', 0, {"on 1234567 33"}},
      {27, 0, 0, {"end tool", "on 27 0"}},
      {'K' | kKeyRelease, 0, 0, {}},
      {16, 0, 1, {}},  // a key with no name
  };
  for (const Case& c : cases) {
    g_log.clear();
    In.shift = c.qualifiers & 1, In.control = (c.qualifiers & 2) != 0, In.alt = c.qualifiers >= 4;
    KeyPressed(c.code, c.character);
    EXPECT_EQ(g_log, c.log) << c.code << " " << c.qualifiers;
  }
  g_log.clear();
  In.shift = In.control = In.alt = 0;
  ASSERT_TRUE(SetKeyBinding(&CurrentKeyMap(), "F12", "Refill"));
  KeyPressed(123, 0);
  EXPECT_EQ(g_log, std::vector<std::string>{"Refill"});
}

// Every row is some key's name: its event, built from the row's words, is named back to it.
TEST_F(KeyMapTest, EveryRowIsReachedByAKey) {
  const std::pair<const char*, int> words[] = {
      {"Space", 32},   {"Tab", 9},        {"Home", 36},    {"End", 35},  {"Del", 46},
      {"Insert", 45},  {"Up", 38},        {"Down", 40},    {"Left", 37}, {"Right", 39},
      {"Page Up", 33}, {"Page Down", 34}, {"Backspace", 8}};
  for (const char* row : KeyRows()) {
    std::string rest = row;
    int q = 0;
    for (auto [prefix, bit] : {std::pair{"Ctrl ", 2}, std::pair{"Shift ", 1}})
      if (rest.rfind(prefix, 0) == 0 && rest.size() > std::strlen(prefix))
        rest.erase(0, std::strlen(prefix)), q |= bit;
    int code = 0, character = 0;
    for (auto [word, c] : words)
      if (rest == word) code = c;
    if (!code && rest.size() > 1 && rest[0] == 'F') code = 111 + std::stoi(rest.substr(1));
    if (!code && rest.size() == 1) {
      const char c = rest[0];
      if (std::isalnum(static_cast<unsigned char>(c)))
        code = std::toupper(static_cast<unsigned char>(c));
      else
        code = kCharacterCode, character = static_cast<unsigned char>(c);
    }
    EXPECT_EQ(strcasecmp(KeyName(code, character, q).c_str(), row), 0) << row;
  }
}

TEST_F(KeyMapTest, TheMapSurvivesItsSectionAndItsFiles) {
  KeyMap& map = CurrentKeyMap();
  SetKeyBinding(&map, "=", "Undo,Refill");
  SetKeyBinding(&map, "[", "");
  SetKeyBinding(&map, "\xA3", "NextTool");
  SaveKeyboardSettings();
  char value[64];
  ConfigGet("Keyboard", "equal", value, "", sizeof value);
  EXPECT_STREQ(value, "Undo,Refill");
  ConfigGet("Keyboard", "braquet", value, "", sizeof value);
  EXPECT_STREQ(value, "none");
  // A row stored as none overrides the default map at the next start.
  ConfigPut("Keyboard", "u", "none");
  BuildActionTable();
  EXPECT_EQ(Bound("u"), "");
  EXPECT_EQ(Bound("="), "Undo,Refill");
  EXPECT_EQ(Bound("["), "");
  EXPECT_EQ(Bound("ctrl z"), "Undo");

  const std::string path = (home_ / "keys.cfg").string();
  ASSERT_EQ(SaveKeyMapFile(path.c_str(), map), nullptr);
  const std::string text = Read(path);
  EXPECT_EQ(text.rfind("[Keyboard]\n", 0), 0u);
  EXPECT_NE(text.find("\nequal=Undo,Refill\n"), std::string::npos);
  EXPECT_NE(text.find("\nu=none\n"), std::string::npos);
  KeyMap loaded;
  ClearMap(&loaded);
  ASSERT_EQ(LoadKeyMapFile(path.c_str(), &loaded), nullptr);
  EXPECT_EQ(loaded.lists, map.lists);
  // Blanks around a value are no part of it.
  Write(path, "[Keyboard]\nu=none \nx= Undo\t\n");
  ASSERT_EQ(LoadKeyMapFile(path.c_str(), &loaded), nullptr);
  EXPECT_EQ(*KeyBinding(loaded, "u"), "");
  EXPECT_EQ(*KeyBinding(loaded, "x"), "Undo");
  ConfigPut("Keyboard", "x", "\tnone ");
  BuildActionTable();
  EXPECT_EQ(Bound("x"), "");
}

// A file that is no key map says why, and the map stays; a save makes no folder.
TEST_F(KeyMapTest, FilesThatAreNoKeyMapsSaySo) {
  fs::create_directories(home_ / "dir.cfg");
  Write(home_ / "pic.cfg", std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff[", 18));
  Write(home_ / "other.cfg", "[Main]\nu=none\n");
  const std::pair<const char*, const char*> loads[] = {
      {"missing.cfg", "File not found!"},
      {"dir.cfg", "Can't open file"},
      {"pic.cfg", "This is not a keyboard mapping file!"},
      {"other.cfg", "This is not a keyboard mapping file!"},
  };
  for (auto [name, error] : loads) {
    KeyMap map = CurrentKeyMap();
    const char* got = LoadKeyMapFile((home_ / name).string().c_str(), &map);
    EXPECT_STREQ(got ? got : "", error) << name;
    EXPECT_EQ(map.lists, CurrentKeyMap().lists) << name;
  }
  for (const char* name : {"no/such/keys.cfg", "dir.cfg"}) {
    const char* got = SaveKeyMapFile((home_ / name).string().c_str(), CurrentKeyMap());
    EXPECT_STREQ(got ? got : "", "Can't open file") << name;
  }
  EXPECT_FALSE(fs::exists(home_ / "no"));
}

}  // namespace
}  // namespace vela
