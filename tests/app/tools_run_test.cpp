// The shape tools chosen by their keys and driven by an event file draw their figures on the
// page, and the rubber bands they show on the way leave no trace there.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

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
  SteadyPen(dir_ / "home");
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

// The Pen as it comes reads the pointer's speed for both size and opacity: a slow drag lays next to
// nothing, a fast one builds to full paint. 40 pixels a second at the Limit of 25 reads 10 of 255;
// 30 pixels a centisecond passes the top of the curve.
TEST_F(VelaRun, DefaultPenFollowsThePointersSpeed) {
  Write("ev.txt", "move " + At(20, 40) + "\nwait 1000\ndown left\nwait 1000\nmove " + At(60, 40) +
                      "\nwait 1000\nmove " + At(100, 40) + "\nwait 1000\nup left\nwait 1000\n" +
                      "move " + At(20, 100) + "\nwait 1000\ndown left\nwait 10\nmove " +
                      At(50, 100) + "\nwait 10\nmove " + At(80, 100) + "\nwait 10\nmove " +
                      At(110, 100) + "\nwait 10\nup left\n");
  ASSERT_EQ(Run("PageWidth=200 PageHeight=160 --events ev.txt --save-page p.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &png));
  EXPECT_LT(png.Alpha(60, 40), 40) << "slow: next to nothing";
  EXPECT_LT(png.Alpha(90, 40), 40);
  EXPECT_GT(png.Alpha(100, 100), 230) << "fast: full paint";
}

// Shift d asks the current shape's settings in a Requester that the event file answers: "3" is
// "3 Points", and three clicks give the circle through them, centre (100, 80) and radius 60.
TEST_F(VelaRun, ShiftDAsksTheCirclesSettings) {
  std::string ev = "key c\nwait 50\nkey shift+d\nwait 50\n";
  for (int i = 0; i < 6; ++i) ev += "key Backspace\n";
  ev += "char 3\nkey Return\nwait 50\n";
  for (auto [x, y] : {std::pair{100, 20}, std::pair{40, 80}, std::pair{100, 140}})
    ev += "move " + At(x, y) + "\nwait 50\ndown left\nwait 50\nup left\nwait 50\n";
  Write("ev.txt", ev);
  ASSERT_EQ(Run("PageWidth=200 PageHeight=160 --events ev.txt --save-page p.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &png));
  EXPECT_EQ(png.Argb(160, 80), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(100, 140), 0xFFFF0000u);
  EXPECT_EQ(png.Alpha(100, 80), 0);
  EXPECT_NE(Slurp(dir_ / "home" / "configs" / "Standard.ini").find("Circle=3 Points"),
            std::string::npos);
}

// The example draws a figure with each of the eight tools and each shape; the wet tools' strokes
// leave what was drawn before them, its erase line cuts the Airbrush ring, and the rubber band
// leaves no trace.
TEST_F(VelaRun, ToolsExampleDrawsEachFigure) {
  fs::path example = fs::path(VELA_SOURCE_DIR) / "examples" / "tools.vcmd";
  ASSERT_EQ(
      Run("PageWidth=1280 PageHeight=720 --script '" + example.string() + "' --save-page page.png"),
      0)
      << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
  ASSERT_EQ(png.width, 1280);
  EXPECT_EQ(png.Argb(140, 40), 0xFF14141Eu);   // the first Pen line, qd_setapen 20 20 30
  EXPECT_EQ(png.Argb(160, 600), 0xFF282828u);  // the outlined rectangle's top side
  EXPECT_GT(png.Alpha(160, 210), 0);           // the Airbrush ring
  EXPECT_EQ(png.Alpha(100, 270), 0);           // and the line erased across it
  EXPECT_EQ(png.Alpha(160, 270), 0);           // its middle was never painted
  EXPECT_GT(png.Alpha(340, 320), 0);           // Water Color, Oil and Gouache
  EXPECT_GT(png.Alpha(800, 210), 0);
  EXPECT_GT(png.Alpha(1120, 220), 0);
  // The filled forms in their pens, and the star's outside left empty.
  EXPECT_EQ(png.Argb(160, 475), 0xFF00968Cu);
  EXPECT_EQ(png.Argb(470, 475), 0xFFE67800u);
  EXPECT_EQ(png.Argb(800, 475), 0xFF7828B4u);
  EXPECT_EQ(png.Argb(1110, 480), 0xFFD21E3Cu);
  EXPECT_EQ(png.Alpha(1040, 400), 0);
  EXPECT_EQ(png.Alpha(640, 590), 0);
}

// The same keys and drags given in the real window paint the page the event file paints.
class ShapeWindow : public TempDirTest {};

TEST_F(ShapeWindow, KeysAndDragsPaintAsTheEventFile) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";
  // A 400 by 300 screen puts the 200 by 160 page at (100, 70).
  // A second r turns the rectangle filled; d draws freehand with the Pen.
  struct Move {
    std::vector<const char*> keys;
    int x0, y0, x1, y1;
  } moves[] = {{{"v"}, 10, 20, 100, 20},         {{"r"}, 20, 40, 80, 70},
               {{"e"}, 150, 60, 180, 80},        {{"c"}, 50, 120, 50, 140},
               {{"r", "r"}, 120, 100, 140, 120}, {{"d"}, 150, 140, 190, 110}};
  auto at = [](int x, int y) { return std::to_string(100 + x) + " " + std::to_string(70 + y); };
  std::string ev;
  for (const Move& m : moves) {
    for (const char* k : m.keys) ev += std::string("key ") + k + "\nwait 200\n";
    ev += "move " + at(m.x0, m.y0) + "\nwait 200\ndown left\nwait 200\nmove " + at(m.x1, m.y1) +
          "\nwait 200\nup left\nwait 200\n";
  }
  Write("ev.txt", ev);
  SteadyPen(dir_ / "home");
  auto common = [this](const std::string& tag) {
    return "VELA_SOCKET='" + (dir_ / (tag + ".sock")).string() + "' HOME='" + dir_.string() +
           "' '" VELA_EXE "' --home '" + (dir_ / "home").string() + "' --ini '" +
           (dir_ / "Vela.INI").string() + "' --size 400x300 PageWidth=200 PageHeight=160 " +
           "--save-page '" + (dir_ / (tag + ".png")).string() + "'";
  };
  ASSERT_EQ(std::system(("env -u DISPLAY " + common("headless") + " --events '" +
                         (dir_ / "ev.txt").string() + "' >'" + (dir_ / "hlog").string() + "' 2>&1")
                            .c_str()),
            0);
  std::string pid = ShTrim("ASAN_OPTIONS=detect_leaks=0 " + common("window") + " >'" +
                           (dir_ / "log").string() + "' 2>&1 & echo $!");
  ASSERT_FALSE(pid.empty());
  std::string wid = WindowOf(pid);
  if (wid.empty()) {
    ShTrim("kill -9 " + pid);
    FAIL() << "no window appeared";
  }
  std::string drive = "sleep 1; xdotool";
  for (const Move& m : moves) {
    for (const char* k : m.keys)
      drive += std::string(" key --window ") + wid + " " + k + " sleep 0.3";
    drive += " mousemove --window " + wid + " " + at(m.x0, m.y0) +
             " sleep 0.3 mousedown 1 sleep 0.3 mousemove --window " + wid + " " + at(m.x1, m.y1) +
             " sleep 0.3 mouseup 1 sleep 0.3";
  }
  ShTrim(drive);
  StopRun(pid);
  Png a, b;
  ASSERT_TRUE(ReadPng(dir_ / "headless.png", &a)) << Slurp(dir_ / "hlog");
  ASSERT_TRUE(ReadPng(dir_ / "window.png", &b)) << Slurp(dir_ / "log");
  ASSERT_EQ(a.bytes.size(), b.bytes.size());
  EXPECT_TRUE(a.bytes == b.bytes);
  EXPECT_EQ(a.Argb(50, 20), 0xFFFF0000u);
  EXPECT_EQ(a.Argb(180, 60), 0xFFFF0000u);
  EXPECT_EQ(a.Argb(130, 110), 0xFFFF0000u);  // inside the filled rectangle
  EXPECT_EQ(a.Argb(170, 125), 0xFFFF0000u);  // on the freehand line
}

// Figures far larger than any page neither hang, nor take memory by their size, nor overflow.
TEST_F(VelaRun, HugeFiguresAreCheap) {
  Write("big.vcmd",
        "qd_ghostline 0 0 30000000 0\n"
        "qd_ghostline -2000000000 -2000000000 2000000000 2000000000\n"
        "qd_circle 100 100 50000\n"
        "qd_circle 100 100 300000000\n"
        "qd_circle 100 100 30\n"
        "qd_getpixel 130 100\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --script big.vcmd"), 0) << Err();
  EXPECT_EQ(Out(), "\n\n\n\n\n255 0 0 255\n");
}

// Escape ends a spline in progress through the pointer's middle point, also when the key comes in
// the batch of the move that no step has seen; a later click begins anew.
TEST_F(VelaRun, EscapeEndsTheSplineInProgress) {
  Write("esc.txt",
        "key q\nmove 560 350\ndown left\nmove 600 350\nmove 720 350\nup left\nwait 50\n"
        "move 640 450\nkey Escape\nwait 50\nmove 640 320\nwait 50\ndown left\nup left\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --events esc.txt --save-page p.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &png));
  // Ends at page (80, 50) and (240, 50), middle point (160, 150): the curve's lowest point.
  EXPECT_EQ(png.Alpha(160, 148), 255);
  EXPECT_EQ(png.Alpha(160, 20), 0) << "no curve towards the later click";
}

}  // namespace
}  // namespace apptest
