// The main menu bar, its pop-ups and the menu tables. A pop-up is a Window whose picture is drawn
// here row by row; it runs its own loop so that a press on a title can be dragged down to a row
// and released there, or clicked open and picked with a second click.
#include "windows/menu.h"

#include <strings.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <vector>

#include "formats/formats.h"
#include "formats/registry.h"
#include "host/font.h"
#include "host/host.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/actions.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/key_map.h"
#include "start/main_loop.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

int MenuStyle = 0;

namespace {

char g_undoLabel[sizeof Undo.label + 2] = " Undo";

#define ROW(label, id, action) \
  { label, 0, id, 0, action, nullptr, 0 }
#define SUB(label, id, action, sub) \
  { label, 0, id, 0, action, sub, 0 }
#define SEP \
  { "", 0, -2, 0, nullptr, nullptr, 0 }
#define END \
  { nullptr, 0, 0, 0, nullptr, nullptr, 0 }

MenuItem kImport[] = {
    ROW(" Image", 10, "ImportImage"),
    ROW(" Sequence", 11, "ImportSequence"),
    SEP,
    ROW(" Brush", 12, "ImportBrush"),
    ROW(" AnimBrush", 13, "ImportAnimBrush"),
    SEP,
    ROW(" Palette", 14, nullptr),
    ROW(" Mixer", 15, nullptr),
    END,
};
MenuItem kExport[] = {
    ROW(" Image", 20, "SaveImage"),
    ROW(" Sequence", 21, "SaveSequence"),
    SEP,
    ROW(" Brush", 22, "SaveBrush"),
    ROW(" AnimBrush", 23, "SaveAnimbrush"),
    SEP,
    ROW(" Palette", 24, nullptr),
    ROW(" Mixer", 25, nullptr),
    END,
};
MenuItem kTwain[] = {ROW(" Select", 41, nullptr), ROW(" Acquire", 42, "TWainAcquire"), END};

MenuItem kCursor[] = {
    ROW(" Cross", 1601, "NextCursorShape"),
    ROW(" Arrow", 1602, "NextCursorShape"),
    ROW(" Point", 1603, "NextCursorShape"),
    ROW(" Circle", 1604, "NextCursorShape"),
    END,
};
MenuItem kSettings[] = {
    ROW(" Tools", 101, "OpenTools"),
    ROW(" BColor ", 102, "PicBColor"),
    ROW(" Color Range", 103, "OpenRange"),
    ROW(" Opacity", 104, "OpenOpacity"),
    ROW(" Edmund", 105, "OpenEdmund"),
    ROW(" Grid", 106, "OpenGrid"),
    ROW(" Pen Size", 107, nullptr),
    ROW(" Pressure", 108, "OpenPressure"),
    ROW(" Settings", 109, "OpenSettings"),
    ROW(" Monitor Gamma", 110, "OpenGamma"),
    ROW(" Keyboard", 111, "ConfigureKeyboard"),
    ROW(" Temp Files", 112, nullptr),
    SUB(" Cursor", 113, nullptr, kCursor),
    END,
};
MenuItem kRequester[] = {ROW(" Windows", 201, nullptr), ROW("Vela", 202, nullptr), END};
MenuItem kSpare[] = {ROW(" Swap", 301, "SwapSpare"), ROW(" Copy", 302, "CopyToSpare"),
                     ROW(" Delete", 303, nullptr), END};
MenuItem kTemporary[] = {ROW(" Fetch", 351, "Fetch"), ROW(" Hold", 352, "Hold"), END};
MenuItem kBrushDisplay[] = {
    ROW(" Custom", 401, "DisplayBrushMode"),
    ROW(" Always", 402, "DisplayBrushMode"),
    ROW(" Never", 403, "DisplayBrushMode"),
    ROW(" Display while drawing", 404, nullptr),
    END,
};
MenuItem kDisplayMode[] = {
    ROW(" Fast Display", 501, nullptr),
    ROW(" Best Display", 502, nullptr),
    ROW(" No Border", 503, nullptr),
    ROW(" Magnet Windows", 504, nullptr),
    END,
};

MenuItem kPreview[] = {
    ROW(" Make", 111, "MakePreview"), ROW(" Play", 112, "PlayPreview"), ROW(" Free", 113, nullptr),
    ROW(" Set", 114, nullptr),        ROW(" Config", 115, nullptr),     END,
};
MenuItem kBackground[] = {
    ROW(" None", 101, "ToggleBackgroundMode"),
    ROW(" Color", 102, "ToggleBackgroundMode"),
    ROW(" Check", 103, "ToggleBackgroundMode"),
    END,
};
MenuItem kVideoLayer[] = {
    ROW(" Select", 121, "SelectVideoLayer"),
    ROW(" Hide", 122, "ToggleVideoLayer"),
    ROW(" Delete", 123, "DeleteVideoLayer"),
    END,
};

MenuItem kInlineHelp[] = {ROW(" None", 11, nullptr), ROW(" Fast", 12, nullptr),
                          ROW(" Full", 13, nullptr), END};
MenuItem kPlugins[] = {END};

}  // namespace

