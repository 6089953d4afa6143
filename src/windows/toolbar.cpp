// The main toolbar. Its pictures are drawn here with the primitives into Blocks once, in black
// on transparent, so that the gadget's fill shows through them; dimmed gadgets get grey ink.
#include "windows/toolbar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "host/host.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "pixels/primitives.h"
#include "project/undo.h"
#include "start/actions.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "windows/layers_window.h"
#include "windows/pressure_grid_windows.h"
#include "windows/tools_window.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kIcon = 22;
constexpr Pixel kInk = 0xFF000000;
constexpr Pixel kGreyInk = 0xFF6A6A6A;
constexpr Pixel kWhite = 0xFFFFFFFF;

// ---- Pictures ----------------------------------------------------------------------------------

struct Pen {
  Block* b;
  Pixel ink;
  void Dot(int x, int y) const {
    if (x >= 0 && y >= 0 && x < b->width && y < b->height) PutPixel(b, x, y, ink);
  }
  void Line(int x0, int y0, int x1, int y1) const {
    const int n = std::max(std::abs(x1 - x0), std::abs(y1 - y0));
    for (int i = 0; i <= n; ++i) {
      double t = n ? static_cast<double>(i) / n : 0;
      Dot(static_cast<int>(std::lround(x0 + (x1 - x0) * t)),
          static_cast<int>(std::lround(y0 + (y1 - y0) * t)));
    }
  }
  void Rect(int x0, int y0, int x1, int y1, bool fill) const {
    if (fill) {
      FillRect(b, x0, y0, x1, y1, ink);
      return;
    }
    Line(x0, y0, x1, y0), Line(x0, y1, x1, y1), Line(x0, y0, x0, y1), Line(x1, y0, x1, y1);
  }
  // An ellipse about (cx, cy) with half-pixel centres, outline or filled.
  void Ellipse(double cx, double cy, double rx, double ry, bool fill) const {
    for (int y = 0; y < b->height; ++y)
      for (int x = 0; x < b->width; ++x) {
        double dx = (x + 0.5 - cx) / rx, dy = (y + 0.5 - cy) / ry;
        double d = dx * dx + dy * dy;
        double edge = 1.0 - 2.2 / std::min(rx, ry);
        if (d <= 1.0 && (fill || d >= edge)) Dot(x, y);
      }
  }
  void Text(const char* text, int x, int y) const {
    DrawText(b, x, y, text, ink, 0, 0, b->width, b->height);
  }
};

enum Picture : int {
  kPicPoint = 0,
  kPicDraw,
  kPicDrawFilled,
  kPicLine,
  kPicSpline,
  kPicSplineFilled,
  kPicRect,
  kPicRectFilled,
  kPicCircle,
  kPicCircleFilled,
  kPicEllipse,
  kPicEllipseFilled,
  kPicFlood,
  kPicWand,
  kPicBrushCut,
  kPicRefill,
  kPicMove,
  kPicPen,
  kPicPointe,
  kPicPencil,
  kPicChalk,
  kPicAirbrush,
  kPicWater,
  kPicOil,
  kPicGouache,
  kPicCustom,
  kPicTextBrush,
  kPicToolsWindow,
  kPicAntialias,
  kPicGrid,
  kPicOpacity,
  kPicRange,
  kPicModeMenu,
  kPicModeList,
  kPicPick,
  kPicPalette,
  kPicZoom,
  kPicLayers,
  kPicScript,
  kPicClear,
  kPicCount,
};

