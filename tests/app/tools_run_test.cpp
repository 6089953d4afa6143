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

// The same keys and drags given in the real window paint the page the event file paints.
class ShapeWindow : public TempDirTest {};

TEST_F(ShapeWindow, KeysAndDragsPaintAsTheEventFile) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";
  // A 400 by 300 screen puts the 200 by 160 page at (100, 70).
  struct Move {
    const char* key;
    int x0, y0, x1, y1;
  } moves[] = {{"v", 10, 20, 100, 20},
               {"r", 20, 40, 80, 70},
               {"e", 150, 60, 180, 80},
               {"c", 50, 120, 50, 140}};
  auto at = [](int x, int y) { return std::to_string(100 + x) + " " + std::to_string(70 + y); };
  std::string ev;
  for (const Move& m : moves)
    ev += std::string("key ") + m.key + "\nwait 200\nmove " + at(m.x0, m.y0) +
          "\nwait 200\ndown left\nwait 200\nmove " + at(m.x1, m.y1) +
          "\nwait 200\nup left\nwait 200\n";
  Write("ev.txt", ev);
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
  for (const Move& m : moves)
    drive += std::string(" key --window ") + wid + " " + m.key + " sleep 0.3 mousemove --window " +
             wid + " " + at(m.x0, m.y0) + " sleep 0.3 mousedown 1 sleep 0.3 mousemove --window " +
             wid + " " + at(m.x1, m.y1) + " sleep 0.3 mouseup 1 sleep 0.3";
  ShTrim(drive);
  StopRun(pid);
  Png a, b;
  ASSERT_TRUE(ReadPng(dir_ / "headless.png", &a)) << Slurp(dir_ / "hlog");
  ASSERT_TRUE(ReadPng(dir_ / "window.png", &b)) << Slurp(dir_ / "log");
  ASSERT_EQ(a.bytes.size(), b.bytes.size());
  EXPECT_TRUE(a.bytes == b.bytes);
  EXPECT_EQ(a.Argb(50, 20), 0xFFFF0000u);
  EXPECT_EQ(a.Argb(180, 60), 0xFFFF0000u);
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

// Escape ends a spline in progress through the pointer's middle point; a later click begins anew.
TEST_F(VelaRun, EscapeEndsTheSplineInProgress) {
  Write("esc.txt",
        "key q\nmove 560 350\ndown left\nmove 600 350\nmove 720 350\nup left\nwait 50\n"
        "move 640 450\nwait 50\nkey Escape\nwait 50\nmove 640 320\nwait 50\ndown left\nup left\n");
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --events esc.txt --save-page p.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &png));
  // Ends at page (80, 50) and (240, 50), middle point (160, 150): the curve's lowest point.
  EXPECT_EQ(png.Alpha(160, 148), 255);
  EXPECT_EQ(png.Alpha(160, 20), 0) << "no curve towards the later click";
}

}  // namespace
}  // namespace apptest
