// The Tools window. Its gadget table is built again whenever the tool or the form changes, since
// each tool has its own record; every change goes into the record and activates the tool.
#include "windows/tools_window.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <vector>

#include "paint/stroke.h"
#include "paint/tools.h"
#include "pixels/primitives.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "windows/setting_rows.h"
#include "windows/toolbar.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kWidth = 162, kSmallHeight = 90, kLargeHeight = 349, kAirbrushHeight = 368;
constexpr int kToolBase = 100;   // ids 100..107: the eight tools
constexpr int kStiffBase = 120;  // 120..123: Silk, Hard, Medium, Soft
constexpr int kEnvelopeId = 130, kPresetId = 131, kPrevId = 132, kNextId = 133, kPresetText = 134,
              kResetId = 135;
constexpr int kPad = 64;  // the envelope's side

const char* const kNames[10] = {"Pen",      "Propelling Pencil", "Pencil", "Chalk",
                                "Airbrush", "Water Color",       "Oil",    "Gouache",
                                "Brush",    "Text Brush"};
const char* const kHelp[8] = {
    "Pen\xA7\n\nA round pen.",
    "Propelling pencil\xA7\n\nA one-pixel line.",
    "Pencil\xA7\n\nA pencil's grain.",
    "Chalk\xA7\n\nA chalk's grain.",
    "Airbrush\xA7\n\nSprays paint; thin layers\nstay faint.",
    "Water colour\xA7\n\nA wash: veils stay light.",
    "Oil\xA7\n\nThick wet paint with relief.",
    "Gouache\xA7\n\nOpaque wet paint.",
};
const char* const kActions[8] = {"ToolPen",      "ToolPropPencil", "ToolPencil", "ToolChalk",
                                 "ToolAirBrush", "ToolWaterColor", "ToolOil",    "ToolGouache"};
const char* const kStiffness[4] = {"Silk", "Hard", "Medium", "Soft"};

Window* g_window = nullptr;
uint32_t g_serial = 0;
bool g_large = false;
int g_x = -1, g_y = -1;
bool g_display = false;
int g_builtTool = -1;
std::vector<Gadget> g_table;
RowSet g_rows;
char g_presetText[16] = "";
uint8_t g_shownEnvelope[64];
int g_shownPreset = -1, g_shownStiffness = -1;

bool IsDab(int t) {
  return t >= ToolPencil && t <= ToolGouache;
}
bool IsWet(int t) {
  return t >= ToolAirbrush && t <= ToolGouache;
}

// ---- Record access, each change activating the tool --------------------------------------------

// Word numbers for the dab tools, record fields for the others.
enum Field : int {
  kFieldPressure = 0,
  kFieldSpeed,
  kFieldLimit,
  kFieldSize,
  kFieldPower,
  kFieldStep,
  kFieldAutoStep,
  kFieldInversion,
  kFieldSize2,
  kFieldResponse,
  kFieldDrying,
  kFieldSmooth,
};

// Where each field lives in each tool's record, by field: null (or kNone) where it has none.
using Pn = PenRecord;
using Pt = PointeRecord;
using Cb = CustomBrushRecord;
constexpr int kNone = -1;
struct Place {
  int32_t Pn::*pen;
  int32_t Pt::*pointe;
  int dabWord;
  int32_t Cb::*custom;
};
constexpr Place kPlaces[] = {
    {&Pn::pressure, &Pt::pressure, kWordPressure, &Cb::pressure},
    {&Pn::speed, &Pt::speed, kWordSpeed, &Cb::speed},
    {&Pn::limit, &Pt::limit, kWordLimit, &Cb::limit},
    {&Pn::size1, nullptr, kWordSize, nullptr},
    {nullptr, &Pt::opacity, kWordPower, &Cb::opacity},
    {nullptr, nullptr, kWordStep, &Cb::step},
    {nullptr, nullptr, kWordAutoStep, &Cb::autoStep},
    {nullptr, &Pt::inversion, kWordInversion, &Cb::inversion},
    {&Pn::size2, nullptr, kNone, nullptr},
    {nullptr, nullptr, kWordResponse, nullptr},
    {nullptr, nullptr, kNone, nullptr},  // drying: a switch of its own
    {nullptr, nullptr, kNone, &Cb::smooth},
};
static_assert(std::size(kPlaces) == kFieldSmooth + 1);

