// Whole headless runs of the vela program: options, event files and command files.
#include <gmock/gmock.h>

#include "app_fixture.h"

namespace apptest {
namespace {

using ::testing::HasSubstr;

TEST_F(VelaRun, ShowsThePageAndWritesItsSettings) {
  ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --screenshot s.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "s.png", &png));
  EXPECT_EQ(png.width, 1280);
  EXPECT_EQ(png.height, 800);
  // A new page is transparent and shows black, centred on the interface background.
  const int left = (1280 - 320) / 2, top = (800 - 200) / 2;
  EXPECT_EQ(png.Rgb(left, top), 0x000000u);
  EXPECT_EQ(png.Rgb(left + 319, top + 199), 0x000000u);
  EXPECT_EQ(png.Rgb(left - 1, top), 0xA5A6A5u);
  EXPECT_EQ(png.Rgb(left + 320, top + 199), 0xA5A6A5u);
  EXPECT_EQ(png.Rgb(left, top + 200), 0xA5A6A5u);

  // The size was an option of this run; the configuration keeps its own.
  std::string config = Slurp(dir_ / "home" / "configs" / "Standard.ini");
  for (const char* line :
       {"[Main]", "PageWidth=640", "PageHeight=480", "SaveConfig=1", "[SysColors]", "[Keyboard]",
        "\nequal=DisplayAllLayer\n", "\nShift Q=Quit\n"})
    EXPECT_THAT(config, HasSubstr(line));
  EXPECT_THAT(config, ::testing::Not(HasSubstr("Shift F10"))) << "F10 has no row";
  EXPECT_THAT(Slurp(dir_ / "Vela.INI"), HasSubstr("Last_Config=Standard"));
  // The home was seeded with the installed data.
  EXPECT_TRUE(fs::exists(dir_ / "home" / "datas" / "pagesize.conf"));

  // A second run without options takes the size from the configuration.
  ASSERT_EQ(Run("--save-page page.png"), 0) << Err();
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
  EXPECT_EQ(png.width, 640);
  EXPECT_EQ(png.height, 480);
  EXPECT_EQ(png.channels, 4);
  EXPECT_EQ(png.Alpha(10, 10), 0);  // transparent

  // Another configuration and screen size.
  ASSERT_EQ(Run("--size 400x300 CONFIG=studio PageWidth=64 PageHeight=48 --screenshot s.png"), 0)
      << Err();
  ASSERT_TRUE(ReadPng(dir_ / "s.png", &png));
  EXPECT_EQ(png.width, 400);
  EXPECT_EQ(png.height, 300);
  EXPECT_TRUE(fs::exists(dir_ / "home" / "configs" / "studio.ini"));
  EXPECT_THAT(Slurp(dir_ / "Vela.INI"), HasSubstr("Last_Config=studio"));
}

TEST_F(VelaRun, BadCommandLinesAndFiles) {
  for (const char* args : {"--bogus", "Colour=red", "a.vel b.vel"}) {
    EXPECT_EQ(Run(args), 2) << args;
    EXPECT_THAT(Err(), HasSubstr("usage: vela")) << args;
  }
  EXPECT_FALSE(fs::exists(dir_ / "Vela.INI"));  // a refused command line touches nothing

  EXPECT_EQ(Run("--screenshot no/such/dir.png"), 1);
  EXPECT_THAT(Err(), HasSubstr("cannot write"));
  Write("ev.txt", "move 1 1\nfly away\n");
  EXPECT_EQ(Run("--events ev.txt"), 1);
  EXPECT_THAT(Err(), HasSubstr("line 2"));
  EXPECT_EQ(Run("--events none.txt"), 1);
  for (const char* script : {"missing.vcmd", "home"}) {
    EXPECT_EQ(Run(std::string("--script ") + script), 1) << script;
    EXPECT_THAT(Err(), HasSubstr("cannot read")) << script;
  }

  // A missing project is reported and the run goes on.
  ASSERT_EQ(Run("PageWidth=16 PageHeight=8 nothere.vel --save-page page.png"), 0);
  EXPECT_THAT(Err(), HasSubstr("File not found!"));
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
  EXPECT_EQ(png.width, 16);
}

