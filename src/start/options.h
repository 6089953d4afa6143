// The option words of a run ("CONFIG=name", "PageWidth=800", "UNDO=NO" ...).
#pragma once

#include <climits>
#include <string>

namespace vela {

constexpr int kOptionNotGiven = INT_MIN;

struct RunOptions {
  std::string fileDir;
  std::string globalDir;
  std::string configRexx = "command.vec";
  std::string rexxDir;
  std::string monitor;
  int noGauge = 0;
  int noBorder = 0;
  int noEraseAlert = 0;
  int undoMode = -1;  // -1 untouched, 0 auto, 2 no undo
  int pageWidth = 0;  // 0: not given
  int pageHeight = 0;
  int screen = 0;
  int screenOffsetX = kOptionNotGiven;
  int screenOffsetY = kOptionNotGiven;
  int screenOffsetType = kOptionNotGiven;
  int genlock = 0;
  int customBrush = 0;
};

RunOptions& Options();

// The value of the first argument from argv[1] on that is the option (any case): "NAME=value",
// or "" for the bare word "NAME"; null if none is.
const char* FindOption(int argc, const char* const* argv, const char* name);

// Applies every recognised option; paths go to Paths().
void ParseOptions(int argc, const char* const* argv);

// True if the word names an option of ParseOptions.
bool IsOptionWord(const char* word);

}  // namespace vela
