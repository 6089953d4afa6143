// The shape tools as state machines over the input state, their rubber bands and figures.
#include "paint/shapes.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/host.h"
#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "pixels/display.h"
#include "project/compose.h"
#include "project/undo.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

ShapeSettings Shapes;
ShapeState Shape;
ConstrainState Constrain;
std::vector<Fixed16> AreaPoints;
int (*RegionFill)(const FillRegion& region, Pixel colour, bool erase) = nullptr;

bool ShapeFilled(int tool) {
  return tool >= 0 && tool < 64 && Shape.filled[tool];
}

void ToggleShapeFilled(int tool) {
  if (tool >= 0 && tool < 64) Shape.filled[tool] = !Shape.filled[tool];
}

// ---- Pointer filter -----------------------------------------------------------------------------

void ConstrainAnchor(int32_t x, int32_t y) {
  Constrain.anchor = {x, y};
  Constrain.direction = ConstrainNone;
}

void ConstrainPointer(bool held, int32_t* x, int32_t* y) {
  if (!held) {
    Constrain.held = false;
    Constrain.direction = ConstrainNone;
    return;
  }
  if (!Constrain.held) {
    // The key went down now: with no press under way the filter starts where the pointer is.
    Constrain.held = true;
    if (Shape.phase == 0) ConstrainAnchor(*x, *y);
  }
  const Fixed16 a = Constrain.anchor;
  if (Constrain.direction == ConstrainNone) {
    int dx = (*x >> 16) - (a.x >> 16), dy = (*y >> 16) - (a.y >> 16);
    if (std::abs(dx) < 16 && std::abs(dy) < 16) return;
    double ratio = dx ? std::fabs(static_cast<double>(dy) / dx) : 0;
    if (dx == 0 || ratio >= 2.414)
      Constrain.direction = ConstrainVertical;
    else if (ratio < 0.414)
      Constrain.direction = ConstrainHorizontal;
    else
      Constrain.direction = (dx > 0) == (dy > 0) ? ConstrainDiagonalDown : ConstrainDiagonalUp;
  }
  switch (Constrain.direction) {
    case ConstrainHorizontal:
      *y = a.y;
      break;
    case ConstrainVertical:
      *x = a.x;
      break;
    case ConstrainDiagonalDown:
      *y = a.y + (*x - a.x);
      break;
    case ConstrainDiagonalUp:
      *y = a.y - (*x - a.x);
      break;
    default:
      break;
  }
}

// ---- Shared pieces ------------------------------------------------------------------------------

namespace {

Brush* ShapeBrush() {
  if (!CurrentBrush() && UseDefaultBrush() != 0) return nullptr;
  Brush* b = CurrentBrush();
  if (b->cursorFlags & CursorShown) HideCursor(b);
  Draw.antialias = AntialiasOn;
  return b;
}

// A figure is a stroke of its own: what a stroke carries starts and ends with it.
void BeginFigure() {
  ResetStrokeState();
  if (Wet.on && !StrokeCtx.keepWet) ClearWetDirty();
}
void EndFigure() {
  BeginFigure();
}

Pixel PenOf(int button) {
  return button == 2 ? Draw.BPen : Draw.APen;
}

int Px(int32_t v) {
  return v >> 16;
}

Fixed16 Pointer() {
  Fixed16 p{In.pageXF, In.pageYF};
  ConstrainPointer(In.shift != 0, &p.x, &p.y);
  return p;
}

Fixed16 Mid(Fixed16 a, Fixed16 b) {
  return {static_cast<int32_t>((int64_t{a.x} + b.x) / 2),
          static_cast<int32_t>((int64_t{a.y} + b.y) / 2)};
}

// The press of a step: the first button, never the second while the first is held.
int PressButton() {
  if (In.leftEdge && !In.rightDown) return 1;
  if (In.rightEdge && !In.leftDown) return 2;
  return 0;
}

bool ButtonHeld(int button) {
  return button == 1 ? In.leftDown != 0 : In.rightDown != 0;
}

// The button whose pen paints now: the press's while it is held, else the one still down.
int HeldButton() {
  if (In.leftDown && In.rightDown) return Shape.button ? Shape.button : 1;
  return In.leftDown ? 1 : In.rightDown ? 2 : 0;
}

void Hover() {
  Brush* b = CurrentBrush();
  if (b && Ws.page && !Ws.noPage) MoveCursor(b, In.pageX, In.pageY);
}

void MarkOnPage(int x0, int y0, int x1, int y1) {
  const Block* page = Ws.page;
  if (!page) return;
  x0 = std::max(x0, 0), y0 = std::max(y0, 0);
  x1 = std::min(x1, page->width - 1), y1 = std::min(y1, page->height - 1);
  if (x0 > x1 || y0 > y1) return;
  MarkDirty(x0, y0, x1, y1);
  MarkChanged(x0, y0, x1, y1);
}

// The conversion truncates: a pointer must reach the next whole pixel to widen the circle.
int Radius(int dx, int dy) {
  return static_cast<int>(std::sqrt(double(dx) * dx + double(dy) * dy));
}

}  // namespace

// ---- Rubber bands -------------------------------------------------------------------------------