MenuItem FileMenu[] = {
    ROW(" New Project", 1, "NewProject"),
    ROW(" Load Project", 2, "LoadProject"),
    ROW(" Save Project", 3, "SaveProject"),
    SEP,
    SUB(" Import", 9, nullptr, kImport),
    SEP,
    SUB(" Export", 19, nullptr, kExport),
    SUB(" Mode", 18, nullptr, nullptr),  // the save modes, hooked in when the menu opens
    SEP,
    ROW(" File Info", 29, nullptr),
    SEP,
    SUB(" TWain", 40, "TWainAcquire", kTwain),
    SEP,
    ROW(" Print", 50, "Print"),
    SEP,
    ROW(" Quit", 666, "Quit"),
    END,
};

MenuItem EditMenu[] = {
    ROW(g_undoLabel, 1000, "Undo"),
    ROW(" Refill", 1001, "Refill"),
    ROW(" Clear", 1002, "Clear"),
    ROW(" Project Size", 1, "OpenProjectSize"),
    ROW(" Copy Brush to Clipboard", 10, "SaveBrushToClipBoard"),
    ROW(" Get Brush from Clipboard", 11, "LoadBrushFromClipBoard"),
    ROW(" Copy Image to Clipboard", 12, "SaveImageToClipBoard"),
    ROW(" New Layer From Clipboard", 13, "LoadImageFromClipBoard"),
    SUB(" Settings", 100, nullptr, kSettings),
    SUB(" Requester", 200, nullptr, kRequester),
    SUB(" Spare Image", 300, nullptr, kSpare),
    SUB(" Temporary Image", 350, nullptr, kTemporary),
    SUB(" Brush Display", 400, nullptr, kBrushDisplay),
    ROW(" Show Full Page", 600, "ShowPage"),
    ROW(" Coordinates", 700, "OpenCoordinates"),
    SUB(" Display Mode", 500, nullptr, kDisplayMode),
    END,
};

MenuItem LayersMenu[] = {
    ROW(" New Layer", 1, "NewLayer"),
    ROW(" Duplicate Layer", 10, "LayerDuplicate"),
    ROW(" Rename Layer", 11, "LayerRename"),
    ROW(" Delete Layer", 20, "LayerDelete"),
    SEP,
    ROW(" Merge Display", 30, "LayerMergeDisplay"),
    SEP,
    SUB(" Preview", 110, nullptr, kPreview),
    SEP,
    SUB(" Background", 100, nullptr, kBackground),
    SUB(" Video Layer", 120, nullptr, kVideoLayer),
    SEP,
    ROW(" Display All", 40, "DisplayAllLayer"),
    ROW(" Display Current", 41, "DisplayAllLayer"),
    SEP,
    ROW(" Make Anim", 50, "LayerMakeAnim"),
    SEP,
    ROW(" Select All", 60, "LayerSelectAll"),
    ROW(" Cut", 61, "LayerCut"),
    ROW(" Copy", 62, "LayerCopy"),
    ROW(" Paste", 63, "LayerPaste"),
    SEP,
    ROW(" Duplicate Image", 70, "DuplicateImage"),
    ROW(" Add Image", 71, "InsertImage"),
    END,
};

// Filled by the filter framework once filters exist.
MenuItem FiltersMenu[] = {END};

MenuItem HelpMenu[] = {
    SUB(" Inline Help", 10, nullptr, kInlineHelp),
    SEP,
    SUB(" About Plugins", 200, nullptr, kPlugins),
    SEP,
    ROW(" About Vela", 100, "About"),
    END,
};

#undef ROW
#undef SUB
#undef SEP
#undef END

