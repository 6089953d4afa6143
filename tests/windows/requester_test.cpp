// Requesters and the gauge on the headless screen, answered by synthetic events; with no events
// left a Requester takes its first button.
#include <algorithm>
#include <array>
#include <cstring>
#include <tuple>

#include "script/dispatcher.h"
#include "start/ask.h"
#include "start/gauge.h"
#include "start/message.h"
#include "windows/requester.h"
#include "windows_fixture.h"

namespace vela {
namespace {

class Requesters : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    InstallRequesters();
    GaugeEnabled = 1;
    BreakFlag = 0;
    RequesterShown = [](Window* w) {
      rows.clear();
      for (Gadget* g = w->gadgets; g->id; ++g) rows.push_back(*g);
      picture.reset(NewBlock(w->width, w->height));
      CopyRect(w->picture, 0, 0, picture.get(), 0, 0, w->width, w->height);
    };
    Feed("");
  }
  void TearDown() override {
    RequesterShown = nullptr;
    CloseGauge();
    SetAskHandlers(nullptr);
    SetGaugeHandlers(nullptr);
    SetMessageSink(nullptr);
    WindowsTest::TearDown();
  }
  // The events a person gives from now on; the feed's end stands for the person gone.
  void Feed(const std::string& events) {
    std::string err;
    HostEvent left;  // the end of an earlier feed, put back
    while (HostPollEvent(&left)) {
    }
    HostSetVirtualClock(true);
    ASSERT_TRUE(HostLoadEvents(events, &err)) << err;
    QuitRequest = 0;
  }
  // The shown Requester's rows as {left, top, right, bottom, id}.
  static std::vector<std::vector<int>> Rects() {
    std::vector<std::vector<int>> out;
    for (const Gadget& g : rows) out.push_back({g.left, g.top, g.right, g.bottom, g.id});
    return out;
  }
  static int Width() { return picture->width; }
  static int Height() { return picture->height; }
  static inline std::vector<Gadget> rows;
  static inline BlockPtr picture;
};

TEST_F(Requesters, QuestionsAreLaidOutByTheirTextAndLabels) {
  const int yes = TextWidth(" Yes "), no = TextWidth(" No "), ok = TextWidth(" OK ");
  ASSERT_GT(yes, 0) << "no interface font";

  // One short line: the labels set the width; empty labels are the defaults.
  EXPECT_EQ(RequesterAsk("Go?", "", nullptr), 1);
  int inner = std::max(TextWidth("Go?"), yes + no + 32);
  EXPECT_EQ(Width(), inner + 33);
  EXPECT_EQ(Height(), 63);
  EXPECT_EQ(Rects(), (std::vector<std::vector<int>>{{8, 32, 8 + yes + 16, 52, 2},
                                                    {inner + 24 - no - 16, 32, inner + 24, 52, 1},
                                                    {0, 0, inner + 32, 62, kGadFrame}}));
  EXPECT_STREQ(rows[0].label, " Yes ");
  EXPECT_EQ(rows[1].flags, 0x40000000u);
  EXPECT_EQ(rows[2].flags, 0x18000u);

  // Three lines: the long middle one sets the width, and the buttons go 39 pixels lower.
  const char* wide = "a line that is wider than both of the buttons together";
  std::string text = std::string("One\n") + wide + "\nThree";
  ASSERT_GT(TextWidth(wide), yes + no + 32);
  RequesterAsk(text.c_str(), " Yes ", " No ");
  inner = TextWidth(wide);
  EXPECT_EQ(Width(), inner + 33);
  EXPECT_EQ(Height(), 89);
  EXPECT_EQ(Rects()[1], (std::vector<int>{inner + 24 - no - 16, 58, inner + 24, 78, 1}));
  // Black text from x 16, one band of 13 rows a line from y 15, a grey shadow below and right.
  bool band[3] = {}, shadow = false;
  int leftmost = Width();
  for (int y = 0; y < Height(); ++y)
    for (int x = 0; x < 16 + inner; ++x) {
      if (GetPixel(picture.get(), x, y) != 0xFF000000u || y > 60) continue;
      leftmost = std::min(leftmost, x);
      ASSERT_GE(y, 15);
      band[std::min(2, (y - 15) / 13)] = true;
      shadow |= GetPixel(picture.get(), x + 1, y + 1) == 0xFFA0A0A0u;
    }
  EXPECT_TRUE(band[0] && band[1] && band[2]);
  EXPECT_TRUE(shadow);
  EXPECT_GE(leftmost, 16);

  // Message: one button, at least 30 wide, centred; an empty text is one line.
  RequesterMessage("");
  int button = std::max(30, ok + 16);
  EXPECT_EQ(Width(), button + 33);
  EXPECT_EQ(Height(), 63);
  EXPECT_EQ(Rects()[0], (std::vector<int>{16, 32, 16 + button, 52, 2}));

  // Ask3: three buttons 16 apart, the middle one centred.
  EXPECT_EQ(RequesterAsk3("?", nullptr, nullptr, nullptr), 0);
  const int a3 = TextWidth(" 42 ");
  inner = yes + no + a3 + 64;
  EXPECT_EQ(Width(), inner + 33);
  EXPECT_EQ(rows[1].left, (inner + 33 - no - 16) / 2);
  EXPECT_EQ(rows[2].right, inner + 24);

  // Text prompts: 76 high, 204 wide or the title + 32.
  char buf[8] = "x";
  RequesterAskText("T", buf, sizeof buf);
  EXPECT_EQ(Width(), 204);
  EXPECT_EQ(Height(), 76);
  RequesterAskText(wide, buf, sizeof buf);
  EXPECT_EQ(Width(), TextWidth(wide) + 32);
}

