// Brush lifetime, stroke inputs, straight segments and stepped stamping.
#include "paint/stroke.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>

#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/pressure.h"
#include "paint/wet.h"
#include "pixels/display.h"
#include "project/compose.h"
#include "project/undo.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

StrokeContext StrokeCtx;
StrokeInputs Inputs;
SpeedState Speed;
DirtyRect Dirty;
void (*UndoLabelHook)(const char* name) = nullptr;

namespace {

Brush* g_current = nullptr;
int64_t g_brushBytes = 0;  // the share of the memory meter that brushes hold

int64_t PlaneBytes(const Brush* b) {
  return 2 * static_cast<int64_t>(b->width) * b->height;
}

struct RectAcc {
  int x0 = 0, y0 = 0, x1 = -1, y1 = -1;  // inclusive; empty when x1 < x0
  void Add(int x, int y, int w, int h) {
    if (w <= 0 || h <= 0) return;
    if (x1 < x0) {
      x0 = x, y0 = y, x1 = x + w - 1, y1 = y + h - 1;
      return;
    }
    x0 = std::min(x0, x), y0 = std::min(y0, y);
    x1 = std::max(x1, x + w - 1), y1 = std::max(y1, y + h - 1);
  }
  void Flush() {
    if (x1 >= x0) FillToDisplay(x0, y0, x1 - x0 + 1, y1 - y0 + 1);
    x1 = x0 - 1;
  }
};

RectAcc g_shown;  // what the span loops changed within the current segment
void CollectShown(int x, int y, int w, int h) {
  g_shown.Add(x, y, w, h);
}

}  // namespace

// ---- Brush lifetime ---------------------------------------------------------------------------

Brush* NewBrush(int width, int height, bool withPixels) {
  width = std::max(width, 1);
  height = std::max(height, 1);
  Brush* b = new (std::nothrow) Brush;
  if (!b) {
    Message(" Not enough memory");
    return nullptr;
  }
  b->width = width;
  b->height = height;
  b->handleX = width / 2;
  b->handleY = height / 2;
  size_t n = static_cast<size_t>(width) * height;
  b->mask = static_cast<uint8_t*>(std::calloc(n, 1));
  b->scratch = static_cast<uint8_t*>(std::calloc(n, 1));
  b->under = NewBlock(width, height);
  if (withPixels) {
    b->pixels = AllocBlock(width, height);
    if (b->pixels) std::fill(b->pixels->data, b->pixels->data + n, Draw.BPen);
    b->kind = BrushKindImage;
  }
  if (!b->mask || !b->scratch || !b->under || (withPixels && !b->pixels)) {
    FreeBrush(b);
    Message(" Not enough memory");
    return nullptr;
  }
  g_brushBytes += PlaneBytes(b);
  return b;
}

void FreeBrush(Brush* b) {
  if (!b) return;
  if (b->mask && b->scratch && b->under) g_brushBytes -= PlaneBytes(b);
  std::free(b->mask);
  std::free(b->scratch);
  FreeBlock(b->under);
  FreeBlock(b->pixels);
  if (b == g_current) {
    g_current = nullptr;
    Ws.brush = nullptr;
  }
  delete b;
}

Brush* CurrentBrush() {
  return g_current;
}

void SetCurrentBrush(Brush* brush) {
  if (brush == g_current) return;
  Brush* old = g_current;
  g_current = brush;
  Ws.brush = brush;
  if (old) {
    if (old->cursorFlags & CursorShown) HideCursor(old);
    old->cursorFlags = 0;
    FreeBrush(old);
  }
}

int UseDefaultBrush() {
  StrokeCtx.tool = ToolPen;
  StrokeCtx.penRadius = 3;
  StrokeCtx.targetRadius = 3;
  StrokeCtx.step = 0;
  Draw.dabTexture = DabTextureNone;
  Brush* b = MakePenBrush(3);
  if (!b) return -1;
  SetCurrentBrush(b);
  return 0;
}

void ResetStrokeContext() {
  StrokeCtx = StrokeContext{};
  for (int i = 0; i < 64; ++i) StrokeCtx.profile[i] = static_cast<uint8_t>(4 * i);
}

// ---- Stroke inputs ----------------------------------------------------------------------------

