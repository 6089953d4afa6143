// The event path and the main loop, driven by headless event files on the virtual clock.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <vector>

#include "host/host.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/tablet.h"
#include "start/workspace.h"

namespace vela {
namespace {

struct Record {
  std::vector<std::string> log;
  std::vector<int> wheel, keys;
  std::vector<double> times;
};
Record* g_rec = nullptr;

HostEvent Press(int x, HostEventType type = HostEventType::ButtonDown, uint32_t qualifiers = 0) {
  HostEvent e;
  e.type = type;
  e.x = e.y = x;
  e.button = kButtonLeft;
  e.qualifiers = qualifiers;
  return e;
}

class LoopTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string err;
    ASSERT_TRUE(HostOpen({true, 200, 100}, &err)) << err;
    ResetInput();
    Ws = Workspace{};
    Input() = InputHooks{};
    Loop() = LoopHooks{};
    Tablet() = TabletState{};
    SetPointStep(nullptr);
    for (int t = 0; t < 64; ++t) SetToolHandler(t, nullptr);
    SetToolHook(nullptr);
    SelectTool(kToolDraw);
    g_rec = &rec_;
    QuitRequest = 0;
    HostHoldOpen(true);  // batches are read by hand; MainLoop tests let the feed end the run
  }
  void TearDown() override {
    HostHoldOpen(false);
    HostClose();
    Input() = InputHooks{};
    Loop() = LoopHooks{};
    SetPointStep(nullptr);
    g_rec = nullptr;
  }
  void Load(const std::string& text) {
    std::string err;
    ASSERT_TRUE(HostLoadEvents(text, &err)) << err;
  }
  // The main loop on these events, to their end.
  void Run(const std::string& text) {
    Load(text);
    HostHoldOpen(false);
    MainLoop();
  }
  // Reads one batch and dispatches it, as the loop does before a tool step; the click of the batch
  // before has been stepped.
  int Batch() {
    In.clickState = 0;
    return ReadEvents(!(In.leftDown || In.rightDown));
  }
  // Left and right down, left edge, click state, pointer x.
  using Buttons = std::tuple<int, int, int, int, int>;
  static Buttons Now() { return {In.leftDown, In.rightDown, In.leftEdge, In.clickState, In.winX}; }
  void RecordKeys() {
    Input().keyMap = [](int code, int) { g_rec->keys.push_back(code); };
  }
  Record rec_;
};

TEST_F(LoopTest, ButtonEdgesEndTheBatchAndASecondButtonWaits) {
  Load("move 10 10\nmove 11 10\ndown left\nup left\nmove 12 12\n");
  EXPECT_EQ(Batch(), 1);  // two moves then the press: the press ends the batch
  EXPECT_EQ(Now(), (Buttons{1, 0, 1, 1, 11}));
  EXPECT_EQ(Batch(), 1);  // the release alone
  EXPECT_EQ(Now(), (Buttons{0, 0, 0, -1, 11}));
  EXPECT_EQ(Batch(), -1);  // only a move
  EXPECT_EQ(In.winX, 12);
  EXPECT_EQ(Batch(), 0);
  // A second button is ignored until the first is up.
  Load("down right\ndown left\n");
  Batch();
  EXPECT_EQ(Now(), (Buttons{0, 1, 0, 2, 0}));
  Batch();
  EXPECT_EQ(Now(), (Buttons{0, 1, 0, 0, 0}));
  Load("up left\nup right\n");
  Batch();
  EXPECT_EQ(Now(), (Buttons{0, 0, 0, -2, 0}));  // the stray left release changed nothing
}

TEST_F(LoopTest, AltLeftDrawsAsRightAndReleasesAsRight) {
  // Alt is let go before the release, which must still be a right release.
  HostPushEvent(Press(0, HostEventType::ButtonDown, kQualAlt));
  HostPushEvent(Press(0, HostEventType::ButtonUp));
  InputEvent e;
  ASSERT_TRUE(PollEvent(0, &e));
  EXPECT_EQ(e.code, kRightDown);
  ASSERT_TRUE(PollEvent(0, &e));
  EXPECT_EQ(e.code, kRightUp);
}