namespace {

bool IsSeparator(const MenuItem& m) {
  return m.label && !m.label[0];
}

bool RowOf(const MenuItem* row, const MenuItem* table) {
  for (const MenuItem* m = table; m && m->label; ++m)
    if (m == row) return true;
  return false;
}

bool Empty(const MenuItem* table) {
  return !table || !table->label;
}

bool Stopping() {
  return ExitFlag || QuitRequest || SignalQuit;
}

// The save modes as the format registry lists them; a row's id is its format number + 10000.
constexpr int kModeIdBase = 10000;
MenuItem* ModeMenu() {
  static std::vector<MenuItem> rows = [] {
    std::vector<MenuItem> r;
    for (const SaveModeRow& m : SaveModeRows())
      r.push_back({m.label, m.color, m.number < 0 ? m.number : m.number + kModeIdBase, 0, nullptr,
                   nullptr, 0});
    r.push_back({nullptr, 0, 0, 0, nullptr, nullptr, 0});
    return r;
  }();
  return rows.data();
}

// A chosen save mode first asks for the settings it has questions for. The palette formats keep
// the palette settings they have; scripts set those.
void ChooseSaveMode(int mode) {
  SaveSettings& s = CurrentSaveSettings();
  switch (mode) {
    case kFormatTga: {
      const int answer = Ask("Use TGA Compression?", " Yes ", " No ");
      if (answer >= 0) s.tgaCompression = answer;
      break;
    }
    case kFormatJpeg: {
      int quality = s.jpegPower;
      if (AskNumber("JPEG Ratio Quality", &quality, 1, 100) == 0) s.jpegPower = quality;
      break;
    }
    case kFormatSun24:
      if (Ask(" SUN RASTER Mode?", "24 bits", "32 bits") == 0) mode = kFormatSun32;
      break;
  }
  s.saveMode = mode;
}

// The rows that do their own small work instead of, or before, their action. With run false it
// only tells whether the row has such work.
bool RowOperation(const MenuItem* row, bool run) {
  if (RowOf(row, ModeMenu())) {
    if (run) ChooseSaveMode(row->id - kModeIdBase);
    return true;
  }
  if (RowOf(row, kBackground)) {
    if (run) {
      SetBackgroundMode(row->id - 101);
      RebuildDisplay();
    }
    return true;
  }
  if (RowOf(row, LayersMenu) && (row->id == 40 || row->id == 41)) {
    // One action toggles; the row names the state wanted.
    if (run && (row->id == 40) != (Timeline.showMode == 1)) RunActions("DisplayAllLayer");
    return true;
  }
  if (RowOf(row, kInlineHelp)) {
    if (run) SystemSet.bulle = row->id - 11;
    return true;
  }
  if (RowOf(row, kBrushDisplay)) {
    if (!run) return true;
    if (row->id == 404)
      MainSet.displayBrushDraw = !MainSet.displayBrushDraw;
    else
      SystemSet.brushMode = row->id == 401   ? kBrushModeCustom
                            : row->id == 402 ? kBrushModeAlways
                                             : kBrushModeNever;
    return true;
  }
  if (RowOf(row, kDisplayMode) && row->id == 504) {
    if (run) MainSet.magnet = !MainSet.magnet;
    return true;
  }
  if (RowOf(row, kRequester) && row->id == 202) {
    if (run) SystemSet.systemBrowser = false;
    return true;
  }
  return false;
}

bool ActionUsable(const char* name) {
  const ActionInfo* info = FindActionInfo(name);
  return info && ActionAvailable(*info);
}

// Ticks of the rows that show a state.
bool Ticked(const MenuItem* row) {
  if (RowOf(row, ModeMenu()))
    return row - ModeMenu() == SaveModeRowFor(CurrentSaveSettings().saveMode);
  if (RowOf(row, kBackground)) return BackgroundMode() == row->id - 101;
  if (RowOf(row, LayersMenu) && (row->id == 40 || row->id == 41))
    return (row->id == 40) == (Timeline.showMode == 1);
  if (RowOf(row, kInlineHelp)) return SystemSet.bulle == row->id - 11;
  if (RowOf(row, kBrushDisplay)) {
    switch (row->id) {
      case 401:
        return SystemSet.brushMode == kBrushModeCustom;
      case 402:
        return SystemSet.brushMode == kBrushModeAlways;
      case 403:
        return SystemSet.brushMode == kBrushModeNever;
      default:
        return MainSet.displayBrushDraw;
    }
  }
  if (RowOf(row, kDisplayMode) && row->id == 504) return MainSet.magnet;
  if (RowOf(row, kRequester) && row->id == 202) return !SystemSet.systemBrowser;
  return false;
}

bool Dimmed(const MenuItem* row) {
  if (RowOf(row, EditMenu) && row->id == 1001 && !RefillZone) return true;
  if (row->subMenu) return Empty(row->subMenu) || (row->action && !ActionUsable(row->action));
  if (RowOperation(row, false)) return false;
  // A row that nothing would answer says so by its look.
  return !row->action || !ActionUsable(row->action);
}

}  // namespace