int SpeedInput(double seconds, int x, int y) {
  const int rest = StrokeCtx.speedInvert ? 0 : 255;
  auto used = [](int kept) { return std::min(StrokeCtx.speedInvert ? kept : 255 - kept, 255); };
  bool moved = !Speed.started || x != Speed.lastX || y != Speed.lastY;
  if (!moved) {
    // A pointer at rest reads as slowest from the third still event on.
    if (++Speed.stillEvents >= 3) return rest;
    return used(Speed.kept);
  }
  Speed.stillEvents = 0;
  double now = seconds * 100;
  if (!Speed.started) {
    Speed.started = true;
    Speed.lastTime = now;
    Speed.lastX = x, Speed.lastY = y;
    return used(Speed.kept);
  }
  double dt = now - Speed.lastTime;
  if (dt >= 0.001) {
    double dx = x - Speed.lastX, dy = y - Speed.lastY;
    int dist = static_cast<int>(std::sqrt(dx * dx + dy * dy));
    double v = dist / dt * SpeedScale;
    int i = v >= 255 ? 255 : v <= 0 ? 0 : static_cast<int>(v);
    Speed.kept = SpeedCurve[i];
    Speed.lastTime = now;
    Speed.lastX = x, Speed.lastY = y;
  }
  return used(Speed.kept);
}

void UpdateStrokeInputs(int pressure, int speed) {
  if (!StrokeCtx.pressureOn || pressure < 0) {
    Inputs.size = 0;
    Inputs.opacity = 255;
  } else {
    Inputs.size = Inputs.opacity = std::clamp(pressure, 0, 255);
  }
  // Speed stands in for a device without pressure (its inputs differ); inverted, it reads high
  // when fast, so such a tool lays more the quicker it moves. A pressure that gives both inputs
  // alike is turned back instead.
  if (StrokeCtx.speedOn && Inputs.size != Inputs.opacity)
    Inputs.size = Inputs.opacity = speed;
  else if (StrokeCtx.speedInvert && Inputs.size == Inputs.opacity)
    Inputs.opacity = 255 - Inputs.opacity;
  Inputs.shown = Inputs.size == Inputs.opacity ? Inputs.size : speed;
}

// ---- Dirty rectangle and display --------------------------------------------------------------

void MarkDirty(int x0, int y0, int x1, int y1) {
  if (x0 > x1) std::swap(x0, x1);
  if (y0 > y1) std::swap(y0, y1);
  if (!Dirty.set) {
    Dirty = {x0, x1, y0, y1, true};
    return;
  }
  Dirty.x0 = std::min(Dirty.x0, x0), Dirty.x1 = std::max(Dirty.x1, x1);
  Dirty.y0 = std::min(Dirty.y0, y0), Dirty.y1 = std::max(Dirty.y1, y1);
}

void ClearDirty() {
  Dirty = DirtyRect{};
}

namespace {

// Undo swaps this rectangle: it holds every pixel a primitive may change, and no more than the
// page.
void MarkDirtyOnPage(const Block* page, int x0, int y0, int x1, int y1) {
  x0 = std::max(x0, 0), y0 = std::max(y0, 0);
  x1 = std::min(x1, page->width - 1), y1 = std::min(y1, page->height - 1);
  if (x0 > x1 || y0 > y1) return;
  MarkDirty(x0, y0, x1, y1);
  if (page == Ws.page) MarkChanged(x0, y0, x1, y1);  // what undo will exchange
}

}  // namespace

void FillToDisplay(int x, int y, int width, int height) {
  const Block* page = Ws.page;
  if (!page || Ws.noPage) return;
  ShowPage(x, y, width, height);  // composed with the layers around the current one
}

// ---- Stamping ---------------------------------------------------------------------------------

namespace {

int Pass(StampOperation op, const Brush& b, Block* page, int x, int y, Pixel colour, bool erase,
         int opacity) {
  ++Stamp;
  opacity = std::clamp(opacity, 0, 255);
  if (Wet.on && WetStampPass(b, page, x, y, colour, erase, opacity) == 0) return 0;
  return op ? op(b, page, x, y, colour, erase, opacity) : -1;
}

}  // namespace

int StampOnce(Brush* brush, Block* page, int x, int y, Pixel colour, int erase, int opacity) {
  if (!brush || !page) return -1;
  StampOperation op = SelectStampOperation(*brush, erase != 0);
  int r = Pass(op, *brush, page, x, y, colour, erase != 0, opacity);
  MarkDirtyOnPage(page, x, y, x + brush->width - 1, y + brush->height - 1);
  if (page == Ws.page) FillToDisplay(x, y, brush->width, brush->height);
  return r;
}