namespace {

std::vector<std::pair<int, int>> g_overlay;  // (y, x), sorted
Block* g_overlayRow = nullptr;

// Cuts the segment to the rectangle [x0, x1] x [y0, y1]; false when nothing is left.
bool ClipSegmentTo(double* ax, double* ay, double* bx, double* by, double x0, double y0, double x1,
                   double y1) {
  double t0 = 0.0, t1 = 1.0;
  const double dx = *bx - *ax, dy = *by - *ay;
  const double p[4] = {-dx, dx, -dy, dy};
  const double q[4] = {*ax - x0, x1 - *ax, *ay - y0, y1 - *ay};
  for (int i = 0; i < 4; ++i) {
    if (p[i] == 0.0) {
      if (q[i] < 0.0) return false;
      continue;
    }
    const double t = q[i] / p[i];
    if (p[i] < 0.0)
      t0 = std::max(t0, t);
    else
      t1 = std::min(t1, t);
    if (t0 > t1) return false;
  }
  const double sx = *ax, sy = *ay;
  *ax = sx + t0 * dx, *ay = sy + t0 * dy;
  *bx = sx + t1 * dx, *by = sy + t1 * dy;
  return true;
}

void AddPixel(std::vector<std::pair<int, int>>& out, int x, int y) {
  out.emplace_back(y, x);
}

void AddLine(std::vector<std::pair<int, int>>& out, int x0, int y0, int x1, int y1) {
  // Only what can show is kept: a line far off the page would cost a pixel of memory a step.
  if (!Ws.page) return;
  double fx0 = x0, fy0 = y0, fx1 = x1, fy1 = y1;
  if (!ClipSegmentTo(&fx0, &fy0, &fx1, &fy1, -1, -1, Ws.page->width, Ws.page->height)) return;
  x0 = static_cast<int>(std::lround(fx0)), y0 = static_cast<int>(std::lround(fy0));
  x1 = static_cast<int>(std::lround(fx1)), y1 = static_cast<int>(std::lround(fy1));
  int dx = std::abs(x1 - x0), dy = -std::abs(y1 - y0);
  int sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
  for (int err = dx + dy;;) {
    AddPixel(out, x0, y0);
    if (x0 == x1 && y0 == y1) return;
    int e2 = 2 * err;
    if (e2 >= dy) err += dy, x0 += sx;
    if (e2 <= dx) err += dx, y0 += sy;
  }
}

bool OverlayVisible() {
  return Ws.page && !Ws.noPage && !DisplayLocked && HostIsOpen();
}

// Calls fn(x, y, w) for each horizontal run of the overlay inside the page.
template <typename Fn>
void ForRuns(Fn fn) {
  const Block* page = Ws.page;
  if (!page) return;
  for (size_t i = 0; i < g_overlay.size();) {
    auto [y, x] = g_overlay[i];
    size_t j = i + 1;
    while (j < g_overlay.size() && g_overlay[j].first == y && g_overlay[j].second == x + int(j - i))
      ++j;
    int w = static_cast<int>(j - i);
    int x0 = std::max(x, 0), x1 = std::min(x + w, page->width);
    if (y >= 0 && y < page->height && x1 > x0) fn(x0, y, x1 - x0);
    i = j;
  }
}

// Each run is composed as the screen shows it, inverted, and sent to the window alone.
void PaintOverlay() {
  if (!OverlayVisible()) return;
  if (!g_overlayRow || g_overlayRow->width < Ws.page->width) {
    FreeBlock(g_overlayRow);
    g_overlayRow = AllocBlock(Ws.page->width, 1);
    if (!g_overlayRow) return;
  }
  ForRuns([](int x, int y, int w) {
    Pixel* row = g_overlayRow->Row(0);
    MergedRow(x, y, row, w, 1, 1);
    for (int i = 0; i < w; ++i) row[i] = (row[i] ^ 0x00FFFFFFu) | 0xFF000000u;
    BlitBand(g_overlayRow, 0, 0, Ws.pageX + x, Ws.pageY + y, w, 1);
  });
}

void SetOverlay(std::vector<std::pair<int, int>> pixels) {
  RemoveOverlay();
  std::sort(pixels.begin(), pixels.end());
  pixels.erase(std::unique(pixels.begin(), pixels.end()), pixels.end());
  g_overlay = std::move(pixels);
  PaintOverlay();
}

void AddRim(std::vector<std::pair<int, int>>& out, int cx, int cy, int a, int b) {
  struct Job {
    std::vector<std::pair<int, int>>* out;
    int cx, cy;
  } job{&out, cx, cy};
  WalkEllipse(
      a, b,
      [](int x, int y, int, int, int, void* user) {
        auto* j = static_cast<Job*>(user);
        AddPixel(*j->out, j->cx + x, j->cy + y);
      },
      &job);
}

}  // namespace

void RemoveOverlay() {
  if (g_overlay.empty()) return;
  if (OverlayVisible()) ForRuns([](int x, int y, int w) { ShowPage(x, y, w, 1); });
  g_overlay.clear();
}

const std::vector<std::pair<int, int>>& OverlayPixels() {
  return g_overlay;
}

void DrawLineOverlay(int x0, int y0, int x1, int y1) {
  std::vector<std::pair<int, int>> px;
  AddLine(px, x0, y0, x1, y1);
  SetOverlay(std::move(px));
}

void DrawRectangleOverlay(int x0, int y0, int x1, int y1) {
  std::vector<std::pair<int, int>> px;
  AddLine(px, x0, y0, x1, y0);
  AddLine(px, x1, y0, x1, y1);
  AddLine(px, x1, y1, x0, y1);
  AddLine(px, x0, y1, x0, y0);
  SetOverlay(std::move(px));
}

void DrawCircleOverlay(int cx, int cy, int rx, int ry) {
  std::vector<std::pair<int, int>> px;
  AddRim(px, cx, cy, rx, ry);
  SetOverlay(std::move(px));
}

void DrawSplineOverlay(Fixed16 a, Fixed16 m, Fixed16 e) {
  SplinePieces s = SplineControls(a, m, e, Shapes.tension);
  std::vector<std::pair<int, int>> px;
  for (auto& piece : s.p) {
    // Whole pixels are enough for the display: 32 chords a piece.
    int lx = Px(piece[0].x), ly = Px(piece[0].y);
    for (int i = 1; i <= 32; ++i) {
      double t = i / 32.0, u = 1 - t;
      double w[4] = {u * u * u, 3 * u * u * t, 3 * u * t * t, t * t * t};
      double x = 0, y = 0;
      for (int k = 0; k < 4; ++k) x += w[k] * piece[k].x, y += w[k] * piece[k].y;
      int nx = static_cast<int>(std::floor(x / 65536)),
          ny = static_cast<int>(std::floor(y / 65536));
      AddLine(px, lx, ly, nx, ny);
      lx = nx, ly = ny;
    }
  }
  SetOverlay(std::move(px));
}