void DrawPicture(int pic, const Pen& p) {
  const bool grey = p.ink == kGreyInk;
  auto colour = [grey](Pixel c) {
    if (!grey) return c;
    int l = (Red(c) * 3 + Green(c) * 6 + Blue(c)) / 10;
    l = 96 + l / 3;
    return MakePixel(255, l, l, l);
  };
  switch (pic) {
    case kPicPoint:
      for (int i = 0; i < 6; ++i) {
        int x = 3 + i * 3, y = 11 + static_cast<int>(5 * std::sin(i * 1.2));
        p.Rect(x, y, x + 1, y + 1, true);
      }
      break;
    case kPicDraw:
    case kPicDrawFilled: {
      if (pic == kPicDrawFilled) {
        p.Ellipse(11, 11, 8, 6, true);
        for (int x = 4; x < 18; x += 3) p.Line(x, 4, x + 2, 4);
        break;
      }
      int lx = 2, ly = 12;
      for (int x = 3; x <= 19; ++x) {
        int y = 11 + static_cast<int>(6 * std::sin((x - 2) * 0.45));
        p.Line(lx, ly, x, y);
        lx = x, ly = y;
      }
      break;
    }
    case kPicLine:
      p.Line(3, 18, 18, 3);
      p.Line(4, 18, 18, 4);
      break;
    case kPicSpline:
    case kPicSplineFilled: {
      // A quadratic through the middle of the box, with its two ends marked.
      double lx = 3, ly = 18;
      for (int i = 1; i <= 16; ++i) {
        double t = i / 16.0, u = 1 - t;
        double x = u * u * 3 + 2 * u * t * 11 + t * t * 18,
               y = u * u * 18 + 2 * u * t * -4 + t * t * 18;
        p.Line(static_cast<int>(lx), static_cast<int>(ly), static_cast<int>(x),
               static_cast<int>(y));
        lx = x, ly = y;
      }
      if (pic == kPicSplineFilled)
        for (int y = 8; y <= 18; ++y) p.Line(6 + (18 - y) / 3, y, 15 - (18 - y) / 3, y);
      p.Rect(2, 17, 4, 19, true);
      p.Rect(17, 17, 19, 19, true);
      break;
    }
    case kPicRect:
      p.Rect(3, 5, 18, 16, false);
      p.Rect(4, 6, 17, 15, false);
      break;
    case kPicRectFilled:
      p.Rect(3, 5, 18, 16, true);
      break;
    case kPicCircle:
    case kPicCircleFilled:
      p.Ellipse(11, 11, 8.5, 8.5, pic == kPicCircleFilled);
      break;
    case kPicEllipse:
    case kPicEllipseFilled:
      p.Ellipse(11, 11, 9.5, 6, pic == kPicEllipseFilled);
      break;
    case kPicFlood:  // a tipped pot with paint running out
      for (int i = 0; i < 8; ++i) p.Line(4 + i, 10 - i, 10 + i, 16 - i);
      p.Line(12, 2, 19, 9);
      FillRect(p.b, 17, 10, 18, 17, colour(0xFF2060E0));
      FillRect(p.b, 16, 16, 19, 18, colour(0xFF2060E0));
      break;
    case kPicWand:
      p.Line(3, 19, 13, 9);
      p.Line(4, 19, 14, 9);
      p.Line(16, 2, 16, 10), p.Line(12, 6, 20, 6), p.Line(13, 3, 19, 9), p.Line(13, 9, 19, 3);
      break;
    case kPicBrushCut:  // a dashed selection box
      for (int i = 2; i <= 19; ++i)
        if ((i / 2) % 2 == 0) p.Dot(i, 3), p.Dot(i, 18), p.Dot(2, i - 1 + 1), p.Dot(19, i);
      break;
    case kPicRefill:
      p.Rect(4, 6, 17, 18, true);
      FillRect(p.b, 6, 8, 15, 16, colour(0xFFE04040));
      p.Line(6, 3, 15, 3);
      break;
    case kPicMove:
      p.Line(10, 2, 10, 19), p.Line(11, 2, 11, 19), p.Line(2, 10, 19, 10), p.Line(2, 11, 19, 11);
      for (int i = 0; i < 4; ++i) {
        p.Line(10 - i, 2 + i, 11 + i, 2 + i), p.Line(10 - i, 19 - i, 11 + i, 19 - i);
        p.Line(2 + i, 10 - i, 2 + i, 11 + i), p.Line(19 - i, 10 - i, 19 - i, 11 + i);
      }
      break;
    case kPicPen:  // a round nib and its stroke
      p.Ellipse(7, 15, 4.5, 4.5, true);
      p.Line(9, 12, 18, 3), p.Line(10, 13, 19, 4), p.Line(11, 14, 20, 5);
      break;
    case kPicPointe:  // a thin pencil
    case kPicPencil:
      p.Line(4, 17, 17, 4), p.Line(6, 18, 19, 5);
      p.Line(17, 4, 19, 5);
      p.Line(4, 17, 2, 20), p.Line(6, 18, 2, 20);
      if (pic == kPicPencil) FillRect(p.b, 16, 3, 19, 6, colour(0xFFE0A030));
      break;
    case kPicChalk:
      p.Rect(12, 2, 19, 9, true);
      for (int i = 0; i < 14; ++i) p.Dot(2 + i % 7 * 2 + i / 7, 12 + (i * 5) % 8);
      break;
    case kPicAirbrush:
      for (int i = 0; i < 40; ++i) {
        double a = i * 2.4, r = 7.5 * std::sqrt((i * 37 % 40) / 40.0);
        p.Dot(11 + static_cast<int>(r * std::cos(a)), 11 + static_cast<int>(r * std::sin(a)));
      }
      break;
    case kPicWater:
    case kPicOil:
    case kPicGouache: {
      const Pixel c = pic == kPicWater ? 0xFF3080E0 : pic == kPicOil ? 0xFFC06020 : 0xFF30A040;
      // A drop: a disc and a point above it.
      for (int y = 3; y <= 11; ++y) p.Line(11 - (y - 3) / 2, y, 11 + (y - 3) / 2, y);
      p.Ellipse(11, 14, 5.5, 5.5, true);
      Pen fill{p.b, colour(c)};
      if (pic != kPicWater) fill.Ellipse(11, 14, 4, 4, true);
      if (pic == kPicWater) fill.Ellipse(10, 15, 2.5, 2.5, true);
      if (pic == kPicOil) p.Line(3, 20, 19, 20);
      break;
    }
    case kPicCustom:
      p.Rect(3, 3, 18, 18, false);
      p.Ellipse(11, 11, 5, 5, true);
      break;
    case kPicTextBrush:
      p.Text("Aa", 3, 4);
      break;
    case kPicToolsWindow:  // a panel of sliders
      p.Rect(2, 3, 19, 18, false);
      p.Line(2, 6, 19, 6);
      for (int i = 0; i < 3; ++i) {
        p.Line(5, 9 + 3 * i, 16, 9 + 3 * i);
        p.Rect(7 + 4 * i, 8 + 3 * i, 8 + 4 * i, 10 + 3 * i, true);
      }
      break;
    case kPicAntialias:  // a stair step beside a smooth edge
      for (int i = 0; i < 4; ++i) p.Rect(2 + 2 * i, 16 - 3 * i, 3 + 2 * i, 18 - 3 * i, true);
      for (int x = 12; x <= 19; ++x) {
        double y = 18 - (x - 12) * 1.4;
        Pen soft{p.b, colour(0xFF808080)};
        p.Dot(x, static_cast<int>(y));
        soft.Dot(x, static_cast<int>(y) + 1);
      }
      break;
    case kPicGrid:
      for (int i = 0; i < 4; ++i)
        p.Line(3 + 5 * i, 3, 3 + 5 * i, 18), p.Line(3, 3 + 5 * i, 18, 3 + 5 * i);
      break;
    case kPicOpacity:
      for (int x = 3; x <= 18; ++x) {
        int l = 255 - (x - 3) * 15;
        FillRect(p.b, x, 4, x, 17, colour(MakePixel(255, l, l, l)));
      }
      p.Rect(2, 3, 19, 18, false);
      break;
    case kPicRange:
      for (int x = 3; x <= 18; ++x) {
        int t = (x - 3) * 17;
        FillRect(p.b, x, 4, x, 17, colour(MakePixel(255, 255 - t, t / 2, t)));
      }
      p.Rect(2, 3, 19, 18, false);
      break;
    case kPicModeMenu:
      p.Text("M", 6, 4);
      break;
    case kPicModeList:
      for (int i = 0; i < 4; ++i) p.Line(4, 5 + 4 * i, 17, 5 + 4 * i);
      break;
    case kPicPick:  // a dropper
      p.Line(4, 18, 13, 9), p.Line(5, 18, 14, 9);
      p.Ellipse(15.5, 6.5, 3.5, 3.5, true);
      break;
    case kPicPalette: {
      const Pixel c[4] = {0xFFE03030, 0xFF30B030, 0xFF3050E0, 0xFFF0D020};
      for (int i = 0; i < 4; ++i)
        FillRect(p.b, 3 + (i % 2) * 9, 3 + (i / 2) * 9, 10 + (i % 2) * 9, 10 + (i / 2) * 9,
                 colour(c[i]));
      break;
    }
    case kPicZoom:
      p.Ellipse(9, 9, 6.5, 6.5, false);
      p.Line(13, 14, 18, 19), p.Line(14, 13, 19, 18), p.Line(14, 14, 19, 19);
      break;
    case kPicLayers:
      for (int i = 2; i >= 0; --i) {
        int o = 4 * i;
        FillRect(p.b, 3 + o, 3 + o, 12 + o, 10 + o, kWhite);
        p.Rect(3 + o, 3 + o, 12 + o, 10 + o, false);
      }
      break;
    case kPicScript:
      p.Text("{ }", 3, 4);
      break;
    case kPicClear:  // a blank sheet with a cross
      FillRect(p.b, 4, 2, 17, 19, kWhite);
      p.Rect(4, 2, 17, 19, false);
      p.Line(7, 7, 14, 14), p.Line(14, 7, 7, 14);
      break;
  }
}

