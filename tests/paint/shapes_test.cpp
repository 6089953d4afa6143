// The shape tools driven by synthetic input states: phases, the constrain filter, rubber bands,
// the ellipse walker, the spline and the three-point circle.
#include "paint/shapes.h"

#include <gtest/gtest.h>

#include <cmath>

#include "paint_fixture.h"
#include "start/input.h"
#include "start/main_loop.h"

namespace vela::test {
namespace {

class ShapeTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    page_.reset(NewBlock(120, 100));
    Ws.page = page_.get();
    Ws.drawMode = DrawColor;
    Ws.noPage = 1;
    AntialiasOn = 0;
    In = InputState{};
    Inputs = StrokeInputs{};
    Shape = ShapeState{};
    Shapes = ShapeSettings{};
    Constrain = ConstrainState{};
    StrokeCtx.penRadius = 0;
    SetCurrentBrush(MakePenBrush(0));
  }
  void TearDown() override {
    EndShapeTool(0);
    RegionFill = nullptr;
    PaintTest::TearDown();
  }

  // One step of tool with the pointer at (x, y). edge: 1 left press, 2 right press; down: the
  // buttons held after the event; a release is an event whose button is no longer held.
  void Step(void (*tool)(), int x, int y, int leftDown, int rightDown = 0, int edge = 0,
            bool shift = false) {
    bool released = (In.leftDown && !leftDown) || (In.rightDown && !rightDown);
    In.clickState = edge ? edge : released ? (In.leftDown ? -1 : -2) : 0;
    In.leftEdge = edge == 1, In.rightEdge = edge == 2;
    In.leftDown = leftDown, In.rightDown = rightDown;
    In.pageX = x, In.pageY = y;
    In.pageXF = F(x), In.pageYF = F(y);
    In.shift = shift;
    tool();
  }
  // The pointer moves in the batch of a key, with no step of the tool.
  void MoveOnly(int x, int y) {
    In.pageX = x, In.pageY = y;
    In.pageXF = F(x), In.pageYF = F(y);
  }
  void Drag(void (*tool)(), int x0, int y0, int x1, int y1) {
    Step(tool, x0, y0, 1, 0, 1);
    Step(tool, (x0 + x1) / 2, (y0 + y1) / 2, 1);
    Step(tool, x1, y1, 0);
  }

  Pixels PaintedPixels() const { return Painted(page_.get()); }
  struct RimStep {
    int x, y, nx, ny, cov;
  };
  static std::vector<RimStep> Walk(int a, int b) {
    std::vector<RimStep> out;
    WalkEllipse(
        a, b,
        [](int x, int y, int nx, int ny, int cov, void* u) {
          static_cast<std::vector<RimStep>*>(u)->push_back({x, y, nx, ny, cov});
        },
        &out);
    return out;
  }
  static Pixels RimPixels(int cx, int cy, int a, int b) {
    Pixels out;
    for (const RimStep& s : Walk(a, b)) out.insert({cx + s.x, cy + s.y});
    return out;
  }
  void Clear() { Fill(page_.get(), 0); }
  // Shade darkens by one a pass: the pixels a grey page shows changed, each by one pass only.
  void Grey(int penRadius) {
    SetCurrentBrush(MakePenBrush(penRadius));
    Ws.drawMode = DrawShade;
    Fill(page_.get(), 0xFF808080u);
  }
  Pixels ShadedOnce() const {
    Pixels out;
    for (int y = 0; y < page_->height; ++y)
      for (int x = 0; x < page_->width; ++x)
        if (page_->Row(y)[x] != 0xFF808080u) {
          out.insert({x, y});
          EXPECT_EQ(page_->Row(y)[x], 0xFF7F7F7Fu) << "one pass only at " << x << "," << y;
        }
    return out;
  }

  BlockPtr page_;
};

