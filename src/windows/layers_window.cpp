// The Mixer. Its gadget table is laid out anew for every size: buttons in as many rows as the
// width needs, then the layer rows, the caption and cells of the time-line, and the light table
// row at the bottom. Rows and cells are painted here over the plain gadgets; every change of the
// model reaches the Window through the idle call, which compares a digest of what it shows.
#include "windows/layers_window.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "pixels/primitives.h"
#include "project/layer_ops.h"
#include "project/layers.h"
#include "project/undo.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr const char* kSection = "MLayers";
constexpr int kMinW = 310, kMinH = 220;
constexpr int kDefaultW = 600, kDefaultH = 220;
constexpr int kRowH = 28;
constexpr int kThumbW = 32, kThumbH = 24;
constexpr int kCellW = 38;
constexpr int kBarH = 8;   // the layer's bar above its cells
constexpr int kGripW = 6;  // the right-end handle
constexpr int kMaxRows = 128;
constexpr double kDoublePress = 0.5;

constexpr Pixel kInk = 0xFF000000, kWhite = 0xFFFFFFFF, kGreyInk = 0xFF808080;
constexpr Pixel kRowPlain = 0xFFE6E6E6, kRowCurrent = 0xFF2E5C9E, kRowDrop = 0xFFFFD060;
constexpr Pixel kCellPlain = 0xFFF4F4F4, kCellRange = 0xFFF2D98A, kCellCurrent = 0xFF2E5C9E;
constexpr Pixel kLightMark = 0xFFE08020;
constexpr Pixel kCellEmpty = 0xFFC8C8C8, kCellAdded = 0xFFCFEBC4, kCellRemoved = 0xFFEBC4C4;
constexpr Pixel kBar = 0xFF4A6A94, kGrip = 0xFFD0DCF0;

enum : int {
  kBtnFirst = 1,  // buttons 1..10 in the order of kButtons
  kListUp = 20,
  kListDown,
  kList,
  kCaption,
  kTlLeft = 30,
  kTlRight,
  kCells,
  kBarGadget,
  kEndGadget,
  kLight = 40,
  kBeforeMinus,
  kBeforeValue,
  kBeforePlus,
  kAfterMinus,
  kAfterValue,
  kAfterPlus,
  kSide,
  kRowHide = 100,
  kRowOpMinus = 100 + kMaxRows,
  kRowOpValue = 100 + 2 * kMaxRows,
  kRowOpPlus = 100 + 3 * kMaxRows,
};

struct Button {
  const char* label;
  const char* shortLabel;
  const char* action;  // null: Merge, which has no action of its own
  const char* help;
};
const Button kButtons[] = {
    {"New", "New", "NewLayer", "New layer\xA7\n\nA new empty layer at the\ncurrent image."},
    {"Duplicate", "Dup", "LayerDuplicate",
     "Duplicate layer\xA7\n\nA copy of the current layer\nbehind it; the images are\nshared "
     "until one changes."},
    {"Delete", "Del", "LayerDelete",
     "Delete layer\xA7\n\nRemoves the current layer.\nThe last layer is cleared."},
    {"Merge", "Mrg", nullptr,
     "Merge layers\xA7\n\nThe current layer and the\none behind it become one."},
    {"Make Anim", "Anim", "LayerMakeAnim",
     "Make Anim\xA7\n\nThe current layer becomes\na sequence of images."},
    {"Add Image", "+Img", "InsertImage", "Add image\xA7\n\nAn empty image after the\ncurrent one."},
    {"Cut", "Cut", "LayerCut", "Cut\xA7\n\nThe selected images go to\nthe clipboard."},
    {"Copy", "Copy", "LayerCopy", "Copy\xA7\n\nThe selected images to\nthe clipboard."},
    {"Paste", "Paste", "LayerPaste",
     "Paste\xA7\n\nThe clipboard after the\ncurrent image, or over\nthe selection."},
    {"Show All", "All", "DisplayAllLayer",
     "Show all / current\xA7\n\nShows every layer, or only\nthe current one."},
};
constexpr int kButtonCount = sizeof kButtons / sizeof kButtons[0];

constexpr uint32_t kBox = kGadInert | kGadBox;

struct Geometry {
  int x, y, w, h;
};

// What a drag on the time-line would do; it shows in the cells and is applied at the release.
enum class Drag { None, Move, Length, Image };

struct State {
  Window* window = nullptr;
  uint32_t serial = 0;
  int form = 0;  // 0 the large form, 1 the small one
  Geometry geo[2] = {{-1, -1, kDefaultW, kDefaultH}, {-1, -1, kMinW, kMinH}};
  bool openAtStart = false;
  // Layout of the current size.
  int listX0 = 0, listY0 = 0, listX1 = 0, listY1 = 0, rows = 0;
  int cellsX0 = 0, cellsY0 = 0, cellsX1 = 0, cellsY1 = 0, cells = 0;
  int firstRow = 0;      // layer index of the top row
  int firstCell = 0;     // position of the leftmost cell
  int seenPosition = 0;  // the time-line scrolls to keep a new position in view
  int seenCurrent = -1;
  uint64_t digest = 0;    // of what the picture shows
  int dropRow = -1;       // row under a dragged layer
  int pressedLayer = -1;  // for the double press
  double pressedAt = -10;
  int lightBefore = -1, lightAfter = 1;  // what the light switch turns on again
  Drag drag = Drag::None;
  int dragValue = 0;  // Move: the shift; Length: the count; Image: the index it goes to
  int dragFrom = 0;   // Image: the index it comes from
};
State g;