TEST_F(LoopTest, WheelIsIgnoredDuringAStrokeAndKeysWhileTheDisplayIsLocked) {
  Input().wheelTool = [](int s) { g_rec->wheel.push_back(s); };
  Load("wheel 1\ndown left\nwheel -1\nup left\nwheel -2\n");
  while (Batch() != 0) {
  }
  EXPECT_EQ(rec_.wheel, (std::vector<int>{1, -1}));

  // A locked display listens only for Space.
  RecordKeys();
  DisplayLocked = 1;
  Load("key A\nkey Space\nkey B\n");
  while (Batch() != 0) {
  }
  EXPECT_EQ(DisplayLocked, 0);
  EXPECT_EQ(rec_.keys, (std::vector<int>{kKeySpace + kKeyRelease, 'B', 'B' + kKeyRelease}));
}

TEST_F(LoopTest, InjectedEventsWaitForTheButtonRelease) {
  Input().pasteImage = [](void*) { g_rec->log.push_back("paste"); };
  SetPointStep([] {
    if (In.leftEdge) {
      QueueClipboardImage(nullptr);
      g_rec->log.push_back("press");
    }
    if (In.clickState == -1) g_rec->log.push_back("release");
  });
  Run("move 5 5\ndown left\nmove 6 6\nwait 100\nmove 7 7\nwait 100\nup left\nwait 50\n");
  EXPECT_EQ(rec_.log, (std::vector<std::string>{"press", "release", "paste"}));
}

TEST_F(LoopTest, IdleStagesFireInOrderOnTheVirtualClock) {
  Loop().bubbleTimer = [] { g_rec->log.push_back("bubble"), g_rec->times.push_back(TimeNow()); };
  IdleFunction refresh = [] { g_rec->log.push_back("refresh"), g_rec->times.push_back(TimeNow()); };
  AddIdleFunction(refresh);
  static int writes;
  writes = 0;
  Loop().cacheWriteOne = [] {
    if (writes++ == 0) g_rec->log.push_back("cache"), g_rec->times.push_back(TimeNow());
    return writes < 3;
  };
  // A dot changes the image, which is what the refresh stage looks for.
  SetPointStep([] { Stamp += In.leftEdge; });
  Run("move 1 1\ndown left\nup left\nwait 3000\nmove 2 2\n");
  RemoveIdleFunction(refresh);
  ASSERT_EQ(rec_.log, (std::vector<std::string>{"bubble", "refresh", "cache"}));
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(rec_.times[i], (std::array{0.45, 0.5, 2.5}[i]), 0.021);
  EXPECT_EQ(writes, 3);  // writing goes on while the cache has more
}

TEST_F(LoopTest, DeleteSetsBreakUnlessBusyAndOtherKeysClearIt) {
  RecordKeys();
  Load("key Delete\n");
  Batch();
  EXPECT_EQ(BreakFlag, 1);
  EXPECT_EQ(rec_.keys, (std::vector<int>{kKeyDelete, kKeyDelete + kKeyRelease}));
  Load("key A\n");
  Batch();
  EXPECT_EQ(BreakFlag, 0);
  BusyMode = 1;
  Load("key Delete\nkey shift+ctrl+B\n");
  Batch();
  EXPECT_EQ(BreakFlag, 0);
  EXPECT_EQ(BusyMode, 0);  // shift + control leaves busy mode, and nothing else happens
  ASSERT_EQ(rec_.keys.size(), 5u);
  EXPECT_EQ(rec_.keys.back(), 'B' + kKeyRelease);
}

TEST_F(LoopTest, UserLockHoldsBackOnlyTheUsersInput) {
  UserLocked = 1;
  Load("move 5 5\ndown left\nkey A\nwheel 1\n");
  EXPECT_EQ(Batch(), 0);
  EXPECT_EQ(Now(), (Buttons{0, 0, 0, 0, 0}));
  QueueClipboardImage(nullptr);  // the program's own events still come
  InputEvent e;
  EXPECT_TRUE(PollEvent(1, &e));
  UserLocked = 0;
  Load("move 7 7\n");
  EXPECT_EQ(Batch(), -1);
  EXPECT_EQ(In.winX, 7);
}

