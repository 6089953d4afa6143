// The command socket in this process: what reaches the handler, and who gets served.
#include <gtest/gtest.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "host/channel.h"

namespace vela {
namespace {

namespace fs = std::filesystem;

struct Got {
  std::string command;
  ChannelClient client;
};
std::vector<Got> g_got;

class Channel : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string tmpl = (fs::temp_directory_path() / "vela-channel-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    dir_ = tmpl;
    path_ = (dir_ / "s").string();
    g_got.clear();
    ChannelSetRequestHandler([](const char* command, int, ChannelClient client) {
      g_got.push_back({command ? command : "<refused>", client});
      return true;
    });
    std::string err;
    ASSERT_TRUE(ChannelOpen(path_, &err)) << err;
  }
  void TearDown() override {
    ChannelClose();
    ChannelSetIdleTimeout(kChannelIdleMs);
    ChannelSetRequestHandler(nullptr);
    fs::remove_all(dir_);
  }
  int Connect() {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    path_.copy(a.sun_path, sizeof a.sun_path - 1);
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    return fd;
  }
  static void Send(int fd, const std::string& s) {
    ASSERT_EQ(send(fd, s.data(), s.size(), MSG_NOSIGNAL), static_cast<ssize_t>(s.size()));
  }
  static void PumpFor(int ms) {
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (std::chrono::steady_clock::now() < end) ChannelPump(10);
  }
  // What the client has been sent, "<closed>" after the end of the stream.
  static std::string Received(int fd) {
    std::string s;
    char buf[256];
    for (;;) {
      ssize_t n = recv(fd, buf, sizeof buf, 0);
      if (n == 0) return s + "<closed>";
      if (n < 0) return s;
      s.append(buf, static_cast<size_t>(n));
    }
  }
  fs::path dir_;
  std::string path_;
};

TEST_F(Channel, ALineCutOffByTheClientsEndIsNeverRun) {
  int fd = Connect();
  Send(fd, "request qd_a\nexecute qd_b");
  close(fd);
  PumpFor(100);
  ASSERT_EQ(g_got.size(), 1u);
  EXPECT_EQ(g_got[0].command, "qd_a");
}

TEST_F(Channel, IdleClientsNeverBlockOthersAndAreClosedInTime) {
  ChannelSetIdleTimeout(300);
  std::vector<int> idle;
  for (int i = 0; i < 60; ++i) {
    idle.push_back(Connect());
    if (i % 8 == 7) PumpFor(20);  // within the listen queue
  }
  PumpFor(50);
  int fd = Connect();
  Send(fd, "request qd_x\n");
  PumpFor(50);
  ASSERT_EQ(g_got.size(), 1u);
  EXPECT_EQ(g_got[0].command, "qd_x");
  // A client owed an answer waits for it however long the program takes.
  PumpFor(400);
  ChannelReply(g_got[0].client, "data x");
  EXPECT_EQ(Received(fd), "data x\n");
  EXPECT_EQ(ChannelClientCount(), 1);
  PumpFor(400);
  EXPECT_EQ(ChannelClientCount(), 0);
  EXPECT_EQ(Received(fd), "<closed>");
  for (int i : idle) {
    EXPECT_EQ(Received(i), "<closed>");
    close(i);
  }
  close(fd);
}

}  // namespace
}  // namespace vela
