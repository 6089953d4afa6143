// The shape commands and the Tools family: figures by script, and tool selection and settings.
#pragma once

#include "script/dispatcher.h"

namespace vela {

// Shapes.
void CmdSpline(CommandRecord* r, const char* args);
void CmdZSpline(CommandRecord* r, const char* args);
void CmdPolySpline(CommandRecord* r, const char* args);
void CmdTension(CommandRecord* r, const char* args);
void CmdCircle(CommandRecord* r, const char* args);
void CmdEllipse(CommandRecord* r, const char* args);
void CmdRect(CommandRecord* r, const char* args);
void CmdAreaInit(CommandRecord* r, const char* args);
void CmdAreaMove(CommandRecord* r, const char* args);
void CmdZDot(CommandRecord* r, const char* args);
void CmdGhostLine(CommandRecord* r, const char* args);
// Filled forms.
void CmdRectFill(CommandRecord* r, const char* args);
void CmdCircleFill(CommandRecord* r, const char* args);
void CmdEllipseFill(CommandRecord* r, const char* args);
void CmdAreaDraw(CommandRecord* r, const char* args);

// Tools. qd_pen also takes a tool's key word before the size ("wet", "oil", "water" ...).
void CmdPen(CommandRecord* r, const char* args);
void CmdPoint(CommandRecord* r, const char* args);
void CmdPencil(CommandRecord* r, const char* args);
void CmdChalk(CommandRecord* r, const char* args);
void CmdAirPen(CommandRecord* r, const char* args);
void CmdAirPower(CommandRecord* r, const char* args);
void CmdChalkPower(CommandRecord* r, const char* args);
void CmdPencilPower(CommandRecord* r, const char* args);
void CmdBrushPower(CommandRecord* r, const char* args);
void CmdPointPower(CommandRecord* r, const char* args);
void CmdAirSpline(CommandRecord* r, const char* args);
void CmdChalkSpline(CommandRecord* r, const char* args);
void CmdPencilSpline(CommandRecord* r, const char* args);
void CmdAirProfile(CommandRecord* r, const char* args);
void CmdChalkProfile(CommandRecord* r, const char* args);
void CmdPencilProfile(CommandRecord* r, const char* args);
void CmdPressureProfile(CommandRecord* r, const char* args);
void CmdSetDrawMode(CommandRecord* r, const char* args);
void CmdAliasOn(CommandRecord* r, const char* args);
void CmdAliasOff(CommandRecord* r, const char* args);
void CmdSmoothEdge(CommandRecord* r, const char* args);

// The smooth-edge setting of qd_smoothedge.
extern int SmoothEdge;

}  // namespace vela
