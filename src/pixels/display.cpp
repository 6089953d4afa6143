#include "pixels/display.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/host.h"
#include "start/input.h"

namespace vela {

void BlitBand(const Block* block, int sx, int sy, int tx, int ty, int w, int h) {
  if (!block || HostIconic() || DisplayLocked) return;
  HostScreen s = HostFramebuffer();
  if (!s.pixels) return;
  // Clip the target to the window and the source to the Block, moving both starts together.
  int dx = std::max({0, -tx, -sx});
  int dy = std::max({0, -ty, -sy});
  sx += dx, tx += dx, w -= dx;
  sy += dy, ty += dy, h -= dy;
  w = std::min({w, s.width - tx, block->width - sx});
  h = std::min({h, s.height - ty, block->height - sy});
  if (w <= 0 || h <= 0) return;
  for (int y = 0; y < h; ++y)
    std::memcpy(s.pixels + static_cast<size_t>(ty + y) * s.stride + tx, block->Row(sy + y) + sx,
                static_cast<size_t>(w) * 4);
  HostPresent(tx, ty, w, h);
}

bool WriteBlockPng(const Block* block, const char* path, std::string* error) {
  if (!block) {
    if (error) *error = "no page";
    return false;
  }
  std::vector<uint32_t> straight(static_cast<size_t>(block->width) * block->height);
  uint32_t* d = straight.data();
  for (int y = 0; y < block->height; ++y) {
    const Pixel* row = block->Row(y);
    for (int x = 0; x < block->width; ++x) {
      Pixel p = row[x];
      int a = Alpha(p);
      *d++ = a == 255 || a == 0 ? p : MakePixel(a, Div(Red(p), a), Div(Green(p), a), Div(Blue(p), a));
    }
  }
  return HostWritePng(path, straight.data(), block->width, block->height, block->width, true, error);
}

}  // namespace vela
