// Dab masks, the Pen disc, curve flattening, the grid, the curves and the speed input.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "paint/grid.h"
#include "paint/pressure.h"
#include "paint/stroke.h"
#include "paint_fixture.h"
#include "start/input.h"
#include "start/main_loop.h"

namespace vela::test {
namespace {

// The resampling rule in exact integers: the share of entry j is [63j/r, 63(j+1)/r), and byte k
// covers [k, k+1), so every overlap times r is a whole number.
std::vector<int> Resampled(const uint8_t* p, int r, int power) {
  std::vector<int> out(r + 1, 0);
  for (int j = 0; j < r; ++j) {
    int v;
    if (r < 64) {
      int64_t sum = 0;
      for (int k = 0; k < 64; ++k) {
        int64_t lo = std::max<int64_t>(int64_t{k} * r, int64_t{63} * j);
        int64_t hi = std::min<int64_t>(int64_t{k + 1} * r, int64_t{63} * (j + 1));
        if (hi > lo) sum += (hi - lo) * p[k];
      }
      v = static_cast<int>(power * sum / (63 * 255));
    } else {
      int i = 63 * j / r, fr = 63 * j % r;
      int a = i < 64 ? p[i] : 0, b = i + 1 < 64 ? p[i + 1] : 0;
      v = static_cast<int>((int64_t{r - fr} * a + int64_t{fr} * b) * power / (int64_t{255} * r));
    }
    out[r - 1 - j] = v;
  }
  return out;
}

TEST(Dab, MaskFollowsTheResamplingRule) {
  std::mt19937 g(3);
  for (int radius : {1, 2, 3, 6, 7, 20, 46, 64, 65, 90})
    for (bool plain : {false, true}) {
      // The default profile at full power, where the exact value is often a whole number.
      uint8_t profile[64];
      for (int i = 0; i < 64; ++i)
        profile[i] = static_cast<uint8_t>(i % 3 && !plain ? g() % 256 : 4 * i);
      int power = radius % 2 || plain ? 255 : 200;
      int side = 2 * radius + 1, r = std::max(side / 2 - 1, 1);
      std::vector<int> out = Resampled(profile, r, power);
      std::vector<uint8_t> mask(side * side);
      FillDabMask(mask.data(), side, profile, power);
      for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x) {
          int dx = x - side / 2, dy = y - side / 2;
          int want = 0;
          if (dx * dx + dy * dy <= r * r) {
            double d = std::sqrt(dx * dx + dy * dy);
            int i = static_cast<int>(d);
            double f = d - i;
            int a = i < r ? out[i] : 0, b = i < r - 1 ? out[i + 1] : 0;
            want = static_cast<int>(a * (1 - f) + b * f);
          }
          ASSERT_EQ(mask[y * side + x], want) << "radius " << radius << " at " << dx << "," << dy;
        }
    }
}

TEST(Dab, RebuildMakesTheCurrentBrushCentredOnItsHandle) {
  uint8_t profile[64];
  for (int i = 0; i < 64; ++i) profile[i] = static_cast<uint8_t>(4 * i);
  ASSERT_EQ(RebuildDab(0, 255, profile), 0);  // radius 0 is read as 1
  EXPECT_EQ(CurrentBrush()->width, 3);
  ASSERT_EQ(RebuildDab(12, 255, profile), 0);
  Brush* b = CurrentBrush();
  EXPECT_EQ(std::tuple(b->kind, b->width, b->handleX, b->mask[12 * 25 + 1]),  // 1 is beyond r = 11
            std::tuple(BrushKindDab, 25, 12, 0));
  EXPECT_EQ(b->mask[12 * 25 + 12], *std::max_element(b->mask, b->mask + 25 * 25));
  SetCurrentBrush(nullptr);
}

TEST(PenDisc, SmallRadiiAndRoundness) {
  uint8_t one[1];
  FillPenDisc(one, 0);
  EXPECT_EQ(one[0], 255);
  uint8_t plus[9];
  FillPenDisc(plus, 1);
  EXPECT_EQ(std::vector<uint8_t>(plus, plus + 9),
            (std::vector<uint8_t>{0, 255, 0, 255, 255, 255, 0, 255, 0}));
  for (int r = 2; r <= 100; r += 7) {
    int side = 2 * r + 1;
    std::vector<uint8_t> m(side * side);
    FillPenDisc(m.data(), r);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        int dx = x - r, dy = y - r, q = dx * dx + dy * dy;
        bool on = m[y * side + x] == 255;
        EXPECT_EQ(on, m[x * side + y] == 255);               // symmetric about the diagonal
        EXPECT_EQ(on, m[(side - 1 - y) * side + x] == 255);  // and the horizontal
        if (q <= r * r - r) {
          EXPECT_TRUE(on) << r << " " << dx << "," << dy;
        }
        if (q > r * r + r) {
          EXPECT_FALSE(on) << r << " " << dx << "," << dy;
        }
      }
  }
}

