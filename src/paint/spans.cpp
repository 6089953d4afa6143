// Coverage spans of shapes rasterised by area, and the thin line's plots, on the current page.
#include <algorithm>

#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/pixel_rules.h"
#include "paint/row_kernels.h"
#include "start/random.h"
#include "start/workspace.h"

namespace vela {

using namespace rules;

namespace {

constexpr int kChunk = 512;
constexpr int kSolid = 21;  // antialias off: coverage from here on is full paint
constexpr int kRaise = 10;  // Behind and Replace without antialias: above this is full

struct SpanSetup {
  Pixel colour;
  int opacity;
} g_span;

void Show(int x, int y, int w, int h) {
  if (Draw.showRect) Draw.showRect(x, y, w, h);
}

// Clips the span to the page (and to a second Block when given) and runs f per chunk with
// (page pixels, coverage, count, page x).
template <class F>
void ForSpan(int x, int y, int length, const uint8_t* coverage, const Block* also, F f) {
  Block* page = Ws.page;
  if (!page || y < 0 || y >= page->height) return;
  int x0 = std::max(x, 0), x1 = std::min(x + length, page->width);
  if (also) {
    if (y >= also->height) return;
    x1 = std::min(x1, also->width);
  }
  if (x1 <= x0) return;
  for (int px = x0; px < x1; px += kChunk) {
    int n = std::min(kChunk, x1 - px);
    f(page->Row(y) + px, coverage + (px - x), n, px);
  }
  Show(x0, y, x1 - x0, 1);
}

template <class Rule>
void PerPixel(int x, int y, int length, const uint8_t* cov, Rule rule) {
  ForSpan(x, y, length, cov, nullptr, [&](Pixel* d, const uint8_t* m, int n, int) {
    for (int i = 0; i < n; ++i) d[i] = rule(d[i], m[i]);
  });
}

void SpanColor(int x, int y, int length, const uint8_t* cov) {
  ForSpan(x, y, length, cov, nullptr, [](Pixel* d, const uint8_t* m, int n, int) {
    uint8_t k[kChunk];
    if (g_span.opacity < 255) {  // at 255 the coverage is k as it stands
      CoverageRow(k, m, n, g_span.opacity);
      m = k;
    }
    CoverRow(d, m, n, g_span.colour);
  });
}
void SpanSolid(int x, int y, int length, const uint8_t* cov) {
  Pixel c = g_span.colour;
  PerPixel(x, y, length, cov, [c](Pixel d, int m) { return m >= kSolid ? c : d; });
}
void SpanMerge(int x, int y, int length, const uint8_t* cov) {
  ForSpan(x, y, length, cov, Ws.spare, [y](Pixel* d, const uint8_t* m, int n, int px) {
    MixRow(d, Ws.spare->Row(y) + px, m, n);
  });
}
void SpanMergeSolid(int x, int y, int length, const uint8_t* cov) {
  ForSpan(x, y, length, cov, Ws.spare, [y](Pixel* d, const uint8_t* m, int n, int px) {
    const Pixel* s = Ws.spare->Row(y) + px;
    for (int i = 0; i < n; ++i)
      if (m[i] >= kSolid) d[i] = s[i];
  });
}
void SpanColorize(int x, int y, int length, const uint8_t* cov) {
  PerPixel(x, y, length, cov, [](Pixel d, int m) { return m == 255 ? Colorize(d) : d; });
}
void SpanGrain(int x, int y, int length, const uint8_t* cov) {
  unsigned noise = static_cast<unsigned>(Random());
  PerPixel(x, y, length, cov, [&](Pixel d, int m) { return m ? GrainPixel(d, noise) : d; });
}
void SpanTint(int x, int y, int length, const uint8_t* cov) {
  int s = TintHue.sextant, f = TintHue.fraction;
  if (s < 0) return;
  PerPixel(x, y, length, cov, [s, f](Pixel d, int m) { return m ? Tint(d, s, f) : d; });
}

// The Spare mean under the first span of a stroke stands for the brush of a stamped Impress.
Pixel ImpressColour(int x, int y, int length, const uint8_t* cov) {
  if (Stroke.impressValid) return Stroke.impressColour;
  const Block* spare = Ws.spare;
  uint64_t sum[4] = {0, 0, 0, 0}, count = 0;
  if (spare && y >= 0 && y < spare->height) {
    for (int i = std::max(0, -x); i < length && x + i < spare->width; ++i) {
      if (!cov[i]) continue;
      Pixel p = spare->Row(y)[x + i];
      for (int c = 0; c < 4; ++c) sum[c] += Ch(p, c);
      ++count;
    }
  }
  Pixel mean = 0;
  if (count)
    for (int c = 0; c < 4; ++c) mean |= static_cast<Pixel>(sum[c] / count) << (8 * c);
  Stroke.impressColour = UnpremultipliedMean(mean);
  Stroke.impressValid = true;
  return Stroke.impressColour;
}
void SpanImpress(int x, int y, int length, const uint8_t* cov) {
  Pixel c = ImpressColour(x, y, length, cov);
  ForSpan(x, y, length, cov, nullptr, [c](Pixel* d, const uint8_t* m, int n, int) {
    uint8_t k[kChunk];
    CoverageRow(k, m, n, g_span.opacity);
    CoverRow(d, k, n, c);
  });
}
void SpanImpressSolid(int x, int y, int length, const uint8_t* cov) {
  Pixel c = ImpressColour(x, y, length, cov);
  PerPixel(x, y, length, cov, [c](Pixel d, int m) { return m >= kSolid ? c : d; });
}

template <bool kRaised>
int Raised(int m) {
  return kRaised && m > kRaise ? 255 : m;
}
template <bool kRaised>
void SpanBehind(int x, int y, int length, const uint8_t* cov) {
  Pixel c = g_span.colour;
  int o = g_span.opacity;
  PerPixel(x, y, length, cov, [c, o](Pixel d, int m) {
    int k = T(Raised<kRaised>(m), o);
    return k ? Behind(d, c, k, false) : d;
  });
}
template <bool kRaised>
void SpanReplace(int x, int y, int length, const uint8_t* cov) {
  Pixel c = g_span.colour;
  int o = g_span.opacity;
  PerPixel(x, y, length, cov, [c, o](Pixel d, int m) {
    int k = T(Raised<kRaised>(m), o);
    return k ? Replace(d, c, k) : d;
  });
}
void SpanErase(int x, int y, int length, const uint8_t* cov) {
  ForSpan(x, y, length, cov, nullptr, [](Pixel* d, const uint8_t* m, int n, int) {
    uint8_t k[kChunk];
    CoverageRow(k, m, n, g_span.opacity);
    EraseRow(d, k, n);
  });
}
void SpanEraseSolid(int x, int y, int length, const uint8_t* cov) {
  PerPixel(x, y, length, cov, [](Pixel d, int m) { return m >= kSolid ? 0 : d; });
}
void SpanPantograph(int x, int y, int length, const uint8_t* cov) {
  Block* page = Ws.page;
  int dx = Draw.pantoX, dy = Draw.pantoY;
  if (!page || y + dy < 0 || y + dy >= page->height) return;
  // Clip by the source row as well.
  int x0 = std::max({x, 0, -dx}), x1 = std::min({x + length, page->width, page->width - dx});
  if (y < 0 || y >= page->height || x1 <= x0) return;
  Pixel* d = page->Row(y);
  const Pixel* s = page->Row(y + dy) + dx;
  auto blend = [&](int px) {
    int k = T(cov[px - x], g_span.opacity);
    if (k) d[px] = Mix(d[px], s[px], k);
  };
  // Within its own row the walk runs away from the source, so no source pixel is read after
  // this span wrote it; other rows come in an order the rasteriser keeps.
  if (dy == 0 && dx < 0)
    for (int px = x1 - 1; px >= x0; --px) blend(px);
  else
    for (int px = x0; px < x1; ++px) blend(px);
  Show(x0, y, x1 - x0, 1);
}

struct SpanRow {
  int mode;  // -1: the erase flag
  SpanOperation antialiased;
  SpanOperation solid;
};
const SpanRow kSpanRows[] = {
    {DrawColor, SpanColor, SpanSolid},
    {DrawStamp, SpanColor, SpanSolid},
    {DrawMerge, SpanMerge, SpanMergeSolid},
    {DrawColorize, SpanColorize, SpanColorize},
    {DrawGrain, SpanGrain, SpanGrain},
    {DrawTint, SpanTint, nullptr},
    {DrawImpress, SpanImpress, SpanImpressSolid},
    {DrawBehind, SpanBehind<false>, SpanBehind<true>},
    {DrawErase, SpanErase, SpanEraseSolid},
    {DrawReplace, SpanReplace<false>, SpanReplace<true>},
    {DrawPantograph, SpanPantograph, nullptr},
    {-1, SpanErase, SpanEraseSolid},
};

}  // namespace

SpanOperation SelectSpanOperation(bool erase, int opacity) {
  int mode = erase ? -1 : Ws.drawMode;
  if (DrawModeNeedsSpare(mode) && !Ws.spare) return nullptr;
  g_span = {Draw.APen, std::clamp(opacity, 0, 255)};
  for (const SpanRow& row : kSpanRows)
    if (row.mode == mode) return Draw.antialias ? row.antialiased : row.solid;
  return nullptr;
}

}  // namespace vela