Gadget g_table[48 + 4 * kMaxRows + 1];
char g_caption[256];
char g_before[8], g_after[8];
char g_percent[kMaxRows][8];

Pixel Sys(int index) {
  Pixel p = Ws.sysColors[index];
  return p ? p : kDefaultSysColors[index];
}

// ---- The time-line -----------------------------------------------------------------------------
// The cells are positions of the one time-line, from firstCell on; the current layer's images
// are the cells from its first to its last position, the others stand empty.

int FloorDiv(int a, int b) {
  return a >= 0 ? a / b : -((-a + b - 1) / b);
}

// Window x of the left edge of the cell of a position, in view or not.
int CellLeft(int p) {
  return g.cellsX0 + (p - g.firstCell) * kCellW;
}

// The position under a Window x, in view or not.
int CellUnder(int x) {
  return g.firstCell + FloorDiv(x - g.cellsX0, kCellW);
}

int BodyTop() {
  return g.cellsY0 + kBarH + 2;
}

// Where the current layer lies, or would lie after the drag under way.
void ShownSpan(const Layer* l, int* first, int* last) {
  *first = l->first, *last = l->last;
  if (g.drag == Drag::Move) *first += g.dragValue, *last += g.dragValue;
  if (g.drag == Drag::Length) *last = l->first + g.dragValue - 1;
}

// ---- Layout ------------------------------------------------------------------------------------

