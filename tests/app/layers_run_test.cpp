// Layers and undo as a user reaches them: the example command file and the undo key.
#include <gmock/gmock.h>

#include <string>

#include "app_fixture.h"

namespace apptest {
namespace {

TEST_F(VelaRun, LayersExampleShowsEachStep) {
  fs::path example = fs::path(VELA_SOURCE_DIR) / "examples" / "layers.vcmd";
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script '" + example.string() + "'"), 0) << Err();
  // Ids come from the run's key counter: 2 for the first layer, 4 and 6 for the two made, the
  // keys between them being the packed images stored on the way.
  const char* expected =
      "2\n\n\n4\n\n\n6\n\n\n"
      "0 0 255 255\n"    // the blue line on Blue
      "0 0 0 0\n"        // Blue alone has no red
      "255 0 0 255\n"    // but the composed display shows the first layer's red line
      "\n255 0 0 255\n"  // the first layer holds its red line
      "0 0 0 0\n"
      "\n\n\n255 255 0 255\n"  // yellow over red
      "\n255 0 0 255\n"        // undo
      "\n255 255 0 255\n"      // undo again is the redo
      "\n0 255 0 255\n"        // Green
      "\nnone\n6\n"            // Green gone, Blue current
      "0 0 0 0\n"              // nothing green on the display either
      "\n4\n0 255 0 255\n";    // undo brings Green back, selected, with its line
  EXPECT_EQ(Out(), expected);
}

// A stroke, then the undo key of the default map; ctrl+z redoes it.
TEST_F(VelaRun, UndoKeyTakesBackTheStroke) {
  SteadyPen(dir_ / "home");
  const std::string stroke =
      "move 612 380\ndown left\nmove 640 390\nmove 660 400\nup left\nwait 50\n";
  Write("undo.txt", stroke + "key U\nwait 50\n");
  Write("redo.txt", stroke + "key U\nwait 50\nkey ctrl+Z\nwait 50\n");
  auto painted = [this](const char* events) {
    EXPECT_EQ(
        Run(std::string("PageWidth=64 PageHeight=48 --events ") + events + " --save-page page.png"),
        0)
        << Err();
    Png png;
    EXPECT_TRUE(ReadPng(dir_ / "page.png", &png));
    int n = 0;
    for (int y = 0; y < png.height; ++y)
      for (int x = 0; x < png.width; ++x) n += png.Alpha(x, y) != 0;
    return n;
  };
  EXPECT_EQ(painted("undo.txt"), 0);
  EXPECT_GT(painted("redo.txt"), 50);
}

}  // namespace
}  // namespace apptest

namespace apptest {
namespace {

// Undo shows the composed display, "none" is a background word, and counts and positions out of
// all reason are refused or held without overflow.
TEST_F(VelaRun, UndoShowsTheComposedPageAndHugeNumbersAreHeld) {
  Write("s.vcmd",
        "qd_background color 0 200 0\n"
        "qd_setapen 255 0 0\n"
        "qd_line 4 10 60 10 0 0\n"
        "qd_undo\n"
        "qd_layerinsertimage 2147483647\n"
        "qd_layershift 2 2147483647\n"
        "qd_layershift 2 2147483647\n"
        "qd_layerselect -2147483648 -5\n"
        "qd_layerselect 2147483647 2\n"
        "qd_layerinsertimage 3\n"
        "qd_layerstretch 2 end 1 tim\n"  // four images to one, blended: no division by zero
        "qd_layerinfo 2\n"
        "qd_background none\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script s.vcmd --screenshot s.png"), 0) << Err();
  EXPECT_THAT(Out(), ::testing::EndsWith(" sequence \"Untitled\" shown 255\nnone\n"));
  EXPECT_THAT(Err(), ::testing::HasSubstr("Add Image failed!"));
  // The screenshot of a run that stops at the undo shows the page over its green background.
  Write("u.vcmd",
        "qd_background color 0 200 0\nqd_setapen 255 0 0\nqd_line 4 10 60 10 0 0\nqd_undo\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script u.vcmd --screenshot u.png"), 0) << Err();
  Png png;
  ASSERT_TRUE(ReadPng(dir_ / "u.png", &png));
  // The page sits in the middle of the 1280 by 800 screen.
  const int px = (1280 - 64) / 2 + 30, py = (800 - 48) / 2 + 10;
  EXPECT_EQ(png.Argb(px, py) & 0xFFFFFF, 0x00C800u);
}

}  // namespace
}  // namespace apptest
