#include "pixels/primitives.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "start/message.h"
#include "start/workspace.h"

namespace vela {

namespace {

struct Span {
  int x0, y0, x1, y1;  // inclusive
};

// Orders the corners and clips them to the Block; false when nothing is left.
bool ClipCorners(const Block* b, int x0, int y0, int x1, int y1, Span* out) {
  if (x0 > x1) std::swap(x0, x1);
  if (y0 > y1) std::swap(y0, y1);
  x0 = std::max(x0, 0);
  y0 = std::max(y0, 0);
  x1 = std::min(x1, b->width - 1);
  y1 = std::min(y1, b->height - 1);
  if (x0 > x1 || y0 > y1) return false;
  *out = {x0, y0, x1, y1};
  return true;
}

struct Blit {
  int sx, sy, dx, dy, w, h;
};

// Clipping of BlitRect and its kin: against dst only, a cut on the left or top moves the source.
bool ClipToDst(const Block* dst, Blit* r) {
  if (r->dx < 0) {
    r->sx -= r->dx;
    r->w += r->dx;
    r->dx = 0;
  }
  if (r->dy < 0) {
    r->sy -= r->dy;
    r->h += r->dy;
    r->dy = 0;
  }
  r->w = std::min(r->w, dst->width - r->dx);
  r->h = std::min(r->h, dst->height - r->dy);
  return r->w > 0 && r->h > 0;
}

size_t Words(int n) {
  return static_cast<size_t>(n) * sizeof(Pixel);
}

// Aligned 64-byte stores; the compiler's own loop leaves half the store bandwidth unused.
void FillWords(Pixel* p, size_t n, Pixel value) {
#if defined(__SSE2__)
  while (n && (reinterpret_cast<uintptr_t>(p) & 15)) {
    *p++ = value;
    --n;
  }
  const __m128i v = _mm_set1_epi32(static_cast<int>(value));
  for (; n >= 16; n -= 16, p += 16) {
    auto* q = reinterpret_cast<__m128i*>(p);
    _mm_store_si128(q, v);
    _mm_store_si128(q + 1, v);
    _mm_store_si128(q + 2, v);
    _mm_store_si128(q + 3, v);
  }
#endif
  std::fill_n(p, n, value);
}

}  // namespace

int PutPixel(Block* block, int x, int y, Pixel pixel) {
  if (static_cast<unsigned>(x) >= static_cast<unsigned>(block->width) ||
      static_cast<unsigned>(y) >= static_cast<unsigned>(block->height))
    return 1;
  block->Row(y)[x] = pixel;
  return 0;
}

Pixel GetPixel(const Block* block, int x, int y) {
  if (static_cast<unsigned>(x) >= static_cast<unsigned>(block->width) ||
      static_cast<unsigned>(y) >= static_cast<unsigned>(block->height))
    return 0;
  return block->Row(y)[x];
}

void FillBlock(Block* block, Pixel pixel) {
  FillWords(block->data, static_cast<size_t>(block->width) * block->height, pixel);
}

void FillRect(Block* block, int x0, int y0, int x1, int y1, Pixel pixel) {
  Span s;
  if (!ClipCorners(block, x0, y0, x1, y1, &s)) return;
  if (pixel == kBackgroundToken) pixel = Ws.sysColors[BACKGROUNDCOLOR];
  int w = s.x1 - s.x0 + 1;
  if (w == block->width) {
    FillWords(block->Row(s.y0), static_cast<size_t>(w) * (s.y1 - s.y0 + 1), pixel);
    return;
  }
  for (int y = s.y0; y <= s.y1; ++y) FillWords(block->Row(y) + s.x0, w, pixel);
}

void InvertRect(Block* block, int x0, int y0, int x1, int y1) {
  Span s;
  if (!ClipCorners(block, x0, y0, x1, y1, &s)) return;
  for (int y = s.y0; y <= s.y1; ++y) {
    Pixel* p = block->Row(y);
    for (int x = s.x0; x <= s.x1; ++x) p[x] ^= 0x00FFFFFF;
  }
}

void DrawLine(Block* block, int x0, int y0, int x1, int y1, Pixel pixel) {
  int dx = std::abs(x1 - x0);
  int dy = -std::abs(y1 - y0);
  int stepX = x0 < x1 ? 1 : -1;
  int stepY = y0 < y1 ? 1 : -1;
  int err = dx + dy;
  for (;;) {
    block->Row(y0)[x0] = pixel;
    if (x0 == x1 && y0 == y1) return;
    int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x0 += stepX;
    }
    if (e2 <= dx) {
      err += dx;
      y0 += stepY;
    }
  }
}