int32_t* FieldOf(int field) {
  if (field < 0 || field > kFieldSmooth) return nullptr;
  const Place& at = kPlaces[field];
  const int t = Tools.current;
  if (t == ToolPen) return at.pen ? &(Tools.pen.*at.pen) : nullptr;
  if (t == ToolPropellingPencil) return at.pointe ? &(Tools.pointe.*at.pointe) : nullptr;
  if (IsDab(t)) return at.dabWord == kNone ? nullptr : &Tools.dab[t].word[at.dabWord];
  return at.custom ? &(Tools.custom.*at.custom) : nullptr;
}

int Get(int field) {
  if (field == kFieldSize) return ToolSize();
  if (field == kFieldDrying)
    return IsWet(Tools.current) && !Tools.dab[Tools.current].word[kWordNoDrying];
  if (field == kFieldResponse) {
    int v = IsDab(Tools.current) ? Tools.dab[Tools.current].word[kWordResponse] : 100;
    return v < 1 || v > 100 ? 100 : v;  // read as 100 when out of range
  }
  const int32_t* p = FieldOf(field);
  return p ? *p : 0;
}

void Set(int field, int value) {
  switch (field) {
    case kFieldSize:
      SetToolSize(value);
      return;
    case kFieldPower:
      SetToolPower(Tools.current, value);
      return;
    case kFieldDrying:
      SetToolDrying(value != 0);
      return;
    default:
      break;
  }
  int32_t* p = FieldOf(field);
  if (!p) return;
  *p = value;
  // Moving the step by hand is a manual step.
  if (field == kFieldStep)
    if (int32_t* a = FieldOf(kFieldAutoStep)) *a = 0;
  ActivateTool();
}

SettingRow Switch(const char* label, int field, const char* help) {
  return {label, kRowSwitch, 0, 1, false, Get, Set, field, help};
}
SettingRow Slider(const char* label, int field, int lo, int hi, bool percent, const char* help,
                  const char* action = nullptr) {
  return {label, kRowSlider, lo, hi, percent, Get, Set, field, help, action};
}

// The rows of a tool in the order they stand: switches two to a row first.
void MakeRows(int t, std::vector<std::pair<int, int>>* pairs) {
  g_rows = RowSet{};
  auto& r = g_rows.rows;
  const char* pressure = "Pressure\xA7\n\nThe pen's pressure lays\nmore or less paint.";
  const char* speed = "Speed\xA7\n\nThe pointer's speed lays\nmore or less paint.";
  const char* inversion = "Inversion\xA7\n\nA fast stroke gives more\ninstead of less.";
  const char* limit = "Limit\xA7\n\nThe speed at which speed\nhas its full effect.";
  r.push_back(Switch("Pressure", kFieldPressure, pressure));
  r.push_back(Switch("Speed", kFieldSpeed, speed));
  pairs->push_back({0, 1});
  if (t == ToolPen) {
    r.push_back(Slider("Limit", kFieldLimit, 1, 100, false, limit));
    r.push_back(Slider("Min size", kFieldSize, 0, 100, false,
                       "Minimum size for Pen\xA7\n\nThe radius at the least\npressure or speed.",
                       "IncreaseToolsSize"));
    r.push_back(Slider("Max size", kFieldSize2, 0, 100, false,
                       "Maximum size for Pen\xA7\n\nThe radius at the most\npressure or speed."));
    pairs->push_back({2, -1}), pairs->push_back({3, -1}), pairs->push_back({4, -1});
    return;
  }
  r.push_back(Switch("Inversion", kFieldInversion, inversion));
  if (t == ToolPropellingPencil) {
    pairs->push_back({2, -1});
    r.push_back(Slider("Limit", kFieldLimit, 1, 100, false, limit));
    r.push_back(Slider("Opacity", kFieldPower, 0, 255, true,
                       "Opacity\xA7\n\nHow much paint the line\nlays at most."));
    pairs->push_back({3, -1}), pairs->push_back({4, -1});
    return;
  }
  r.push_back(Switch("Auto Step", kFieldAutoStep,
                     "Auto Step\xA7\n\nSpacing of the dabs by the\nsize of the tool."));
  pairs->push_back({2, 3});
  int n = 4;
  if (IsWet(t)) {
    r.push_back(Switch("Drying", kFieldDrying,
                       "Drying\xA7\n\nOff: strokes stay wet and\nmix with the next ones."));
    pairs->push_back({n++, -1});
  }
  if (t == ToolCustomBrush) {
    r.push_back(Switch("Smooth", kFieldSmooth, "Smooth\xA7\n\nSmooths the brush's edges."));
    pairs->push_back({n++, -1});
  }
  r.push_back(Slider("Limit", kFieldLimit, 1, 100, false, limit));
  pairs->push_back({n++, -1});
  if (IsDab(t)) {
    r.push_back(Slider("Size", kFieldSize, 1, 100, false, "Size\xA7\n\nThe dab's radius in pixels.",
                       "IncreaseToolsSize"));
    pairs->push_back({n++, -1});
  }
  r.push_back(Slider(IsDab(t) ? "Power" : "Opacity", kFieldPower, 0, 255, true,
                     "Power\xA7\n\nThe most paint a dab lays,\nin percent."));
  pairs->push_back({n++, -1});
  r.push_back(Slider("Step", kFieldStep, 0, 100, false,
                     "Step\xA7\n\nPixels between dabs; moving\nit turns Auto Step off."));
  pairs->push_back({n++, -1});
  if (t == ToolAirbrush) {
    r.push_back(
        Slider("Opacity", kFieldResponse, 1, 100, false,
               "Opacity\xA7\n\nThe strength of the spray\nwhere it is densest, in\npercent."));
    pairs->push_back({n++, -1});
  }
}

