// The loops that paint: one StampPass of a Brush, a coverage span, the thin line's plots.
#pragma once

#include <cstdint>

#include "paint/brush.h"
#include "pixels/block.h"

namespace vela {

// (brush, destination, x, y of the brush's top-left, colour, erase flag, opacity 0..255).
// 0 when done, -1 for a brush without a mask plane (or a mode that lacks its input).
using StampOperation = int (*)(const Brush& brush, Block* dst, int x, int y, Pixel colour,
                               bool erase, int opacity);
// The loop one StampPass of this brush runs under the current mode, antialias and texture.
StampOperation SelectStampOperation(const Brush& brush, bool erase);

// Called per scan line on the page with (x, y, length, coverage bytes).
using SpanOperation = void (*)(int x, int y, int length, const uint8_t* coverage);
// Null when the mode has no span: the caller stamps instead.
SpanOperation SelectSpanOperation(bool erase, int opacity);

using PlotPixelFn = void (*)(int x, int y, Pixel colour, int coverage);
using PlotPairFn = void (*)(int x0, int y0, int x1, int y1, int coverage, int opacity,
                            Pixel colour);
struct PlotOperations {
  PlotPixelFn plotPixel = nullptr;
  PlotPairFn plotPair = nullptr;
};
// False for the modes without a thin line (Colorize, Tint).
bool SelectPlotOperations(bool erase, PlotOperations* out);
// The thin line reads its Smear pixel once at the start of each line, and at the first of a
// stroke the Impress colour; (x0, y0) is the brush's top-left there.
void BeginThinLine(const Brush& brush, int x0, int y0);

}  // namespace vela
