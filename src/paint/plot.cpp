// The Propelling Pencil's thin line: single pixels and pairs with a shared coverage.
#include <algorithm>

#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/pixel_rules.h"
#include "start/random.h"
#include "start/workspace.h"

namespace vela {

using namespace rules;

namespace {

// (page, x, y on the page, colour, k) -> the new pixel; false skips the plot.
using PlotRule = bool (*)(const Block* page, int x, int y, Pixel colour, int k, Pixel* out);

Pixel Towards(Pixel d, Pixel target, int k) {  // plain division, truncation towards zero
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) {
    int v = Ch(d, c);
    out |= static_cast<Pixel>(v + (Ch(target, c) - v) * k / 255) << (8 * c);
  }
  return out;
}

bool RuleColor(const Block* page, int x, int y, Pixel colour, int k, Pixel* out) {
  *out = Towards(page->Row(y)[x], colour, k);
  return true;
}
bool RuleMerge(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  const Block* spare = Ws.spare;
  if (!spare || x >= spare->width || y >= spare->height) return false;
  *out = Towards(page->Row(y)[x], spare->Row(y)[x], k);
  return true;
}
bool RuleSmooth(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  if (x < 1 || y < 1 || x >= page->width - 1 || y >= page->height - 1) return false;
  int sum[4] = {0, 0, 0, 0};
  for (int j = -1; j <= 1; ++j)
    for (int i = -1; i <= 1; ++i)
      for (int c = 0; c < 4; ++c) sum[c] += Ch(page->Row(y + j)[x + i], c);
  Pixel mean = 0;
  for (int c = 0; c < 4; ++c) mean |= static_cast<Pixel>(sum[c] / 9) << (8 * c);
  *out = Lerp(page->Row(y)[x], mean, k);
  return true;
}
bool RuleSmear(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  if (!Stroke.lineSmearValid) return false;
  *out = Lerp(page->Row(y)[x], Stroke.lineSmear, k);
  return true;
}
bool RuleShift(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  Pixel old = page->Row(y)[x];
  *out = Stroke.lineShiftValid ? Lerp(old, Stroke.lineShift, k) : old;
  Stroke.lineShift = old;
  Stroke.lineShiftValid = true;
  return true;
}
template <int kStep>
bool RuleShade(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  Pixel d = page->Row(y)[x];
  Pixel target = kStep < 0 ? Shade(d, -kStep) : Light(d, kStep);
  Pixel r = d & 0xFF000000u;
  for (int c = 0; c < 3; ++c)
    r |= static_cast<Pixel>(Ch(d, c) + T(Ch(target, c) - Ch(d, c), k)) << (8 * c);
  *out = r;
  return true;
}
bool RuleGrain(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  Pixel d = page->Row(y)[x];
  unsigned noise = static_cast<unsigned>(Random());
  *out = Lerp(d, GrainPixel(d, noise), k);
  return true;
}
bool RuleImpress(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  if (!Stroke.impressValid) return false;
  *out = Lerp(page->Row(y)[x], Stroke.impressColour, k);
  return true;
}
bool RuleBehind(const Block* page, int x, int y, Pixel colour, int k, Pixel* out) {
  Pixel d = page->Row(y)[x];
  int f = T(255 - Alpha(d), k);
  Pixel r = 0;
  for (int c = 0; c < 4; ++c) r |= static_cast<Pixel>(Ch(d, c) + T(Ch(colour, c), f)) << (8 * c);
  *out = r;
  return true;
}
bool RuleErase(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  Pixel d = page->Row(y)[x];
  Pixel r = 0;
  for (int c = 0; c < 4; ++c) r |= static_cast<Pixel>(Ch(d, c) - Ch(d, c) * k / 255) << (8 * c);
  *out = r;
  return true;
}
bool RuleReplace(const Block* page, int x, int y, Pixel colour, int k, Pixel* out) {
  *out = Replace(page->Row(y)[x], colour, k);
  return true;
}
bool RulePantograph(const Block* page, int x, int y, Pixel, int k, Pixel* out) {
  int sx = x + Draw.pantoX, sy = y + Draw.pantoY;
  if (sx < 0 || sy < 0 || sx >= page->width || sy >= page->height) return false;
  *out = Lerp(page->Row(y)[x], page->Row(sy)[sx], k);
  return true;
}

template <PlotRule R>
void Plot(int x, int y, Pixel colour, int k) {
  Block* page = Ws.page;
  if (!page || x < 0 || y < 0 || x >= page->width || y >= page->height) return;
  Pixel p;
  if (!R(page, x, y, colour, k, &p)) return;
  page->Row(y)[x] = p;
  if (Draw.showRect) Draw.showRect(x, y, 1, 1);
}

// kInverse: the one-pixel Erase takes its coverage the other way round.
template <PlotRule R, bool kInverse = false>
void PlotPixel(int x, int y, Pixel colour, int coverage) {
  Plot<R>(x, y, colour, kInverse ? 255 - coverage : coverage);
}

template <PlotRule R>
void PlotPair(int x0, int y0, int x1, int y1, int coverage, int opacity, Pixel colour) {
  Plot<R>(x1, y1, colour, opacity * coverage / 255);
  Plot<R>(x0, y0, colour, opacity * (255 - coverage) / 255);
}

// Pantograph reads both sources before it writes either pixel of the pair.
template <>
void PlotPair<RulePantograph>(int x0, int y0, int x1, int y1, int coverage, int opacity,
                              Pixel colour) {
  Block* page = Ws.page;
  if (!page) return;
  auto on = [page](int x, int y) {
    return x >= 0 && y >= 0 && x < page->width && y < page->height;
  };
  Pixel p1 = 0, p0 = 0;
  bool w1 = on(x1, y1) && RulePantograph(page, x1, y1, colour, opacity * coverage / 255, &p1);
  bool w0 =
      on(x0, y0) && RulePantograph(page, x0, y0, colour, opacity * (255 - coverage) / 255, &p0);
  if (w1) page->Row(y1)[x1] = p1;
  if (w0) page->Row(y0)[x0] = p0;
  if (Draw.showRect && w1) Draw.showRect(x1, y1, 1, 1);
  if (Draw.showRect && w0) Draw.showRect(x0, y0, 1, 1);
}

struct PlotRow {
  int mode;  // -1: the erase flag
  PlotPixelFn pixel;
  PlotPairFn pair;
};
#define VELA_PLOT(mode, rule) \
  { mode, PlotPixel<rule>, PlotPair<rule> }
const PlotRow kPlotRows[] = {
    VELA_PLOT(DrawColor, RuleColor),
    VELA_PLOT(DrawStamp, RuleColor),
    VELA_PLOT(DrawMerge, RuleMerge),
    VELA_PLOT(DrawSmooth, RuleSmooth),
    VELA_PLOT(DrawBlur, RuleSmooth),
    VELA_PLOT(DrawSmear, RuleSmear),
    VELA_PLOT(DrawShift, RuleShift),
    VELA_PLOT(DrawShade, RuleShade<-10>),
    VELA_PLOT(DrawLight, RuleShade<10>),
    VELA_PLOT(DrawGrain, RuleGrain),
    VELA_PLOT(DrawImpress, RuleImpress),
    VELA_PLOT(DrawBehind, RuleBehind),
    {DrawErase, PlotPixel<RuleErase, true>, PlotPair<RuleErase>},
    VELA_PLOT(DrawReplace, RuleReplace),
    VELA_PLOT(DrawPantograph, RulePantograph),
    {-1, PlotPixel<RuleErase, true>, PlotPair<RuleErase>},
};
#undef VELA_PLOT

}  // namespace

bool SelectPlotOperations(bool erase, PlotOperations* out) {
  int mode = erase ? -1 : Ws.drawMode;
  if (DrawModeNeedsSpare(mode) && !Ws.spare) return false;
  for (const PlotRow& row : kPlotRows)
    if (row.mode == mode) {
      *out = {row.pixel, row.pair};
      return true;
    }
  return false;
}

void BeginThinLine(const Brush& brush, int x0, int y0) {
  // Impress takes its colour as a StampPass does: the Spare's mean under the brush placed half
  // its size on from the stroke's first corner.
  const Block* spare = Ws.spare;
  if (Ws.drawMode == DrawImpress && !Stroke.impressValid && spare) {
    Stroke.impressColour = UnpremultipliedMean(
        MeanUnderBrush(brush, spare, x0 + brush.width / 2, y0 + brush.height / 2));
    Stroke.impressValid = true;
  }
  const Block* page = Ws.page;
  Stroke.lineSmearValid = page && x0 >= 0 && y0 >= 0 && x0 < page->width && y0 < page->height;
  if (Stroke.lineSmearValid) Stroke.lineSmear = page->Row(y0)[x0];
}

}  // namespace vela
