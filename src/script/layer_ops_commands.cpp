#include "script/layer_ops_commands.h"

#include <strings.h>

#include <cstring>

#include "project/layer_ops.h"
#include "project/layers.h"

namespace vela {

namespace {

const char* SkipBlanks(const char* p) {
  while (*p == ' ' || *p == '\t') ++p;
  return p;
}

// The number at p, or false when none stands there; p moves behind it.
bool ReadNumber(const char** p, int* value) {
  const char* start = SkipBlanks(*p);
  const char* end = start;
  const double v = ParseDecimalNumber(start, &end);
  if (end == start) return false;
  *value = TruncateToInt(v);
  *p = end;
  return true;
}

// The word at p, compared by its first letters without regard to case.
bool WordIs(const char* p, const char* prefix) {
  return strncasecmp(SkipBlanks(p), prefix, std::strlen(prefix)) == 0;
}

const char* SkipWord(const char* p) {
  p = SkipBlanks(p);
  while (*p && *p != ' ' && *p != '\t') ++p;
  return p;
}

}  // namespace

void CmdLayerDuplicate(CommandRecord* r, const char* args) {
  const char* name = SkipBlanks(args);
  const int index = DuplicateLayer(*name ? name : nullptr);
  if (index < 0) {
    Fail(r, -1);
    return;
  }
  AnswerF(r, "%d", LayerAt(index)->id);
}

void CmdLayerMerge(CommandRecord* r, const char* args) {
  ParseNumbers(args, 1);
  const int index = LayerIndexOfId(CommandArgs.integer[0]);
  if (index < 0 || !MergeLayer(index)) {
    Fail(r, -1);
    return;
  }
  Done(r);
}

void CmdLayerMove(CommandRecord* r, const char* args) {
  ParseNumbers(args, 1);
  if (!MoveLayer(Timeline.current, CommandArgs.integer[0])) {
    Fail(r, -1);
    return;
  }
  Done(r);
}

void CmdLayerCut(CommandRecord*, const char*) {
  CutLayer();
}

void CmdLayerCopy(CommandRecord*, const char*) {
  CopyLayer();
}

void CmdLayerPaste(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  PasteLayer(CommandArgs.integer[0]);
}

// Answers how many positions the range covers.
void CmdLayerSelect(CommandRecord* r, const char* args) {
  ParseNumbers(args, 2);
  SetRange(CommandArgs.integer[0], CommandArgs.integer[1]);
  int lo, hi;
  AnswerF(r, "%d", RangeBounds(&lo, &hi) ? hi - lo + 1 : 0);
}

void CmdLayerSelectInfo(CommandRecord* r, const char*) {
  AnswerF(r, "%d %d", Timeline.rangeIn, Timeline.rangeCount);
}

// Answers the layer's first position after the move.
void CmdLayerShift(CommandRecord* r, const char* args) {
  ParseNumbers(args, 2);
  const int index = LayerIndexOfId(CommandArgs.integer[0]);
  if (index < 0 || !ShiftLayer(index, CommandArgs.integer[1])) {
    Fail(r, -1);
    return;
  }
  AnswerF(r, "%d", LayerAt(index)->first);
}

// Without a number only the opacity is reported: a bare command must not make the layer clear.
void CmdLayerDensity(CommandRecord* r, const char* args) {
  const Layer* l = CurrentLayer();
  if (!l) {
    Fail(r, -1);
    return;
  }
  const int old = l->opacity;
  int value;
  if (ReadNumber(&args, &value)) SetLayerOpacity(Timeline.current, value);
  AnswerF(r, "%d", old);
}

void CmdLayerDisplay(CommandRecord* r, const char* args) {
  int id;
  const int index = ReadNumber(&args, &id) ? LayerIndexOfId(id) : -1;
  if (index < 0) {
    Fail(r, -1);
    return;
  }
  const bool shown = !(LayerAt(index)->flags & kLayerHidden);
  if (WordIs(args, "on") || WordIs(args, "1"))
    SetLayerHidden(index, false);
  else if (WordIs(args, "of") || WordIs(args, "0"))
    SetLayerHidden(index, true);
  Answer(r, shown ? "On" : "Off");
}

// id "sta" or "end", the new count, and "tim" to stretch in time.
void CmdLayerStretch(CommandRecord*, const char* args) {
  int id, count;
  if (!ReadNumber(&args, &id)) return;
  const int index = LayerIndexOfId(id);
  const bool atStart = WordIs(args, "sta");
  if (index < 0 || (!atStart && !WordIs(args, "end"))) return;
  args = SkipWord(args);
  if (!ReadNumber(&args, &count)) return;
  ResizeLayer(index, count, atStart, WordIs(args, "tim"));
}

}  // namespace vela