void Layout(int W, int H) {
  int n = 0;
  auto add = [&](const Gadget& gd) { g_table[n++] = gd; };
  add(GadgetRow(0, 0, W - 1, H - 1, kGadFrame, kBox));
  add(GadgetRow(2, 2, 19, 19, kGadClose, 0));
  add(GadgetRow(20, 2, W - 58, 19, kGadTitle, 0));
  add(GadgetRow(W - 57, 2, W - 40, 19, kGadMinimize, 0));
  add(GadgetRow(W - 39, 2, W - 22, 19, kGadMaximize, 0));
  add(GadgetRow(W - 21, 2, W - 3, 19, kGadDepth, 0));
  if (g.form == 1)
    g_table[3].flags |= kGadSelected;
  else
    g_table[4].flags |= kGadSelected;

  // Buttons: as many to a row as fit at 54 pixels or more, stretched to the width.
  const int room = W - 8, gap = 2;
  const int perRow = std::clamp((room + gap) / (54 + gap), 1, kButtonCount);
  const int lines = (kButtonCount + perRow - 1) / perRow;
  const int bw = (room - (perRow - 1) * gap) / perRow;
  for (int i = 0; i < kButtonCount; ++i) {
    int x = 4 + (i % perRow) * (bw + gap), y = 23 + (i / perRow) * 20;
    const Button& b = kButtons[i];
    const char* label = TextWidth(b.label) <= bw - 6 ? b.label : b.shortLabel;
    if (b.action && std::strcmp(b.action, "DisplayAllLayer") == 0)
      label = Timeline.showMode == 1
                  ? (TextWidth("Show Current") <= bw - 6 ? "Show Current" : "Cur")
                  : label;
    Gadget gd = GadgetRow(x, y, x + bw - 1, y + 17, kBtnFirst + i, kGadPair3, label, b.help);
    gd.action = b.action;
    add(gd);
  }
  const int buttonsBottom = 23 + lines * 20 - 2;

  // From the bottom: the light table row, the cells, the caption; the list takes what is left.
  const int lightY0 = H - 23, lightY1 = H - 5;
  g.cellsY1 = lightY0 - 5;
  g.cellsY0 = g.cellsY1 - 39;
  const int capY1 = g.cellsY0 - 2, capY0 = capY1 - 15;
  g.listX0 = 4, g.listY0 = buttonsBottom + 4, g.listX1 = W - 23, g.listY1 = capY0 - 4;
  g.rows = std::clamp((g.listY1 - g.listY0 - 1) / kRowH, 0, kMaxRows);
  g.firstRow = std::clamp(g.firstRow, 0, std::max(0, LayerCount() - g.rows));

  for (int r = 0; r < g.rows && g.firstRow + r < LayerCount(); ++r) {
    const int index = g.firstRow + r;
    const Layer* l = LayerAt(index);
    const int top = g.listY0 + 1 + r * kRowH, mid = top + kRowH / 2;
    Gadget hide =
        GadgetRow(g.listX0 + 3, mid - 8, g.listX0 + 18, mid + 8, kRowHide + r,
                  kGadSwitchLabel | kGadNoPressLook | kGadActOnPress, nullptr,
                  "Show or hide\xA7\n\nTicked: the layer shows.\nClick to hide or show it.");
    if (!(l->flags & kLayerHidden)) hide.flags |= kGadSelected;
    add(hide);
    const int x1 = g.listX1 - 4;
    std::snprintf(g_percent[r], sizeof g_percent[r], "%d%%", PercentFromOpacity(l->opacity));
    add(GadgetRow(x1 - 17, mid - 9, x1, mid + 8, kRowOpPlus + r, kGadRepeat, "+",
                  "More opacity\xA7\n\nHold for faster steps\nof 5%."));
    add(GadgetRow(x1 - 61, mid - 9, x1 - 19, mid + 8, kRowOpValue + r, kGadInert | kGadColour,
                  g_percent[r]));
    g_table[n - 1].colour = kWhite;
    add(GadgetRow(x1 - 79, mid - 9, x1 - 63, mid + 8, kRowOpMinus + r, kGadRepeat, "-",
                  "Less opacity\xA7\n\nHold for faster steps\nof 5%."));
  }
  add(GadgetRow(g.listX1 + 2, g.listY0, W - 5, (g.listY0 + g.listY1) / 2 - 1, kListUp, kGadRepeat,
                "\x5E", "Scroll up\xA7\n\nThe layers in front."));
  add(GadgetRow(g.listX1 + 2, (g.listY0 + g.listY1) / 2 + 1, W - 5, g.listY1, kListDown, kGadRepeat,
                "v", "Scroll down\xA7\n\nThe layers behind."));
  add(GadgetRow(
      g.listX0, g.listY0, g.listX1, g.listY1, kList, kGadActOnPress | kGadNoPressLook, nullptr,
      "Layers\xA7\n\nFront layer at the top.\nClick to select, double\nclick to rename, drag "
      "to\nmove a layer."));

  add(GadgetRow(4, capY0, W - 5, capY1, kCaption, kGadInert, g_caption));
  g_table[n - 1].labelFlags = kLabelInside;

  g.cellsX0 = 24, g.cellsX1 = W - 25;
  g.cells = std::max(1, (g.cellsX1 - g.cellsX0 + 1) / kCellW);
  add(GadgetRow(4, g.cellsY0, 21, g.cellsY1, kTlLeft, kGadRepeat, "<",
                "Earlier images\xA7\n\nScrolls the time-line\nto the left."));
  add(GadgetRow(W - 22, g.cellsY0, W - 5, g.cellsY1, kTlRight, kGadRepeat, ">",
                "Later images\xA7\n\nScrolls the time-line\nto the right."));
  // The handle and the bar come before the cells, which they lie over.
  if (const Layer* l = CurrentLayer()) {
    int first, last;
    ShownSpan(l, &first, &last);
    const int x0 = std::max(CellLeft(first), g.cellsX0), x1 = CellLeft(last) + kCellW - 2;
    if (last >= g.firstCell && last < g.firstCell + g.cells)
      add(GadgetRow(
          x1 - kGripW, g.cellsY0, x1, g.cellsY1 - 1, kEndGadget, kGadActOnPress | kGadNoPressLook,
          nullptr,
          "Layer length\xA7\n\nDrag the right end to add\nor remove images at the end.\nNew "
          "images repeat the\nlast one."));
    if (x0 <= std::min(x1, g.cellsX1))
      add(GadgetRow(
          x0, g.cellsY0, std::min(x1, g.cellsX1), g.cellsY0 + kBarH, kBarGadget,
          kGadActOnPress | kGadNoPressLook, nullptr,
          "Layer in time\xA7\n\nDrag the bar to move the\nlayer along the time-line.\nDrag "
          "it back to leave\nit where it was."));
  }
  add(GadgetRow(
      g.cellsX0, g.cellsY0, g.cellsX1, g.cellsY1, kCells, kGadActOnPress | kGadNoPressLook, nullptr,
      "Time-line\xA7\n\nThe images of the current\nlayer. Click to go to one,\nshift-click or "
      "drag to\nselect a range, ctrl-drag\nto move an image."));

  const Layer* cur = CurrentLayer();
  const int before = cur ? cur->lightBefore : 0, after = cur ? cur->lightAfter : 0;
  std::snprintf(g_before, sizeof g_before, "%d", before);
  std::snprintf(g_after, sizeof g_after, "+%d", after);
  Gadget light =
      GadgetRow(4, lightY0, 60, lightY1, kLight, kGadSwitchLabel | kGadNoPressLook, "Light",
                "Light table\xA7\n\nShows the images before\nand after the current one,\nfainter "
                "with distance.");
  if (before || after) light.flags |= kGadSelected;
  add(light);
  int x = 64;
  auto counter = [&](int minus, int value, int plus, char* text, const char* what) {
    add(GadgetRow(x, lightY0, x + 15, lightY1, minus, 0, "-", what));
    add(GadgetRow(x + 17, lightY0, x + 44, lightY1, value, kGadInert | kGadColour, text));
    g_table[n - 1].colour = kWhite;
    add(GadgetRow(x + 46, lightY0, x + 61, lightY1, plus, 0, "+", what));
    x += 66;
  };
  counter(kBeforeMinus, kBeforeValue, kBeforePlus, g_before,
          "Images before\xA7\n\nHow many earlier images\nthe light table shows.");
  counter(kAfterMinus, kAfterValue, kAfterPlus, g_after,
          "Images after\xA7\n\nHow many later images\nthe light table shows.");
  Gadget side = GadgetRow(x, lightY0, std::min(x + 70, W - 24), lightY1, kSide, kGadPair3,
                          Timeline.lightSide ? "In front" : "Behind",
                          "Light table side\xA7\n\nThe light images lie behind\nthe current one or "
                          "in\nfront of it.");
  side.action = "LayerTogglePelureMode";
  add(side);
  add(GadgetRow(W - 19, H - 19, W - 3, H - 3, kGadResize, kGadActOnPress));
  g_table[n] = Gadget{};
}

// ---- Painting ----------------------------------------------------------------------------------

