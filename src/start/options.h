// The option words of a run ("CONFIG=name", "PageWidth=800", "UNDO=NO" ...).
#pragma once

#include <string>

namespace vela {

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
  int screenOffsetX = 32767;
  int screenOffsetY = 32767;
  int screenOffsetType = -1;
  int genlock = 0;
  int customBrush = 0;
};

RunOptions& Options();

// The text after the option name in the first argument from argv[1] on that begins with it
// (any case), one "=" skipped; null if none does. A name followed by a letter or digit is another
// option ("CONFIG" does not take "CONFIGREXX=x").
const char* FindOption(int argc, const char* const* argv, const char* name);

// Applies every recognised option; paths go to Paths().
void ParseOptions(int argc, const char* const* argv);

// True if the word names an option of ParseOptions.
bool IsOptionWord(const char* word);

}  // namespace vela
