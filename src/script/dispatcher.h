// The text command protocol: one line names a command and its arguments, the program runs it on
// the current project and answers with a line of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "start/gauge.h"  // GaugeEnabled, which qd_gauge switches

namespace vela {

constexpr size_t kResultSize = 260;     // result text with its NUL
constexpr size_t kWorkSize = 4096;      // one command's text with its NUL
constexpr size_t kNameSize = 512;       // a command name with its NUL
constexpr size_t kCallbackSize = 2048;  // a plug-in's command with its NUL
constexpr int kCommandArgCount = 32;
constexpr int kCommandTableSize = 292;  // 291 names and the closing row

// One execution: made by the entry, filled by the dispatcher and the handler.
struct CommandRecord {
  const char* command;  // owned by the entry; never changed
  char result[kResultSize];
  int32_t found;      // 1 when the line's last command was in the table
  uint16_t item;      // external requests only
  intptr_t client;    // external requests only
  int32_t wantsData;  // the external requester wants the result text, not only an ack
};

// The handler gets the text behind the command word: a blank first unless there are no arguments.
using CommandHandler = void (*)(CommandRecord* record, const char* arguments);
struct CommandRow {
  const char* name;  // lower case; null ends the table
  CommandHandler handler;
};

// The rows scanned by ExecuteCommand, in order; the first of two equal names wins.
std::span<const CommandRow> CommandTable();
// Modules above this one append their families at start-up. False when the table is full.
bool AddCommands(std::span<const CommandRow> rows);

// Numbers of the last numeric command; entry i of integer is entry i of number truncated
// towards zero (saturated at the 32-bit limits). Not cleared between commands.
struct CommandArgsRecord {
  double number[kCommandArgCount];
  int32_t integer[kCommandArgCount];
};
extern CommandArgsRecord CommandArgs;

extern int BracketMode;    // 1 while a bracket line runs
extern int ResultWritten;  // non-zero once the handler has answered

// A command (a plain line, or one group of a bracket line) over kWorkSize - 1 bytes is not run: it
// answers as an unknown command does.
void ExecuteCommand(CommandRecord* record);

// Fills the first n entries of CommandArgs (n at most 32). Decimal numbers only.
void ParseNumbers(const char* arguments, int n);
// Copies the file name or text into buffer (kWorkSize bytes) and returns the keyword part behind
// it; with empty arguments answers fail(-1) and returns null.
const char* ParseFileName(CommandRecord* record, const char* arguments, char* buffer);

// The result rules shared by every handler. An answer that does not fit in result is cut so that
// result keeps its NUL.
void Answer(CommandRecord* record, const char* text);
void AnswerF(CommandRecord* record, const char* format, ...) __attribute__((format(printf, 2, 3)));
void Fail(CommandRecord* record, int code);
void Done(CommandRecord* record);

// Entry 1, the plug-in callback: a command over 2,047 bytes is refused with an empty result;
// result (when not null) must hold kResultSize bytes. Returns the result's length with its NUL,
// or 0.
int ExecuteCallbackCommand(const char* command, char* result);

// A decimal number as the C library's strtod reads one, without hex, "inf" or "nan". *end is
// where the number stopped, or text itself when there was none (and the value 0.0).
double ParseDecimalNumber(const char* text, const char** end);
int32_t TruncateToInt(double value);
// A script coordinate as 16.16 fixed point: c * 65536 + 32767, truncated and saturated.
int32_t ScriptToFixed(double c);

}  // namespace vela