// ---- Drawing -----------------------------------------------------------------------------------

Gadget Make(int l, int t, int r, int b, int id, uint32_t flags, const char* help = nullptr) {
  return GadgetRow(l, t, r, b, id, flags, nullptr, help);
}

// A profile as columns, rim at the left: the envelope and the preset look alike.
void DrawProfile(Gadget* g, const uint8_t* bytes, Pixel ink) {
  Block* b = g_window->picture;
  FillRect(b, g->left + 1, g->top + 1, g->right - 1, g->bottom - 1, 0xFFFFFFFF);
  for (int i = 0; i < 64; ++i) {
    int h = bytes[i] >> 2;
    if (h > 0) FillRect(b, g->left + 1 + i, g->bottom - h, g->left + 1 + i, g->bottom - 1, ink);
  }
}

void Blit(Gadget* g) {
  if (g) BlitGadget(g_window, g);
}

void ShowEnvelope() {
  const int t = Tools.current;
  if (!IsDab(t)) return;
  uint8_t env[64];
  GetEnvelope(Tools.dab[t], env);
  std::memcpy(g_shownEnvelope, env, 64);
  const int preset = Tools.dab[t].word[kWordPreset];
  g_shownPreset = preset;
  if (Gadget* g = FindGadget(kEnvelopeId, g_table.data())) {
    RedrawGadget(g, g_window);
    DrawProfile(g, env, 0xFF203070);
    Blit(g);
  }
  if (Gadget* g = FindGadget(kPresetId, g_table.data())) {
    RedrawGadget(g, g_window);
    DrawProfile(g, EnvelopePreset(preset), 0xFF707070);
    Blit(g);
  }
  std::snprintf(g_presetText, sizeof g_presetText, "%d", preset + 1);
  if (Gadget* g = FindGadget(kPresetText, g_table.data())) {
    RedrawGadget(g, g_window);
    Blit(g);
  }
}

void ShowStiffness() {
  if (Tools.current != ToolOil) return;
  g_shownStiffness = Tools.dab[ToolOil].word[kWordStiffness];
  for (int i = 0; i < 4; ++i)
    if (Gadget* g = FindGadget(kStiffBase + i, g_table.data())) {
      g->flags = i == g_shownStiffness ? g->flags | kGadSelected : g->flags & ~kGadSelected;
      RedrawGadget(g, g_window);
      Blit(g);
    }
}