// ---- Ellipse walker -----------------------------------------------------------------------------

constexpr int kMaxEllipseRadius = 1 << 20;
using Wide = __int128;

void WalkEllipse(int a, int b, RimSink sink, void* user) {
  a = std::abs(a), b = std::abs(b);
  // Beyond this the decisions below would not fit in 64 bits, and no page is that large.
  if (a > kMaxEllipseRadius || b > kMaxEllipseRadius) return;
  if (a == 0 && b == 0) {
    sink(0, 0, 0, 1, 0, user);
    return;
  }
  static const int kSigns[4][2] = {{1, -1}, {1, 1}, {-1, 1}, {-1, -1}};
  const int64_t a2 = int64_t{a} * a, b2 = int64_t{b} * b;
  for (const auto& sg : kSigns) {
    const int sx = sg[0], sy = sg[1];
    // The axis pixels belong to one quadrant each.
    auto emit = [&](int x, int y, int nx, int ny, int cov) {
      if ((x == 0 && sx < 0) || (y == 0 && sy > 0)) return;
      sink(sx * x, sy * y, sx * nx, sy * ny, std::clamp(cov, 0, 255), user);
    };
    if (a == 0 || b == 0) {
      // A flat ellipse is a straight run whose coverage falls from 255 to 0.
      int n = std::max(a, b);
      for (int i = 0; i <= n; ++i) {
        int cov = 255 * (n - i) / n;
        if (b == 0)
          emit(i, 0, i, 1, cov);
        else
          emit(0, b - i, 1, b - i, cov);
      }
      continue;
    }
    // F(x, y) = b²x² + a²y² − a²b²; the first part steps x while the slope stays under 1.
    const int xEnd = static_cast<int>(a2 / std::sqrt(static_cast<double>(a2 + b2)));
    int y = b;
    for (int x = 0; x <= xEnd; ++x) {
      // Midpoint decision: y is the row whose band [y − ½, y + ½) holds the rim.
      while (y > 0 &&
             4 * Wide{b2} * x * x + Wide{a2} * (2 * y - 1) * (2 * y - 1) - 4 * Wide{a2} * b2 > 0)
        --y;
      double f = static_cast<double>(Wide{b2} * x * x + Wide{a2} * y * y - Wide{a2} * b2);
      double d = y ? f / (2.0 * a2 * y) : 0;  // error over the derivative: the rim's offset
      emit(x, y, x, d > 0 ? y - 1 : y + 1, static_cast<int>(std::fabs(d) * 255));
    }
    if (y == 0) {
      // A very flat ellipse reaches its axis before its slope reaches 1.
      for (int x = xEnd + 1; x <= a; ++x) emit(x, 0, x, 1, 0);
      continue;
    }
    int x = xEnd;
    for (int yy = y - 1; yy >= 0; --yy) {
      // x is the column whose band [x − ½, x + ½) holds the rim.
      while (x < a && Wide{b2} * (2 * int64_t{x} + 1) * (2 * x + 1) + 4 * Wide{a2} * yy * yy -
                              4 * Wide{a2} * b2 <
                          0)
        ++x;
      double f = static_cast<double>(Wide{b2} * x * x + Wide{a2} * yy * yy - Wide{a2} * b2);
      double d = x ? f / (2.0 * b2 * x) : 0;
      emit(x, yy, d > 0 ? x - 1 : x + 1, yy, static_cast<int>(std::fabs(d) * 255));
    }
  }
}

// ---- Figures ------------------------------------------------------------------------------------

void DrawEllipseOutline(int cx, int cy, int a, int b, Pixel colour, bool erase) {
  Brush* brush = ShapeBrush();
  if (!brush || !Ws.page) return;
  a = std::abs(a), b = std::abs(b);
  BeginFigure();
  PlotOperations ops;
  if (Draw.antialias && StrokeCtx.tool == ToolPropellingPencil &&
      SelectPlotOperations(erase, &ops)) {
    // The thin rim: each step shares its paint between the pixel and its neighbour.
    MarkOnPage(cx - a - 1, cy - b - 1, cx + a + 1, cy + b + 1);
    BeginThinLine(*brush, cx - brush->handleX, cy - brush->handleY);
    ++Stamp;
    struct Job {
      PlotOperations ops;
      int cx, cy, opacity;
      Pixel colour;
    } job{ops, cx, cy, std::clamp(Draw.power, 0, 255), colour};
    WalkEllipse(
        a, b,
        [](int x, int y, int nx, int ny, int cov, void* user) {
          auto* j = static_cast<Job*>(user);
          if (BreakFlag) return;
          j->ops.plotPair(j->cx + x, j->cy + y, j->cx + nx, j->cy + ny, cov, j->opacity, j->colour);
        },
        &job);
  } else {
    // The stamping walk keeps the tool's spacing from one rim pixel to the next.
    struct Job {
      Brush* brush;
      int cx, cy, opacity;
      Pixel colour;
      bool erase;
    } job{brush, cx - brush->handleX, cy - brush->handleY, 255, colour, erase};
    StrokeCtx.stepCounter = 0;
    WalkEllipse(
        a, b,
        [](int x, int y, int, int, int, void* user) {
          auto* j = static_cast<Job*>(user);
          if (BreakFlag) return;
          if (--StrokeCtx.stepCounter >= 0) return;
          StampOnce(j->brush, Ws.page, j->cx + x, j->cy + y, j->colour, j->erase, j->opacity);
          StrokeCtx.stepCounter = StrokeCtx.step;
        },
        &job);
  }
  EndFigure();
}

void DrawRectangleOutline(int x0, int y0, int x1, int y1, Pixel colour, bool erase) {
  Brush* brush = ShapeBrush();
  if (!brush || !Ws.page) return;
  auto f = [](int v) { return static_cast<int32_t>((int64_t{v} << 16) + 32767); };
  const int32_t xs[5] = {f(x0), f(x1), f(x1), f(x0), f(x0)};
  const int32_t ys[5] = {f(y0), f(y0), f(y1), f(y1), f(y0)};
  for (int i = 0; i < 4 && !BreakFlag; ++i)
    StrokeLine(brush, xs[i], ys[i], xs[i + 1], ys[i + 1], colour, erase, i == 0, 0, 0, 255, 255);
  EndFigure();
}

