#include "windows/window.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "host/host.h"
#include "project/compose.h"
#include "start/input.h"

namespace vela {

int PositionHintX = 0, PositionHintY = 0;
bool PositionHintSet = false;

namespace {

uint32_t g_serial = 0;

Pixel BackgroundColour() {
  Pixel bg = Ws.sysColors[BACKGROUNDCOLOR];
  return bg ? bg : kDefaultSysColors[BACKGROUNDCOLOR];
}

// Under all Windows: the interface background and the page as its own display composes it.
void PaintPage(uint32_t* screen, int stride, int x, int y, int w, int h) {
  Pixel bg = BackgroundColour();
  for (int r = 0; r < h; ++r) std::fill_n(screen + static_cast<size_t>(y + r) * stride + x, w, bg);
  const Block* page = Ws.page;
  if (!page || Ws.noPage) return;
  int x0 = std::max(x, Ws.pageX), x1 = std::min(x + w, Ws.pageX + page->width);
  int y0 = std::max(y, Ws.pageY), y1 = std::min(y + h, Ws.pageY + page->height);
  if (x0 >= x1 || y0 >= y1) return;
  if (Ws.displayFlags & kDisplayGamma) {
    // Only the page's own output knows the monitor's tables; it leaves the Windows alone.
    ShowPage(x0 - Ws.pageX, y0 - Ws.pageY, x1 - x0, y1 - y0);
    return;
  }
  for (int r = y0; r < y1; ++r)
    MergedRow(x0 - Ws.pageX, r - Ws.pageY, screen + static_cast<size_t>(r) * stride + x0, x1 - x0,
              1, 1);
}

BackdropPainter g_backdrop = PaintPage;

bool ScreenWritable(HostScreen* s) {
  *s = HostFramebuffer();
  return s->pixels && !DisplayLocked && !HostIconic();
}

// Clips a rectangle to the screen; false when nothing is left.
bool ClipToScreen(const HostScreen& s, int* x, int* y, int* w, int* h) {
  int x0 = std::max(*x, 0), y0 = std::max(*y, 0);
  int x1 = std::min(*x + *w, s.width), y1 = std::min(*y + *h, s.height);
  if (x0 >= x1 || y0 >= y1) return false;
  *x = x0, *y = y0, *w = x1 - x0, *h = y1 - y0;
  return true;
}

// The Window's picture into the screen, within a clipped screen rectangle.
void CopyWindowPart(const HostScreen& s, const Window* win, int x, int y, int w, int h) {
  int x0 = std::max(x, win->left), x1 = std::min(x + w, win->right);
  int y0 = std::max(y, win->top), y1 = std::min(y + h, win->bottom);
  if (x0 >= x1 || y0 >= y1) return;
  for (int r = y0; r < y1; ++r)
    std::memcpy(s.pixels + static_cast<size_t>(r) * s.stride + x0,
                win->picture->Row(r - win->top) + (x0 - win->left),
                static_cast<size_t>(x1 - x0) * 4);
}

bool Overlaps(const Window* a, int x, int y, int w, int h) {
  return a->left < x + w && x < a->right && a->top < y + h && y < a->bottom;
}

// True when no shown Window in front of win covers any of the rectangle.
bool FrontmostOver(const Window* win, int x, int y, int w, int h) {
  for (const Window* o = win->next; o; o = o->next)
    if (o->shown && Overlaps(o, x, y, w, h)) return false;
  return true;
}

void Unlink(Window* w) {
  if (w->previous)
    w->previous->next = w->next;
  else if (Ws.backWindow == w)
    Ws.backWindow = w->next;
  if (w->next)
    w->next->previous = w->previous;
  else if (Ws.frontWindow == w)
    Ws.frontWindow = w->previous;
  w->next = w->previous = nullptr;
}

// Links w in front of behind, or at the head when behind is null.
void LinkAfter(Window* w, Window* behind) {
  w->previous = behind;
  w->next = behind ? behind->next : Ws.backWindow;
  if (w->next)
    w->next->previous = w;
  else
    Ws.frontWindow = w;
  if (behind)
    behind->next = w;
  else
    Ws.backWindow = w;
}

void SetRect(Window* w, int x, int y) {
  w->left = x;
  w->top = y;
  w->right = x + w->width;
  w->bottom = y + w->height;
}

// After the page shrank: no shown Window may start further right or lower than the edge strip.
void PullIntoScreen() {
  HostScreen s = HostFramebuffer();
  for (Window* w = Ws.backWindow; w; w = w->next) {
    if (!w->shown) continue;
    int x = std::min(w->left, s.width - 30), y = std::min(w->top, s.height - 20);
    if (x != w->left || y != w->top) MoveWindow(w, x, y);
  }
}

}  // namespace

void SetBackdropPainter(BackdropPainter painter) {
  g_backdrop = painter ? painter : PaintPage;
}

void RepaintRect(Window* window, int x, int y, int w, int h) {
  HostScreen s;
  if (!ScreenWritable(&s) || !ClipToScreen(s, &x, &y, &w, &h)) return;
  // The parts that no Window covers get the page; the Windows then follow rear to front, so each
  // pixel ends as the front-most Window over it shows it.
  g_backdrop(s.pixels, s.stride, x, y, w, h);
  for (const Window* o = Ws.backWindow; o; o = o->next)
    if (o->shown) CopyWindowPart(s, o, x, y, w, h);
  HostPresent(x, y, w, h);
}

void RepaintScreen() {
  HostScreen s = HostFramebuffer();
  RepaintRect(nullptr, 0, 0, s.width, s.height);
}

namespace {
// Shows a screen rectangle of a Window: a plain copy when nothing lies in front of it there.
void ShowWindowRect(Window* win, int x, int y, int w, int h) {
  if (!win->shown) return;
  if (!FrontmostOver(win, x, y, w, h)) {
    RepaintRect(win, x, y, w, h);
    return;
  }
  HostScreen s;
  if (!ScreenWritable(&s) || !ClipToScreen(s, &x, &y, &w, &h)) return;
  CopyWindowPart(s, win, x, y, w, h);
  HostPresent(x, y, w, h);
}
}  // namespace

Window* CreateWindow(int width, int height, uint32_t flags) {
  if (width <= 0 || height <= 0) return nullptr;
  Window* w = new (std::nothrow) Window{};
  if (!w) return nullptr;
  w->picture = NewBlock(width, height);
  if (!w->picture) {
    delete w;
    return nullptr;
  }
  w->width = width;
  w->height = height;
  w->flags = flags;
  w->serial = ++g_serial;
  w->innerWidth = width - 8;
  w->innerHeight = height - 8;
  w->marginX = w->marginY = 4;
  HostScreen s = HostFramebuffer();
  int x, y;
  if (PositionHintSet && PositionHintX >= 0 && PositionHintY >= 0 && PositionHintX < s.width &&
      PositionHintY < s.height) {
    x = PositionHintX - width / 2;
    y = std::max(0, PositionHintY - height / 2);
  } else {
    x = (s.width - width) / 2;
    y = (s.height - height) / 2;
  }
  PositionHintSet = false;
  SetRect(w, x, y);
  if (!(flags & kWinKeepTextField)) CloseTextField(false);
  AddWindow(w);
  return w;
}

bool WindowListed(const Window* window) {
  if (!window) return false;
  for (const Window* w = Ws.backWindow; w; w = w->next)
    if (w == window) return true;
  return false;
}

bool WindowAlive(const Window* window, uint32_t serial) {
  // The serial is read only once the record is known to be a live Window.
  return WindowListed(window) && window->serial == serial;
}

void AddWindow(Window* window) {
  if (!window || WindowListed(window)) return;
  LinkAfter(window, Ws.frontWindow);
}

void RemoveWindow(Window* window) {
  if (!WindowListed(window)) return;
  HideWindow(window);
  if (Ws.activeGadgetWindow == window) {
    Ws.activeGadget = nullptr;
    Ws.activeGadgetWindow = nullptr;
  }
  Unlink(window);
  if (Ws.hotWindow == window) Ws.hotWindow = Ws.backWindow;
}

void DeleteWindow(Window* window) {
  if (!window) return;
  RemoveWindow(window);
  FreeBlock(window->picture);
  if (window->ownsGadgets) delete[] window->gadgets;
  delete window;
}

void ShowWindow(Window* window) {
  if (!window) return;
  PullIntoScreen();
  window->shown = 1;
  if (WindowListed(window)) {
    if (window->flags & kWinAtBack) {
      Unlink(window);
      LinkAfter(window, nullptr);
    } else if (window->flags & kWinToFront) {
      Unlink(window);
      LinkAfter(window, Ws.frontWindow);
    }
  }
  ShowWindowRect(window, window->left, window->top, window->width, window->height);
}

void HideWindow(Window* window) {
  if (!window || !window->shown) return;
  window->shown = 0;
  RepaintRect(window, window->left, window->top, window->width, window->height);
}

void MoveWindow(Window* window, int x, int y) {
  if (!window || (x == window->left && y == window->top)) return;
  int ox = window->left, oy = window->top;
  SetRect(window, x, y);
  if (!window->shown) return;
  ShowWindowRect(window, x, y, window->width, window->height);
  // What the move uncovered: the old rectangle less the new one, in at most four bands.
  int w = window->width, h = window->height;
  int ix0 = std::max(ox, x), ix1 = std::min(ox + w, x + w);
  int iy0 = std::max(oy, y), iy1 = std::min(oy + h, y + h);
  if (ix0 >= ix1 || iy0 >= iy1) {
    RepaintRect(window, ox, oy, w, h);
    return;
  }
  if (oy < iy0) RepaintRect(window, ox, oy, w, iy0 - oy);
  if (iy1 < oy + h) RepaintRect(window, ox, iy1, w, oy + h - iy1);
  if (ox < ix0) RepaintRect(window, ox, iy0, ix0 - ox, iy1 - iy0);
  if (ix1 < ox + w) RepaintRect(window, ix1, iy0, ox + w - ix1, iy1 - iy0);
}

void WindowToFront(Window* window) {
  if (!WindowListed(window) || (window->flags & kWinAtBack) || !window->next) return;
  Unlink(window);
  LinkAfter(window, Ws.frontWindow);
  ShowWindowRect(window, window->left, window->top, window->width, window->height);
}

void RaiseWindow(Window* window) {
  if (!WindowListed(window)) return;
  if (!window->shown) ShowWindow(window);
  WindowToFront(window);
}

void WindowToBack(Window* window) {
  if (!WindowListed(window) || (window->flags & kWinAtBack)) return;
  // Behind everything but the Windows that always stay at the back.
  Window* behind = nullptr;
  for (Window* w = Ws.backWindow; w && (w->flags & kWinAtBack); w = w->next)
    if (w != window) behind = w;
  if (window->previous == behind) return;
  Unlink(window);
  LinkAfter(window, behind);
  if (window->shown) RepaintRect(window, window->left, window->top, window->width, window->height);
}

Window* WindowAt(int x, int y) {
  for (Window* w = Ws.frontWindow; w; w = w->previous)
    if (w->shown && x >= w->left && x < w->right && y >= w->top && y < w->bottom) return w;
  return nullptr;
}

void LayoutGadgets(Gadget* table, int width, int height) {
  if (!table) return;
  for (Gadget* g = table; g->id != 0; ++g) {
    if (g->right < 0) g->right = static_cast<int16_t>(width + g->right);
    if (g->bottom < 0) g->bottom = static_cast<int16_t>(height + g->bottom);
    if (g->id == kGadDepth && !(g->flags & kGadColour)) {
      g->colour = 0xFF9696FF;
      g->flags |= kGadColour;
    }
  }
}

Gadget GadgetRow(int left, int top, int right, int bottom, int id, uint32_t flags,
                 const char* label, const char* help, int labelFlags) {
  Gadget g;
  g.left = static_cast<int16_t>(left), g.top = static_cast<int16_t>(top);
  g.right = static_cast<int16_t>(right), g.bottom = static_cast<int16_t>(bottom);
  g.id = id;
  g.flags = flags;
  g.label = label;
  g.help = help;
  g.labelFlags = label ? labelFlags : 0;
  return g;
}

Gadget* FindGadget(int id, Gadget* table) {
  if (!table) return nullptr;
  for (Gadget* g = table; g->id != 0; ++g)
    if (g->id == id) return g;
  return nullptr;
}

Gadget* GadgetAt(int x, int y, Gadget* table) {
  if (!table) return nullptr;
  for (Gadget* g = table; g->id != 0; ++g) {
    if (g->flags & kGadInert) continue;
    if (g->left < x && x <= g->right && g->top < y && y <= g->bottom) return g;
  }
  return nullptr;
}

void RestoreWindows() {
  HostScreen s;
  if (!ScreenWritable(&s)) return;
  // Each row of a Window, less what Windows in front cover, must show its picture; output that
  // went over it is copied away again. A row has at most one span more than Windows in front.
  static std::vector<int> spans, cut;
  for (const Window* w = Ws.frontWindow; w; w = w->previous) {
    if (!w->shown) continue;
    int x0 = std::max(w->left, 0), x1 = std::min(w->right, s.width);
    int y0 = std::max(w->top, 0), y1 = std::min(w->bottom, s.height);
    if (x0 >= x1) continue;
    int top = y1, bottom = y0;
    for (int y = y0; y < y1; ++y) {
      spans.assign({x0, x1});
      for (const Window* o = w->next; o && !spans.empty(); o = o->next) {
        if (!o->shown || y < o->top || y >= o->bottom) continue;
        cut.clear();
        for (size_t i = 0; i < spans.size(); i += 2) {
          int a = spans[i], b = spans[i + 1];
          if (o->right <= a || o->left >= b) {
            cut.insert(cut.end(), {a, b});
            continue;
          }
          if (a < o->left) cut.insert(cut.end(), {a, o->left});
          if (o->right < b) cut.insert(cut.end(), {o->right, b});
        }
        spans.swap(cut);
      }
      uint32_t* row = s.pixels + static_cast<size_t>(y) * s.stride;
      const Pixel* pic = w->picture->Row(y - w->top) - w->left;
      for (size_t i = 0; i < spans.size(); i += 2) {
        size_t bytes = static_cast<size_t>(spans[i + 1] - spans[i]) * 4;
        if (bytes == 0 || std::memcmp(row + spans[i], pic + spans[i], bytes) == 0) continue;
        std::memcpy(row + spans[i], pic + spans[i], bytes);
        top = std::min(top, y), bottom = std::max(bottom, y + 1);
      }
    }
    if (top < bottom) HostPresent(x0, top, x1 - x0, bottom - top);
  }
}

void CloseAllWindows() {
  CloseBubble();
  Ws.activeGadget = nullptr;
  Ws.activeGadgetWindow = nullptr;
  while (Ws.frontWindow) {
    Window* w = Ws.frontWindow;
    w->shown = 0;  // the screen goes with the run
    DeleteWindow(w);
  }
  Ws.hotWindow = nullptr;
  Ws.modalWindow = nullptr;
}

}  // namespace vela