void BuildTable(int height) {
  const int t = Tools.current;
  g_table.clear();
  g_table.push_back(Make(0, 0, -1, -1, kGadFrame, kGadInert | kGadBox));
  g_table.push_back(Make(2, 2, 19, 19, kGadClose, 0));
  g_table.push_back(Make(20, 2, kWidth - 42, 19, kGadTitle, 0));
  g_table.push_back(Make(kWidth - 41, 2, kWidth - 23, 19, kGadMaximize, kGadNoPressLook));
  g_table.push_back(Make(kWidth - 21, 2, kWidth - 3, 19, kGadDepth, 0));
  for (int i = 0; i < 8; ++i) {
    int x = 5 + (i % 4) * 38, y = 24 + (i / 4) * 30;
    Gadget g =
        Make(x, y, x + 35, y + 27, kToolBase + i,
             kGadImage | kGadPair1 | kGadRightButton | (i == t ? kGadSelected : 0u), kHelp[i]);
    g.image = DrawingToolIcon(i);
    g.action = kActions[i];
    g_table.push_back(g);
  }
  g_rows = RowSet{};
  if (g_large) {
    std::vector<std::pair<int, int>> pairs;
    MakeRows(t, &pairs);
    g_rows.texts.assign(g_rows.rows.size(), {});
    g_rows.shown.assign(g_rows.rows.size(), -1);
    g_table.push_back(Make(5, 85, kWidth - 6, 85, 90, kGadInert | kGadRuleH));
    int y = 92;
    for (auto [a, b] : pairs) {
      if (b >= 0) {
        AddRowGadgets(&g_table, &g_rows, a, 5, y, 74);
        AddRowGadgets(&g_table, &g_rows, b, 81, y, 74);
      } else if (g_rows.rows[a].kind == kRowSwitch) {
        AddRowGadgets(&g_table, &g_rows, a, 5, y, 148);
      } else {
        AddRowGadgets(&g_table, &g_rows, a, 56, y, kWidth - 61);
      }
      y += 20;
    }
    if (t == ToolOil) {
      for (int i = 0; i < 4; ++i) {
        int x = 5 + i * 38;
        Gadget g =
            Make(x, y, x + 35, y + kRowHeight - 1, kStiffBase + i, kGadPair3,
                 "Stiffness\xA7\n\nSilk paints with the plain\ndab; Hard, Medium and Soft\nwith "
                 "bristles.");
        g.label = kStiffness[i];
        g.labelFlags = kLabelInside;
        g_table.push_back(g);
      }
      y += 20;
    }
    if (IsDab(t)) {
      y += 2;
      Gadget env =
          Make(5, y, 5 + kPad + 1, y + kPad + 1, kEnvelopeId,
               kGadActOnPress | kGadNoPressLook | kGadSunk | kGadRightButton,
               "Envelope\xA7\n\nThe dab's profile, rim at\nthe left. Draw it with the\nleft "
               "button; the right\nbutton smooths it.");
      g_table.push_back(env);
      Gadget pre = Make(kWidth - 6 - kPad - 1, y, kWidth - 6, y + kPad + 1, kPresetId, kGadSunk,
                        "Preset\xA7\n\nClick to copy this profile\ninto the envelope.");
      g_table.push_back(pre);
      y += kPad + 5;
      const int px = kWidth - 6 - kPad - 1;
      Gadget prev = Make(px, y, px + 15, y + kRowHeight - 1, kPrevId, 0,
                         "Previous preset\xA7\n\nShows the preset before.");
      prev.label = "<";
      prev.labelFlags = kLabelInside;
      g_table.push_back(prev);
      Gadget text =
          Make(px + 18, y, px + 47, y + kRowHeight - 1, kPresetText, kGadInert | kGadColour);
      text.colour = 0xFFF4F4F4;
      text.label = g_presetText;
      text.labelFlags = kLabelInside;
      g_table.push_back(text);
      Gadget next = Make(px + 50, y, kWidth - 6, y + kRowHeight - 1, kNextId, 0,
                         "Next preset\xA7\n\nShows the preset after.");
      next.label = ">";
      next.labelFlags = kLabelInside;
      g_table.push_back(next);
    }
    Gadget reset =
        Make(5, std::min(y, height - 24), 70, std::min(y, height - 24) + kRowHeight - 1, kResetId,
             kGadPair4, "Reset\xA7\n\nThe tool's settings back to\ntheir defaults.");
    reset.label = "Reset";
    reset.labelFlags = kLabelInside;
    reset.action = "ResetTool";
    g_table.push_back(reset);
  }
  g_table.push_back(Gadget{});
}