TEST_F(ShapeTest, ConstrainWaitsForSixteenPixelsThenHoldsOneDirection) {
  struct Case {
    int dx, dy;
    int32_t direction;
  } cases[] = {
      {15, 9, ConstrainNone},                                      // under 16 in both axes: free
      {16, 6, ConstrainHorizontal},                                // 0.375 < 0.414
      {16, 7, ConstrainDiagonalDown},                              // 0.4375
      {0, -16, ConstrainVertical},    {6, 16, ConstrainVertical},  // 2.67 ≥ 2.414
      {7, 16, ConstrainDiagonalDown},                              // 2.29
      {-16, 10, ConstrainDiagonalUp}, {17, -12, ConstrainDiagonalUp},
  };
  for (const Case& c : cases) {
    Constrain = ConstrainState{};
    ConstrainAnchor(F(50), F(50));
    Constrain.held = true;
    int32_t x = F(50 + c.dx), y = F(50 + c.dy), o = F(50);
    ConstrainPointer(true, &x, &y);
    EXPECT_EQ(Constrain.direction, c.direction) << c.dx << "," << c.dy;
    bool on = c.direction == ConstrainNone           ? x == F(50 + c.dx) && y == F(50 + c.dy)
              : c.direction == ConstrainHorizontal   ? y == o
              : c.direction == ConstrainVertical     ? x == o
              : c.direction == ConstrainDiagonalDown ? y - o == x - o
                                                     : y - o == o - x;
    EXPECT_TRUE(on) << c.dx << "," << c.dy;
  }
  // Held: a later move back near the anchor, or across, stays on the line until the key goes up.
  Constrain = ConstrainState{};
  ConstrainAnchor(F(50), F(50));
  Constrain.held = true;
  int32_t x = F(70), y = F(52);
  ConstrainPointer(true, &x, &y);
  x = F(40), y = F(90);
  ConstrainPointer(true, &x, &y);
  EXPECT_EQ(y, F(50));
  ConstrainPointer(false, &x, &y);
  x = F(40), y = F(90);
  ConstrainPointer(false, &x, &y);
  EXPECT_EQ(y, F(90));
}

TEST_F(ShapeTest, LineShowsABandWhileHeldAndDrawsAtRelease) {
  Step(LineToolStep, 10, 20, 1, 0, 1);
  Step(LineToolStep, 30, 25, 1);
  EXPECT_FALSE(OverlayPixels().empty());
  EXPECT_TRUE(PaintedPixels().empty()) << "the band must not reach the page";
  Step(LineToolStep, 40, 20, 0);
  EXPECT_TRUE(OverlayPixels().empty());
  EXPECT_EQ(PaintedPixels(), RowOf(10, 40, 20));
  EXPECT_EQ(page_->Row(20)[25], Draw.APen);
  EXPECT_EQ(Shape.phase, 0);

  // The right button erases the same line.
  Step(LineToolStep, 10, 20, 0, 1, 2);
  Step(LineToolStep, 40, 20, 0, 0);
  EXPECT_TRUE(PaintedPixels().empty());

  // With shift the end snaps to the anchor's row.
  Step(LineToolStep, 10, 20, 1, 0, 1, true);
  Step(LineToolStep, 40, 26, 1, 0, 0, true);
  Step(LineToolStep, 60, 27, 0, 0, 0, true);
  EXPECT_EQ(PaintedPixels(), RowOf(10, 60, 20));
}

TEST_F(ShapeTest, RectangleOutlinesItsCornersInAnyOrder) {
  Pixels want = RowOf(10, 20, 10);
  want.merge(RowOf(10, 20, 15));
  for (int y = 10; y <= 15; ++y) want.insert({10, y}), want.insert({20, y});
  Drag(RectangleToolStep, 10, 10, 20, 15);
  EXPECT_EQ(PaintedPixels(), want);
  Clear();
  Drag(RectangleToolStep, 20, 15, 10, 10);
  EXPECT_EQ(PaintedPixels(), want);
  Clear();
  DrawRectangleOutline(20, 10, 10, 15, Draw.APen, false);
  EXPECT_EQ(PaintedPixels(), want);
}

