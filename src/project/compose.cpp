// Pixel format: 0xAARRGGBB premultiplied, as everywhere. The screen takes colour as it is, so a
// composed pixel that keeps some transparency shows over black unless a background is set.
#include "project/compose.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

#include "host/host.h"
#include "pixels/blend.h"
#include "pixels/display.h"
#include "pixels/primitives.h"
#include "project/layer_model.h"
#include "project/layers.h"
#include "start/input.h"
#include "start/workspace.h"

namespace vela {

void (*PageShownHook)(int x, int y, int w, int h) = nullptr;
ScreenRects (*PageCoversHook)() = nullptr;

namespace {

constexpr int kBandRows = 16;
Block* g_band = nullptr;  // composed rows on their way to the screen
uint8_t g_gamma[4][256];  // red, green, blue, alpha
bool g_gammaSet = false;

void ApplyGamma(Pixel* row, int w) {
  if (!g_gammaSet) return;
  for (int x = 0; x < w; ++x) {
    const Pixel p = row[x];
    row[x] = static_cast<Pixel>(g_gamma[3][p >> 24]) << 24 |
             static_cast<Pixel>(g_gamma[0][(p >> 16) & 255]) << 16 |
             static_cast<Pixel>(g_gamma[1][(p >> 8) & 255]) << 8 | g_gamma[2][p & 255];
  }
}

inline Pixel AddClamped(Pixel a, Pixel b) {
  Pixel out = 0;
  for (int s = 0; s < 32; s += 8)
    out |= static_cast<Pixel>(std::min<int>(((a >> s) & 255) + ((b >> s) & 255), 255)) << s;
  return out;
}

// front over (current scaled by o) over back; a missing plane counts as transparent.
inline Pixel Compose(Pixel f, Pixel p, Pixel b, int o) {
  const int a = static_cast<int>(f >> 24);
  if (a == 255) return f;
  Pixel r;
  if (a == 0)
    r = (p >> 24) ? (o == 255 ? p : ScalePixel(p, o)) : 0;
  else
    r = AddClamped(f, ScalePixel(p, o == 255 ? 255 - a : Mul(255 - a, o)));
  const int ra = static_cast<int>(r >> 24);
  if (ra == 0) return b;
  if (ra < 255) r = AddClamped(r, ScalePixel(b, 255 - ra));
  return r;
}

void ComposeRow(const Pixel* f, const Pixel* p, const Pixel* b, Pixel* out, int w, int o) {
  if (!f && !b) {
    if (o == 255)
      std::memcpy(out, p, static_cast<size_t>(w) * 4);
    else
      for (int x = 0; x < w; ++x) out[x] = ScalePixel(p[x], o);
    return;
  }
  for (int x = 0; x < w; ++x) out[x] = Compose(f ? f[x] : 0, p[x], b ? b[x] : 0, o);
}

// The background under a composed row; sx, sy is the row's first pixel on the screen, where the
// check cells are fixed so that they stay put when the page moves.
void BackgroundRow(Pixel* out, int w, int sx, int sy) {
  const uint32_t flags = Ws.displayFlags;
  if (flags & kDisplayColor) {
    const Pixel bg = Ws.background | 0xFF000000u;
    for (int x = 0; x < w; ++x)
      if ((out[x] >> 24) != 255) out[x] = AddClamped(out[x], ScalePixel(bg, 255 - (out[x] >> 24)));
  } else if (flags & kDisplayCheck) {
    const Pixel one = Ws.background | 0xFF000000u, two = Ws.secondBackground | 0xFF000000u;
    for (int x = 0; x < w; ++x) {
      if ((out[x] >> 24) == 255) continue;
      const Pixel bg = (((sx + x) ^ sy) & 16) ? two : one;
      out[x] = AddClamped(out[x], ScalePixel(bg, 255 - (out[x] >> 24)));
    }
  }
}

const Block* FrontPlane() {
  return (Ws.displayFlags & (kDisplayFront | kDisplayBoth)) ? Ws.frontMerge : nullptr;
}
const Block* BackPlane() {
  return (Ws.displayFlags & (kDisplayBack | kDisplayBoth)) ? Ws.backMerge : nullptr;
}

int CurrentOpacity() {
  return std::clamp(Ws.opacity, 0, 255);
}

void ComposeRect(int x, int y, Pixel* out, int w, int h, int stride, bool background) {
  const Block* f = FrontPlane();
  const Block* b = BackPlane();
  for (int r = 0; r < h; ++r) {
    Pixel* row = out + static_cast<ptrdiff_t>(r) * stride;
    ComposeRow(f ? f->Row(y + r) + x : nullptr, Ws.page->Row(y + r) + x,
               b ? b->Row(y + r) + x : nullptr, row, w, CurrentOpacity());
    if (background) BackgroundRow(row, w, Ws.pageX + x, Ws.pageY + y + r);
  }
}

bool VisibleAt(const Layer& l, int position) {
  return !(l.flags & kLayerHidden) && l.first <= position && position <= l.last;
}

int BlendAt(const Layer& l, Block* block, int position, int opacity) {
  Layer view = l;
  view.opacity = opacity;
  return BlendLayerImage(&view, block, position);
}

// The light table of a layer: far images first, each step away at half the opacity of the last.
void BlendLight(const Layer& l, Block* block, int position) {
  const int before = -std::min(l.lightBefore, 0), after = std::max(l.lightAfter, 0);
  for (int d = std::max(before, after); d >= 1; --d) {
    const int opacity = l.opacity >> std::min(d, 8);
    if (d <= before && position - d >= l.first) BlendAt(l, block, position - d, opacity);
    if (d <= after && position + d <= l.last) BlendAt(l, block, position + d, opacity);
  }
}

bool HasLight(const Layer& l) {
  return l.lightBefore != 0 || l.lightAfter != 0;
}

bool EnsureBlock(Block** block) {
  if (*block && (*block)->width == Ws.pageWidth && (*block)->height == Ws.pageHeight) return true;
  FreeBlock(*block);
  *block = AllocBlock(Ws.pageWidth, Ws.pageHeight);
  return *block != nullptr;
}

}  // namespace

namespace {
struct MergeNeeds {
  bool front, back;
};

MergeNeeds NeedsAt(int pos) {
  using layer_model::LayerArray;
  const Layer* cur = CurrentLayer();
  const bool all = Timeline.showMode == 1;
  const bool light = cur && HasLight(*cur);
  MergeNeeds n{light && Timeline.lightSide == 1, light && Timeline.lightSide == 0};
  for (int i = 0; all && i < LayerCount(); ++i) {
    if (i == Timeline.current || !VisibleAt(LayerArray[i], pos)) continue;
    (i < Timeline.current ? n.front : n.back) = true;
  }
  if (all && Timeline.videoLayer && VisibleAt(*Timeline.videoLayer, pos)) n.back = true;
  return n;
}

// The layers behind the current one into back, those in front into front (either may be null).
void FillMerges(int pos, Block* front, Block* back) {
  using layer_model::LayerArray;
  const Layer* cur = CurrentLayer();
  const bool all = Timeline.showMode == 1;
  const bool light = cur && HasLight(*cur);
  const int current = Timeline.current;
  if (back) {
    FillBlock(back, 0);
    if (all && Timeline.videoLayer && VisibleAt(*Timeline.videoLayer, pos))
      BlendAt(*Timeline.videoLayer, back, pos, Timeline.videoLayer->opacity);
    for (int i = LayerCount() - 1; all && i > current; --i) {
      if (!VisibleAt(LayerArray[i], pos)) continue;
      BlendLayerImage(&LayerArray[i], back, pos);
      if (HasLight(LayerArray[i])) BlendLight(LayerArray[i], back, pos);
    }
    if (light && Timeline.lightSide == 0) BlendLight(*cur, back, pos);
  }
  if (front) {
    FillBlock(front, 0);
    if (light && Timeline.lightSide == 1) BlendLight(*cur, front, pos);
    for (int i = current - 1; all && i >= 0; --i) {
      if (!VisibleAt(LayerArray[i], pos)) continue;
      BlendLayerImage(&LayerArray[i], front, pos);
      if (HasLight(LayerArray[i])) BlendLight(LayerArray[i], front, pos);
    }
  }
}
}  // namespace

void RebuildDisplay(bool redraw) {
  const int pos = Timeline.position;
  // No merge is trusted until one is made: a Block that failed may be of an old page size.
  Ws.displayFlags &= ~0x7F0u;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const MergeNeeds n = NeedsAt(pos);
    if ((n.front && !EnsureBlock(&Ws.frontMerge)) || (n.back && !EnsureBlock(&Ws.backMerge))) {
      Timeline.showMode = Timeline.showMode == 1 ? 0 : 1;  // the other mode, then a new attempt
      continue;
    }
    FillMerges(pos, n.front ? Ws.frontMerge : nullptr, n.back ? Ws.backMerge : nullptr);
    Ws.displayFlags &= ~0x7F0u;
    if (n.front && n.back)
      Ws.displayFlags |= kDisplayBoth;
    else if (n.front)
      Ws.displayFlags |= kDisplayFront;
    else if (n.back)
      Ws.displayFlags |= kDisplayBack;
    Ws.displayFlags |= kDisplayValid;
    break;
  }
  if (Ws.pageStore) Ws.page = Ws.pageStore;
  if (redraw && Ws.page && !Ws.noPage) ShowPage(0, 0, Ws.page->width, Ws.page->height);
}

