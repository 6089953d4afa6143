// A drag in the real window and the same drag from an event file paint the same picture; a
// scripted line is drawn as the pointer's is.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "app_fixture.h"

namespace {

using apptest::ShTrim;
using apptest::StopRun;
using apptest::WindowOf;

namespace fs = std::filesystem;

struct Image {
  int width = 0, height = 0;
  std::vector<uint8_t> rgba;
  uint32_t At(int x, int y) const {
    const uint8_t* p = &rgba[(static_cast<size_t>(y) * width + x) * 4];
    return (static_cast<uint32_t>(p[3]) << 24) | (p[0] << 16) | (p[1] << 8) | p[2];
  }
};

bool Read(const fs::path& path, Image* out) {
  png_image img{};
  img.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&img, path.c_str())) return false;
  img.format = PNG_FORMAT_RGBA;
  out->width = img.width;
  out->height = img.height;
  out->rgba.resize(PNG_IMAGE_SIZE(img));
  return png_image_finish_read(&img, nullptr, out->rgba.data(), 0, nullptr) != 0;
}

constexpr int kPageW = 100, kPageH = 80, kScreenW = 400, kScreenH = 300;
constexpr int kOriginX = (kScreenW - kPageW) / 2, kOriginY = (kScreenH - kPageH) / 2;
// The drag, in page pixels: press, three moves, release.
constexpr int kPath[][2] = {{12, 15}, {30, 22}, {55, 50}, {80, 40}};
// Then the pointer hovers, button up, over bare page: the brush follows it on the screen.
constexpr int kHover[][2] = {{90, 10}, {95, 75}};

std::string Common(const fs::path& dir, const std::string& tag) {
  return "VELA_SOCKET='" + (dir / (tag + ".sock")).string() + "' HOME='" + dir.string() +
         "' '" VELA_EXE "' --home '" + (dir / "home").string() + "' --ini '" +
         (dir / "Vela.INI").string() + "' --size " + std::to_string(kScreenW) + "x" +
         std::to_string(kScreenH) + " PageWidth=" + std::to_string(kPageW) +
         " PageHeight=" + std::to_string(kPageH) + " --save-page '" +
         (dir / (tag + ".png")).string() + "' --screenshot '" +
         (dir / (tag + "-screen.png")).string() + "'";
}