SplinePieces SplineControls(Fixed16 a, Fixed16 m, Fixed16 e, int tension) {
  int64_t tx = (int64_t{e.x} - a.x) * tension / 100, ty = (int64_t{e.y} - a.y) * tension / 100;
  auto at = [](int64_t v) {
    return static_cast<int32_t>(std::clamp<int64_t>(v, INT32_MIN, INT32_MAX));
  };
  SplinePieces s;
  s.p[0][0] = a;
  s.p[0][1] = a;
  s.p[0][2] = {at(m.x - tx / 3), at(m.y - ty / 3)};
  s.p[0][3] = m;
  s.p[1][0] = m;
  s.p[1][1] = {at(m.x + tx / 3), at(m.y + ty / 3)};
  s.p[1][2] = e;
  s.p[1][3] = e;
  return s;
}

void DrawSpline(Fixed16 a, Fixed16 m, Fixed16 e, Pixel colour, bool erase, int size0, int size1,
                int opacity0, int opacity1) {
  Brush* brush = ShapeBrush();
  if (!brush || !Ws.page) return;
  SplinePieces s = SplineControls(a, m, e, Shapes.tension);
  const int sm = (size0 + size1) / 2, om = (opacity0 + opacity1) / 2;
  const int sizes[3] = {size0, sm, size1}, opac[3] = {opacity0, om, opacity1};
  for (int k = 0; k < 2 && !BreakFlag; ++k) {
    const Fixed16* p = s.p[k];
    StrokeCubic(brush, p[0].x >> 8, p[0].y >> 8, p[1].x >> 8, p[1].y >> 8, p[2].x >> 8, p[2].y >> 8,
                p[3].x >> 8, p[3].y >> 8, colour, erase, k == 0, sizes[k], sizes[k + 1], opac[k],
                opac[k + 1]);
  }
  EndFigure();
}

bool CircleThrough(double x0, double y0, double x1, double y1, double x2, double y2, double* cx,
                   double* cy, double* r) {
  // The centre lies on both perpendicular bisectors.
  double d = 2 * (x0 * (y1 - y2) + x1 * (y2 - y0) + x2 * (y0 - y1));
  if (std::fabs(d) < 1e-9) return false;
  double s0 = x0 * x0 + y0 * y0, s1 = x1 * x1 + y1 * y1, s2 = x2 * x2 + y2 * y2;
  *cx = (s0 * (y1 - y2) + s1 * (y2 - y0) + s2 * (y0 - y1)) / d;
  *cy = (s0 * (x2 - x1) + s1 * (x0 - x2) + s2 * (x1 - x0)) / d;
  *r = std::hypot(x0 - *cx, y0 - *cy);
  return true;
}

void DrawPointList(const std::vector<Fixed16>& pts, Pixel colour, bool erase, int size0, int size1,
                   int opacity0, int opacity1) {
  Brush* brush = ShapeBrush();
  if (!brush || !Ws.page || pts.empty()) return;
  const size_t n = pts.size();
  if (n <= 2) {
    const Fixed16 e = pts[n - 1];
    StrokeLine(brush, pts[0].x, pts[0].y, e.x, e.y, colour, erase, 1, size0, size1, opacity0,
               opacity1);
    EndFigure();
    return;
  }
  const int pieces = static_cast<int>(n - 2);
  auto lerp = [pieces](int v0, int v1, int k2) { return v0 + (v1 - v0) * k2 / (2 * pieces); };
  for (int k = 0; k < pieces && !BreakFlag; ++k) {
    Fixed16 p0 = k == 0 ? pts[0] : Mid(pts[k], pts[k + 1]);
    Fixed16 c = pts[k + 1];
    Fixed16 p1 = k == pieces - 1 ? pts[n - 1] : Mid(pts[k + 1], pts[k + 2]);
    StrokeCurve(brush, p0.x >> 8, p0.y >> 8, c.x >> 8, c.y >> 8, p1.x >> 8, p1.y >> 8, colour,
                erase, k == 0, lerp(size0, size1, 2 * k), lerp(size0, size1, 2 * k + 1),
                lerp(size0, size1, 2 * k + 2), lerp(opacity0, opacity1, 2 * k),
                lerp(opacity0, opacity1, 2 * k + 1), lerp(opacity0, opacity1, 2 * k + 2));
  }
  EndFigure();
}