// The thumbnail scaled into the box over a check pattern, so that transparency shows.
void PaintThumbnail(Block* b, const Block* t, int x0, int y0, int w, int h) {
  FillRect(b, x0 - 1, y0 - 1, x0 + w, y0 + h, kGreyInk);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      Pixel check = ((x / 5 + y / 5) & 1) ? 0xFFCCCCCC : 0xFFFFFFFF;
      Pixel out = check;
      if (t && t->width > 0 && t->height > 0) {
        Pixel p = t->Row(y * t->height / h)[x * t->width / w];
        int a = Alpha(p);
        auto mix = [a](int s, int c) { return std::min(255, s + c * (255 - a) / 255); };
        out = MakePixel(255, mix(Red(p), Red(check)), mix(Green(p), Green(check)),
                        mix(Blue(p), Blue(check)));
      }
      PutPixel(b, x0 + x, y0 + y, out);
    }
}

void PaintRows(Window* w) {
  Block* b = w->picture;
  FillRect(b, g.listX0 + 1, g.listY0 + 1, g.listX1 - 1, g.listY1 - 1, Sys(BACKGROUNDCOLOR));
  for (int r = 0; r < g.rows && g.firstRow + r < LayerCount(); ++r) {
    const int index = g.firstRow + r;
    const Layer* l = LayerAt(index);
    const int top = g.listY0 + 1 + r * kRowH, bottom = top + kRowH - 2;
    const bool current = index == Timeline.current;
    const Pixel fill = r == g.dropRow ? kRowDrop : current ? kRowCurrent : kRowPlain;
    FillRect(b, g.listX0 + 1, top, g.listX1 - 1, bottom, fill);
    const int tx = g.listX0 + 24;
    PaintThumbnail(b, l->thumbnail, tx, top + 1, kThumbW, kThumbH);
    const Pixel ink = (l->flags & kLayerHidden) ? kGreyInk : current ? kWhite : kInk;
    char text[160];
    std::snprintf(text, sizeof text, "%s", l->name[0] ? l->name : "Untitled");
    const int nx = tx + kThumbW + 8, nameRight = g.listX1 - 4 - 84;
    DrawText(b, nx, top, text, ink, nx, top, nameRight, bottom + 1);
    if (l->sequence || l->first != l->last)
      std::snprintf(text, sizeof text, "images %d..%d", l->first, l->last);
    else
      std::snprintf(text, sizeof text, "image %d", l->first);
    DrawText(b, nx, top + 13, text, current ? 0xFFD0DCF0 : kGreyInk, nx, top, nameRight,
             bottom + 1);
  }
  // The switches and opacity gadgets lie over the rows.
  for (Gadget* gd = g_table; gd->id; ++gd)
    if (gd->id >= kRowHide) RedrawGadget(gd, w);
}

bool InRange(int p) {
  int lo, hi;
  return RangeBounds(&lo, &hi) && lo <= p && p <= hi;
}

void PaintCells(Window* w) {
  Block* b = w->picture;
  const Layer* l = CurrentLayer();
  FillRect(b, g.cellsX0, g.cellsY0, g.cellsX1, g.cellsY1, Sys(BACKGROUNDCOLOR));
  if (!l) return;
  int first, last;
  ShownSpan(l, &first, &last);
  const int shift = g.drag == Drag::Move ? g.dragValue : 0;
  const int y0 = BodyTop(), y1 = g.cellsY1;
  for (int c = 0; c < g.cells; ++c) {
    const int p = g.firstCell + c;
    const int x0 = g.cellsX0 + c * kCellW, x1 = x0 + kCellW - 2;
    const bool image = first <= p && p <= last;
    // While a drag is under way the cells show the layer where it would land; q is the
    // position the image there has now.
    const int q = p - shift;
    const bool current = image && q == Timeline.position && g.drag != Drag::Image;
    const bool range = image && g.drag == Drag::None && InRange(p);
    Pixel fill = current ? kCellCurrent : range ? kCellRange : kCellPlain;
    if (!image)
      fill = g.drag == Drag::Length && p >= l->first && p <= l->last ? kCellRemoved : kCellEmpty;
    else if (g.drag == Drag::Length && p > l->last)
      fill = kCellAdded;
    else if (g.drag == Drag::Image && p - l->first == g.dragValue)
      fill = kRowDrop;
    else if (g.drag == Drag::Image && p - l->first == g.dragFrom)
      fill = kCellEmpty;
    FillRect(b, x0, y0, x1, y1 - 1, fill);
    FillRect(b, x0, y1 - 1, x1, y1 - 1, kGreyInk);
    FillRect(b, x1, y0, x1, y1 - 1, kGreyInk);
    char text[24];
    FormatTimeCode(p, text, sizeof text);
    const int tw = TextWidth(text);
    DrawText(b, x0 + (kCellW - 1 - tw) / 2, y0 + 1, text,
             current ? kWhite
             : image ? kInk
                     : kGreyInk,
             x0, y0, x1, y1);
    if (!image || g.drag != Drag::None) continue;
    // Light table images carry a mark under their number.
    const int d = p - Timeline.position;
    if (d && ((d < 0 && d >= l->lightBefore) || (d > 0 && d <= l->lightAfter)))
      FillRect(b, x0 + 8, y1 - 9, x1 - 8, y1 - 6, kLightMark);
    if (range) FillRect(b, x0 + 2, y1 - 4, x1 - 2, y1 - 3, 0xFFB08000);
  }
  // The bar over the images, with a grip in the middle of what is in view, and the handle at the
  // right end.
  const int bx0 = std::max(CellLeft(first), g.cellsX0);
  const int bx1 = std::min(CellLeft(last) + kCellW - 2, g.cellsX1);
  if (bx0 > bx1) return;
  FillRect(b, bx0, g.cellsY0 + 1, bx1, g.cellsY0 + kBarH, g.drag == Drag::Move ? kRowDrop : kBar);
  const int mid = (bx0 + bx1) / 2;
  for (int i = -2; i <= 2; ++i)
    FillRect(b, mid + 3 * i, g.cellsY0 + 3, mid + 3 * i, g.cellsY0 + kBarH - 2,
             g.drag == Drag::Move ? kInk : kGrip);
  if (last < g.firstCell || last >= g.firstCell + g.cells) return;
  const int hx1 = CellLeft(last) + kCellW - 2, hx0 = hx1 - kGripW + 1;
  const bool held = g.drag == Drag::Length;
  FillRect(b, hx0, g.cellsY0 + 1, hx1, y1 - 1, held ? kRowDrop : kBar);
  const int hy = (y0 + y1) / 2;
  for (int x : {hx0 + 1, hx0 + 3}) FillRect(b, x, hy - 6, x, hy + 6, held ? kInk : kGrip);
}