// Filled forms hand their region to the fill installed; without one they fill solid in their pen,
// or erase with the right button.
TEST_F(ShapeTest, FilledFormsGoToTheFillOrFillSolid) {
  for (int tool : {kToolRectangle, kToolEllipse, kToolDraw}) ToggleShapeFilled(tool);
  static std::vector<FillRegion> seen;
  seen.clear();
  RegionFill = [](const FillRegion& r, Pixel, bool) {
    seen.push_back(r);
    return 0;
  };
  Drag(RectangleToolStep, 30, 40, 12, 8);
  Drag(EllipseToolStep, 50, 50, 42, 56);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(std::vector<int>({seen[0].x0, seen[0].y0, seen[0].x1, seen[0].y1}),
            std::vector<int>({12, 8, 30, 40}));
  EXPECT_EQ(std::vector<int>({seen[1].cx, seen[1].cy, seen[1].rx, seen[1].ry}),
            std::vector<int>({50, 50, 8, 6}));
  EXPECT_TRUE(PaintedPixels().empty());
  RegionFill = nullptr;

  Drag(RectangleToolStep, 30, 40, 12, 8);
  Pixels want;
  for (int y = 8; y <= 40; ++y) want.merge(RowOf(12, 30, y));
  EXPECT_EQ(PaintedPixels(), want);
  EXPECT_EQ(page_->Row(20)[20], Draw.APen);
  Step(RectangleToolStep, 10, 10, 0, 1, 2);
  Step(RectangleToolStep, 40, 38, 0, 0);
  for (auto [x, y] : PaintedPixels()) EXPECT_TRUE(y < 10 || y > 38) << x << "," << y;
  EXPECT_EQ(PaintedPixels().size(), 19u * 4);  // rows 8, 9, 39 and 40 stay

  // The ellipse of radii 8 and 4: its rim and all within, nothing half a pixel outside.
  Clear();
  Drag(EllipseToolStep, 50, 50, 58, 54);
  auto px = PaintedPixels();
  for (auto p : RimPixels(50, 50, 8, 4)) EXPECT_TRUE(px.count(p)) << p.first << "," << p.second;
  for (int y = 40; y <= 60; ++y)
    for (int x = 35; x <= 65; ++x) {
      double e = std::pow((x - 50) / 8.0, 2) + std::pow((y - 50) / 4.0, 2);
      double outer = std::pow((x - 50) / 8.5, 2) + std::pow((y - 50) / 4.5, 2);
      if (e <= 1) {
        EXPECT_TRUE(px.count({x, y})) << x << "," << y;
      }
      if (outer > 1.05) {
        EXPECT_FALSE(px.count({x, y})) << x << "," << y;
      }
    }

  // Freehand: the pixels whose centres lie in the triangle (10, 10), (20, 10), (10, 20), taken
  // at the pixels' centres: row y runs from 10 to 29 - y, rows 10 to 19.
  Clear();
  Step(FreehandToolStep, 10, 10, 1, 0, 1);
  Step(FreehandToolStep, 20, 10, 1);
  Step(FreehandToolStep, 10, 20, 0);
  want.clear();
  for (int y = 10; y <= 19; ++y) want.merge(RowOf(10, 29 - y, y));
  EXPECT_EQ(PaintedPixels(), want);
  EXPECT_TRUE(OverlayPixels().empty());

  // A click is a polygon of one point: its pixel.
  Clear();
  Step(FreehandToolStep, 70, 70, 1, 0, 1);
  Step(FreehandToolStep, 70, 70, 0);
  EXPECT_EQ(PaintedPixels(), (Pixels{{70, 70}}));

  // Ending the tool mid-polygon closes it through the pointer.
  Clear();
  Step(FreehandToolStep, 10, 10, 1, 0, 1);
  Step(FreehandToolStep, 20, 10, 1);
  Step(FreehandToolStep, 20, 20, 1);
  MoveOnly(10, 20);
  EndShapeTool(kToolDraw);
  EXPECT_EQ(PaintedPixels().size(), 100u);
  EXPECT_TRUE(PaintedPixels().count({19, 19}));
  EXPECT_EQ(Shape.phase, 0);
}

TEST_F(ShapeTest, FreehandStampsOnceForAClickAndRunsThroughMidpoints) {
  Grey(2);
  Step(FreehandToolStep, 30, 30, 1, 0, 1);
  EXPECT_TRUE(ShadedOnce().empty()) << "the press only records";
  Step(FreehandToolStep, 30, 30, 0);
  // The midpoint disc of radius 2: rows of 3, 5, 5, 5 and 3 pixels.
  Pixels disc = RowOf(29, 31, 28);
  for (int y : {29, 30, 31}) disc.merge(RowOf(28, 32, y));
  disc.merge(RowOf(29, 31, 32));
  EXPECT_EQ(ShadedOnce(), disc);
  EXPECT_EQ(Shape.phase, 0);

  // A drag runs through the midpoints to the release.
  Clear();
  SetCurrentBrush(MakePenBrush(0));
  Ws.drawMode = DrawColor;
  Step(FreehandToolStep, 5, 5, 1, 0, 1);
  Step(FreehandToolStep, 15, 5, 1);
  Step(FreehandToolStep, 25, 5, 1);
  Step(FreehandToolStep, 35, 5, 1);
  Step(FreehandToolStep, 35, 5, 0);
  EXPECT_EQ(PaintedPixels(), RowOf(5, 35, 5));

  // A release that brings the first move with it still reaches the release point.
  Clear();
  Step(FreehandToolStep, 5, 50, 1, 0, 1);
  Step(FreehandToolStep, 45, 50, 0);
  EXPECT_EQ(PaintedPixels(), RowOf(5, 45, 50));
}