namespace {

// The pixels of a region, row by row: [x0, x1] runs of whole page pixels.
using RunSink = void (*)(int y, int x0, int x1, void* user);

void RegionRuns(const FillRegion& region, const Block* page, RunSink sink, void* user) {
  const int w = page->width, h = page->height;
  auto run = [&](int y, int x0, int x1) {
    if (y < 0 || y >= h) return;
    x0 = std::max(x0, 0), x1 = std::min(x1, w - 1);
    if (x0 <= x1) sink(y, x0, x1, user);
  };
  switch (region.kind) {
    case FillRegion::Rectangle:
      for (int y = std::max(region.y0, 0); y <= std::min(region.y1, h - 1); ++y)
        run(y, region.x0, region.x1);
      return;
    case FillRegion::Ellipse: {
      const int64_t a = std::abs(int64_t{region.rx}), b = std::abs(int64_t{region.ry});
      if (a > kMaxEllipseRadius || b > kMaxEllipseRadius) {
        // Too large to walk, and far larger than any page: each row's half width directly.
        for (int y = 0; y < h; ++y) {
          const double dy = double(y) - region.cy;
          if (std::fabs(dy) > double(b)) continue;
          const double half = b ? std::floor(a * std::sqrt(1 - (dy / b) * (dy / b)) + 0.5) : a;
          run(y, static_cast<int>(std::clamp(region.cx - half, -1.0, double(w))),
              static_cast<int>(std::clamp(region.cx + half, -1.0, double(w))));
        }
        return;
      }
      // Between the rim pixels the outline would draw, so the two forms cover the same figure.
      struct Rows {
        std::vector<int> lo, hi;
        int cy, h;
      } rows{std::vector<int>(h, INT32_MAX), std::vector<int>(h, INT32_MIN), region.cy, h};
      WalkEllipse(
          region.rx, region.ry,
          [](int x, int y, int, int, int, void* u) {
            auto* r = static_cast<Rows*>(u);
            const int64_t row = int64_t{r->cy} + y;
            if (row < 0 || row >= r->h) return;
            r->lo[row] = std::min(r->lo[row], x);
            r->hi[row] = std::max(r->hi[row], x);
          },
          &rows);
      for (int y = 0; y < h; ++y)
        if (rows.lo[y] <= rows.hi[y])
          run(y, static_cast<int>(std::clamp<int64_t>(int64_t{region.cx} + rows.lo[y], -1, w)),
              static_cast<int>(std::clamp<int64_t>(int64_t{region.cx} + rows.hi[y], -1, w)));
      return;
    }
    case FillRegion::Polygon: {
      // Even-odd at pixel centres; a whole coordinate p + 0.5 lies in the middle of pixel p.
      const auto& p = region.points;
      if (p.empty()) return;
      // A polygon of a single point, however often repeated, marks that pixel.
      if (std::all_of(p.begin(), p.end(), [&](const Fixed16& q) {
            return Px(q.x) == Px(p[0].x) && Px(q.y) == Px(p[0].y);
          })) {
        run(Px(p[0].y), Px(p[0].x), Px(p[0].x));
        return;
      }
      if (p.size() < 3) return;
      double top = INFINITY, bottom = -INFINITY;
      for (const Fixed16& q : p)
        top = std::min(top, q.y / 65536.0), bottom = std::max(bottom, q.y / 65536.0);
      const int y0 = static_cast<int>(std::max(std::floor(top), 0.0));
      const int y1 = static_cast<int>(std::min(std::ceil(bottom), h - 1.0));
      std::vector<double> xs;
      for (int y = y0; y <= y1; ++y) {
        const double yc = y + 0.5;
        xs.clear();
        for (size_t i = 0; i < p.size(); ++i) {
          const Fixed16 a = p[i], b = p[(i + 1) % p.size()];
          const double ay = a.y / 65536.0, by = b.y / 65536.0;
          if ((ay <= yc) == (by <= yc)) continue;
          const double ax = a.x / 65536.0, bx = b.x / 65536.0;
          xs.push_back(ax + (yc - ay) * (bx - ax) / (by - ay));
        }
        std::sort(xs.begin(), xs.end());
        for (size_t i = 0; i + 1 < xs.size(); i += 2) {
          const double l = std::clamp(std::ceil(xs[i] - 0.5), -1.0, double(w));
          const double r = std::clamp(std::ceil(xs[i + 1] - 0.5) - 1, -1.0, double(w));
          run(y, static_cast<int>(l), static_cast<int>(r));
        }
      }
      return;
    }
  }
}

void OutlineRegion(const FillRegion& region, Pixel colour, bool erase) {
  switch (region.kind) {
    case FillRegion::Rectangle:
      DrawRectangleOutline(region.x0, region.y0, region.x1, region.y1, colour, erase);
      break;
    case FillRegion::Ellipse:
      DrawEllipseOutline(region.cx, region.cy, region.rx, region.ry, colour, erase);
      break;
    case FillRegion::Polygon: {
      Brush* brush = ShapeBrush();
      if (!brush || region.points.empty()) break;
      const auto& p = region.points;
      for (size_t i = 0; i < p.size(); ++i) {
        const Fixed16 e = p[(i + 1) % p.size()];
        StrokeLine(brush, p[i].x, p[i].y, e.x, e.y, colour, erase, i == 0, 0, 0, 255, 255);
      }
      EndFigure();
      break;
    }
  }
}

}  // namespace

int SolidFillRegion(const FillRegion& region, Pixel colour, bool erase) {
  Block* page = Ws.page;
  if (!page) return -1;
  if (Brush* b = CurrentBrush(); b && (b->cursorFlags & CursorShown)) HideCursor(b);
  // The mode's span loop with full coverage: what the fill of a plain colour lays.
  const Pixel pen = Draw.APen;
  const int antialias = Draw.antialias;
  Draw.APen = colour;
  Draw.antialias = 1;
  SpanOperation span = SelectSpanOperation(erase, 255);
  Draw.APen = pen;
  Draw.antialias = antialias;
  if (!span) return -1;
  struct Run {
    int y, x0, x1;
  };
  std::vector<Run> runs;
  RegionRuns(
      region, page,
      [](int y, int x0, int x1, void* u) {
        static_cast<std::vector<Run>*>(u)->push_back({y, x0, x1});
      },
      &runs);
  if (runs.empty()) return 0;
  // Pantograph reads rows above when its offset points up: those rows go last.
  if (!erase && Ws.drawMode == DrawPantograph && Draw.pantoY < 0)
    std::reverse(runs.begin(), runs.end());
  const std::vector<uint8_t> full(page->width, 255);
  int x0 = page->width, x1 = -1, y0 = page->height, y1 = -1;
  auto oldShow = Draw.showRect;
  Draw.showRect = nullptr;  // one refresh at the end
  ++Stamp;
  for (const Run& r : runs) {
    if (BreakFlag) break;
    span(r.x0, r.y, r.x1 - r.x0 + 1, full.data());
    x0 = std::min(x0, r.x0), x1 = std::max(x1, r.x1);
    y0 = std::min(y0, r.y), y1 = std::max(y1, r.y);
  }
  Draw.showRect = oldShow;
  if (x0 > x1) return 0;
  if (UndoLabelHook) UndoLabelHook("Fill");
  MarkOnPage(x0, y0, x1, y1);
  FillToDisplay(x0, y0, x1 - x0 + 1, y1 - y0 + 1);
  return 0;
}

