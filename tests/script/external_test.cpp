// Commands from other programs: the queue of type-5 events, the reply rules, and the channel's
// line reader.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "host/channel.h"
#include "script/dispatcher.h"
#include "script/external.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/workspace.h"

namespace vela {
namespace {

std::vector<std::pair<intptr_t, std::string>> g_replies;
void Capture(intptr_t client, const char* reply) {
  g_replies.emplace_back(client, reply);
}

class External : public ::testing::Test {
 protected:
  void SetUp() override {
    ResetInput();
    Ws = Workspace{};
    Ws.pageWidth = 320;
    Ws.pageHeight = 200;
    ExitFlag = 0;
    g_replies.clear();
    ASSERT_TRUE(StartCommands());
    SetExternalReply(Capture);
  }
  void TearDown() override {
    SetExternalReply(nullptr);
    ResetInput();
  }
  // Queues, lets the event path deliver it, and returns the reply.
  std::string Ask(const char* command, int wantsData, intptr_t client = 7) {
    g_replies.clear();
    EXPECT_TRUE(QueueExternalRequest(command, wantsData, client));
    InputEvent e;
    EXPECT_TRUE(PollEvent(1, &e));
    EXPECT_EQ(e.type, kEventCommand);
    DispatchEvent(e);
    EXPECT_EQ(g_replies.size(), 1u);
    if (g_replies.empty()) return "<none>";
    EXPECT_EQ(g_replies[0].first, client);
    return g_replies[0].second;
  }
};

TEST_F(External, RepliesFollowTheRules) {
  EXPECT_EQ(Ask("qd_getwidth", 1), "data 320");
  EXPECT_EQ(Ask("[qd_getwidth][qd_getheight]", 1), "data [320][200]");
  EXPECT_EQ(Ask("qd_setapen 1 2 3", 1), "data ");
  EXPECT_EQ(Ask("qd_nosuch", 1), "ack 0");
  EXPECT_EQ(Ask("[qd_getwidth][qd_nosuch]", 1), "ack 0");
  EXPECT_EQ(Ask("qd_setapen 1 2 3", 0), "ack 1");
  EXPECT_EQ(Ask("qd_nosuch", 0), "ack 1");  // an execute is acknowledged whatever it named
  EXPECT_EQ(Ask(nullptr, 1), "ack 0");      // a line the channel could not read
  EXPECT_EQ(Ask(nullptr, 0), "ack 0");

  BreakFlag = 1;
  EXPECT_EQ(Ask("qd_setapen 1 2 3", 0), "ack 0");
  EXPECT_EQ(BreakFlag, 1);
  EXPECT_EQ(Ask("qd_nosuch", 1), "data BREAK");
  EXPECT_EQ(BreakFlag, 0);
  EXPECT_EQ(Ask("qd_getwidth", 1), "data 320");

  EXPECT_EQ(Ask("qd_quit", 1), "data ");
  EXPECT_EQ(ExitFlag, 1);
  EXPECT_EQ(Ask("qd_getwidth", 1), "ack 0");  // queued behind qd_quit
}

TEST_F(External, ProtocolGlobalsSurviveAQueuedCommand) {
  for (auto [command, answer, mode] :
       {std::tuple{"qd_getwidth", "data 320", 1}, {"[qd_getwidth]", "data [320]", 0}}) {
    BracketMode = mode;
    ResultWritten = 2 * mode;
    EXPECT_EQ(Ask(command, 1), answer);
    EXPECT_EQ(std::pair(BracketMode, ResultWritten), std::pair(mode, 2 * mode));
  }
}

TEST_F(External, QueueWaitsForTheButtonAndIsRefusedAtShutDown) {
  ASSERT_TRUE(QueueExternalRequest("qd_getwidth", 1, 1));
  ASSERT_TRUE(QueueExternalRequest("qd_getheight", 1, 2));
  ASSERT_TRUE(QueueExternalRequest(std::string(5000, 'q').c_str(), 1, 3));
  InputEvent e;
  EXPECT_FALSE(PollEvent(0, &e));  // not in the middle of a stroke
  ASSERT_TRUE(PollEvent(1, &e));
  DispatchEvent(e);
  ASSERT_EQ(g_replies.size(), 1u);
  EXPECT_EQ(g_replies[0], std::make_pair(intptr_t{1}, std::string("data 320")));
  g_replies.clear();
  DrainInjected(nullptr);
  ASSERT_EQ(g_replies.size(), 2u);
  EXPECT_EQ(g_replies[0], std::make_pair(intptr_t{2}, std::string("ack 0")));
  EXPECT_EQ(g_replies[1], std::make_pair(intptr_t{3}, std::string("ack 0")));
  EXPECT_FALSE(InjectedPending());
}

struct Line {
  std::string text;
  bool tooLong;
  bool operator==(const Line&) const = default;
};

std::vector<Line> Split(const std::vector<std::string>& chunks) {
  ChannelLineReader reader;
  std::vector<Line> out;
  auto on = [&](const char* l, size_t n, bool tooLong) {
    EXPECT_EQ(l[n], 0);
    out.push_back({std::string(l, n), tooLong});
  };
  for (const std::string& c : chunks) reader.Feed(c.data(), c.size(), on);
  return out;
}

TEST(ChannelLines, SplitWithinTheLimit) {
  EXPECT_EQ(Split({"request a\nexec", "ute b\r\n", "\n"}),
            (std::vector<Line>{{"request a", false}, {"execute b", false}, {"", false}}));
  std::string max(kChannelLineMax, 'm');
  EXPECT_EQ(Split({max + "\r\n", max + "\n"}), (std::vector<Line>{{max, false}, {max, false}}));
  // One byte over: refused once, and the next line is read as usual.
  EXPECT_EQ(Split({max + "m\nok\n"}), (std::vector<Line>{{"", true}, {"ok", false}}));
  EXPECT_EQ(Split({max, "mm\r", "\nok\n"}), (std::vector<Line>{{"", true}, {"ok", false}}));
  std::string huge(100000, 'h');
  EXPECT_EQ(Split({huge, huge, "\n"}), (std::vector<Line>{{"", true}}));
  EXPECT_EQ(Split({"request x\nrequest y"}), (std::vector<Line>{{"request x", false}}));
}

TEST(ChannelLines, VerbsAndRefusals) {
  // The command points into the line, so each line is kept.
  static std::deque<std::string> kept;
  auto parse = [](const std::string& s, bool tooLong = false) {
    kept.push_back(s);
    return ParseChannelLine(kept.back().data(), kept.back().size(), tooLong);
  };
  ChannelLine l = parse("request qd_getwidth");
  EXPECT_EQ(l.kind, ChannelLineKind::Request);
  EXPECT_STREQ(l.command, "qd_getwidth");
  l = parse("execute  [qd_nop x]");
  EXPECT_EQ(l.kind, ChannelLineKind::Execute);
  EXPECT_STREQ(l.command, " [qd_nop x]");
  l = parse("request");
  EXPECT_EQ(l.kind, ChannelLineKind::Request);
  EXPECT_STREQ(l.command, "");
  for (const std::string& bad :
       std::vector<std::string>{"requestqd_x", "REQUEST qd_x", "", " request x", "poke x",
                                std::string("request a\0b", 11)})
    EXPECT_EQ(parse(bad).kind, ChannelLineKind::Refused) << bad;
  EXPECT_EQ(parse("request x", true).kind, ChannelLineKind::Refused);
}

}  // namespace
}  // namespace vela