TEST_F(Requesters, KeysAndReleasesOnAButtonAnswer) {
  // Return is the first button and Escape the second whatever the labels; other keys do nothing;
  // with nobody there the first button answers; the person may take a while.
  for (auto [events, ask, ask3] :
       std::vector<std::tuple<std::string, int, int>>{{"key Return", 1, 0},
                                                      {"key Escape", 0, 1},
                                                      {"key Tab\nchar y\nkey Escape", 0, 1},
                                                      {"", 1, 0},
                                                      {"wait 5000\nkey Escape", 0, 1}}) {
    Feed(events);
    EXPECT_EQ(RequesterAsk("Sure?", "Cancel", " OK "), ask) << events;
    Feed(events);
    EXPECT_EQ(RequesterAsk3("Which?", "A", "B", "C"), ask3) << events;
  }

  // A press answers when its release is on the same button; the right button does nothing here.
  const int yes = TextWidth(" Yes ") + 16, no = TextWidth(" No ") + 16;
  const int w = std::max(TextWidth("Sure?"), yes + no) + 33, left = (kW - w) / 2;
  auto at = [&](int x) {
    return "move " + std::to_string(left + x) + " " + std::to_string((kH - 63) / 2 + 42) + "\n";
  };
  const std::string onYes = at(8 + yes / 2), onNo = at(w - 9 - no / 2);
  int beeps = BeepCount;
  for (auto [events, want] : std::vector<std::pair<std::string, int>>{
           {onYes + "down left\nup left", 1},
           {onNo + "down left\nup left", 0},
           {onYes + "down left\n" + at(4) + "up left\nkey Escape", 0},
           {onYes + "down right\nup right\nkey Escape", 0},
           {onNo + "down left\n" + onYes + "up left\nkey Return", 1},
           {"move 5 5\ndown left\nup left\nkey Escape", 0}}) {  // outside: a beep
    Feed(events);
    EXPECT_EQ(RequesterAsk("Sure?", nullptr, nullptr), want) << events;
  }
  EXPECT_EQ(BeepCount, beeps + 1);

  // The end of the feed is still there for the main loop.
  Feed("");
  RequesterMessage("One");
  RequesterMessage("Two");
  EXPECT_EQ(QuitRequest, 0);
  ReadEvents(0);
  EXPECT_EQ(QuitRequest, 1);
}

// The option switch under the text flips with each press; the answer is the button's as ever.
TEST_F(Requesters, AnOptionFlipsBeforeTheAnswer) {
  const int yes = TextWidth("Load") + 16, no = TextWidth("Cancel") + 16;
  const int w = std::max({TextWidth("Sized?"), TextWidth("Stretch") + 24, yes + no}) + 33;
  const int h = 2 * 13 + 50;  // the text's line and the option's
  const std::string onSwitch = "move " + std::to_string((kW - w) / 2 + 26) + " " +
                               std::to_string((kH - h) / 2 + 33) + "\ndown left\nup left\n";
  for (auto [events, answer, flipped] : std::vector<std::tuple<std::string, int, bool>>{
           {onSwitch + "key Return", 1, true},
           {onSwitch + onSwitch + "key Return", 1, false},
           {onSwitch + "key Escape", 0, true},
           {"", 1, false}}) {
    Feed(events);
    bool value = false;
    EXPECT_EQ(RequesterAskOption("Sized?", "Load", "Cancel", "Stretch", &value), answer) << events;
    EXPECT_EQ(value, flipped) << events;
    EXPECT_EQ(Height(), h);
    EXPECT_EQ(Width(), w);
  }
}