// The drawing commands follow the antialias switch, which a run starts with on: a scripted line
// has a soft rim as a drag has.
TEST(StrokeHeadless, CommandsFollowTheAntialiasSwitch) {
  fs::path dir = fs::temp_directory_path() / ("vela-aa-" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  std::ofstream(dir / "line.vcmd") << "qd_line 12 15 80 40\n";
  ASSERT_EQ(std::system(("env -u DISPLAY -u WAYLAND_DISPLAY " + Common(dir, "cmd") + " --script '" +
                         (dir / "line.vcmd").string() + "' >'" + (dir / "log").string() + "' 2>&1")
                            .c_str()),
            0)
      << ShTrim("cat '" + (dir / "log").string() + "'");
  Image a;
  ASSERT_TRUE(Read(dir / "cmd.png", &a));
  int soft = 0;
  for (int y = 0; y < kPageH; ++y)
    for (int x = 0; x < kPageW; ++x) {
      uint32_t alpha = a.At(x, y) >> 24;
      soft += alpha > 0 && alpha < 255;
    }
  EXPECT_GT(soft, 40);
  EXPECT_EQ(a.At(46, 27), 0xFFFF0000u);  // on the line
  if (!HasFailure()) fs::remove_all(dir);
}

TEST(StrokeWindow, DragPaintsTheSameStrokeAsTheEventFile) {
  const char* display = std::getenv("DISPLAY");
  if (!display || !*display) GTEST_SKIP() << "no X display";
  if (std::system("command -v xdotool >/dev/null 2>&1") != 0) GTEST_SKIP() << "no xdotool";

  fs::path dir = fs::temp_directory_path() / ("vela-stroke-" + std::to_string(getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  apptest::SteadyPen(dir / "home");

  // Headless: each wait ends a batch, as the pauses between xdotool moves do in the window.
  {
    std::ofstream ev(dir / "ev.txt");
    auto at = [](const int* p) {
      return std::to_string(kOriginX + p[0]) + " " + std::to_string(kOriginY + p[1]);
    };
    ev << "move " << at(kPath[0]) << "\nwait 200\ndown left\nwait 200\n";
    for (int i = 1; i < 4; ++i) ev << "move " << at(kPath[i]) << "\nwait 200\n";
    ev << "up left\nwait 200\n";
    for (const auto& h : kHover) ev << "move " << at(h) << "\nwait 200\n";
  }
  ASSERT_EQ(std::system(("env -u DISPLAY " + Common(dir, "headless") + " --events '" +
                         (dir / "ev.txt").string() + "' >'" + (dir / "hlog").string() + "' 2>&1")
                            .c_str()),
            0)
      << ShTrim("cat '" + (dir / "hlog").string() + "'");

  std::string pid = ShTrim("ASAN_OPTIONS=detect_leaks=0 " + Common(dir, "window") + " >'" +
                           (dir / "log").string() + "' 2>&1 & echo $!");
  ASSERT_FALSE(pid.empty());
  std::string wid = WindowOf(pid);
  if (wid.empty()) {
    ShTrim("kill -9 " + pid);
    FAIL() << "no window appeared";
  }
  auto at = [](const int* p) {
    return std::to_string(kOriginX + p[0]) + " " + std::to_string(kOriginY + p[1]);
  };
  std::string drag = "sleep 1; xdotool mousemove --window " + wid + " " + at(kPath[0]) +
                     " sleep 0.3 mousedown 1 sleep 0.3";
  for (int i = 1; i < 4; ++i)
    drag += " mousemove --window " + wid + " " + at(kPath[i]) + " sleep 0.3";
  drag += " mouseup 1 sleep 0.3";
  for (const auto& h : kHover) drag += " mousemove --window " + wid + " " + at(h) + " sleep 0.4";
  ShTrim(drag);
  StopRun(pid);

  Image a, b, sa, sb;
  ASSERT_TRUE(Read(dir / "headless.png", &a));
  ASSERT_TRUE(Read(dir / "window.png", &b)) << ShTrim("cat '" + (dir / "log").string() + "'");
  ASSERT_TRUE(Read(dir / "headless-screen.png", &sa));
  ASSERT_TRUE(Read(dir / "window-screen.png", &sb));
  ASSERT_EQ(a.width, kPageW);
  ASSERT_EQ(b.width, kPageW);
  int differ = 0, soft = 0;
  for (int y = 0; y < kPageH; ++y)
    for (int x = 0; x < kPageW; ++x) {
      differ += a.At(x, y) != b.At(x, y);
      uint32_t alpha = a.At(x, y) >> 24;
      soft += alpha > 0 && alpha < 255;
    }
  EXPECT_EQ(differ, 0);
  // A stroke, and an antialiased one: its rim is partly covered.
  EXPECT_EQ(a.At(kPath[0][0], kPath[0][1]), 0xFFFF0000u);
  EXPECT_EQ(a.At(kPath[3][0], kPath[3][1]), 0xFFFF0000u);
  EXPECT_EQ(a.At(42, 36), 0xFFFF0000u);  // on the segment between the second and third points
  EXPECT_EQ(a.At(80, 10), 0u);
  EXPECT_GT(soft, 40);
  // The screen shows the page as painted, in both.
  ASSERT_EQ(sa.width, sb.width);
  ASSERT_EQ(sa.height, sb.height);
  int screenDiffer = 0;
  for (int y = 0; y < kPageH; ++y)
    for (int x = 0; x < kPageW; ++x)
      screenDiffer += (sa.At(kOriginX + x, kOriginY + y) & 0xFFFFFF) !=
                      (sb.At(kOriginX + x, kOriginY + y) & 0xFFFFFF);
  EXPECT_EQ(screenDiffer, 0);
  // The brush in APen where the pointer rests, on the screen only; gone from where it was.
  for (const auto& h : kHover) EXPECT_EQ(a.At(h[0], h[1]), 0u);
  EXPECT_EQ(sa.At(kOriginX + kHover[1][0], kOriginY + kHover[1][1]) & 0xFFFFFF, 0xFF0000u);
  EXPECT_NE(sa.At(kOriginX + kHover[0][0], kOriginY + kHover[0][1]) & 0xFFFFFF, 0xFF0000u);
  if (!HasFailure()) fs::remove_all(dir);
}

}  // namespace