TEST_F(ShapeTest, PointStampsWhileHeldOrOnlyAtTheClick) {
  for (int single : {0, 1}) {
    Clear();
    Shapes.dottedSingle = single;
    Step(PointToolStep, 10, 10, 1, 0, 1);
    Step(PointToolStep, 20, 10, 1);
    Step(PointToolStep, 30, 10, 1);
    Step(PointToolStep, 30, 10, 0);
    EXPECT_EQ(PaintedPixels(), (single ? Pixels{{10, 10}} : Pixels{{10, 10}, {20, 10}, {30, 10}}));
  }
  // The pen is the held button's: letting go of one while the other stays down switches pens.
  Shapes.dottedSingle = 0;
  const Pixel green = 0xFF00FF00u;
  for (int x : {40, 50, 60, 70, 80, 90}) page_->Row(40)[x] = green;
  Step(PointToolStep, 40, 40, 1, 0, 1);
  Step(PointToolStep, 50, 40, 1, 1);
  Step(PointToolStep, 60, 40, 0, 1);
  Step(PointToolStep, 60, 40, 0, 0);
  Step(PointToolStep, 70, 40, 0, 1, 2);
  Step(PointToolStep, 80, 40, 1, 1);
  Step(PointToolStep, 90, 40, 1, 0);
  Step(PointToolStep, 90, 40, 0, 0);
  const Pixel* row = page_->Row(40);
  EXPECT_EQ(std::vector<Pixel>({row[40], row[50], row[60], row[70], row[80], row[90]}),
            std::vector<Pixel>({Draw.APen, Draw.APen, 0, 0, 0, Draw.APen}));
}

// The radius is the distance, truncated: 5 for 5, 4 for √20 = 4.47 and 5 for √32 = 5.66.
TEST_F(ShapeTest, CircleRadiusIsTheTruncatedDistance) {
  for (auto [x, y, r] : {std::array{53, 54, 5}, {54, 52, 4}, {54, 54, 5}}) {
    Clear();
    Drag(CircleToolStep, 50, 50, x, y);
    EXPECT_EQ(PaintedPixels(), RimPixels(50, 50, r, r)) << x << "," << y;
  }
}

TEST_F(ShapeTest, CircleOfRadiusZeroStampsOneBrush) {
  Grey(1);
  Drag(CircleToolStep, 40, 40, 40, 40);
  EXPECT_EQ(ShadedOnce(), (Pixels{{40, 39}, {39, 40}, {40, 40}, {41, 40}, {40, 41}}));
}

TEST_F(ShapeTest, ThreePointsGiveTheCircleThroughThem) {
  double cx, cy, r;
  auto near = [&](double x, double y, double radius) {
    return std::fabs(cx - x) + std::fabs(cy - y) + std::fabs(r - radius) < 1e-12;
  };
  ASSERT_TRUE(CircleThrough(0, 0, 10, 0, 0, 10, &cx, &cy, &r));
  EXPECT_TRUE(near(5, 5, std::sqrt(50.0)));
  ASSERT_TRUE(CircleThrough(3, 4, -5, 0, 0, -5, &cx, &cy, &r));
  EXPECT_TRUE(near(0, 0, 5));
  EXPECT_FALSE(CircleThrough(0, 0, 5, 5, 10, 10, &cx, &cy, &r));

  Shapes.circle3 = 1;
  Step(CircleToolStep, 60, 50, 1, 0, 1);
  Step(CircleToolStep, 60, 50, 0);
  Step(CircleToolStep, 50, 60, 1, 0, 1);
  Step(CircleToolStep, 50, 60, 0);
  Step(CircleToolStep, 42, 52, 0);
  EXPECT_FALSE(OverlayPixels().empty());
  EXPECT_TRUE(PaintedPixels().empty());
  Step(CircleToolStep, 40, 50, 1, 0, 1);
  EXPECT_TRUE(OverlayPixels().empty());
  EXPECT_EQ(PaintedPixels(), RimPixels(50, 50, 10, 10));
}

