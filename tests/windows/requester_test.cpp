// Requesters and the gauge on the headless screen, answered by synthetic events; with no events
// left a Requester takes its first button.
#include <algorithm>
#include <cstring>

#include "script/dispatcher.h"
#include "start/ask.h"
#include "start/gauge.h"
#include "start/message.h"
#include "windows/requester.h"
#include "windows_fixture.h"

namespace vela {
namespace {

struct Seen {
  int left = 0, top = 0, width = 0, height = 0;
  std::vector<Gadget> rows;
  BlockPtr picture;
};

class Requesters : public WindowsTest {
 protected:
  void SetUp() override {
    WindowsTest::SetUp();
    InstallRequesters();
    GaugeEnabled = 1;
    BreakFlag = 0;
    seen = {};
    RequesterShown = [](Window* w) {
      seen.left = w->left, seen.top = w->top, seen.width = w->width, seen.height = w->height;
      seen.rows.clear();
      for (Gadget* g = w->gadgets; g->id; ++g) seen.rows.push_back(*g);
      seen.picture.reset(NewBlock(w->width, w->height));
      CopyRect(w->picture, 0, 0, seen.picture.get(), 0, 0, w->width, w->height);
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
  // Rows as {left, top, right, bottom, id}.
  static std::vector<std::vector<int>> Rects() {
    std::vector<std::vector<int>> out;
    for (const Gadget& g : seen.rows) out.push_back({g.left, g.top, g.right, g.bottom, g.id});
    return out;
  }
  static inline Seen seen;
};

TEST_F(Requesters, QuestionsAreLaidOutByTheirTextAndLabels) {
  const int yes = TextWidth(" Yes "), no = TextWidth(" No "), ok = TextWidth(" OK ");
  ASSERT_GT(yes, 0) << "no interface font";

  // One short line: the labels set the width; empty labels are the defaults.
  EXPECT_EQ(RequesterAsk("Go?", "", nullptr), 1);
  int inner = std::max(TextWidth("Go?"), yes + no + 32);
  EXPECT_EQ(seen.width, inner + 33);
  EXPECT_EQ(seen.height, 63);
  EXPECT_EQ(seen.left, (kW - inner - 33) / 2);
  EXPECT_EQ(Rects(), (std::vector<std::vector<int>>{{8, 32, 8 + yes + 16, 52, 2},
                                                    {inner + 24 - no - 16, 32, inner + 24, 52, 1},
                                                    {0, 0, inner + 32, 62, kGadFrame}}));
  EXPECT_STREQ(seen.rows[0].label, " Yes ");
  EXPECT_EQ(seen.rows[1].flags, 0x40000000u);
  EXPECT_EQ(seen.rows[2].flags, 0x18000u);

  // Three lines: the long middle one sets the width, and the buttons go 39 pixels lower.
  const char* wide = "a line that is wider than both of the buttons together";
  std::string text = std::string("One\n") + wide + "\nThree";
  ASSERT_GT(TextWidth(wide), yes + no + 32);
  RequesterAsk(text.c_str(), " Yes ", " No ");
  inner = TextWidth(wide);
  EXPECT_EQ(seen.width, inner + 33);
  EXPECT_EQ(seen.height, 89);
  EXPECT_EQ(seen.rows[0].top, 58);
  EXPECT_EQ(seen.rows[1].bottom, 78);
  EXPECT_EQ(seen.rows[1].right, inner + 24);
  // Black text from x 16, one band of 13 rows a line from y 15, a grey shadow below and right.
  bool band[3] = {}, shadow = false;
  int leftmost = seen.width;
  for (int y = 0; y < seen.height; ++y)
    for (int x = 0; x < 16 + inner; ++x) {
      if (GetPixel(seen.picture.get(), x, y) != 0xFF000000u || y > 60) continue;
      leftmost = std::min(leftmost, x);
      ASSERT_GE(y, 15);
      band[std::min(2, (y - 15) / 13)] = true;
      shadow |= GetPixel(seen.picture.get(), x + 1, y + 1) == 0xFFA0A0A0u;
    }
  EXPECT_TRUE(band[0] && band[1] && band[2]);
  EXPECT_TRUE(shadow);
  EXPECT_GE(leftmost, 16);

  // Message: one button, at least 30 wide, centred; an empty text is one line.
  RequesterMessage("");
  int button = std::max(30, ok + 16);
  EXPECT_EQ(seen.width, button + 33);
  EXPECT_EQ(seen.height, 63);
  EXPECT_EQ(seen.rows[0].left, (button + 33 - button) / 2);
  EXPECT_EQ(seen.rows[0].right - seen.rows[0].left, button);

  // Ask3: three buttons 16 apart, the middle one centred.
  EXPECT_EQ(RequesterAsk3("?", nullptr, nullptr, nullptr), 0);
  const int a3 = TextWidth(" 42 ");
  inner = yes + no + a3 + 64;
  EXPECT_EQ(seen.width, inner + 33);
  EXPECT_EQ(seen.rows[1].left, (inner + 33 - no - 16) / 2);
  EXPECT_EQ(seen.rows[2].right, inner + 24);
  EXPECT_STREQ(seen.rows[2].label, " 42 ");

  // Text prompts: 76 high, 204 wide or the title + 32.
  char buf[8] = "x";
  RequesterAskText("T", buf, sizeof buf);
  EXPECT_EQ(seen.width, 204);
  EXPECT_EQ(seen.height, 76);
  RequesterAskText(wide, buf, sizeof buf);
  EXPECT_EQ(seen.width, TextWidth(wide) + 32);
}

TEST_F(Requesters, ReturnAndEscapeAnswerWhateverTheLabels) {
  struct Case {
    const char* events;
    int ask, ask3;
  } cases[] = {
      {"key Return", 1, 0},
      {"key Escape", 0, 1},
      {"key Tab\nchar y\nkey Escape", 0, 1},  // other keys do nothing
      {"", 1, 0},                             // nobody there: the first button
      {"wait 5000\nkey Escape", 0, 1},        // the person may take a while
  };
  for (const Case& c : cases) {
    Feed(c.events);
    EXPECT_EQ(RequesterAsk("Sure?", "Cancel", " OK "), c.ask) << c.events;
    Feed(c.events);
    EXPECT_EQ(RequesterAsk3("Which?", "A", "B", "C"), c.ask3) << c.events;
  }
  // The end of the feed is still there for the main loop.
  Feed("");
  RequesterMessage("One");
  RequesterMessage("Two");
  EXPECT_EQ(QuitRequest, 0);
  ReadEvents(0);
  EXPECT_EQ(QuitRequest, 1);
}

TEST_F(Requesters, AButtonAnswersOnlyWhenTheReleaseIsOnIt) {
  const int yes = TextWidth(" Yes ") + 16, no = TextWidth(" No ") + 16;
  const int w = std::max(TextWidth("Sure?"), yes + no) + 33, h = 63;
  const int left = (kW - w) / 2, top = (kH - h) / 2;
  auto at = [&](int x, int y) {
    return "move " + std::to_string(left + x) + " " + std::to_string(top + y) + "\n";
  };
  const std::string onYes = at(8 + yes / 2, 42), onNo = at(w - 9 - no / 2, 42);
  struct Case {
    std::string events;
    int want;
  } cases[] = {
      {onYes + "down left\nup left", 1},
      {onNo + "down left\nup left", 0},
      {onYes + "down left\n" + at(4, 42) + "up left\nkey Escape", 0},
      {onYes + "down right\nup right\nkey Escape", 0},
      {onNo + "down left\n" + onYes + "up left\nkey Return", 1},
  };
  for (const Case& c : cases) {
    Feed(c.events);
    EXPECT_EQ(RequesterAsk("Sure?", nullptr, nullptr), c.want) << c.events;
  }
  int beeps = BeepCount;
  Feed("move 5 5\ndown left\nup left\nkey Escape");
  EXPECT_EQ(RequesterAsk("Sure?", nullptr, nullptr), 0);
  EXPECT_EQ(BeepCount, beeps + 1);
}

struct KeyPress {
  int code, character, modifiers;
};
KeyPress Key(int code, int modifiers = 0) {
  return {code, 0, modifiers};
}
KeyPress Char(int c) {
  return {kCharacterCode, c, 0};
}

TEST_F(Requesters, EditFieldKeys) {
  Window* w = CreateWindow(200, 40, 0);
  char text[6], previous[6];
  TextField tf{text, sizeof text, 0, 0};
  FieldEdit fe;
  fe.previous = previous;
  Gadget rows[] = {{.left = 4,
                    .top = 4,
                    .right = 190,
                    .bottom = 30,
                    .id = 1,
                    .flags = kGadTextField,
                    .extension = &tf,
                    .linkA = &fe},
                   {}};
  w->gadgets = rows;
  struct Case {
    const char* before;
    int caret;
    std::vector<KeyPress> keys;
    const char* after;
    int caretAfter, result;
    bool number = false;
  } cases[] = {
      {"abc", 1, {Key(36)}, "abc", 0, kEditGoOn},
      {"abc", 1, {Key(35)}, "abc", 3, kEditGoOn},
      {"abcd", 2, {Key(37)}, "abcd", 1, kEditGoOn},
      {"abcd", 2, {Key(37, kQualShift)}, "abcd", 0, kEditGoOn},
      {"abcd", 2, {Key(39)}, "abcd", 3, kEditGoOn},
      {"abcd", 2, {Key(39, kQualShift)}, "abcd", 4, kEditGoOn},
      {"abcd", 2, {Char(155), Char('D')}, "abcd", 1, kEditGoOn},
      {"abcd", 2, {Char(155), Char('C')}, "abcd", 3, kEditGoOn},
      {"abcd", 2, {Key(8)}, "acd", 1, kEditGoOn},
      {"abcd", 2, {Key(8, kQualControl)}, "cd", 0, kEditGoOn},
      {"abcd", 1, {Key(kKeyDelete)}, "acd", 1, kEditGoOn},
      {"abcd", 1, {Char(127)}, "acd", 1, kEditGoOn},
      {"abcd", 1, {Key(kKeyDelete, kQualControl)}, "a", 1, kEditGoOn},
      {"abc", 1, {Char('x')}, "axbc", 2, kEditGoOn},
      {"abcd", 4, {Char('x'), Char('y')}, "abcdx", 5, kEditGoOn},  // 5 characters fit in 6
      {"abcd", 2, {Char(24)}, "", 0, kEditGoOn},
      {"abcd", 2, {Char(24), Char(26)}, "abcd", 4, kEditGoOn},
      {"abcd", 2, {Char(24), Char(26), Char(26)}, "", 0, kEditGoOn},
      {"ab", 0, {Char(3), Char(24), Char(22), Char(22)}, "abab", 4, kEditGoOn},
      {"ab", 1, {Char(13)}, "ab", 1, kEditDone},
      {"ab", 1, {Key(13)}, "ab", 1, kEditDone},
      {"ab", 1, {Key(9)}, "ab", 1, kEditNext},
      {"ab", 1, {Key(112)}, "ab", 1, kEditIgnored},
      {"ab", 1, {Key(kKeyEscape)}, "ab", 1, kEditIgnored},
      {"ab", 1, {Key(13 | kKeyRelease)}, "ab", 1, kEditIgnored},
      {"12", 2, {Char('a')}, "12", 2, kEditIgnored, true},
      {"12", 2, {Char('5'), Char('-')}, "125", 3, kEditIgnored, true},
      {"12", 0, {Char('-')}, "-12", 1, kEditGoOn, true},
      {"  7", 2, {Char('+')}, "  +7", 3, kEditGoOn, true},
  };
  for (const Case& c : cases) {
    std::strcpy(text, c.before);
    std::strcpy(previous, c.before);
    tf.caret = c.caret;
    fe.number = c.number;
    int result = 0;
    for (const KeyPress& k : c.keys)
      result = EditField(w, &rows[0], k.code, k.character, k.modifiers);
    EXPECT_STREQ(text, c.after) << c.before << " " << c.keys[0].code << "/" << c.keys[0].character;
    EXPECT_EQ(tf.caret, c.caretAfter) << c.before << " " << c.keys[0].code;
    EXPECT_EQ(result, c.result) << c.before << " " << c.keys[0].code;
  }
  // A read-only field takes nothing.
  rows[0].flags |= kGadSunk;
  std::strcpy(text, "ab");
  EXPECT_EQ(EditField(w, &rows[0], kCharacterCode, 'x', 0), kEditIgnored);
  EXPECT_STREQ(text, "ab");
  DeleteWindow(w);
}

TEST_F(Requesters, PromptsEditACopyAndKeepItOnlyOnOk) {
  struct Case {
    const char* events;
    int want;
    const char* after;
  } cases[] = {
      {"char s\nkey Return", 0, "Velas"},
      {"char s\nkey Tab", 0, "Velas"},
      {"char s\nkey Escape", 1, "Vela"},
      {"char a\nchar b\nchar c", 0, "Velaa"},  // five characters in six bytes, then nobody
  };
  for (const Case& c : cases) {
    char buf[6] = "Vela";
    Feed(c.events);
    EXPECT_EQ(RequesterAskText("Name", buf, sizeof buf), c.want) << c.events;
    EXPECT_STREQ(buf, c.after) << c.events;
  }
  // Numbers: digits only, kept within the limits on leaving; Cancel keeps the value.
  struct Number {
    const char* events;
    int want, value;
  } numbers[] = {
      {"key Backspace\nchar 4\nchar x\nchar 2\nkey Return", 0, 42},
      {"char 9\nchar 9\nkey Return", 0, 100},
      {"key Backspace\nchar -\nchar 3\nkey Return", 0, -3},
      {"char 1\nkey Escape", -1, 5},
      {"", 0, 5},
  };
  for (const Number& n : numbers) {
    int v = 5;
    Feed(n.events);
    EXPECT_EQ(RequesterAskNumber("Count", &v, 100, -10), n.want) << n.events;
    EXPECT_EQ(v, n.value) << n.events;
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
  EXPECT_EQ(stop.top, 95 - 28);
  EXPECT_EQ(stop.bottom, 95 - 8);
  EXPECT_EQ(stop.left, (250 - (stop.right - stop.left)) / 2);
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
  EXPECT_EQ(GaugeWindow(), nullptr);
  GaugeEnabled = 0;
  OpenGauge("Off");
  EXPECT_EQ(GaugeWindow(), nullptr);
}

}  // namespace
}  // namespace vela
