// Undo, pixels, layers and the time-line as scripts reach them. Layers are named by their id.
#include "script/layer_commands.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "paint/brush.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "pixels/block.h"
#include "pixels/display.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layers.h"
#include "project/undo.h"
#include "start/input.h"
#include "start/workspace.h"

namespace vela {

namespace {

const char* SkipBlanks(const char* p) {
  while (*p == ' ' || *p == '\t') ++p;
  return p;
}

void AnswerStraight(CommandRecord* r, Pixel p) {
  const int a = Alpha(p);
  auto straight = [a](int c) { return a == 0 ? 0 : (a == 255 ? c : Div(c, a)); };
  AnswerF(r, "%d %d %d %d", straight(Red(p)), straight(Green(p)), straight(Blue(p)), a);
}

// The index of the layer with the id of the first number, or -1.
int LayerFromArgs(const char* args) {
  ParseNumbers(args, 1);
  return LayerIndexOfId(CommandArgs.integer[0]);
}

}  // namespace

void CmdUndo(CommandRecord*, const char*) {
  UndoStep();
}

void CmdRedo(CommandRecord*, const char* args) {
  CommandArgs.integer[0] = 0;
  CommandArgs.number[0] = 0;
  ParseNumbers(args, 1);
  Refill(0);
}

void CmdUpdateUndo(CommandRecord*, const char*) {
  if (Wet.on) FlushWetStroke();
  UpdateUndo();
}

void CmdGetPixel(CommandRecord* r, const char* args) {
  ParseNumbers(args, 2);
  AnswerStraight(r,
                 Ws.page ? GetPixel(Ws.page, CommandArgs.integer[0], CommandArgs.integer[1]) : 0);
}

void CmdWritePixel(CommandRecord*, const char* args) {
  ParseNumbers(args, 6);
  const int32_t* n = CommandArgs.integer;
  Block* page = Ws.page;
  if (!page || n[0] < 0 || n[1] < 0 || n[0] >= page->width || n[1] >= page->height) return;
  const int a = std::clamp(n[5], 0, 255);
  auto c = [a](int v) { return Mul(std::clamp(v, 0, 255), a); };
  PutPixel(page, n[0], n[1], MakePixel(a, c(n[2]), c(n[3]), c(n[4])));
  ++Stamp;  // no undo step, but the layer must still store the change
  ShowPage(n[0], n[1], 1, 1);
}

void CmdGetPixelLayer(CommandRecord* r, const char* args) {
  const char* word = SkipBlanks(args);
  size_t len = std::strcspn(word, " \t");
  const char* rest = word + len;
  const Block* plane = Ws.page;
  auto is = [&](const char* name) {
    return len == std::strlen(name) && strncasecmp(word, name, len) == 0;
  };
  if (is("brush")) {
    Brush* b = CurrentBrush();
    plane = b ? b->pixels : nullptr;
  } else if (is("front")) {
    plane = Ws.frontMerge;
  } else if (is("back")) {
    plane = Ws.backMerge;
  } else if (len > 0 && (word[0] == 's' || word[0] == 'S')) {
    plane = Ws.spare;
  } else if (len > 0 && (word[0] == 'u' || word[0] == 'U')) {
    plane = Ws.undo;
  }
  if (!plane) {
    Answer(r, "none");
    return;
  }
  ParseNumbers(rest, 2);
  AnswerStraight(r, GetPixel(plane, CommandArgs.integer[0], CommandArgs.integer[1]));
}

void CmdLayerCreate(CommandRecord* r, const char* args) {
  const char* name = SkipBlanks(args);
  int index = UserNewLayer(*name ? name : nullptr);
  if (index < 0) {
    Fail(r, -1);
    return;
  }
  AnswerF(r, "%d", LayerAt(index)->id);
}

void CmdLayerSet(CommandRecord* r, const char* args) {
  int index = LayerFromArgs(args);
  if (index < 0 || !SelectLayer(index, Timeline.position, false)) {
    Fail(r, -1);
    return;
  }
  Done(r);
}

void CmdLayerKill(CommandRecord* r, const char* args) {
  int index = LayerFromArgs(args);
  if (index < 0 || !DeleteLayer(index)) {
    Fail(r, -1);
    return;
  }
  Done(r);
}

void CmdLayerGetId(CommandRecord* r, const char* args) {
  ParseNumbers(args, 1);
  const Layer* l = LayerAt(CommandArgs.integer[0]);
  if (l)
    AnswerF(r, "%d", l->id);
  else
    Answer(r, "none");
}

void CmdLayerGetPos(CommandRecord* r, const char* args) {
  int index = LayerFromArgs(args);
  if (index >= 0)
    AnswerF(r, "%d", index);
  else
    Answer(r, "none");
}

void CmdLayerCurrentId(CommandRecord* r, const char*) {
  const Layer* l = CurrentLayer();
  AnswerF(r, "%d", l ? l->id : 0);
}

void CmdLayerImage(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  GotoPosition(CommandArgs.integer[0], 0);
}

void CmdLayerGetImage(CommandRecord* r, const char*) {
  AnswerF(r, "%d", Timeline.position);
}

void CmdLayerInfo(CommandRecord* r, const char* args) {
  const Layer* l = LayerAt(LayerFromArgs(args));
  if (!l) {
    Fail(r, -1);
    return;
  }
  AnswerF(r, " %d %d %s \"%s\" %s %d", l->first, l->last, l->sequence ? "sequence" : "image",
          l->name[0] ? l->name : "Untitled", (l->flags & kLayerHidden) ? "hidden" : "shown",
          l->opacity);
}

void CmdFirstImage(CommandRecord* r, const char*) {
  AnswerF(r, "%d", ProjectFirstImage());
}

void CmdLastImage(CommandRecord* r, const char*) {
  AnswerF(r, "%d", ProjectLastImage());
}

void CmdFrameRate(CommandRecord* r, const char* args) {
  const char* p = SkipBlanks(args);
  const char* end = p;
  double rate = ParseDecimalNumber(p, &end);
  if (end != p && rate > 0 && rate <= 100) {
    const char* word = SkipBlanks(end);
    bool stretch =
        strncasecmp(word, "stretch", 7) == 0 || strncasecmp(word, "timestretch", 11) == 0;
    ChangeFrameRate(rate, stretch);
  }
  AnswerF(r, "%f", Ws.frameRate);
}

void CmdGetPixelDisplay(CommandRecord* r, const char* args) {
  ParseNumbers(args, 2);
  AnswerStraight(r, MergedPixel(CommandArgs.integer[0], CommandArgs.integer[1]));
}

void CmdDisplay(CommandRecord* r, const char* args) {
  const char* word = SkipBlanks(args);
  Answer(r, Timeline.showMode ? "All" : "Current");
  int mode = -1;
  if (strncasecmp(word, "cu", 2) == 0 || word[0] == '0') mode = 0;
  if (strncasecmp(word, "al", 2) == 0 || word[0] == '1') mode = 1;
  if (mode < 0 || mode == Timeline.showMode) return;
  Timeline.showMode = mode;
  RebuildDisplay(true);
}

// "color r g b", "check r g b r g b", "black" or "none"; answers the background as it then is.
void CmdBackground(CommandRecord* r, const char* args) {
  const char* word = SkipBlanks(args);
  const size_t len = std::strcspn(word, " \t");
  // Five letters are compared: "none" has four, so a word must match as far as it goes.
  auto is = [&](const char* w) {
    const size_t n = std::min<size_t>(5, std::strlen(w));
    return len >= n && strncasecmp(word, w, n) == 0;
  };
  if (len > 0) {
    int mode = is("color") ? 1 : is("check") ? 2 : (is("black") || is("none")) ? 0 : -1;
    if (mode < 0) {
      Fail(r, -1);
      return;
    }
    const char* rest = word + len;
    const char* p = rest;
    int count = 0;
    for (const char* end = p;; p = end) {
      ParseDecimalNumber(p, &end);
      if (end == p) break;
      ++count;
    }
    ParseNumbers(rest, 6);
    const int32_t* n = CommandArgs.integer;
    auto colour = [](const int32_t* c) {
      return PenPixel(std::clamp(c[0], 0, 255), std::clamp(c[1], 0, 255), std::clamp(c[2], 0, 255));
    };
    if (count >= 3) Ws.background = colour(n);
    if (count >= 6) Ws.secondBackground = colour(n + 3);
    SetBackgroundMode(mode);
    RebuildDisplay(true);
  }
  const Pixel a = Ws.background, b = Ws.secondBackground;
  switch (BackgroundMode()) {
    case 1:
      AnswerF(r, "color %d %d %d", Red(a), Green(a), Blue(a));
      break;
    case 2:
      AnswerF(r, "check %d %d %d %d %d %d", Red(a), Green(a), Blue(a), Red(b), Green(b), Blue(b));
      break;
    default:
      Answer(r, "none");
  }
}

void CmdLayerAnim(CommandRecord*, const char*) {
  MakeAnim(0);
}

void CmdLayerInsertImage(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  InsertImage(std::max(CommandArgs.integer[0], 1), false);
}

}  // namespace vela