void SetCaption() {
  const Layer* l = CurrentLayer();
  if (!l) {
    g_caption[0] = 0;
    return;
  }
  const char* name = l->name[0] ? l->name : "Untitled";
  char pos[24], lo[24], hi[24];
  int first, last;
  ShownSpan(l, &first, &last);
  FormatTimeCode(Timeline.position, pos, sizeof pos);
  FormatTimeCode(first, lo, sizeof lo);
  FormatTimeCode(last, hi, sizeof hi);
  switch (g.drag) {
    case Drag::Move:
      std::snprintf(g_caption, sizeof g_caption, "Move \"%.60s\" to %s..%s (%+d)", name, lo, hi,
                    g.dragValue);
      return;
    case Drag::Length:
      std::snprintf(g_caption, sizeof g_caption, "\"%.60s\" gets %d image%s, %s..%s (%+d)", name,
                    g.dragValue, g.dragValue == 1 ? "" : "s", lo, hi,
                    g.dragValue - (l->last - l->first + 1));
      return;
    case Drag::Image:
      FormatTimeCode(l->first + g.dragFrom, lo, sizeof lo);
      FormatTimeCode(l->first + g.dragValue, hi, sizeof hi);
      std::snprintf(g_caption, sizeof g_caption, "Move the image at %s of \"%.60s\" to %s", lo,
                    name, hi);
      return;
    case Drag::None:
      break;
  }
  int a, z;
  char range[64] = "";
  if (RangeBounds(&a, &z)) std::snprintf(range, sizeof range, ", selected %d..%d", a, z);
  std::snprintf(g_caption, sizeof g_caption, "Time-line of \"%.60s\": image %s of %s..%s%s", name,
                pos, lo, hi, range);
}

// Keeps a new position or layer in view; the user's own scrolling stays otherwise.
void FollowModel() {
  const Layer* l = CurrentLayer();
  if (Timeline.position != g.seenPosition || Timeline.current != g.seenCurrent) {
    if (Timeline.position < g.firstCell || Timeline.position >= g.firstCell + g.cells)
      g.firstCell = Timeline.position - g.cells / 2;
    if (Timeline.current != g.seenCurrent &&
        (Timeline.current < g.firstRow || Timeline.current >= g.firstRow + g.rows))
      g.firstRow = Timeline.current - std::max(0, g.rows - 1);
    g.seenPosition = Timeline.position, g.seenCurrent = Timeline.current;
  }
  // The time-line reaches back to 0 and on to where the layer's end stands in the middle.
  const int lo = l ? std::min(l->first, 0) : 0;
  if (l) g.firstCell = std::clamp(g.firstCell, lo, std::max(lo, l->last - g.cells / 2));
}

uint64_t Digest() {
  uint64_t h = 1469598103934665603ull;
  auto mix = [&h](uint64_t v) { h = (h ^ v) * 1099511628211ull; };
  for (int v :
       {LayerCount(), Timeline.current, Timeline.position, Timeline.rangeIn, Timeline.rangeCount,
        Timeline.showMode, Timeline.lightSide, LayerSet.modeTimeCode, g.firstRow, g.firstCell,
        g.dropRow, static_cast<int>(g.drag), g.dragValue, g.dragFrom})
    mix(static_cast<uint32_t>(v));
  for (int i = 0; i < LayerCount(); ++i) {
    const Layer* l = LayerAt(i);
    for (int v : {l->id, l->opacity, l->first, l->last, l->lightBefore, l->lightAfter})
      mix(static_cast<uint32_t>(v));
    mix(l->flags);
    for (const char* c = l->name; *c; ++c) mix(static_cast<uint8_t>(*c));
    if (i < g.firstRow || i >= g.firstRow + g.rows || !l->thumbnail) continue;
    const Block* t = l->thumbnail;
    mix(static_cast<uint32_t>(t->width * 65536 + t->height));
    for (int y = 0; y < t->height; ++y)
      for (int x = 0; x < t->width; ++x) mix(t->Row(y)[x]);
  }
  return h;
}

void Draw() {
  Window* w = g.window;
  FollowModel();
  Layout(w->width, w->height);
  SetCaption();
  DrawWindow(w);
  PaintRows(w);
  PaintCells(w);
  g.digest = Digest();
  if (w->shown) RepaintRect(w, w->left, w->top, w->width, w->height);
}

// ---- Pointer work ------------------------------------------------------------------------------

