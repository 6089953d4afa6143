#include "host/channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <vector>

namespace vela {

namespace {

constexpr size_t kMaxOutput = 64 * 1024;  // replies a client has not read before it is dropped

struct Connection {
  int fd = -1;
  ChannelClient id = 0;
  ChannelLineReader reader;
  std::string out;
  int pending = 0;
  bool ended = false;  // the client has sent all it will send
  int64_t active = 0;  // when it last sent or was answered
};

struct ChannelState {
  int listener = -1;
  std::string path;
  ino_t inode = 0;
  ChannelClient nextId = 1;
  std::vector<std::unique_ptr<Connection>> clients;
  ChannelRequestHandler handler = nullptr;
  int idleMs = kChannelIdleMs;
  bool full = false;  // out of descriptors: newcomers wait until a connection goes
};
ChannelState g_channel;

int64_t NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

bool Idle(const Connection& c) {
  return c.pending == 0 && c.out.empty();
}

std::string Error(const std::string& what) {
  return what + ": " + std::strerror(errno);
}

// The folder of the default socket must be ours alone, or another user could speak for us.
bool SecureFolder(const std::string& dir, std::string* error) {
  if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
    *error = Error("cannot make " + dir);
    return false;
  }
  struct stat st;
  if (lstat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode) || st.st_uid != getuid()) {
    *error = dir + " is not a folder of this user";
    return false;
  }
  if ((st.st_mode & 077) != 0 && chmod(dir.c_str(), 0700) != 0) {
    *error = Error("cannot restrict " + dir);
    return false;
  }
  return true;
}

bool FillAddress(const std::string& path, sockaddr_un* addr, std::string* error) {
  *addr = {};
  addr->sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof addr->sun_path) {
    *error = "socket path is empty or too long: " + path;
    return false;
  }
  std::memcpy(addr->sun_path, path.c_str(), path.size() + 1);
  return true;
}

// A socket file that nobody answers is left from a run that ended badly.
bool ClearStale(const std::string& path, const sockaddr_un& addr, std::string* error) {
  struct stat st;
  if (lstat(path.c_str(), &st) != 0) return true;
  if (!S_ISSOCK(st.st_mode)) {
    *error = path + " exists and is not a socket";
    return false;
  }
  int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (probe < 0) {
    *error = Error("socket");
    return false;
  }
  bool live = connect(probe, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) == 0;
  close(probe);
  if (live) {
    *error = "another Vela answers on " + path;
    return false;
  }
  unlink(path.c_str());
  return true;
}

Connection* Find(ChannelClient id) {
  for (auto& c : g_channel.clients)
    if (c->id == id) return c.get();
  return nullptr;
}

void Drop(Connection* c) {
  close(c->fd);
  c->fd = -1;
}

void Flush(Connection* c) {
  while (c->fd >= 0 && !c->out.empty()) {
    ssize_t n = send(c->fd, c->out.data(), c->out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (n > 0) {
      c->out.erase(0, static_cast<size_t>(n));
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
      Drop(c);  // the client has gone
    }
  }
}

void Send(Connection* c, const char* reply) {
  if (c->fd < 0) return;
  c->out += reply;
  c->out += '\n';
  if (c->out.size() > kMaxOutput) {
    Drop(c);
    return;
  }
  Flush(c);
}

bool HandleLine(Connection* c, const char* line, size_t length, bool tooLong) {
  ChannelLine l = ParseChannelLine(line, length, tooLong);
  const char* command = l.kind == ChannelLineKind::Refused ? nullptr : l.command;
  int wantsData = l.kind == ChannelLineKind::Request ? 1 : 0;
  if (!g_channel.handler || !g_channel.handler(command, wantsData, c->id)) return false;
  ++c->pending;
  return true;
}

bool ReadFrom(Connection* c) {
  char buf[4096];
  ssize_t n = recv(c->fd, buf, sizeof buf, MSG_DONTWAIT);
  if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return false;
  bool queued = false;
  auto onLine = [&](const char* line, size_t length, bool tooLong) {
    queued = HandleLine(c, line, length, tooLong) || queued;
  };
  if (n <= 0) {
    if (n < 0) {
      Drop(c);  // reset: nothing can be answered
      return false;
    }
    c->ended = true;  // an unfinished line is dropped with the reader
    return false;
  }
  c->active = NowMs();
  c->reader.Feed(buf, static_cast<size_t>(n), onLine);
  return queued;
}

// The connection that has waited longest without being owed anything, or null.
Connection* LongestIdle() {
  Connection* oldest = nullptr;
  for (auto& c : g_channel.clients)
    if (c->fd >= 0 && Idle(*c) && (!oldest || c->active < oldest->active)) oldest = c.get();
  return oldest;
}

void Accept() {
  for (;;) {
    int fd = accept4(g_channel.listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) {
      if (errno != EMFILE && errno != ENFILE) return;
      // Out of descriptors: an idle client makes room, else newcomers wait in the queue.
      Connection* idle = LongestIdle();
      if (!idle) {
        g_channel.full = true;
        return;
      }
      Drop(idle);
      continue;
    }
    auto c = std::make_unique<Connection>();
    c->fd = fd;
    c->id = g_channel.nextId++;
    c->active = NowMs();
    g_channel.clients.push_back(std::move(c));
  }
}

// A client is closed once it has gone, has ended and has all its answers, or has idled too long.
void Sweep() {
  const int64_t now = NowMs();
  std::erase_if(g_channel.clients, [now](const std::unique_ptr<Connection>& c) {
    if (c->fd >= 0 && Idle(*c) && (c->ended || now - c->active >= g_channel.idleMs)) Drop(c.get());
    if (c->fd < 0) g_channel.full = false;
    return c->fd < 0;
  });
}

}  // namespace