// One Block per picture and ink; made at the first use.
BlockPtr g_pictures[kPicCount][2];

const Block* PictureBlock(int pic, bool grey) {
  BlockPtr& slot = g_pictures[pic][grey ? 1 : 0];
  if (!slot) {
    slot.reset(NewBlock(kIcon, kIcon));
    if (!slot) return nullptr;
    DrawPicture(pic, Pen{slot.get(), grey ? kGreyInk : kInk});
  }
  return slot.get();
}

// ---- The table ---------------------------------------------------------------------------------

constexpr int kWidth = kToolbarWidth, kHeight = kToolbarHeight;
constexpr int kUndoId = 6;
constexpr int kQuitId = 2;

enum Kind : int { kShape, kDrawingTool, kToggle, kCommand, kAbsent };

struct Entry {
  int id;
  Kind kind;
  int picture, filledPicture;  // -1 none
  const char* help;
  const char* action;
  bool right;  // answers the right button
};

// In the order they stand, four to a row, under three headings.
const Entry kShapes[] = {
    {3, kShape, kPicPoint, -1,
     "Dotted freehand\xA7\n\nPaints one brush at the\nclick, or while the button\nis held.\nRight "
     "click: its settings.",
     "SelectPoint", true},
    {7, kShape, kPicDraw, kPicDrawFilled,
     "Freehand\xA7\n\nDraws as you move.\nClick again for the filled\nform.", "SelectDraw", true},
    {21, kShape, kPicLine, -1,
     "Line\xA7\n\nPress at one end, release\nat the other.\nRight click: line pressure.",
     "SelectLine", true},
    {30, kShape, kPicSpline, kPicSplineFilled,
     "Spline\xA7\n\nDrag the two ends, then\nclick the point it passes.\nClick again for the "
     "filled\nform.",
     "SelectSpline", true},
    {29, kShape, kPicRect, kPicRectFilled,
     "Rectangle\xA7\n\nDrag from corner to corner.\nClick again for the filled\nform.",
     "SelectRectangle", true},
    {24, kShape, kPicCircle, kPicCircleFilled,
     "Circle\xA7\n\nDrag from the centre.\nClick again for the filled\nform. Right click: by "
     "centre\nor by three points.",
     "SelectCircle", true},
    {46, kShape, kPicEllipse, kPicEllipseFilled,
     "Ellipse\xA7\n\nDrag from the centre.\nClick again for the filled\nform.", "SelectEllipse",
     true},
    {51, kShape, kPicWand, -1, "Magic wand\xA7\n\nSelects a zone of like\ncolour.",
     "SelectMagicWand", true},
    {33, kAbsent, kPicFlood, -1, "Flood fill\xA7\n\nFills a zone (not available\nyet).",
     "SelectFlood", false},
    {10, kAbsent, kPicBrushCut, -1,
     "Brush cut\xA7\n\nCuts a brush from the page\n(not available yet).", "SelectBrush", false},
    {47, kAbsent, kPicRefill, -1, "Refill\xA7\n\nFills the last zone again\n(not available yet).",
     "Refill", false},
    {57, kAbsent, kPicMove, -1,
     "Move image\xA7\n\nMoves the image on the page\n(not available yet).", "MoveImage", false},
};
const Entry kDrawingTools[] = {
    {14, kDrawingTool, kPicPen, -1, "Pen\xA7\n\nA round pen.\nRight click: its settings.",
     "ToolPen", true},
    {15, kDrawingTool, kPicPointe, -1,
     "Propelling pencil\xA7\n\nA one-pixel line.\nRight click: its settings.", "ToolPropPencil",
     true},
    {16, kDrawingTool, kPicChalk, -1, "Chalk\xA7\n\nA grainy stroke.\nRight click: its settings.",
     "ToolChalk", true},
    {54, kDrawingTool, kPicChalk, -1, "Chalk\xA7\n\nA grainy stroke.\nRight click: its settings.",
     "ToolChalk", true},
    {55, kDrawingTool, kPicAirbrush, -1,
     "Airbrush\xA7\n\nSprays paint.\nRight click: its settings.", "ToolAirBrush", true},
    {56, kDrawingTool, kPicWater, -1, "Water colour\xA7\n\nA wet wash.\nRight click: its settings.",
     "ToolWaterColor", true},
    {22, kCommand, kPicToolsWindow, -1,
     "Tools window\xA7\n\nEvery drawing tool and its\nsettings: size, opacity,\nprofile.",
     "OpenTools", false},
    {39, kAbsent, kPicTextBrush, -1, "Text brush\xA7\n\nSets text as a brush\n(not available yet).",
     "OpenText", false},
};
const Entry kModes[] = {
    {45, kToggle, kPicAntialias, -1, "Antialias\xA7\n\nSmooth edges on or off.", "SelectAntiAlias",
     false},
    {48, kToggle, kPicGrid, -1,
     "Grid\xA7\n\nPositions snap to a grid.\nRight click: the grid's\nsettings.", "ActiveGrid",
     true},
    {27, kAbsent, kPicOpacity, -1, "Opacity mapping\xA7\n\nNot available yet.", "SelectOpacity",
     false},
    {40, kAbsent, kPicRange, -1, "Colour range\xA7\n\nNot available yet.", "OpenRange", false},
    {13, kAbsent, kPicModeMenu, -1, "Draw mode menu\xA7\n\nNot available yet.", nullptr, false},
    {31, kAbsent, kPicModeList, -1, "Draw mode list\xA7\n\nNot available yet.", nullptr, false},
    {11, kAbsent, kPicPick, -1, "Pick a colour\xA7\n\nNot available yet.", "PicColor", false},
    {23, kAbsent, kPicPalette, -1, "Palette\xA7\n\nNot available yet.", "Palette", false},
    {8, kAbsent, kPicZoom, -1, "Zoom view\xA7\n\nNot available yet.", "Zoom", false},
    {37, kCommand, kPicLayers, -1,
     "Layers window\xA7\n\nThe layers and the time-line\nof the project.", "OpenMixer", false},
    {49, kAbsent, kPicScript, -1, "Script window\xA7\n\nNot available yet.", nullptr, false},
    {5, kCommand, kPicClear, -1, "Clear\xA7\n\nClears the image to the\nbackground.", "Clear",
     false},
};