TEST_F(ShapeTest, WalkerRimStaysWithinHalfAPixelOfTheEllipse) {
  for (auto [a, b] : std::vector<std::pair<int, int>>{
           {1, 1}, {5, 5}, {10, 3}, {3, 10}, {40, 25}, {200, 200}, {1, 30}, {64, 2}}) {
    std::vector<RimStep> steps = Walk(a, b);
    Pixels unique;
    const double A = a, B = b;
    for (auto [x, y, nx, ny, cov] : steps) {
      unique.insert({x, y});
      // The offset along the axis the step moves across: y off the rim for a column, x for a row.
      double dy = std::fabs(std::fabs(y) - B * std::sqrt(std::max(0.0, 1 - x * x / (A * A))));
      double dx = std::fabs(std::fabs(x) - A * std::sqrt(std::max(0.0, 1 - y * y / (B * B))));
      EXPECT_LE(std::min(dx, dy), 0.5 + 1e-9) << a << "x" << b << " at " << x << "," << y;
      EXPECT_EQ(std::abs(nx - x) + std::abs(ny - y), 1);
      EXPECT_TRUE(cov >= 0 && cov <= 255);
    }
    EXPECT_EQ(unique.size(), steps.size()) << "no pixel twice, " << a << "x" << b;
    for (auto [x, y] : unique) EXPECT_TRUE(unique.count({-x, y}) && unique.count({x, -y}));
    EXPECT_TRUE(unique.count({a, 0}) && unique.count({0, b}) && unique.count({-a, 0}));
    // A closed rim: every pixel touches two others. A needle's tips touch one.
    if (std::min(a, b) < 3) continue;
    for (auto [x, y] : unique) {
      int n = 0;
      for (int dy = -1; dy <= 1; ++dy)
        for (int dx = -1; dx <= 1; ++dx) n += (dx || dy) && unique.count({x + dx, y + dy});
      EXPECT_GE(n, 2) << a << "x" << b << " at " << x << "," << y;
    }
  }
}

TEST_F(ShapeTest, FlatEllipseIsARunWithFallingCoverage) {
  std::vector<std::pair<int, int>> run;  // (x, coverage)
  for (const RimStep& s : Walk(4, 0)) {
    EXPECT_EQ(s.y, 0);
    run.push_back({s.x, s.cov});
  }
  EXPECT_EQ(
      run,
      (std::vector<std::pair<int, int>>{
          {0, 255}, {1, 191}, {2, 127}, {3, 63}, {4, 0}, {-1, 191}, {-2, 127}, {-3, 63}, {-4, 0}}));
}

TEST_F(ShapeTest, AntialiasedRimSharesPaintAcrossTheRim) {
  StrokeCtx.tool = ToolPropellingPencil;
  AntialiasOn = 1;
  Draw.power = 255;
  DrawEllipseOutline(60, 50, 30, 20, PenPixel(255, 255, 255), false);
  int partial = 0;
  for (int y = 0; y < page_->height; ++y)
    for (int x = 0; x < page_->width; ++x) {
      Pixel p = page_->Row(y)[x];
      if (!p) continue;
      double dx = (x - 60) / 30.0, dy = (y - 50) / 20.0;
      double e = std::sqrt(dx * dx + dy * dy);
      EXPECT_NEAR(e, 1.0, 0.1) << x << "," << y;
      partial += Alpha(p) < 255;
    }
  EXPECT_GT(partial, 50);
  EXPECT_GE(Alpha(page_->Row(50)[90]), 200);  // the rim lies on the pixel there
}

TEST_F(ShapeTest, SplineControlsFollowTheTension) {
  Fixed16 a{0, 0}, m{45 << 16, 30 << 16}, e{90 << 16, 0};
  SplinePieces s = SplineControls(a, m, e, 100);
  EXPECT_EQ((std::vector<int>{s.p[0][1].x, s.p[0][2].x, s.p[0][2].y, s.p[1][1].x, s.p[1][2].x}),
            (std::vector<int>{0, 15 << 16, 30 << 16, 75 << 16, 90 << 16}));
  s = SplineControls(a, m, e, 50);
  EXPECT_EQ(std::pair(s.p[0][2].x, s.p[1][1].x), std::pair(30 << 16, 60 << 16));
  EXPECT_EQ(SplineControls(a, m, e, 0).p[0][2].x, m.x);
}

