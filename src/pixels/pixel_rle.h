// The run-length code over whole 32-bit pixels, shared by tiles, thumbnails and file bodies.
//
// A stream is a series of packets, each led by a control byte c read as signed:
//   0..127     c + 1 literal pixels follow, 4 bytes each, as they lie in memory;
//   -1..-127   one pixel follows, repeated 1 - c times;
//   -128       nothing; a filler.
// The encoder never writes a packet longer than 124 pixels. The decoder takes the whole range
// but never lets a packet run past the pixel count it was given.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixels/block.h"

namespace vela {

constexpr int kPixelRLEMaxPacket = 124;

// Worst case of the encoder: every packet one literal pixel.
constexpr size_t PixelRLEBound(size_t pixels) {
  return pixels * 5;
}

// Packs n pixels as one stream into out, which holds PixelRLEBound(n) bytes. Returns the length.
size_t PixelRLEPack(const Pixel* src, size_t n, uint8_t* out);

// The length PixelRLEPack would give, without writing.
size_t PixelRLEPackedSize(const Pixel* src, size_t n);

// Decodes exactly n pixels from a stream of len bytes. Returns the bytes consumed, or -1 when the
// stream ends early or a packet would overrun n; dst may then hold part of the pixels.
ptrdiff_t PixelRLEUnpack(const uint8_t* src, size_t len, Pixel* dst, size_t n);

// A rectangle packed row by row, one stream per row (tiles and file bodies). stride in pixels.
size_t PixelRLEPackRows(const Pixel* src, ptrdiff_t stride, int width, int height, uint8_t* out);
// Returns false on a corrupt stream; the rows before the fault are written.
bool PixelRLEUnpackRows(const uint8_t* src, size_t len, Pixel* dst, ptrdiff_t stride, int width,
                        int height);

}  // namespace vela
