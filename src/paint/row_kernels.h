// Row loops that carry most of the painting, with SSE2 forms that give the same bytes as the
// per-pixel rules. SetPaintSimd(false), or VELA_NO_SIMD=1 in the environment, runs the plain
// ones; coverage paint, the cross filter and the wet loops also have AVX2 forms, off with
// SetPaintAvx2(false) or VELA_NO_AVX2=1. The environment is read as the blends read it.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

void SetPaintSimd(bool on);
bool PaintSimd();
void SetPaintAvx2(bool on);  // only where the processor has it
void SelectPaintLayers();    // from the environment, as at start

// Opacities and levels are held to 0..255 before they reach a table.
void CoverageRow(uint8_t* k, const uint8_t* m, int n, int opacity);  // k = T[m][opacity]
void CoverRow(Pixel* d, const uint8_t* k, int n, Pixel colour);      // coverage paint
void EraseRow(Pixel* d, const uint8_t* k, int n);
void MixRow(Pixel* d, const Pixel* s, const uint8_t* k, int n);  // Merge's rounding division
// Smooth or Blur of page pixels (x .. x + n - 1, y) into out; k = 0 copies the old pixel.
// The caller keeps x - 1, x + n, y - 1 and y + 1 on the page.
// Wet strokes. One row of the map: w += T[255 - w][T[m][opacity]], or additive
// w = min(w + T[opacity][m], 255).
void WetAccumulateRow(uint8_t* w, const uint8_t* m, int n, int opacity, bool additive);
// The page from the base b where e != 0; e = 0 leaves d as it is. Cover heads for colours[i], or
// for colour when colours is null; Mix is the truncating one, exact at e = 255.
void WetCoverRow(Pixel* d, const Pixel* b, const uint8_t* e, int n, Pixel colour,
                 const Pixel* colours);
void WetEraseRow(Pixel* d, const Pixel* b, const uint8_t* e, int n);
// Behind: f = T[e][255 - b.a]; colour channels b + T[C][f], alpha b.a + f, C whole at f = 255.
void WetBehindRow(Pixel* d, const Pixel* b, const uint8_t* e, int n, Pixel colour,
                  const Pixel* colours);
void WetMixRow(Pixel* d, const Pixel* b, const Pixel* s, const uint8_t* e, int n);
void CrossFilterRow(const Block* page, int x, int y, const uint8_t* k, int n, Pixel* out,
                    bool blur);

}  // namespace vela
