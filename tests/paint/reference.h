// Plain, slow statements of every paint formula, against which the loops are checked.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "paint/brush.h"
#include "pixels/block.h"

namespace vela::ref {

inline int T(int a, int b) {  // MulTable by its definition
  int v = a >= 0 ? (a * b + 254) / 255 : (a * b - 254) / 255;
  return std::min(v, 255);
}
inline int Ch(Pixel p, int c) {
  return (p >> (8 * c)) & 0xFF;
}
inline Pixel Px(const int v[4]) {
  return static_cast<Pixel>(v[0]) | v[1] << 8 | v[2] << 16 | static_cast<Pixel>(v[3]) << 24;
}
inline int Lum(int r, int g, int b) {
  return (r * 19584 + g * 38464 + b * 7488) >> 16;
}
inline int Unpre(int c, int a) {
  return a ? (c * 255 / a) & 0xFF : 0;
}

// The parts of the world a pass reads besides the page: kept apart so the two sides never share.
struct World {
  Block* spare = nullptr;
  uint16_t noise = 0;   // PaintNoise
  uint32_t random = 1;  // state of the program's generator
  bool shiftStarted = false;
  bool impressValid = false;
  Pixel impress = 0;
  std::vector<uint8_t> scratch;
  std::vector<Pixel> under;  // brush-sized
};

int NextNoise(World& w);
int NextRandom(World& w);

// One StampPass in the given mode, with the draw context as it stands in Draw.
void Stamp(World& w, int mode, const Brush& b, Block* page, int x, int y, Pixel colour, bool erase,
           int opacity);
void Span(World& w, int mode, bool erase, int opacity, Block* page, int x, int y, int length,
          const uint8_t* cov);
Pixel GrainOne(World& w, Pixel d, unsigned& noise);

}  // namespace vela::ref
