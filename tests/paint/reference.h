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
// The pixel whose channel i is f(i), alpha at i = 3.
template <class F>
Pixel Each(F f) {
  int v[4];
  for (int i = 0; i < 4; ++i) v[i] = f(i);
  return Px(v);
}
inline int Lum(int r, int g, int b) {
  return (r * 19584 + g * 38464 + b * 7488) >> 16;
}
inline int Unpre(int c, int a) {
  return a ? (c * 255 / a) & 0xFF : 0;
}

// The blends, k the share of the new colour c or target t.
Pixel Cover(Pixel d, Pixel c, int k);  // towards c, alpha towards 255
Pixel Lerp(Pixel d, Pixel t, int k);
Pixel Behind(Pixel d, Pixel c, int k, bool image);
Pixel Replace(Pixel d, Pixel c, int k);  // c under d's alpha
Pixel Step(Pixel d, int step);           // Shade below zero, Light above, within alpha

// The parts of the world a pass reads besides the page: kept apart so the two sides never share.
struct World {
  Block* spare = nullptr;
  uint16_t noise = 0;   // PaintNoise
  uint32_t random = 1;  // state of the program's generator
  bool shiftStarted = false;
  bool impressValid = false;
  Pixel impress = 0;
  std::vector<uint8_t> scratch;
  std::vector<Pixel> under;     // brush-sized
  const Block* base = nullptr;  // the wet strokes' WetBase, and their WetMap
  std::vector<uint8_t> map;
};

int NextNoise(World& w);
int NextRandom(World& w);

// One StampPass in the given mode, with the draw context as it stands in Draw.
void Stamp(World& w, int mode, const Brush& b, Block* page, int x, int y, Pixel colour, bool erase,
           int opacity);
void Span(World& w, int mode, bool erase, int opacity, Block* page, int x, int y, int length,
          const uint8_t* cov);
Pixel GrainOne(World& w, Pixel d, unsigned& noise);
// One wet stamp: the brush adds to the map, then the page under it is worked out afresh from the
// base by the response to the map; c is the colour before the relief.
void WetStamp(World& w, int tool, bool additive, int mode, const Brush& b, Block* page, int x,
              int y, Pixel c, int opacity);

}  // namespace vela::ref
