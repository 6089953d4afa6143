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

int MapAt(const uint8_t* map, int width, int height, int x, int y) {
  if (x < 0 || y < 0 || x >= width || y >= height) return 0;
  return map[static_cast<ptrdiff_t>(y) * width + x];
}

Pixel ReliefColour(const uint8_t* map, int width, int height, int x, int y) {
  int g = MapAt(map, width, height, x - 1, y - 1) - 2 * MapAt(map, width, height, x + 1, y + 1) +
          MapAt(map, width, height, x, y);
  return ReliefRamp[std::clamp(g, -255, 255) + 256];
}

Pixel MixDown(Pixel b, Pixel s, int e) {  // truncating, unlike the Merge of a plain pass
  if (e == 255) return s;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c)
    out |= static_cast<Pixel>((Ch(b, c) * (255 - e) + Ch(s, c) * e) / 255) << (8 * c);
  return out;
}

Pixel WetErase(Pixel b, int e) {
  if (e == 255) return 0;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) out |= static_cast<Pixel>(T(Ch(b, c), 255 - e)) << (8 * c);
  return out;
}

Pixel WetBehind(Pixel b, Pixel colour, int e) {
  int a = Alpha(b);
  int f = T(e, 255 - a);
  if (f == 0) return b;
  if (f == 255) return colour;
  Pixel out = static_cast<Pixel>(a + f) << 24;
  for (int c = 0; c < 3; ++c) out |= static_cast<Pixel>(Ch(b, c) + T(Ch(colour, c), f)) << (8 * c);
  return out;
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
  for (int py = y0; py < y1; ++py) {
    const uint8_t* m = brush.mask + static_cast<ptrdiff_t>(py - y) * brush.width - x;
    uint8_t* w = map + static_cast<ptrdiff_t>(py) * pageWidth;
    for (int px = x0; px < x1; ++px) {
      int mv = m[px];
      if (!mv) continue;
      int wv = w[px];
      if (additive)
        wv = std::min(wv + (opacity >= 255 ? mv : T(opacity, mv)), 255);
      else
        wv += T(255 - wv, opacity == 255 ? mv : T(mv, opacity));
      w[px] = static_cast<uint8_t>(wv);
    }
  }
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
  bool plainColour =
      !relief && !range && (mode == DrawColor || mode == DrawStamp || mode == DrawImpress);
  constexpr int kChunk = 512;
  uint8_t e[kChunk];
  Pixel tmp[kChunk];
  for (int py = y0; py < y1; ++py) {
    const uint8_t* w = map + static_cast<ptrdiff_t>(py) * pw;
    const Pixel* b = base->Row(py);
    Pixel* d = page->Row(py);
    if (plainColour) {
      for (int px = x0; px < x1; px += kChunk) {
        int n = std::min(kChunk, x1 - px);
        for (int i = 0; i < n; ++i) e[i] = WetResponse[w[px + i]];
        std::memcpy(tmp, b + px, n * sizeof(Pixel));
        CoverRow(tmp, e, n, colour);
        for (int i = 0; i < n; ++i)
          if (e[i]) d[px + i] = tmp[i];
      }
      continue;
    }
    for (int px = x0; px < x1; ++px) {
      int ev = WetResponse[w[px]];
      if (!ev) continue;
      Pixel bp = b[px];
      Pixel c = colour;
      if (range) c = range[w[px]];
      if (relief) c = ReliefColour(map, pw, ph, px, py);
      Pixel out = bp;
      switch (mode) {
        case DrawColor:
        case DrawStamp:
        case DrawImpress:
          out = Cover(bp, c, ev);
          break;
        case DrawMerge:
          out = MixDown(bp, spare->Row(py)[px], ev);
          break;
        case DrawLight:
          out = Light(bp, ev);
          break;
        case DrawShade:
          out = Shade(bp, ev);
          break;
        case DrawBehind:
          out = WetBehind(bp, c, ev);
          break;
        case DrawErase:
          out = WetErase(bp, ev);
          break;
        case DrawReplace:
          out = Replace(bp, c, ev);
          break;
        case DrawPantograph: {
          int sx = px + Draw.pantoX, sy = py + Draw.pantoY;
          if (sx < 0 || sy < 0 || sx >= base->width || sy >= base->height) continue;
          out = MixDown(bp, base->Row(sy)[sx], ev);
          break;
        }
        default:
          continue;
      }
      d[px] = out;
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
