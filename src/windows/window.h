// The program's own window system: floating Windows, each with its own picture and a table of
// Gadgets, stacked over the page on the one screen. Nothing on the screen is ever computed by a
// handler: moving, hiding or raising a Window only copies pixels from the Windows' Blocks.
#pragma once

#include <climits>
#include <cstdint>

#include "pixels/block.h"
#include "start/workspace.h"

namespace vela {

struct Window;
struct Gadget;

using GadgetHandler = void (*)(Window* window, Gadget* gadget, int code);
using WindowCallback = void (*)(Window* window);
using MoveCallback = void (*)(Window* window, int* x, int* y);
using ResizeCallback = void (*)(Window* window, int width, int height);
using KeyCallback = int (*)(const char* text, int count, int zero, Window* window, int code,
                            int modifiers);

// Window flags.
enum WindowFlag : uint32_t {
  kWinKeepTextField = 2,  // an active text field stays open when this Window is made
  kWinAtBack = 4,         // stays at the back of the stack
  kWinToFront = 8,        // comes to the front when shown
};
constexpr uint32_t kWinWantsIdle = 2;  // events: code 6 when idle

struct Window {
  int32_t left, right, top, bottom;  // right = left + width, bottom = top + height
  int32_t width, height;
  Block* picture;   // owned
  Gadget* gadgets;  // not owned unless ownsGadgets
  uint32_t flags;
  Window* next;      // in front of this one
  Window* previous;  // behind it
  GadgetHandler handler;
  WindowCallback onClose, onCloseOther;
  MoveCallback onMove;
  ResizeCallback onResize;
  int32_t shown;
  KeyCallback onKey;
  uint32_t serial;
  int32_t innerWidth, innerHeight, marginX, marginY;
  uint32_t events;
  // Kept for the menus built on Windows.
  const char* title;
  void* userData;
  int32_t cursor;
  bool ownsGadgets;
};

// Gadget flags.
enum GadgetFlag : uint32_t {
  kGadActOnPress = 0x2,
  kGadSelected = 0x4,
  kGadNoPressLook = 0x8,
  kGadHidden = 0x10,
  kGadRightButton = 0x40,
  kGadTextField = 0x80,
  kGadSunk = 0x100,
  kGadImage = 0x200,
  kGadHighlight = 0x400,
  kGadDimmed = 0x800,
  kGadColour = 0x1000,
  kGadImage2 = 0x2000,
  kGadRepeat = 0x4000,
  kGadInert = 0x8000,
  kGadBox = 0x10000,
  kGadRuleH = 0x20000,
  kGadRuleV = 0x40000,
  kGadPair1 = 0x80000,
  kGadSwitchLabel = 0x100000,
  kGadNoBubble = 0x200000,
  kGadPair2 = 0x10000000,
  kGadPair1b = 0x20000000,
  kGadPair3 = 0x40000000,
  kGadPair4 = 0x80000000u,
};

enum LabelFlag : int32_t { kLabelLeft = 1, kLabelRight = 2, kLabelInside = 16 };

// Frame gadgets: the same meaning in every Window.
enum FrameId : int32_t {
  kGadDepth = -1,
  kGadTitle = -2,
  kGadClose = -3,
  kGadResize = -4,
  kGadMaximize = -5,
  kGadMinimize = -6,
  kGadFrame = -7,
};

// Codes a handler receives.
enum GadgetCode : int {
  kCodeDragEnd = 0,
  kCodeLeftPress = 1,
  kCodeLeftRelease = -1,
  kCodeRightPress = 2,
  kCodeRightRelease = -2,
  kCodeFieldDone = 4,
  kCodeIdle = 6,
};

struct Gadget {
  int16_t left = 0, top = 0, right = 0,
          bottom = 0;  // a negative right or bottom: from the far edge
  int32_t id = 0;      // 0 ends the table
  uint32_t flags = 0;
  const void* image = nullptr;  // a Block for image gadgets
  void* extension = nullptr;    // TextField for text fields
  Pixel colour = 0;
  void* userData = nullptr;
  const char* help = nullptr;
  int32_t value = 0, value2 = 0;
  const char* label = nullptr;
  int32_t labelFlags = 0;
  const char* action = nullptr;  // whose key is shown in the bubble
  const char* keyAction = nullptr;
  void* linkA = nullptr;
  void* linkB = nullptr;
};

// The editing state of a text field, kept in the gadget's extension.
struct TextField {
  char* text;    // CP1252, nul-terminated
  int capacity;  // bytes of text, the nul included
  int caret;
  int scroll;  // first visible character
};

// ---- The stack -------------------------------------------------------------------------------
// Ws.backWindow is the head (rearmost), Ws.frontWindow the tail; Ws.modalWindow the modal Window,
// Ws.hotWindow the current one, Ws.activeGadget and Ws.activeGadgetWindow the active text field.

// Null when memory runs out; the caller shows " Not enough memory".
Window* CreateWindow(int width, int height, uint32_t flags);
void AddWindow(Window* window);
void RemoveWindow(Window* window);
// Unlinks if needed and frees the record and its picture.
void DeleteWindow(Window* window);
bool WindowListed(const Window* window);
// Listed and still the Window that had this serial: a record freed and made again at the same
// address is another Window.
bool WindowAlive(const Window* window, uint32_t serial);
void ShowWindow(Window* window);
void HideWindow(Window* window);
void MoveWindow(Window* window, int x, int y);
void WindowToFront(Window* window);
// An open Window asked for again: shown if hidden (F12), and brought to the front.
void RaiseWindow(Window* window);
void WindowToBack(Window* window);

// Where a new Window is centred when set and on the screen; cleared by CreateWindow.
extern int PositionHintX, PositionHintY;
extern bool PositionHintSet;

// The shown Window under a screen point, front first; null on the page.
Window* WindowAt(int x, int y);

// ---- Gadget tables ---------------------------------------------------------------------------
// Resolves negative rights and bottoms against the Window; a laid-out table stays as it is.
void LayoutGadgets(Gadget* table, int width, int height);
// A row of a Gadget table; a label sits inside unless labelFlags say otherwise.
Gadget GadgetRow(int left, int top, int right, int bottom, int id, uint32_t flags,
                 const char* label = nullptr, const char* help = nullptr,
                 int labelFlags = kLabelInside);
Gadget* FindGadget(int id, Gadget* table);
// left < x <= right and top < y <= bottom, inert rows skipped, first row wins.
Gadget* GadgetAt(int x, int y, Gadget* table);

// ---- Drawing ---------------------------------------------------------------------------------
// The Window's whole picture: body, then every gadget.
void DrawWindow(Window* window);
void RedrawGadget(Gadget* gadget, Window* window);
// Gadget and label from the Window's Block to the screen.
void BlitGadget(Window* window, Gadget* gadget);
void InvertGadget(Gadget* gadget, Window* window);
// The gadget's area on the screen side, label included: x0, y0, x1, y1 inclusive, Window pixels.
void GadgetArea(const Gadget* gadget, int* x0, int* y0, int* x1, int* y1);
// The fill a gadget gets from its flags.
Pixel GadgetFill(const Gadget* gadget);

// Text of the interface font into a Block, clipped to the rectangle [cx0, cx1) x [cy0, cy1).
// Returns the pen position after the text.
int DrawText(Block* block, int x, int y, const char* text, Pixel ink, int cx0, int cy0, int cx1,
             int cy1);
int TextWidth(const char* text, int count = -1);

// ---- The screen ------------------------------------------------------------------------------
// Repairs a screen rectangle: the page where no Window lies, then every shown Window rear to
// front. No handler is asked to draw.
void RepaintRect(Window* window, int x, int y, int w, int h);
// Draws what lies under all Windows; the page of the current image by default.
using BackdropPainter = void (*)(uint32_t* screen, int stride, int x, int y, int w, int h);
void SetBackdropPainter(BackdropPainter painter);
// Repaints the whole screen: page and Windows (the redraw of an exposed host window).
void RepaintScreen();
// After output that does not know the Windows (the brush cursor, rubber bands, a full redraw):
// whatever went over a Window is put back.
void RestoreWindows();

// ---- Events ----------------------------------------------------------------------------------
// 0 nothing, 1 left down, -1 left up, 2 right down, -2 right up, -3 a third button, 4 key, 6 idle
// with empty queue. The wheel comes as keys: 38 up and 40 down, 39 and 37 on the second axis.
// Mode 0 polls, 1 waits, 10 waits and gives idle calls.
int PumpEvents(int mode);
// One event for a modal loop (a Requester, a pop-up menu), as PumpEvents(1) gives it, or
// kEndOfInput once a headless feed can bring nothing more; the screen is then kept for
// --screenshot, since the loop's answer takes the question away.
constexpr int kEndOfInput = INT_MIN;
int ModalEvent();
// True when the Quit that ends a headless feed came after quitBefore (QuitRequest as it was
// before the poll): it is put back for the main loop.
bool TookFeedEnd(int quitBefore);
// The modal loop; returns when the Window has left the list.
void RunWindow(Window* window);
// The press of the current input state on a Window or Gadget; false when the page takes it.
bool WindowsTakePress();
// A gadget press with the left (1) or right (2) button. Act-on-press gadgets and text fields
// return at the press; the caller decides what becomes of the rest of it.
void PressGadget(Window* window, Gadget* gadget, int button);
// Keys for the active text field; true when it took the key.
bool TextFieldKey(int code, int character);
void ActivateTextField(Window* window, Gadget* gadget, int caret);
// The caret of the active text field blinks in idle time; any edit shows it again.
extern bool CaretShown;
void BlinkCaret();
// Closes the active text field; code 4 goes to its handler when report is set.
void CloseTextField(bool report);
// Idle work of the main loop: bubble bookkeeping and code 6 for the Windows that want it.
void WindowsTick();
// The 0.45 s stage of the main loop's idle work: the bubble of the gadget under the pointer.
void WindowsBubbleTimer();
// Any button or key: the bubble goes and the pointer's rest starts again.
void CloseBubbleAndRest();
void WindowsIdleCalls(Window* only);

// Title drag settings; the magnet is the Magnet setting of Main.
extern bool RaiseOnDrag;
extern int SolidDragLimit;  // width * height up to which a Window follows the pointer itself
// The g key during a drag: the Window's picture becomes a new brush.
extern void (*PictureToBrush)(const Block* picture);
// The text of an action's key for the bubble, or null.
extern const char* (*ActionKeyName)(const char* action);

// Edges of the work area and Windows that stick: 1 left, 2 top, 4 right, 8 bottom.
int Magnet(Window* window, int* x, int* y);

// ---- Help bubbles ----------------------------------------------------------------------------
// The bubble text of a gadget under the Bulle mode, or empty for none.
int BubbleText(const Gadget* gadget, int mode, char* out, int capacity);
void OpenBubble(Window* window, Gadget* gadget, int px, int py);
void CloseBubble();
Window* BubbleWindow();
const Gadget* BubbleGadget();

// Beeps, as a short flash; counted for tests.
void Beep();
extern int BeepCount;

// Removes every Window (end of a run, tests).
void CloseAllWindows();

}  // namespace vela
