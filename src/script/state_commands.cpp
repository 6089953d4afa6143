// Pens, page size, and the protocol's own commands.
#include <strings.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/host.h"
#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "pixels/block.h"
#include "script/commands.h"
#include "start/ask.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

ScriptLockState ScriptLocks{};

namespace {

int Clamp255(int32_t v) {
  return std::clamp<int32_t>(v, 0, 255);
}

Pixel PenFromArgs(const char* args) {
  ParseNumbers(args, 4);  // the fourth number is read and ignored
  return 0xFF000000u | (static_cast<Pixel>(Clamp255(CommandArgs.integer[0])) << 16) |
         (static_cast<Pixel>(Clamp255(CommandArgs.integer[1])) << 8) |
         static_cast<Pixel>(Clamp255(CommandArgs.integer[2]));
}

void AnswerPen(CommandRecord* r, Pixel p) {
  AnswerF(r, "%d %d %d %d", static_cast<int>((p >> 16) & 255), static_cast<int>((p >> 8) & 255),
          static_cast<int>(p & 255), static_cast<int>(p >> 24));
}

const char* SkipBlanks(const char* p) {
  while (*p == ' ') ++p;
  return p;
}

// Drops what the user has typed or clicked. The window's own events (close, expose, resize) and
// dropped files stay queued in their order: a lost resize would leave the screen at its old size.
void FlushUserInput() {
  if (!HostIsOpen()) return;
  std::vector<HostEvent> kept;
  for (HostEvent e; HostPollEvent(&e);)
    if (!HostIsUserInput(e.type)) kept.push_back(std::move(e));
  for (const HostEvent& e : kept) HostPushEvent(e);
}

}  // namespace

void CmdSetAPen(CommandRecord*, const char* args) {
  Pixel p = PenFromArgs(args);
  MainSet.aPen = p;
  SetAPen(p);
}

void CmdSetBPen(CommandRecord*, const char* args) {
  Pixel p = PenFromArgs(args);
  MainSet.bPen = p;
  Draw.BPen = p;
}

void CmdGetAPen(CommandRecord* r, const char*) {
  AnswerPen(r, Draw.APen);
}
void CmdGetBPen(CommandRecord* r, const char*) {
  AnswerPen(r, Draw.BPen);
}

void CmdGetWidth(CommandRecord* r, const char*) {
  AnswerF(r, "%d", Ws.page ? Ws.page->width : Ws.pageWidth);
}

void CmdGetHeight(CommandRecord* r, const char*) {
  AnswerF(r, "%d", Ws.page ? Ws.page->height : Ws.pageHeight);
}

void CmdNop(CommandRecord* r, const char* args) {
  Answer(r, SkipBlanks(args));
}

void CmdVersion(CommandRecord* r, const char*) {
  Answer(r, "Vela1.00 us");
}

void CmdQuit(CommandRecord*, const char*) {
  ExitFlag = 1;
}

void CmdGauge(CommandRecord* r, const char* args) {
  Answer(r, GaugeEnabled ? "On" : "Off");
  GaugeEnabled = strncasecmp(SkipBlanks(args), "OFF", 3) != 0;
}

void CmdWarn(CommandRecord*, const char* args) {
  Message(SkipBlanks(args));
}

void CmdRequest(CommandRecord* r, const char* args) {
  // text|first|second: the message and up to two button labels, each within its bound.
  const char* p = SkipBlanks(args);
  const char* bar = std::strchr(p, '|');
  std::string text(p, bar ? static_cast<size_t>(bar - p) : std::strlen(p));
  text.resize(std::min<size_t>(text.size(), 4095));
  std::string buttons[2];
  for (std::string& b : buttons) {
    if (!bar) break;
    p = bar + 1;
    bar = std::strchr(p, '|');
    b.assign(p, bar ? static_cast<size_t>(bar - p) : std::strlen(p));
    b.resize(std::min<size_t>(b.size(), 255));
  }
  const char* yes = buttons[0].empty() ? nullptr : buttons[0].c_str();
  const char* no = buttons[1].empty() ? nullptr : buttons[1].c_str();
  AnswerF(r, "%d", Ask(text.c_str(), yes, no));
}

void CmdLockUser(CommandRecord*, const char*) {
  if (ScriptLocks.userLocked) return;
  ScriptLocks.savedUserShape = ScriptLocks.pointerShape;
  ScriptLocks.pointerShape = 2;
  ScriptLocks.userLocked = 1;
  UserLocked = 1;
}

void CmdUnlockUser(CommandRecord*, const char*) {
  if (!ScriptLocks.userLocked) return;
  FlushUserInput();
  ScriptLocks.userLocked = 0;
  UserLocked = 0;
  ScriptLocks.pointerShape = ScriptLocks.savedUserShape;
}

void CmdLockDisplay(CommandRecord*, const char* args) {
  const char* text = SkipBlanks(args);
  if (!*text) text = "Display is locked";
  std::snprintf(ScriptLocks.displayText, sizeof ScriptLocks.displayText, "%s", text);
  ScriptLocks.displayLocked = 1;
  DisplayLocked = 1;
  Ws.displayLocked = 1;
}

void CmdUnlockDisplay(CommandRecord*, const char*) {
  if (!ScriptLocks.displayLocked && !DisplayLocked) return;
  ScriptLocks.displayLocked = 0;
  ScriptLocks.displayText[0] = 0;
  DisplayLocked = 0;
  Ws.displayLocked = 0;
  RedrawScreen();
}

void CmdLockMouse(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  if (ScriptLocks.mouseNesting++ == 0) {
    ScriptLocks.savedMouseShape = ScriptLocks.pointerShape;
    ScriptLocks.pointerShape = CommandArgs.integer[0];
  }
}

void CmdUnlockMouse(CommandRecord*, const char*) {
  if (ScriptLocks.mouseNesting == 0) return;
  if (--ScriptLocks.mouseNesting == 0) ScriptLocks.pointerShape = ScriptLocks.savedMouseShape;
}

}  // namespace vela