void RefreshMenu(MenuItem* table) {
  if (table == EditMenu) std::snprintf(g_undoLabel, sizeof g_undoLabel, " %s", Undo.label);
  if (table == FileMenu)
    for (MenuItem* m = FileMenu; m->label; ++m)
      if (m->id == 18) m->subMenu = ModeMenu();
  for (MenuItem* m = table; m && m->label; ++m) {
    if (IsSeparator(*m)) continue;
    m->state = Dimmed(m) ? kMenuDimmed : Ticked(m) ? kMenuTicked : kMenuPlain;
    if (m->subMenu && m->state != kMenuDimmed) RefreshMenu(m->subMenu);
  }
}

void RunMenuItem(const MenuItem* row) {
  if (!row || row->state == kMenuDimmed || IsSeparator(*row)) return;
  if (RowOperation(row, true)) return;
  if (row->action) RunActions(row->action);
}

std::string MenuShortcut(const char* action) {
  if (!action || !*action) return {};
  const KeyMap& map = CurrentKeyMap();
  std::span<const char* const> rows = KeyRows();
  const size_t want = std::strlen(action);
  for (size_t i = 0; i < rows.size() && i < map.lists.size(); ++i) {
    const char* p = map.lists[i].c_str();
    while (*p) {
      while (*p == ' ' || *p == '\t' || *p == ',') ++p;
      size_t len = std::strcspn(p, ",");
      size_t end = len;
      while (end > 0 && (p[end - 1] == ' ' || p[end - 1] == '\t')) --end;
      if (end == want && strncasecmp(p, action, want) == 0) return rows[i];
      p += len;
    }
  }
  return {};
}

// ---- The pop-up ------------------------------------------------------------------------------