struct Section {
  const char* title;
  const Entry* entries;
  int count;
};
const Section kSections[] = {
    {"Shapes", kShapes, static_cast<int>(std::size(kShapes))},
    {"Drawing tools", kDrawingTools, static_cast<int>(std::size(kDrawingTools))},
    {"Modes and windows", kModes, static_cast<int>(std::size(kModes))},
};

constexpr int kCell = 28, kPitch = 30, kLeft = 5;
constexpr int kHeadingHeight = 18;

constexpr int kEntryCount =
    static_cast<int>(std::size(kShapes) + std::size(kDrawingTools) + std::size(kModes));
// Frame 5, headings 3, entries, Undo, rule, Quit, end.
Gadget g_table[5 + 3 + kEntryCount + 4];
const Entry* g_entryOf[kEntryCount];
char g_undoText[sizeof Undo.label + 4] = "Undo";

Window* g_bar = nullptr;
uint32_t g_barSerial = 0;

// What the gadgets show, to redraw only what changed.
struct Shown {
  int tool = -1, drawingTool = -1, antialias = -1, grid = -1;
  bool filled[64] = {};
  char undo[sizeof Undo.label] = "";
} g_shown;

void BuildTable() {
  int n = 0;
  g_table[n++] = GadgetRow(0, 0, -1, -1, kGadFrame, kGadInert | kGadBox);
  g_table[n++] = GadgetRow(2, 2, 19, 19, kGadClose, 0);
  g_table[n++] = GadgetRow(20, 2, kWidth - 22, 19, kGadTitle, 0);
  g_table[n++] = GadgetRow(kWidth - 21, 2, kWidth - 3, 19, kGadDepth, 0);
  int y = 22, e = 0, heading = 1000;
  for (const Section& s : kSections) {
    Gadget h = GadgetRow(kLeft, y, kWidth - 6, y + kHeadingHeight - 2, heading++, kGadInert);
    h.label = s.title;
    h.labelFlags = kLabelInside;
    g_table[n++] = h;
    y += kHeadingHeight;
    for (int i = 0; i < s.count; ++i) {
      const Entry& en = s.entries[i];
      int x = kLeft + (i % 4) * kPitch, top = y + (i / 4) * kPitch;
      uint32_t flags = kGadImage;
      if (en.kind == kAbsent) flags |= kGadDimmed;
      if (en.kind == kShape || en.kind == kDrawingTool) flags |= kGadPair1;
      if (en.kind == kToggle) flags |= kGadPair2;
      if (en.right) flags |= kGadRightButton;
      Gadget g = GadgetRow(x, top, x + kCell - 1, top + kCell - 1, en.id, flags);
      g.image = PictureBlock(en.picture, en.kind == kAbsent);
      g.help = en.help;
      g.action = en.action;
      g_entryOf[e++] = &en;
      g_table[n++] = g;
    }
    y += (s.count + 3) / 4 * kPitch + 2;
  }
  y += 2;
  Gadget undo = GadgetRow(kLeft, y, kWidth - 7, y + 21, kUndoId, kGadPair3);
  undo.label = g_undoText;
  undo.labelFlags = kLabelInside;
  undo.help =
      "Undo\xA7\n\nTakes back the last change;\nclicked again, puts it back.\nIt names what it "
      "undoes.";
  undo.action = "Undo";
  g_table[n++] = undo;
  y += 26;
  g_table[n++] = GadgetRow(kLeft, y, kWidth - 7, y, 999, kGadInert | kGadRuleH);
  y += 6;
  Gadget quit = GadgetRow(kLeft, y, kWidth - 7, y + 19, kQuitId, 0);
  quit.label = "Quit";
  quit.labelFlags = kLabelInside;
  quit.help = "Quit\xA7\n\nEnds the program, after\nasking.";
  quit.action = "Quit";
  g_table[n++] = quit;
  g_table[n] = Gadget{};
}