int HeightFor(int tool) {
  if (!g_large) return kSmallHeight;
  return tool == ToolAirbrush ? kAirbrushHeight : kLargeHeight;
}

void Handler(Window* w, Gadget* g, int code);

void OnClose(Window* w) {
  if (w == g_window) CloseTools();
}

// Makes the Window for the current tool and form where the last one stood.
Window* Build() {
  const int t = Tools.current;
  const int height = HeightFor(t);
  if (ToolsOpen()) {
    g_x = g_window->left, g_y = g_window->top;
    DeleteWindow(g_window);
    g_window = nullptr;
  }
  Window* w = CreateWindow(kWidth, height, 0);
  if (!w) {
    Message(" Not enough memory");
    return nullptr;
  }
  g_window = w;
  g_serial = w->serial;
  g_builtTool = t;
  BuildTable(height);
  w->title = kNames[std::clamp(t, 0, 9)];
  w->gadgets = g_table.data();
  w->handler = Handler;
  w->onClose = OnClose;
  w->onMove = [](Window*, int*, int*) {};
  w->events = kWinWantsIdle;
  DrawWindow(w);
  // First time out: beside the toolbar rather than over it.
  if (g_x < 0 && ToolbarWindow()) g_x = ToolbarWindow()->right + 8, g_y = ToolbarWindow()->top;
  if (g_x >= 0 && g_y >= 0) {
    int sw, sh;
    ScreenSize(&sw, &sh);
    MoveWindow(w, ClampWindowCoord(g_x, kWidth, sw), ClampWindowCoord(g_y, height, sh));
  }
  ShowWindow(w);
  RefreshRows(w, &g_rows, true);
  ShowEnvelope();
  ShowStiffness();
  return w;
}

// ---- The envelope editor -----------------------------------------------------------------------

void StoreEnvelope(const uint8_t env[64]) {
  uint8_t e[64];
  std::memcpy(e, env, 64);
  e[0] = 0;
  e[63] = 255;
  SetEnvelope(&Tools.dab[Tools.current], e);
}

void DrawEnvelope(Window* w, Gadget* g) {
  const uint32_t serial = w->serial;
  uint8_t env[64];
  GetEnvelope(Tools.dab[Tools.current], env);
  int lastX = -1, lastV = 0;
  while (WindowAlive(w, serial)) {
    int x = std::clamp(In.winX - w->left - g->left - 1, 0, 63);
    int row = std::clamp(In.winY - w->top - g->top - 1, 0, 63);
    int v = (63 - row) * 4;
    if (lastX < 0) lastX = x, lastV = v;
    // A line from the last position, so a quick move leaves no gaps.
    int n = std::abs(x - lastX);
    for (int i = 0; i <= n; ++i) {
      int xi = n ? lastX + (x - lastX) * i / n : x;
      env[xi] = static_cast<uint8_t>(std::clamp(n ? lastV + (v - lastV) * i / n : v, 0, 255));
    }
    lastX = x, lastV = v;
    StoreEnvelope(env);
    ShowEnvelope();
    if (!In.leftDown || ExitFlag || QuitRequest) break;
    if (PumpEvents(1) == -1) break;
  }
  ActivateTool();
}

void SmoothEnvelope() {
  uint8_t env[64], out[64];
  GetEnvelope(Tools.dab[Tools.current], env);
  for (int i = 0; i < 64; ++i)
    out[i] = static_cast<uint8_t>(
        (env[std::max(i - 1, 0)] + 2 * env[i] + env[std::min(i + 1, 63)] + 2) / 4);
  StoreEnvelope(out);
  ActivateTool();
  ShowEnvelope();
}

