// Random pages and brushes for the paint tests, pushed towards alpha 0 and 255.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/row_kernels.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "pixels/block.h"
#include "start/workspace.h"

namespace vela::test {

inline int Edge(std::mt19937& g, int hi) {
  switch (g() % 4) {
    case 0:
      return 0;
    case 1:
      return hi;
    default:
      return static_cast<int>(g() % (hi + 1));
  }
}
inline int Around(std::mt19937& g, int d) {  // -d .. d
  return static_cast<int>(g() % (2 * d + 1)) - d;
}

inline Pixel RandomPixel(std::mt19937& g) {
  int a = Edge(g, 255);
  return MakePixel(a, Edge(g, a), Edge(g, a), Edge(g, a));
}
inline void FillRandom(Block* b, std::mt19937& g) {
  for (int i = 0; i < b->width * b->height; ++i) b->data[i] = RandomPixel(g);
}
inline BlockPtr RandomBlock(int w, int h, std::mt19937& g) {
  BlockPtr b(NewBlock(w, h));
  FillRandom(b.get(), g);
  return b;
}
inline BlockPtr CopyOf(const Block* b) {
  BlockPtr c(NewBlock(b->width, b->height));
  std::copy(b->data, b->data + b->width * b->height, c->data);
  return c;
}
inline bool SamePixels(const Block* a, const Block* b) {
  return std::equal(a->data, a->data + a->width * a->height, b->data);
}
inline void Fill(Block* b, Pixel p) {
  std::fill(b->data, b->data + b->width * b->height, p);
}

// A random A pen with its Colorize and Tint tables, and a Pantograph offset within ±d.
inline void RandomPen(std::mt19937& g, int d) {
  Draw.APen = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
  Draw.pantoX = Around(g, d);
  Draw.pantoY = Around(g, d);
  BuildColorizeRamp(Draw.APen);
  BuildTintHue(Draw.APen);
}
inline void SetLayer(int layer) {  // plain, SSE2, AVX2
  SetPaintSimd(layer > 0);
  SetPaintAvx2(layer > 1);
}

// The opacity of stamp i of a three-stamp segment ramping from o0 to o1 in 16.16.
inline int RampAt(int o0, int o1, int i) {
  int64_t step = (int64_t{o0} - o1) * 65536 / 3;
  return std::clamp(o1 + static_cast<int>((step * (1 - i)) >> 16), 0, 255);
}

// The centre of page pixel p in 16.16.
inline int32_t F(int p) {
  return (p << 16) + 0x8000;
}

using Pixels = std::set<std::pair<int, int>>;
inline Pixels Painted(const Block* b) {
  Pixels out;
  for (int y = 0; y < b->height; ++y)
    for (int x = 0; x < b->width; ++x)
      if (b->Row(y)[x]) out.insert({x, y});
  return out;
}
inline Pixels RowOf(int x0, int x1, int y) {  // a row of pixels, both ends in
  Pixels out;
  for (int x = x0; x <= x1; ++x) out.insert({x, y});
  return out;
}

// A Brush with its planes and Blocks.
struct TestBrush {
  Brush brush;
  std::vector<uint8_t> mask, scratch;
  BlockPtr pixels, under;

  TestBrush(int kind, int w, int h, std::mt19937& g, bool full = false) {
    mask.resize(w * h);
    scratch.resize(w * h);
    for (uint8_t& m : mask) m = full ? 255 : static_cast<uint8_t>(Edge(g, 255));
    brush.kind = kind;
    brush.width = w;
    brush.height = h;
    brush.mask = mask.data();
    brush.scratch = scratch.data();
    under.reset(NewBlock(w, h));
    brush.under = under.get();
    if (kind == BrushKindImage || kind == BrushKindImageFaded) {
      pixels = RandomBlock(w, h, g);
      brush.pixels = pixels.get();
    }
  }
};

class PaintTest : public ::testing::Test {
 protected:
  void SetUp() override {
    BuildPixelTables();
    saved_ = Ws;
    Draw = DrawContext{};
    ResetStrokeState();
    ResetStrokeContext();
    SetGrain(4);
    SetLayer(2);
    savedWet_ = Wet;
    Wet = WetSettings{};
  }
  void TearDown() override {
    SetCurrentBrush(nullptr);
    Ws = saved_;
    Wet = savedWet_;
    SetLayer(2);
  }
  Workspace saved_;
  WetSettings savedWet_;
};

}  // namespace vela::test