int StampAlong(Brush* brush, int x0, int y0, int x1, int y1, Block* page, bool display,
               Pixel colour, int erase, int first, int opacity0, int opacity1) {
  if (!brush || !page) return -1;
  int& counter = StrokeCtx.stepCounter;
  if (first) counter = 0;
  opacity0 = std::clamp(opacity0, 0, 255);
  opacity1 = std::clamp(opacity1, 0, 255);
  if (BreakFlag) return 0;
  const bool er = erase != 0;
  StampOperation op = SelectStampOperation(*brush, er);
  const int bw = brush->width, bh = brush->height;
  display = display && page == Ws.page;

  if (x0 == x1 && y0 == y1) {
    if (--counter >= 0 || !first) return 0;
    Pass(op, *brush, page, x0, y0, colour, er, opacity0);
    // The press counts as a stamp: the spacing runs from here.
    counter = StrokeCtx.step;
    if (display) FillToDisplay(x0, y0, bw, bh);
    return 0;
  }

  const int dx = std::abs(x1 - x0), dy = std::abs(y1 - y0);
  const int sx = x1 > x0 ? 1 : -1, sy = y1 > y0 ? 1 : -1;
  const bool xMajor = dx >= dy;
  const int n = xMajor ? dx : dy, m = xMajor ? dy : dx;
  const int64_t ostep = (static_cast<int64_t>(opacity0) - opacity1) * 65536 / (n + 1);
  RectAcc pending;
  int x = x0, y = y0, err = n / 2;
  for (int i = 0; i <= n; ++i) {
    if (BreakFlag) break;
    if (i > 0 || first) {
      if (--counter < 0) {
        // A rising ramp overshoots opacity1 at its last step.
        int o = std::clamp(opacity1 + static_cast<int>((ostep * (n - 1 - i)) >> 16), 0, 255);
        Pass(op, *brush, page, x, y, colour, er, o);
        counter = StrokeCtx.step;
        pending.Add(x, y, bw, bh);
      }
    }
    if (display && (!xMajor || (i & 31) == 31)) pending.Flush();
    // Bresenham: the minor coordinate moves when the error term runs out.
    err -= m;
    if (err < 0) {
      err += n;
      if (xMajor)
        y += sy;
      else
        x += sx;
    }
    if (xMajor)
      x += sx;
    else
      y += sy;
  }
  if (display) pending.Flush();
  return 0;
}

// ---- Straight segments ------------------------------------------------------------------------

namespace {

struct SpanTarget {
  SpanOperation op;
};

void ToSpan(int x, int y, int length, const uint8_t* coverage, void* user) {
  static_cast<SpanTarget*>(user)->op(x, y, length, coverage);
}

double PenRadiusFor(int size, double r, double target) {
  double v = size < 0 ? (-size) * r / 255 : (target - r) * size / 255 + r;
  return v < 0.6 ? 0.6 : v;
}

// Propelling Pencil: coverage split between the two pixels nearest the line, per major step. A
// chained segment leaves its first step to the segment before, as stamping does.
void ThinLine(const PlotOperations& ops, double x0, double y0, double x1, double y1, int o0, int o1,
              Pixel colour, bool first) {
  double dx = x1 - x0, dy = y1 - y0;
  bool xMajor = std::fabs(dx) >= std::fabs(dy);
  double a0 = xMajor ? x0 : y0, a1 = xMajor ? x1 : y1;
  double b0 = xMajor ? y0 : x0, slope = xMajor ? (dx ? dy / dx : 0) : (dy ? dx / dy : 0);
  int p0 = static_cast<int>(std::floor(a0)), p1 = static_cast<int>(std::floor(a1));
  int n = std::abs(p1 - p0), s = p1 >= p0 ? 1 : -1;
  for (int i = first ? 0 : 1; i <= n; ++i) {
    if (BreakFlag) return;
    int p = p0 + i * s;
    double b = b0 + (p + 0.5 - a0) * slope - 0.5;
    int q = static_cast<int>(std::floor(b));
    int cov = static_cast<int>((b - q) * 255);
    int o = n ? o0 + (o1 - o0) * i / n : o0;
    if (xMajor)
      ops.plotPair(p, q, p, q + 1, cov, o, colour);
    else
      ops.plotPair(q, p, q + 1, p, cov, o, colour);
  }
}

}  // namespace