TEST_F(VelaRun, EventFilesRepeatByteForByteAndPaint) {
  Write("ev.txt",
        "move 500 320\ndown left\nmove 503 322\nwait 40\nup left\n"
        "move 525 350\ndown left\nmove 555 350\nup left\n"
        "wait 3000\nmove 540 350\ndown right\nwait 10\nup right\n"
        "move 500 420\ndown left\nmove 560 420\nup left\n");
  SteadyPen(dir_ / "home");
  const std::string args = "PageWidth=320 PageHeight=200 --events ev.txt ";
  ASSERT_EQ(Run(args + "--screenshot a.png --save-page page.png"), 0) << Err();
  ASSERT_EQ(Run(args + "--screenshot b.png"), 0) << Err();
  EXPECT_EQ(Slurp(dir_ / "a.png"), Slurp(dir_ / "b.png"));

  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
  // Page origin is (480, 300): the Pen strokes of the drags, and a right-button dot that erases
  // the middle of the second.
  EXPECT_EQ(png.Argb(20, 20), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(23, 22), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(47, 50), 0xFFFF0000u);
  EXPECT_EQ(png.Argb(60, 50), 0u);
  EXPECT_EQ(png.Argb(40, 35), 0u);
  // A release batched with the last move still draws the stroke up to the release.
  EXPECT_EQ(png.Argb(70, 120), 0xFFFF0000u);
}

// Keys reach the actions of the map: shift q quits before the stroke that follows.
TEST_F(VelaRun, ShiftQQuitsTheRun) {
  SteadyPen(dir_ / "home");
  const std::string stroke = "wait 40\nmove 500 320\ndown left\nmove 560 320\nup left\n";
  Png png;
  for (const char* key : {"", "key shift+q\n"}) {
    Write("ev.txt", key + stroke);
    ASSERT_EQ(Run("PageWidth=320 PageHeight=200 --events ev.txt --save-page page.png"), 0) << Err();
    ASSERT_TRUE(ReadPng(dir_ / "page.png", &png));
    EXPECT_EQ(png.Alpha(40, 20), *key ? 0 : 255) << key;
  }
}

TEST_F(VelaRun, CommandFileDrawsWhatTheCommandsSay) {
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
    EXPECT_EQ(page.Argb(x, 10), 0xFF00FF00u) << x;
    EXPECT_EQ(shown(x, 20), 0u) << x;
  }
  const std::pair<std::pair<int, int>, uint32_t> dots[] = {
      {{10, 12}, 0x00FF00}, {{4, 10}, 0},         {{46, 10}, 0},
      {{50, 30}, 0x0000FF}, {{50, 28}, 0x0000FF},   // b = 1: the B pen
      {{50, 35}, 0},        {{-1, -1}, 0xA5A6A5}};  // the interface around the page is untouched
  for (auto [at, want] : dots)
    EXPECT_EQ(shown(at.first, at.second), want) << at.first << "," << at.second;
  // A plain line, premultiplied: half red shows dark, the page keeps straight red at half alpha.
  for (int x = 0; x < 64; ++x) {
    if (x == 27) continue;  // the diagonal crosses here
    EXPECT_EQ(shown(x, 47), 0x800000u) << x;
    EXPECT_EQ(page.Argb(x, 47), 0x80FF0000u) << x;
  }
  // Clipped to the page: the diagonal from outside is drawn where it crosses the page.
  for (int i = 0; i < 28; i += 3) EXPECT_EQ(page.Rgb(i, i + 20), 0xFFFFFFu) << i;
}

TEST_F(VelaRun, CommandTranscriptFromStandardInput) {
  Write("in.txt", "qd_getwidth\n\nqd_nosuch\n[qd_getheight] [qd_nop a b]\r\n[qd_nop " +
                      std::string(5000, 'x') + "]\nqd_version\nqd_quit\nqd_getwidth\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script -", "in.txt"), 0) << Err();
  EXPECT_EQ(Out(), "64\n\n[48][a b]\n\nVela1.00 us\n\n");
  EXPECT_THAT(Err(), HasSubstr("line 5"));

  // The run ends after both the command file and the event file.
  Write("s.vcmd", "qd_setapen 255 255 255\n");
  Write("e.txt", "move 5 5\nwait 100\n");
  ASSERT_EQ(Run("PageWidth=16 PageHeight=16 --script s.vcmd --events e.txt"), 0) << Err();
  EXPECT_EQ(Out(), "\n");
}

TEST_F(VelaRun, DemoDrawsAPicture) {
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
}  // namespace apptest