void Handler(Window* w, Gadget* g, int code) {
  if (code == kCodeIdle) {
    RefreshTools();
    return;
  }
  if (!g) return;
  if (g->id == kGadMaximize && code == kCodeLeftRelease) {
    OpenToolsLarge(!g_large);
    return;
  }
  if (g->id >= kToolBase && g->id < kToolBase + 8) {
    if (code != kCodeLeftRelease && code != kCodeRightRelease) return;
    SelectDrawingTool(g->id - kToolBase);
    RefreshToolbar();
    if (code == kCodeRightRelease && !g_large)
      OpenToolsLarge(true);
    else
      Build();
    return;
  }
  if (RowEvent(w, &g_rows, g, code)) {
    RefreshRows(w, &g_rows, false);
    return;
  }
  const int t = Tools.current;
  switch (g->id) {
    case kEnvelopeId:
      if (code == kCodeLeftPress) DrawEnvelope(w, g);
      if (code == kCodeRightPress) SmoothEnvelope();
      break;
    case kPresetId:
      if (code == kCodeLeftRelease) {
        ApplyEnvelopePreset(t, Tools.dab[t].word[kWordPreset]);
        ActivateTool();
        ShowEnvelope();
      }
      break;
    case kPrevId:
    case kNextId:
      if (code == kCodeLeftRelease && IsDab(t)) {
        int& p = Tools.dab[t].word[kWordPreset];
        p = ((p + (g->id == kNextId ? 1 : -1)) % kEnvelopePresetCount + kEnvelopePresetCount) %
            kEnvelopePresetCount;
        ShowEnvelope();
      }
      break;
    case kResetId:
      if (code == kCodeLeftRelease) {
        ResetToolRecord(t);
        ActivateTool();
        RefreshRows(w, &g_rows, true);
        ShowEnvelope();
        ShowStiffness();
      }
      break;
    default:
      if (g->id >= kStiffBase && g->id < kStiffBase + 4 && code == kCodeLeftRelease) {
        Tools.dab[ToolOil].word[kWordStiffness] = g->id - kStiffBase;
        ActivateTool();
        ShowStiffness();
      }
      break;
  }
}

void OpenAction() {
  OpenTools();
}

const ActionRow kToolsActions[] = {
    {"OpenTools", OpenAction},
};

}  // namespace

bool ToolsOpen() {
  return g_window && WindowAlive(g_window, g_serial);
}

Window* ToolsWindow() {
  return ToolsOpen() ? g_window : nullptr;
}

bool ToolsLarge() {
  return g_large;
}

Window* OpenTools() {
  if (ToolsOpen()) {
    RaiseWindow(g_window);
    return g_window;
  }
  return Build();
}

Window* OpenToolsLarge(bool large) {
  g_large = large;
  return Build();
}

void CloseTools() {
  if (!ToolsOpen()) return;
  g_x = g_window->left, g_y = g_window->top;
  DeleteWindow(g_window);
  g_window = nullptr;
}

void RefreshTools() {
  if (!ToolsOpen()) return;
  if (Tools.current != g_builtTool) {
    Build();
    return;
  }
  RefreshRows(g_window, &g_rows, false);
  const int t = Tools.current;
  if (IsDab(t)) {
    uint8_t env[64];
    GetEnvelope(Tools.dab[t], env);
    if (std::memcmp(env, g_shownEnvelope, 64) != 0 ||
        Tools.dab[t].word[kWordPreset] != g_shownPreset)
      ShowEnvelope();
  }
  if (t == ToolOil && Tools.dab[t].word[kWordStiffness] != g_shownStiffness) ShowStiffness();
}

void LoadToolsWindowSettings() {
  g_x = ConfigGetInt("Pens", "WIN_X", -1);
  g_y = ConfigGetInt("Pens", "WIN_Y", -1);
  g_large = ConfigString("Pens", "WIN_MAX", "OFF") == "ON";
  g_display = ConfigGetDisplay("Pens", false);
  if (g_display && Ws.screen) OpenTools();
}

void SaveToolsWindowSettings() {
  if (ToolsOpen()) g_x = g_window->left, g_y = g_window->top;
  if (g_x >= 0 && g_y >= 0) ConfigPutWindowPos("Pens", g_x, g_y);
  ConfigPut("Pens", "WIN_MAX", g_large ? "ON" : "OFF");
  ConfigPutDisplay("Pens", ToolsOpen());
}

std::span<const ActionRow> ToolsWindowActions() {
  return kToolsActions;
}

}  // namespace vela