const Entry* EntryOf(int id) {
  for (const Entry* en : g_entryOf)
    if (en && en->id == id) return en;
  return nullptr;
}

int SlotOf(int id) {
  switch (id) {
    case 14:
      return ToolPen;
    case 15:
      return ToolPropellingPencil;
    case 16:
    case 54:
      return ToolChalk;
    case 55:
      return ToolAirbrush;
    case 56:
      return ToolWaterColor;
    default:
      return -1;
  }
}

bool HasFilledForm(int id) {
  const Entry* en = EntryOf(id);
  return en && en->filledPicture >= 0;
}

// The Undo label, cut with dots when it is wider than its gadget.
void FitUndoLabel() {
  const Gadget* g = FindGadget(kUndoId, g_table);
  const int room = g ? g->right - g->left - 8 : 100;
  std::snprintf(g_undoText, sizeof g_undoText, "%s", Undo.label);
  int len = static_cast<int>(std::strlen(g_undoText));
  if (TextWidth(g_undoText) <= room) return;
  while (len > 0 && TextWidth(g_undoText, len) + TextWidth("...") > room) --len;
  std::snprintf(g_undoText + len, sizeof g_undoText - len, "...");
}

void Redraw(Gadget* g) {
  if (!g || !ToolbarOpen()) return;
  RedrawGadget(g, g_bar);
  BlitGadget(g_bar, g);
}

