// Row loops that carry most of the painting, with SSE2 forms that give the same bytes as the
// per-pixel rules. SetPaintSimd(false), or VELA_NO_SIMD in the environment, runs the plain ones.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

void SetPaintSimd(bool on);
bool PaintSimd();

void CoverageRow(uint8_t* k, const uint8_t* m, int n, int opacity);  // k = T[m][opacity]
void CoverRow(Pixel* d, const uint8_t* k, int n, Pixel colour);      // coverage paint
void EraseRow(Pixel* d, const uint8_t* k, int n);
void MixRow(Pixel* d, const Pixel* s, const uint8_t* k, int n);  // Merge's rounding division
// Smooth or Blur of page pixels (x .. x + n - 1, y) into out; k = 0 copies the old pixel.
// The caller keeps x - 1, x + n, y - 1 and y + 1 on the page.
void CrossFilterRow(const Block* page, int x, int y, const uint8_t* k, int n, Pixel* out,
                    bool blur);

}  // namespace vela
