// The Pen's capsule coverage against the exact area of a fine polygon, and the paths of Draw line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "host/host.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "paint_fixture.h"
#include "pixels/display.h"
#include "start/input.h"
#include "start/main_loop.h"

namespace vela::test {
namespace {

using Pt = std::pair<double, double>;

double Cross(Pt o, Pt a, Pt b) {
  return (a.first - o.first) * (b.second - o.second) - (a.second - o.second) * (b.first - o.first);
}

std::vector<Pt> Hull(std::vector<Pt> p) {
  std::sort(p.begin(), p.end());
  std::vector<Pt> h(2 * p.size());
  size_t k = 0;
  for (size_t i = 0; i < p.size(); ++i) {
    while (k >= 2 && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  for (size_t i = p.size() - 1, t = k + 1; i-- > 0;) {
    while (k >= t && Cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
    h[k++] = p[i];
  }
  h.resize(k - 1);
  return h;
}

// Area of a convex polygon inside the unit square at (x, y): clip by the four sides.
double AreaInPixel(const std::vector<Pt>& poly, int x, int y) {
  std::vector<Pt> cur = poly, next;
  auto clip = [&](auto inside, auto cut) {
    next.clear();
    for (size_t i = 0; i < cur.size(); ++i) {
      Pt a = cur[i], b = cur[(i + 1) % cur.size()];
      bool ia = inside(a), ib = inside(b);
      if (ia) next.push_back(a);
      if (ia != ib) next.push_back(cut(a, b));
    }
    cur.swap(next);
  };
  auto lerpX = [](Pt a, Pt b, double v) {
    double t = (v - a.first) / (b.first - a.first);
    return Pt{v, a.second + t * (b.second - a.second)};
  };
  auto lerpY = [](Pt a, Pt b, double v) {
    double t = (v - a.second) / (b.second - a.second);
    return Pt{a.first + t * (b.first - a.first), v};
  };
  clip([&](Pt p) { return p.first >= x; }, [&](Pt a, Pt b) { return lerpX(a, b, x); });
  clip([&](Pt p) { return p.first <= x + 1; }, [&](Pt a, Pt b) { return lerpX(a, b, x + 1); });
  clip([&](Pt p) { return p.second >= y; }, [&](Pt a, Pt b) { return lerpY(a, b, y); });
  clip([&](Pt p) { return p.second <= y + 1; }, [&](Pt a, Pt b) { return lerpY(a, b, y + 1); });
  double a = 0;
  for (size_t i = 0; i < cur.size(); ++i) {
    Pt p = cur[i], q = cur[(i + 1) % cur.size()];
    a += p.first * q.second - q.first * p.second;
  }
  return std::fabs(a) / 2;
}

struct Grid {
  int w, h;
  std::vector<int> cov;
};

void Collect(int x, int y, int length, const uint8_t* c, void* user) {
  Grid& g = *static_cast<Grid*>(user);
  for (int i = 0; i < length; ++i)
    if (x + i >= 0 && x + i < g.w) g.cov[y * g.w + x + i] += c[i];
}

// The slab rule keeps each pixel near the exact area: a slab's chord under a cap one row high
// misses at most a quarter of the pixel. The chords lie inside the arcs, so the shape loses a
// little, most where the discs are small.
TEST(Capsule, SlabRuleStaysNearTheExactArea) {
  std::mt19937 g(7);
  std::uniform_real_distribution<double> pos(-4, 68), rad(0.6, 14);
  for (int n = 0; n < 50; ++n) {
    double x0 = pos(g), y0 = pos(g), r0 = rad(g);
    double x1 = n % 5 ? pos(g) : x0 + 0.3, y1 = n % 5 ? pos(g) : y0, r1 = n % 7 ? rad(g) : r0;
    Grid grid{64, 64, std::vector<int>(64 * 64)};
    ASSERT_EQ(RasteriseCapsule(x0, y0, r0, x1, y1, r1, 64, 64, Collect, &grid), 0);
    std::vector<Pt> pts;
    for (int k = 0; k < 720; ++k) {
      double a = 2 * M_PI * k / 720;
      pts.push_back({x0 + r0 * std::cos(a), y0 + r0 * std::sin(a)});
      pts.push_back({x1 + r1 * std::cos(a), y1 + r1 * std::sin(a)});
    }
    std::vector<Pt> hull = Hull(pts);
    double top = std::min(y0 - r0, y1 - r1), bottom = std::max(y0 + r0, y1 + r1);
    double left = std::min(x0 - r0, x1 - r1), right = std::max(x0 + r0, x1 + r1);
    double exact = 0, got = 0;
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 64; ++x) {
        int cov = grid.cov[y * 64 + x];
        if (y + 1 < top || y > bottom || x + 1 < left || x > right) {
          ASSERT_EQ(cov, 0);
          continue;
        }
        double want = AreaInPixel(hull, x, y) * 255;
        ASSERT_LE(cov, 255);
        ASSERT_LE(std::abs(cov - want), 64 + 8)
            << "capsule " << x0 << "," << y0 << "," << r0 << " " << x1 << "," << y1 << "," << r1
            << " at " << x << "," << y;
        exact += want, got += cov;
      }
    EXPECT_LE(got, exact + 8) << "capsule " << n;
    EXPECT_GE(got, exact * 0.88) << "capsule " << n;
  }
}

// A level capsule's top and bottom edges are flat slabs: a pixel under the whole of one takes
// h·255/65536 for the slab's 16.16 height h, rounded, and the rows between are whole, even where
// a disc's middle cuts a row in two.
TEST(Capsule, FlatSlabsAddTheirHeight) {
  Grid down{48, 24, std::vector<int>(48 * 24)}, up = down;
  ASSERT_EQ(RasteriseCapsule(10.5, 10.25, 3, 30.5, 10.25, 3, 48, 24, Collect, &down), 0);
  for (int x = 12; x <= 28; ++x) {
    EXPECT_EQ(down.cov[6 * 48 + x], 0);
    EXPECT_EQ(down.cov[7 * 48 + x], 191);  // 7.25 .. 8: 191.25
    for (int y = 8; y <= 12; ++y) EXPECT_EQ(down.cov[y * 48 + x], 255);
    EXPECT_EQ(down.cov[13 * 48 + x], 64);  // 13 .. 13.25: 63.75
  }
  // Bottom up, row by row, the same coverage.
  std::vector<int> rows;
  auto order = [](int, int y, int, const uint8_t*, void* user) {
    static_cast<std::vector<int>*>(user)->push_back(y);
  };
  ASSERT_EQ(RasteriseCapsule(10.5, 10.25, 3, 30.5, 10.25, 3, 48, 24, Collect, &up, true), 0);
  EXPECT_EQ(up.cov, down.cov);
  ASSERT_EQ(RasteriseCapsule(10.5, 10.25, 3, 30.5, 10.25, 3, 48, 24, order, &rows, true), 0);
  EXPECT_EQ(rows, (std::vector<int>{13, 12, 11, 10, 9, 8, 7}));
}

class DrawLineTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetStrokeContext();
    page_.reset(NewBlock(48, 40));
    Ws.page = page_.get();
    Ws.drawMode = DrawColor;
    Ws.noPage = 1;  // nothing to show
  }
  void TearDown() override {
    SetCurrentBrush(nullptr);
    Wet = WetSettings{};
    AntialiasOn = 0;
    PaintTest::TearDown();
  }
  int Painted(int* maxAlpha = nullptr) const {
    int n = 0, m = 0;
    for (int i = 0; i < page_->width * page_->height; ++i) {
      n += page_->data[i] != 0;
      m = std::max(m, Alpha(page_->data[i]));
    }
    if (maxAlpha) *maxAlpha = m;
    return n;
  }
  static int32_t F(int p) { return (p << 16) + 0x8000; }
  BlockPtr page_;
};

// Antialias off with constant sizes 0 or -255 is a hard line the stamping loop draws; any other
// sizes go through the rasteriser, whose solid spans paint a different set of pixels.
TEST_F(DrawLineTest, HardConstantLinesStampAndOthersRasterise) {
  Draw.antialias = 0;
  const Pixel red = PenPixel(255, 0, 0);
  for (int size : {0, -255, -100, 40}) {
    ASSERT_EQ(UseDefaultBrush(), 0);
    StrokeCtx.penRadius = 5;
    StrokeCtx.targetRadius = 5;
    SetCurrentBrush(MakePenBrush(5));
    std::fill(page_->data, page_->data + 48 * 40, 0);
    ASSERT_EQ(
        StrokeLine(CurrentBrush(), F(10), F(12), F(33), F(20), red, 0, 1, size, size, 255, 255), 0);
    BlockPtr viaLine = CopyOf(page_.get());
    std::fill(page_->data, page_->data + 48 * 40, 0);
    StampAlong(CurrentBrush(), 5, 7, 28, 15, page_.get(), false, red, 0, 1, 255, 255);
    bool stamped = SamePixels(viaLine.get(), page_.get());
    EXPECT_EQ(stamped, size == 0 || size == -255) << "size " << size;
  }
}

// A radius of 0 is a soft point of 0.6, the pixel itself and slivers of its four neighbours;
// pressure pulls the radius towards the target, so a target below the Pen's radius thins.
TEST_F(DrawLineTest, PenRadiiFromSizeAndTarget) {
  Draw.antialias = 1;
  SetCurrentBrush(MakePenBrush(0));
  StrokeCtx.penRadius = StrokeCtx.targetRadius = 0;
  ASSERT_EQ(StrokeLine(CurrentBrush(), F(20), F(20), F(20), F(20), PenPixel(0, 0, 255), 0, 1, 0, 0,
                       255, 255),
            0);
  int top = 0;
  EXPECT_EQ(Painted(&top), 5);
  EXPECT_LT(top, 255);
  EXPECT_GT(Alpha(page_->Row(20)[20]), 200);
  for (auto [x, y] : {std::pair{19, 20}, {21, 20}, {20, 19}, {20, 21}})
    EXPECT_LT(Alpha(page_->Row(y)[x]), 20);
  auto area = [&](int target, int size) {
    std::fill(page_->data, page_->data + 48 * 40, 0);
    SetCurrentBrush(MakePenBrush(6));
    StrokeCtx.penRadius = 6;
    StrokeCtx.targetRadius = target;
    StrokeLine(CurrentBrush(), F(8), F(20), F(40), F(20), PenPixel(0, 0, 255), 0, 1, size, size,
               255, 255);
    return Painted();
  };
  EXPECT_LT(area(2, 255), area(2, 0));
  EXPECT_GT(area(10, 255), area(10, 0));
  EXPECT_EQ(area(2, -255), area(10, -255));  // -255 is the Pen's own radius whatever the target
}

// The drawing step hands the raw inputs on: the thin line applies the power once.
TEST_F(DrawLineTest, DrawingStepAppliesThePowerOnce) {
  StrokeCtx.tool = ToolPropellingPencil;
  AntialiasOn = Draw.antialias = 1;
  Draw.power = 128;
  Inputs = StrokeInputs{};
  Brush* dot = NewBrush(1, 1, false);
  dot->kind = BrushKindDab;
  dot->handleX = dot->handleY = 0;
  SetCurrentBrush(dot);
  StrokeLine(dot, F(4), F(9), F(30), F(9), Draw.APen, 0, 1, 0, 0, 255, 255);
  BlockPtr once = CopyOf(page_.get());
  std::fill(page_->data, page_->data + 48 * 40, 0);
  StrokeSegment(F(4), F(9), F(30), F(9), true, false, false);
  EXPECT_TRUE(SamePixels(once.get(), page_.get()));
  EXPECT_GT(Alpha(page_->Row(9)[10]), 100);
  Draw.power = 255;
  AntialiasOn = 0;
}

// Undo swaps the dirty rectangle: it must hold every pixel that any kind of stroke changed, Pen
// discs grown by pressure past the Pen's square included.
TEST_F(DrawLineTest, DirtyRectangleHoldsEveryChangedPixel) {
  std::mt19937 g(21);
  BlockPtr base(NewBlock(48, 40));
  std::vector<uint8_t> map(48 * 40);
  Ws.undo = base.get();
  Ws.mask = map.data();
  BuildAirbrushResponse(100);
  for (int round = 0; round < 300; ++round) {
    const int kind = round % 6;  // Pen spans, hard Pen, dab, image, thin line, wet dab
    FillRandom(page_.get(), g);
    std::copy(page_->data, page_->data + 48 * 40, base->data);
    BlockPtr before = CopyOf(page_.get());
    ResetStrokeContext();
    Draw.antialias = kind != 1;
    Wet.on = kind == 5;
    Ws.drawMode = std::array{DrawColor, DrawBehind, DrawSmooth, DrawPantograph}[g() % 4];
    Draw.pantoX = static_cast<int>(g() % 9) - 4;
    Draw.pantoY = static_cast<int>(g() % 9) - 4;
    StrokeCtx.penRadius = static_cast<int>(g() % 6);
    StrokeCtx.targetRadius = static_cast<int>(g() % 14);
    StrokeCtx.tool = kind == 4 ? ToolPropellingPencil : ToolPen;
    Brush* b = kind <= 1   ? MakePenBrush(StrokeCtx.penRadius)
               : kind == 3 ? NewBrush(1 + g() % 9, 1 + g() % 9, true)
                           : NewBrush(1 + g() % 9, 1 + g() % 9, false);
    if (kind >= 2)
      for (int i = 0; i < b->width * b->height; ++i) b->mask[i] = static_cast<uint8_t>(g() % 256);
    SetCurrentBrush(b);
    ClearDirty();
    int x0 = static_cast<int>(g() % 60) - 6, y0 = static_cast<int>(g() % 52) - 6;
    int x1 = static_cast<int>(g() % 60) - 6, y1 = static_cast<int>(g() % 52) - 6;
    int size0 = static_cast<int>(g() % 511) - 255, size1 = static_cast<int>(g() % 511) - 255;
    if (kind == 1) size0 = size1 = 0;
    if (g() % 2)
      StrokeLine(b, F(x0), F(y0), F(x1), F(y1), Draw.APen, 0, 1, size0, size1, 255, 128);
    else
      StrokeCurve(b, F(x0) >> 8, F(y0) >> 8, F((x0 + x1) / 2) >> 8, F(y1) >> 8, F(x1) >> 8,
                  F(y1) >> 8, Draw.APen, 0, 1, size0, 0, size1, 255, 200, 60);
    ClearWetDirty();
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 48; ++x) {
        if (page_->Row(y)[x] == before->Row(y)[x]) continue;
        ASSERT_TRUE(Dirty.set && x >= Dirty.x0 && x <= Dirty.x1 && y >= Dirty.y0 && y <= Dirty.y1)
            << "kind " << kind << " mode " << Ws.drawMode << " changed " << x << "," << y
            << " outside " << Dirty.x0 << "," << Dirty.y0 << " .. " << Dirty.x1 << "," << Dirty.y1;
      }
    if (Dirty.set) {
      EXPECT_GE(Dirty.x0, 0);
      EXPECT_LT(Dirty.x1, 48);
    }
  }
}

// The pointer's stroke: the right button erases whatever the mode, and the release ends the
// stroke, wiping the WetMap's paint unless the tool keeps it wet.
TEST_F(DrawLineTest, PointerStrokeErasesWithTheRightButtonAndEndsAtTheRelease) {
  AntialiasOn = 1;
  ASSERT_EQ(UseDefaultBrush(), 0);
  std::fill(page_->data, page_->data + 48 * 40, 0xFF336699u);
  Ws.drawMode = DrawShade;
  StrokeSegment(F(10), F(20), F(30), F(20), true, true, false);
  StrokeSegment(F(30), F(20), F(30), F(20), false, true, true);
  EXPECT_EQ(page_->Row(20)[20], 0u);
  EXPECT_EQ(page_->Row(10)[20], 0xFF336699u);

  BlockPtr base = CopyOf(page_.get());
  std::vector<uint8_t> map(48 * 40);
  Ws.undo = base.get();
  Ws.mask = map.data();
  Ws.drawMode = DrawColor;
  Wet.on = true;
  BuildAirbrushResponse(100);
  Brush* dab = NewBrush(5, 5, false);
  std::fill(dab->mask, dab->mask + 25, 255);
  SetCurrentBrush(dab);
  for (bool keep : {true, false}) {
    StrokeCtx.keepWet = keep;
    StrokeSegment(F(10), F(10), F(20), F(12), true, false, false);
    StrokeSegment(F(20), F(12), F(25), F(12), false, false, true);
    bool wet = std::any_of(map.begin(), map.end(), [](uint8_t v) { return v != 0; });
    EXPECT_EQ(wet, keep);
    EXPECT_EQ(Wet.dirty.set, keep);
  }
}

// Chained thin-line segments plot their shared pixel once, and Impress takes the Spare's mean
// under the brush placed half its size on from the stroke's first corner.
TEST_F(DrawLineTest, ThinLineChainsAndImpress) {
  StrokeCtx.tool = ToolPropellingPencil;
  Draw.antialias = 1;
  Brush* dot = NewBrush(9, 9, false);
  std::fill(dot->mask, dot->mask + 81, 255);
  SetCurrentBrush(dot);
  const Pixel c = PenPixel(0, 200, 0);
  StrokeLine(dot, F(4), F(9), F(30), F(9), c, 0, 1, 0, 0, 128, 128);
  BlockPtr whole = CopyOf(page_.get());
  std::fill(page_->data, page_->data + 48 * 40, 0);
  StrokeLine(dot, F(4), F(9), F(17), F(9), c, 0, 1, 0, 0, 128, 128);
  StrokeLine(dot, F(17), F(9), F(30), F(9), c, 0, 0, 0, 0, 128, 128);
  EXPECT_TRUE(SamePixels(whole.get(), page_.get()));

  BlockPtr spare(NewBlock(48, 40));
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 48; ++x) spare->Row(y)[x] = x < 6 ? 0xFFFF0000u : 0xFF0000FFu;
  Ws.spare = spare.get();
  Ws.drawMode = DrawImpress;
  std::fill(page_->data, page_->data + 48 * 40, 0);
  // Hot spot at 5: the corner is at 1 and the mean is taken over columns 5 .. 13, one red in nine.
  StrokeLine(dot, F(5), F(20), F(30), F(20), c, 0, 1, 0, 0, 255, 255);
  EXPECT_EQ(page_->Row(16)[10], PenPixel(255 / 9, 0, 255 * 8 / 9));
}