void SetSelected(int id, bool on) {
  Gadget* g = FindGadget(id, g_table);
  if (!g || ((g->flags & kGadSelected) != 0) == on) return;
  g->flags = on ? g->flags | kGadSelected : g->flags & ~kGadSelected;
  Redraw(g);
}

// Brings every gadget in line with the state; redraws only what changed.
void Sync(bool all) {
  for (const Entry* en : g_entryOf) {
    Gadget* g = FindGadget(en->id, g_table);
    if (!g) continue;
    if (en->kind == kShape) {
      SetSelected(en->id, CurrentTool == en->id);
      if (en->filledPicture >= 0 && (all || g_shown.filled[en->id] != ShapeFilled(en->id))) {
        g_shown.filled[en->id] = ShapeFilled(en->id);
        g->image = PictureBlock(ShapeFilled(en->id) ? en->filledPicture : en->picture, false);
        Redraw(g);
      }
    } else if (en->kind == kDrawingTool) {
      SetSelected(en->id, Tools.current == SlotOf(en->id));
    }
  }
  SetSelected(45, AntialiasOn != 0);
  SetSelected(48, GridOn != 0);
  g_shown.tool = CurrentTool;
  g_shown.drawingTool = Tools.current;
  g_shown.antialias = AntialiasOn;
  g_shown.grid = GridOn;
  if (all || std::strcmp(g_shown.undo, Undo.label) != 0) {
    std::snprintf(g_shown.undo, sizeof g_shown.undo, "%s", Undo.label);
    FitUndoLabel();
    Redraw(FindGadget(kUndoId, g_table));
  }
}

