// Command files run by the vela program: the transcript on standard output and the pixels that
// the drawing commands leave on the page and the screen.
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

struct Png {
  int width = 0, height = 0, channels = 0;
  std::vector<uint8_t> bytes;
  uint32_t Rgb(int x, int y) const {
    const uint8_t* p = &bytes[(static_cast<size_t>(y) * width + x) * channels];
    return (p[0] << 16) | (p[1] << 8) | p[2];
  }
  int Alpha(int x, int y) const {
    return channels == 4 ? bytes[(static_cast<size_t>(y) * width + x) * 4 + 3] : 255;
  }
};

bool ReadPng(const fs::path& path, Png* out) {
  png_image img{};
  img.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&img, path.c_str())) return false;
  out->channels = (img.format & PNG_FORMAT_FLAG_ALPHA) ? 4 : 3;
  img.format = out->channels == 4 ? PNG_FORMAT_RGBA : PNG_FORMAT_RGB;
  out->width = img.width;
  out->height = img.height;
  out->bytes.resize(PNG_IMAGE_SIZE(img));
  return png_image_finish_read(&img, nullptr, out->bytes.data(), 0, nullptr) != 0;
}

std::string Slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class ScriptRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() /
           ("vela-script-" + std::to_string(getpid()) + "-" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }

  void Write(const std::string& name, const std::string& text) {
    std::ofstream(dir_ / name, std::ios::binary) << text;
  }
  // Runs vela headless in the temporary home; stdin from a file when given.
  int Run(const std::string& args, const std::string& input = "") {
    std::string cmd = "cd '" + dir_.string() + "' && env -u DISPLAY -u WAYLAND_DISPLAY HOME='" +
                      dir_.string() + "' '" VELA_EXE "' --home home --ini Vela.INI " + args +
                      (input.empty() ? "" : " <'" + input + "'") + " >out.txt 2>err.txt";
    int st = std::system(cmd.c_str());
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }
  std::string Out() { return Slurp(dir_ / "out.txt"); }
  std::string Err() { return Slurp(dir_ / "err.txt"); }

  fs::path dir_;
};

TEST_F(ScriptRun, DrawsWhatTheCommandsSay) {
  Write("draw.vcmd",
        "qd_setapen 0 255 0\n"
        "qd_setbpen 0 0 255\n"
        "qd_line 10 10 40 10\n"
        "qd_dot 50 30 1\n"
        "qd_fastline 0 47 63 47 255 0 0 128\n"
        "qd_fastline -100 -80 200 220 255 255 255 255\n");
  ASSERT_EQ(Run("--size 400x300 PageWidth=64 PageHeight=48 --script draw.vcmd --screenshot "
                "s.png --save-page p.png"),
            0)
      << Err();
  EXPECT_EQ(Out(), "\n\n\n\n\n\n");
  Png screen, page;
  ASSERT_TRUE(ReadPng(dir_ / "s.png", &screen));
  ASSERT_TRUE(ReadPng(dir_ / "p.png", &page));
  const int left = (400 - 64) / 2, top = (300 - 48) / 2;
  auto shown = [&](int x, int y) { return screen.Rgb(left + x, top + y); };

  // The Pen of a fresh run is a disc of radius 3 around each whole coordinate.
  for (int x = 10; x <= 40; ++x) {
    EXPECT_EQ(shown(x, 10), 0x00FF00u) << x;
    EXPECT_EQ(page.Rgb(x, 10), 0x00FF00u) << x;
    EXPECT_EQ(page.Alpha(x, 10), 255) << x;
    EXPECT_EQ(shown(x, 20), 0u) << x;
  }
  EXPECT_EQ(shown(10, 12), 0x00FF00u);
  EXPECT_EQ(shown(4, 10), 0u);
  EXPECT_EQ(shown(46, 10), 0u);
  EXPECT_EQ(shown(50, 30), 0x0000FFu);  // b = 1: the B pen
  EXPECT_EQ(shown(50, 28), 0x0000FFu);
  EXPECT_EQ(shown(50, 35), 0u);
  // A plain line, premultiplied: half red shows dark, the page keeps straight red at half alpha.
  for (int x = 0; x < 64; ++x) {
    if (x == 27) continue;  // the diagonal crosses here
    EXPECT_EQ(shown(x, 47), 0x800000u) << x;
    EXPECT_EQ(page.Rgb(x, 47), 0xFF0000u) << x;
    EXPECT_EQ(page.Alpha(x, 47), 128) << x;
  }
  // Clipped to the page: the diagonal from outside is drawn where it crosses the page.
  for (int i = 0; i < 28; i += 3) EXPECT_EQ(page.Rgb(i, i + 20), 0xFFFFFFu) << i;
  EXPECT_EQ(shown(-1, -1), 0xA5A6A5u);  // the interface around the page is untouched
}

TEST_F(ScriptRun, TranscriptFromStandardInput) {
  Write("in.txt",
        "qd_getwidth\n"
        "\n"
        "qd_nosuch\n"
        "[qd_getheight] [qd_nop a b]\r\n"
        "[qd_nop " +
            std::string(5000, 'x') +
            "]\n"
            "qd_version\n"
            "qd_quit\n"
            "qd_getwidth\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script -", "in.txt"), 0) << Err();
  EXPECT_EQ(Out(), "64\n\n[48][a b]\n\nVela1.00 us\n\n");
  EXPECT_NE(Err().find("line 5"), std::string::npos) << Err();
}

TEST_F(ScriptRun, EndsAfterScriptAndEventsAndRefusesUnreadableFiles) {
  Write("s.vcmd", "qd_setapen 255 255 255\n");
  Write("e.txt", "move 5 5\nwait 100\n");
  ASSERT_EQ(Run("PageWidth=16 PageHeight=16 --script s.vcmd --events e.txt"), 0) << Err();
  EXPECT_EQ(Out(), "\n");
  EXPECT_EQ(Run("--script missing.vcmd"), 1);
  EXPECT_NE(Err().find("missing.vcmd"), std::string::npos);
  EXPECT_EQ(Run("--script"), 2);
}

TEST_F(ScriptRun, DemoDrawsAPicture) {
  fs::path demo = fs::path(VELA_SOURCE_DIR) / "examples" / "demo.vcmd";
  ASSERT_EQ(Run("--script '" + demo.string() + "' --save-page demo.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "demo.png", &png));
  int painted = 0;
  for (int y = 0; y < png.height; ++y)
    for (int x = 0; x < png.width; ++x) painted += png.Alpha(x, y) != 0;
  EXPECT_GT(painted, png.width * png.height / 4);
}

}  // namespace
