// The Pen's capsule coverage against the exact area of a fine polygon, and the paths of Draw line.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "paint/stroke.h"
#include "paint_fixture.h"
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

TEST(Capsule, CoverageIsTheExactAreaOfRandomCapsules) {
  std::mt19937 g(7);
  std::uniform_real_distribution<double> pos(-4, 68), rad(0.6, 14);
  int worst = 0;
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
    for (int y = 0; y < 64; ++y)
      for (int x = 0; x < 64; ++x) {
        if (y + 1 < top || y > bottom || x + 1 < left || x > right) {
          ASSERT_EQ(grid.cov[y * 64 + x], 0);
          continue;
        }
        int want = static_cast<int>(std::lround(AreaInPixel(hull, x, y) * 255));
        int got = grid.cov[y * 64 + x];
        worst = std::max(worst, std::abs(got - want));
        ASSERT_LE(std::abs(got - want), 2)
            << "capsule " << x0 << "," << y0 << "," << r0 << " " << x1 << "," << y1 << "," << r1
            << " at " << x << "," << y;
      }
  }
  RecordProperty("worst", worst);
}

TEST(Capsule, StopsOnBreak) {
  Grid grid{64, 64, std::vector<int>(64 * 64)};
  BreakFlag = 1;
  EXPECT_EQ(RasteriseCapsule(10, 10, 5, 50, 50, 5, 64, 64, Collect, &grid), -1);
  BreakFlag = 0;
  EXPECT_EQ(std::count(grid.cov.begin(), grid.cov.end(), 0), 64 * 64);
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

TEST_F(DrawLineTest, RadiusZeroIsASoftPointWithAntialias) {
  Draw.antialias = 1;
  SetCurrentBrush(MakePenBrush(0));
  StrokeCtx.penRadius = 0;
  StrokeCtx.targetRadius = 0;
  ASSERT_EQ(StrokeLine(CurrentBrush(), F(20), F(20), F(20), F(20), PenPixel(0, 0, 255), 0, 1, 0, 0,
                       255, 255),
            0);
  // A disc of 0.6 centred in its pixel: the pixel itself mostly, its four neighbours a sliver.
  int top = 0;
  EXPECT_EQ(Painted(&top), 5);
  EXPECT_LT(top, 255);
  EXPECT_GT(Alpha(page_->Row(20)[20]), 200);
  for (auto [x, y] : {std::pair{19, 20}, {21, 20}, {20, 19}, {20, 21}})
    EXPECT_LT(Alpha(page_->Row(y)[x]), 20);
}

// Pressure pulls the radius towards the target: below the Pen's radius it thins the line.
TEST_F(DrawLineTest, PressureTowardsASmallerTargetThins) {
  Draw.antialias = 1;
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
  StrokeSegment(F(4), F(9), F(30), F(9), true, false);
  EXPECT_TRUE(SamePixels(once.get(), page_.get()));
  EXPECT_GT(Alpha(page_->Row(9)[10]), 100);
  Draw.power = 255;
  AntialiasOn = 0;
}

}  // namespace
}  // namespace vela::test