void RunNamedAction(const char* name) {
  if (const ActionRow* row = FindRegisteredAction(name, std::strlen(name)); row && row->handler)
    row->handler();
}

void Handler(Window*, Gadget* g, int code) {
  if (code == kCodeIdle) {
    RefreshToolbar();
    return;
  }
  if (!g) return;
  if (code == kCodeLeftRelease) ToolbarPress(g->id, 0);
  if (code == kCodeRightRelease) ToolbarPress(g->id, -2);
}

void OnClose(Window* w) {
  if (w == g_bar) CloseToolbar();
}

void (*g_nextUndoListener)(const char*) = nullptr;
void UndoListener(const char* label) {
  RefreshToolbar();
  if (g_nextUndoListener) g_nextUndoListener(label);
}

}  // namespace

const Block* DrawingToolIcon(int tool) {
  static const int kPics[10] = {kPicPen,   kPicPointe, kPicPencil,  kPicChalk,  kPicAirbrush,
                                kPicWater, kPicOil,    kPicGouache, kPicCustom, kPicTextBrush};
  return PictureBlock(kPics[std::clamp(tool, 0, 9)], false);
}

bool ToolbarOpen() {
  return g_bar && WindowAlive(g_bar, g_barSerial);
}

Window* ToolbarWindow() {
  return ToolbarOpen() ? g_bar : nullptr;
}

