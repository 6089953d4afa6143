#include <gtest/gtest.h>

#include "host/host.h"

namespace vela {
namespace {

class EventFile : public ::testing::Test {
 protected:
  void SetUp() override {
    HostConfig hc;
    hc.headless = true;
    std::string err;
    ASSERT_TRUE(HostOpen(hc, &err)) << err;
  }
  void TearDown() override { HostClose(); }
};

TEST_F(EventFile, BadLinesAreRefusedWithTheirNumber) {
  const char* bad[] = {"move 1\n",        "down sideways\n", "key NoSuchKey\n", "wait -5\n",
                       "pressure 300\n",   "jump 1 2\n",      "move 1 2 3\n",    "key hyper+A\n",
                       "wheel\n",          "char\n",          "drop\n",          "wait 9e9\n"};
  for (const char* text : bad) {
    std::string err;
    EXPECT_FALSE(HostLoadEvents(std::string("# comment\n\n") + text, &err)) << text;
    EXPECT_EQ(err.rfind("line 3:", 0), 0u) << err;
  }
}

TEST_F(EventFile, EventsArriveWhenTheClockReachesThemThenQuit) {
  std::string err;
  ASSERT_TRUE(HostLoadEvents("move 1 2\nwait 100\nkey ctrl+F9\nchar \xe9\nwait 50\n", &err)) << err;
  HostEvent e;
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::Move);
  EXPECT_EQ(e.x, 1);
  EXPECT_EQ(e.y, 2);
  EXPECT_FALSE(HostPollEvent(&e));  // the key waits for 100 ms
  EXPECT_EQ(HostMilliseconds(), 0);
  EXPECT_FALSE(HostWaitEvent(60));
  EXPECT_EQ(HostMilliseconds(), 60);
  EXPECT_TRUE(HostWaitEvent(60));
  EXPECT_EQ(HostMilliseconds(), 100);  // the clock stops at the event
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::KeyDown);
  EXPECT_EQ(e.key, 120);
  EXPECT_EQ(e.qualifiers, kQualControl);
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::KeyUp);
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::Text);
  EXPECT_EQ(e.character, 0xE9);
  EXPECT_FALSE(HostPollEvent(&e));  // the last wait still runs
  HostWaitEvent(1000);
  EXPECT_EQ(HostMilliseconds(), 150);
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::Quit);
}

TEST_F(EventFile, HeldOpenTheHostNeverQuitsByItself) {
  std::string err;
  ASSERT_TRUE(HostLoadEvents("", &err));
  HostHoldOpen(true);
  HostEvent e;
  EXPECT_FALSE(HostWaitEvent(500));
  EXPECT_FALSE(HostPollEvent(&e));
  HostHoldOpen(false);
  EXPECT_TRUE(HostWaitEvent(10));
  ASSERT_TRUE(HostPollEvent(&e));
  EXPECT_EQ(e.type, HostEventType::Quit);
}

TEST(KeyNames, MapToHostKeyNumbers) {
  const std::pair<const char*, int> keys[] = {{"Delete", 46}, {"delete", 46}, {"F9", 120}, {"F1", 112},
                                              {"a", 'A'},      {"7", '7'},      {"Left", 37}, {"Down", 40},
                                              {"F25", -1},     {"?", -1}};
  for (auto [name, code] : keys) EXPECT_EQ(HostKeyByName(name), code) << name;
}

}  // namespace
}  // namespace vela
