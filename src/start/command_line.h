// The command line of the vela program.
#pragma once

#include <string>
#include <vector>

namespace vela {

struct CommandLine {
  bool headless = false;
  bool serve = false;
  int width = 1280;  // headless screen
  int height = 800;
  std::string script;
  std::string events;
  std::string screenshot;
  std::string savePage;
  std::string home;
  std::string ini;
  bool version = false;
  bool help = false;
  std::vector<std::string> options;  // NAME=value words for ParseOptions
  std::string path;                  // project or image to open
};

// Flags whose machinery the build has; the parser refuses the others as unknown.
struct CommandLineFeatures {
  bool script = false;
  bool events = false;
  bool serve = false;
};

// Returns true when the words make sense; else *error says why (the caller prints the usage and
// exits with 2).
bool ParseCommandLine(int argc, const char* const* argv, const CommandLineFeatures& features,
                      CommandLine* out, std::string* error);
std::string UsageText(const CommandLineFeatures& features);

}  // namespace vela