// The layer row under a Window point, or -1.
int RowAt(int y) {
  if (y <= g.listY0) return -1;
  const int r = (y - g.listY0 - 1) / kRowH;
  const int index = g.firstRow + r;
  return r < g.rows && index < LayerCount() ? index : -1;
}

// The position of the cell under a Window x, kept within the current layer.
int CellAt(int x) {
  const Layer* l = CurrentLayer();
  if (!l) return 0;
  const int c = (x - g.cellsX0) / kCellW;
  return std::clamp(g.firstCell + std::clamp(c, 0, g.cells - 1), l->first, l->last);
}

// Follows the held button; each new Window point goes to step.
template <typename Step>
bool Track(Step step) {
  Window* w = g.window;
  const uint32_t serial = g.serial;
  int lastX = In.winX, lastY = In.winY;
  bool moved = false;
  while (In.leftDown && !ExitFlag && !QuitRequest && !SignalQuit && WindowAlive(w, serial)) {
    PumpEvents(1);
    if (In.winX == lastX && In.winY == lastY) continue;
    lastX = In.winX, lastY = In.winY;
    moved = true;
    step(In.winX - w->left, In.winY - w->top);
  }
  return moved;
}

void PressList() {
  Window* w = g.window;
  const int from = RowAt(In.winY - w->top);
  if (from < 0) return;
  if (from != Timeline.current) SelectLayer(from, Timeline.position, false);
  Draw();
  int to = from;
  Track([&](int, int y) {
    int r = RowAt(y);
    if (y <= g.listY0) r = g.firstRow;
    if (r < 0) r = LayerCount() - 1;
    if (r == to) return;
    to = r;
    g.dropRow = to != from ? to - g.firstRow : -1;
    Draw();
  });
  g.dropRow = -1;
  if (!WindowAlive(w, g.serial)) return;
  if (to != from && !In.leftDown) {
    MoveLayer(from, to);
    g.pressedLayer = -1;
  } else if (from == g.pressedLayer && TimeNow() - g.pressedAt < kDoublePress) {
    g.pressedLayer = -1;
    RenameLayer(from, nullptr);
  } else {
    g.pressedLayer = from;
    g.pressedAt = TimeNow();
  }
  if (MixerOpen()) Draw();
}

// A count of the range from in to p: forward covers in..p, backward p..in.
int CountTo(int in, int p) {
  return p >= in ? p - in + 1 : p - in;
}

// The current layer when it is still the one with this id.
const Layer* Dragged(int id) {
  const Layer* l = CurrentLayer();
  return l && l->id == id ? l : nullptr;
}

// After a drag: true when it ended by the release, over the same Window and layer. The preview
// goes either way.
bool DragEnded(Window* w, int id) {
  g.drag = Drag::None;
  g.dragValue = g.dragFrom = 0;
  const bool ok = WindowAlive(w, g.serial) && !In.leftDown && !ExitFlag && !QuitRequest &&
                  Dragged(id) != nullptr;
  if (MixerOpen()) Draw();
  return ok;
}

// The bar moves the layer in time; the time-line starts at 0, so the drag stops there.
void PressBar() {
  Window* w = g.window;
  const Layer* l = CurrentLayer();
  if (!l) return;
  const int id = l->id, from = CellUnder(In.winX - w->left);
  const int low = std::min(0, -l->first), high = kTimelineLimit - l->last;
  g.drag = Drag::Move;
  g.dragValue = 0;
  Draw();
  Track([&](int x, int) {
    const int d = std::clamp(CellUnder(x) - from, low, high);
    if (!Dragged(id) || d == g.dragValue) return;
    g.dragValue = d;
    Draw();
  });
  const int delta = g.dragValue;
  if (!DragEnded(w, id) || delta == 0) return;
  // The open image goes along, as the cells showed while dragging.
  l = CurrentLayer();
  const int position = Timeline.position;
  const bool inside = position >= l->first && position <= l->last;
  if (!ShiftLayer(Timeline.current, delta)) return;
  SetRange(Timeline.position, 0);  // the range named the images at their old places
  if (inside) GotoPosition(position + delta, 0);
}

// The handle sets the count: each cell the pointer goes right or left adds or removes an image.
void PressEnd() {
  Window* w = g.window;
  const Layer* l = CurrentLayer();
  if (!l) return;
  const int id = l->id, pressX = In.winX, count = l->last - l->first + 1;
  g.drag = Drag::Length;
  g.dragValue = count;
  Draw();
  Track([&](int x, int) {
    const int steps = FloorDiv(x + w->left - pressX + kCellW / 2, kCellW);
    const int n = std::clamp(count + steps, 1, kMaxLayerImages);
    if (!Dragged(id) || n == g.dragValue) return;
    g.dragValue = n;
    Draw();
  });
  const int n = g.dragValue;
  if (!DragEnded(w, id) || n == count) return;
  ResizeLayer(Timeline.current, n, false, false);
}

// Ctrl and a drag take one image of a sequence to another place in it.
void DragImage(int p) {
  Window* w = g.window;
  const Layer* l = CurrentLayer();
  const int id = l->id, from = p - l->first;
  g.drag = Drag::Image;
  g.dragFrom = g.dragValue = from;
  Draw();
  Track([&](int x, int) {
    const Layer* now = Dragged(id);
    if (!now) return;
    const int to = CellAt(x) - now->first;
    if (to == g.dragValue) return;
    g.dragValue = to;
    Draw();
  });
  const int to = g.dragValue;
  if (DragEnded(w, id) && to != from) MoveImage(from, to);
}

