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
#include <cstring>

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

// The one bounded walk over the packets of n pixels: literal(index, bytes, count) for a literal
// packet (count pixels of 4 bytes each), run(index, pixel, count) for a run. Every length is
// checked against the bytes left and the pixels left first. Returns the bytes used, or -1.
template <typename Literal, typename Run>
ptrdiff_t PixelRLEWalk(const uint8_t* src, size_t len, size_t n, Literal literal, Run run) {
  size_t at = 0, done = 0;
  while (done < n) {
    if (at >= len) return -1;
    const int c = static_cast<int8_t>(src[at++]);
    if (c == -128) continue;
    if (c >= 0) {
      const size_t count = static_cast<size_t>(c) + 1;
      if (count > n - done || count * 4 > len - at) return -1;
      literal(done, src + at, count);
      at += count * 4;
      done += count;
    } else {
      const size_t count = static_cast<size_t>(1 - c);
      if (count > n - done || 4 > len - at) return -1;
      Pixel px;
      std::memcpy(&px, src + at, 4);
      at += 4;
      run(done, px, count);
      done += count;
    }
  }
  return static_cast<ptrdiff_t>(at);
}

// A rectangle packed row by row, one stream per row (tiles and file bodies). stride in pixels.
size_t PixelRLEPackRows(const Pixel* src, ptrdiff_t stride, int width, int height, uint8_t* out);
// Returns false on a corrupt stream; the rows before the fault are written.
bool PixelRLEUnpackRows(const uint8_t* src, size_t len, Pixel* dst, ptrdiff_t stride, int width,
                        int height);

}  // namespace vela