TEST_F(Requesters, EditFieldKeys) {
  Window* w = CreateWindow(200, 40, 0);
  char text[6], previous[6];
  TextField tf{text, sizeof text, 0, 0};
  FieldEdit fe;
  fe.previous = previous;
  Gadget rows[2];
  rows[0] = {.left = 4, .top = 4, .right = 190, .bottom = 30, .id = 1, .flags = kGadTextField};
  rows[0].extension = &tf, rows[0].linkA = &fe;
  w->gadgets = rows;
  const int shift = kQualShift, ctrl = kQualControl, C = kCharacterCode;
  struct Case {
    const char* before;
    int caret;
    std::vector<std::array<int, 3>> keys;  // code, character, modifiers
    const char* after;
    int caretAfter, result = kEditGoOn;
    bool number = false;
  } cases[] = {
      {"abc", 1, {{36, 0, 0}}, "abc", 0},
      {"abcd", 2, {{37, 0, shift}}, "abcd", 1},  // only Control jumps
      {"abcd", 2, {{37, 0, ctrl}}, "abcd", 0},
      {"abcd", 2, {{39, 0, ctrl}}, "abcd", 4},
      {"abcd", 2, {{C, 155, 0}, {C, 'D', 0}}, "abcd", 1},
      {"abcd", 2, {{8, 0, 0}}, "acd", 1},
      {"abcd", 2, {{8, 0, ctrl}}, "cd", 0},
      {"abcd", 1, {{kKeyDelete, 0, 0}}, "acd", 1},
      {"abcd", 1, {{kKeyDelete, 0, ctrl}}, "a", 1},
      {"abc", 1, {{C, 'x', 0}}, "axbc", 2},
      {"abcd", 4, {{C, 'x', 0}, {C, 'y', 0}}, "abcdx", 5},  // 5 characters fit in 6 bytes
      {"abcd", 2, {{C, 24, 0}, {C, 26, 0}}, "abcd", 4},     // clear, then undo
      {"abcd", 2, {{C, 24, 0}, {C, 26, 0}, {C, 26, 0}}, "", 0},
      {"ab", 0, {{C, 3, 0}, {C, 24, 0}, {C, 22, 0}, {C, 22, 0}}, "abab", 4},
      {"ab", 1, {{13, 0, 0}}, "ab", 1, kEditDone},
      {"ab", 1, {{9, 0, 0}}, "ab", 1, kEditNext},
      {"ab", 1, {{kKeyEscape, 0, 0}}, "ab", 1, kEditIgnored},
      {"12", 2, {{C, '5', 0}, {C, '-', 0}}, "125", 3, kEditIgnored, true},
      {"12", 0, {{C, '-', 0}}, "-12", 1, kEditGoOn, true},
      {"  7", 2, {{C, '+', 0}}, "  +7", 3, kEditGoOn, true},
  };
  for (const Case& c : cases) {
    std::strcpy(text, c.before);
    std::strcpy(previous, c.before);
    tf.caret = c.caret;
    fe.number = c.number;
    int result = 0;
    for (const auto& k : c.keys) result = EditField(w, &rows[0], k[0], k[1], k[2]);
    std::string what = std::string(c.before) + " " + std::to_string(c.keys[0][0]);
    EXPECT_STREQ(text, c.after) << what;
    EXPECT_EQ(tf.caret, c.caretAfter) << what;
    EXPECT_EQ(result, c.result) << what;
  }
  rows[0].flags |= kGadSunk;  // read-only
  std::strcpy(text, "ab");
  EXPECT_EQ(EditField(w, &rows[0], kCharacterCode, 'x', 0), kEditIgnored);
  EXPECT_STREQ(text, "ab");
  DeleteWindow(w);
}