struct Pieces {
  std::vector<CurvePiece> list;
  static void Add(const CurvePiece& p, void* self) {
    static_cast<Pieces*>(self)->list.push_back(p);
  }
};

TEST(Flatten, SplitsAtTheMiddleFirstHalfFirst) {
  Pieces got;
  FlattenQuadratic(0, 0, 2048, 160, 4096, 0, 0, 100, 255, 10, 20, 30, true, false, Pieces::Add,
                   &got);
  ASSERT_EQ(got.list.size(), 2u);
  std::vector<std::vector<int>> pieces;
  for (const CurvePiece& p : got.list)
    pieces.push_back({p.x0, p.y0, p.x1, p.y1, p.size0, p.size1, p.opacity0, p.opacity1, p.first});
  EXPECT_EQ(pieces, (std::vector<std::vector<int>>{{0, 0, 2048, 80, 0, 113, 10, 20, 1},
                                                   {2048, 80, 4096, 0, 113, 255, 20, 30, 0}}));
  // Just flat: one piece; and a chain of pieces on a deep curve never sets first after the start.
  got.list.clear();
  FlattenQuadratic(0, 0, 2048, 143, 4096, 0, 0, 0, 0, 0, 0, 0, false, false, Pieces::Add, &got);
  EXPECT_EQ(got.list.size(), 1u);
  got.list.clear();
  FlattenCubic(0, 0, 0, 40000, 40000, 40000, 40000, 0, 0, 255, 0, 255, true, false, Pieces::Add,
               &got);
  ASSERT_GT(got.list.size(), 8u);
  for (size_t i = 1; i < got.list.size(); ++i) {
    EXPECT_FALSE(got.list[i].first);
    EXPECT_EQ(std::pair(got.list[i].x0, got.list[i].y0),
              std::pair(got.list[i - 1].x1, got.list[i - 1].y1));
  }
  EXPECT_TRUE(got.list[0].first);
  EXPECT_EQ(got.list.back().x1, 40000);
}

// Snapping to the lattice, sizes by the spacing alone, and SetGrid's caps and reduced origin.
TEST(Grid, SnapsToTheLattice) {
  const GridSettings saved = Grid;
  GridOn = 1;
  auto snap = [](int p) {
    int32_t x = F(p), y = x;
    SnapPagePosition(&x, &y);
    EXPECT_EQ(x & 0xFFFF, 0x7FFF);
    return x >> 16;
  };
  Grid = {1, 1, 0, 0};
  for (int p : {-3, 0, 5, 77}) EXPECT_EQ(snap(p), p);
  Grid = {10, 10, 3, 3};
  EXPECT_EQ(std::pair(snap(7), snap(8)), std::pair(3, 13));
  Grid = {10, 10, 0, 0};
  EXPECT_EQ(std::pair(snap(-6), snap(-4)), std::pair(-10, 0));
  double x = 8.25, y = 14.0;
  SnapPoint(&x, &y);
  EXPECT_EQ(std::pair(x, y), std::pair(10.0, 10.0));
  int32_t w = 14, h = 16;
  Grid = {10, 10, 7, 7};
  SnapSize(&w, &h);
  EXPECT_EQ(std::pair(w, h), std::pair(10, 20));

  SetGrid(1, 10, 0, 12, -12, 4);
  EXPECT_EQ((std::vector<int>{Grid.width, Grid.height, Grid.x, Grid.y}),
            (std::vector<int>{10, 1, 2, 0}));
  SetGrid(1, 5000, 10, 0, -12, 4);
  EXPECT_EQ(std::pair(Grid.width, Grid.y), std::pair(999, 2));
  Grid.x = 7;
  SetGrid(1, 4, 0, 99, 99, 1);  // only the width given: the stored origin is reduced
  EXPECT_EQ(Grid.x, 3);
  SetGrid(0, 4, 4, 0, 0, 0);
  EXPECT_EQ(GridOn, 0);
  int32_t px = 0x80000, py = 0x80000;
  SnapPagePosition(&px, &py);
  EXPECT_EQ(px, 0x80000);
  Grid = saved;
}

