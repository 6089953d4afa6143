// The real window under an X server (xvfb-run in the test script), driven by synthetic X input.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string Sh(const std::string& cmd, int* status = nullptr) {
  std::string out;
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return out;
  char buf[512];
  while (fgets(buf, sizeof buf, p)) out += buf;
  int st = pclose(p);
  if (status) *status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  return out;
}

TEST(Window, TakesPointerInputAndPaintsThePage) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";

  fs::path dir = fs::temp_directory_path() / ("vela-window-" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  fs::path page = dir / "page.png";
  // The window libraries keep one-time allocations to the end; leaks are checked headless.
  std::string launch = "ASAN_OPTIONS=detect_leaks=0 HOME='" + dir.string() + "' '" VELA_EXE "' --home '" + (dir / "home").string() +
                       "' --ini '" + (dir / "Vela.INI").string() +
                       "' PageWidth=100 PageHeight=80 --save-page '" + page.string() + "' >'" +
                       (dir / "log").string() + "' 2>&1 & echo $!";
  std::string pid = Sh(launch);
  while (!pid.empty() && (pid.back() == '\n')) pid.pop_back();
  ASSERT_FALSE(pid.empty());

  int st = 0;
  std::string wid = Sh("timeout 20 xdotool search --sync --onlyvisible --pid " + pid + " | head -1", &st);
  while (!wid.empty() && wid.back() == '\n') wid.pop_back();
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
  // A left click paints an A pen dot; a right click a B pen dot.
  // The window shows before the run reaches its loop; give start-up a moment.
  Sh("sleep 1; xdotool mousemove --window " + wid + " " + at(10, 12) + " sleep 0.2 click 1 sleep 0.2");
  Sh("xdotool mousemove --window " + wid + " " + at(30, 40) + " sleep 0.2 click 3 sleep 0.3");
  Sh("kill -TERM " + pid);
  for (int i = 0; i < 100 && Sh("kill -0 " + pid + " 2>/dev/null; echo $?") == "0\n"; ++i) usleep(100000);

  png_image img{};
  img.version = PNG_IMAGE_VERSION;
  ASSERT_TRUE(png_image_begin_read_from_file(&img, page.c_str())) << Sh("cat '" + (dir / "log").string() + "'");
  img.format = PNG_FORMAT_RGBA;
  std::vector<uint8_t> px4(PNG_IMAGE_SIZE(img));
  ASSERT_TRUE(png_image_finish_read(&img, nullptr, px4.data(), 0, nullptr));
  auto pixel = [&](int x, int y) {
    const uint8_t* p = &px4[(static_cast<size_t>(y) * img.width + x) * 4];
    return (static_cast<uint32_t>(p[3]) << 24) | (p[0] << 16) | (p[1] << 8) | p[2];
  };
  EXPECT_EQ(pixel(10, 12), 0xFFFF0000u);
  EXPECT_EQ(pixel(30, 40), 0xFF000000u);
  EXPECT_EQ(pixel(50, 50), 0u);
  fs::remove_all(dir);
}

}  // namespace
