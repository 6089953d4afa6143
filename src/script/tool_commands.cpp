// Figures by script through the shape tools' own drawing, and the Tools family of commands.
#include "script/tool_commands.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <string>

#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "start/main_loop.h"
#include "start/workspace.h"

namespace vela {

int SmoothEdge = 0;

namespace {

Pixel Pen(int32_t b) {
  return b ? Draw.BPen : Draw.APen;
}

// What every drawing command does first: the tool's pending figure ends, and its context holds.
bool Ready() {
  EndCurrentShapeTool();
  return Ws.page != nullptr;
}

Fixed16 At(double x, double y) {
  return {ScriptToFixed(x), ScriptToFixed(y)};
}

int Level(int32_t percent) {
  return std::clamp(percent, 0, 100) * 255 / 100;
}

void SelectWithSize(int tool, const char* args) {
  ParseNumbers(args, 1);
  SelectDrawingTool(tool);
  SetToolSize(CommandArgs.integer[0]);
}

void Power(int tool, const char* args) {
  ParseNumbers(args, 1);
  SetToolPower(tool, CommandArgs.integer[0]);
}

// The envelope as the curve of one handle, sampled at 64 points.
void EnvelopeSpline(int tool, const char* args) {
  ParseNumbers(args, 2);
  uint8_t table[256], env[64];
  BuildCurve(std::clamp(CommandArgs.integer[0], 0, 255), std::clamp(CommandArgs.integer[1], 0, 255),
             table);
  for (int i = 0; i < 64; ++i) env[i] = table[i * 255 / 63];
  SetEnvelope(&Tools.dab[tool], env);
  if (Tools.current == tool) ActivateTool();
}

void EnvelopePoint(int tool, const char* args) {
  ParseNumbers(args, 2);
  uint8_t env[64];
  GetEnvelope(Tools.dab[tool], env);
  env[std::clamp(CommandArgs.integer[0], 0, 63)] =
      static_cast<uint8_t>(std::clamp(CommandArgs.integer[1], 0, 255));
  SetEnvelope(&Tools.dab[tool], env);
  if (Tools.current == tool) ActivateTool();
}

const char* ModeWord(int mode) {
  const DrawModeRow* row = FindDrawMode(mode);
  return row ? row->keywords[0] : "GNAC GNAC";
}

}  // namespace

// ---- Shapes -------------------------------------------------------------------------------------

void CmdSpline(CommandRecord*, const char* args) {
  ParseNumbers(args, 7);
  const double* n = CommandArgs.number;
  if (!Ready()) return;
  DrawSpline(At(n[0], n[1]), At(n[2], n[3]), At(n[4], n[5]), Pen(CommandArgs.integer[6]), false, 0,
             0, 255, 255);
}

void CmdZSpline(CommandRecord*, const char* args) {
  ParseNumbers(args, 9);
  const double* n = CommandArgs.number;
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  int a = Level(i[7]), e = Level(i[8]);
  DrawSpline(At(n[0], n[1]), At(n[2], n[3]), At(n[4], n[5]), Pen(i[6]), false, -a, -e, a, e);
}

void CmdPolySpline(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  if (!Ready()) return;
  DrawPointList(AreaPoints, Pen(CommandArgs.integer[0]), false, 0, 0, 255, 255);
}

void CmdTension(CommandRecord*, const char* args) {
  ParseNumbers(args, 1);
  Shapes.tension = CommandArgs.integer[0];
}

void CmdCircle(CommandRecord*, const char* args) {
  ParseNumbers(args, 4);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  DrawEllipseOutline(i[0], i[1], i[2], i[2], Pen(i[3]), false);
}

void CmdEllipse(CommandRecord*, const char* args) {
  ParseNumbers(args, 5);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  DrawEllipseOutline(i[0], i[1], i[2], i[3], Pen(i[4]), false);
}

void CmdRect(CommandRecord*, const char* args) {
  ParseNumbers(args, 5);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  DrawRectangleOutline(std::min(i[0], i[2]), std::min(i[1], i[3]), std::max(i[0], i[2]),
                       std::max(i[1], i[3]), Pen(i[4]), false);
}

void CmdAreaInit(CommandRecord*, const char*) {
  AreaPoints.clear();
}

void CmdAreaMove(CommandRecord*, const char* args) {
  ParseNumbers(args, 2);
  AreaPoints.push_back(At(CommandArgs.number[0], CommandArgs.number[1]));
}

void CmdZDot(CommandRecord*, const char* args) {
  ParseNumbers(args, 5);
  const double* n = CommandArgs.number;
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  Brush* brush = DrawingBrush();
  if (!brush) return;
  int z = std::clamp(static_cast<int>(n[3] * 2.55), 0, 255);
  int32_t x = ScriptToFixed(n[0]), y = ScriptToFixed(n[1]);
  StrokeLine(brush, x, y, x, y, Pen(i[2]), 0, i[4] == 0, -z, -z, z, z);
}

namespace {

void FillFigure(FillRegion region, int32_t b) {
  FillShapeRegion(region, Pen(b), false);
}

}  // namespace

void CmdRectFill(CommandRecord*, const char* args) {
  ParseNumbers(args, 7);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  FillRegion region;
  region.kind = FillRegion::Rectangle;
  region.x0 = std::min(i[0], i[2]), region.x1 = std::max(i[0], i[2]);
  region.y0 = std::min(i[1], i[3]), region.y1 = std::max(i[1], i[3]);
  region.g = i[4], region.t = i[5];
  FillFigure(region, i[6]);
}

void CmdCircleFill(CommandRecord*, const char* args) {
  ParseNumbers(args, 6);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  FillRegion region;
  region.kind = FillRegion::Ellipse;
  region.cx = i[0], region.cy = i[1];
  region.rx = region.ry = i[2] == INT32_MIN ? INT32_MAX : std::abs(i[2]);
  region.g = i[3], region.t = i[4];
  FillFigure(region, i[5]);
}

void CmdEllipseFill(CommandRecord*, const char* args) {
  ParseNumbers(args, 7);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  FillRegion region;
  region.kind = FillRegion::Ellipse;
  region.cx = i[0], region.cy = i[1];
  region.rx = i[2] == INT32_MIN ? INT32_MAX : std::abs(i[2]);
  region.ry = i[3] == INT32_MIN ? INT32_MAX : std::abs(i[3]);
  region.g = i[4], region.t = i[5];
  FillFigure(region, i[6]);
}

void CmdAreaDraw(CommandRecord*, const char* args) {
  ParseNumbers(args, 3);
  const int32_t* i = CommandArgs.integer;
  if (!Ready()) return;
  FillRegion region;
  region.points = AreaPoints;
  region.g = i[0], region.t = i[1];
  FillFigure(region, 0);
}

void CmdGhostLine(CommandRecord*, const char* args) {
  ParseNumbers(args, 5);
  const int32_t* i = CommandArgs.integer;
  DrawLineOverlay(i[0], i[1], i[2], i[3]);
}

// ---- Tools --------------------------------------------------------------------------------------

void CmdPen(CommandRecord* r, const char* args) {
  // A tool's word before the size chooses that tool: "qd_pen oil 15" is the Oil at size 15.
  int tool = ToolPen;
  const char* p = args;
  while (*p == ' ' || *p == '\t') ++p;
  const char* end = p;
  while (std::isalpha(static_cast<unsigned char>(*end))) ++end;
  if (end > p && (*end == 0 || *end == ' ' || *end == '\t')) {
    int named = ToolFromKey(std::string(p, end).c_str());
    if (named >= 0) tool = named, args = end;
  }
  ParseNumbers(args, 1);
  SelectDrawingTool(tool);
  AnswerF(r, "%d", SetToolSize(CommandArgs.integer[0]));
}

void CmdPoint(CommandRecord*, const char*) {
  SelectDrawingTool(ToolPropellingPencil);
}

void CmdPencil(CommandRecord*, const char* args) {
  SelectWithSize(ToolPencil, args);
}
void CmdChalk(CommandRecord*, const char* args) {
  SelectWithSize(ToolChalk, args);
}
void CmdAirPen(CommandRecord*, const char* args) {
  SelectWithSize(ToolAirbrush, args);
}

void CmdAirPower(CommandRecord*, const char* args) {
  Power(ToolAirbrush, args);
}
void CmdChalkPower(CommandRecord*, const char* args) {
  Power(ToolChalk, args);
}
void CmdPencilPower(CommandRecord*, const char* args) {
  Power(ToolPencil, args);
}
void CmdBrushPower(CommandRecord*, const char* args) {
  Power(ToolCustomBrush, args);
}
void CmdPointPower(CommandRecord*, const char* args) {
  Power(ToolPropellingPencil, args);
}

void CmdAirSpline(CommandRecord*, const char* args) {
  EnvelopeSpline(ToolAirbrush, args);
}
void CmdChalkSpline(CommandRecord*, const char* args) {
  EnvelopeSpline(ToolChalk, args);
}
void CmdPencilSpline(CommandRecord*, const char* args) {
  EnvelopeSpline(ToolPencil, args);
}
void CmdAirProfile(CommandRecord*, const char* args) {
  EnvelopePoint(ToolAirbrush, args);
}
void CmdChalkProfile(CommandRecord*, const char* args) {
  EnvelopePoint(ToolChalk, args);
}
void CmdPencilProfile(CommandRecord*, const char* args) {
  EnvelopePoint(ToolPencil, args);
}

void CmdPressureProfile(CommandRecord*, const char* args) {
  ParseNumbers(args, 3);
  const int32_t* i = CommandArgs.integer;
  SetPressureCurve(std::clamp(i[0], 0, 252), std::clamp(i[1], 0, 252), i[2]);
}

void CmdSetDrawMode(CommandRecord* r, const char* args) {
  while (*args == ' ' || *args == '\t') ++args;
  std::string word(args);
  word.erase(word.find_last_not_of(" \t") + 1);
  const int old = Ws.drawMode;
  if (word.empty()) {
    Answer(r, ModeWord(old));
    return;
  }
  int mode = DrawModeFromKeyword(word.c_str());
  if (mode < 0 || !SetDrawMode(mode)) {
    Fail(r, -1);
    return;
  }
  Answer(r, ModeWord(old));
}

void CmdAliasOn(CommandRecord* r, const char*) {
  Answer(r, AntialiasOn ? "on" : "off");
  AntialiasOn = 1;
}

void CmdAliasOff(CommandRecord* r, const char*) {
  Answer(r, AntialiasOn ? "on" : "off");
  AntialiasOn = 0;
}

void CmdSmoothEdge(CommandRecord* r, const char* args) {
  ParseNumbers(args, 1);
  AnswerF(r, "%d", SmoothEdge);
  SmoothEdge = CommandArgs.integer[0];
}

}  // namespace vela