namespace {

constexpr int kRowHeight = kMenuRowHeight;
constexpr int kSeparatorHeight = kMenuSeparatorHeight;
constexpr int kPad = kMenuPad;
constexpr int kTickColumn = 18;  // the tick's room left of the label
constexpr int kArrowColumn = 16;
constexpr int kKeyGap = 24;  // between the longest label and the shortcuts

constexpr Pixel kBody = 0xFFC0C0C0;
constexpr Pixel kLight = 0xFFD0D0D0;
constexpr Pixel kDark = 0xFF505050;
constexpr Pixel kInk = 0xFF000000;
constexpr Pixel kKeyInk = 0xFF303060;
constexpr Pixel kDimInk = 0xFF808080;
constexpr Pixel kWhite = 0xFFFFFFFF;

constexpr int kKeyUp = 38, kKeyDown = 40, kKeyLeft = 37, kKeyRight = 39, kKeyReturn = 13;

Pixel Highlight() {
  Pixel p = Ws.sysColors[TITLEBARCOLOR];
  return p ? p : kDefaultSysColors[TITLEBARCOLOR];
}

struct Level {
  MenuItem* table = nullptr;
  Window* window = nullptr;
  uint32_t serial = 0;
  std::vector<int> top;  // each row's top in the Window; one more for the bottom
  std::vector<std::string> keys;
  int hot = -1;
  int count = 0;
};

bool Choosable(const MenuItem& m) {
  return !IsSeparator(m) && m.state != kMenuDimmed;
}

void FillRect0(Block* b, int x0, int y0, int x1, int y1, Pixel p) {
  if (x0 <= x1 && y0 <= y1) FillRect(b, x0, y0, x1, y1, p);
}

void DrawRow(Level& lv, int i) {
  Block* b = lv.window->picture;
  const MenuItem& m = lv.table[i];
  const int w = lv.window->width;
  const int y0 = lv.top[i], y1 = lv.top[i + 1] - 1;
  if (IsSeparator(m)) {
    FillRect0(b, kPad, y0, w - 1 - kPad, y1, kBody);
    int y = (y0 + y1) / 2;
    FillRect0(b, kPad + 2, y, w - 3 - kPad, y, kDark);
    FillRect0(b, kPad + 2, y + 1, w - 3 - kPad, y + 1, kWhite);
    return;
  }
  const bool hot = i == lv.hot;
  const bool dim = m.state == kMenuDimmed;
  FillRect0(b, kPad, y0, w - 1 - kPad, y1, hot && !dim ? Highlight() : hot ? kLight : kBody);
  Pixel ink = dim ? kDimInk : hot ? kWhite : (m.colour & 0xFFFFFF) ? m.colour : kInk;
  int ty = (y0 + y1 + 1 - kFontLineHeight) / 2;
  if (m.state == kMenuTicked) {
    int x = kPad + 4, y = (y0 + y1) / 2 - 1;
    for (int k = 0; k < 2; ++k) {
      DrawLine(b, x, y + k, x + 3, y + 3 + k, ink);
      DrawLine(b, x + 3, y + 3 + k, x + 9, y - 3 + k, ink);
    }
  }
  if (dim) DrawText(b, kPad + kTickColumn + 1, ty + 1, m.label, kWhite, 0, y0, w - kPad, y1 + 1);
  DrawText(b, kPad + kTickColumn, ty, m.label, ink, 0, y0, w - kPad, y1 + 1);
  if (m.subMenu) {
    int cx = w - kPad - 8, cy = (y0 + y1) / 2;
    for (int k = 0; k < 4; ++k) FillRect0(b, cx - 2 + k, cy - 3 + k, cx - 2 + k, cy + 3 - k, ink);
  } else if (!lv.keys[i].empty()) {
    const char* key = lv.keys[i].c_str();
    int kx = w - kPad - 6 - TextWidth(key);
    DrawText(b, kx, ty, key, dim ? kDimInk : hot ? kWhite : kKeyInk, 0, y0, w - kPad, y1 + 1);
  }
}

void ShowRow(Level& lv, int i) {
  if (i < 0 || i >= lv.count) return;
  DrawRow(lv, i);
  Window* win = lv.window;
  RepaintRect(win, win->left, win->top + lv.top[i], win->width, lv.top[i + 1] - lv.top[i]);
}

// Lays out and shows a pop-up; x, y as PopupMenu takes them. False without memory.
bool OpenLevel(Level* lv, MenuItem* table, int x, int y, int direction) {
  lv->table = table;
  lv->count = 0;
  int labelW = 0, keyW = 0, yy = kPad;
  bool arrows = false;
  for (MenuItem* m = table; m && m->label; ++m, ++lv->count) {
    lv->top.push_back(yy);
    lv->keys.push_back(m->subMenu ? std::string() : MenuShortcut(m->action));
    yy += IsSeparator(*m) ? kSeparatorHeight : kRowHeight;
    labelW = std::max(labelW, TextWidth(m->label));
    keyW = std::max(keyW, TextWidth(lv->keys.back().c_str()));
    arrows |= m->subMenu != nullptr;
  }
  lv->top.push_back(yy);
  if (!lv->count) return false;
  int width = kPad + kTickColumn + labelW + (keyW ? kKeyGap + keyW : 0) +
              (arrows && !keyW ? kArrowColumn : 0) + 8 + kPad;
  width = std::max(width, 80);
  int height = yy + kPad;
  Window* win = CreateWindow(width, height, kWinToFront | kWinKeepTextField);
  if (!win) return false;
  lv->window = win;
  lv->serial = win->serial;
  win->title = "Menu";
  if (direction == kMenuUp) y -= height;
  if (direction == kMenuLeft) x -= width;
  HostScreen s = HostFramebuffer();
  x = std::clamp(x, 0, std::max(0, s.width - width));
  y = std::clamp(y, 0, std::max(0, s.height - height));
  Block* b = win->picture;
  FillBlock(b, kBody);
  FillRect0(b, 0, 0, width - 1, 0, kLight);
  FillRect0(b, 0, 0, 0, height - 1, kLight);
  FillRect0(b, 0, height - 1, width - 1, height - 1, kDark);
  FillRect0(b, width - 1, 0, width - 1, height - 1, kDark);
  for (int i = 0; i < lv->count; ++i) DrawRow(*lv, i);
  MoveWindow(win, x, y);
  ShowWindow(win);
  return true;
}

void CloseLevel(Level* lv) {
  if (lv->window && WindowAlive(lv->window, lv->serial)) DeleteWindow(lv->window);
  lv->window = nullptr;
}

int RowAt(const Level& lv, int sx, int sy) {
  const Window* w = lv.window;
  if (sx < w->left || sx >= w->right || sy < w->top || sy >= w->bottom) return -1;
  int y = sy - w->top;
  for (int i = 0; i < lv.count; ++i)
    if (y >= lv.top[i] && y < lv.top[i + 1]) return IsSeparator(lv.table[i]) ? -1 : i;
  return -1;
}

bool Inside(const Level& lv, int sx, int sy) {
  const Window* w = lv.window;
  return sx >= w->left && sx < w->right && sy >= w->top && sy < w->bottom;
}

struct Popup {
  std::vector<Level> levels;

  ~Popup() {
    while (!levels.empty()) {
      CloseLevel(&levels.back());
      levels.pop_back();
    }
  }

  void CloseAbove(size_t depth) {
    while (levels.size() > depth + 1) {
      CloseLevel(&levels.back());
      levels.pop_back();
    }
  }

