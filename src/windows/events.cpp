// Event routing of the window system: presses on gadgets, title drags with the magnet, text
// fields, the modal loop, and the idle calls of the main loop.
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "host/host.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/run.h"
#include "start/settings.h"
#include "windows/window.h"

namespace vela {

bool RaiseOnDrag = true;
int SolidDragLimit = 640 * 480;
void (*PictureToBrush)(const Block* picture) = nullptr;
const char* (*ActionKeyName)(const char* action) = nullptr;
int BeepCount = 0;

namespace {

constexpr int kKeyG = 'G';
constexpr int kKeyBackspace = 8;
constexpr int kKeyTab = 9;
constexpr int kKeyReturn = 13;
constexpr int kKeyEnd = 35;
constexpr int kKeyHome = 36;
constexpr int kKeyLeft = 37;
constexpr int kKeyUp = 38;
constexpr int kKeyRight = 39;
constexpr int kKeyDown = 40;
constexpr int kFieldPad = 3;

struct Rest {
  const Gadget* gadget = nullptr;
  double since = 0;
};
Rest g_rest;  // the gadget the pointer rests on, and since when
constexpr double kBubbleDelay = 0.45;

bool MustStop() {
  return ExitFlag || QuitRequest || SignalQuit;
}

bool Held(int button) {
  return button == 2 ? In.rightDown != 0 : In.leftDown != 0;
}

// Pumps events for ms milliseconds of the host clock while the button is held. It stops at the
// release, so that what follows the release stays queued for whoever comes next.
void WaitMs(int ms, int button) {
  int64_t end = HostMilliseconds() + ms;
  while (!MustStop() && Held(button)) {
    if (HostWaitEvent(0)) {
      PumpEvents(0);
      continue;
    }
    int64_t left = end - HostMilliseconds();
    if (left <= 0) return;
    HostWaitEvent(static_cast<int>(std::min<int64_t>(left, 20)));
  }
}

void WaitRelease(int button) {
  while (Held(button) && !MustStop()) PumpEvents(1);
}

// One event for the window system's own loops. The input state is kept as the main loop keeps
// it; the wheel comes as arrow keys and the middle button as a code of its own.
int NextEvent() {
  InputEvent e;
  if (!PollEvent(0, &e)) return 0;
  In.shift = (e.qualifiers & kQualShift) != 0;
  In.control = (e.qualifiers & kQualControl) != 0;
  In.alt = (e.qualifiers & kQualAlt) != 0;
  switch (e.type) {
    case kEventMove:
    case kEventButton: {
      int before = In.clickState;
      In.clickState = 0;
      UpdateInputState(e, true);
      int now = In.clickState;
      if (!now) In.clickState = before;
      if (e.type == kEventButton && e.code == kMiddleDown) return -3;
      return now;
    }
    case kEventKey:
      if (e.code == kCharacterCode)
        In.lastChar = e.character;
      else
        In.lastKey = e.code;
      if (e.code == kKeyF9 && In.control && Input().screenGrab) Input().screenGrab();
      return 4;
    case kEventWheel: {
      int key = e.wheelY > 0   ? kKeyUp
                : e.wheelY < 0 ? kKeyDown
                : e.wheelX > 0 ? kKeyRight
                : e.wheelX < 0 ? kKeyLeft
                               : 0;
      if (!key) return 0;
      In.lastKey = key;
      return 4;
    }
    case kEventDrop:
      std::free(e.payload);
      return 0;
    default:
      return 0;
  }
}

// An act-on-press gadget shows its press until the button is up. The handler may have drawn the
// gadget anew meanwhile, so the look is taken back only where the picture is still as the press
// left it.
struct HeldLook {
  Window* window = nullptr;
  uint32_t serial = 0;
  Gadget* gadget = nullptr;
  int button = 0;
  std::vector<Pixel> pixels;
};
HeldLook g_held;

void GadgetPixels(const Window* w, const Gadget* g, std::vector<Pixel>* out) {
  out->clear();
  int x0 = std::max<int>(g->left, 0), x1 = std::min<int>(g->right, w->width - 1);
  int y0 = std::max<int>(g->top, 0), y1 = std::min<int>(g->bottom, w->height - 1);
  if (x0 > x1) return;
  for (int y = y0; y <= y1; ++y)
    out->insert(out->end(), w->picture->Row(y) + x0, w->picture->Row(y) + x1 + 1);
}

bool InTable(const Gadget* g, const Gadget* table) {
  for (const Gadget* t = table; t && t->id != 0; ++t)
    if (t == g) return true;
  return false;
}

void TakeBackHeldLook() {
  HeldLook h = std::move(g_held);
  g_held = {};
  if (!WindowAlive(h.window, h.serial) || !InTable(h.gadget, h.window->gadgets)) return;
  std::vector<Pixel> now;
  GadgetPixels(h.window, h.gadget, &now);
  if (now == h.pixels) InvertGadget(h.gadget, h.window);
}

// What the main loop does with a press that a Window took: the tool never sees its moves or its
// release; an active text field still gets the keys.
void HoldPress(int button) {
  while (Held(button) && !MustStop()) {
    In.lastKey = In.lastChar = 0;
    if (PumpEvents(1) == 4 && Ws.activeGadget)
      TextFieldKey(In.lastChar ? kCharacterCode : In.lastKey, In.lastChar);
  }
}

// The gadget under the pointer and its Window; a modal Window captures the test.
Gadget* GadgetUnderPointer(Window** where) {
  Window* w = WindowAt(In.winX, In.winY);
  if (Ws.modalWindow && w != Ws.modalWindow) w = nullptr;
  if (w && w == BubbleWindow()) w = nullptr;
  *where = w;
  return w ? GadgetAt(In.winX - w->left, In.winY - w->top, w->gadgets) : nullptr;
}

int CaretAt(const Gadget* g, int x) {
  auto* tf = static_cast<const TextField*>(g->extension);
  if (!tf || !tf->text) return 0;
  int len = static_cast<int>(std::strlen(tf->text));
  int pen = g->left + kFieldPad;
  for (int i = tf->scroll; i < len; ++i) {
    int cw = TextWidth(tf->text + i, 1);
    if (x < pen + cw / 2) return i;
    pen += cw;
  }
  return len;
}

double g_blinkMark = 0;
constexpr double kBlink = 0.5;

void RedrawField(Window* w, Gadget* g) {
  CaretShown = true;
  g_blinkMark = TimeNow();
  RedrawGadget(g, w);
  BlitGadget(w, g);
}

void DragTitle(Window* w) {
  if (RaiseOnDrag) WindowToFront(w);
  const uint32_t serial = w->serial;
  HostScreen s = HostFramebuffer();
  int offX = In.winX - w->left, offY = In.winY - w->top;
  int lastX = In.winX, lastY = In.winY;
  bool solid = static_cast<int64_t>(w->width) * w->height <= SolidDragLimit;
  int x = w->left, y = w->top, steps = 0;
  // The size is kept here: a handler may close the Window while it is dragged.
  const int ww = w->width, wh = w->height;
  auto outline = [&](int ox, int oy) {
    // XOR twice restores: the outline is drawn and taken back the same way.
    HostScreen sc = HostFramebuffer();
    if (!sc.pixels || DisplayLocked) return;
    auto flip = [&](int px, int py) {
      if (px >= 0 && py >= 0 && px < sc.width && py < sc.height)
        sc.pixels[static_cast<size_t>(py) * sc.stride + px] ^= 0x00FFFFFFu;
    };
    for (int i = 0; i < ww; ++i) flip(ox + i, oy), flip(ox + i, oy + wh - 1);
    for (int i = 1; i < wh - 1; ++i) flip(ox, oy + i), flip(ox + ww - 1, oy + i);
    HostPresent(ox, oy, ww, wh);
  };
  if (!solid) outline(x, y);
  while (In.leftDown && !MustStop() && WindowAlive(w, serial)) {
    In.lastKey = In.lastChar = 0;
    int r = PumpEvents(1);
    if (r == 4) {
      if ((In.lastKey == kKeyG || In.lastChar == 'g') && PictureToBrush) PictureToBrush(w->picture);
      continue;
    }
    if (In.winX == lastX && In.winY == lastY) continue;
    lastX = In.winX, lastY = In.winY;
    ++steps;
    int nx = std::clamp(In.winX, 0, std::max(0, s.width - 1)) - offX;
    int ny = std::clamp(In.winY, 0, std::max(0, s.height - 1)) - offY;
    Magnet(w, &nx, &ny);
    if (w->onMove) w->onMove(w, &nx, &ny);
    if (!WindowAlive(w, serial)) break;  // the handler closed it
    if (solid) {
      MoveWindow(w, nx, ny);
    } else if (nx != x || ny != y) {
      outline(x, y);
      outline(nx, ny);
    }
    x = nx, y = ny;
  }
  if (!solid) {
    outline(x, y);
    if (WindowAlive(w, serial)) MoveWindow(w, x, y);
  }
  if (steps < 5 && WindowAlive(w, serial)) WindowToFront(w);
}

void DepthButton(Window* w) {
  if (!w->shown || (w->flags & kWinAtBack)) return;
  bool inFront = false;
  for (Window* o = w->next; o; o = o->next)
    if (o->shown && o != BubbleWindow()) inFront = true;
  if (inFront)
    WindowToFront(w);
  else if (w->previous)
    WindowToBack(w);
}

void CloseButton(Window* w) {
  if (w->onCloseOther)
    w->onCloseOther(w);
  else if (w->onClose)
    w->onClose(w);
}

void Repeat(Window* w, Gadget* g, int code, bool look) {
  const uint32_t serial = w->serial;
  int button = code;
  if (w->handler) w->handler(w, g, code);
  for (int i = 0; i < 5 && Held(button) && !MustStop(); ++i) {
    if (!WindowAlive(w, serial)) return;
    WaitMs(80, button);
  }
  while (Held(button) && !MustStop()) {
    if (!WindowAlive(w, serial)) return;
    if (w->handler) w->handler(w, g, code);
    WaitMs(40, button);
    WaitMs(40, button);
  }
  if (!WindowAlive(w, serial)) return;
  if (w->handler) w->handler(w, g, -code);
  if (look && WindowAlive(w, serial)) InvertGadget(g, w);
}

// The modal wait of a press outside the modal Window: swallowed up to its release.
void RefusePress(int button) {
  Beep();
  WaitRelease(button);
}

}  // namespace

bool TookFeedEnd(int quitBefore) {
  if (!HostHeadless() || quitBefore || !QuitRequest) return false;
  QuitRequest = 0;
  HostEvent quit;
  quit.type = HostEventType::Quit;
  HostPushEvent(quit);
  return true;
}

int ModalEvent() {
  In.lastKey = In.lastChar = 0;
  if (!HostHeadless()) return PumpEvents(1);
  const int quit = QuitRequest;
  const int r = PumpEvents(0);
  if (TookFeedEnd(quit)) {
    KeepScreenAtFeedEnd();
    return kEndOfInput;
  }
  if (r || HostWaitEvent(0)) return r;
  // The virtual clock jumps to the feed's next event; a feed held open has none.
  return HostWaitEvent(INT_MAX) ? 0 : kEndOfInput;
}

void Beep() {
  ++BeepCount;
  HostScreen s = HostFramebuffer();
  if (HostHeadless() || !s.pixels || DisplayLocked) return;
  // A short flash of the screen stands for the host's beep.
  Window* m = Ws.modalWindow;
  int x = m ? m->left : 0, y = m ? m->top : 0;
  int w = m ? m->width : s.width, h = m ? m->height : s.height;
  x = std::max(x, 0), y = std::max(y, 0);
  w = std::min(w, s.width - x), h = std::min(h, s.height - y);
  if (w <= 0 || h <= 0) return;
  for (int r = 0; r < h; ++r)
    for (int c = 0; c < w; ++c)
      s.pixels[static_cast<size_t>(y + r) * s.stride + x + c] ^= 0x00FFFFFFu;
  HostPresent(x, y, w, h);
  std::this_thread::sleep_for(std::chrono::milliseconds(60));
  RepaintRect(nullptr, x, y, w, h);
}

int PumpEvents(int mode) {
  int r = NextEvent();
  if (g_held.window && !Held(g_held.button)) TakeBackHeldLook();
  if (r) return r;
  if (HostWaitEvent(0)) return 0;
  if (mode == 0) return 0;
  HostWaitEvent(20);
  if (HostWaitEvent(0)) return 0;
  return mode == 10 ? 6 : 0;
}

int Magnet(Window* w, int* x, int* y) {
  if (!MainSet.magnet || Ws.modalWindow || !w) return 0;
  HostScreen s = HostFramebuffer();
  int W = w->width, H = w->height;
  int px = *x, py = *y;
  int bestX = 3, bestY = 3, nx = px, ny = py, fx = 0, fy = 0;
  auto tryX = [&](int d, int to, int bit, bool ties) {
    d = std::abs(d);
    if (d > 5 || (ties ? d > bestX : d >= bestX)) return;
    bestX = d, nx = to, fx = bit;
  };
  auto tryY = [&](int d, int to, int bit, bool ties) {
    d = std::abs(d);
    if (d > 5 || (ties ? d > bestY : d >= bestY)) return;
    bestY = d, ny = to, fy = bit;
  };
  // The work area first; a Window at the same distance later takes the edge from it.
  tryX(px, 0, 1, false);
  tryY(py, 0, 2, false);
  tryX(px + W - s.width, s.width - W, 4, false);
  tryY(py + H - s.height, s.height - H, 8, false);
  for (Window* o = Ws.backWindow; o; o = o->next) {
    if (o == w || o == BubbleWindow()) continue;
    if (py < o->bottom + 5 && py + H > o->top - 5) {
      tryX(px - o->right, o->right, 1, true);
      tryX(px - o->left, o->left, 1, true);
      tryX(px + W - o->left, o->left - W, 4, true);
      tryX(px + W - o->right, o->right - W, 4, true);
    }
    if (px < o->right + 5 && px + W > o->left - 5) {
      tryY(py - o->bottom, o->bottom, 2, true);
      tryY(py - o->top, o->top, 2, true);
      tryY(py + H - o->top, o->top - H, 8, true);
      tryY(py + H - o->bottom, o->bottom - H, 8, true);
    }
  }
  *x = nx, *y = ny;
  return fx | fy;
}

void BlinkCaret() {
  Gadget* g = Ws.activeGadget;
  Window* w = Ws.activeGadgetWindow;
  if (!g || !WindowListed(w) || TimeNow() - g_blinkMark < kBlink) return;
  g_blinkMark = TimeNow();
  CaretShown = !CaretShown;
  RedrawGadget(g, w);
  BlitGadget(w, g);
}

void ActivateTextField(Window* w, Gadget* g, int caret) {
  if (Ws.activeGadget && Ws.activeGadget != g) CloseTextField(false);
  auto* tf = static_cast<TextField*>(g->extension);
  if (!tf) return;
  tf->caret = caret;
  Ws.activeGadget = g;
  Ws.activeGadgetWindow = w;
  RedrawField(w, g);
}

void CloseTextField(bool report) {
  Gadget* g = Ws.activeGadget;
  Window* w = Ws.activeGadgetWindow;
  Ws.activeGadget = nullptr;
  Ws.activeGadgetWindow = nullptr;
  if (!g || !WindowListed(w)) return;
  RedrawField(w, g);
  if (report && w->handler) w->handler(w, g, kCodeFieldDone);
}

bool TextFieldKey(int code, int character) {
  Gadget* g = Ws.activeGadget;
  Window* w = Ws.activeGadgetWindow;
  if (!g || !WindowListed(w)) return false;
  auto* tf = static_cast<TextField*>(g->extension);
  if (!tf || !tf->text) return false;
  int len = static_cast<int>(std::strlen(tf->text));
  if (code == kCharacterCode) {
    auto c = static_cast<unsigned char>(character);
    if (c < 32 || c == 127) return true;
    if (len + 1 >= tf->capacity) return true;
    std::memmove(tf->text + tf->caret + 1, tf->text + tf->caret, len - tf->caret + 1);
    tf->text[tf->caret++] = static_cast<char>(c);
  } else if (code & kKeyRelease) {
    return true;
  } else {
    switch (code) {
      case kKeyBackspace:
        if (tf->caret == 0) return true;
        std::memmove(tf->text + tf->caret - 1, tf->text + tf->caret, len - tf->caret + 1);
        --tf->caret;
        break;
      case kKeyDelete:
        if (tf->caret < len)
          std::memmove(tf->text + tf->caret, tf->text + tf->caret + 1, len - tf->caret);
        break;
      case kKeyLeft:
        tf->caret = std::max(0, tf->caret - 1);
        break;
      case kKeyRight:
        tf->caret = std::min(len, tf->caret + 1);
        break;
      case kKeyHome:
        tf->caret = 0;
        tf->scroll = 0;
        break;
      case kKeyEnd:
        tf->caret = len;
        break;
      case kKeyReturn:
      case kKeyTab:
      case kKeyEscape:
        CloseTextField(true);
        return true;
      default:
        return true;
    }
  }
  RedrawField(w, g);
  return true;
}

void PressGadget(Window* w, Gadget* g, int button) {
  bool right = button == 2;
  CloseBubbleAndRest();
  if (g_held.window) TakeBackHeldLook();
  if (Ws.activeGadget && Ws.activeGadget != g) CloseTextField(false);
  Ws.hotWindow = w;
  const uint32_t serial = w->serial;
  int localX = In.winX - w->left;
  if (right && !(g->flags & kGadRightButton)) {
    if (g->flags & kGadTextField) {
      if (!(g->flags & kGadSunk)) ActivateTextField(w, g, CaretAt(g, localX));
      return;
    }
    OpenBubble(w, g, In.winX, In.winY);
    WaitRelease(button);
    CloseBubble();
    return;
  }
  int code = right ? kCodeRightPress : kCodeLeftPress;
  if (g->id == kGadTitle && !right) {
    DragTitle(w);
    if (WindowAlive(w, serial) && w->onMove && w->handler) w->handler(w, g, kCodeDragEnd);
    return;
  }
  if (g->flags & kGadTextField) {
    // A sunk field ends here; any other takes the keys from now on.
    if (!(g->flags & kGadSunk)) ActivateTextField(w, g, CaretAt(g, localX));
    return;
  }
  bool look = !(g->flags & kGadNoPressLook);
  if (look) InvertGadget(g, w);
  if (g->flags & (kGadActOnPress | kGadHighlight)) {
    if (look) {
      g_held = {w, serial, g, button, {}};
      GadgetPixels(w, g, &g_held.pixels);
    }
    if (w->handler) w->handler(w, g, code);
    return;
  }
  if (g->flags & kGadRepeat) {
    Repeat(w, g, code, look);
    return;
  }
  WaitRelease(button);
  if (!WindowAlive(w, serial)) return;
  if (look) InvertGadget(g, w);
  // A press that moved off the gadget is cancelled.
  if (WindowAt(In.winX, In.winY) != w ||
      GadgetAt(In.winX - w->left, In.winY - w->top, w->gadgets) != g)
    return;
  if (!right && g->id == kGadDepth)
    DepthButton(w);
  else if (!right && g->id == kGadClose)
    CloseButton(w);
  else if (w->handler)
    w->handler(w, g, -code);
}

bool WindowsTakePress() {
  int button = In.rightEdge ? 2 : In.leftEdge ? 1 : 0;
  if (!button) return false;
  CloseBubbleAndRest();
  Window* w = WindowAt(In.winX, In.winY);
  if (Ws.modalWindow && w != Ws.modalWindow) {
    RefusePress(button);
    return true;
  }
  if (!w) {
    CloseTextField(false);
    return false;
  }
  Gadget* g = GadgetAt(In.winX - w->left, In.winY - w->top, w->gadgets);
  if (g)
    PressGadget(w, g, button);
  else if (button == 1)
    WindowToFront(w);
  HoldPress(button);
  return true;
}

void WindowsIdleCalls(Window* only) {
  if (only) {
    if ((only->events & kWinWantsIdle) && only->handler) only->handler(only, nullptr, kCodeIdle);
    return;
  }
  // A handler may close or open Windows: the list is read first, and each Window is looked up
  // again by its serial before its call.
  std::vector<uint32_t> serials;
  for (Window* w = Ws.backWindow; w; w = w->next)
    if ((w->events & kWinWantsIdle) && w->handler) serials.push_back(w->serial);
  for (uint32_t serial : serials) {
    Window* w = Ws.backWindow;
    while (w && w->serial != serial) w = w->next;
    if (w && w->handler) w->handler(w, nullptr, kCodeIdle);
  }
}

namespace {

// The bubble follows the pointer: a change of gadget closes it and, while one shows, opens the
// next one at once; resting on a gadget opens its bubble after the delay.
void BubbleIdle(bool timed) {
  Window* w;
  Gadget* g = GadgetUnderPointer(&w);
  double now = TimeNow();
  if (g != g_rest.gadget) {
    g_rest = {g, now};
    if (BubbleWindow()) {
      CloseBubble();
      if (g) OpenBubble(w, g, In.winX, In.winY);
    }
    if (!timed) return;
  }
  if (g && !BubbleWindow() && (timed || now - g_rest.since > kBubbleDelay))
    OpenBubble(w, g, In.winX, In.winY);
}
}  // namespace

void CloseBubbleAndRest() {
  CloseBubble();
  g_rest.since = TimeNow();
}

void WindowsTick() {
  if (In.leftDown || In.rightDown) return;
  if (g_held.window) TakeBackHeldLook();
  BubbleIdle(false);
  BlinkCaret();
  WindowsIdleCalls(nullptr);
}

void WindowsBubbleTimer() {
  if (In.leftDown || In.rightDown) return;
  BubbleIdle(true);
}

void RunWindow(Window* window) {
  Window* saved = Ws.modalWindow;
  Ws.modalWindow = window;
  const uint32_t serial = window->serial;
  while (WindowAlive(window, serial) && !MustStop()) {
    In.lastKey = In.lastChar = 0;
    int r = PumpEvents(10);
    if (!WindowAlive(window, serial)) break;
    if (r == 6) {
      if (!In.leftDown && !In.rightDown) {
        BubbleIdle(false);
        BlinkCaret();
        WindowsIdleCalls(window);
      }
      continue;
    }
    if (r == 1 || r == 2) {
      CloseBubble();
      Window* w = WindowAt(In.winX, In.winY);
      if (w != window) {
        RefusePress(r);
        continue;
      }
      Gadget* g = GadgetAt(In.winX - w->left, In.winY - w->top, w->gadgets);
      if (g)
        PressGadget(w, g, r);
      else
        WaitRelease(r);
      continue;
    }
    if (r == 4) {
      CloseBubble();
      int code = In.lastChar ? kCharacterCode : In.lastKey;
      if (Ws.activeGadget) {
        TextFieldKey(code, In.lastChar);
      } else if (window->onKey) {
        char text[2] = {static_cast<char>(In.lastChar), 0};
        uint32_t mods = (In.shift ? uint32_t{kQualShift} : 0u) |
                        (In.control ? uint32_t{kQualControl} : 0u) |
                        (In.alt ? uint32_t{kQualAlt} : 0u);
        window->onKey(text, In.lastChar ? 1 : 0, 0, window, code, static_cast<int>(mods));
      }
    }
  }
  Ws.modalWindow = saved;
}

}  // namespace vela
