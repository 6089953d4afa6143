#include "start/message.h"

#include <cstdarg>
#include <cstdio>

namespace vela {

namespace {
void StderrSink(const char* text) { std::fprintf(stderr, "vela: %s\n", text); }
MessageSink g_sink = StderrSink;
}  // namespace

void Message(const char* text) { g_sink(text ? text : ""); }

void MessageF(const char* format, ...) {
  char buf[4096];
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(buf, sizeof buf, format, ap);
  va_end(ap);
  g_sink(buf);
}

MessageSink SetMessageSink(MessageSink sink) {
  MessageSink old = g_sink;
  g_sink = sink ? sink : StderrSink;
  return old;
}

}  // namespace vela
