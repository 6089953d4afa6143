// Requesters in a headless run: the event file answers them, else their first button does.
#include <gmock/gmock.h>

#include "app_fixture.h"

namespace apptest {
namespace {

using ::testing::HasSubstr;

TEST_F(VelaRun, ARequesterTakesItsAnswerFromTheEventFileElseItsFirstButton) {
  Write("ask.vcmd", "qd_request Really?|Go|Stay\nqd_request Again?\nqd_warn Done\nqd_getwidth\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script ask.vcmd"), 0) << Err();
  EXPECT_EQ(Out(), "1\n1\n\n64\n");
  EXPECT_THAT(Err(), HasSubstr("Done"));
  // With no event file to end, a message keeps no screen: the screenshot is the script's last.
  Write("red.vcmd", "qd_warn Red\nqd_setapen 255 0 0\nqd_rectfill 0 0 63 47\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script red.vcmd --screenshot red.png"), 0) << Err();
  Png red;
  ASSERT_TRUE(ReadPng(dir_ / "red.png", &red));
  EXPECT_EQ(red.Rgb(640, 400), 0xFF0000u);

  // Escape is the second button; the key's release and the end of the file go to the next.
  Write("esc.txt", "key Escape\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script ask.vcmd --events esc.txt"), 0) << Err();
  EXPECT_EQ(Out(), "0\n1\n\n64\n");

  // NOGAUGE switches the gauges off; qd_gauge tells so and turns them on again.
  Write("g.vcmd", "qd_gauge\nqd_gauge\n");
  ASSERT_EQ(Run("NOGAUGE PageWidth=64 PageHeight=48 --script g.vcmd"), 0) << Err();
  EXPECT_EQ(Out(), "Off\nOn\n");
}

// Two runs whose event files differ by what must change nothing on the screen.
class SameScreen : public VelaRun {
 protected:
  void ExpectSame(const std::string& first, const std::string& second) {
    Write("a.txt", first);
    Write("b.txt", second);
    ASSERT_EQ(Run("--events a.txt --screenshot a.png"), 0) << Err();
    ASSERT_EQ(Run("--events b.txt --screenshot b.png"), 0) << Err();
    Png a, b;
    ASSERT_TRUE(ReadPng(dir_ / "a.png", &a));
    ASSERT_TRUE(ReadPng(dir_ / "b.png", &b));
    EXPECT_EQ(a.bytes, b.bytes) << second;
  }
};

TEST_F(SameScreen, ABubbleGoesBeforeAQuestionAndAMenuKeepsItsMiddleClick) {
  // With the pointer resting on a toolbar gadget long enough for its bubble, the screen at the
  // question is the one without the rest.
  const std::string toolbar = "move 1000 700\ndown middle\nup middle\nmove 600 260\n";
  ExpectSame(toolbar + "wait 1000\nkey shift+S\n", toolbar + "key shift+S\n");
  // A middle click that an open menu takes does not toggle the toolbar as well.
  const std::string menu = "key Space\nmove 20 10\ndown left\nup left\nmove 300 300\n";
  ExpectSame(menu, menu + "down middle\nup middle\n");
}

}  // namespace
}  // namespace apptest