  void SetHot(size_t depth, int row) {
    Level& lv = levels[depth];
    if (lv.hot == row) return;
    CloseAbove(depth);
    int old = lv.hot;
    lv.hot = row;
    ShowRow(lv, old);
    ShowRow(lv, row);
  }

  // The sub-menu of the hot row opens beside it, to the right when it fits.
  void OpenSub(size_t depth) {
    Level& lv = levels[depth];
    if (lv.hot < 0 || levels.size() > depth + 1) return;
    MenuItem& m = lv.table[lv.hot];
    if (!m.subMenu || m.state == kMenuDimmed || Empty(m.subMenu)) return;
    Window* w = lv.window;
    Level sub;
    if (!OpenLevel(&sub, m.subMenu, 0, 0, kMenuDown)) return;
    HostScreen s = HostFramebuffer();
    int x = w->right - kPad;
    if (x + sub.window->width > s.width) x = w->left - sub.window->width + kPad;
    int y = w->top + lv.top[lv.hot] - kPad;
    x = std::clamp(x, 0, std::max(0, s.width - sub.window->width));
    y = std::clamp(y, 0, std::max(0, s.height - sub.window->height));
    MoveWindow(sub.window, x, y);
    levels.push_back(std::move(sub));
  }

  // The deepest level under the point, and its row there.
  int Under(int sx, int sy, int* row) {
    for (int d = static_cast<int>(levels.size()) - 1; d >= 0; --d)
      if (Inside(levels[d], sx, sy)) {
        *row = RowAt(levels[d], sx, sy);
        return d;
      }
    return -1;
  }

  void Follow() {
    int row, d = Under(In.winX, In.winY, &row);
    if (d < 0) return;
    SetHot(d, row);
    OpenSub(d);
  }

  void Step(int dir) {
    Level& lv = levels.back();
    for (int k = 1; k <= lv.count; ++k) {
      int i = ((lv.hot < 0 ? (dir > 0 ? -1 : 0) : lv.hot) + dir * k + lv.count * 2) % lv.count;
      if (Choosable(lv.table[i])) {
        SetHot(levels.size() - 1, i);
        return;
      }
    }
  }

  MenuItem* Run() {
    // The press that opened the menu may end anywhere without closing it.
    bool opening = In.leftDown != 0;
    while (!Stopping()) {
      int r = ModalEvent();
      if (r == kEndOfInput) return nullptr;
      for (Level& lv : levels)
        if (!WindowAlive(lv.window, lv.serial)) return nullptr;
      if (r == 4) {
        int key = In.lastKey;
        if (In.lastChar == 27 || key == kKeyEscape) return nullptr;
        Level& lv = levels.back();
        if (key == kKeyDown || key == kKeyUp) {
          Step(key == kKeyDown ? 1 : -1);
        } else if (key == kKeyRight) {
          OpenSub(levels.size() - 1);
          if (levels.back().hot < 0) Step(1);
        } else if (key == kKeyLeft) {
          if (levels.size() > 1) CloseAbove(levels.size() - 2);
        } else if (key == kKeyReturn || In.lastChar == 13) {
          if (lv.hot < 0) continue;
          MenuItem& m = lv.table[lv.hot];
          if (m.subMenu) {
            OpenSub(levels.size() - 1);
            if (levels.back().hot < 0) Step(1);
          } else if (Choosable(m)) {
            return &m;
          }
        }
        continue;
      }
      Follow();
      int row, d = Under(In.winX, In.winY, &row);
      if (r == 1 || r == 2) {
        opening = false;
        if (d < 0) return nullptr;  // the main loop swallows the rest of this press
        continue;
      }
      if (r == -1 || r == -2) {
        if (d >= 0 && row >= 0) {
          MenuItem& m = levels[d].table[row];
          if (!m.subMenu && Choosable(m)) return &m;
        }
        if (d < 0 && !opening) return nullptr;
        opening = false;
      }
    }
    return nullptr;
  }
};

}  // namespace

MenuItem* PopupMenu(MenuItem* table, int x, int y, int direction) {
  if (Empty(table)) return nullptr;
  Popup popup;
  Level first;
  if (!OpenLevel(&first, table, x, y, direction)) return nullptr;
  popup.levels.push_back(std::move(first));
  return popup.Run();
}

// ---- The bar ---------------------------------------------------------------------------------

