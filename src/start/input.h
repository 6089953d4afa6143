// Events and the global input state. Everything above the host sees input only as InputEvent.
#pragma once

#include <cstdint>

namespace vela {

struct ExternalCommand;

enum EventType : int32_t {
  kEventMove = 1,
  kEventButton = 2,
  kEventKey = 4,
  kEventCommand = 5,
  kEventClipImage = 6,
  kEventDrop = 7,
  kEventWheel = 8,
};

enum ButtonCode : int32_t {
  kLeftUp = 1,
  kLeftDown = 2,
  kRightUp = 3,
  kRightDown = 4,
  kMiddleUp = 5,
  kMiddleDown = 6,
};

constexpr int32_t kCharacterCode = 1234567;  // a key event that carries a translated character
constexpr int32_t kKeyRelease = 0x8000;
constexpr int kKeyDelete = 46;
constexpr int kKeyF9 = 120;
constexpr int kKeySpace = 32;
constexpr int kKeyEscape = 27;

// The 20-word event record.
struct InputEvent {
  int32_t type;
  int32_t code;
  int32_t x, y;  // window position, 16.16
  int32_t character;
  int32_t pressure;     // 0..255, 255 when no tablet reports
  int32_t pressureLow;  // 0 from a mouse, equal to pressure from a tablet
  int32_t tabletWords[2];
  uint32_t qualifiers;  // 2 shift, 4 control, 8 alt
  int32_t zero[4];
  ExternalCommand* command;  // type 5
  void* payload;             // type 6: a Block; type 7: heap file name
  int32_t word;
  int32_t wheelX, wheelY;
  int32_t moved;  // a tablet supplied this position
};

struct InputState {
  int leftDown, rightDown;
  int leftEdge, rightEdge;  // set for one step
  int clickState;           // -2 right released, -1 left released, 0 none, 1 left, 2 right
  int winX, winY;           // window pixels
  int32_t winXF, winYF;     // 16.16
  int pageX, pageY;         // page pixels
  int32_t pageXF, pageYF;   // 16.16
  int clickX, clickY;       // page pixels at the last press
  int pressure, pressureLow;
  int shift, control, alt;
  int lastKey, lastChar;  // what ModalStep hands its caller
  int wheelY;
};

extern InputState In;
extern int BreakFlag;
extern uint32_t Stamp;  // grows with every change to the image

// Never blocks; clipboard images and external commands only when allowInjected is non-zero, so
// they never land in the middle of a stroke.
bool PollEvent(int allowInjected, InputEvent* event);
// Mode 0 blocks until something is there (the 20 ms timer sees to it); above 1 returns at once.
void WaitEvent(int mode);
void DispatchEvent(const InputEvent& event);
// One step for code with its own loop: 0 nothing, 4 a key, else the click state.
int ModalStep(int mode);
double TimeNow();

// A key press that ran an action: the character the host sends after it for the same press is
// dropped, so that a Requester the action opens does not receive it.
void SwallowCharOfKey(int key);

// The input state update for a button event.
void UpdateInputState(const InputEvent& event, bool setEdges);

// Injected queues: delivered only when no button is down.
void QueueExternalCommand(ExternalCommand* command);
void QueueClipboardImage(void* block);
bool InjectedPending();

// Hooks the upper modules fill.
struct InputHooks {
  void (*keyMap)(int code, int character) = nullptr;       // key map of the actions
  void (*runCommand)(ExternalCommand* command) = nullptr;  // type 5
  void (*pasteImage)(void* block) = nullptr;               // type 6, owns the block
  void (*dropFile)(const char* path) = nullptr;            // type 7
  void (*wheelTool)(int steps) = nullptr;                  // tool size up or down
  void (*toggleToolbar)() = nullptr;                       // middle button
  void (*screenGrab)() = nullptr;                          // control + F9
  void (*pageFromWindow)(int32_t wx, int32_t wy, int32_t* px, int32_t* py) = nullptr;
  void (*snapToGrid)(int32_t* px, int32_t* py) = nullptr;
  bool (*gadgetActive)() = nullptr;
  void (*releaseExternal)(ExternalCommand* command) = nullptr;  // refused at shut-down
};
InputHooks& Input();

// Screen modes that change key handling.
extern int BusyMode;
extern int DisplayLocked;
// While a script holds the user lock, input from the user is held back (and dropped at unlock).
extern int UserLocked;

// Clears the state and the queues (a new run, or a test).
void ResetInput();
// Refuses every queued external command and frees queued images.
void DrainInjected(void (*freeImage)(void*));

}  // namespace vela
