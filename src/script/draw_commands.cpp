// The drawing commands: segments for the stroke engine, and the plain line straight into the page.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "paint/brush.h"
#include "paint/stroke.h"
#include "pixels/block.h"
#include "pixels/display.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "script/commands.h"
#include "start/input.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

namespace {

Pixel Pen(int32_t b) {
  return b ? Draw.BPen : Draw.APen;
}

// One segment in script numbers; levels as the stroke engine takes them.
void Segment(double x0, double y0, double x1, double y1, Pixel colour, bool first, int size0,
             int size1, int opacity0, int opacity1) {
  if (!Ws.page) return;
  Brush* brush = DrawingBrush();  // the antialias switch holds for commands as for the pointer
  if (!brush) return;
  StrokeLine(brush, ScriptToFixed(x0), ScriptToFixed(y0), ScriptToFixed(x1), ScriptToFixed(y1),
             colour, 0, first ? 1 : 0, size0, size1, opacity0, opacity1);
}

// Cuts the segment to the rectangle [0, w - 1] x [0, h - 1]; false when nothing is left.
bool ClipSegment(double* x0, double* y0, double* x1, double* y1, int w, int h) {
  double t0 = 0.0, t1 = 1.0;
  double dx = *x1 - *x0, dy = *y1 - *y0;
  const double p[4] = {-dx, dx, -dy, dy};
  const double q[4] = {*x0, (w - 1) - *x0, *y0, (h - 1) - *y0};
  for (int i = 0; i < 4; ++i) {
    if (p[i] == 0.0) {
      if (q[i] < 0.0) return false;
      continue;
    }
    double t = q[i] / p[i];
    if (p[i] < 0.0)
      t0 = std::max(t0, t);
    else
      t1 = std::min(t1, t);
    if (t0 > t1) return false;
  }
  double sx = *x0, sy = *y0;
  *x0 = sx + t0 * dx, *y0 = sy + t0 * dy;
  *x1 = sx + t1 * dx, *y1 = sy + t1 * dy;
  return true;
}

// DrawLine's walk with the page's bounds tested at each pixel, so that the part on the page is
// the part of the whole line; false when the line is too long to walk.
bool WalkLine(Block* page, int x0, int y0, int x1, int y1, Pixel pixel) {
  int64_t reach = std::max(std::llabs(int64_t{x1} - x0), std::llabs(int64_t{y1} - y0));
  if (reach > (1 << 22)) return false;
  int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
  int stepX = x0 < x1 ? 1 : -1, stepY = y0 < y1 ? 1 : -1;
  for (int err = dx + dy;;) {
    if (x0 >= 0 && y0 >= 0 && x0 < page->width && y0 < page->height) page->Row(y0)[x0] = pixel;
    if (x0 == x1 && y0 == y1) return true;
    int e2 = 2 * err;
    if (e2 >= dy) err += dy, x0 += stepX;
    if (e2 <= dx) err += dx, y0 += stepY;
  }
}

}  // namespace

void CmdDot(CommandRecord*, const char* args) {
  ParseNumbers(args, 3);
  double x = CommandArgs.number[0], y = CommandArgs.number[1];
  Segment(x, y, x, y, Pen(CommandArgs.integer[2]), true, 0, 0, 255, 255);
  EndStroke();  // a dot is a whole stroke
}

void CmdLine(CommandRecord*, const char* args) {
  ParseNumbers(args, 6);
  const double* n = CommandArgs.number;
  Segment(n[0], n[1], n[2], n[3], Pen(CommandArgs.integer[4]), CommandArgs.integer[5] == 0, 0, 0,
          255, 255);
}

void CmdZLine(CommandRecord*, const char* args) {
  ParseNumbers(args, 8);
  const double* n = CommandArgs.number;
  const int32_t* i = CommandArgs.integer;
  int a = std::clamp(i[5], 0, 100) * 255 / 100;
  int e = std::clamp(i[6], 0, 100) * 255 / 100;
  Segment(n[0], n[1], n[2], n[3], Pen(i[4]), i[7] == 0, -a, -e, a, e);
}

void CmdFastLine(CommandRecord*, const char* args) {
  ParseNumbers(args, 8);
  const int32_t* i = CommandArgs.integer;
  Block* page = Ws.page;
  if (!page) return;
  int a = std::clamp(i[7], 0, 255);
  auto c = [&](int v) { return static_cast<Pixel>(std::clamp(v, 0, 255) * a / 255); };
  Pixel pixel = (static_cast<Pixel>(a) << 24) | (c(i[4]) << 16) | (c(i[5]) << 8) | c(i[6]);
  int ax = i[0], ay = i[1], bx = i[2], by = i[3];
  if (!WalkLine(page, ax, ay, bx, by, pixel)) {
    double x0 = ax, y0 = ay, x1 = bx, y1 = by;
    if (!ClipSegment(&x0, &y0, &x1, &y1, page->width, page->height)) return;
    auto px = [](double v, int size) {
      return std::clamp(static_cast<int>(std::lround(v)), 0, size - 1);
    };
    ax = px(x0, page->width), ay = px(y0, page->height);
    bx = px(x1, page->width), by = px(y1, page->height);
    DrawLine(page, ax, ay, bx, by, pixel);
  }
  ax = std::clamp(ax, -1, page->width), bx = std::clamp(bx, -1, page->width);
  ay = std::clamp(ay, -1, page->height), by = std::clamp(by, -1, page->height);
  ++Stamp;
  // The changed area: the end points' rectangle grown by one on each side, within the page.
  int left = std::max(std::min(ax, bx) - 1, 0), top = std::max(std::min(ay, by) - 1, 0);
  int right = std::min(std::max(ax, bx) + 1, page->width - 1);
  int bottom = std::min(std::max(ay, by) + 1, page->height - 1);
  if (left > right || top > bottom) return;
  ShowPage(left, top, right - left + 1, bottom - top + 1);  // no undo step: the line is plain
}

}  // namespace vela
