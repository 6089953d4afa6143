#include "script/dispatcher.h"

#include <cctype>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "script/commands.h"

namespace vela {

CommandArgsRecord CommandArgs{};
int BracketMode = 0;
int ResultWritten = 0;

namespace {

struct Table {
  CommandRow rows[kCommandTableSize];
  size_t count = 0;  // rows before the closing null row
};

Table& Rows() {
  static Table table = [] {
    Table t{};
    for (const CommandRow& r : BaseCommands()) {
      if (t.count + 1 >= kCommandTableSize) break;
      t.rows[t.count++] = r;
    }
    t.rows[t.count] = {nullptr, nullptr};
    return t;
  }();
  return table;
}

bool IsSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c)) != 0;
}

const char* SkipSpace(const char* p) {
  while (*p && IsSpace(*p)) ++p;
  return p;
}

// Appends with the cut rule: whatever does not fit before the NUL is dropped.
void Append(CommandRecord* r, const char* text) {
  size_t used = strnlen(r->result, kResultSize - 1);
  size_t room = kResultSize - 1 - used;
  size_t n = std::min(std::strlen(text), room);
  std::memcpy(r->result + used, text, n);
  r->result[used + n] = 0;
}

// Steps over one bracket group starting at its "["; null when the line ends inside it.
const char* SkipGroup(const char* p) {
  int depth = 0;
  for (;; ++p) {
    if (!*p) return nullptr;
    if (*p == '[') ++depth;
    if (*p == ']' && --depth == 0) return p + 1;
  }
}

// Copies [from, to), or up to the NUL when to is null; false, with nothing copied, for a command
// that does not fit: cut, its rest would run as a command of its own.
bool CopyWork(char* work, const char* from, const char* to) {
  size_t n = to ? static_cast<size_t>(to - from) : strnlen(from, kWorkSize);
  work[0] = 0;
  if (n > kWorkSize - 1) return false;
  std::memcpy(work, from, n);
  work[n] = 0;
  return true;
}

// Finds the text of group k of a bracket line into work; false when there is none. *fits is
// false for a group too long to run.
bool TakeGroup(const char* line, int k, char* work, bool* fits) {
  const char* p = line;
  for (int i = 0; i < k; ++i) {
    p = SkipSpace(p);
    if (*p != '[') return false;
    p = SkipGroup(p);
    if (!p) return false;
  }
  p = SkipSpace(p);
  if (*p != '[') return false;
  const char* start = p + 1;
  const char* end = SkipGroup(p);
  *fits = CopyWork(work, start, end ? end - 1 : nullptr);
  return true;
}

void RunOne(CommandRecord* r, char* work) {
  for (char* c = work; *c; ++c)
    if (IsSpace(*c)) *c = ' ';
  char name[kNameSize];
  size_t n = 0;
  bool tooLong = false;
  for (const char* c = work; *c && *c != ' '; ++c) {
    if (n == kNameSize - 1) {
      tooLong = true;  // no command has such a name; a cut word must not match one
      break;
    }
    name[n++] = static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
  }
  name[n] = 0;
  ResultWritten = 0;
  const CommandRow* hit = nullptr;
  if (!tooLong)
    for (const CommandRow* row = Rows().rows; row->name; ++row)
      if (std::strcmp(row->name, name) == 0) {
        hit = row;
        break;
      }
  if (hit) {
    const char* args = work;
    while (*args && !IsSpace(*args)) ++args;
    hit->handler(r, args);
  }
  r->found = hit ? 1 : 0;
  if (!ResultWritten && BracketMode) Append(r, "[]");
}

}  // namespace

std::span<const CommandRow> CommandTable() {
  return {Rows().rows, Rows().count + 1};
}

bool AddCommands(std::span<const CommandRow> rows) {
  Table& t = Rows();
  if (t.count + rows.size() + 1 > kCommandTableSize) return false;
  for (const CommandRow& r : rows) t.rows[t.count++] = r;
  t.rows[t.count] = {nullptr, nullptr};
  return true;
}