void ChannelSetIdleTimeout(int ms) {
  g_channel.idleMs = ms;
}

int ChannelClientCount() {
  return static_cast<int>(g_channel.clients.size());
}

void ChannelSetRequestHandler(ChannelRequestHandler handler) {
  g_channel.handler = handler;
}

std::string ChannelDefaultPath() {
  const char* env = std::getenv("VELA_SOCKET");
  if (env && *env) return env;
  const char* run = std::getenv("XDG_RUNTIME_DIR");
  if (run && *run) return std::string(run) + "/vela/commands";
  return "/tmp/vela-" + std::to_string(getuid()) + "/commands";
}

bool ChannelOpen(const std::string& path, std::string* error) {
  if (g_channel.listener >= 0) ChannelClose();
  const char* env = std::getenv("VELA_SOCKET");
  bool chosen = env && *env && path == env;
  if (!chosen) {
    size_t slash = path.rfind('/');
    if (slash != std::string::npos && slash > 0 && !SecureFolder(path.substr(0, slash), error))
      return false;
  }
  sockaddr_un addr;
  if (!FillAddress(path, &addr, error) || !ClearStale(path, addr, error)) return false;
  int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (fd < 0) {
    *error = Error("socket");
    return false;
  }
  mode_t old = umask(077);
  int bound = bind(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr);
  umask(old);
  if (bound != 0 || listen(fd, 16) != 0) {
    *error = Error("cannot listen on " + path);
    close(fd);
    return false;
  }
  struct stat st;
  g_channel.inode = stat(path.c_str(), &st) == 0 ? st.st_ino : 0;
  g_channel.listener = fd;
  g_channel.path = path;
  return true;
}

bool ChannelIsOpen() {
  return g_channel.listener >= 0;
}

void ChannelClose() {
  for (auto& c : g_channel.clients) {
    Flush(c.get());
    if (c->fd >= 0) Drop(c.get());
  }
  g_channel.clients.clear();
  g_channel.full = false;
  if (g_channel.listener < 0) return;
  close(g_channel.listener);
  g_channel.listener = -1;
  // Only our own socket file is removed, not one a later run has put there.
  struct stat st;
  if (stat(g_channel.path.c_str(), &st) == 0 && st.st_ino == g_channel.inode)
    unlink(g_channel.path.c_str());
  g_channel.path.clear();
}

bool ChannelPump(int timeoutMs) {
  if (g_channel.listener < 0) return false;
  std::vector<pollfd> fds;
  fds.push_back({g_channel.full ? -1 : g_channel.listener, POLLIN, 0});
  for (auto& c : g_channel.clients) {
    short events = 0;
    if (!c->ended && c->pending < kChannelMaxPending) events |= POLLIN;
    if (!c->out.empty()) events |= POLLOUT;
    // Nothing to wait for: a hung-up client would wake every poll.
    fds.push_back({events ? c->fd : -1, events, 0});
  }
  if (poll(fds.data(), fds.size(), timeoutMs) <= 0) {
    Sweep();
    return false;
  }
  bool queued = false;
  size_t count = g_channel.clients.size();  // Accept may add to the list
  for (size_t i = 0; i < count; ++i) {
    Connection* c = g_channel.clients[i].get();
    short got = fds[i + 1].revents;
    if (got & POLLOUT) Flush(c);
    if (c->fd >= 0 && (got & (POLLIN | POLLHUP | POLLERR))) queued = ReadFrom(c) || queued;
  }
  if (fds[0].revents & POLLIN) Accept();
  Sweep();
  return queued;
}

void ChannelReply(ChannelClient client, const char* reply) {
  Connection* c = Find(client);
  if (!c) return;
  if (c->pending > 0) --c->pending;
  c->active = NowMs();
  // A reply is one line: line ends inside the text become blanks.
  std::string line(reply);
  for (char& ch : line)
    if (ch == '\n' || ch == '\r') ch = ' ';
  Send(c, line.c_str());
  if (c->fd >= 0 && c->ended && c->pending == 0 && c->out.empty()) Drop(c);
}

ChannelLine ParseChannelLine(const char* line, size_t length, bool tooLong) {
  ChannelLine refused{ChannelLineKind::Refused, nullptr};
  if (tooLong || std::memchr(line, 0, length)) return refused;
  struct Verb {
    const char* word;
    ChannelLineKind kind;
  };
  for (Verb v :
       {Verb{"request", ChannelLineKind::Request}, Verb{"execute", ChannelLineKind::Execute}}) {
    size_t n = std::strlen(v.word);
    if (length < n || std::memcmp(line, v.word, n) != 0) continue;
    if (length == n) return {v.kind, line + n};
    if (line[n] == ' ') return {v.kind, line + n + 1};
  }
  return refused;
}

}  // namespace vela
