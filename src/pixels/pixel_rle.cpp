#include "pixels/pixel_rle.h"

#include <algorithm>
#include <cstring>

namespace vela {

namespace {

// Shared walk of the encoder: emit(control, first pixel, pixel count, is run).
template <typename Emit>
inline void Encode(const Pixel* p, size_t n, Emit&& emit) {
  size_t i = 0;
  while (n - i > 1) {
    const size_t span = std::min<size_t>(n - i, kPixelRLEMaxPacket);
    const Pixel first = p[i];
    size_t run = 1;
    while (run < span && p[i + run] == first) ++run;
    if (run >= 2) {
      emit(static_cast<uint8_t>(static_cast<int8_t>(1 - static_cast<int>(run))), p + i, run, true);
      i += run;
      continue;
    }
    // The pixel after the row end counts as different, so the result never depends on memory
    // beyond the row.
    size_t lit = 1;
    while (lit < span && (i + lit + 1 == n || p[i + lit] != p[i + lit + 1])) ++lit;
    emit(static_cast<uint8_t>(lit - 1), p + i, lit, false);
    i += lit;
  }
  if (n - i == 1) emit(0, p + i, 1, false);
}

}  // namespace

size_t PixelRLEPack(const Pixel* src, size_t n, uint8_t* out) {
  uint8_t* o = out;
  Encode(src, n, [&o](uint8_t control, const Pixel* px, size_t count, bool run) {
    *o++ = control;
    const size_t bytes = run ? 4 : count * 4;
    std::memcpy(o, px, bytes);
    o += bytes;
  });
  return static_cast<size_t>(o - out);
}

size_t PixelRLEPackedSize(const Pixel* src, size_t n) {
  size_t total = 0;
  Encode(src, n, [&total](uint8_t, const Pixel*, size_t count, bool run) {
    total += 1 + (run ? 4 : count * 4);
  });
  return total;
}

ptrdiff_t PixelRLEUnpack(const uint8_t* src, size_t len, Pixel* dst, size_t n) {
  return PixelRLEWalk(
      src, len, n,
      [dst](size_t i, const uint8_t* bytes, size_t count) {
        std::memcpy(dst + i, bytes, count * 4);
      },
      [dst](size_t i, Pixel px, size_t count) { std::fill_n(dst + i, count, px); });
}

size_t PixelRLEPackRows(const Pixel* src, ptrdiff_t stride, int width, int height, uint8_t* out) {
  size_t total = 0;
  for (int y = 0; y < height; ++y)
    total += PixelRLEPack(src + y * stride, static_cast<size_t>(width), out + total);
  return total;
}

bool PixelRLEUnpackRows(const uint8_t* src, size_t len, Pixel* dst, ptrdiff_t stride, int width,
                        int height) {
  size_t at = 0;
  for (int y = 0; y < height; ++y) {
    ptrdiff_t used =
        PixelRLEUnpack(src + at, len - at, dst + y * stride, static_cast<size_t>(width));
    if (used < 0) return false;
    at += static_cast<size_t>(used);
  }
  return true;
}

}  // namespace vela
