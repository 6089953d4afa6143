// Drawing of gadgets into their Window's Block, and the copy of a gadget to the screen.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "host/font.h"
#include "host/host.h"
#include "pixels/primitives.h"
#include "windows/window.h"

namespace vela {

bool CaretShown = true;

namespace {

constexpr Pixel kLight = 0xFFD0D0D0;
constexpr Pixel kDark = 0xFF505050;
constexpr Pixel kPlain = 0xFFC0C0C0;
constexpr Pixel kInk = 0xFF000000;
constexpr Pixel kWhite = 0xFFFFFFFF;
constexpr Pixel kDimInk = 0xFF808080;
constexpr int kFieldPad = 3;

Pixel Sys(int index) {
  Pixel p = Ws.sysColors[index];
  return p ? p : kDefaultSysColors[index];
}

const InterfaceFont* Font() {
  const InterfaceFont* f = HostFont();
  return f ? f : HostFontOpen(nullptr);
}

// A solid rectangle, corners inclusive, clipped to the Block.
void Fill(Block* b, int x0, int y0, int x1, int y1, Pixel p) {
  if (x0 > x1 || y0 > y1) return;
  FillRect(b, x0, y0, x1, y1, p);
}

// DrawLine does not clip: a line goes only where both ends lie in the Block.
void Line(Block* b, int x0, int y0, int x1, int y1, Pixel p) {
  auto in = [b](int x, int y) { return x >= 0 && y >= 0 && x < b->width && y < b->height; };
  if (in(x0, y0) && in(x1, y1)) DrawLine(b, x0, y0, x1, y1, p);
}

void HLine(Block* b, int x0, int x1, int y, Pixel p) {
  Fill(b, x0, y, x1, y, p);
}
void VLine(Block* b, int x, int y0, int y1, Pixel p) {
  Fill(b, x, y0, x, y1, p);
}

void Bevel(Block* b, int x0, int y0, int x1, int y1, bool sunk) {
  Pixel tl = sunk ? kDark : kLight, br = sunk ? kLight : kDark;
  HLine(b, x0, x1, y0, tl);
  VLine(b, x0, y0, y1, tl);
  HLine(b, x0, x1, y1, br);
  VLine(b, x1, y0, y1, br);
}

// One ink pixel at coverage a over what is there.
inline Pixel Over(Pixel d, Pixel ink, int a) {
  auto mix = [a](int s, int t) { return (s * a + t * (255 - a) + 127) / 255; };
  return MakePixel(255, mix(Red(ink), Red(d)), mix(Green(ink), Green(d)), mix(Blue(ink), Blue(d)));
}

void Icon(Block* b, const Gadget* g, int x0, int y0, int x1, int y1) {
  int cx = (x0 + x1) / 2, cy = (y0 + y1) / 2;
  switch (g->id) {
    case kGadClose:  // a small box, the classic mark of closing
      Fill(b, cx - 3, cy - 3, cx + 3, cy + 3, kInk);
      Fill(b, cx - 2, cy - 2, cx + 2, cy + 2, kWhite);
      break;
    case kGadDepth:  // two overlapping sheets
      Fill(b, cx - 5, cy - 4, cx + 1, cy + 1, kInk);
      Fill(b, cx - 4, cy - 3, cx, cy, kPlain);
      Fill(b, cx - 1, cy - 1, cx + 5, cy + 4, kInk);
      Fill(b, cx, cy, cx + 4, cy + 3, kWhite);
      break;
    case kGadResize:
      for (int i = 0; i < 3; ++i) Line(b, cx + 4 - i * 3, cy + 4, cx + 4, cy + 4 - i * 3, kInk);
      break;
    case kGadMaximize:
      Fill(b, cx - 4, cy - 4, cx + 4, cy + 4, kInk);
      Fill(b, cx - 3, cy - 2, cx + 3, cy + 3, kWhite);
      break;
    case kGadMinimize:
      Fill(b, cx - 4, cy + 2, cx + 4, cy + 4, kInk);
      break;
    default:
      break;
  }
}

void DrawImage(Block* b, const Block* img, int x0, int y0, int x1, int y1) {
  if (!img) return;
  int w = std::min(img->width, x1 - x0 + 1), h = std::min(img->height, y1 - y0 + 1);
  int dx = x0 + (x1 - x0 + 1 - w) / 2, dy = y0 + (y1 - y0 + 1 - h) / 2;
  int sx = (img->width - w) / 2, sy = (img->height - h) / 2;
  BlitRectSolid(img, sx, sy, b, dx, dy, w, h);
}

// The switch drawn in place of a label: a sunk box with a tick when selected.
void DrawSwitch(Block* b, const Gadget* g, int y0, int y1) {
  int s = 11, x = g->left + 2, y = (y0 + y1 + 1 - s) / 2;
  Fill(b, x + 1, y + 1, x + s - 2, y + s - 2, (g->flags & kGadDimmed) ? kPlain : kWhite);
  Bevel(b, x, y, x + s - 1, y + s - 1, true);
  if (g->flags & kGadSelected) {
    for (int i = 0; i < 2; ++i) {
      Line(b, x + 2, y + 5 + i, x + 4, y + 7 + i, kInk);
      Line(b, x + 4, y + 7 + i, x + 8, y + 3 + i, kInk);
    }
  }
  if (g->label)
    DrawText(b, x + s + 4, (y0 + y1 + 1 - kFontLineHeight) / 2, g->label,
             (g->flags & kGadDimmed) ? kDimInk : kInk, g->left, g->top, g->right + 1,
             g->bottom + 1);
}

void DrawTextField(Block* b, Gadget* g, int x0, int y0, int x1, int y1, bool active) {
  Fill(b, x0, y0, x1, y1, (g->flags & kGadDimmed) ? kPlain : kWhite);
  auto* tf = static_cast<TextField*>(g->extension);
  if (!tf || !tf->text) return;
  int len = static_cast<int>(std::strlen(tf->text));
  tf->caret = std::clamp(tf->caret, 0, len);
  tf->scroll = std::clamp(tf->scroll, 0, tf->caret);
  // Whole characters go off the left until the caret is in view.
  int room = x1 - x0 + 1 - 2 * kFieldPad;
  while (tf->scroll < tf->caret && TextWidth(tf->text + tf->scroll, tf->caret - tf->scroll) > room)
    ++tf->scroll;
  int tx = x0 + kFieldPad - 1, ty = (y0 + y1 + 1 - kFontLineHeight) / 2;
  Pixel ink = (g->flags & kGadDimmed) ? kDimInk : kInk;
  DrawText(b, tx, ty, tf->text + tf->scroll, ink, x0, y0, x1 + 1, y1 + 1);
  if (active) {
    int cx = tx + TextWidth(tf->text + tf->scroll, tf->caret - tf->scroll);
    Fill(b, cx, std::max(y0, ty + 1), cx, std::min(y1, ty + kFontLineHeight - 2), kInk);
  }
}

int LabelY(const Gadget* g) {
  return (g->top + g->bottom + 1 - kFontLineHeight) / 2;
}

}  // namespace

int TextWidth(const char* text, int count) {
  const InterfaceFont* f = Font();
  if (!f || !text) return 0;
  int w = 0;
  for (int i = 0; (count < 0 || i < count) && text[i]; ++i)
    w += f->widths[static_cast<uint8_t>(text[i])];
  return w;
}

int DrawText(Block* block, int x, int y, const char* text, Pixel ink, int cx0, int cy0, int cx1,
             int cy1) {
  const InterfaceFont* f = Font();
  if (!f || !text || !block) return x;
  cx0 = std::max(cx0, 0), cy0 = std::max(cy0, 0);
  cx1 = std::min(cx1, block->width), cy1 = std::min(cy1, block->height);
  for (const char* p = text; *p; ++p) {
    auto c = static_cast<uint8_t>(*p);
    if (*p == '\n') break;
    const FontGlyph& gl = f->glyphs[c];
    const uint8_t* cov = f->coverage.data() + gl.offset;
    for (int r = 0; r < gl.height; ++r) {
      int py = y + gl.top + r;
      if (py < cy0 || py >= cy1) continue;
      Pixel* row = block->Row(py);
      for (int k = 0; k < gl.width; ++k) {
        int px = x + gl.left + k;
        int a = cov[r * gl.width + k];
        if (a && px >= cx0 && px < cx1) row[px] = Over(row[px], ink, a);
      }
    }
    x += f->widths[c];
  }
  return x;
}

Pixel GadgetFill(const Gadget* g) {
  bool sel = (g->flags & kGadSelected) != 0;
  if (g->flags & kGadDimmed) return sel ? 0xFF5F5F5F : 0xFFA0A0A0;
  if (g->flags & kGadColour) return g->colour;
  auto pair = [sel](int first) { return Sys(sel ? first + 1 : first); };
  if (g->flags & (kGadPair1 | kGadPair1b)) return pair(DRAGBUTTONCOLOR);
  if (g->flags & kGadPair2) return pair(STATBUTTONCOLOR);
  if (g->flags & kGadPair3) return pair(ACTIONBUTTONCOLOR);
  if (g->flags & kGadPair4) return pair(DIALOGBUTTONCOLOR);
  if (g->flags & kGadHighlight) return Sys(ACTIONBUTTONSELECTCOLOR);
  return kPlain;
}

void GadgetArea(const Gadget* g, int* x0, int* y0, int* x1, int* y1) {
  *x0 = g->left, *y0 = g->top, *x1 = g->right, *y1 = g->bottom;
  if (!g->label || (g->flags & kGadSwitchLabel)) return;
  if (g->labelFlags & kLabelLeft) *x0 -= TextWidth(g->label) + 4;
  if (g->labelFlags & kLabelRight) *x1 += TextWidth(g->label) + 4;
}

void RedrawGadget(Gadget* g, Window* window) {
  if (!g || !window || (g->flags & kGadHidden)) return;
  Block* b = window->picture;
  int x0 = g->left, y0 = g->top, x1 = g->right, y1 = g->bottom;
  uint32_t f = g->flags;
  if (f & kGadInert) {
    if (f & kGadBox) {
      Bevel(b, x0, y0, x1, y1, (f & kGadSunk) != 0);
    } else if (f & kGadRuleH) {
      HLine(b, x0, x1, y0, kDark);
      HLine(b, x0, x1, y0 + 1, kLight);
      HLine(b, x0, x1, y0 + 2, kWhite);
    } else if (f & kGadRuleV) {
      VLine(b, x0, y0, y1, kDark);
      VLine(b, x0 + 1, y0, y1, kLight);
      VLine(b, x0 + 2, y0, y1, kWhite);
    } else if (f & (kGadColour | kGadPair1 | kGadPair1b | kGadPair2 | kGadPair3 | kGadPair4)) {
      Fill(b, x0, y0, x1, y1, GadgetFill(g));
    } else if (g->label) {
      Fill(b, x0, y0, x1, y1, Sys(BACKGROUNDCOLOR));  // a text on the body: the old text goes
    }
  } else if (f & kGadTextField) {
    DrawTextField(b, g, x0 + 1, y0 + 1, x1 - 1, y1 - 1, Ws.activeGadget == g && CaretShown);
    Bevel(b, x0, y0, x1, y1, true);
  } else if (g->id == kGadTitle) {
    Fill(b, x0, y0, x1, y1, Sys(TITLEBARCOLOR));
  } else {
    Fill(b, x0 + 1, y0 + 1, x1 - 1, y1 - 1, GadgetFill(g));
    if (f & (kGadImage | kGadImage2))
      DrawImage(b, static_cast<const Block*>(g->image), x0 + 1, y0 + 1, x1 - 1, y1 - 1);
    if (g->id < 0) Icon(b, g, x0, y0, x1, y1);
    bool sunk = (f & kGadSunk) != 0;
    // A selected gadget without a colour pair shows its state by its depth.
    if ((f & kGadSelected) && !(f & (kGadPair1 | kGadPair1b | kGadPair2 | kGadPair3 | kGadPair4 |
                                     kGadColour | kGadDimmed)))
      sunk = !sunk;
    Bevel(b, x0, y0, x1, y1, sunk);
  }
  if (f & kGadSwitchLabel) {
    DrawSwitch(b, g, y0, y1);
    return;
  }
  if (!g->label) return;
  Pixel ink = (f & kGadDimmed) ? kDimInk : kInk;
  if (g->id == kGadTitle) ink = kWhite;
  int ty = LabelY(g), tw = TextWidth(g->label);
  if (g->labelFlags & kLabelLeft) {
    int lx = x0 - tw - 4;
    Fill(b, lx, y0, x0 - 1, y1, Sys(BACKGROUNDCOLOR));
    DrawText(b, lx, ty, g->label, ink, lx, y0, x0, y1 + 1);
  } else if (g->labelFlags & kLabelRight) {
    Fill(b, x1 + 1, y0, x1 + 4 + tw, y1, Sys(BACKGROUNDCOLOR));
    DrawText(b, x1 + 4, ty, g->label, ink, x1 + 1, y0, x1 + 5 + tw, y1 + 1);
  } else {
    DrawText(b, (x0 + x1 + 1 - tw) / 2, ty, g->label, ink, x0 + 1, y0, x1, y1 + 1);
  }
}

void BlitGadget(Window* window, Gadget* g) {
  if (!window || !g || !window->shown) return;
  int x0, y0, x1, y1;
  GadgetArea(g, &x0, &y0, &x1, &y1);
  x0 = std::max(x0, 0), y0 = std::max(y0, 0);
  x1 = std::min(x1, window->width - 1), y1 = std::min(y1, window->height - 1);
  if (x0 > x1 || y0 > y1) return;
  // Through the repaint, so that Windows in front keep their place.
  RepaintRect(window, window->left + x0, window->top + y0, x1 - x0 + 1, y1 - y0 + 1);
}

void InvertGadget(Gadget* g, Window* window) {
  if (!g || !window) return;
  Block* b = window->picture;
  for (int d = 0; d < 2; ++d) {
    int x0 = g->left + d, y0 = g->top + d, x1 = g->right - d, y1 = g->bottom - d;
    if (x0 > x1 || y0 > y1) break;
    InvertRect(b, x0, y0, x1, y0);
    if (y1 > y0) InvertRect(b, x0, y1, x1, y1);
    if (y1 - y0 > 1) {
      InvertRect(b, x0, y0 + 1, x0, y1 - 1);
      if (x1 > x0) InvertRect(b, x1, y0 + 1, x1, y1 - 1);
    }
  }
  BlitGadget(window, g);
}

void DrawWindow(Window* window) {
  if (!window) return;
  FillBlock(window->picture, Sys(BACKGROUNDCOLOR));
  LayoutGadgets(window->gadgets, window->width, window->height);
  if (!window->gadgets) return;
  for (Gadget* g = window->gadgets; g->id != 0; ++g) {
    if (g->id == kGadTitle && !g->label) g->label = window->title;
    RedrawGadget(g, window);
  }
}

}  // namespace vela