void PressCells() {
  Window* w = g.window;
  const Layer* l = CurrentLayer();
  if (!l) return;
  // Cells beside the layer are only time: nothing to go to there.
  const int under = CellUnder(In.winX - w->left);
  if (under < l->first || under > l->last) return;
  const int p = CellAt(In.winX - w->left);
  if (In.control && l->sequence && l->last > l->first) {
    DragImage(p);
    return;
  }
  if (In.shift) {
    SetRange(Timeline.position, CountTo(Timeline.position, p));
    Draw();
    return;
  }
  if (p != Timeline.position) GotoPosition(p, 0);
  Draw();
  int last = p;
  bool dragged = Track([&](int x, int) {
    const int q = CellAt(x);
    if (q == last) return;
    last = q;
    SetRange(p, CountTo(p, q));
    Draw();
  });
  // A plain press leaves no range behind; a drag back to the start is a range of one.
  if (!dragged && MixerOpen()) {
    SetRange(p, 0);
    Draw();
  }
}

void Resize(int width, int height) {
  Window* w = g.window;
  int sw, sh;
  ScreenSize(&sw, &sh);
  width = std::clamp(width, kMinW, std::max(kMinW, sw));
  height = std::clamp(height, kMinH, std::max(kMinH, sh));
  if (width == w->width && height == w->height) return;
  Block* picture = NewBlock(width, height);
  if (!picture) {
    Message(" Not enough memory");
    return;
  }
  const bool shown = w->shown;
  HideWindow(w);
  FreeBlock(w->picture);
  w->picture = picture;
  w->width = width, w->height = height;
  w->right = w->left + width, w->bottom = w->top + height;
  w->innerWidth = width - 8, w->innerHeight = height - 8;
  g.geo[g.form].w = width, g.geo[g.form].h = height;
  Draw();
  if (shown) ShowWindow(w);
}

void PressResize() {
  Window* w = g.window;
  const int dx = w->right - In.winX, dy = w->bottom - In.winY;
  Track([](int, int) {});
  if (WindowAlive(w, g.serial)) Resize(In.winX + dx - w->left, In.winY + dy - w->top);
}

void SwitchForm(int form) {
  if (form == g.form) return;
  Window* w = g.window;
  g.geo[g.form] = {w->left, w->top, w->width, w->height};
  g.form = form;
  Geometry n = g.geo[form];
  if (n.x < 0) n.x = w->left, n.y = w->top;
  Resize(n.w, n.h);
  int sw, sh;
  ScreenSize(&sw, &sh);
  MoveWindow(w, ClampWindowCoord(n.x, w->width, sw), ClampWindowCoord(n.y, w->height, sh));
}

void StepOpacity(int row, int step) {
  const int index = g.firstRow + row;
  const Layer* l = LayerAt(index);
  if (!l) return;
  const int percent = std::clamp(PercentFromOpacity(l->opacity) + step, 0, 100);
  SetLayerOpacity(index, OpacityFromPercent(percent));
}

void Light(int before, int after) {
  SetLightTable(std::clamp(before, -99, 0), std::clamp(after, 0, 99));
}

void Handler(Window* w, Gadget* gd, int code) {
  if (!gd) {
    if (code == kCodeIdle) RefreshMixer();
    return;
  }
  const Layer* cur = CurrentLayer();
  const int before = cur ? cur->lightBefore : 0, after = cur ? cur->lightAfter : 0;
  const int id = gd->id;
  const bool press = code == kCodeLeftPress, release = code == kCodeLeftRelease;
  if (id >= kBtnFirst && id < kBtnFirst + kButtonCount && release) {
    const Button& b = kButtons[id - kBtnFirst];
    if (b.action)
      RunActions(b.action);
    else
      MergeLayer(Timeline.current);
  } else if (id >= kRowOpPlus && press) {
    StepOpacity(id - kRowOpPlus, 5);
  } else if (id >= kRowOpMinus && id < kRowOpValue && press) {
    StepOpacity(id - kRowOpMinus, -5);
  } else if (id >= kRowHide && id < kRowOpMinus && press) {
    const int index = g.firstRow + id - kRowHide;
    if (const Layer* l = LayerAt(index)) SetLayerHidden(index, !(l->flags & kLayerHidden));
  } else if (id == kList && press) {
    PressList();
  } else if (id == kCells && press) {
    PressCells();
  } else if (id == kBarGadget && press) {
    PressBar();
  } else if (id == kEndGadget && press) {
    PressEnd();
  } else if ((id == kListUp || id == kListDown) && press) {
    g.firstRow += id == kListUp ? -1 : 1;
  } else if ((id == kTlLeft || id == kTlRight) && press) {
    g.firstCell += id == kTlLeft ? -1 : 1;
  } else if (id == kLight && release) {
    if (before || after) {
      g.lightBefore = before, g.lightAfter = after;
      Light(0, 0);
    } else {
      Light(g.lightBefore, g.lightAfter);
    }
  } else if (release && (id == kBeforeMinus || id == kBeforePlus)) {
    Light(before + (id == kBeforeMinus ? -1 : 1), after);
  } else if (release && (id == kAfterMinus || id == kAfterPlus)) {
    Light(before, after + (id == kAfterMinus ? -1 : 1));
  } else if (id == kSide && release) {
    RunActions("LayerTogglePelureMode");
  } else if (id == kGadResize && press) {
    PressResize();
  } else if ((id == kGadMaximize || id == kGadMinimize) && release) {
    SwitchForm(id == kGadMinimize ? 1 : 0);
  } else {
    return;
  }
  if (WindowAlive(w, g.serial)) Draw();
}

