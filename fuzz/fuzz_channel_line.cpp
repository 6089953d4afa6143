// fuzz-deps: vela_host
// Bytes from a client of the channel, cut into reads of any size: the line reader stays within
// its buffer and every line it hands on is one the parser can take.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "host/channel.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  // The first byte sets the size of the reads, so that lines fall across them differently.
  size_t chunk = data[0] % 64 + 1;
  const char* text = reinterpret_cast<const char*>(data + 1);
  size_t left = size - 1;
  vela::ChannelLineReader reader;
  size_t lines = 0, newlines = 0;
  for (size_t i = 0; i < left; ++i) newlines += text[i] == '\n';
  auto onLine = [&](const char* line, size_t length, bool tooLong) {
    ++lines;
    if (length > vela::kChannelLineMax || line[length] != 0) std::abort();
    if (tooLong && length != 0) std::abort();
    vela::ChannelLine l = vela::ParseChannelLine(line, length, tooLong);
    if (l.kind == vela::ChannelLineKind::Refused) return;
    if (tooLong || l.command < line || l.command > line + length) std::abort();
    if (std::strlen(l.command) != static_cast<size_t>(line + length - l.command)) std::abort();
  };
  for (size_t at = 0; at < left; at += chunk)
    reader.Feed(text + at, at + chunk <= left ? chunk : left - at, onLine);
  // Only a line end hands a line on: the bytes after the last one never run.
  if (lines != newlines) std::abort();
  return 0;
}
