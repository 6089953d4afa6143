// Repainting from the Windows' own pictures, title drags with the magnet, and help bubbles.
#include <cstring>

#include "project/compose.h"

#include "windows_fixture.h"

namespace vela {
namespace {

using Screens = WindowsTest;

Gadget g_counting[] = {{.left = 10, .top = 10, .right = 60, .bottom = 40, .id = 1}, {}};

TEST_F(Screens, HideMoveAndLowerRestoreExactlyWhatWasThereAndNoHandlerDraws) {
  auto before = Screen();
  Window* a = Make(50, 50, 300, 200, g_counting, 0xFF0000FF);
  Window* b = Make(200, 150, 300, 200, g_counting, 0xFF00FF00);
  EXPECT_TRUE(Shows(b, 200, 150, 300, 200));
  EXPECT_TRUE(Shows(a, 50, 50, 300, 100));

  MoveWindow(a, 120, 100);  // behind B: only what B leaves free shows
  EXPECT_TRUE(Shows(a, 120, 100, 300, 50));
  EXPECT_TRUE(Shows(a, 120, 150, 80, 150));
  EXPECT_TRUE(Shows(b, 200, 150, 300, 200));
  WindowToFront(a);
  EXPECT_TRUE(Shows(a, 120, 100, 300, 200));
  WindowToBack(a);
  EXPECT_TRUE(Shows(b, 200, 150, 300, 200));
  MoveWindow(b, 500, 400);  // mostly off the screen
  MoveWindow(a, -100, -30);
  EXPECT_TRUE(Shows(a, 0, 0, 200, 170));
  HideWindow(a);
  ShowWindow(a);
  // Steps of a pixel leave no trail behind.
  for (int i = 0; i < 40; ++i) MoveWindow(a, 300 + i, 200 + i / 2);
  HideWindow(b);
  RemoveWindow(a);
  EXPECT_EQ(Screen(), before);
  EXPECT_TRUE(calls.empty());
  DeleteWindow(a);
}

// What the screen must show at a point: the front-most shown Window's picture, else what.
uint32_t FrontPicture(int x, int y, uint32_t what) {
  for (const Window* w = Ws.frontWindow; w; w = w->previous)
    if (w->shown && x >= w->left && x < w->right && y >= w->top && y < w->bottom)
      return w->picture->Row(y - w->top)[x - w->left];
  return what;
}

TEST_F(Screens, OutputOverWindowsIsPutBackAroundAnyNumberOfWindowsInFront) {
  Make(100, 100, 200, 150, g_counting, 0xFF0000FF);
  Make(150, 150, 200, 150, g_counting, 0xFF00FF00);
  // Twenty narrow Windows across the first one's top cut its rows into 21 spans.
  for (int i = 0; i < 20; ++i) Make(102 + 9 * i, 110, 5, 20, nullptr, 0xFFFFFF00);
  Make(-300, 100, 100, 50, nullptr, 0xFF00FFFF);  // wholly left of the screen
  // Output that knows nothing of the Windows paints across all of them and the page beside.
  HostScreen s = HostFramebuffer();
  for (int y = 90; y < 320; ++y)
    for (int x = 90; x < 360; ++x) s.pixels[y * s.stride + x] = 0xFFFF0000;
  RestoreWindows();
  for (int y = 90; y < 320; ++y)
    for (int x = 90; x < 360; ++x)
      ASSERT_EQ(At(x, y), FrontPicture(x, y, 0xFFFF0000)) << x << "," << y;
  auto once = Screen();
  RestoreWindows();
  EXPECT_EQ(Screen(), once);
}

TEST_F(Screens, ThePageLeavesTheWindowsOverItAloneAndWhatAWindowLeavesShowsThePageComposed) {
  ASSERT_TRUE(BuildPixelTables());
  Make(150, 100, 120, 90, g_counting, 0xFFFF00FF);
  Window* b = Make(250, 200, 120, 90, g_counting, 0xFF00FFFF);  // over the page's corner
  auto before = Screen();
  FillBlock(page_.get(), 0xFF123456);
  ShowPage(0, 0, 200, 150);
  auto onPage = [](int x, int y) { return x >= 100 && x < 300 && y >= 80 && y < 230; };
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      ASSERT_EQ(At(x, y), onPage(x, y) ? FrontPicture(x, y, 0xFF123456) : before[y * kW + x])
          << x << "," << y;

  // A clear page over a check background of 16-pixel cells fixed to the screen.
  FillBlock(page_.get(), 0);
  Ws.displayFlags |= kDisplayCheck;
  Ws.background = 0xFFFFFF;
  Ws.secondBackground = 0x808080;
  MoveWindow(b, 400, 300);
  for (int y = 200; y < 230; ++y)
    for (int x = 250; x < 300; ++x)
      ASSERT_EQ(At(x, y), ((x ^ y) & 16) ? 0xFF808080u : 0xFFFFFFFFu) << x << "," << y;
  Ws.displayFlags = 0;
  FreePixelTables();
}

TEST_F(Screens, NewWindowsCentreOnTheHintAndShowingAppliesTheStackingFlags) {
  PositionHintX = 100, PositionHintY = 20, PositionHintSet = true;
  Window* a = CreateWindow(100, 80, 0);
  EXPECT_EQ(a->left, 50);
  EXPECT_EQ(a->top, 0);  // the top is held at the screen's
  EXPECT_EQ(a->innerWidth, 92);
  Window* b = CreateWindow(100, 80, kWinAtBack);
  EXPECT_EQ(b->left, (kW - 100) / 2);  // the hint served once
  EXPECT_EQ(b->top, (kH - 80) / 2);
  EXPECT_GT(b->serial, a->serial);
  Window* c = CreateWindow(100, 80, kWinToFront);
  EXPECT_EQ(Ws.frontWindow, c);  // made at the front, not shown
  EXPECT_EQ(WindowAt(c->left + 1, c->top + 1), nullptr);
  ShowWindow(a);
  EXPECT_EQ(Ws.frontWindow, c);  // no flag: a keeps its place
  ShowWindow(b);
  EXPECT_EQ(Ws.backWindow, b);
  WindowToFront(b);
  EXPECT_EQ(Ws.backWindow, b);  // it never moves
  WindowToFront(a);
  EXPECT_EQ(Ws.frontWindow, a);
  ShowWindow(c);
  EXPECT_EQ(Ws.frontWindow, c);
  WindowToBack(c);
  EXPECT_EQ(b->next, c);  // behind all but the Window that stays at the back
  // A shown Window beyond the edge strip of a smaller screen is pulled in at the next show.
  MoveWindow(a, 620, 470);
  ShowWindow(c);
  EXPECT_EQ(a->left, kW - 30);
  EXPECT_EQ(a->top, kH - 20);
  for (Window* w : {a, b, c}) DeleteWindow(w);
  EXPECT_EQ(Ws.frontWindow, nullptr);
  EXPECT_EQ(Ws.backWindow, nullptr);
}

Gadget g_titled[] = {{.left = 0, .top = 0, .right = 15, .bottom = 15, .id = kGadDepth},
                     {.left = 20, .top = 2, .right = 80, .bottom = 19, .id = kGadTitle},
                     {}};

TEST_F(Screens, TitleDragsSnapToTheScreenCornerAndReportTheirEnd) {
  Window* w = Make(200, 150, 100, 80, g_titled);
  // Grabbed 30 right of and 10 below the corner; the last step leaves 2 and 1 to the edges.
  Drive(
      "move 230 160\ndown left\nmove 200 150\nmove 150 120\nmove 100 60\nmove 50 30\n"
      "move 32 11\nup left\n");
  EXPECT_EQ(w->left, 0);
  EXPECT_EQ(w->top, 0);
  EXPECT_TRUE(calls.empty());  // no onMove: no end report

  w->onMove = [](Window*, int* x, int* y) { *y = 100; };
  Drive(
      "move 50 10\ndown left\nmove 60 20\nmove 70 30\nmove 80 40\nmove 90 50\nmove 100 60\n"
      "up left\n");
  EXPECT_EQ(w->left, 50);
  EXPECT_EQ(w->top, 100);
  EXPECT_EQ(calls, (std::vector<Call>{{kGadTitle, 0}}));
  EXPECT_TRUE(Shows(w, 50, 100, 100, 80));

  // Magnet off: 2 pixels from the edge stays 2.
  MainSet.magnet = false;
  w->onMove = nullptr;
  Drive(
      "move 80 110\ndown left\nmove 70 110\nmove 60 110\nmove 50 110\nmove 40 110\nmove 32 110\n"
      "up left\n");
  EXPECT_EQ(w->left, 2);
}

TEST_F(Screens, MagnetPullsToScreenEdgesAndWindowsWithLaterWindowsWinningTies) {
  Window* w = Make(300, 300, 100, 80, nullptr);
  auto snap = [&](int x, int y, int* flags) {
    *flags = Magnet(w, &x, &y);
    return std::pair(x, y);
  };
  int f;
  EXPECT_EQ(snap(1, 2, &f), std::pair(0, 0));
  EXPECT_EQ(f, 1 | 2);
  EXPECT_EQ(snap(538, 398, &f), std::pair(540, 400));
  EXPECT_EQ(f, 4 | 8);
  EXPECT_EQ(snap(3, 200, &f), std::pair(3, 200));  // the screen needs less than 3
  EXPECT_EQ(f, 0);

  // Another Window whose right edge is 400, overlapping in height.
  Window* a = Make(300, 100, 100, 80, nullptr);
  EXPECT_EQ(snap(403, 120, &f), std::pair(400, 120));  // a Window at 3 still holds
  EXPECT_EQ(f, 1);
  EXPECT_EQ(snap(403, 300, &f), std::pair(403, 300));  // too far below to overlap
  EXPECT_EQ(snap(203, 120, &f), std::pair(200, 120));  // our right edge to its left
  EXPECT_EQ(f, 4);
  EXPECT_EQ(snap(330, 178, &f), std::pair(330, 180));  // our top to its bottom
  EXPECT_EQ(f, 2);

  // A later Window at the same distance wins: its right edge is at 406.
  Window* b = Make(306, 60, 100, 80, nullptr);
  EXPECT_EQ(snap(403, 120, &f), std::pair(406, 120));
  // A Window edge as near as the screen's takes it from the screen.
  MoveWindow(b, -96, 200);
  EXPECT_EQ(snap(2, 220, &f), std::pair(4, 220));
  EXPECT_EQ(f, 1);

  MainSet.magnet = false;
  EXPECT_EQ(snap(1, 2, &f), std::pair(1, 2));
  MainSet.magnet = true;
  Ws.modalWindow = a;
  EXPECT_EQ(snap(1, 2, &f), std::pair(1, 2));
  Ws.modalWindow = nullptr;
}

TEST_F(Screens, ShortDragsRaiseAndBigWindowsDragAnOutline) {
  RaiseOnDrag = false;
  Window* a = Make(100, 100, 200, 150, g_titled);
  Window* b = Make(250, 100, 200, 150, g_titled);
  Drive("move 150 110\ndown left\nmove 151 110\nmove 152 110\nup left\n");
  EXPECT_EQ(Ws.frontWindow, a);  // two steps count as a click
  WindowToBack(a);
  Drive(
      "move 152 110\ndown left\nmove 150 110\nmove 148 110\nmove 146 110\nmove 144 110\n"
      "move 142 110\nmove 140 110\nup left\n");
  EXPECT_EQ(Ws.frontWindow, b);
  EXPECT_EQ(a->left, 90);

  // Over the solid limit an outline follows and the Window jumps at the release, leaving no trace.
  SolidDragLimit = 100;
  static const Block* grabbed = nullptr;
  PictureToBrush = [](const Block* p) { grabbed = p; };
  Drive(
      "move 300 110\ndown left\nmove 310 120\nmove 320 130\nkey g\nmove 330 140\nmove 340 150\n"
      "move 350 160\nup left\n");
  EXPECT_EQ(b->left, 300);
  EXPECT_EQ(b->top, 150);
  EXPECT_EQ(grabbed, b->picture);
  auto after = Screen();
  RepaintScreen();
  EXPECT_EQ(Screen(), after);
}

Gadget g_help[] = {
    {.left = 10,
     .top = 10,
     .right = 60,
     .bottom = 40,
     .id = 1,
     .help = "One\xA7\n\nThe first.",
     .action = "DoOne"},
    {.left = 70, .top = 10, .right = 120, .bottom = 40, .id = 2, .help = "Two\xA7\n\nSecond."},
    {}};

TEST_F(Screens, BubbleTextFollowsTheModeAndTheKeyOfTheAction) {
  char out[256];
  BubbleText(&g_help[0], 1, out, sizeof out);
  EXPECT_STREQ(out, "One");
  BubbleText(&g_help[0], 2, out, sizeof out);
  EXPECT_STREQ(out, "One\n\nThe first.");
  ActionKeyName = [](const char* a) { return std::strcmp(a, "DoOne") == 0 ? "F5" : nullptr; };
  BubbleText(&g_help[0], 2, out, sizeof out);
  EXPECT_STREQ(out, "One\n\nThe first.\n\nKeyboard shortcut: F5");
  EXPECT_EQ(BubbleText(&g_help[0], 0, out, sizeof out), 0);
  // The frame gadgets share their help texts.
  const std::pair<int, const char*> frame[] = {{kGadDepth, "Depth button"},
                                               {kGadTitle, "Title bar"},
                                               {kGadClose, "Close button"},
                                               {kGadResize, "Resize button"},
                                               {kGadMaximize, "Maximize/minimize button"},
                                               {kGadMinimize, "Maximize/minimize button"}};
  for (auto [id, name] : frame) {
    Gadget g{.id = id};
    BubbleText(&g, 1, out, sizeof out);
    EXPECT_STREQ(out, name) << id;
  }
  Gadget title{.id = kGadTitle};
  BubbleText(&title, 2, out, sizeof out);
  EXPECT_STREQ(
      out,
      "Title bar\n\nContains the menu title.\n\nClick and drag on this bar\nto move the menu.");
  Gadget quiet{.id = 3, .flags = kGadInert | kGadHidden | kGadNoBubble, .help = "x\xA7\n\ny"};
  EXPECT_EQ(BubbleText(&quiet, 2, out, sizeof out), 0);
  quiet.flags = kGadInert | kGadHidden;
  EXPECT_GT(BubbleText(&quiet, 2, out, sizeof out), 0);
}

TEST_F(Screens, ALabelOnTheLeftWidensTheGadgetsScreenAreaByItsWidthAndFour) {
  Gadget g{.left = 50,
           .top = 10,
           .right = 90,
           .bottom = 30,
           .id = 1,
           .label = "Name",
           .labelFlags = kLabelLeft};
  int x0, y0, x1, y1;
  GadgetArea(&g, &x0, &y0, &x1, &y1);
  EXPECT_EQ(x0, 50 - (TextWidth("Name") + 4));
  EXPECT_EQ(x1, 90);
  EXPECT_EQ(y0, 10);
  EXPECT_EQ(y1, 30);
  g.labelFlags = kLabelInside;
  GadgetArea(&g, &x0, &y0, &x1, &y1);
  EXPECT_EQ(x0, 50);
  EXPECT_GT(TextWidth("Name"), TextWidth("Nam"));
}

TEST_F(Screens, BubbleBoxFitsTheScreenAndGoesAboveThePointerNearTheBottom) {
  Window* w = Make(100, 100, 200, 100, g_help);
  OpenBubble(w, &g_help[0], 200, 200);
  Window* b = BubbleWindow();
  ASSERT_NE(b, nullptr);
  int widest = std::max(TextWidth("One"), TextWidth("The first."));
  EXPECT_EQ(b->width, widest + 10);
  EXPECT_EQ(b->height, 14 * 3 + 8);
  EXPECT_EQ(b->left, 200);
  EXPECT_EQ(b->top, 216);
  EXPECT_EQ(At(b->left + 3, b->top + 2), 0xFFFFFFDCu);
  EXPECT_EQ(At(b->left, b->top + 5), 0xFFFFFFFFu);
  EXPECT_EQ(At(b->left + 5, b->bottom - 1), 0xFF000000u);
  OpenBubble(w, &g_help[0], 635, 470);
  b = BubbleWindow();
  EXPECT_EQ(b->left, kW - b->width);
  EXPECT_EQ(b->top, 470 - b->height - 10);
  auto withBubble = Screen();
  CloseBubble();
  EXPECT_EQ(BubbleWindow(), nullptr);
  EXPECT_NE(Screen(), withBubble);
  SystemSet.bulle = 0;
  OpenBubble(w, &g_help[0], 200, 200);
  EXPECT_EQ(BubbleWindow(), nullptr);
}

TEST_F(Screens, TheMainLoopOpensABubbleAfterTheRestAndChangesItWithTheGadget) {
  Make(100, 100, 200, 100, g_help);
  struct Seen {
    double time;
    const Gadget* gadget;
  };
  static std::vector<Seen> seen;
  seen.clear();
  static void (*note)() = [] {
    if (BubbleGadget() && (seen.empty() || seen.back().gadget != BubbleGadget()))
      seen.push_back({TimeNow(), BubbleGadget()});
  };
  Loop().bubbleTimer = [] { WindowsBubbleTimer(), note(); };
  Loop().windowTick = [] { WindowsTick(), note(); };
  Feed("wait 100\nmove 130 130\nwait 1000\nmove 190 130\nwait 100\n");
  MainLoop();
  ASSERT_EQ(seen.size(), 2u);
  // Resting from 0.1 s: the bubble after 0.45 s, within a tick of the idle stage.
  EXPECT_EQ(seen[0].gadget, &g_help[0]);
  EXPECT_GE(seen[0].time, 0.1 + 0.45);
  EXPECT_LT(seen[0].time, 0.1 + 0.45 + 0.03);
  // Moved to the next gadget while a bubble shows: its bubble at once.
  EXPECT_EQ(seen[1].gadget, &g_help[1]);
  EXPECT_LT(seen[1].time, 1.1 + 0.03);
}

}  // namespace
}  // namespace vela