int StrokeLine(Brush* brush, int32_t x0, int32_t y0, int32_t x1, int32_t y1, Pixel colour,
               int erase, int first, int size0, int size1, int opacity0, int opacity1) {
  Block* page = Ws.page;
  if (!brush || !page) return -1;
  if (first) {
    ResetStrokeState();
    if (Wet.on && !StrokeCtx.keepWet) ClearWetDirty();
  }
  const bool er = erase != 0;
  // Ends far off any page are pulled in, so the fixed-point sums below cannot overflow.
  constexpr int32_t kFar = 1 << 30;
  for (int32_t* v : {&x0, &y0, &x1, &y1}) *v = std::clamp(*v, -kFar, kFar);
  x0 -= brush->handleX << 16, y0 -= brush->handleY << 16;
  x1 -= brush->handleX << 16, y1 -= brush->handleY << 16;
  if (UndoLabelHook) UndoLabelHook("Draw");
  const int left = std::min(x0, x1) >> 16, top = std::min(y0, y1) >> 16;
  const int right = std::max(x0, x1) >> 16, bottom = std::max(y0, y1) >> 16;
  opacity0 = std::clamp(opacity0, 0, 255);
  opacity1 = std::clamp(opacity1, 0, 255);

  if (StrokeCtx.tool == ToolPropellingPencil && Draw.antialias) {
    PlotOperations ops;
    if (SelectPlotOperations(er, &ops)) {
      // Each step plots the pixel pair astride the line.
      MarkDirtyOnPage(page, left - 1, top - 1, right + 1, bottom + 1);
      BeginThinLine(*brush, x0 >> 16, y0 >> 16);
      ++Stamp;
      const int power = std::clamp(Draw.power, 0, 255);
      ThinLine(ops, x0 / 65536.0, y0 / 65536.0, x1 / 65536.0, y1 / 65536.0, opacity0 * power / 255,
               opacity1 * power / 255, colour, first != 0);
      return 0;
    }
  }

  bool hardConstant = !Draw.antialias && size0 == size1 && (size0 == 0 || size0 == -255);
  if (brush->kind == BrushKindPen && !hardConstant) {
    Pixel pen = Draw.APen;
    Draw.APen = colour;
    SpanOperation span = SelectSpanOperation(er, opacity0);
    Draw.APen = pen;
    if (span) {
      const int32_t lift = brush->radius << 16;
      double r = StrokeCtx.penRadius ? StrokeCtx.penRadius : 0.6;
      double target = StrokeCtx.targetRadius;
      double r0 = PenRadiusFor(size0, r, target), r1 = PenRadiusFor(size1, r, target);
      double fx0 = (x0 + lift) / 65536.0, fy0 = (y0 + lift) / 65536.0;
      double fx1 = (x1 + lift) / 65536.0, fy1 = (y1 + lift) / 65536.0;
      // The discs' own reach, which pressure may carry past the Pen's square; one pixel more for
      // the edges' fixed-point rounding.
      auto reach = [](double lo, double hi) {
        return std::pair{static_cast<int>(std::floor(lo)) - 1,
                         static_cast<int>(std::floor(hi)) + 1};
      };
      auto [dl, dr] = reach(std::min(fx0 - r0, fx1 - r1), std::max(fx0 + r0, fx1 + r1));
      auto [dt, db] = reach(std::min(fy0 - r0, fy1 - r1), std::max(fy0 + r0, fy1 + r1));
      MarkDirtyOnPage(page, dl, dt, dr, db);
      // Pantograph reads rows above when its offset points up: those rows go last.
      const bool upward = !er && Ws.drawMode == DrawPantograph && Draw.pantoY < 0;
      SpanTarget target_{span};
      auto oldShow = Draw.showRect;
      Draw.showRect = CollectShown;
      ++Stamp;
      int rc = 0;
      bool samePixel =
          ((x0 + lift) >> 16) == ((x1 + lift) >> 16) && ((y0 + lift) >> 16) == ((y1 + lift) >> 16);
      if (samePixel) {
        rc = RasteriseCapsule(fx0, fy0, r0, fx0, fy0, r0, page->width, page->height, ToSpan,
                              &target_, upward);
      } else {
        if (first)
          rc = RasteriseCapsule(fx0, fy0, r0, fx0, fy0, r0, page->width, page->height, ToSpan,
                                &target_, upward);
        if (rc == 0)
          rc = RasteriseCapsule(fx0, fy0, r0, fx1, fy1, r1, page->width, page->height, ToSpan,
                                &target_, upward);
      }
      Draw.showRect = oldShow;
      g_shown.Flush();
      // A break leaves what was painted; only a missing row lets stamping try.
      if (rc == 0 || BreakFlag) return 0;
      return -1;
    }
  }

  MarkDirtyOnPage(page, left, top, right + brush->width - 1, bottom + brush->height - 1);
  return StampAlong(brush, x0 >> 16, y0 >> 16, x1 >> 16, y1 >> 16, page, true, colour, erase, first,
                    opacity0, opacity1);
}