void CopyRect(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h) {
  if (w <= 0 || h <= 0) return;
  // Whole rows of equal stride are one run of memory.
  if (sx == 0 && dx == 0 && w == src->width && w == dst->width) {
    std::memmove(dst->Row(dy), src->Row(sy), Words(w) * h);
    return;
  }
  // Within one Block a move downwards must start at the bottom row.
  if (src == dst && dy > sy) {
    for (int y = h - 1; y >= 0; --y)
      std::memmove(dst->Row(dy + y) + dx, src->Row(sy + y) + sx, Words(w));
    return;
  }
  for (int y = 0; y < h; ++y) std::memmove(dst->Row(dy + y) + dx, src->Row(sy + y) + sx, Words(w));
}

void SwapRect(Block* a, int ax, int ay, Block* b, int bx, int by, int w, int h) {
  if (w <= 0) return;
  for (int y = 0; y < h; ++y) {
    Pixel* p = a->Row(ay + y) + ax;
    std::swap_ranges(p, p + w, b->Row(by + y) + bx);
  }
}

int BlitRect(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h) {
  Blit r{sx, sy, dx, dy, w, h};
  if (!ClipToDst(dst, &r)) return -1;
  CopyRect(src, r.sx, r.sy, dst, r.dx, r.dy, r.w, r.h);
  return 0;
}

int BlitRectSolid(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h) {
  Blit r{sx, sy, dx, dy, w, h};
  if (!ClipToDst(dst, &r)) return -1;
  for (int y = 0; y < r.h; ++y) {
    const Pixel* s = src->Row(r.sy + y) + r.sx;
    Pixel* d = dst->Row(r.dy + y) + r.dx;
    for (int x = 0; x < r.w; ++x)
      if (s[x] != 0) d[x] = s[x];
  }
  return 0;
}

int StampMask(const uint8_t* mask, int maskWidth, int maskHeight, int sx, int sy, Block* dst,
              int dx, int dy, int w, int h, Pixel pixel) {
  if (!mask) return -1;
  Blit r{sx, sy, dx, dy, w, h};
  if (!ClipToDst(dst, &r)) return -1;
  // The mask is a plain plane, so it is clipped as well: a cut on its left or top moves dst.
  if (r.sx < 0) {
    r.dx -= r.sx;
    r.w += r.sx;
    r.sx = 0;
  }
  if (r.sy < 0) {
    r.dy -= r.sy;
    r.h += r.sy;
    r.sy = 0;
  }
  r.w = std::min(r.w, maskWidth - r.sx);
  r.h = std::min(r.h, maskHeight - r.sy);
  if (r.w <= 0 || r.h <= 0) return -1;
  for (int y = 0; y < r.h; ++y) {
    const uint8_t* m = mask + static_cast<ptrdiff_t>(r.sy + y) * maskWidth + r.sx;
    Pixel* d = dst->Row(r.dy + y) + r.dx;
    for (int x = 0; x < r.w; ++x)
      if (m[x]) d[x] = pixel;
  }
  return 0;
}

int CopyBlock(const Block* src, Block* dst) {
  if (src->width != dst->width || src->height != dst->height) return -1;
  std::memcpy(dst->data, src->data, Words(src->width) * src->height);
  return 0;
}

void SwapBlock(Block* a, Block* b) {
  size_t n = static_cast<size_t>(a->width) * a->height;
  std::swap_ranges(a->data, a->data + n, b->data);
}

void FlipHorizontal(Block* block) {
  for (int y = 0; y < block->height; ++y) {
    Pixel* p = block->Row(y);
    std::reverse(p, p + block->width);
  }
}

void FlipVertical(Block* block) {
  for (int top = 0, bottom = block->height - 1; top < bottom; ++top, --bottom) {
    Pixel* p = block->Row(top);
    std::swap_ranges(p, p + block->width, block->Row(bottom));
  }
}

int RotateRightInto(const Block* src, Block* dst) {
  if (dst->width != src->height || dst->height != src->width) return -1;
  // Square tiles keep both the reads and the column writes inside the cache.
  constexpr int kTile = 32;
  const int h = src->height;
  for (int ty = 0; ty < h; ty += kTile) {
    int yEnd = std::min(ty + kTile, h);
    for (int tx = 0; tx < src->width; tx += kTile) {
      int xEnd = std::min(tx + kTile, src->width);
      for (int y = ty; y < yEnd; ++y) {
        const Pixel* s = src->Row(y);
        int column = h - 1 - y;
        for (int x = tx; x < xEnd; ++x) dst->Row(x)[column] = s[x];
      }
    }
  }
  return 0;
}

Block* RotateRight(const Block* block) {
  Block* out = AllocBlock(block->height, block->width);
  if (!out) {
    Message(" Not enough memory");
    return nullptr;
  }
  RotateRightInto(block, out);
  return out;
}

}  // namespace vela
