// The handlers of the first command family and the table rows that name them.
#pragma once

#include <span>

#include "script/dispatcher.h"

namespace vela {

// The rows this module brings, in table order.
std::span<const CommandRow> BaseCommands();

// Pens and page.
void CmdSetAPen(CommandRecord* r, const char* args);
void CmdSetBPen(CommandRecord* r, const char* args);
void CmdGetAPen(CommandRecord* r, const char* args);
void CmdGetBPen(CommandRecord* r, const char* args);
void CmdGetWidth(CommandRecord* r, const char* args);
void CmdGetHeight(CommandRecord* r, const char* args);

// Drawing.
void CmdDot(CommandRecord* r, const char* args);
void CmdLine(CommandRecord* r, const char* args);
void CmdZLine(CommandRecord* r, const char* args);
void CmdFastLine(CommandRecord* r, const char* args);

// Protocol and interface.
void CmdNop(CommandRecord* r, const char* args);
void CmdVersion(CommandRecord* r, const char* args);
void CmdQuit(CommandRecord* r, const char* args);
void CmdGauge(CommandRecord* r, const char* args);
void CmdWarn(CommandRecord* r, const char* args);
void CmdRequest(CommandRecord* r, const char* args);
void CmdLockUser(CommandRecord* r, const char* args);
void CmdUnlockUser(CommandRecord* r, const char* args);
void CmdLockDisplay(CommandRecord* r, const char* args);
void CmdUnlockDisplay(CommandRecord* r, const char* args);
void CmdLockMouse(CommandRecord* r, const char* args);
void CmdUnlockMouse(CommandRecord* r, const char* args);

// The four locks as scripts see them.
struct ScriptLockState {
  int userLocked;
  int displayLocked;
  int mouseNesting;
  int pointerShape;       // the shape shown now
  int savedUserShape;     // remembered by qd_lockuser
  int savedMouseShape;    // remembered at the first qd_lockmouse
  char displayText[256];  // what the message line shows while the display is locked
};
extern ScriptLockState ScriptLocks;

}  // namespace vela
