// A serving vela spoken to over its socket by this process and by vela-command.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "app_fixture.h"

namespace apptest {
namespace {

using namespace std::chrono_literals;

class Served : public TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    socket_ = (dir_ / "s").string();
  }
  void TearDown() override {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
    TempDirTest::TearDown();
  }

  // Starts vela --serve; with runtimeDir set the socket takes its default place there.
  void Start(const std::string& runtimeDir = "") {
    pid_ = fork();
    ASSERT_GE(pid_, 0);
    if (pid_ == 0) {
      unsetenv("DISPLAY");
      unsetenv("WAYLAND_DISPLAY");
      setenv("HOME", dir_.c_str(), 1);
      if (runtimeDir.empty()) {
        setenv("VELA_SOCKET", socket_.c_str(), 1);
      } else {
        unsetenv("VELA_SOCKET");
        setenv("XDG_RUNTIME_DIR", runtimeDir.c_str(), 1);
      }
      std::string out = (dir_ / "out.txt").string(), err = (dir_ / "err.txt").string();
      freopen(out.c_str(), "w", stdout);
      freopen(err.c_str(), "w", stderr);
      std::string home = (dir_ / "home").string(), ini = (dir_ / "Vela.INI").string();
      execl(VELA_EXE, VELA_EXE, "--headless", "--serve", "--home", home.c_str(), "--ini",
            ini.c_str(), "PageWidth=64", "PageHeight=48", static_cast<char*>(nullptr));
      _exit(127);
    }
    if (!runtimeDir.empty()) socket_ = runtimeDir + "/vela/commands";
    for (int i = 0; i < 300 && !fs::exists(socket_); ++i) std::this_thread::sleep_for(50ms);
    ASSERT_TRUE(fs::exists(socket_)) << "vela did not start serving";
  }

  // The exit status, or -1 when vela has not ended within the time.
  int WaitEnd() {
    for (int i = 0; i < 400; ++i) {
      int st;
      if (waitpid(pid_, &st, WNOHANG) == pid_) {
        pid_ = -1;
        return ExitCode(st);
      }
      std::this_thread::sleep_for(50ms);
    }
    return -1;
  }

  int Connect() {
    int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, socket_.c_str(), sizeof a.sun_path - 1);
    if (connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
      close(fd);
      return -1;
    }
    return fd;
  }
  static void Send(int fd, const std::string& s) {
    ASSERT_EQ(send(fd, s.data(), s.size(), MSG_NOSIGNAL), static_cast<ssize_t>(s.size()));
  }
  // Reads n reply lines, waiting at most 10 s.
  static std::vector<std::string> Replies(int fd, size_t n) {
    std::vector<std::string> lines;
    std::string cur;
    auto end = std::chrono::steady_clock::now() + 10s;
    while (lines.size() < n && std::chrono::steady_clock::now() < end) {
      pollfd p{fd, POLLIN, 0};
      if (poll(&p, 1, 100) <= 0) continue;
      char c;
      if (recv(fd, &c, 1, 0) != 1) break;
      if (c == '\n')
        lines.push_back(std::move(cur)), cur.clear();
      else
        cur += c;
    }
    return lines;
  }
  std::string Ask(const std::string& line) {
    int fd = Connect();
    if (fd < 0) return "<no connection>";
    Send(fd, line + "\n");
    auto r = Replies(fd, 1);
    close(fd);
    return r.empty() ? "<no reply>" : r[0];
  }
  int Client(const std::string& args, std::string* out) {
    int status;
    *out = Sh("VELA_SOCKET='" + socket_ + "' '" VELA_COMMAND_EXE "' --timeout 20 " + args + " 2>/dev/null",
              &status);
    return status;
  }

  std::string socket_;
  pid_t pid_ = -1;
};

TEST_F(Served, AnswersRequestsAndRefusesBadLines) {
  Start();
  EXPECT_EQ(Ask("request qd_getwidth"), "data 64");
  EXPECT_EQ(Ask("request [qd_getwidth][qd_getheight]"), "data [64][48]");
  EXPECT_EQ(Ask("execute qd_setapen 1 2 3"), "ack 1");
  EXPECT_EQ(Ask("request qd_getapen"), "data 1 2 3 255");
  EXPECT_EQ(Ask("request qd_nosuch"), "ack 0");
  EXPECT_EQ(Ask("hello"), "ack 0");
  EXPECT_EQ(Ask(std::string("request qd_nop a\0b", 18)), "ack 0");
  EXPECT_EQ(Ask("request qd_nop " + std::string(3000, 'x')), "ack 0");

  // One connection, many lines at once: replies come in the order of the lines.
  int fd = Connect();
  ASSERT_GE(fd, 0);
  Send(fd, "request qd_getheight\r\nbogus\nrequest qd_nop " + std::string(5000, 'y') +
               "\nexecute qd_nop\nrequest qd_nop last\n");
  EXPECT_EQ(Replies(fd, 5),
            (std::vector<std::string>{"data 48", "ack 0", "ack 0", "ack 1", "data last"}));
  close(fd);

  // Clients that vanish: mid-line, and before reading their reply.
  fd = Connect();
  Send(fd, "request qd_getwid");
  close(fd);
  fd = Connect();
  Send(fd, "request qd_getwidth\nrequest qd_getheight\n");
  close(fd);
  EXPECT_EQ(Ask("request qd_nop still here"), "data still here");

  std::string out;
  EXPECT_EQ(Client("qd_getwidth", &out), 0);
  EXPECT_EQ(out, "64\n");
  EXPECT_EQ(Client("'[qd_nop a]' '[qd_nop b]'", &out), 0);
  EXPECT_EQ(out, "[a][b]\n");
  EXPECT_EQ(Client("qd_nosuch", &out), 1);
  EXPECT_EQ(Client("--execute qd_nosuch", &out), 0);
  EXPECT_EQ(out, "");

  // qd_quit ends the run; what was queued behind it is refused.
  fd = Connect();
  Send(fd, "request qd_quit\nrequest qd_getwidth\n");
  EXPECT_EQ(Replies(fd, 2), (std::vector<std::string>{"data ", "ack 0"}));
  close(fd);
  EXPECT_EQ(WaitEnd(), 0);
  EXPECT_FALSE(fs::exists(socket_));
  EXPECT_EQ(Client("qd_getwidth", &out), 2);  // nobody answers now
}

TEST_F(Served, DefaultSocketInAPrivateFolderAndEndsOnSignal) {
  fs::path runtime = dir_ / "run";
  fs::create_directories(runtime);
  Start(runtime.string());
  struct stat st;
  ASSERT_EQ(stat((runtime / "vela").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0700u);
  EXPECT_EQ(Ask("request qd_getheight"), "data 48");
  // A second server on the same place is refused while the first answers.
  std::string cmd =
      "cd '" + dir_.string() + "' && env -u DISPLAY -u VELA_SOCKET XDG_RUNTIME_DIR='" +
      runtime.string() + "' HOME='" + dir_.string() +
      "' '" VELA_EXE "' --headless --serve --home home2 --ini V2.INI >/dev/null 2>err2.txt";
  EXPECT_EQ(ExitCode(std::system(cmd.c_str())), 1);
  EXPECT_EQ(Ask("request qd_getheight"), "data 48");
  kill(pid_, SIGTERM);
  EXPECT_EQ(WaitEnd(), 0);
  EXPECT_FALSE(fs::exists(socket_));
}

}  // namespace
}  // namespace apptest