TEST_F(ShapeTest, SplinePhasesEndsThenMiddle) {
  Step(SplineToolStep, 10, 60, 1, 0, 1);
  EXPECT_EQ(Shape.phase, 1);
  Step(SplineToolStep, 100, 60, 1);
  Step(SplineToolStep, 100, 60, 0);
  EXPECT_EQ(Shape.phase, 2);
  Step(SplineToolStep, 55, 20, 0);
  EXPECT_FALSE(OverlayPixels().empty());
  EXPECT_TRUE(PaintedPixels().empty());
  Step(SplineToolStep, 55, 30, 1, 0, 1);
  EXPECT_EQ(Shape.phase, 0);
  EXPECT_TRUE(OverlayPixels().empty());
  auto px = PaintedPixels();
  EXPECT_TRUE(px.count({10, 60}) && px.count({100, 60}) && px.count({55, 30}));
  for (auto [x, y] : px) EXPECT_TRUE(y >= 29 && y <= 60) << x << "," << y;

  // With the constrain key the press holds the middle until the release.
  Clear();
  Step(SplineToolStep, 10, 60, 1, 0, 1);
  Step(SplineToolStep, 100, 60, 0);
  Step(SplineToolStep, 55, 40, 1, 0, 1, true);
  EXPECT_EQ(Shape.phase, 3);
  Step(SplineToolStep, 55, 50, 1, 0, 0, false);
  EXPECT_TRUE(PaintedPixels().empty());
  Step(SplineToolStep, 55, 50, 0);
  EXPECT_TRUE(PaintedPixels().count({55, 50}));
}

TEST_F(ShapeTest, EndToolClosesASplineAndDropsALine) {
  Step(SplineToolStep, 10, 60, 1, 0, 1);
  Step(SplineToolStep, 100, 60, 0);
  Step(SplineToolStep, 55, 40, 0);
  MoveOnly(55, 20);  // a key in the same batch as the move ends the tool
  EndShapeTool(kToolSpline);
  EXPECT_TRUE(PaintedPixels().count({55, 20}));
  EXPECT_FALSE(PaintedPixels().count({55, 40})) << "the middle point follows the pointer";
  EXPECT_TRUE(OverlayPixels().empty());
  EXPECT_EQ(Shape.phase, 0);

  Clear();
  Step(LineToolStep, 10, 10, 1, 0, 1);
  Step(LineToolStep, 50, 10, 1);
  EndShapeTool(kToolLine);
  EXPECT_TRUE(OverlayPixels().empty());
  EXPECT_TRUE(PaintedPixels().empty());
  Step(LineToolStep, 50, 10, 0);
  EXPECT_TRUE(PaintedPixels().empty()) << "the ended line owes nothing at the release";
}

TEST_F(ShapeTest, PointListRunsFromFirstToLastPoint) {
  std::vector<Fixed16> line{{F(5), F(10)}, {F(40), F(10)}};
  DrawPointList(line, Draw.APen, false, 0, 0, 255, 255);
  EXPECT_EQ(PaintedPixels(), RowOf(5, 40, 10));

  Clear();
  std::vector<Fixed16> four{{F(5), F(20)}, {F(15), F(20)}, {F(30), F(20)}, {F(60), F(20)}};
  DrawPointList(four, Draw.APen, false, 0, 0, 255, 255);
  EXPECT_EQ(PaintedPixels(), RowOf(5, 60, 20));

  // A bend passes through the midpoints of the inner points, not the points themselves.
  Clear();
  std::vector<Fixed16> bend{{F(10), F(80)}, {F(30), F(40)}, {F(50), F(40)}, {F(70), F(80)}};
  DrawPointList(bend, Draw.APen, false, 0, 0, 255, 255);
  auto px = PaintedPixels();
  EXPECT_TRUE(px.count({10, 80}) && px.count({70, 80}) && px.count({40, 40}));
  EXPECT_FALSE(px.count({30, 40}));
}

}  // namespace
}  // namespace vela::test