// A Pen's spans read the Pantograph's source before they write it: rows run away from an upward
// offset, pixels away from a sideways one.
TEST_F(DrawLineTest, PantographSpansCopy) {
  std::mt19937 g(5);
  Draw.antialias = 1;
  Ws.drawMode = DrawPantograph;
  SetCurrentBrush(MakePenBrush(4));
  StrokeCtx.penRadius = StrokeCtx.targetRadius = 4;
  for (auto [dx, dy] : {std::pair{0, -1}, {-2, 0}, {1, 2}}) {
    FillRandom(page_.get(), g);
    BlockPtr before = CopyOf(page_.get());
    Draw.pantoX = dx;
    Draw.pantoY = dy;
    StrokeLine(CurrentBrush(), F(20), F(20), F(20), F(20), 0, 0, 1, -255, -255, 255, 255);
    // The disc's inner square is wholly covered.
    for (int y = 18; y <= 22; ++y)
      for (int x = 18; x <= 22; ++x)
        ASSERT_EQ(page_->Row(y)[x], before->Row(y + dy)[x + dx]) << dx << "," << dy;
  }
}

// Hovering shows the brush on the screen only; away from it the screen is the page alone, the
// ring just outside the brush included.
TEST(Cursor, MovesLeaveNothingBehind) {
  BuildPixelTables();
  HostConfig hc;
  hc.headless = true;
  hc.width = 120;
  hc.height = 90;
  std::string err;
  ASSERT_TRUE(HostOpen(hc, &err)) << err;
  const Workspace saved = Ws;
  std::mt19937 g(2);
  BlockPtr page(NewBlock(60, 50));
  FillRandom(page.get(), g);
  Ws.page = page.get();
  Ws.noPage = 0;
  Ws.pageX = 13;
  Ws.pageY = 7;
  Ws.opacity = 255;  // the page alone, no layers around it
  Ws.displayFlags = 0;
  FillToDisplay(0, 0, 60, 50);
  Brush* b = MakePenBrush(3);
  for (auto [x, y] : {std::pair{20, 20}, {21, 20}, {21, 22}, {19, 21}, {30, 25}, {29, 26}})
    MoveCursor(b, x, y);
  HostScreen s = HostFramebuffer();
  for (int y = 0; y < 50; ++y)
    for (int x = 0; x < 60; ++x) {
      int u = x - b->cursorX, v = y - b->cursorY;
      bool under = u >= 0 && v >= 0 && u < b->width && v < b->height;
      if (under) continue;
      ASSERT_EQ(s.pixels[(Ws.pageY + y) * s.stride + Ws.pageX + x], page->Row(y)[x])
          << x << "," << y;
    }
  HideCursor(b);
  FreeBrush(b);
  Ws = saved;
  HostClose();
}

}  // namespace
}  // namespace vela::test