bool ComposeDisplayAt(Block* out, int position) {
  const Layer* cur = CurrentLayer();
  if (!out || !cur) return false;
  const MergeNeeds n = NeedsAt(position);
  BlockPtr front(n.front ? AllocBlock(out->width, out->height) : nullptr);
  BlockPtr back(n.back ? AllocBlock(out->width, out->height) : nullptr);
  BlockPtr image(AllocBlock(out->width, out->height));
  if ((n.front && !front) || (n.back && !back) || !image) return false;
  FillBlock(image.get(), 0);
  if (position >= cur->first && position <= cur->last &&
      !LoadLayerImage(image.get(), cur, position))
    return false;
  FillMerges(position, front.get(), back.get());
  const int o = std::clamp(cur->opacity, 0, 255);
  for (int y = 0; y < out->height; ++y)
    ComposeRow(front ? front->Row(y) : nullptr, image->Row(y), back ? back->Row(y) : nullptr,
               out->Row(y), out->width, o);
  return true;
}

namespace {
// Composes and puts one page rectangle, already clipped to the page and free of Windows.
void ShowPiece(int x0, int y0, int w, int h) {
  const Block* page = Ws.page;
  const bool plain = !FrontPlane() && !BackPlane() && CurrentOpacity() == 255 &&
                     !(Ws.displayFlags & (kDisplayColor | kDisplayCheck | kDisplayGamma));
  if (plain) {
    BlitBand(page, x0, y0, Ws.pageX + x0, Ws.pageY + y0, w, h);
    return;
  }
  if (!g_band || g_band->width < w) {
    FreeBlock(g_band);
    g_band = AllocBlock(std::max(w, Ws.pageWidth), kBandRows);
    if (!g_band) return;
  }
  for (int top = y0; top < y0 + h; top += kBandRows) {
    const int rows = std::min(kBandRows, y0 + h - top);
    ComposeRect(x0, top, g_band->data, w, rows, g_band->width, true);
    if (Ws.displayFlags & kDisplayGamma)
      for (int r = 0; r < rows; ++r) ApplyGamma(g_band->Row(r), w);
    BlitBand(g_band, 0, 0, Ws.pageX + x0, Ws.pageY + top, w, rows);
  }
}

// Splits a page rectangle at the edges of each Window in front of it, from covers[i] on.
void ShowUncovered(int x, int y, int w, int h, const ScreenRect* covers, int i, int n) {
  for (; i < n; ++i) {
    const ScreenRect& c = covers[i];
    const int cx0 = c.x - Ws.pageX, cy0 = c.y - Ws.pageY;
    const int cx1 = cx0 + c.w, cy1 = cy0 + c.h;
    if (c.w <= 0 || c.h <= 0 || cx1 <= x || cx0 >= x + w || cy1 <= y || cy0 >= y + h) continue;
    if (cy0 > y) ShowUncovered(x, y, w, cy0 - y, covers, i + 1, n);
    if (cy1 < y + h) ShowUncovered(x, cy1, w, y + h - cy1, covers, i + 1, n);
    const int my0 = std::max(y, cy0), my1 = std::min(y + h, cy1);
    if (cx0 > x) ShowUncovered(x, my0, cx0 - x, my1 - my0, covers, i + 1, n);
    if (cx1 < x + w) ShowUncovered(cx1, my0, x + w - cx1, my1 - my0, covers, i + 1, n);
    return;
  }
  ShowPiece(x, y, w, h);
}
}  // namespace

