// The main menu bar in a real window of the X server (xvfb-run in the test script).
#include <signal.h>

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

// A signal that comes while a pop-up is open ends the run in order: its settings are written
// and it exits with 0. The run is this process's child, so its exit status can be read.
TEST_F(MenuWindow, ASignalEndsTheRunThroughAnOpenMenu) {
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    setenv("HOME", dir_.c_str(), 1);
    setenv("VELA_SOCKET", Socket().c_str(), 1);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    if (chdir(dir_.c_str()) != 0 || !freopen("log", "w", stdout) || !freopen("log", "a", stderr))
      _exit(127);
    execl(VELA_EXE, VELA_EXE, "--home", "home", "--ini", "Vela.INI", static_cast<char*>(nullptr));
    _exit(127);
  }
  wid_ = WindowOf(std::to_string(child), true);
  int status = -1;
  if (wid_.empty()) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    FAIL() << "no window appeared";
  }
  // A setting changed in the run, to be found in its file afterwards.
  for (int i = 0; i < 100 && Ask("qd_savemode png").empty(); ++i) usleep(200000);
  const Png before = Capture(dir_, wid_);
  Sh("sleep 0.5");
  Click(15, 11);  // File opens under its title
  const Png open = Capture(dir_, wid_);
  EXPECT_NE(open.Rgb(8, 30), before.Rgb(8, 30));
  kill(child, SIGTERM);
  for (int i = 0; i < 100 && waitpid(child, &status, WNOHANG) == 0; ++i) usleep(100000);
  if (!WIFEXITED(status)) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    FAIL() << "the run did not end\n" << Slurp(dir_ / "log");
  }
  EXPECT_EQ(WEXITSTATUS(status), 0) << Slurp(dir_ / "log");
  EXPECT_NE(Slurp(dir_ / "home" / "configs" / "Standard.ini").find("SaveMode=28"),
            std::string::npos);
}

}  // namespace
}  // namespace apptest
