#include "start/options.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "start/message.h"
#include "start/run_paths.h"

namespace vela {

namespace {
const char* const kOptionNames[] = {
    "FILEDIR", "PROJECTDIR", "CONFIGREXX", "REXXDIR", "FASTSAVE", "GLOBALDIR",
    "CONFIG", "NOGAUGE", "NOBORDER", "NOERASEALERT", "UNDO", "PageWidth", "PageHeight",
    "Screen", "ScreenOffsetX", "ScreenOffsetY", "ScreenOffsetType", "Genlock", "Monitor",
    "CustomBrush", "Image", "Swap"};

const char* AfterName(const char* arg, const char* name) {
  size_t n = std::strlen(name);
  if (strncasecmp(arg, name, n) != 0) return nullptr;
  // Only the whole word is the option: "Config.vel" and "Image.png" are files.
  const char* rest = arg + n;
  if (*rest == '=') return rest + 1;
  return *rest ? nullptr : rest;
}

int Int(const char* s) { return static_cast<int>(std::strtol(s, nullptr, 10)); }

// A page side given on the command line; anything but a whole number from 1 up is reported and
// left to the configuration.
int PageSide(const char* name, const char* v) {
  char* end = nullptr;
  long n = std::strtol(v, &end, 10);
  if (end == v || *end || n < 1 || n > 16384) {
    MessageF("%s=%s is not a page size from 1 to 16384; the configuration's is used", name, v);
    return 0;
  }
  return static_cast<int>(n);
}
}  // namespace

RunOptions& Options() {
  static RunOptions options;
  return options;
}

const char* FindOption(int argc, const char* const* argv, const char* name) {
  for (int i = 1; i < argc; ++i)
    if (argv[i])
      if (const char* v = AfterName(argv[i], name)) return v;
  return nullptr;
}

bool IsOptionWord(const char* word) {
  for (const char* name : kOptionNames)
    if (AfterName(word, name)) return true;
  return false;
}

void ParseOptions(int argc, const char* const* argv) {
  RunOptions& o = Options();
  RunPaths& p = Paths();
  auto find = [&](const char* name) { return FindOption(argc, argv, name); };
  if (const char* v = find("FILEDIR")) o.fileDir = v;
  (void)find("PROJECTDIR");
  if (const char* v = find("CONFIGREXX")) o.configRexx = v;
  if (const char* v = find("REXXDIR")) o.rexxDir = v;
  if (const char* v = find("FASTSAVE")) p.fastSavePath = v;
  if (const char* v = find("GLOBALDIR")) {
    o.globalDir = v;
    o.fileDir = v;
  }
  if (const char* v = find("CONFIG")) p.configName = std::string(v).substr(0, kConfigNameCapacity - 1);
  if (find("NOGAUGE")) o.noGauge = 1;
  if (find("NOBORDER")) o.noBorder = 1;
  if (find("NOERASEALERT")) o.noEraseAlert = 1;
  if (const char* v = find("UNDO")) {
    if (strncasecmp(v, "NO", 2) == 0) o.undoMode = 2;
    else if (strncasecmp(v, "AUTO", 4) == 0) o.undoMode = 0;
  }
  if (const char* v = find("PageWidth")) o.pageWidth = PageSide("PageWidth", v);
  if (const char* v = find("PageHeight")) o.pageHeight = PageSide("PageHeight", v);
  if (const char* v = find("Screen")) o.screen = Int(v);
  if (const char* v = find("ScreenOffsetX")) o.screenOffsetX = Int(v);
  if (const char* v = find("ScreenOffsetY")) o.screenOffsetY = Int(v);
  if (const char* v = find("ScreenOffsetType")) o.screenOffsetType = Int(v);
  if (find("Genlock")) o.genlock = 1;
  if (const char* v = find("Monitor")) o.monitor = v;
  if (const char* v = find("CustomBrush"))
    if (int n = Int(v)) o.customBrush = n;
  if (const char* v = find("Image")) p.projectPath = std::string(v).substr(0, kProjectPathCapacity - 1);
  if (const char* v = find("Swap")) p.sparePath = std::string(v).substr(0, kProjectPathCapacity - 1);
}

}  // namespace vela