// ---- Curves -----------------------------------------------------------------------------------

namespace {

struct CurveJob {
  Brush* brush;
  Pixel colour;
  int erase;
  int rc = 0;
};

void DrawPiece(const CurvePiece& p, void* user) {
  CurveJob& job = *static_cast<CurveJob*>(user);
  Brush* b = job.brush;
  if (!Ws.page) return;
  MarkDirtyOnPage(Ws.page, std::min(p.x0, p.x1) >> 8, std::min(p.y0, p.y1) >> 8,
                  (std::max(p.x0, p.x1) >> 8) + b->width + 1,
                  (std::max(p.y0, p.y1) >> 8) + b->height + 1);
  int rc = StrokeLine(b, p.x0 << 8, p.y0 << 8, p.x1 << 8, p.y1 << 8, job.colour, job.erase, p.first,
                      p.size0, p.size1, p.opacity0, p.opacity1);
  if (rc) job.rc = rc;
}

bool IsFlat(int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1, int32_t y1, bool precise) {
  int64_t ax = x1 - x0, ay = y1 - y0;
  int64_t bx = cx - x0, by = cy - y0;
  int64_t span = std::max(std::llabs(ax), std::llabs(ay));
  if (precise) {
    double cross = std::fabs((bx / 256.0) * (ay / 256.0) - (by / 256.0) * (ax / 256.0));
    return span / 256.0 >= 2 * cross;
  }
  int64_t area = std::llabs((bx >> 4) * (ay >> 4) - (by >> 4) * (ax >> 4));
  return span >= 2 * area;
}

struct Flattener {
  PieceSink sink;
  void* user;
  bool precise;

  void Quad(int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1, int32_t y1, int s0, int sc,
            int s1, int o0, int oc, int o1, bool first, int depth) {
    if (depth >= 24 || IsFlat(x0, y0, cx, cy, x1, y1, precise)) {
      sink(CurvePiece{x0, y0, x1, y1, s0, s1, o0, o1, first}, user);
      return;
    }
    int32_t ax = (x0 + cx) / 2, ay = (y0 + cy) / 2, bx = (cx + x1) / 2, by = (cy + y1) / 2;
    int32_t mx = (ax + bx) / 2, my = (ay + by) / 2;
    int sa = (s0 + sc) / 2, sb = (sc + s1) / 2, sm = (sa + sb) / 2;
    int oa = (o0 + oc) / 2, ob = (oc + o1) / 2, om = (oa + ob) / 2;
    Quad(x0, y0, ax, ay, mx, my, s0, sa, sm, o0, oa, om, first, depth + 1);
    Quad(mx, my, bx, by, x1, y1, sm, sb, s1, om, ob, o1, false, depth + 1);
  }

  void Cubic(int32_t x0, int32_t y0, int32_t ax, int32_t ay, int32_t bx, int32_t by, int32_t x1,
             int32_t y1, int s0, int s1, int o0, int o1, bool first, int depth) {
    if (depth >= 24 ||
        (IsFlat(x0, y0, ax, ay, x1, y1, precise) && IsFlat(x0, y0, bx, by, x1, y1, precise))) {
      sink(CurvePiece{x0, y0, x1, y1, s0, s1, o0, o1, first}, user);
      return;
    }
    int32_t p01x = (x0 + ax) / 2, p01y = (y0 + ay) / 2;
    int32_t p12x = (ax + bx) / 2, p12y = (ay + by) / 2;
    int32_t p23x = (bx + x1) / 2, p23y = (by + y1) / 2;
    int32_t qax = (p01x + p12x) / 2, qay = (p01y + p12y) / 2;
    int32_t qbx = (p12x + p23x) / 2, qby = (p12y + p23y) / 2;
    int32_t mx = (qax + qbx) / 2, my = (qay + qby) / 2;
    int sm = (s0 + s1) / 2, om = (o0 + o1) / 2;
    Cubic(x0, y0, p01x, p01y, qax, qay, mx, my, s0, sm, o0, om, first, depth + 1);
    Cubic(mx, my, qbx, qby, p23x, p23y, x1, y1, sm, s1, om, o1, false, depth + 1);
  }
};

}  // namespace