void FillShapeRegion(const FillRegion& region, Pixel colour, bool erase) {
  if (RegionFill) {
    RegionFill(region, colour, erase);
    return;
  }
  // Until the fills arrive: a solid fill, or the outline in a mode without a span loop.
  if (SolidFillRegion(region, colour, erase) != 0) OutlineRegion(region, colour, erase);
  EndFigure();
}

// ---- Steps --------------------------------------------------------------------------------------

void PointToolStep() {
  const int press = PressButton();
  if (press) {
    Shape.button = press;
    ConstrainAnchor(In.pageXF, In.pageYF);
  }
  if (!In.leftDown && !In.rightDown) {
    if (Shape.phase) EndFigure();
    Shape.phase = 0;
    Hover();
    return;
  }
  if (Shapes.dottedSingle && !press) return;
  Brush* b = ShapeBrush();
  if (!b || !Ws.page) return;
  Shape.phase = 2;
  Shape.button = HeldButton();
  const Fixed16 p = Pointer();
  const bool erase = Shape.button == 2;
  const Pixel colour = PenOf(Shape.button);
  // The fast path first: a segment of no length that starts a stroke stamps once.
  if (StrokeLine(b, p.x, p.y, p.x, p.y, colour, erase, 1, Inputs.size, Inputs.size, Inputs.opacity,
                 Inputs.opacity) != 0)
    StampOnce(b, Ws.page, Px(p.x) - b->handleX, Px(p.y) - b->handleY, colour, erase,
              Inputs.opacity);
  b->cursorFlags &= ~CursorShown;
}

void FreehandToolStep() {
  const bool filled = ShapeFilled(kToolDraw);
  if (Shape.phase == 0) {
    const int press = PressButton();
    if (!press) {
      Hover();
      return;
    }
    Shape.phase = 1;
    Shape.button = press;
    Shape.firstMark = true;
    ConstrainAnchor(In.pageXF, In.pageYF);
    Shape.last = Shape.control = {In.pageXF, In.pageYF};
    Shape.size0 = Shape.sizeC = Inputs.size;
    Shape.opacity0 = Shape.opacityC = Inputs.opacity;
    BeginFigure();
    if (filled) Shape.points.assign(1, Shape.last);
    return;
  }
  const Fixed16 p = Pointer();
  const bool erase = Shape.button == 2;
  const Pixel colour = PenOf(Shape.button);
  if (ButtonHeld(Shape.button)) {
    if (filled) {
      Shape.points.push_back(p);
      std::vector<std::pair<int, int>> px;
      for (size_t i = 1; i < Shape.points.size(); ++i)
        AddLine(px, Px(Shape.points[i - 1].x), Px(Shape.points[i - 1].y), Px(Shape.points[i].x),
                Px(Shape.points[i].y));
      SetOverlay(std::move(px));
      return;
    }
    if (Shape.phase == 1) {
      Shape.phase = 2;
      Shape.control = p;
      Shape.sizeC = Inputs.size, Shape.opacityC = Inputs.opacity;
      return;
    }
    Brush* b = ShapeBrush();
    if (!b) return;
    const Fixed16 m = Mid(Shape.control, p);
    const int sm = (Shape.sizeC + Inputs.size) / 2, om = (Shape.opacityC + Inputs.opacity) / 2;
    StrokeCurve(b, Shape.last.x >> 8, Shape.last.y >> 8, Shape.control.x >> 8, Shape.control.y >> 8,
                m.x >> 8, m.y >> 8, colour, erase, Shape.firstMark, Shape.size0, Shape.sizeC, sm,
                Shape.opacity0, Shape.opacityC, om);
    Shape.last = m;
    Shape.size0 = sm, Shape.opacity0 = om;
    Shape.control = p;
    Shape.sizeC = Inputs.size, Shape.opacityC = Inputs.opacity;
    Shape.firstMark = false;
    return;
  }
  // The release.
  if (filled) {
    RemoveOverlay();
    Shape.points.push_back(p);
    FillRegion region;
    region.points = std::move(Shape.points);
    Shape.points.clear();
    FillShapeRegion(region, colour, erase);
  } else if (Brush* b = ShapeBrush()) {
    // A release that comes with the first move owes the move its control point.
    if (Shape.phase == 1) {
      Shape.control = p;
      Shape.sizeC = Inputs.size, Shape.opacityC = Inputs.opacity;
    }
    const Fixed16 m = Mid(Shape.control, p);
    const int sm = (Shape.sizeC + Inputs.size) / 2, om = (Shape.opacityC + Inputs.opacity) / 2;
    StrokeCurve(b, Shape.last.x >> 8, Shape.last.y >> 8, Shape.control.x >> 8, Shape.control.y >> 8,
                m.x >> 8, m.y >> 8, colour, erase, Shape.firstMark, Shape.size0, Shape.sizeC, sm,
                Shape.opacity0, Shape.opacityC, om);
    b->cursorFlags = 0;
  }
  Shape.phase = 0;
  EndFigure();
}

namespace {

// The drag of the two-point figures: a press fixes the start, the held button moves a rubber
// band, the release draws. Returns true at the release with the end point in *end.
bool DragStep(void (*band)(Fixed16 start, Fixed16 end), Fixed16* end) {
  if (Shape.phase == 0) {
    const int press = PressButton();
    if (!press) {
      Hover();
      return false;
    }
    Shape.phase = 1;
    Shape.button = press;
    Shape.start = {In.pageXF, In.pageYF};
    ConstrainAnchor(In.pageXF, In.pageYF);
    if (Brush* b = CurrentBrush(); b && (b->cursorFlags & CursorShown)) HideCursor(b);
    band(Shape.start, Shape.start);
    return false;
  }
  const Fixed16 p = Pointer();
  if (ButtonHeld(Shape.button)) {
    band(Shape.start, p);
    return false;
  }
  RemoveOverlay();
  Shape.phase = 0;
  *end = p;
  return true;
}

}  // namespace

