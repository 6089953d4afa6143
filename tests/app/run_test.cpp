// Whole runs of the vela program, headless, in a temporary home.
#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <cstdio>
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
  const uint8_t* At(int x, int y) const { return &bytes[(static_cast<size_t>(y) * width + x) * channels]; }
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
  std::ifstream in(p);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

class HeadlessRun : public ::testing::Test {
 protected:
  void SetUp() override {
    dir_ = fs::temp_directory_path() / ("vela-run-" + std::to_string(getpid()) + "-" +
                                        ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(dir_);
    fs::create_directories(dir_);
    home_ = dir_ / "home";
    ini_ = dir_ / "Vela.INI";
  }
  void TearDown() override { fs::remove_all(dir_); }

  // Runs vela with the temporary home and ini; returns the exit status.
  int Run(const std::string& args) {
    std::string cmd = std::string("env -u DISPLAY -u WAYLAND_DISPLAY HOME=") + dir_.string() +
                      " '" VELA_EXE "' --home '" + home_.string() + "' --ini '" + ini_.string() +
                      "' " + args + " >'" + (dir_ / "out.txt").string() + "' 2>'" +
                      (dir_ / "err.txt").string() + "'";
    int st = std::system(cmd.c_str());
    return WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  }
  std::string Err() { return Slurp(dir_ / "err.txt"); }

  fs::path dir_, home_, ini_;
};

TEST_F(HeadlessRun, ShowsThePageAndWritesItsSettings) {
  fs::path shot = dir_ / "s.png";
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --screenshot '" + shot.string() + "'"), 0) << Err();

  Png png;
  ASSERT_TRUE(ReadPng(shot, &png));
  EXPECT_EQ(png.width, 1280);
  EXPECT_EQ(png.height, 800);
  // A new page is transparent and shows black, centred on the interface background.
  const int left = (1280 - 320) / 2, top = (800 - 200) / 2;
  auto rgb = [&](int x, int y) {
    const uint8_t* p = png.At(x, y);
    return (p[0] << 16) | (p[1] << 8) | p[2];
  };
  EXPECT_EQ(rgb(left, top), 0x000000);
  EXPECT_EQ(rgb(left + 319, top + 199), 0x000000);
  EXPECT_EQ(rgb(left - 1, top), 0xA5A6A5);
  EXPECT_EQ(rgb(left + 320, top + 199), 0xA5A6A5);
  EXPECT_EQ(rgb(left, top + 200), 0xA5A6A5);

  std::string config = Slurp(home_ / "configs" / "Standard.ini");
  EXPECT_NE(config.find("[Main]"), std::string::npos);
  EXPECT_NE(config.find("PageWidth=320"), std::string::npos);
  EXPECT_NE(config.find("PageHeight=200"), std::string::npos);
  EXPECT_NE(config.find("SaveConfig=1"), std::string::npos);
  EXPECT_NE(config.find("[SysColors]"), std::string::npos);
  std::string ini = Slurp(ini_);
  EXPECT_NE(ini.find("Last_Config=Standard"), std::string::npos) << ini;
  // The home was seeded with the installed data.
  EXPECT_TRUE(fs::exists(home_ / "datas" / "pagesize.conf"));

  // A second run without options reads the size back from the configuration.
  fs::path page = dir_ / "page.png";
  ASSERT_EQ(Run("--save-page '" + page.string() + "'"), 0) << Err();
  ASSERT_TRUE(ReadPng(page, &png));
  EXPECT_EQ(png.width, 320);
  EXPECT_EQ(png.height, 200);
  EXPECT_EQ(png.channels, 4);
  EXPECT_EQ(png.At(10, 10)[3], 0);  // transparent
}

TEST_F(HeadlessRun, ConfigOptionAndHeadlessSize) {
  fs::path shot = dir_ / "s.png";
  ASSERT_EQ(Run("--size 400x300 CONFIG=studio PageWidth=64 PageHeight=48 --screenshot '" +
                shot.string() + "'"),
            0)
      << Err();
  Png png;
  ASSERT_TRUE(ReadPng(shot, &png));
  EXPECT_EQ(png.width, 400);
  EXPECT_EQ(png.height, 300);
  EXPECT_TRUE(fs::exists(home_ / "configs" / "studio.ini"));
  EXPECT_NE(Slurp(ini_).find("Last_Config=studio"), std::string::npos);
}

TEST_F(HeadlessRun, MissingProjectIsReportedAndTheRunGoesOn) {
  fs::path page = dir_ / "page.png";
  ASSERT_EQ(Run("PageWidth=16 PageHeight=8 '" + (dir_ / "nothere.vel").string() +
                "' --save-page '" + page.string() + "'"),
            0);
  EXPECT_NE(Err().find("File not found!"), std::string::npos) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(page, &png));
  EXPECT_EQ(png.width, 16);
}

TEST_F(HeadlessRun, BadCommandLinesExitWithTwoAndUsage) {
  for (const char* args : {"--bogus", "--size 0x0", "Colour=red", "a.vel b.vel", "--screenshot"}) {
    EXPECT_EQ(Run(args), 2) << args;
    EXPECT_NE(Err().find("usage: vela"), std::string::npos) << args;
  }
  EXPECT_FALSE(fs::exists(ini_));  // a refused command line touches nothing
}

TEST_F(HeadlessRun, UnwritableOutputFailsTheRun) {
  EXPECT_EQ(Run("--screenshot '" + (dir_ / "no" / "such" / "dir.png").string() + "'"), 1);
  EXPECT_NE(Err().find("cannot write"), std::string::npos);
}

}  // namespace

namespace {

TEST_F(HeadlessRun, EventFilesRepeatByteForByteAndPaint) {
  fs::path events = dir_ / "ev.txt";
  std::ofstream(events) << "move 500 320\ndown left\nmove 503 322\nwait 40\nup left\n"
                           "wait 3000\nmove 540 350\ndown right\nwait 10\nup right\n";
  std::string args = "PageWidth=320 PageHeight=200 --events '" + events.string() + "' ";
  fs::path a = dir_ / "a.png", b = dir_ / "b.png", page = dir_ / "page.png";
  ASSERT_EQ(Run(args + "--screenshot '" + a.string() + "' --save-page '" + page.string() + "'"), 0) << Err();
  ASSERT_EQ(Run(args + "--screenshot '" + b.string() + "'"), 0) << Err();
  EXPECT_EQ(Slurp(a), Slurp(b));

  Png png;
  ASSERT_TRUE(ReadPng(page, &png));
  auto argb = [&](int x, int y) {
    const uint8_t* p = png.At(x, y);
    return (static_cast<uint32_t>(p[3]) << 24) | (p[0] << 16) | (p[1] << 8) | p[2];
  };
  // Page origin is (480, 300): the Pen stroke of the drag, and a right-button dot in the B pen.
  EXPECT_EQ(argb(20, 20), 0xFFFF0000u);
  EXPECT_EQ(argb(23, 22), 0xFFFF0000u);
  EXPECT_EQ(argb(60, 50), 0xFF000000u);
  EXPECT_EQ(argb(40, 35), 0u);
}

TEST_F(HeadlessRun, BadEventFileStopsTheRunWithItsReason) {
  fs::path events = dir_ / "ev.txt";
  std::ofstream(events) << "move 1 1\nfly away\n";
  EXPECT_EQ(Run("--events '" + events.string() + "'"), 1);
  EXPECT_NE(Err().find("line 2"), std::string::npos) << Err();
  EXPECT_EQ(Run("--events '" + (dir_ / "none.txt").string() + "'"), 1);
}

}  // namespace