void OnClose(Window*) {
  CloseMixer();
}

void OnMove(Window*, int*, int*) {}

// The position of a form on this screen: the default one at the bottom, right of the toolbar.
void Place(Geometry* geo) {
  int sw, sh;
  ScreenSize(&sw, &sh);
  geo->w = std::clamp(geo->w, kMinW, std::max(kMinW, sw));
  geo->h = std::clamp(geo->h, kMinH, std::max(kMinH, sh));
  if (geo->x < 0 && geo->y < 0)
    geo->x = std::min(kToolbarWidth + 8, sw - geo->w), geo->y = sh - kMinH;
  geo->x = ClampWindowCoord(geo->x, geo->w, sw);
  geo->y = ClampWindowCoord(geo->y, geo->h, sh);
}

void OpenAction() {
  OpenMixer();
}
void ToggleAction() {
  if (MixerOpen())
    CloseMixer();
  else
    OpenMixer();
}

const ActionRow kActions[] = {
    {"OpenMixer", OpenAction},
    {"ToggleMixer", ToggleAction},
};

}  // namespace

bool MixerOpen() {
  return g.window && WindowAlive(g.window, g.serial);
}

Window* MixerWindow() {
  return MixerOpen() ? g.window : nullptr;
}

Window* OpenMixer() {
  if (MixerOpen()) {
    RaiseWindow(g.window);
    return g.window;
  }
  Geometry geo = g.geo[g.form];
  Place(&geo);
  Window* w = CreateWindow(geo.w, geo.h, 0);
  if (!w) {
    Message(" Not enough memory");
    return nullptr;
  }
  g.window = w;
  g.serial = w->serial;
  w->title = "Layers";
  w->gadgets = g_table;
  w->handler = Handler;
  w->onClose = OnClose;
  w->onMove = OnMove;
  w->events = kWinWantsIdle;
  g.seenCurrent = -1;
  g_table[0] = Gadget{};
  MoveWindow(w, geo.x, geo.y);
  Draw();
  ShowWindow(w);
  return w;
}

void CloseMixer() {
  if (!MixerOpen()) return;
  Window* w = g.window;
  g.geo[g.form] = {w->left, w->top, w->width, w->height};
  g.window = nullptr;
  DeleteWindow(w);
}

void RefreshMixer() {
  if (!MixerOpen()) return;
  RefreshThumbnail();
  FollowModel();
  if (Digest() != g.digest) Draw();
}

bool MixerLayerPoint(int index, int* x, int* y) {
  if (!MixerOpen() || index < g.firstRow || index >= g.firstRow + g.rows || !LayerAt(index))
    return false;
  *x = g.window->left + g.listX0 + 24 + kThumbW + 30;
  *y = g.window->top + g.listY0 + 1 + (index - g.firstRow) * kRowH + kRowH / 2;
  return true;
}

bool MixerCellPoint(int position, int* x, int* y) {
  const Layer* l = CurrentLayer();
  if (!MixerOpen() || !l || position < g.firstCell || position >= g.firstCell + g.cells ||
      position < l->first || position > l->last)
    return false;
  *x = g.window->left + g.cellsX0 + (position - g.firstCell) * kCellW + kCellW / 2;
  *y = g.window->top + (BodyTop() + g.cellsY1) / 2;
  return true;
}

void LoadMixerSettings() {
  int sw, sh;
  ScreenSize(&sw, &sh);
  const char* keys[2][4] = {{"WIN_X", "WIN_Y", "WIN_W", "WIN_H"},
                            {"WIN_MX", "WIN_MY", "WIN_MW", "WIN_MH"}};
  const int defW[2] = {kDefaultW, kMinW};
  for (int f = 0; f < 2; ++f) {
    Geometry& geo = g.geo[f];
    geo.w = std::max(kMinW, ConfigGetInt(kSection, keys[f][2], defW[f]));
    geo.h = std::max(kMinH, ConfigGetInt(kSection, keys[f][3], kDefaultH));
    const int defX = std::max(0, std::min(kToolbarWidth + 8, sw - geo.w));
    geo.x = ClampWindowCoord(ConfigGetInt(kSection, keys[f][0], defX), geo.w, sw);
    geo.y = ClampWindowCoord(ConfigGetInt(kSection, keys[f][1], sh - kMinH), geo.h, sh);
  }
  g.openAtStart = ConfigGetDisplay(kSection, false);
  if (g.openAtStart) OpenMixer();
}

void SaveMixerSettings() {
  const bool open = MixerOpen();
  CloseMixer();
  ConfigPutDisplay(kSection, open);
  const char* keys[2][4] = {{"WIN_X", "WIN_Y", "WIN_W", "WIN_H"},
                            {"WIN_MX", "WIN_MY", "WIN_MW", "WIN_MH"}};
  for (int f = 0; f < 2; ++f) {
    const Geometry& geo = g.geo[f];
    if (geo.x < 0 && geo.y < 0) continue;  // never placed: the default stays
    ConfigPutInt(kSection, keys[f][0], geo.x);
    ConfigPutInt(kSection, keys[f][1], geo.y);
    ConfigPutInt(kSection, keys[f][2], geo.w);
    ConfigPutInt(kSection, keys[f][3], geo.h);
  }
}

std::span<const ActionRow> MixerActions() {
  return kActions;
}

}  // namespace vela
