#include "start/main_loop.h"

#include <algorithm>
#include <csignal>
#include <vector>

#include "host/channel.h"
#include "host/host.h"
#include "start/input.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

int ExitFlag = 0;
int QuitRequest = 0;
int CurrentTool = kToolDraw;
int AntialiasOn = 0;
int GridOn = 0;
int ToolPressure = 255;
volatile std::sig_atomic_t SignalQuit = 0;
uint32_t RefreshCounter[2] = {0, 0};

namespace {

struct IdleEntry {
  IdleFunction fn;
  uint32_t stamp;
};

struct LoopState {
  void (*redraw)() = nullptr;
  ToolHook hook{};
  bool hookSet = false;
  ToolHandler tools[64] = {};
  ToolHandler pointStep = nullptr;
  std::vector<IdleEntry> idle;
  uint32_t lastSum = 0;  // the stamp sum the refresh stage last saw
  int lastStepX = 0, lastStepY = 0;
};
LoopState g_loop;

constexpr double kBubbleDelay = 0.45;
constexpr double kRefreshDelay = 0.5;
constexpr double kCacheDelay = 2.5;
constexpr double kCacheSlice = 0.05;

bool AskQuit() {
  return !Loop().confirmQuit || Loop().confirmQuit();
}

// Whole actions, flags included: the handler before ours may take a siginfo.
struct sigaction g_oldInt, g_oldTerm;

void OnSignal(int sig) {
  // The first signal ends the run in order; a second one, if the loop is stuck, goes to the
  // handler that was there before (which removes the cache's scratch file) and ends the process.
  if (SignalQuit) {
    struct sigaction old = sig == SIGINT ? g_oldInt : g_oldTerm;
    if (!(old.sa_flags & SA_SIGINFO) && old.sa_handler == SIG_IGN) old.sa_handler = SIG_DFL;
    sigaction(sig, &old, nullptr);
    std::raise(sig);
    return;
  }
  SignalQuit = 1;
}

uint32_t StampSum() {
  return Stamp + RefreshCounter[0] + RefreshCounter[1];
}

// The staged idle work. Returns the count of a read made inside the stage, whose events are
// dispatched and wait for their tool step; 0 when the loop must read what has arrived.
int IdleStage() {
  if (In.leftDown || In.rightDown) {
    WaitEvent(0);
    return 0;
  }
  double start = TimeNow();
  double mark = start;
  bool bubbleDone = false, refreshDone = false, cacheDone = false;
  while (!ExitFlag && !QuitRequest && !SignalQuit) {
    // Headless, once every stage has run, the clock may jump straight to the next event.
    // With the channel open the wait must be a real one, for the channel's sake.
    if (HostHeadless() && bubbleDone && refreshDone && cacheDone && !ChannelIsOpen())
      HostWaitEvent(-1);
    else
      WaitEvent(2);
    if (HostWaitEvent(0) || InjectedPending()) return 0;
    double now = TimeNow();
    if (!bubbleDone && now - mark >= kBubbleDelay) {
      bubbleDone = true;
      if (Loop().bubbleTimer) Loop().bubbleTimer();
    }
    if (!refreshDone && now - mark >= kRefreshDelay) {
      refreshDone = true;
      uint32_t sum = StampSum();
      if (sum != g_loop.lastSum) {
        for (size_t i = 0; i < g_loop.idle.size(); ++i) {
          IdleEntry& e = g_loop.idle[i];
          if (e.stamp == sum) continue;
          e.stamp = sum;
          e.fn();
          if (int count = ReadEvents(1)) return count;
        }
        g_loop.lastSum = sum;
      }
    }
    if (!cacheDone && now - start >= kCacheDelay) {
      cacheDone = true;
      int count = 0;
      if (Loop().cacheWriteOne) {
        while (Loop().cacheWriteOne()) {
          double sliceEnd = TimeNow() + kCacheSlice;
          bool more = true;
          while (more && TimeNow() < sliceEnd) more = Loop().cacheWriteOne();
          count = ReadEvents(1);
          if (count || !more) break;
        }
      }
      if (Loop().refreshThumbnail) Loop().refreshThumbnail();
      if (count) return count;
    }
    if (Loop().windowTick) Loop().windowTick();
  }
  return 0;
}

void DispatchTool() {
  if (CurrentTool >= 3 && CurrentTool <= 57 && g_loop.tools[CurrentTool]) {
    g_loop.tools[CurrentTool]();
    return;
  }
  if (g_loop.pointStep) g_loop.pointStep();
}

}  // namespace

LoopHooks& Loop() {
  static LoopHooks hooks;
  return hooks;
}

int UndoMode = 0;

void SetRedrawHook(void (*redraw)()) {
  g_loop.redraw = redraw;
}
void RedrawScreen() {
  if (g_loop.redraw) g_loop.redraw();
}

void SetToolHook(const ToolHook* hook) {
  if (g_loop.hookSet) {
    ToolHook old = g_loop.hook;
    g_loop.hookSet = false;
    if (old.end) old.end();
    SelectTool(CurrentTool);
  }
  if (hook) {
    g_loop.hook = *hook;
    g_loop.hookSet = true;
  }
}

const ToolHook* CurrentToolHook() {
  return g_loop.hookSet ? &g_loop.hook : nullptr;
}