void LineToolStep() {
  Fixed16 e;
  if (!DragStep([](Fixed16 s, Fixed16 p) { DrawLineOverlay(Px(s.x), Px(s.y), Px(p.x), Px(p.y)); },
                &e))
    return;
  Brush* b = ShapeBrush();
  if (!b || !Ws.page) return;
  const int s = Shapes.lineStart, t = Shapes.lineEnd;
  StrokeLine(b, Shape.start.x, Shape.start.y, e.x, e.y, PenOf(Shape.button), Shape.button == 2, 1,
             -s, -t, s, t);
  EndFigure();
}

void RectangleToolStep() {
  Fixed16 e;
  if (!DragStep(
          [](Fixed16 s, Fixed16 p) { DrawRectangleOverlay(Px(s.x), Px(s.y), Px(p.x), Px(p.y)); },
          &e))
    return;
  const int x0 = std::min(Px(Shape.start.x), Px(e.x)), x1 = std::max(Px(Shape.start.x), Px(e.x));
  const int y0 = std::min(Px(Shape.start.y), Px(e.y)), y1 = std::max(Px(Shape.start.y), Px(e.y));
  const Pixel colour = PenOf(Shape.button);
  const bool erase = Shape.button == 2;
  if (ShapeFilled(kToolRectangle)) {
    FillRegion region;
    region.kind = FillRegion::Rectangle;
    region.x0 = x0, region.y0 = y0, region.x1 = x1, region.y1 = y1;
    FillShapeRegion(region, colour, erase);
    return;
  }
  DrawRectangleOutline(Px(Shape.start.x), Px(Shape.start.y), Px(e.x), Px(e.y), colour, erase);
}

namespace {

void EllipseFigure(int tool, int cx, int cy, int rx, int ry) {
  const Pixel colour = PenOf(Shape.button);
  const bool erase = Shape.button == 2;
  if (ShapeFilled(tool)) {
    FillRegion region;
    region.kind = FillRegion::Ellipse;
    region.cx = cx, region.cy = cy, region.rx = rx, region.ry = ry;
    FillShapeRegion(region, colour, erase);
    return;
  }
  DrawEllipseOutline(cx, cy, rx, ry, colour, erase);
}

bool ThreePointCircle(const Fixed16 p[3], int* cx, int* cy, int* r) {
  double x, y, rr;
  if (!CircleThrough(Px(p[0].x), Px(p[0].y), Px(p[1].x), Px(p[1].y), Px(p[2].x), Px(p[2].y), &x, &y,
                     &rr))
    return false;
  *cx = static_cast<int>(std::lround(x));
  *cy = static_cast<int>(std::lround(y));
  *r = static_cast<int>(std::lround(rr));
  return true;
}

void CircleThreePointsStep() {
  const int press = PressButton();
  const Fixed16 p{In.pageXF, In.pageYF};
  if (press) {
    if (Shape.clicks == 0) Shape.button = press;
    Shape.rim[Shape.clicks++] = p;
    Shape.phase = 1;
    if (Shape.clicks < 3) return;
    RemoveOverlay();
    Shape.phase = 0;
    Shape.clicks = 0;
    int cx, cy, r;
    if (ThreePointCircle(Shape.rim, &cx, &cy, &r)) EllipseFigure(kToolCircle, cx, cy, r, r);
    return;
  }
  if (Shape.clicks == 0) {
    Hover();
    return;
  }
  if (Shape.clicks == 1) {
    DrawLineOverlay(Px(Shape.rim[0].x), Px(Shape.rim[0].y), Px(p.x), Px(p.y));
    return;
  }
  Fixed16 three[3] = {Shape.rim[0], Shape.rim[1], p};
  int cx, cy, r;
  if (ThreePointCircle(three, &cx, &cy, &r))
    DrawCircleOverlay(cx, cy, r, r);
  else
    DrawLineOverlay(Px(Shape.rim[0].x), Px(Shape.rim[0].y), Px(p.x), Px(p.y));
}

}  // namespace

void CircleToolStep() {
  if (Shapes.circle3) {
    CircleThreePointsStep();
    return;
  }
  Fixed16 e;
  if (!DragStep(
          [](Fixed16 s, Fixed16 p) {
            int r = Radius(Px(p.x) - Px(s.x), Px(p.y) - Px(s.y));
            DrawCircleOverlay(Px(s.x), Px(s.y), r, r);
          },
          &e))
    return;
  int r = Radius(Px(e.x) - Px(Shape.start.x), Px(e.y) - Px(Shape.start.y));
  EllipseFigure(kToolCircle, Px(Shape.start.x), Px(Shape.start.y), r, r);
}

void EllipseToolStep() {
  Fixed16 e;
  if (!DragStep(
          [](Fixed16 s, Fixed16 p) {
            DrawCircleOverlay(Px(s.x), Px(s.y), std::abs(Px(p.x) - Px(s.x)),
                              std::abs(Px(p.y) - Px(s.y)));
          },
          &e))
    return;
  EllipseFigure(kToolEllipse, Px(Shape.start.x), Px(Shape.start.y),
                std::abs(Px(e.x) - Px(Shape.start.x)), std::abs(Px(e.y) - Px(Shape.start.y)));
}

namespace {

void FinishSpline() {
  RemoveOverlay();
  Shape.phase = 0;
  const int s = Shapes.lineStart, t = Shapes.lineEnd;
  if (ShapeFilled(kToolSpline)) {
    // The closed area of the curve and its chord, as a list of points along the curve.
    SplinePieces sp = SplineControls(Shape.start, Shape.control, Shape.last, Shapes.tension);
    FillRegion region;
    for (auto& piece : sp.p)
      for (int i = 0; i < 32; ++i) {
        double u = i / 32.0, v = 1 - u;
        double w[4] = {v * v * v, 3 * v * v * u, 3 * v * u * u, u * u * u};
        double x = 0, y = 0;
        for (int k = 0; k < 4; ++k) x += w[k] * piece[k].x, y += w[k] * piece[k].y;
        region.points.push_back({static_cast<int32_t>(x), static_cast<int32_t>(y)});
      }
    region.points.push_back(Shape.last);
    FillShapeRegion(region, PenOf(Shape.button), Shape.button == 2);
    return;
  }
  DrawSpline(Shape.start, Shape.control, Shape.last, PenOf(Shape.button), Shape.button == 2, -s, -t,
             s, t);
}

}  // namespace

