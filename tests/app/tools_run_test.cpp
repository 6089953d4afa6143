// The shape tools chosen by their keys and driven by an event file draw their figures on the
// page, and the rubber bands they show on the way leave no trace there.
#include "app_fixture.h"

namespace apptest {
namespace {

// A page of 200 by 160 on the headless screen of 1280 by 800 starts at (540, 320).
std::string At(int x, int y) {
  return std::to_string(540 + x) + " " + std::to_string(320 + y);
}

std::string Drag(const char* key, int x0, int y0, int x1, int y1) {
  return std::string("key ") + key + "\nwait 20\nmove " + At(x0, y0) + "\nwait 20\ndown left\n" +
         "wait 20\nmove " + At((x0 + x1) / 2, (y0 + y1) / 2) + "\nwait 20\nmove " + At(x1, y1) +
         "\nwait 20\nup left\nwait 20\n";
}

TEST_F(VelaRun, ShapeKeysAndDragsDrawTheirFigures) {
  std::string ev = Drag("V", 10, 20, 100, 20) +   // line
                   Drag("R", 20, 40, 80, 70) +    // rectangle
                   Drag("E", 150, 60, 180, 80) +  // ellipse of radii 30 and 20
                   Drag("C", 50, 120, 50, 140);   // circle of radius 20
  // Spline: the two ends by a drag, then the middle point by a click.
  ev += Drag("Q", 100, 150, 190, 150) + "move " + At(145, 110) + "\nwait 20\ndown left\nwait 20\n" +
        "up left\nwait 20\n";
  // Point: a click.
  ev += "key S\nwait 20\nmove " + At(180, 20) + "\nwait 20\ndown left\nwait 20\nup left\nwait 20\n";
  Write("ev.txt", ev);
  const std::string args = "PageWidth=200 PageHeight=160 --events ev.txt --save-page ";
  ASSERT_EQ(Run(args + "a.png"), 0) << Err();
  ASSERT_EQ(Run(args + "b.png"), 0) << Err();
  EXPECT_EQ(Slurp(dir_ / "a.png"), Slurp(dir_ / "b.png"));

  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "a.png", &png));
  const uint32_t red = 0xFFFF0000u;
  struct Spot {
    int x, y;
    bool painted;
  } spots[] = {
      {50, 20, true},   {10, 20, true},    {100, 20, true},  {50, 30, false},    // line
      {20, 55, true},   {80, 55, true},    {50, 40, true},   {50, 55, false},    // rectangle
      {180, 60, true},  {150, 80, true},   {150, 60, false}, {165, 60, false},   // ellipse
      {50, 140, true},  {70, 120, true},   {50, 120, false},                     // circle
      {145, 110, true}, {100, 150, true},  {190, 150, true}, {145, 135, false},  // spline
      {180, 20, true},  {180, 30, false},                                        // point
      {5, 100, false},  {120, 100, false},
  };
  for (const Spot& s : spots)
    if (s.painted)
      EXPECT_EQ(png.Argb(s.x, s.y), red) << s.x << "," << s.y;
    else
      EXPECT_EQ(png.Alpha(s.x, s.y), 0) << s.x << "," << s.y;
}

// The example draws a figure with each tool; its erase line cuts the Airbrush ring.
TEST_F(VelaRun, ToolsExampleDrawsEachFigure) {
  fs::path example = fs::path(VELA_SOURCE_DIR) / "examples" / "tools.vcmd";
  ASSERT_EQ(
      Run("PageWidth=1280 PageHeight=720 --script '" + example.string() + "' --save-page page.png"),
      0)
      << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
  ASSERT_EQ(png.width, 1280);
  EXPECT_EQ(png.Argb(140, 40), 0xFF14141Eu);    // the first Pen line
  EXPECT_EQ(png.Argb(1080, 300), 0xFF282828u);  // the rectangle's top side
  EXPECT_GT(png.Alpha(230, 370), 0);            // the Airbrush ring
  EXPECT_EQ(png.Alpha(150, 460), 0);            // and the line erased across it
  EXPECT_EQ(png.Alpha(230, 460), 0);            // its middle was never painted
}

}  // namespace
}  // namespace apptest