namespace {

constexpr int kTitleCount = 5;
constexpr int kFillerId = 100;
constexpr int kBarThickness = 24;
constexpr int kTitleHeight = 19;
const char* const kTitles[kTitleCount] = {"File", "Edit", "Layers", "Filters", "Help"};
MenuItem* const kMenus[kTitleCount] = {FileMenu, EditMenu, LayersMenu, FiltersMenu, HelpMenu};

Gadget g_bar[kTitleCount + 2];
Window* g_barWindow = nullptr;
uint32_t g_barSerial = 0;
int g_winX = 0, g_winY = 0;
int g_screenW = 0, g_screenH = 0;  // the screen the bar was laid out for

bool Free() {
  return MenuStyle == 4 || MenuStyle == 5;
}
bool Vertical() {
  return MenuStyle == 2 || MenuStyle == 3 || MenuStyle == 5;
}

int Direction(const Window* w) {
  HostScreen s = HostFramebuffer();
  switch (MenuStyle) {
    case 1:
      return kMenuUp;
    case 2:
      return kMenuRight;
    case 3:
      return kMenuLeft;
    case 4:
      return w->top + w->height / 2 > s.height / 2 ? kMenuUp : kMenuDown;
    case 5:
      return w->left + w->width / 2 > s.width / 2 ? kMenuLeft : kMenuRight;
    default:
      return kMenuDown;
  }
}

void RedrawBarGadget(Gadget* g) {
  RedrawGadget(g, g_barWindow);
  BlitGadget(g_barWindow, g);
}

void OpenTitle(Window* w, Gadget* g) {
  const uint32_t serial = w->serial;
  MenuItem* table = kMenus[g->id - 1];
  g->flags |= kGadSelected;
  RedrawBarGadget(g);
  RefreshMenu(table);
  int x, y;
  switch (Direction(w)) {
    case kMenuUp:
      x = w->left + g->left, y = w->top;
      break;
    case kMenuRight:
      x = w->right, y = w->top + g->top;
      break;
    case kMenuLeft:
      x = w->left, y = w->top + g->top;
      break;
    default:
      x = w->left + g->left, y = w->bottom;
      break;
  }
  MenuItem* pick = PopupMenu(table, x, y, Direction(w));
  if (WindowAlive(w, serial)) {
    g->flags &= ~kGadSelected;
    RedrawBarGadget(g);
  }
  RunMenuItem(pick);
}

// The filler of a free bar is its handle.
void DragBar(Window* w) {
  HostScreen s = HostFramebuffer();
  const uint32_t serial = w->serial;
  int offX = In.winX - w->left, offY = In.winY - w->top;
  while (In.leftDown && !Stopping() && WindowAlive(w, serial)) {
    if (PumpEvents(1) == -1) break;
    int x = std::clamp(In.winX - offX, 1, std::max(1, s.width - w->width - 1));
    int y = std::clamp(In.winY - offY, 1, std::max(1, s.height - w->height - 1));
    MoveWindow(w, x, y);
  }
  if (!WindowAlive(w, serial)) return;
  g_winX = w->left;
  g_winY = w->top;
}

void BarHandler(Window* w, Gadget* g, int code) {
  if (code == kCodeIdle) {
    // The host's window changed size: the bar follows its edges and the page's room with it.
    HostScreen s = HostFramebuffer();
    if (s.pixels && (s.width != g_screenW || s.height != g_screenH)) BuildMainMenu();
    return;
  }
  if (!g || code != kCodeLeftPress) return;
  if (g->id >= 1 && g->id <= kTitleCount)
    OpenTitle(w, g);
  else if (g->id == kFillerId && Free())
    DragBar(w);
}

Gadget TitleGadget(int index, int left, int top, int right, int bottom) {
  return GadgetRow(left, top, right, bottom, index + 1, kGadActOnPress | kGadNoPressLook,
                   kTitles[index]);
}

// Lays the titles and the filler out; gives the Window's size.
void LayOut(int screenW, int screenH, int* width, int* height) {
  const int blanks = TextWidth("    ");
  Gadget& filler = g_bar[kTitleCount];
  filler = Gadget{};
  filler.id = kFillerId;
  filler.flags = kGadActOnPress | kGadNoPressLook;
  if (!Vertical()) {
    int x = 3;
    for (int i = 0; i < kTitleCount; ++i) {
      int w = TextWidth(kTitles[i]) + blanks;
      g_bar[i] = TitleGadget(i, x, 2, x + w, 2 + kTitleHeight);
      x += w + 1;
    }
    int right = MenuStyle == 4 ? x + 16 : screenW + 4;
    filler.left = static_cast<int16_t>(x), filler.top = 2;
    filler.right = static_cast<int16_t>(right), filler.bottom = 2 + kTitleHeight;
    *width = MenuStyle == 4 ? right + 3 : screenW + 4;
    *height = kBarThickness;
  } else {
    int w = 0;
    for (const char* t : kTitles) w = std::max(w, TextWidth(t));
    w += blanks;
    int y = 2;
    for (int i = 0; i < kTitleCount; ++i) {
      g_bar[i] = TitleGadget(i, 3, y, 3 + w, y + kTitleHeight);
      y += kTitleHeight + 2;
    }
    int bottom = MenuStyle == 5 ? y + 16 : screenH + 4;
    filler.left = 3, filler.top = static_cast<int16_t>(y);
    filler.right = static_cast<int16_t>(3 + w), filler.bottom = static_cast<int16_t>(bottom);
    *width = w + 6;
    *height = MenuStyle == 5 ? bottom + 3 : screenH + 4;
  }
  g_bar[kTitleCount + 1] = Gadget{};
}

void GiveBackPageArea() {
  SetPageArea(0, 0, 0, 0);
  RecenterPage();
}

void Redraw() {
  RedrawAll();
  RepaintScreen();
}

}  // namespace

