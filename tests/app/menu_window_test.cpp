// The main menu bar in a real window of the X server (xvfb-run in the test script).
#include "app_fixture.h"

namespace apptest {
namespace {

using MenuWindow = RealWindow;

// What a person sees of the window, as the X server shows it.
Png Capture(const fs::path& dir, const std::string& wid) {
  Png png;
  Sh("import -window " + wid + " '" + (dir / "x.png").string() + "' 2>/dev/null");
  ReadPng(dir / "x.png", &png);
  return png;
}

// A bar at the bottom stays there when the window is made smaller: the window then shows what a
// run started at that size shows, bar and page alike.
TEST_F(MenuWindow, ABottomBarFollowsTheWindowsNewSize) {
  const std::string style = "[MainMenu]\nStyle=1\n";
  fs::create_directories(dir_ / "home" / "configs");
  std::ofstream(dir_ / "home" / "configs" / "Standard.ini") << style;
  ASSERT_TRUE(Launch("PageWidth=200 PageHeight=120", true)) << "no window appeared";
  // The toolbar goes with a middle click; the pointer rests on the bar's empty end.
  Sh("sleep 0.5; xdotool mousemove --window " + wid_ + " 1000 400 sleep 0.3 click 2 sleep 0.3");
  Sh("xdotool windowsize " + wid_ + " 900 600 sleep 0.5 mousemove --window " + wid_ +
     " 700 590 sleep 0.5");
  const Png real = Capture(dir_, wid_);
  Stop();

  std::ofstream(dir_ / "home" / "configs" / "Standard.ini") << style;
  Write("e.txt", "key Space\nmove 700 590\n");
  ASSERT_EQ(Run("PageWidth=200 PageHeight=120 --size 900x600 --events e.txt --screenshot h.png"), 0)
      << Err();
  Png headless;
  ASSERT_TRUE(ReadPng(dir_ / "h.png", &headless));
  ASSERT_EQ(real.width, 900) << Slurp(dir_ / "log");
  ASSERT_EQ(real.height, 600);
  EXPECT_NE(real.Rgb(700, 590), real.Rgb(700, 560));  // the bar, not the background
  int differ = 0;
  for (int y = 0; y < 600; ++y)
    for (int x = 0; x < 900; ++x) differ += real.Rgb(x, y) != headless.Rgb(x, y);
  EXPECT_EQ(differ, 0);
}

}  // namespace
}  // namespace apptest