void SetToolHandler(int tool, ToolHandler handler) {
  if (tool >= 0 && tool < 64) g_loop.tools[tool] = handler;
}
void SetPointStep(ToolHandler handler) {
  g_loop.pointStep = handler;
}
void SelectTool(int tool) {
  CurrentTool = tool;
}

void AddIdleFunction(IdleFunction fn) {
  RemoveIdleFunction(fn);
  g_loop.idle.push_back({fn, StampSum() - 1});
}
void RemoveIdleFunction(IdleFunction fn) {
  std::erase_if(g_loop.idle, [fn](const IdleEntry& e) { return e.fn == fn; });
}

void SelectGadget(int id, int mode) {
  // Every selection first ends what a tool was doing.
  if (Loop().endTool) Loop().endTool();
  Ws.waitNesting = 0;
  switch (id) {
    case 2:
      QuitRequest = 1;
      break;
    case kToolPoint:
    case kToolDraw:
    case kToolLine:
    case kToolCircle:
    case kToolRectangle:
    case kToolSpline:
    case kToolEllipse:
    case kToolMagicWand:
    case kToolFlood:
    case kToolRefill:
    case kToolMoveImage:
      if (mode != -2) {
        SetToolHook(nullptr);
        SelectTool(id);
      }
      break;
    case 14:
    case 15:
    case 16:
    case 54:
    case 55:
    case 56: {
      static const int slots[] = {0, 1, 3};
      int slot = id <= 16 ? slots[id - 14] : id - 51;
      if (Loop().selectDrawingTool) Loop().selectDrawingTool(slot, mode);
      break;
    }
    case 45:
      AntialiasOn = !AntialiasOn;
      break;
    case 48:
      if (mode != -2) GridOn = !GridOn;
      break;
    default:
      break;
  }
}

int ReadEvents(int allowInjected) {
  In.leftEdge = In.rightEdge = 0;
  int count = 0;
  int click = In.clickState;
  InputEvent e;
  while (PollEvent(allowInjected, &e)) {
    DispatchEvent(e);
    count = (e.type == kEventMove && count <= 0) ? -1 : 1;
    // A button edge ends the batch, so it is never merged with a later one.
    if (In.clickState != click) {
      count = 1;
      break;
    }
    if (QuitRequest) break;
  }
  return count;
}

void ToolStep() {
  if ((In.leftEdge || In.rightEdge) && Loop().findGadgetPress && Loop().findGadgetPress()) return;
  bool leftPress = In.leftEdge && !In.rightDown;
  bool rightPress = In.rightEdge && !In.leftDown;
  if ((leftPress || rightPress) && Loop().pressUndo) Loop().pressUndo(leftPress, rightPress);
  if (g_loop.hookSet && g_loop.hook.step && g_loop.hook.step() != kRunTool) return;
  DispatchTool();
}

void MainLoop() {
  ExitFlag = 0;
  QuitRequest = 0;
  Ws.drawMode = 0;
  if (!AntialiasOn) SelectGadget(45, 0);
  if (Loop().beginLoop) Loop().beginLoop();
  SignalQuit = 0;
  struct sigaction ours {};
  ours.sa_handler = OnSignal;
  sigemptyset(&ours.sa_mask);
  sigaction(SIGINT, &ours, &g_oldInt);
  sigaction(SIGTERM, &ours, &g_oldTerm);
  while (!ExitFlag) {
    if (SignalQuit) break;
    int allow = !(In.leftDown || In.rightDown);
    BreakFlag = 0;
    int count = ReadEvents(allow);
    if (count == 0 && !QuitRequest) count = IdleStage();
    if (QuitRequest) {
      QuitRequest = 0;
      if (AskQuit()) ExitFlag = 1;
      // A batch that brought the quit is still stepped, its moves belong to the stroke; a quit
      // that came alone has nothing to step.
      if (ExitFlag && count == 0) break;
      count = 1;
    }
    if (count == 0) continue;
    if (count > 0 && Loop().closeBubble) Loop().closeBubble();
    // Pressure not in use: a mouse, or a pen that reports less than its low mark.
    if (In.pressureLow > In.pressure) {
      In.pressure = 255;
      In.pressureLow = 0;
    }
    ToolPressure = In.pressure;
    if (Loop().speedPressure) {
      int s = Loop().speedPressure();
      if (s >= 0) ToolPressure = s;
    }
    if (!BusyMode) ToolStep();
    if (Loop().afterToolStep) Loop().afterToolStep();
    In.clickState = 0;
    g_loop.lastStepX = In.pageX;
    g_loop.lastStepY = In.pageY;
    if (QuitRequest) {
      QuitRequest = 0;
      if (AskQuit()) ExitFlag = 1;
    }
  }
  sigaction(SIGINT, &g_oldInt, nullptr);
  sigaction(SIGTERM, &g_oldTerm, nullptr);
  ExitFlag = 1;
}

namespace {
void AboutAction() {
  Message("Vela " VELA_VERSION_STRING "\nPaint and animation");
}
const ActionRow kLoopActions[] = {
    {"Quit", [] { QuitRequest = 1; }},
    {"About", AboutAction},
};
}  // namespace

std::span<const ActionRow> LoopActions() {
  return kLoopActions;
}

}  // namespace vela