TEST(Curves, HandleShapesTheTable) {
  uint8_t t[256];
  BuildCurve(0, 0, t);
  for (int i = 0; i < 256; ++i) {
    EXPECT_NEAR(t[i], i, 3) << i;
    if (i) {
      EXPECT_GE(t[i], t[i - 1]);
    }
  }
  BuildCurve(252, 0, t);
  EXPECT_EQ(t[0], 0);
  EXPECT_LT(t[128], 40);
  EXPECT_EQ(t[255], std::clamp(2 * t[254] - t[253], 0, 255));
}

TEST(Speed, StillPointerReadsSlowestFromTheThirdEvent) {
  ResetStrokeContext();
  SetSpeedCurve(0, 0, 35);
  for (bool invert : {false, true}) {
    StrokeCtx.speedInvert = invert;
    Speed = SpeedState{};
    SpeedInput(1.0, 0, 0);
    int moving = SpeedInput(1.5, 12, 16);  // 20 pixels in 50 cs at scale 35
    int kept = SpeedCurve[14];
    EXPECT_EQ(moving, invert ? kept : 255 - kept);
    EXPECT_EQ(SpeedInput(2.0, 12, 16), moving);
    EXPECT_EQ(SpeedInput(2.5, 12, 16), moving);
    EXPECT_EQ(SpeedInput(3.0, 12, 16), invert ? 0 : 255);
    // Too little time since the last reading keeps it.
    EXPECT_EQ(SpeedInput(1.5000001, 60, 0), moving);
    // Fast enough to cap the index.
    EXPECT_EQ(SpeedInput(1.6, 600, 0), invert ? SpeedCurve[255] : 255 - SpeedCurve[255]);
  }
}

TEST(Speed, InputsFromPressureAndSpeed) {
  ResetStrokeContext();
  auto inputs = [](int pressure, int speed) {
    UpdateStrokeInputs(pressure, speed);
    return std::pair(Inputs.size, Inputs.opacity);
  };
  EXPECT_EQ(inputs(-1, 90), std::pair(0, 255));
  EXPECT_EQ(inputs(100, 90), std::pair(100, 100));
  StrokeCtx.speedOn = true;
  EXPECT_EQ(inputs(-1, 90), std::pair(90, 90));     // a mouse: speed stands in
  EXPECT_EQ(inputs(100, 90), std::pair(100, 100));  // a tablet's pressure wins
  // Inverted speed reads high when fast and stands in for both: a mouse at rest lays nothing.
  StrokeCtx.speedInvert = true;
  EXPECT_EQ(inputs(-1, 90), std::pair(90, 90));
  EXPECT_EQ(Inputs.shown, 90);
  EXPECT_EQ(inputs(-1, 0), std::pair(0, 0));
  // With speed off a mouse keeps 0 and 255; a pressure that gives both alike is turned back.
  StrokeCtx.speedOn = false;
  EXPECT_EQ(inputs(-1, 90), std::pair(0, 255));
  EXPECT_EQ(inputs(100, 90), std::pair(100, 155));
  // A pen with pressure off is taken as a mouse: speed gives the tool pressure.
  StrokeCtx.speedInvert = false;
  StrokeCtx.speedOn = true;
  StrokeCtx.pressureOn = false;
  In.pressure = In.pressureLow = 100;
  EXPECT_GE(StrokeSpeedPressure(), 0);
  In.pressure = 255, In.pressureLow = 0;
}

}  // namespace
}  // namespace vela::test
