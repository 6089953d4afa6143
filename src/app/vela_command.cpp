// vela-command: sends one command to a running Vela over its channel and prints the answer.
// Exit status 0 for an answer or a positive acknowledgement, 1 for a negative one, 2 when the
// command could not be sent or no reply came.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "host/channel.h"

namespace {

int Usage() {
  std::fprintf(stderr,
               "usage: vela-command [--execute] [--timeout SECONDS] [--socket PATH] COMMAND...\n"
               "Sends COMMAND to a running Vela and prints its answer. With --execute only the\n"
               "acknowledgement is awaited.\n");
  return 2;
}

bool SendAll(int fd, const std::string& s) {
  size_t done = 0;
  while (done < s.size()) {
    ssize_t n = send(fd, s.data() + done, s.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<size_t>(n);
  }
  return true;
}

// Reads one reply line; false on a closed connection or time-out (timeout <= 0 waits forever).
bool ReadLine(int fd, double timeout, std::string* line) {
  using Clock = std::chrono::steady_clock;
  auto end = Clock::now() + std::chrono::duration<double>(timeout);
  char c;
  while (line->size() < 8192) {
    int wait = -1;
    if (timeout > 0) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
      if (left <= 0) return false;
      wait = static_cast<int>(left);
    }
    pollfd p{fd, POLLIN, 0};
    int r = poll(&p, 1, wait);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    ssize_t n = recv(fd, &c, 1, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    if (c == '\n') return true;
    *line += c;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  bool execute = false;
  double timeout = 0;
  std::string path = vela::ChannelDefaultPath();
  std::string command;
  int i = 1;
  for (; i < argc && argv[i][0] == '-' && argv[i][1] == '-'; ++i) {
    std::string flag = argv[i];
    if (flag == "--") {
      ++i;
      break;
    } else if (flag == "--execute") {
      execute = true;
    } else if (flag == "--timeout" && i + 1 < argc) {
      timeout = std::atof(argv[++i]);
    } else if (flag == "--socket" && i + 1 < argc) {
      path = argv[++i];
    } else {
      return Usage();
    }
  }
  for (; i < argc; ++i) {
    if (!command.empty()) command += ' ';
    command += argv[i];
  }
  if (command.empty()) return Usage();
  if (command.find_first_of("\r\n") != std::string::npos) {
    std::fprintf(stderr, "vela-command: a command is one line\n");
    return 2;
  }
  std::string line = (execute ? "execute " : "request ") + command + "\n";
  if (line.size() - 1 > vela::kChannelLineMax) {
    std::fprintf(stderr, "vela-command: the command is longer than %zu bytes\n",
                 vela::kChannelLineMax - 8);
    return 2;
  }

  sockaddr_un addr{};
  addr.sun_family = AF_UNIX;
  if (path.size() >= sizeof addr.sun_path) {
    std::fprintf(stderr, "vela-command: socket path too long: %s\n", path.c_str());
    return 2;
  }
  std::memcpy(addr.sun_path, path.c_str(), path.size() + 1);
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
    std::fprintf(stderr, "vela-command: no Vela answers on %s: %s\n", path.c_str(),
                 std::strerror(errno));
    return 2;
  }
  std::string reply;
  bool ok = SendAll(fd, line) && shutdown(fd, SHUT_WR) == 0 && ReadLine(fd, timeout, &reply);
  close(fd);
  if (!ok) {
    std::fprintf(stderr, "vela-command: no reply\n");
    return 2;
  }
  if (reply.rfind("data ", 0) == 0) {
    std::printf("%s\n", reply.c_str() + 5);
    return 0;
  }
  if (reply == "ack 1") return 0;
  if (reply == "ack 0") {
    std::fprintf(stderr, "vela-command: refused\n");
    return 1;
  }
  std::fprintf(stderr, "vela-command: unexpected reply: %s\n", reply.c_str());
  return 2;
}
