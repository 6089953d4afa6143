// Tables, hit tests through the stack, and the codes each kind of gadget gives its handler.
#include "windows_fixture.h"

namespace vela {
namespace {

using Gadgets = WindowsTest;

TEST_F(Gadgets, TablesLayOutFromTheFarEdgeOnceAndHitOnTheirRightAndBottomEdges) {
  Gadget t[] = {{.left = 10, .top = 10, .right = -11, .bottom = 30, .id = 5},
                {.left = 0, .top = 0, .right = -1, .bottom = -1, .id = 6, .flags = kGadInert},
                {.left = 10, .top = 40, .right = 50, .bottom = -21, .id = 7},
                {.left = 20, .top = 45, .right = 30, .bottom = 60, .id = 8},
                {}};
  LayoutGadgets(t, 100, 80);
  EXPECT_EQ(t[0].right, 89);
  EXPECT_EQ(t[1].right, 99);
  EXPECT_EQ(t[1].bottom, 79);
  EXPECT_EQ(t[2].bottom, 59);
  LayoutGadgets(t, 300, 300);  // laid out already: nothing moves
  EXPECT_EQ(t[0].right, 89);
  EXPECT_EQ(FindGadget(7, t), &t[2]);
  EXPECT_EQ(FindGadget(9, t), nullptr);

  EXPECT_EQ(GadgetAt(10, 20, t), nullptr);  // the left edge belongs to what is below
  EXPECT_EQ(GadgetAt(11, 20, t), &t[0]);
  EXPECT_EQ(GadgetAt(89, 30, t), &t[0]);  // right and bottom edges are in
  EXPECT_EQ(GadgetAt(90, 30, t), nullptr);
  EXPECT_EQ(GadgetAt(50, 10, t), nullptr);  // the inert row lets the pointer through
  EXPECT_EQ(GadgetAt(25, 50, t), &t[2]);    // the earlier of two overlapping rows
}

TEST_F(Gadgets, PressesGoToTheFrontWindowAndAModalWindowRefusesTheRest) {
  Gadget ta[] = {{.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 1}, {}};
  Gadget tb[] = {{.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 2},
                 {.left = 100, .top = 10, .right = 150, .bottom = 40, .id = 3},
                 {}};
  Window* a = Make(100, 100, 200, 150, ta);
  Window* b = Make(150, 150, 200, 150, tb);
  Drive("move 170 170\ndown left\nup left\n");  // B's gadget over A
  Drive("move 120 120\ndown left\nup left\n");  // A's, where B does not reach
  EXPECT_EQ(calls, (std::vector<Call>{{2, -1}, {1, -1}}));
  EXPECT_EQ(Ws.frontWindow, b);  // a gadget press does not raise its Window

  // B's gadget edge at B-local x 10: no gadget, and the press stays with B.
  calls.clear();
  Drive("move 160 170\ndown left\nup left\n");
  EXPECT_TRUE(calls.empty());
  HideWindow(b);
  Drive("move 120 130\ndown left\nup left\n");  // a hidden Window lets A have it
  EXPECT_EQ(calls, (std::vector<Call>{{1, -1}}));

  // Modal: a press outside beeps and is swallowed; the loop ends when the Window leaves.
  ShowWindow(b);
  calls.clear();
  int beeps = BeepCount;
  b->handler = [](Window* w, Gadget* g, int code) {
    Record(w, g, code);
    if (g->id == 3 && code == -1) RemoveWindow(w);
  };
  Feed("move 120 120\ndown left\nup left\nmove 260 170\ndown left\nup left\n");
  RunWindow(b);
  EXPECT_EQ(BeepCount, beeps + 1);
  EXPECT_EQ(calls, (std::vector<Call>{{3, -1}}));
  EXPECT_EQ(Ws.modalWindow, nullptr);
  EXPECT_FALSE(WindowListed(b));
  DeleteWindow(b);
  (void)a;
}

TEST_F(Gadgets, EachFlagGivesItsCodes) {
  Gadget t[] = {
      {.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 1},
      {.left = 70, .top = 10, .right = 120, .bottom = 40, .id = 2, .flags = kGadActOnPress},
      {.left = 130, .top = 10, .right = 180, .bottom = 40, .id = 3, .flags = kGadHighlight},
      {.left = 10, .top = 50, .right = 60, .bottom = 80, .id = 4, .flags = kGadRightButton},
      {.left = 70, .top = 50, .right = 120, .bottom = 80, .id = 5, .flags = kGadRepeat},
      {.left = 130, .top = 50, .right = 180, .bottom = 80, .id = 6},
      {}};
  Make(100, 100, 200, 100, t);
  struct Case {
    const char* events;
    std::vector<Call> want;
  } cases[] = {
      {"move 130 130\ndown left\nwait 50\nup left\n", {{1, -1}}},
      // Moving off before the release cancels.
      {"move 130 130\ndown left\nmove 400 400\nup left\n", {}},
      {"move 190 130\ndown left\nwait 300\nup left\n", {{2, 1}}},
      {"move 250 130\ndown left\nup left\n", {{3, 1}}},
      {"move 130 170\ndown right\nup right\n", {{4, -2}}},
      {"move 130 170\ndown left\nup left\n", {{4, -1}}},
      // Without 0x40 the right button only shows the help.
      {"move 250 170\ndown right\nwait 100\nup right\n", {}},
      // Repeat: at once, after five waits of 80 ms, then every 80 ms while held.
      {"move 190 170\ndown left\nwait 700\nup left\n",
       {{5, 1}, {5, 1}, {5, 1}, {5, 1}, {5, 1}, {5, -1}}},
      {"move 190 170\ndown left\nwait 300\nup left\n", {{5, 1}, {5, -1}}},
      // A click that follows the release at once still reaches its own gadget.
      {"move 190 170\ndown left\nwait 100\nup left\nmove 130 130\ndown left\nup left\n",
       {{5, 1}, {5, -1}, {1, -1}}},
  };
  for (const Case& c : cases) {
    calls.clear();
    Drive(c.events);
    EXPECT_EQ(calls, c.want) << c.events;
  }
}

TEST_F(Gadgets, ActOnPressActsAtThePressShowsItTillTheReleaseAndKeepsItFromTheTool) {
  static Gadget t[] = {
      {.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 2, .flags = kGadActOnPress},
      {.left = 70, .top = 10, .right = 120, .bottom = 40, .id = 3, .flags = kGadHighlight},
      {}};
  Window* w = Make(100, 100, 200, 100, t);
  const Pixel corner = w->picture->Row(10)[10];
  Feed("move 130 130\ndown left\nwait 500\nup left\n");
  for (int i = 0; i < 100 && PumpEvents(1) != 1; ++i) {
  }
  PressGadget(w, &t[0], 1);
  EXPECT_EQ(calls, (std::vector<Call>{{2, 1}}));
  EXPECT_TRUE(In.leftDown);  // back at the press: the release is still to come
  EXPECT_EQ(w->picture->Row(10)[10], corner ^ 0x00FFFFFFu);
  EXPECT_TRUE(Shows(w, 100, 100, 200, 100));
  for (int i = 0; i < 100 && In.leftDown; ++i) PumpEvents(1);
  EXPECT_EQ(w->picture->Row(10)[10], corner);
  EXPECT_TRUE(Shows(w, 100, 100, 200, 100));

  // A handler that draws its gadget anew keeps what it drew. In the main loop the tool sees
  // neither the held moves nor the release, and a press on the page it does see.
  w->handler = [](Window* win, Gadget* g, int code) {
    Record(win, g, code);
    g->flags ^= kGadSelected;
    RedrawGadget(g, win);
    BlitGadget(win, g);
  };
  static int toolHeld;
  toolHeld = 0;
  SetPointStep([] { toolHeld += In.leftDown; });
  calls.clear();
  Drive("move 190 130\ndown left\nmove 195 135\nmove 200 140\nup left\nmove 5 5\ndown left\n");
  SetPointStep(nullptr);
  EXPECT_EQ(calls, (std::vector<Call>{{3, 1}}));
  EXPECT_EQ(toolHeld, 1);
  auto drawn = Picture(w);
  RedrawGadget(&t[1], w);
  EXPECT_EQ(Picture(w), drawn);
  t[1].flags &= ~kGadSelected;
}

// Closes a Window and makes a new one in the very same record, as an allocator that hands freed
// memory straight back would; the new one does the same when its gadgets are pressed.
Gadget g_reborn[] = {
    {.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 5, .flags = kGadRepeat},
    {.left = 70, .top = 10, .right = 120, .bottom = 40, .id = 3},
    {}};
void Reborn(Window* old, Gadget* g, int code) {
  WindowsTest::Record(old, g, code);
  int x = old->left, y = old->top;
  RemoveWindow(old);
  Window* fresh = CreateWindow(old->width, old->height, 0);
  RemoveWindow(fresh);
  FreeBlock(old->picture);
  *old = *fresh;
  fresh->picture = nullptr;
  DeleteWindow(fresh);
  AddWindow(old);
  old->gadgets = g_reborn;
  old->handler = Reborn;
  DrawWindow(old);
  MoveWindow(old, x, y);
  ShowWindow(old);
}

TEST_F(Gadgets, ARepeatOrAModalLoopEndsWithItsWindowThoughAnotherTakesItsAddress) {
  Window* w = Make(100, 100, 200, 100, g_reborn);
  w->handler = [](Window* win, Gadget* g, int code) {
    Record(win, g, code);
    RemoveWindow(win);
  };
  Drive("move 130 130\ndown left\nwait 1000\nup left\n");
  EXPECT_EQ(calls, (std::vector<Call>{{5, 1}}));

  AddWindow(w);
  ShowWindow(w);
  w->handler = Reborn;
  const uint32_t first = w->serial;
  calls.clear();
  Drive("move 130 130\ndown left\nwait 1000\nup left\n");
  ASSERT_NE(w->serial, first);
  EXPECT_EQ(calls, (std::vector<Call>{{5, 1}}));  // no repeats, no release, no press look
  auto drawn = Picture(w);
  DrawWindow(w);
  EXPECT_EQ(Picture(w), drawn);
  EXPECT_TRUE(Shows(w, 100, 100, 200, 100));

  // The second click is left for whoever reads on.
  calls.clear();
  Feed("move 190 130\ndown left\nup left\nmove 191 130\ndown left\nup left\n");
  RunWindow(w);
  EXPECT_EQ(calls, (std::vector<Call>{{3, -1}}));
  EXPECT_EQ(Ws.modalWindow, nullptr);
}

TEST_F(Gadgets, PumpEventsGivesTheWheelAsArrowKeysAndTheMiddleButtonItsOwnCode) {
  Window* w = Make(100, 100, 200, 100, nullptr);
  static std::vector<int> keys;
  keys.clear();
  w->onKey = [](const char*, int, int, Window*, int code, int) {
    keys.push_back(code);
    return 1;
  };
  Feed("wheel 2\nwheel -1\n");
  RunWindow(w);
  EXPECT_EQ(keys, (std::vector<int>{38, 40}));
  Feed("down middle\nup middle\ndown left\n");
  std::vector<int> codes;
  for (int i = 0; i < 10; ++i)
    if (int r = PumpEvents(0)) codes.push_back(r);
  EXPECT_EQ(codes, (std::vector<int>{-3, 1}));
}

TEST_F(Gadgets, FrameButtonsCloseAndChangeDepth) {
  Gadget ta[] = {{.left = 0, .top = 0, .right = 15, .bottom = 15, .id = kGadDepth},
                 {.left = 20, .top = 0, .right = 35, .bottom = 15, .id = kGadClose},
                 {}};
  Gadget tb[] = {{.left = 0, .top = 0, .right = 15, .bottom = 15, .id = kGadDepth}, {}};
  Window* a = Make(100, 100, 200, 150, ta, 0xFF112233);
  Window* b = Make(150, 150, 200, 150, tb, 0xFF445566);
  static int closed = 0;
  a->onClose = [](Window*) { ++closed; };
  // B is in front: its depth button sends it back, and A shows in the overlap.
  Drive("move 160 160\ndown left\nup left\n");
  EXPECT_EQ(Ws.frontWindow, a);
  EXPECT_TRUE(Shows(a, 150, 150, 150, 100));
  // A's depth button, now in front with B behind: A goes back, B comes over it.
  Drive("move 110 110\ndown left\nup left\n");
  EXPECT_EQ(Ws.frontWindow, b);
  EXPECT_TRUE(Shows(b, 150, 150, 200, 150));
  // B's again: something is in front of... nothing, and B is not the rearmost: back it goes.
  Drive("move 160 160\ndown left\nup left\n");
  EXPECT_EQ(Ws.backWindow, b);
  Drive("move 130 110\ndown left\nup left\n");
  EXPECT_EQ(closed, 1);
  a->onCloseOther = [](Window*) { closed += 10; };
  Drive("move 130 110\ndown left\nup left\n");
  EXPECT_EQ(closed, 11);
  EXPECT_TRUE(calls.empty());
}

TEST_F(Gadgets, IdleCallsReachTheWindowsThatAskInStackOrderAndSkipAClosedOne) {
  static std::vector<Window*> idle;
  static Window* victim;
  idle.clear();
  auto tick = [](Window* w, Gadget* g, int code) {
    if (code == kCodeIdle && !g) idle.push_back(w);
    if (WindowListed(victim) && w != victim) RemoveWindow(victim);
  };
  Window* a = Make(10, 10, 50, 50, nullptr);
  Window* b = Make(70, 10, 50, 50, nullptr);
  Window* c = Make(130, 10, 50, 50, nullptr);
  Window* quiet = Make(190, 10, 50, 50, nullptr);
  for (Window* w : {a, b, c, quiet}) w->handler = tick;
  for (Window* w : {a, b, c}) w->events = kWinWantsIdle;
  WindowToBack(c);  // the newest Window is now the rearmost
  victim = b;
  WindowsIdleCalls(nullptr);
  EXPECT_EQ(idle, (std::vector<Window*>{c, a}));
  idle.clear();
  WindowsIdleCalls(quiet);  // a modal Window alone, and only if it asks
  WindowsIdleCalls(a);
  EXPECT_EQ(idle, (std::vector<Window*>{a}));
  DeleteWindow(b);
}

TEST_F(Gadgets, TextFieldsTakeTheCaretAtThePointerAndReportReturn) {
  char text[16] = "ab";
  TextField tf{text, sizeof text, 0, 0};
  Gadget t[] = {{.left = 10,
                 .top = 10,
                 .right = 150,
                 .bottom = 30,
                 .id = 9,
                 .flags = kGadTextField,
                 .extension = &tf},
                {.left = 10,
                 .top = 40,
                 .right = 150,
                 .bottom = 60,
                 .id = 10,
                 .flags = kGadTextField | kGadSunk,
                 .extension = &tf},
                {}};
  Make(100, 100, 200, 100, t);
  // A click far right of the text puts the caret at its end.
  Drive("move 240 120\ndown left\nup left\nchar x\nkey Left\nkey Backspace\nchar y\nkey Return\n");
  EXPECT_STREQ(text, "ayx");
  EXPECT_EQ(calls, (std::vector<Call>{{9, 4}}));
  EXPECT_EQ(Ws.activeGadget, nullptr);
  // A click at the very start puts it before the first character.
  calls.clear();
  Drive("move 112 120\ndown left\nup left\nchar z\n");
  EXPECT_STREQ(text, "zayx");
  EXPECT_EQ(Ws.activeGadget, &t[0]);
  // The caret blinks every half second of idle time, and an edit shows it at once.
  TextFieldKey(37, 0);  // left and right: the caret where it was, the blink from now
  TextFieldKey(39, 0);
  auto shown = Screen();
  HostAdvanceClock(499);
  BlinkCaret();
  EXPECT_EQ(Screen(), shown);
  HostAdvanceClock(2);
  BlinkCaret();
  auto hidden = Screen();
  EXPECT_NE(hidden, shown);
  HostAdvanceClock(501);
  BlinkCaret();
  EXPECT_EQ(Screen(), shown);
  HostAdvanceClock(501);
  BlinkCaret();
  EXPECT_EQ(Screen(), hidden);
  TextFieldKey(kKeyDelete, 0);  // after the z: the a goes
  EXPECT_STREQ(text, "zyx");
  EXPECT_TRUE(CaretShown);
  TextFieldKey(kCharacterCode, 'a');
  TextFieldKey(37, 0);
  EXPECT_STREQ(text, "zayx");
  EXPECT_EQ(Screen(), shown);
  // A press on the page ends the edit without a report.
  Drive("move 5 5\ndown left\nup left\nchar q\n");
  EXPECT_EQ(Ws.activeGadget, nullptr);
  EXPECT_STREQ(text, "zayx");
  // The sunk field never takes the keys.
  Drive("move 240 150\ndown left\nup left\nchar q\n");
  EXPECT_EQ(Ws.activeGadget, nullptr);
  EXPECT_STREQ(text, "zayx");
  EXPECT_TRUE(calls.empty());
}

TEST_F(Gadgets, ANewWindowClosesTheActiveTextFieldUnlessItsFlagKeepsIt) {
  char text[8] = "";
  TextField tf{text, sizeof text, 0, 0};
  Gadget t[] = {{.left = 10,
                 .top = 10,
                 .right = 150,
                 .bottom = 30,
                 .id = 9,
                 .flags = kGadTextField,
                 .extension = &tf},
                {}};
  Window* w = Make(100, 100, 200, 100, t);
  ActivateTextField(w, &t[0], 0);
  Window* keep = CreateWindow(50, 50, kWinKeepTextField);
  EXPECT_EQ(Ws.activeGadget, &t[0]);
  Window* other = CreateWindow(50, 50, 0);
  EXPECT_EQ(Ws.activeGadget, nullptr);
  EXPECT_TRUE(calls.empty());  // closed, not finished: no code 4
  ActivateTextField(w, &t[0], 0);
  RemoveWindow(w);  // the field goes with its Window
  EXPECT_EQ(Ws.activeGadget, nullptr);
  EXPECT_EQ(Ws.activeGadgetWindow, nullptr);
  for (Window* x : {keep, other, w}) DeleteWindow(x);
}

TEST_F(Gadgets, RowsReachingPastTheWindowAreDrawnOnlyInside) {
  char text[8] = "abcdef";
  TextField tf{text, sizeof text, 6, 0};
  Gadget t[] = {{.left = -10, .top = -10, .right = 50, .bottom = 50, .id = kGadResize},
                {.left = 20,
                 .top = 20,
                 .right = 80,
                 .bottom = 60,
                 .id = 1,
                 .flags = kGadSwitchLabel | kGadSelected,
                 .label = "Switch"},
                {.left = 5,
                 .top = 25,
                 .right = 90,
                 .bottom = 45,
                 .id = 2,
                 .flags = kGadTextField,
                 .extension = &tf,
                 .label = "Left",
                 .labelFlags = kLabelLeft},
                {.left = -20,
                 .top = 2,
                 .right = 10,
                 .bottom = 8,
                 .id = 3,
                 .flags = kGadImage,
                 .image = nullptr,
                 .label = "Right",
                 .labelFlags = kLabelRight},
                {}};
  Window* w = Make(100, 100, 40, 30, t);
  Ws.activeGadget = &t[2];
  Ws.activeGadgetWindow = w;
  DrawWindow(w);
  EXPECT_EQ(w->picture->guard, kBlockGuard);
  // The two spare rows after the picture stay untouched.
  for (int i = 0; i < 2 * w->width; ++i) ASSERT_EQ(w->picture->data[w->width * w->height + i], 0u);
  for (Gadget& g : t)
    if (g.id) BlitGadget(w, &g);
  EXPECT_TRUE(Shows(w, 100, 100, 40, 30));
  Ws.activeGadget = nullptr;
}

}  // namespace
}  // namespace vela
