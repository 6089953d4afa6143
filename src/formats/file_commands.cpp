#include "formats/file_commands.h"

#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "formats/coders.h"
#include "formats/image_files.h"
#include "project/compose.h"
#include "script/dispatcher.h"
#include "start/workspace.h"

namespace vela {

namespace {

// True when the text holds the word, any case, as a whole word.
bool HasWord(const char* text, const char* word) {
  const size_t n = std::strlen(word);
  for (const char* p = text; *p;) {
    while (*p == ' ' || *p == '\t') ++p;
    const char* start = p;
    while (*p && *p != ' ' && *p != '\t') ++p;
    if (static_cast<size_t>(p - start) == n && strncasecmp(start, word, n) == 0) return true;
  }
  return false;
}

void Answer(CommandRecord* r, int result) {
  if (result == 0)
    Done(r);
  else
    Fail(r, result);
}

void CmdLoadPic(CommandRecord* r, const char* args) {
  char path[kWorkSize];
  const char* rest = ParseFileName(r, args, path);
  if (!rest) return;
  Answer(r, LoadImageInto(path, HasWord(rest, "stretch")));
}

// Saves `block` in the current mode; the number behind the name is this save's JPEG quality.
int SaveWithQuality(const char* path, const char* rest, const Block& block) {
  SaveSettings s = CurrentSaveSettings();
  const int quality = std::atoi(rest);
  s.jpegPower = quality > 0 ? std::min(quality, 100) : 100;
  return SaveBlockAs(path, block, s.saveMode, s);
}

void CmdSavePic(CommandRecord* r, const char* args) {
  char path[kWorkSize];
  const char* rest = ParseFileName(r, args, path);
  if (!rest) return;
  if (!Ws.page) return Fail(r, -1);
  Answer(r, SaveWithQuality(path, rest, *Ws.page));
}

void CmdSaveDisplay(CommandRecord* r, const char* args) {
  char path[kWorkSize];
  const char* rest = ParseFileName(r, args, path);
  if (!rest) return;
  if (!Ws.page) return Fail(r, -1);
  BlockPtr merged(AllocBlock(Ws.page->width, Ws.page->height));
  if (!merged) return Fail(r, -1);
  MergedRow(0, 0, merged->data, merged->width, merged->height, 1);
  Answer(r, SaveWithQuality(path, rest, *merged));
}

void CmdSaveMode(CommandRecord* r, const char* args) {
  char text[kResultSize];
  SaveMode(args, text, sizeof text);
  vela::Answer(r, text);
}

void CmdFileInfo(CommandRecord* r, const char* args) {
  char path[kWorkSize];
  if (!ParseFileName(r, args, path)) return;
  int w = 0, h = 0;
  // Multi-frame formats come with the sequence reader; until then every picture is one frame.
  if (FileType(path, &w, &h) < 0) return Fail(r, -1);
  AnswerF(r, "%d %d %d", w, h, 1);
}

void CmdLayerHold(CommandRecord* r, const char*) {
  Answer(r, Hold());
}
void CmdLayerFetch(CommandRecord* r, const char*) {
  Answer(r, Fetch(true));
}

constexpr CommandRow kRows[] = {
    {"qd_loadpic", CmdLoadPic},         {"qd_loadimage", CmdLoadPic},
    {"qd_loadlayer", CmdLoadPic},       {"qd_savepic", CmdSavePic},
    {"qd_savelayer", CmdSavePic},       {"qd_saveimage", CmdSavePic},
    {"qd_savemode", CmdSaveMode},       {"qd_fileinfo", CmdFileInfo},
    {"qd_savedisplay", CmdSaveDisplay}, {"qd_layerhold", CmdLayerHold},
    {"qd_layerfetch", CmdLayerFetch},
};

}  // namespace

bool AddFileCommands() {
  return AddCommands(kRows);
}

}  // namespace vela