Window* MainMenuWindow() {
  return g_barWindow && WindowAlive(g_barWindow, g_barSerial) ? g_barWindow : nullptr;
}

bool BuildMainMenu() {
  if (MainMenuWindow()) DeleteWindow(g_barWindow);
  g_barWindow = nullptr;
  HostScreen s = HostFramebuffer();
  if (!s.pixels) return false;
  MenuStyle = std::clamp(MenuStyle, 0, 5);
  int width, height;
  LayOut(s.width, s.height, &width, &height);
  Window* w = CreateWindow(width, height, Free() ? 0u : uint32_t{kWinAtBack | 16});
  if (!w) {
    GiveBackPageArea();
    return false;
  }
  g_barWindow = w;
  g_barSerial = w->serial;
  g_screenW = s.width, g_screenH = s.height;
  w->title = "Menu";
  w->gadgets = g_bar;
  w->handler = BarHandler;
  w->events = kWinWantsIdle;
  DrawWindow(w);
  int x = -2, y = -2, left = 0, top = 0, right = 0, bottom = 0;
  switch (MenuStyle) {
    case 0:
      top = height - 2;
      break;
    case 1:
      y = s.height - height + 2, bottom = height - 2;
      break;
    case 2:
      left = width - 2;
      break;
    case 3:
      x = s.width - width + 2, right = width - 2;
      break;
    default:
      x = std::clamp(g_winX, 1, std::max(1, s.width - width - 1));
      y = std::clamp(g_winY, 1, std::max(1, s.height - height - 1));
      g_winX = x, g_winY = y;
      break;
  }
  MoveWindow(w, x, y);
  SetPageArea(left, top, right, bottom);
  RecenterPage();
  ShowWindow(w);
  Redraw();
  return true;
}

void SaveMainMenuSettings() {
  ConfigPutInt("MainMenu", "Style", MenuStyle);
  ConfigPutWindowPos("MainMenu", g_winX, g_winY);
  if (Ws.screen) MainSet.fullScreen = Ws.screen->fullScreen != 0;
  ConfigPut("Main", "FullScreen", MainSet.fullScreen ? "on" : "off");
}

void CloseMainMenu() {
  SaveMainMenuSettings();
  if (MainMenuWindow()) DeleteWindow(g_barWindow);
  g_barWindow = nullptr;
  GiveBackPageArea();
  Redraw();
}

void LoadMainMenuSettings() {
  MenuStyle = std::clamp(ConfigGetInt("MainMenu", "Style", 0), 0, 5);
  g_winX = ConfigGetInt("MainMenu", "WIN_X", 0);
  g_winY = ConfigGetInt("MainMenu", "WIN_Y", 0);
  // Built before the first page is shown; a headless run has no one to see it.
  if (HostIsOpen() && !HostHeadless()) BuildMainMenu();
}

namespace {

void MenuOnOff() {
  if (MainMenuWindow())
    CloseMainMenu();
  else
    BuildMainMenu();
}

void SwapMenu() {
  MenuStyle = (MenuStyle + 1) % 6;
  BuildMainMenu();
}

void OpenMenu() {
  RefreshMenu(FileMenu);
  RunMenuItem(PopupMenu(FileMenu, In.winX, In.winY, kMenuDown));
}

const ActionRow kActions[] = {
    {"MenuOnOff", MenuOnOff},
    {"SwapMenu", SwapMenu},
    {"OpenMenu", OpenMenu},
};

}  // namespace

void AddMainMenuActions() {
  AddActions(kActions);
}

}  // namespace vela
