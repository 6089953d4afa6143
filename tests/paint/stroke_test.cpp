// The Pen's capsule coverage against the exact area of a fine polygon, the paths of Draw line,
// stamp spacing along a stroke, and the cursor.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "host/host.h"
#include "paint_fixture.h"
#include "pixels/display.h"
#include "start/input.h"
#include "start/main_loop.h"

namespace vela::test {
namespace {

using Pt = std::array<double, 2>;

double Cross(Pt o, Pt a, Pt b) {
  return (a[0] - o[0]) * (b[1] - o[1]) - (a[1] - o[1]) * (b[0] - o[0]);
}

// Area of a convex polygon inside the unit square at (x, y): clip by the four sides.
double AreaInPixel(std::vector<Pt> cur, int x, int y) {
  for (int side = 0; side < 4; ++side) {
    const int axis = side / 2;
    const double edge = (axis ? y : x) + side % 2;
    auto out = [&](Pt p) { return side % 2 ? p[axis] > edge : p[axis] < edge; };
    std::vector<Pt> next;
    for (size_t i = 0; i < cur.size(); ++i) {
      Pt a = cur[i], b = cur[(i + 1) % cur.size()];
      if (!out(a)) next.push_back(a);
      if (out(a) == out(b)) continue;
      double t = (edge - a[axis]) / (b[axis] - a[axis]);
      next.push_back({a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1])});
    }
    cur.swap(next);
  }
  double a = 0;
  for (size_t i = 0; i < cur.size(); ++i) a += Cross({0, 0}, cur[i], cur[(i + 1) % cur.size()]);
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
    // The hull's boundary, going round: in each direction the disc that reaches further.
    std::vector<Pt> hull;
    for (int k = 0; k < 720; ++k) {
      double c = std::cos(2 * M_PI * k / 720), s = std::sin(2 * M_PI * k / 720);
      bool second = x1 * c + y1 * s + r1 > x0 * c + y0 * s + r0;
      hull.push_back(second ? Pt{x1 + r1 * c, y1 + r1 * s} : Pt{x0 + r0 * c, y0 + r0 * s});
    }
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
// a disc's middle cuts a row in two. Bottom up, row by row, the same coverage.
TEST(Capsule, FlatSlabsAddTheirHeight) {
  Grid down{48, 24, std::vector<int>(48 * 24)}, up = down;
  ASSERT_EQ(RasteriseCapsule(10.5, 10.25, 3, 30.5, 10.25, 3, 48, 24, Collect, &down), 0);
  for (int x = 12; x <= 28; ++x) {
    std::vector<int> column;
    for (int y = 6; y <= 13; ++y) column.push_back(down.cov[y * 48 + x]);
    // 7.25 .. 8 is 191.25, 13 .. 13.25 is 63.75.
    ASSERT_EQ(column, (std::vector<int>{0, 191, 255, 255, 255, 255, 255, 64})) << x;
  }
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
    page_.reset(NewBlock(48, 40));
    Ws.page = page_.get();
    Ws.drawMode = DrawColor;
    Ws.noPage = 1;  // nothing to show
  }
  void TearDown() override {
    AntialiasOn = 0;
    PaintTest::TearDown();
  }
  int Count(int* maxAlpha = nullptr) const {
    int n = 0, m = 0;
    for (int i = 0; i < page_->width * page_->height; ++i) {
      n += page_->data[i] != 0;
      m = std::max(m, Alpha(page_->data[i]));
    }
    if (maxAlpha) *maxAlpha = m;
    return n;
  }
  BlockPtr page_;
};

