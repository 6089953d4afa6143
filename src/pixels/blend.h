// The blends of premultiplied pixels, for one pixel and for rows.
//
// Pixel format: 0xAARRGGBB, bytes blue, green, red, alpha in memory, colour premultiplied.
// Mul is the rounding-up product of MulTable.
//   over:        D' = S + Mul(D, 255 - S.alpha); S.alpha 0 keeps D, S.alpha 255 gives S.
//   scaled over: a = Mul(S.alpha, o), S' = Mul(S, o) per channel, D' = S' + Mul(D, 255 - a);
//                S.alpha 0 keeps D, D.alpha 0 gives S'.
//   scale:       D' = Mul(S, o) per channel.
// A sum above 255, which only a colour above its alpha can cause, is held at 255.
//
// Row loops come from layers in the manner of a table of fast paths: the plain layer uses the
// tables, the SSE2 and AVX2 layers fill in the loops they speed up and leave the rest to the layer
// below, and every layer gives the same bytes. VELA_NO_AVX2=1 or VELA_NO_SIMD=1 in the
// environment switch layers off.
#pragma once

#include <algorithm>

#include "pixels/block.h"

namespace vela {

inline Pixel OverPixel(Pixel lower, Pixel upper) {
  uint32_t alpha = upper >> 24;
  if (alpha == 0) return lower;
  if (alpha == 255) return upper;
  const int16_t* keep = MulRow(255 - static_cast<int>(alpha));
  Pixel out = 0;
  for (int shift = 0; shift < 32; shift += 8) {
    int v = static_cast<int>((upper >> shift) & 0xFF) + keep[(lower >> shift) & 0xFF];
    out |= static_cast<Pixel>(std::min(v, 255)) << shift;
  }
  return out;
}

inline Pixel ScalePixel(Pixel p, int opacity) {
  const int16_t* row = MulRow(opacity);
  return static_cast<Pixel>(row[p & 0xFF]) | static_cast<Pixel>(row[(p >> 8) & 0xFF]) << 8 |
         static_cast<Pixel>(row[(p >> 16) & 0xFF]) << 16 | static_cast<Pixel>(row[p >> 24]) << 24;
}

inline Pixel ScaledOverPixel(Pixel lower, Pixel upper, int opacity) {
  if ((upper >> 24) == 0) return lower;
  Pixel scaled = ScalePixel(upper, opacity);
  if ((lower >> 24) == 0) return scaled;
  return OverPixel(lower, scaled);
}

// Rows: src and dst hold width pixels; they may be the same row but must not overlap otherwise.
void OverRow(const Pixel* src, Pixel* dst, int width);
void ScaledOverRow(const Pixel* src, Pixel* dst, int width, int opacity);

// Rectangles of rows; a skip is the number of pixels between the end of one row and the start of
// the next. Large rectangles are cut between the workers of ParallelRows.
void ScaleRows(const Pixel* src, Pixel* dst, int width, int height, int srcSkip, int dstSkip,
               int opacity);
// Opacity 255 is the plain over, 0 leaves dst alone.
void OverRows(const Pixel* src, Pixel* dst, int width, int height, int srcSkip, int dstSkip,
              int opacity);

// ---- Layers of row loops -----------------------------------------------------------------
enum BlendOp : int { kBlendOver, kBlendScaledOver, kBlendScale, kBlendOpCount };

// opacity is ignored by kBlendOver; kBlendScaledOver expects 0 < opacity < 255 and kBlendScale
// any opacity.
using RowLoop = void (*)(const Pixel* src, Pixel* dst, int width, int opacity);

struct BlendLayer {
  const char* name;
  const BlendLayer* below;
  RowLoop loops[kBlendOpCount];  // null: the loop of the layer below
};

const BlendLayer* PlainBlendLayer();
const BlendLayer* Sse2BlendLayer();  // null when not built for, or not run on, such a processor
const BlendLayer* Avx2BlendLayer();

RowLoop ResolveRowLoop(const BlendLayer* layer, BlendOp op);

// The environment's switches, read alike by every pixel loop: VELA_NO_SIMD=1 turns off every SIMD
// layer, VELA_NO_AVX2=1 the AVX2 one; unset, empty or "0" leaves them on.
bool SimdAllowed();
bool Avx2Allowed();

// The layer in use: the highest one that the processor and the environment allow. Chosen on
// first use; SelectBlendLayer reads the environment again.
const BlendLayer* ActiveBlendLayer();
const BlendLayer* SelectBlendLayer();

}  // namespace vela