void SplineToolStep() {
  const int press = PressButton();
  const Fixed16 p = Pointer();
  switch (Shape.phase) {
    case 0:
      if (!press) {
        Hover();
        return;
      }
      Shape.phase = 1;
      Shape.button = press;
      Shape.start = p;
      ConstrainAnchor(p.x, p.y);
      if (Brush* b = CurrentBrush(); b && (b->cursorFlags & CursorShown)) HideCursor(b);
      DrawLineOverlay(Px(p.x), Px(p.y), Px(p.x), Px(p.y));
      return;
    case 1:
      if (ButtonHeld(Shape.button)) {
        DrawLineOverlay(Px(Shape.start.x), Px(Shape.start.y), Px(p.x), Px(p.y));
        return;
      }
      Shape.last = p;
      Shape.control = p;
      Shape.phase = 2;
      DrawSplineOverlay(Shape.start, p, Shape.last);
      return;
    case 2:
      Shape.control = p;
      if (!press) {
        DrawSplineOverlay(Shape.start, p, Shape.last);
        return;
      }
      if (In.shift) {
        Shape.phase = 3;
        DrawSplineOverlay(Shape.start, p, Shape.last);
        return;
      }
      FinishSpline();
      return;
    default:
      Shape.control = p;
      if (In.leftDown || In.rightDown) {
        DrawSplineOverlay(Shape.start, p, Shape.last);
        return;
      }
      FinishSpline();
      return;
  }
}

void EndShapeTool(int tool) {
  if (tool == kToolSpline && Shape.phase >= 2) {
    // A key may end the tool in the batch of a move that no step has seen yet.
    Shape.control = Pointer();
    FinishSpline();
  } else if (tool == kToolDraw && Shape.phase != 0 && ShapeFilled(kToolDraw)) {
    RemoveOverlay();
    Shape.points.push_back(Pointer());
    FillRegion region;
    region.points = std::move(Shape.points);
    FillShapeRegion(region, PenOf(Shape.button), Shape.button == 2);
  } else if (tool == kToolDraw && Shape.phase != 0) {
    EndFigure();
  }
  RemoveOverlay();
  if (Brush* b = CurrentBrush(); b && (b->cursorFlags & CursorShown)) HideCursor(b);
  Shape.phase = 0;
  Shape.clicks = 0;
  Shape.points.clear();
  Constrain = ConstrainState{};
}

void EndCurrentShapeTool() {
  EndShapeTool(CurrentTool);
}

// ---- Settings -----------------------------------------------------------------------------------

namespace {

constexpr const char* kSettings = "Settings";

// Which of two choices a typed word names, without regard to case or blanks, its first letters
// being enough: 0 or 1; -1 for neither, or both.
int Choice(const char* word, const char* first, const char* second) {
  auto squeeze = [](const char* t) {
    std::string out;
    for (; *t; ++t)
      if (*t != ' ') out += static_cast<char>(std::tolower(static_cast<unsigned char>(*t)));
    return out;
  };
  const std::string w = squeeze(word), a = squeeze(first), b = squeeze(second);
  if (w.empty()) return -1;
  const bool isA = a.compare(0, w.size(), w) == 0, isB = b.compare(0, w.size(), w) == 0;
  return isA == isB ? -1 : isA ? 0 : 1;
}

void ReadChoice(const char* key, const char* first, const char* second, int32_t* value) {
  int c = Choice(ConfigString(kSettings, key, "").c_str(), first, second);
  if (c >= 0) *value = c;
}

// Asks for one of two words; a cancel or another word keeps the setting.
void AskChoice(const char* title, const char* first, const char* second, int32_t* value) {
  char text[32];
  std::snprintf(text, sizeof text, "%s", *value ? second : first);
  if (!AskText(title, text, sizeof text)) return;
  int c = Choice(text, first, second);
  if (c >= 0) *value = c;
}

}  // namespace

void LoadShapeSettings() {
  ReadChoice("Dotted freehand", "Continue", "Single", &Shapes.dottedSingle);
  ReadChoice("Circle", "Center", "3 Points", &Shapes.circle3);
  int start, end;
  if (std::sscanf(ConfigString(kSettings, "Line pressure", "").c_str(), "%d %d", &start, &end) ==
      2) {
    Shapes.lineStart = std::clamp(start, 0, 255);
    Shapes.lineEnd = std::clamp(end, 0, 255);
  }
}

void SaveShapeSettings() {
  ConfigPut(kSettings, "Dotted freehand", Shapes.dottedSingle ? "Single" : "Continue");
  ConfigPut(kSettings, "Circle", Shapes.circle3 ? "3 Points" : "Center");
  char text[32];
  std::snprintf(text, sizeof text, "%d %d", Shapes.lineStart, Shapes.lineEnd);
  ConfigPut(kSettings, "Line pressure", text);
}

void OpenShapeSettings(int tool) {
  switch (tool) {
    case kToolPoint:
      AskChoice("Dotted freehand", "Continue", "Single", &Shapes.dottedSingle);
      break;
    case kToolCircle:
      AskChoice("Circle", "Center", "3 Points", &Shapes.circle3);
      break;
    case kToolLine:
    case kToolSpline: {
      // Shown in percent, kept as 0..255.
      char text[32];
      std::snprintf(text, sizeof text, "%d %d", Shapes.lineStart * 100 / 255,
                    Shapes.lineEnd * 100 / 255);
      if (!AskText("Line pressure: Start End", text, sizeof text)) break;
      int start, end;
      if (std::sscanf(text, "%d %d", &start, &end) != 2) break;
      Shapes.lineStart = std::clamp(start, 0, 100) * 255 / 100;
      Shapes.lineEnd = std::clamp(end, 0, 100) * 255 / 100;
      break;
    }
    default:
      break;
  }
}

}  // namespace vela