TEST_F(LoopTest, HookStepDecidesWhetherTheToolRuns) {
  static int toolRuns, ends, answer, points;
  toolRuns = ends = points = 0;
  SetToolHandler(kToolDraw, [] { ++toolRuns; });
  ToolHook hook{.step = [] { return answer; }, .end = [] { ++ends; }};
  SetToolHook(&hook);
  for (int a : {0, kRunTool}) {
    answer = a;
    ToolStep();
    EXPECT_EQ(toolRuns, a == kRunTool) << a;
  }
  SetToolHook(&hook);  // a new hook ends the old one
  EXPECT_EQ(ends, 1);
  SetToolHook(nullptr);
  EXPECT_EQ(ends, 2);
  // Tools beyond the table and those without a handler take the point step.
  SetPointStep([] { ++points; });
  for (int tool : {99, int{kToolLine}}) {
    SelectTool(tool);
    ToolStep();
  }
  EXPECT_EQ(std::pair(points, toolRuns), std::pair(2, 1));
}

TEST_F(LoopTest, TabletPressureIsHeldForTenEventsThenDefaults) {
  static int packetsLeft;
  packetsLeft = 2;
  Tablet().open = true;
  Tablet().source = [](HostTabletPacket* out, int) {
    out[0] = {.x = (3 << 16) + 0x4000, .pressure = 512};  // sub-pixel from the pen
    return packetsLeft-- > 0 ? 1 : 0;
  };
  std::vector<int> pressures;
  InputEvent first{};
  for (int i = 0; i < 14; ++i) {
    InputEvent e{};
    TabletRead(&e);
    pressures.push_back(e.pressure);
    if (i == 0) first = e;
  }
  // Equal pressure fields mark a tablet.
  EXPECT_EQ(std::tuple(first.pressureLow, first.x, first.moved),
            std::tuple(first.pressure, (3 << 16) + 0x4000, 1));
  std::vector<int> want(12, 512 * 255 / 1023);
  want.insert(want.end(), {255, 255});
  EXPECT_EQ(pressures, want);
  // Without a tablet every event has 255 and 0.
  Tablet().open = false;
  InputEvent e{};
  TabletRead(&e);
  EXPECT_EQ((std::pair{e.pressure, e.pressureLow}), (std::pair{255, 0}));

  // An event file's pressure reaches only the events after it, even all at one virtual time.
  Tablet().open = true;
  Tablet().source = HostTabletPackets;
  Load("move 3 3\npressure 100\nmove 4 4\ndown left\npressure none\nmove 5 5\n");
  ASSERT_TRUE(PollEvent(0, &e));
  EXPECT_EQ((std::pair{e.pressure, e.pressureLow}), (std::pair{255, 0}));
  Batch();
  EXPECT_EQ((std::pair{In.pressure, In.pressureLow}), (std::pair{100, 100}));
}

TEST_F(LoopTest, APressReadInsideTheIdleStageIsStepped) {
  // Events that come while idle work runs are read by the stage itself.
  IdleFunction click = [] {
    HostPushEvent(Press(3));
    HostPushEvent(Press(3, HostEventType::ButtonUp));
  };
  AddIdleFunction(click);
  Loop().cacheWriteOne = [] {
    if (!g_rec->log.empty()) return false;
    HostPushEvent(Press(5));
    g_rec->log.push_back("cache");
    return true;
  };
  SetPointStep([] {
    if (In.leftEdge) g_rec->keys.push_back(In.winX);
  });
  Stamp += 1;  // the refresh stage runs only for a changed image
  Run("move 1 1\nwait 5000\n");
  RemoveIdleFunction(click);
  EXPECT_EQ(rec_.keys, (std::vector<int>{3, 5}));
}

TEST_F(LoopTest, TheBatchThatBringsTheQuitIsStepped) {
  SetPointStep([] { g_rec->keys.push_back(In.winX); });
  Run("move 10 10\ndown left\nmove 20 20\nmove 30 30\n");
  ASSERT_FALSE(rec_.keys.empty());
  EXPECT_EQ(rec_.keys.back(), 30);
}

}  // namespace
}  // namespace vela
