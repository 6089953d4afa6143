// The external command channel: a Unix-domain stream socket that other programs on the machine
// send commands to, one a line ("request <command>" or "execute <command>"). Replies are lines
// too: "ack 1", "ack 0" or "data <text>".
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace vela {

constexpr size_t kChannelLineMax = 2047;  // bytes of a line without its line end
constexpr int kChannelMaxPending = 64;  // a client's unanswered requests before it is not read
constexpr int kChannelIdleMs = 30000;   // default idle time before a connection is closed

using ChannelClient = uint64_t;  // never 0, never reused in a run

// Takes a request: the command (null for a line that is refused) and whether the client wants
// the result text. False when it cannot be queued: the request is dropped without a reply.
using ChannelRequestHandler = bool (*)(const char* command, int wantsData, ChannelClient client);
void ChannelSetRequestHandler(ChannelRequestHandler handler);

// VELA_SOCKET, else $XDG_RUNTIME_DIR/vela/commands, else /tmp/vela-<uid>/commands.
std::string ChannelDefaultPath();
// Makes the folder (mode 0700, unless the path came from VELA_SOCKET) and listens. Refuses a
// path where another program still answers.
bool ChannelOpen(const std::string& path, std::string* error);
bool ChannelIsOpen();
// Sends what is pending, closes every connection and removes the socket.
void ChannelClose();
// Accepts, reads and hands on requests, waiting up to timeoutMs for something to arrive. True
// when a request was handed on.
bool ChannelPump(int timeoutMs);
// Sends one reply line and counts the request as answered. A client that has gone is ignored.
void ChannelReply(ChannelClient client, const char* reply);
// A connection that waits for no answer and has sent nothing for this long is closed, so that
// idle clients never hold the program's files.
void ChannelSetIdleTimeout(int ms);
// Open connections, for tests.
int ChannelClientCount();

// What one line of the channel asks for.
enum class ChannelLineKind { Request, Execute, Refused };
struct ChannelLine {
  ChannelLineKind kind;
  const char* command;  // inside the line; Request and Execute only
};
// Line without its line end; NUL bytes, unknown verbs and over-long lines are refused.
ChannelLine ParseChannelLine(const char* line, size_t length, bool tooLong);

// Splits a byte stream into lines within a fixed buffer. A line longer than kChannelLineMax is
// reported once, as too long, when its end arrives; its bytes are not kept. A line that the end
// of the stream cuts off is never handed on: a client that died mid-line must not run half a
// command.
class ChannelLineReader {
 public:
  // onLine(const char* line, size_t length, bool tooLong): the line has a NUL after it.
  template <class F>
  void Feed(const char* data, size_t size, F&& onLine) {
    for (size_t i = 0; i < size; ++i) {
      char c = data[i];
      if (c != '\n') {
        if (length_ < sizeof buffer_ - 1)
          buffer_[length_++] = c;
        else
          tooLong_ = true;
        continue;
      }
      Emit(onLine);
    }
  }

 private:
  template <class F>
  void Emit(F& onLine) {
    size_t n = length_;
    if (n > 0 && buffer_[n - 1] == '\r') --n;
    bool tooLong = tooLong_ || n > kChannelLineMax;
    if (tooLong) n = 0;  // none of it is handed on
    buffer_[n] = 0;
    length_ = 0;
    tooLong_ = false;
    onLine(static_cast<const char*>(buffer_), n, tooLong);
  }
  char buffer_[kChannelLineMax + 2];  // a CR may stand before the line end
  size_t length_ = 0;
  bool tooLong_ = false;
};

}  // namespace vela
