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

  // Escape is the second button; the key's release and the end of the file go to the next.
  Write("esc.txt", "key Escape\n");
  ASSERT_EQ(Run("PageWidth=64 PageHeight=48 --script ask.vcmd --events esc.txt"), 0) << Err();
  EXPECT_EQ(Out(), "0\n1\n\n64\n");

  // NOGAUGE switches the gauges off; qd_gauge tells so and turns them on again.
  Write("g.vcmd", "qd_gauge\nqd_gauge\n");
  ASSERT_EQ(Run("NOGAUGE PageWidth=64 PageHeight=48 --script g.vcmd"), 0) << Err();
  EXPECT_EQ(Out(), "Off\nOn\n");
}

}  // namespace
}  // namespace apptest
