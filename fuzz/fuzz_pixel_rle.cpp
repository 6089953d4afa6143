// fuzz-deps: vela_pixels
// The first two bytes give a width and a height; the rest is taken as packed rows. Whatever
// decodes must pack and decode again to the same pixels.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "pixels/pixel_rle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  const int width = data[0] % 130 + 1;
  const int height = data[1] % 70 + 1;
  data += 2;
  size -= 2;
  // An exact copy, so that any read past the end is caught.
  std::vector<uint8_t> input(data, data + size);
  std::vector<vela::Pixel> rows(static_cast<size_t>(width) * height);
  if (!vela::PixelRLEUnpackRows(input.data(), input.size(), rows.data(), width, width, height))
    return 0;
  std::vector<uint8_t> packed(vela::PixelRLEBound(rows.size()));
  packed.resize(vela::PixelRLEPackRows(rows.data(), width, width, height, packed.data()));
  std::vector<vela::Pixel> again(rows.size());
  if (!vela::PixelRLEUnpackRows(packed.data(), packed.size(), again.data(), width, width, height) ||
      again != rows)
    std::abort();
  return 0;
}