Window* OpenToolbar() {
  if (ToolbarOpen()) {
    RaiseWindow(g_bar);
    return g_bar;
  }
  Window* w = CreateWindow(kWidth, kHeight, 0);
  if (!w) {
    Message(" Not enough memory");
    return nullptr;
  }
  g_bar = w;
  g_barSerial = w->serial;
  BuildTable();
  w->title = "Vela";
  w->gadgets = g_table;
  w->handler = Handler;
  w->onClose = OnClose;
  w->events = kWinWantsIdle;
  // The screen the Windows lie on; before there is one, the settings' idea of it.
  int sw, sh;
  ScreenSize(&sw, &sh);
  if (HostScreen s = HostFramebuffer(); s.pixels) sw = s.width, sh = s.height;
  MainSet.winX = ClampWindowCoord(MainSet.winX, kWidth, sw);
  MainSet.winY = ClampWindowCoord(MainSet.winY, kHeight, sh);
  g_shown = Shown{};
  DrawWindow(w);
  Sync(true);
  DrawWindow(w);
  MoveWindow(w, MainSet.winX, MainSet.winY);
  ShowWindow(w);
  return w;
}

void CloseToolbar() {
  if (!ToolbarOpen()) return;
  MainSet.winX = g_bar->left;
  MainSet.winY = g_bar->top;
  DeleteWindow(g_bar);
  g_bar = nullptr;
}

void ToggleToolbar() {
  if (ToolbarOpen())
    CloseToolbar();
  else
    OpenToolbar();
}

void RefreshToolbar() {
  if (ToolbarOpen()) Sync(false);
}

void ToolbarPress(int id, int mode) {
  const Entry* en = EntryOf(id);
  if (en && en->kind == kAbsent) return;
  const bool again = CurrentTool == id && !CurrentToolHook();
  SelectGadget(id, mode);
  // What the loop's switch leaves to the modules above it.
  switch (id) {
    case kUndoId:
      RunNamedAction("Undo");
      break;
    case 5:
      RunNamedAction("Clear");
      break;
    case 22:
      OpenTools();
      break;
    case 37:
      OpenMixer();
      break;
    case 48:
      if (mode == -2) OpenGrid();
      break;
    default:
      if (en && en->kind == kShape) {
        if (mode == -2)
          OpenShapeSettings(id);
        else if (again && HasFilledForm(id))
          ToggleShapeFilled(id);
      }
      break;
  }
  RefreshToolbar();
}

void ToolbarDrawingTool(int slot, int mode) {
  SelectDrawingTool(slot);
  if (mode == -2) OpenToolsLarge(true);
  RefreshToolbar();
  RefreshTools();
}

void LoadToolbarSettings() {
  // MainSet holds the position already, kept on the screen; a headless run has no one to see it.
  if (HostIsOpen() && !HostHeadless()) OpenToolbar();
}

void SaveToolbarSettings() {
  if (!ToolbarOpen()) return;
  MainSet.winX = g_bar->left;
  MainSet.winY = g_bar->top;
}

void InstallToolbar() {
  Input().toggleToolbar = ToggleToolbar;
  if (UndoLabelChanged != UndoListener) g_nextUndoListener = UndoLabelChanged;
  UndoLabelChanged = UndoListener;
  Loop().selectDrawingTool = ToolbarDrawingTool;
}

}  // namespace vela