void ShowPage(int x, int y, int w, int h) {
  const Block* page = Ws.page;
  // No screen, nothing to compose for: a run without a host, or a test of the model alone.
  if (!page || Ws.noPage || DisplayLocked || !HostIsOpen() || HostIconic()) return;
  int x0 = std::max(x, 0), y0 = std::max(y, 0);
  int x1 = std::min(x + w, page->width), y1 = std::min(y + h, page->height);
  if (x1 <= x0 || y1 <= y0) return;
  const ScreenRects covers = PageCoversHook ? PageCoversHook() : ScreenRects{nullptr, 0};
  ShowUncovered(x0, y0, x1 - x0, y1 - y0, covers.rects, 0, covers.rects ? covers.count : 0);
  if (PageShownHook) PageShownHook(Ws.pageX + x0, Ws.pageY + y0, x1 - x0, y1 - y0);
}

Pixel MergedPixel(int x, int y) {
  if (!Ws.page || x < 0 || y < 0 || x >= Ws.page->width || y >= Ws.page->height) return 0;
  Pixel p = 0;
  ComposeRect(x, y, &p, 1, 1, 1, true);
  return p;
}

void MergedRow(int x, int y, Pixel* out, int w, int h, int flag) {
  if (!Ws.page || !out || w <= 0 || h <= 0 || x < 0 || y < 0 || x + w > Ws.page->width ||
      y + h > Ws.page->height)
    return;
  ComposeRect(x, y, out, w, h, w, flag != 0);
}

void SetGammaTables(const uint8_t (*tables)[256]) {
  g_gammaSet = tables != nullptr;
  if (tables) std::memcpy(g_gamma, tables, sizeof g_gamma);
}

void SetBackgroundMode(int mode) {
  Ws.displayFlags &= ~(kDisplayColor | kDisplayCheck | kDisplayVideo);
  if (mode == 1) Ws.displayFlags |= kDisplayColor;
  if (mode == 2) Ws.displayFlags |= kDisplayCheck;
  LayerSet.background = std::clamp(mode, 0, 2);
}

int BackgroundMode() {
  if (Ws.displayFlags & kDisplayColor) return 1;
  if (Ws.displayFlags & kDisplayCheck) return 2;
  return 0;
}

void ReleaseDisplay() {
  FreeBlock(Ws.frontMerge);
  FreeBlock(Ws.backMerge);
  FreeBlock(g_band);
  Ws.frontMerge = Ws.backMerge = g_band = nullptr;
  Ws.displayFlags &= ~0x7F0u;
}

}  // namespace vela