void ExecuteCommand(CommandRecord* r) {
  r->result[0] = 0;
  r->found = 0;
  const char* line = r->command ? r->command : "";
  char work[kWorkSize];
  for (int k = 0;; ++k) {
    const char* p = SkipSpace(line);
    bool fits = true;
    if (*p != '[') {
      if (k > 0) return;
      BracketMode = 0;
      fits = CopyWork(work, p, nullptr);
    } else {
      BracketMode = 1;
      if (!TakeGroup(line, k, work, &fits)) return;
    }
    if (fits) {
      RunOne(r, work);
    } else {
      // Refused as an unknown command is: nothing runs, and a bracket line keeps its count.
      r->found = 0;
      if (BracketMode) Append(r, "[]");
    }
  }
}

double ParseDecimalNumber(const char* text, const char** end) {
  const char* p = SkipSpace(text);
  const char* start = p;
  if (*p == '+' || *p == '-') ++p;
  size_t digits = 0;
  while (*p >= '0' && *p <= '9') ++p, ++digits;
  if (*p == '.') {
    ++p;
    while (*p >= '0' && *p <= '9') ++p, ++digits;
  }
  if (digits == 0) {
    *end = text;
    return 0.0;
  }
  if (*p == 'e' || *p == 'E') {
    const char* q = p + 1;
    if (*q == '+' || *q == '-') ++q;
    if (*q >= '0' && *q <= '9') {
      while (*q >= '0' && *q <= '9') ++q;
      p = q;
    }
  }
  *end = p;
  // strtod would read further on its own ("0x10"), so it gets only the checked span.
  std::string span(start, p);
  return std::strtod(span.c_str(), nullptr);
}

int32_t TruncateToInt(double v) {
  if (std::isnan(v)) return 0;
  if (v >= 2147483647.0) return INT32_MAX;
  if (v <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(v);
}

int32_t ScriptToFixed(double c) {
  return TruncateToInt(c * 65536.0 + 32767.0);
}

void ParseNumbers(const char* arguments, int n) {
  if (n > kCommandArgCount) n = kCommandArgCount;
  const char* p = arguments ? arguments : "";
  if (static_cast<unsigned char>(*p) > 32)
    while (*p && static_cast<unsigned char>(*p) > 32) ++p;
  for (int i = 0; i < n; ++i) {
    while (*p == ' ') ++p;
    double v = 0.0;
    if (*p) v = ParseDecimalNumber(p, &p);
    CommandArgs.number[i] = v;
    CommandArgs.integer[i] = TruncateToInt(v);
  }
}

const char* ParseFileName(CommandRecord* r, const char* arguments, char* buffer) {
  const char* p = SkipSpace(arguments ? arguments : "");
  buffer[0] = 0;
  if (!*p) {
    Fail(r, -1);
    return nullptr;
  }
  size_t n = 0;
  if (*p == '"') {
    ++p;
    while (*p && *p != '"' && n < kWorkSize - 1) buffer[n++] = *p++;
    if (*p == '"') ++p;
  } else {
    while (*p && !IsSpace(*p) && n < kWorkSize - 1) buffer[n++] = *p++;
  }
  buffer[n] = 0;
  return SkipSpace(p);
}

void Answer(CommandRecord* r, const char* text) {
  ResultWritten = 1;
  if (BracketMode) Append(r, "[");
  Append(r, text);
  if (BracketMode) Append(r, "]");
  ++r->found;
}

void AnswerF(CommandRecord* r, const char* format, ...) {
  char text[kWorkSize];
  va_list ap;
  va_start(ap, format);
  std::vsnprintf(text, sizeof text, format, ap);
  va_end(ap);
  Answer(r, text);
}

void Fail(CommandRecord* r, int code) {
  char text[32];
  std::snprintf(text, sizeof text, BracketMode ? "[ERROR %d]" : "ERROR %d", code);
  ResultWritten = 1;
  Append(r, text);
  ++r->found;
}

void Done(CommandRecord* r) {
  Answer(r, "");
}

int ExecuteCallbackCommand(const char* command, char* result) {
  if (!command) return 0;
  CommandRecord r{};
  char text[kCallbackSize];
  size_t n = strnlen(command, kCallbackSize);
  // A command that does not fit the entry's buffer is refused whole, not cut and run.
  if (n < kCallbackSize) {
    std::memcpy(text, command, n + 1);
    r.command = text;
    ExecuteCommand(&r);
  }
  if (!result) return 0;
  size_t len = std::strlen(r.result) + 1;
  std::memcpy(result, r.result, len);
  return static_cast<int>(len);
}

}  // namespace vela