void FlattenQuadratic(int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1, int32_t y1,
                      int size0, int sizeC, int size1, int opacity0, int opacityC, int opacity1,
                      bool first, bool precise, PieceSink sink, void* user) {
  Flattener{sink, user, precise}.Quad(x0, y0, cx, cy, x1, y1, size0, sizeC, size1, opacity0,
                                      opacityC, opacity1, first, 0);
}

void FlattenCubic(int32_t x0, int32_t y0, int32_t c0x, int32_t c0y, int32_t c1x, int32_t c1y,
                  int32_t x1, int32_t y1, int size0, int size1, int opacity0, int opacity1,
                  bool first, bool precise, PieceSink sink, void* user) {
  Flattener{sink, user, precise}.Cubic(x0, y0, c0x, c0y, c1x, c1y, x1, y1, size0, size1, opacity0,
                                       opacity1, first, 0);
}

int StrokeCurve(Brush* brush, int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1,
                int32_t y1, Pixel colour, int erase, int first, int size0, int sizeC, int size1,
                int opacity0, int opacityC, int opacity1) {
  if (!brush) return -1;
  CurveJob job{brush, colour, erase};
  FlattenQuadratic(x0, y0, cx, cy, x1, y1, size0, sizeC, size1, opacity0, opacityC, opacity1,
                   first != 0, brush->kind == BrushKindPen, DrawPiece, &job);
  return job.rc;
}

int StrokeCubic(Brush* brush, int32_t x0, int32_t y0, int32_t c0x, int32_t c0y, int32_t c1x,
                int32_t c1y, int32_t x1, int32_t y1, Pixel colour, int erase, int first, int size0,
                int size1, int opacity0, int opacity1) {
  if (!brush) return -1;
  CurveJob job{brush, colour, erase};
  FlattenCubic(x0, y0, c0x, c0y, c1x, c1y, x1, y1, size0, size1, opacity0, opacity1, first != 0,
               brush->kind == BrushKindPen, DrawPiece, &job);
  return job.rc;
}

// ---- Main loop ------------------------------------------------------------------------------

int StrokeSpeedPressure() {
  int speed = SpeedInput(TimeNow(), In.pageX, In.pageY);
  // Equal pressure fields are the sign of a tablet; with pressure off it reads as a mouse.
  bool tablet = StrokeCtx.pressureOn && In.pressureLow == In.pressure;
  UpdateStrokeInputs(tablet ? In.pressure : -1, speed);
  return StrokeCtx.speedOn && !tablet ? Inputs.opacity : -1;
}

Brush* DrawingBrush() {
  if (!CurrentBrush() && UseDefaultBrush() != 0) return nullptr;
  Brush* b = CurrentBrush();
  if (b->cursorFlags & CursorShown) HideCursor(b);
  Draw.antialias = AntialiasOn;
  return b;
}

void EndStroke() {
  ResetStrokeState();
  if (Wet.on && !StrokeCtx.keepWet) ClearWetDirty();
}

void StrokeSegment(int32_t x0, int32_t y0, int32_t x1, int32_t y1, bool first, bool right,
                   bool last) {
  static int lastSize = 0, lastOpacity = 255;
  if (first) lastSize = Inputs.size, lastOpacity = Inputs.opacity;
  // A release where the pointer stopped owes no paint: a zero-length piece would stamp again.
  Brush* b = !last || first || x0 != x1 || y0 != y1 ? DrawingBrush() : nullptr;
  if (b) {
    // The right button erases; BPen goes along unused by the Erase loops.
    Pixel colour = right ? Draw.BPen : Draw.APen;
    // The inputs go as they are: the power is in the dab's mask, the thin line and the image pass.
    StrokeLine(b, x0, y0, x1, y1, colour, right ? 1 : 0, first, lastSize, Inputs.size, lastOpacity,
               Inputs.opacity);
    lastSize = Inputs.size, lastOpacity = Inputs.opacity;
  }
  if (last) EndStroke();
}

void StrokeHover(int x, int y) {
  Brush* b = CurrentBrush();
  if (b && Ws.page && !Ws.noPage) MoveCursor(b, x, y);
}

}  // namespace vela
