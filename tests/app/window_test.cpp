// The real window under an X server (xvfb-run in the test script), driven by synthetic X input.
#include "app_fixture.h"

namespace apptest {
namespace {

using Window = TempDirTest;

TEST_F(Window, TakesPointerInputAndPaintsThePage) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";

  SteadyPen(dir_ / "home");
  // The window libraries keep one-time allocations to the end; leaks are checked headless.
  std::string launch = "cd '" + dir_.string() + "' && ASAN_OPTIONS=detect_leaks=0 VELA_SOCKET='" +
                       (dir_ / "sock").string() + "' HOME='" + dir_.string() +
                       "' '" VELA_EXE
                       "' --home home --ini Vela.INI PageWidth=100 PageHeight=80 "
                       "--save-page page.png >log 2>&1 & echo $!";
  std::string pid = Sh(launch, nullptr, true);
  ASSERT_FALSE(pid.empty());

  std::string wid = WindowOf(pid);
  if (wid.empty()) {
    Sh("kill -9 " + pid);
    FAIL() << "no window appeared";
  }
  std::string geo = Sh("xdotool getwindowgeometry --shell " + wid);
  int w = 0, h = 0;
  std::istringstream lines(geo);
  for (std::string l; std::getline(lines, l);) {
    if (l.rfind("WIDTH=", 0) == 0) w = std::atoi(l.c_str() + 6);
    if (l.rfind("HEIGHT=", 0) == 0) h = std::atoi(l.c_str() + 7);
  }
  ASSERT_GT(w, 100);
  ASSERT_GT(h, 80);
  int px = (w - 100) / 2, py = (h - 80) / 2;
  auto at = [&](int x, int y) { return std::to_string(px + x) + " " + std::to_string(py + y); };
  // Left clicks paint A pen dots; a right click on the first erases it.
  // The window shows before the run reaches its loop; give start-up a moment.
  Sh("sleep 1; xdotool mousemove --window " + wid + " " + at(10, 12) +
     " sleep 0.2 click 1 sleep 0.2");
  Sh("xdotool mousemove --window " + wid + " " + at(30, 40) + " sleep 0.2 click 1 sleep 0.3");
  Sh("xdotool mousemove --window " + wid + " " + at(10, 12) + " sleep 0.3 click 3 sleep 0.3");
  StopRun(pid);

  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png)) << Slurp(dir_ / "log");
  EXPECT_EQ(png.Argb(10, 12), 0u);
  EXPECT_EQ(png.Argb(30, 40), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(50, 50), 0u);
}

}  // namespace
}  // namespace apptest

namespace apptest {
namespace {

// A person picks Layers > New Layer from the menu bar by the pointer, answers the Requester with
// a name and Return, and has the layer.
TEST_F(Window, AMenuPickAsksAndTheAnswerMakesTheLayer) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";
  const std::string socket = (dir_ / "sock").string();
  const std::string pid =
      Sh("cd '" + dir_.string() + "' && ASAN_OPTIONS=detect_leaks=0 VELA_SOCKET='" + socket +
             "' HOME='" + dir_.string() +
             "' '" VELA_EXE
             "' --home home --ini Vela.INI PageWidth=200 PageHeight=120 >log 2>&1 & echo $!",
         nullptr, true);
  ASSERT_FALSE(pid.empty());
  const std::string wid = WindowOf(pid, true);
  if (wid.empty()) {
    Sh("kill -9 " + pid);
    FAIL() << "no window appeared";
  }
  auto ask = [&](const std::string& command) {
    return ShTrim("VELA_SOCKET='" + socket + "' '" VELA_COMMAND_EXE "' --timeout 20 " + command +
                  " 2>/dev/null");
  };
  const std::string before = ask("qd_layercurrentid");
  // The bar's third title is Layers; its first row is New Layer.
  Sh("sleep 1; xdotool mousemove --window " + wid + " 101 11 sleep 0.2 click 1 sleep 0.5");
  Sh("xdotool mousemove --window " + wid + " 130 33 sleep 0.3 click 1 sleep 0.5");
  Sh("xdotool type --delay 50 Sky; sleep 0.2; xdotool key Return; sleep 0.5");
  const std::string id = ask("qd_layercurrentid");
  EXPECT_NE(id, before);
  const std::string info = ask("qd_layerinfo " + id);
  EXPECT_NE(info.find("\"Sky\""), std::string::npos) << info << "\n" << Slurp(dir_ / "log");
  StopRun(pid);
}

}  // namespace
}  // namespace apptest

namespace apptest {
namespace {

// A person makes a layer, adds an image, draws on both through the Layers window's time-line
// and steps between them there. The Layers window opens by its key at its default place: the
// bottom of the 1280 by 800 window, 136 from the left, its cells on the row 175 below its top.
TEST_F(Window, TheLayersWindowStepsBetweenTheImagesOfALayer) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";
  SteadyPen(dir_ / "home");
  const std::string socket = (dir_ / "sock").string();
  const std::string pid =
      Sh("cd '" + dir_.string() + "' && ASAN_OPTIONS=detect_leaks=0 VELA_SOCKET='" + socket +
             "' HOME='" + dir_.string() +
             "' '" VELA_EXE
             "' --home home --ini Vela.INI PageWidth=200 PageHeight=120 >log 2>&1 & echo $!",
         nullptr, true);
  ASSERT_FALSE(pid.empty());
  const std::string wid = WindowOf(pid);
  if (wid.empty()) {
    Sh("kill -9 " + pid);
    FAIL() << "no window appeared";
  }
  auto ask = [&](const std::string& command) {
    return ShTrim("VELA_SOCKET='" + socket + "' '" VELA_COMMAND_EXE "' --timeout 20 " + command +
                  " 2>/dev/null");
  };
  auto click = [&](int x, int y) {
    Sh("xdotool mousemove --window " + wid + " " + std::to_string(x) + " " + std::to_string(y) +
       " sleep 0.2 click 1 sleep 0.4");
  };
  const int cellY = 580 + 175, cell0 = 136 + 42, cell1 = cell0 + 38;
  const int pageX = (1280 - 200) / 2, pageY = (800 - 120) / 2;
  Sh("sleep 0.5; xdotool key shift+n sleep 0.4 type Anim; xdotool key Return sleep 0.3 key "
     "shift+i sleep 0.3 key 0 sleep 0.5");
  click(cell0, cellY);
  click(pageX + 20, pageY + 20);
  click(cell1, cellY);
  click(pageX + 60, pageY + 60);
  EXPECT_EQ(ask("qd_layergetimage"), "1");
  EXPECT_EQ(ask("qd_getpixel 60 60"), "255 0 0 255") << Slurp(dir_ / "log");
  EXPECT_EQ(ask("qd_getpixel 20 20"), "0 0 0 0");
  click(cell0, cellY);
  EXPECT_EQ(ask("qd_layergetimage"), "0");
  EXPECT_EQ(ask("qd_getpixel 20 20"), "255 0 0 255");
  EXPECT_EQ(ask("qd_getpixel 60 60"), "0 0 0 0");
  StopRun(pid);
}

}  // namespace
}  // namespace apptest