// Antialias off with constant sizes 0 or -255 is a hard line the stamping loop draws; any other
// sizes go through the rasteriser, whose solid spans paint a different set of pixels.
TEST_F(DrawLineTest, HardConstantLinesStampAndOthersRasterise) {
  const Pixel red = PenPixel(255, 0, 0);
  for (int size : {0, -255, -100, 40}) {
    StrokeCtx.penRadius = StrokeCtx.targetRadius = 5;
    SetCurrentBrush(MakePenBrush(5));
    Fill(page_.get(), 0);
    ASSERT_EQ(
        StrokeLine(CurrentBrush(), F(10), F(12), F(33), F(20), red, 0, 1, size, size, 255, 255), 0);
    BlockPtr viaLine = CopyOf(page_.get());
    Fill(page_.get(), 0);
    StampAlong(CurrentBrush(), 5, 7, 28, 15, page_.get(), false, red, 0, 1, 255, 255);
    EXPECT_EQ(SamePixels(viaLine.get(), page_.get()), size == 0 || size == -255) << size;
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
  EXPECT_EQ(Count(&top), 5);
  EXPECT_LT(top, 255);
  EXPECT_GT(Alpha(page_->Row(20)[20]), 200);
  for (auto [x, y] : {std::pair{19, 20}, {21, 20}, {20, 19}, {20, 21}})
    EXPECT_LT(Alpha(page_->Row(y)[x]), 20);
  auto area = [&](int target, int size) {
    Fill(page_.get(), 0);
    SetCurrentBrush(MakePenBrush(6));
    StrokeCtx.penRadius = 6;
    StrokeCtx.targetRadius = target;
    StrokeLine(CurrentBrush(), F(8), F(20), F(40), F(20), PenPixel(0, 0, 255), 0, 1, size, size,
               255, 255);
    return Count();
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
  Fill(page_.get(), 0);
  StrokeSegment(F(4), F(9), F(30), F(9), true, false, false);
  EXPECT_TRUE(SamePixels(once.get(), page_.get()));
  EXPECT_GT(Alpha(page_->Row(9)[10]), 100);
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
    Draw.pantoX = Around(g, 4);
    Draw.pantoY = Around(g, 4);
    StrokeCtx.penRadius = static_cast<int>(g() % 6);
    StrokeCtx.targetRadius = static_cast<int>(g() % 14);
    StrokeCtx.tool = kind == 4 ? ToolPropellingPencil : ToolPen;
    Brush* b = kind <= 1 ? MakePenBrush(StrokeCtx.penRadius)
                         : NewBrush(1 + g() % 9, 1 + g() % 9, kind == 3);
    if (kind >= 2)
      for (int i = 0; i < b->width * b->height; ++i) b->mask[i] = static_cast<uint8_t>(g() % 256);
    SetCurrentBrush(b);
    ClearDirty();
    int x0 = static_cast<int>(g() % 60) - 6, y0 = static_cast<int>(g() % 52) - 6;
    int x1 = static_cast<int>(g() % 60) - 6, y1 = static_cast<int>(g() % 52) - 6;
    int size0 = Around(g, 255), size1 = Around(g, 255);
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
    EXPECT_TRUE(!Dirty.set || (Dirty.x0 >= 0 && Dirty.x1 < 48));
  }
}

// The pointer's stroke: the right button erases whatever the mode, and the release ends the
// stroke, wiping the WetMap's paint unless the tool keeps it wet.
TEST_F(DrawLineTest, PointerStrokeErasesWithTheRightButtonAndEndsAtTheRelease) {
  AntialiasOn = 1;
  ASSERT_EQ(UseDefaultBrush(), 0);
  Fill(page_.get(), 0xFF336699u);
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
    EXPECT_EQ(std::any_of(map.begin(), map.end(), [](uint8_t v) { return v != 0; }), keep);
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
  Fill(page_.get(), 0);
  StrokeLine(dot, F(4), F(9), F(17), F(9), c, 0, 1, 0, 0, 128, 128);
  StrokeLine(dot, F(17), F(9), F(30), F(9), c, 0, 0, 0, 0, 128, 128);
  EXPECT_TRUE(SamePixels(whole.get(), page_.get()));

  BlockPtr spare(NewBlock(48, 40));
  for (int y = 0; y < 40; ++y)
    for (int x = 0; x < 48; ++x) spare->Row(y)[x] = x < 6 ? 0xFFFF0000u : 0xFF0000FFu;
  Ws.spare = spare.get();
  Ws.drawMode = DrawImpress;
  Fill(page_.get(), 0);
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
    for (int y = 18; y <= 22; ++y)  // the disc's inner square is wholly covered
      for (int x = 18; x <= 22; ++x)
        ASSERT_EQ(page_->Row(y)[x], before->Row(y + dy)[x + dx]) << dx << "," << dy;
  }
}

// Stamp spacing counts pixels along the major axis, carried from one segment to the next; a first
// segment stamps its start and resets the count. Half opacity shows a pixel stamped twice.
TEST_F(DrawLineTest, SpacingAlongTheMajorAxisCarriedBetweenSegments) {
  using V = std::vector<std::pair<int, int>>;
  std::vector<std::array<int, 5>> chain{{0, 20, 0, 20, 1}};
  for (int x = 0; x < 12; ++x) chain.push_back({x, 20, x + 1, 20, 0});
  struct Case {
    int step;
    std::vector<std::array<int, 5>> segments;  // x0, y0, x1, y1, first
    V want;
    size_t count;
  } cases[] = {
      // The eleventh pixel after the press, nothing in the nine before.
      {10, {{2, 5, 2, 5, 1}, {2, 5, 11, 5, 0}, {11, 5, 13, 5, 0}}, {{2, 5}, {13, 5}}, 2},
      // A zero-length chained segment counts one pixel.
      {3, {{0, 0, 0, 0, 1}, {0, 0, 0, 0, 0}, {0, 0, 6, 0, 0}}, {{0, 0}, {3, 0}}, 2},
      // A diagonal: every third pixel, so Step·√2 apart.
      {2, {{1, 1, 10, 10, 1}}, {{1, 1}, {4, 4}, {7, 7}, {10, 10}}, 4},
      {50, {{0, 30, 5, 30, 1}, {6, 31, 8, 31, 1}}, {{0, 30}, {6, 31}}, 2},
      // Chains stamp each pixel once: the vertical skips (9, 3), the general is not in its first
      // turn.
      {0, {{3, 3, 9, 3, 1}, {9, 3, 9, 8, 0}, {9, 8, 14, 12, 0}}, {}, 7 + 5 + 5},
      // The same spacing over a chain of one-pixel segments as over one long segment.
      {2, chain, {{0, 20}, {3, 20}, {6, 20}, {9, 20}, {12, 20}}, 5},
  };
  Brush* dot = NewBrush(1, 1, false);
  dot->kind = BrushKindDab;
  dot->mask[0] = 255;
  SetCurrentBrush(dot);
  for (const Case& c : cases) {
    Fill(page_.get(), 0);
    StrokeCtx.step = c.step;
    for (auto [x0, y0, x1, y1, first] : c.segments)
      StampAlong(dot, x0, y0, x1, y1, page_.get(), false, 0xFF00FF00, 0, first, 128, 128);
    V got;
    for (int y = 0; y < 40; ++y)
      for (int x = 0; x < 48; ++x)
        if (page_->Row(y)[x]) {
          EXPECT_EQ(page_->Row(y)[x], 0x80008000u) << "twice at " << x << "," << y;
          got.push_back({x, y});
        }
    EXPECT_EQ(got.size(), c.count) << "step " << c.step;
    if (!c.want.empty()) {
      EXPECT_EQ(got, c.want) << "step " << c.step;
    }
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
  BlockPtr page = RandomBlock(60, 50, g);
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
      if (u >= 0 && v >= 0 && u < b->width && v < b->height) continue;
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
