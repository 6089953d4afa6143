#include "windows/pressure_grid_windows.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "paint/brush.h"
#include "paint/grid.h"
#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "pixels/primitives.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "start/tablet.h"
#include "windows/setting_rows.h"
#include "windows/toolbar.h"
#include "windows/window.h"

namespace vela {

namespace {

Gadget Make(int l, int t, int r, int b, int id, uint32_t flags, const char* help = nullptr,
            const char* label = nullptr) {
  return GadgetRow(l, t, r, b, id, flags, label, help);
}

// A Window kept by its serial, with the position it had when it went.
struct Kept {
  Window* window = nullptr;
  uint32_t serial = 0;
  int x = -1, y = -1;
  bool Open() const { return window && WindowAlive(window, serial); }
  void Close() {
    if (!Open()) return;
    x = window->left, y = window->top;
    DeleteWindow(window);
    window = nullptr;
  }
  // A new Window where the last one stood, kept on the screen.
  Window* Create(int width, int height, const char* title, Gadget* table, GadgetHandler handler,
                 WindowCallback onClose) {
    Window* w = CreateWindow(width, height, 0);
    if (!w) {
      Message(" Not enough memory");
      return nullptr;
    }
    window = w;
    serial = w->serial;
    w->title = title;
    w->gadgets = table;
    w->handler = handler;
    w->onClose = onClose;
    w->events = kWinWantsIdle;
    DrawWindow(w);
    // First time out: beside the toolbar rather than over it.
    if (x < 0 && ToolbarWindow())
      x = ToolbarWindow()->right + 8, y = ToolbarWindow()->bottom - height;
    if (x >= 0 && y >= 0) {
      int sw, sh;
      ScreenSize(&sw, &sh);
      MoveWindow(w, ClampWindowCoord(x, width, sw), ClampWindowCoord(y, height, sh));
    }
    return w;
  }
  void Load(const char* section) {
    x = ConfigGetInt(section, "WIN_X", -1);
    y = ConfigGetInt(section, "WIN_Y", -1);
  }
  void Save(const char* section) {
    if (Open()) x = window->left, y = window->top;
    if (x >= 0 && y >= 0) ConfigPutWindowPos(section, x, y);
    ConfigPutDisplay(section, Open());
  }
};

// ---- Pressure ----------------------------------------------------------------------------------

constexpr int kPressureW = 150, kPressureH = 167;
enum : int {
  kPressurePad = 1,
  kSpeedPad,
  kPressureReset,
  kSpeedReset,
  kPressureText,
  kSpeedText,
  kPressureTitle,
  kSpeedTitle
};

Kept g_pressure;
char g_pressureText[2][24];
struct Handle {
  int x, y;
} g_shownHandle[2] = {{-1, -1}, {-1, -1}};

Gadget g_pressureTable[] = {
    Make(0, 0, -1, -1, kGadFrame, kGadInert | kGadBox),
    Make(2, 2, 19, 19, kGadClose, 0),
    Make(20, 2, kPressureW - 22, 19, kGadTitle, 0),
    Make(kPressureW - 21, 2, kPressureW - 3, 19, kGadDepth, 0),
    Make(5, 23, 70, 38, kPressureTitle, kGadInert, nullptr, "Pressure"),
    Make(78, 23, 143, 38, kSpeedTitle, kGadInert, nullptr, "Speed"),
    Make(5, 40, 70, 105, kPressurePad, kGadActOnPress | kGadNoPressLook | kGadSunk,
         "Pressure curve\xA7\n\nHow the pen's pressure\nbecomes paint. Drag to\nbend the curve."),
    Make(78, 40, 143, 105, kSpeedPad, kGadActOnPress | kGadNoPressLook | kGadSunk,
         "Speed curve\xA7\n\nHow the pointer's speed\nbecomes paint. Drag to\nbend the curve."),
    Make(5, 110, 70, 127, kPressureReset, kGadPair4,
         "Reset\xA7\n\nThe pressure curve back to\na straight line.", "Reset"),
    Make(78, 110, 143, 127, kSpeedReset, kGadPair4,
         "Reset\xA7\n\nThe speed curve back to a\nstraight line.", "Reset"),
    Make(5, 132, 70, 149, kPressureText, kGadInert | kGadColour, nullptr, g_pressureText[0]),
    Make(78, 132, 143, 149, kSpeedText, kGadInert | kGadColour, nullptr, g_pressureText[1]),
    Gadget{},
};

Handle CurveHandle(int which) {
  return which == 0 ? Handle{Curves.pressureX, Curves.pressureY}
                    : Handle{Curves.speedX, Curves.speedY};
}

void ShowCurve(int which) {
  Window* w = g_pressure.window;
  Gadget* g = FindGadget(which == 0 ? kPressurePad : kSpeedPad, g_pressureTable);
  Gadget* t = FindGadget(which == 0 ? kPressureText : kSpeedText, g_pressureTable);
  if (!g || !t) return;
  const uint8_t* table = which == 0 ? PressureCurve : SpeedCurve;
  const Handle h = CurveHandle(which);
  g_shownHandle[which] = h;
  RedrawGadget(g, w);
  Block* b = w->picture;
  const int x0 = g->left + 1, y0 = g->top + 1;
  FillRect(b, x0, y0, x0 + 63, y0 + 63, 0xFFFFFFFF);
  for (int i = 0; i < 64; i += 8) {
    FillRect(b, x0 + i, y0, x0 + i, y0 + 63, 0xFFE4E4E4);
    FillRect(b, x0, y0 + i, x0 + 63, y0 + i, 0xFFE4E4E4);
  }
  int last = 63 - (table[0] >> 2);
  for (int i = 0; i < 64; ++i) {
    int y = 63 - (table[std::min(i * 4 + 2, 255)] >> 2);
    FillRect(b, x0 + i, y0 + std::min(last, y), x0 + i, y0 + std::max(last, y), 0xFF203070);
    last = y;
  }
  const int hx = x0 + h.x / 4, hy = y0 + 63 - h.y / 4;
  FillRect(b, std::max(x0, hx - 2), std::max(y0, hy - 2), std::min(x0 + 63, hx + 2),
           std::min(y0 + 63, hy + 2), 0xFFD02020);
  BlitGadget(w, g);
  t->colour = 0xFFF4F4F4;
  std::snprintf(g_pressureText[which], sizeof g_pressureText[which], "%d, %d", h.x, h.y);
  RedrawGadget(t, w);
  BlitGadget(w, t);
}

void SetCurve(int which, int x, int y) {
  if (which == 0)
    SetPressureCurve(x, y, PressureScale);
  else
    SetSpeedCurve(x, y, SpeedScale);
}

void DragCurve(Window* w, Gadget* g, int which) {
  const uint32_t serial = w->serial;
  while (WindowAlive(w, serial)) {
    int px = std::clamp(In.winX - w->left - g->left - 1, 0, 63);
    int py = std::clamp(In.winY - w->top - g->top - 1, 0, 63);
    SetCurve(which, px * 4, (63 - py) * 4);
    ShowCurve(which);
    if (!In.leftDown || ExitFlag || QuitRequest) break;
    if (PumpEvents(1) == -1) break;
  }
}

void PressureHandler(Window* w, Gadget* g, int code) {
  if (code == kCodeIdle) {
    for (int i = 0; i < 2; ++i) {
      Handle h = CurveHandle(i);
      if (h.x != g_shownHandle[i].x || h.y != g_shownHandle[i].y) ShowCurve(i);
    }
    return;
  }
  if (!g) return;
  if ((g->id == kPressurePad || g->id == kSpeedPad) && code == kCodeLeftPress)
    DragCurve(w, g, g->id == kPressurePad ? 0 : 1);
  if ((g->id == kPressureReset || g->id == kSpeedReset) && code == kCodeLeftRelease) {
    int which = g->id == kPressureReset ? 0 : 1;
    SetCurve(which, 0, 0);
    ShowCurve(which);
  }
}

// ---- Grid --------------------------------------------------------------------------------------

constexpr int kGridW = 162, kGridH = 152;
enum : int { kAdjust = 1, kBrushSize = 2 };

Kept g_grid;
RowSet g_gridRows;
std::vector<Gadget> g_gridTable;

enum GridField : int { kGridOn, kGridWidth, kGridHeight, kGridX, kGridY };

int GridGet(int field) {
  switch (field) {
    case kGridOn:
      return GridOn != 0;
    case kGridWidth:
      return Grid.width;
    case kGridHeight:
      return Grid.height;
    case kGridX:
      return Grid.x;
    default:
      return Grid.y;
  }
}

void GridSet(int field, int value) {
  GridSettings g = Grid;
  int on = GridOn;
  switch (field) {
    case kGridOn:
      on = value;
      break;
    case kGridWidth:
      g.width = value;
      break;
    case kGridHeight:
      g.height = value;
      break;
    case kGridX:
      g.x = value;
      break;
    default:
      g.y = value;
      break;
  }
  SetGrid(on, g.width, g.height, g.x, g.y, 4);
  RefreshToolbar();
}

int OriginLimit(int field) {
  return (field == kGridX ? Grid.width : Grid.height) - 1;
}

void BuildGridTable() {
  g_gridRows = RowSet{};
  auto& r = g_gridRows.rows;
  r.push_back({"Grid on", kRowSwitch, 0, 1, false, GridGet, GridSet, kGridOn,
               "Grid on\xA7\n\nPositions on the page snap\nto the grid.", "ActiveGrid"});
  r.push_back({"Width", kRowSlider, 1, 999, false, GridGet, GridSet, kGridWidth,
               "Width\xA7\n\nThe grid's pitch across,\nin pixels."});
  r.push_back({"Height", kRowSlider, 1, 999, false, GridGet, GridSet, kGridHeight,
               "Height\xA7\n\nThe grid's pitch down,\nin pixels."});
  SettingRow x{"X",     kRowSlider, 0,
               998,     false,      GridGet,
               GridSet, kGridX,     "Start X\xA7\n\nWhere the grid starts\nacross."};
  x.limit = OriginLimit;
  r.push_back(x);
  SettingRow y{"Y",     kRowSlider, 0,
               998,     false,      GridGet,
               GridSet, kGridY,     "Start Y\xA7\n\nWhere the grid starts\ndown."};
  y.limit = OriginLimit;
  r.push_back(y);
  g_gridTable.clear();
  g_gridTable.push_back(Make(0, 0, -1, -1, kGadFrame, kGadInert | kGadBox));
  g_gridTable.push_back(Make(2, 2, 19, 19, kGadClose, 0));
  g_gridTable.push_back(Make(20, 2, kGridW - 22, 19, kGadTitle, 0));
  g_gridTable.push_back(Make(kGridW - 21, 2, kGridW - 3, 19, kGadDepth, 0));
  AddRowGadgets(&g_gridTable, &g_gridRows, 0, 5, 26, 150);
  for (int i = 1; i < 5; ++i) AddRowGadgets(&g_gridTable, &g_gridRows, i, 52, 26 + 20 * i, 105);
  g_gridTable.push_back(
      Make(5, 128, 66, 146, kAdjust, kGadPair3,
           "Adjust\xA7\n\nDrag a cell of the grid on\nthe page; the right button\n"
           "leaves it as it was.",
           "Adjust"));
  g_gridTable.push_back(Make(70, 128, 156, 146, kBrushSize, kGadPair3,
                             "Use Brush Size\xA7\n\nThe pitch becomes the\nsize of the brush.",
                             "Use Brush Size"));
  g_gridTable.push_back(Gadget{});
}

// "Adjust": a rubber cell at the pointer; the press fixes its corner, the release its size.
struct AdjustState {
  bool held = false;
  int x0 = 0, y0 = 0;
} g_adjust;

int AdjustStep() {
  if (In.rightEdge) {
    SetToolHook(nullptr);
    return 0;
  }
  const int px = In.pageX, py = In.pageY;
  if (In.leftEdge) {
    g_adjust = {true, px - Grid.width, py - Grid.height};
    SetGrid(GridOn, Grid.width, Grid.height, g_adjust.x0, g_adjust.y0, 4);
    RefreshGrid();
  }
  if (g_adjust.held && !In.leftDown) {
    int w = std::abs(px - g_adjust.x0), h = std::abs(py - g_adjust.y0);
    SetGrid(GridOn, w, h, g_adjust.x0, g_adjust.y0, 4);
    g_adjust.held = false;
    SetToolHook(nullptr);
    RefreshGrid();
    return 0;
  }
  if (g_adjust.held)
    DrawRectangleOverlay(g_adjust.x0, g_adjust.y0, px, py);
  else
    DrawRectangleOverlay(px - Grid.width, py - Grid.height, px, py);
  return 0;
}

void StartAdjust() {
  static const ToolHook hook = {AdjustStep, [] { RemoveOverlay(); }, nullptr, nullptr, 0};
  g_adjust = {};
  SetToolHook(&hook);
}

void GridHandler(Window* w, Gadget* g, int code) {
  if (code == kCodeIdle) {
    RefreshRows(w, &g_gridRows, false);
    return;
  }
  if (!g) return;
  if (RowEvent(w, &g_gridRows, g, code)) {
    RefreshRows(w, &g_gridRows, false);
    return;
  }
  if (code != kCodeLeftRelease) return;
  if (g->id == kAdjust) StartAdjust();
  if (g->id == kBrushSize) {
    const Brush* b = CurrentBrush();
    GridFromBrushSize(b ? b->width : 1, b ? b->height : 1);
    RefreshRows(w, &g_gridRows, false);
  }
}

void ActiveGridAction() {
  ActiveGrid();
  RefreshGrid();
  RefreshToolbar();
}

const ActionRow kActions[] = {
    {"OpenPressure", [] { OpenPressure(); }},
    {"OpenGrid", [] { OpenGrid(); }},
    {"ActiveGrid", ActiveGridAction},
};

}  // namespace

Window* PressureWindow() {
  return g_pressure.Open() ? g_pressure.window : nullptr;
}

Window* OpenPressure() {
  if (g_pressure.Open()) {
    RaiseWindow(g_pressure.window);
    return g_pressure.window;
  }
  Window* w = g_pressure.Create(kPressureW, kPressureH, "Pressure", g_pressureTable,
                                PressureHandler, [](Window*) { ClosePressure(); });
  if (!w) return nullptr;
  ShowWindow(w);
  ShowCurve(0);
  ShowCurve(1);
  return w;
}

void ClosePressure() {
  g_pressure.Close();
}

Window* GridWindow() {
  return g_grid.Open() ? g_grid.window : nullptr;
}

Window* OpenGrid() {
  if (g_grid.Open()) {
    RaiseWindow(g_grid.window);
    return g_grid.window;
  }
  BuildGridTable();
  Window* w = g_grid.Create(kGridW, kGridH, "Gridding", g_gridTable.data(), GridHandler,
                            [](Window*) { CloseGrid(); });
  if (!w) return nullptr;
  ShowWindow(w);
  RefreshRows(w, &g_gridRows, true);
  return w;
}

void CloseGrid() {
  g_grid.Close();
}

void RefreshGrid() {
  if (g_grid.Open()) RefreshRows(g_grid.window, &g_gridRows, false);
}

void LoadPressureGridWindows() {
  g_pressure.Load("Pressure");
  g_grid.Load("Grid");
  if (!Ws.screen) return;
  if (ConfigGetDisplay("Pressure", false)) OpenPressure();
  if (ConfigGetDisplay("Grid", false)) OpenGrid();
}

void SavePressureGridWindows() {
  g_pressure.Save("Pressure");
  g_grid.Save("Grid");
}

std::span<const ActionRow> PressureGridActions() {
  return kActions;
}

}  // namespace vela
