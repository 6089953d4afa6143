// The command file: the driver that runs commands without an interpreter.
#pragma once

#include <cstdio>

namespace vela {

// Runs each non-empty line of the file ("-" is standard input) and writes each result on a line
// of its own to out, an empty line for an empty result. Stops at the end or after qd_quit.
// A line longer than 4,095 bytes is not run: it is reported on stderr and gets an empty line.
// Returns 0, or -1 when the file cannot be read.
int RunCommandFile(const char* path, std::FILE* out);

}  // namespace vela
