// The brush shown under the pointer on the display, never on the page.
#include <algorithm>

#include "host/host.h"
#include "paint/draw_modes.h"
#include "paint/stroke.h"
#include "start/workspace.h"

namespace vela {

int DisplayBrushMode = 0;
int32_t CursorAreaLimit = 250000;

namespace {

constexpr int kMarker = 10;

struct Rect {
  int x0, y0, x1, y1;  // exclusive ends, page pixels
};

struct CursorState {
  int markerX = 0, markerY = 0;
  bool marker = false;
} g_cursor;

Rect BrushRect(const Brush* b) {
  return {b->cursorX - 1, b->cursorY - 1, b->cursorX + b->width + 1, b->cursorY + b->height + 1};
}

void Repair(const Rect& r) {
  if (r.x1 > r.x0 && r.y1 > r.y0) FillToDisplay(r.x0, r.y0, r.x1 - r.x0, r.y1 - r.y0);
}

bool Outlined(const Brush* b) {
  if (DisplayBrushMode == 2) return true;
  if (DisplayBrushMode == 1) return false;
  return static_cast<int64_t>(b->width) * b->height > CursorAreaLimit;
}

Pixel Over(Pixel d, Pixel s) {
  int k = 255 - Alpha(s);
  Pixel out = 0;
  for (int c = 0; c < 32; c += 8)
    out |= static_cast<Pixel>(
               std::min(255, static_cast<int>((s >> c) & 0xFF) + Mul(k, (d >> c) & 0xFF)))
           << c;
  return out;
}

bool OnRim(const Brush* b, int x, int y) {
  auto m = [b](int u, int v) {
    return u >= 0 && v >= 0 && u < b->width && v < b->height && b->mask[v * b->width + u];
  };
  return m(x, y) && (!m(x - 1, y) || !m(x + 1, y) || !m(x, y - 1) || !m(x, y + 1));
}

// Writes the cursor image of the brush at its cursor position to the framebuffer.
void Paint(Brush* b) {
  HostScreen s = HostFramebuffer();
  const Block* page = Ws.page;
  if (!s.pixels || !page) return;
  const bool outline = Outlined(b);
  const bool image = b->pixels && (b->kind == BrushKindImage || b->kind == BrushKindImageFaded);
  b->cursorFlags = CursorShown | (outline ? (image ? CursorOutlineRect : CursorOutlineCircle) : 0);
  int x0 = std::max(0, b->cursorX), y0 = std::max(0, b->cursorY);
  int x1 = std::min(page->width, b->cursorX + b->width);
  int y1 = std::min(page->height, b->cursorY + b->height);
  for (int y = y0; y < y1; ++y) {
    int ty = Ws.pageY + y;
    if (ty < 0 || ty >= s.height) continue;
    for (int x = x0; x < x1; ++x) {
      int tx = Ws.pageX + x;
      if (tx < 0 || tx >= s.width) continue;
      int u = x - b->cursorX, v = y - b->cursorY;
      Pixel p = page->Row(y)[x];
      bool paint;
      if (outline && image)
        paint = u == 0 || v == 0 || u == b->width - 1 || v == b->height - 1;
      else if (outline)
        paint = OnRim(b, u, v);
      else if (image && Ws.drawMode != DrawStamp) {
        p = Over(p, b->pixels->Row(v)[u]);
        paint = false;
      } else {
        paint = image ? Alpha(b->pixels->Row(v)[u]) != 0 : b->mask[v * b->width + u] != 0;
      }
      s.pixels[static_cast<size_t>(ty) * s.stride + tx] = paint ? Draw.APen : p;
    }
  }
  if (x1 > x0 && y1 > y0) HostPresent(Ws.pageX + x0, Ws.pageY + y0, x1 - x0, y1 - y0);
}

void HideMarker() {
  if (!g_cursor.marker) return;
  g_cursor.marker = false;
  FillToDisplay(g_cursor.markerX - kMarker / 2, g_cursor.markerY - kMarker / 2, kMarker + 1,
                kMarker + 1);
}

void ShowMarker(Brush* b, int x, int y) {
  HostScreen s = HostFramebuffer();
  if (!s.pixels) return;
  g_cursor.marker = true;
  g_cursor.markerX = x + Draw.pantoX;
  g_cursor.markerY = y + Draw.pantoY;
  b->cursorFlags |= CursorPantoMarker;
  for (int i = -kMarker / 2; i <= kMarker / 2; ++i)
    for (int k = 0; k < 2; ++k) {
      int tx = Ws.pageX + g_cursor.markerX + (k ? i : 0),
          ty = Ws.pageY + g_cursor.markerY + (k ? 0 : i);
      if (tx >= 0 && ty >= 0 && tx < s.width && ty < s.height)
        s.pixels[static_cast<size_t>(ty) * s.stride + tx] = Draw.APen;
    }
  HostPresent(Ws.pageX + g_cursor.markerX - kMarker / 2, Ws.pageY + g_cursor.markerY - kMarker / 2,
              kMarker + 1, kMarker + 1);
}

}  // namespace

void CycleDisplayBrushMode() {
  DisplayBrushMode = (DisplayBrushMode + 1) % 3;
}

void BeginCursor(Brush* b, int x, int y) {
  if (!b) return;
  b->cursorX = x - b->handleX;
  b->cursorY = y - b->handleY;
  Paint(b);
  if (Ws.drawMode == DrawPantograph) ShowMarker(b, x, y);
}

void MoveCursor(Brush* b, int x, int y) {
  if (!b) return;
  if (!(b->cursorFlags & CursorShown)) {
    BeginCursor(b, x, y);
    return;
  }
  HideMarker();
  Rect old = BrushRect(b);
  b->cursorX = x - b->handleX;
  b->cursorY = y - b->handleY;
  // Only the parts of the old rectangle that the new brush does not paint over: four strips at
  // most. The new rectangle's margin is not painted, so it is repaired with the rest.
  Rect now = BrushRect(b);
  now = {now.x0 + 1, now.y0 + 1, now.x1 - 1, now.y1 - 1};
  int ya = std::max(old.y0, now.y0), yb = std::min(old.y1, now.y1);
  if (ya >= yb || old.x1 <= now.x0 || now.x1 <= old.x0) {
    Repair(old);
  } else {
    Repair({old.x0, old.y0, old.x1, ya});
    Repair({old.x0, yb, old.x1, old.y1});
    Repair({old.x0, ya, std::min(old.x1, now.x0), yb});
    Repair({std::max(old.x0, now.x1), ya, old.x1, yb});
  }
  Paint(b);
  if (Ws.drawMode == DrawPantograph) ShowMarker(b, x, y);
}

void HideCursor(Brush* b) {
  HideMarker();
  if (!b || !(b->cursorFlags & CursorShown)) return;
  Repair(BrushRect(b));
  b->cursorFlags = 0;
}

}  // namespace vela