TEST_F(Requesters, PromptsEditACopyAndKeepItOnlyOnOk) {
  for (auto [events, want, after] : std::vector<std::tuple<std::string, int, std::string>>{
           {"char s\nkey Return", 0, "Velas"},
           {"char s\nkey Tab", 0, "Velas"},
           {"char s\nkey Escape", 1, "Vela"},
           {"char a\nchar b\nchar c", 0, "Velaa"}}) {  // five characters in six bytes
    char buf[6] = "Vela";
    Feed(events);
    EXPECT_EQ(RequesterAskText("Name", buf, sizeof buf), want) << events;
    EXPECT_EQ(buf, after) << events;
  }
  // Numbers: digits only, kept within the limits on leaving; Cancel keeps the value.
  for (auto [events, want, value] : std::vector<std::tuple<std::string, int, int>>{
           {"key Backspace\nchar 4\nchar x\nchar 2\nkey Return", 0, 42},
           {"char 9\nchar 9\nkey Return", 0, 100},
           {"key Backspace\nchar -\nchar 3\nkey Return", 0, -3},
           {"char 1\nkey Escape", -1, 5},
           {"", 0, 5}}) {
    int v = 5;
    Feed(events);
    EXPECT_EQ(RequesterAskNumber("Count", &v, 100, -10), want) << events;
    EXPECT_EQ(v, value) << events;
  }
}

TEST_F(Requesters, TheGaugeFillsItsBarAndStops) {
  OpenGauge("Saving");
  Window* g = GaugeWindow();
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(g->width, 250);
  EXPECT_EQ(g->height, 95);
  const int left = (250 - 205) / 2, top = 95 - 52, bottom = 95 - 37;
  const Gadget& stop = g->gadgets[0];
  EXPECT_STREQ(stop.label, " Stop ");
  EXPECT_EQ(std::vector<int>({stop.left, stop.top, stop.bottom}),
            std::vector<int>({(250 - (stop.right - stop.left)) / 2, 95 - 28, 95 - 8}));
  // Black bar columns inside the frame, checked on the screen too.
  auto filled = [&] {
    int n = 0;
    for (int x = left + 1; x < left + 204; ++x) {
      Pixel p = GetPixel(g->picture, x, (top + bottom) / 2);
      EXPECT_EQ(At(g->left + x, g->top + top + 1), p) << x;
      n += p == 0xFF000000u;
    }
    return n;
  };
  EXPECT_EQ(filled(), 0);
  GaugeUpdate(30, 10);
  EXPECT_EQ(filled(), 203);
  GaugeUpdate(1, 4);
  EXPECT_EQ(filled(), 50);  // cleared, then 203 / 4
  GaugeUpdate(3, 0);
  EXPECT_EQ(filled(), 50);
  EXPECT_FALSE(GaugeStopped());

  // The stop keys, even with no total; other events are dropped.
  for (const char* key : {"key Space", "key Escape", "key Delete"}) {
    SetGaugeStop(false);
    Feed(key);
    GaugeUpdate(0, 0);
    EXPECT_TRUE(GaugeStopped()) << key;
  }
  SetGaugeStop(false);
  Feed("char a\nkey A\nmove 3 3\ndown left\nup left");
  GaugeUpdate(2, 4);
  EXPECT_FALSE(GaugeStopped());

  // " Stop " counts when the release is on it.
  auto press = [&](int dx) {
    int x = g->left + (stop.left + stop.right) / 2, y = g->top + stop.bottom - 5;
    return "move " + std::to_string(x) + " " + std::to_string(y) + "\ndown left\nmove " +
           std::to_string(x + dx) + " " + std::to_string(y) + "\nup left";
  };
  Feed(press(200));
  GaugeUpdate(2, 4);
  EXPECT_FALSE(GaugeStopped());
  Feed(press(1));
  GaugeUpdate(2, 4);
  EXPECT_TRUE(GaugeStopped());

  // A stopped gauge ends a long loop at its next unit; a new gauge starts unstopped.
  OpenGauge("Two\nlines\nof title");
  EXPECT_EQ(GaugeWindow()->height, 13 * 3 + 82);
  EXPECT_FALSE(GaugeStopped());
  Feed("key Escape");
  int units = 0;
  for (; units < 1000000 && !GaugeStopped(); ++units) GaugeUpdate(units, 1000000);
  EXPECT_EQ(units, 1);
  CloseGauge();
  EXPECT_EQ(GaugeWindow(), nullptr);

  // Held, or switched off: no gauge.
  HoldGauge();
  OpenGauge("Held");
  ReleaseGauge();
  GaugeEnabled = 0;
  SetGaugeStop(true);
  OpenGauge("Off");
  EXPECT_EQ(GaugeWindow(), nullptr);
  EXPECT_TRUE(GaugeStopped()) << "a gauge that is off does nothing, not even clear the stop";
  SetGaugeStop(false);
}

}  // namespace
}  // namespace vela
