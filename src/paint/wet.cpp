// Wet strokes: accumulate into the WetMap, then recompute the page from the WetBase.
#include "paint/wet.h"

#include <algorithm>
#include <cstring>

#include "paint/draw_modes.h"
#include "paint/pixel_rules.h"
#include "paint/row_kernels.h"

namespace vela {

using namespace rules;

WetSettings Wet;
uint8_t WetResponse[256];
Pixel ReliefRamp[512];

namespace {

int Percent(int p) {
  return p < 1 || p > 100 ? 100 : p;
}

// 16.16 steps from one pixel towards another; the end value is never quite reached.
void Ramp(int start, int count, Pixel from, Pixel to) {
  int inc[4];
  for (int c = 0; c < 4; ++c) inc[c] = (Ch(to, c) - Ch(from, c)) * 65536 / count;
  for (int j = 0; j < count; ++j) {
    Pixel p = 0;
    for (int c = 0; c < 4; ++c)
      p |= static_cast<Pixel>((Ch(from, c) * 65536 + j * inc[c]) >> 16) << (8 * c);
    ReliefRamp[start + j] = p;
  }
}

bool Relief() {
  return Wet.tool == WetOil || Wet.tool == WetGouache;
}

// C of the relief for pixels x0 .. x0 + n - 1 of row y: the slope w(x-1, y-1) - 2 w(x+1, y+1)
// + w, off-page neighbours counting 0.
void ReliefRow(Pixel* out, const uint8_t* map, int width, int height, int x0, int y, int n) {
  const uint8_t* here = map + static_cast<ptrdiff_t>(y) * width;
  const uint8_t* up = y > 0 ? here - width : nullptr;
  const uint8_t* down = y + 1 < height ? here + width : nullptr;
  auto at = [&](int x) {
    int g = here[x];
    if (up && x > 0) g += up[x - 1];
    if (down && x + 1 < width) g -= 2 * down[x + 1];
    return ReliefRamp[std::clamp(g, -255, 255) + 256];
  };
  // Away from the page's edges no neighbour is missing.
  int lo = up && down ? std::clamp(1 - x0, 0, n) : n, hi = std::clamp(width - 1 - x0, lo, n);
  for (int i = 0; i < lo; ++i) out[i] = at(x0 + i);
  for (int x = x0 + lo; x < x0 + hi; ++x)
    out[x - x0] = ReliefRamp[std::clamp(here[x] + up[x - 1] - 2 * down[x + 1], -255, 255) + 256];
  for (int i = hi; i < n; ++i) out[i] = at(x0 + i);
}

}  // namespace

void BuildAirbrushResponse(int percent) {
  int p = Percent(percent);
  for (int i = 0; i < 256; ++i) WetResponse[i] = static_cast<uint8_t>(i * i * i / 65025 * p / 100);
}

void BuildWaterColorResponse() {
  for (int i = 0; i < 256; ++i)
    WetResponse[i] = static_cast<uint8_t>(i < 170 ? 128 * i / 170 : (42 - i) & 255);
}

void BuildOilResponse(int percent) {
  int p = Percent(percent);
  for (int i = 0; i < 256; ++i) WetResponse[i] = static_cast<uint8_t>(p * 255 / 100);
  for (int i = 0; i < 25; ++i) WetResponse[i] = static_cast<uint8_t>(i * p * 0.102);
}

void BuildGouacheResponse() {
  for (int i = 0; i < 256; ++i)
    WetResponse[i] = static_cast<uint8_t>(i < 170 ? 200 * i / 170 : (114 - i) & 255);
}

void BuildReliefRamp(Pixel colour) {
  std::fill(ReliefRamp, ReliefRamp + 150, colour);
  Ramp(150, 91, colour, 0xFFFFFFFFu);
  Ramp(240, 17, 0xFFFFFFFFu, colour);
  Ramp(256, 55, colour, 0xFF000000u);
  std::fill(ReliefRamp + 310, ReliefRamp + 512, 0xFF000000u);
}

bool WetModeApplies(int mode, bool erase) {
  if (erase) return true;
  switch (mode) {
    case DrawColor:
    case DrawStamp:
    case DrawMerge:
    case DrawShade:
    case DrawLight:
    case DrawImpress:
    case DrawBehind:
    case DrawErase:
    case DrawReplace:
    case DrawPantograph:
      return true;
    default:
      return false;
  }
}

void WetAccumulate(const Brush& brush, int pageWidth, int pageHeight, int x, int y, int opacity) {
  uint8_t* map = WetMap();
  if (!map || !brush.mask) return;
  int x0 = std::max(x, 0), y0 = std::max(y, 0);
  int x1 = std::min(x + brush.width, pageWidth), y1 = std::min(y + brush.height, pageHeight);
  if (x1 <= x0 || y1 <= y0) return;
  WetRect& d = Wet.dirty;
  if (!d.set) d = {x0, y0, x1, y1, true};
  d = {std::min(d.x0, x0), std::min(d.y0, y0), std::max(d.x1, x1), std::max(d.y1, y1), true};
  bool additive = Wet.additive && Wet.tool == WetAirbrush;
  for (int py = y0; py < y1; ++py)
    WetAccumulateRow(map + static_cast<ptrdiff_t>(py) * pageWidth + x0,
                     brush.mask + static_cast<ptrdiff_t>(py - y) * brush.width + (x0 - x), x1 - x0,
                     opacity, additive);
}

void WetRecompute(Block* page, int x, int y, int width, int height, Pixel colour, bool erase) {
  const uint8_t* map = WetMap();
  const Block* base = WetBase();
  if (!map || !base || !page) return;
  int mode = erase ? DrawErase : Ws.drawMode;
  const Block* spare = Ws.spare;
  if (mode == DrawMerge && !spare) return;
  int pw = page->width, ph = page->height;
  int x0 = std::max(x, 0), y0 = std::max(y, 0);
  int x1 = std::min({x + width, pw, base->width}), y1 = std::min({y + height, ph, base->height});
  if (mode == DrawMerge) x1 = std::min(x1, spare->width), y1 = std::min(y1, spare->height);
  if (mode == DrawImpress) colour = Stroke.impressColour;
  bool relief = Relief() && (mode == DrawColor || mode == DrawStamp || mode == DrawImpress ||
                             mode == DrawBehind || mode == DrawReplace);
  const Pixel* range = (mode == DrawColor || mode == DrawStamp) && Wet.tool == WetAirbrush
                           ? Wet.rangeColours
                           : nullptr;
  constexpr int kChunk = 512;
  uint8_t e[kChunk];
  Pixel colours[kChunk];
  for (int py = y0; py < y1; ++py) {
    const uint8_t* w = map + static_cast<ptrdiff_t>(py) * pw;
    const Pixel* b = base->Row(py);
    Pixel* d = page->Row(py);
    const Pixel* s = mode == DrawMerge ? spare->Row(py) : nullptr;
    int lo = x0, hi = x1, sdx = 0;
    if (mode == DrawPantograph) {  // pixels whose source is off the base stay
      int sy = py + Draw.pantoY;
      if (sy < 0 || sy >= base->height) continue;
      s = base->Row(sy);
      sdx = Draw.pantoX;
      lo = std::max(lo, -Draw.pantoX);
      hi = std::min(hi, base->width - Draw.pantoX);
    }
    for (int px = lo; px < hi; px += kChunk) {
      int n = std::min(kChunk, hi - px);
      uint8_t any = 0;
      for (int i = 0; i < n; ++i) any |= e[i] = WetResponse[w[px + i]];
      if (!any) continue;
      const Pixel* c = nullptr;
      if (relief) {
        ReliefRow(colours, map, pw, ph, px, py, n);
        c = colours;
      } else if (range) {
        for (int i = 0; i < n; ++i) colours[i] = range[w[px + i]];
        c = colours;
      }
      switch (mode) {
        case DrawColor:
        case DrawStamp:
        case DrawImpress:
          WetCoverRow(d + px, b + px, e, n, colour, c);
          break;
        case DrawMerge:
        case DrawPantograph:
          WetMixRow(d + px, b + px, s + px + sdx, e, n);
          break;
        case DrawErase:
          WetEraseRow(d + px, b + px, e, n);
          break;
        case DrawLight:
          for (int i = 0; i < n; ++i)
            if (e[i]) d[px + i] = Light(b[px + i], e[i]);
          break;
        case DrawShade:
          for (int i = 0; i < n; ++i)
            if (e[i]) d[px + i] = Shade(b[px + i], e[i]);
          break;
        case DrawBehind:
          WetBehindRow(d + px, b + px, e, n, colour, c);
          break;
        case DrawReplace:
          for (int i = 0; i < n; ++i)
            if (e[i]) d[px + i] = Replace(b[px + i], c ? c[i] : colour, e[i]);
          break;
        default:
          break;
      }
    }
  }
}

int WetStampPass(const Brush& brush, Block* page, int x, int y, Pixel colour, bool erase,
                 int opacity) {
  if (!WetModeApplies(Ws.drawMode, erase) || !brush.mask || !page || !WetMap() || !WetBase())
    return -1;
  int mode = erase ? DrawErase : Ws.drawMode;
  if ((mode == DrawMerge || mode == DrawImpress) && !Ws.spare) return -1;
  if (mode == DrawImpress && !Stroke.impressValid) {
    Stroke.impressColour = UnpremultipliedMean(
        MeanUnderBrush(brush, Ws.spare, x + brush.width / 2, y + brush.height / 2));
    Stroke.impressValid = true;
    if (Relief()) BuildReliefRamp(Stroke.impressColour);
  }
  WetAccumulate(brush, page->width, page->height, x, y, opacity);
  WetRecompute(page, x, y, brush.width, brush.height, colour, erase);
  return 0;
}

void ClearWetDirty() {
  WetRect& d = Wet.dirty;
  uint8_t* map = WetMap();
  if (d.set && map && Ws.page) {
    for (int y = d.y0; y < d.y1; ++y)
      std::memset(map + static_cast<ptrdiff_t>(y) * Ws.page->width + d.x0, 0, d.x1 - d.x0);
  }
  d = WetRect{};
}

void FlushWetStroke() {
  ClearWetDirty();
}

}  // namespace vela
