// The main loop: reads events, keeps the input state, runs one tool step per batch and, when
// nothing happens, the staged idle work.
#pragma once

#include <span>

#include "start/actions.h"

#include <csignal>
#include <cstdint>

namespace vela {

extern int ExitFlag;
extern int QuitRequest;
// Set by SIGINT and SIGTERM; loops that wait for the user end when they see it.
extern volatile std::sig_atomic_t SignalQuit;

// A set hook replaces the tool for a whole mode: the tool runs only when step returns 42.
struct ToolHook {
  int (*step)() = nullptr;
  void (*end)() = nullptr;
  void (*undo)() = nullptr;
  void (*redo)() = nullptr;
  int savedCursor = 0;
};
constexpr int kRunTool = 42;

// Setting a hook ends the old one; null only ends it.
void SetToolHook(const ToolHook* hook);
const ToolHook* CurrentToolHook();

// Tool numbers are the gadget ids of the main toolbar.
enum ToolNumber : int {
  kToolPoint = 3,
  kToolDraw = 7,
  kToolBrush = 10,
  kToolLine = 21,
  kToolCircle = 24,
  kToolCurve = 28,
  kToolRectangle = 29,
  kToolSpline = 30,
  kToolFlood = 33,
  kToolEllipse = 46,
  kToolRefill = 47,
  kToolScript = 49,
  kToolMagicWand = 51,
  kToolMoveImage = 57,
};
using ToolHandler = void (*)();
void SetToolHandler(int tool, ToolHandler handler);
// The step of tools without a handler of their own.
void SetPointStep(ToolHandler handler);
extern int CurrentTool;
void SelectTool(int tool);

// Ids of the toolbar's gadgets; mode -1 from the keyboard, -2 from a right click.
void SelectGadget(int id, int mode);
extern int AntialiasOn;
extern int GridOn;

// Idle work: each function runs when its own stamp differs from the sum of the image stamp and
// the two refresh counters.
using IdleFunction = void (*)();
void AddIdleFunction(IdleFunction fn);
void RemoveIdleFunction(IdleFunction fn);
extern uint32_t RefreshCounter[2];

struct LoopHooks {
  void (*bubbleTimer)() = nullptr;  // 0.45 s: help bubble of the gadget under the pointer
  void (*closeBubble)() = nullptr;
  bool (*cacheWriteOne)() = nullptr;  // 2.5 s: true while there is more to write
  void (*refreshThumbnail)() = nullptr;
  void (*windowTick)() = nullptr;
  bool (*confirmQuit)() = nullptr;                     // the quit question; null confirms
  void (*pressUndo)(bool left, bool right) = nullptr;  // a press may open an undo step
  void (*beginLoop)() = nullptr;        // project, spare and start-up script at the head
  bool (*findGadgetPress)() = nullptr;  // true when a Window or Gadget takes the press
  void (*afterToolStep)() = nullptr;    // Windows put back over what the step drew
  int (*speedPressure)() = nullptr;     // the tool pressure from speed, or -1
  void (*endTool)() = nullptr;          // a shape in progress is committed
  void (*selectDrawingTool)(int slot, int mode) = nullptr;
};
LoopHooks& Loop();

// The tool pressure of the step: pressure, or speed pressure.
extern int ToolPressure;
extern int UndoMode;  // mirrors Workspace; 2 is no undo

// Runs until the exit flag is set.
void MainLoop();
// One pass of the event read: returns -1 when only moves came, > 0 for anything else, 0 none.
int ReadEvents(int allowInjected);
// One tool step for the current input state.
void ToolStep();

void SetRedrawHook(void (*redraw)());
void RedrawScreen();

// Quit and About: the run's own actions.
std::span<const ActionRow> LoopActions();

}  // namespace vela
