// Random pages and brushes for the paint tests, pushed towards alpha 0 and 255.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/row_kernels.h"
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

inline Pixel RandomPixel(std::mt19937& g) {
  int a = Edge(g, 255);
  return MakePixel(a, Edge(g, a), Edge(g, a), Edge(g, a));
}

inline void FillRandom(Block* b, std::mt19937& g) {
  for (int i = 0; i < b->width * b->height; ++i) b->data[i] = RandomPixel(g);
}

inline BlockPtr CopyOf(const Block* b) {
  BlockPtr c(NewBlock(b->width, b->height));
  std::copy(b->data, b->data + b->width * b->height, c->data);
  return c;
}

inline bool SamePixels(const Block* a, const Block* b) {
  return std::equal(a->data, a->data + a->width * a->height, b->data);
}

// A Brush with its planes and Blocks.
struct TestBrush {
  Brush brush;
  std::vector<uint8_t> mask, scratch;
  BlockPtr pixels, under;

  TestBrush(int kind, int w, int h, std::mt19937& g) {
    mask.resize(w * h);
    scratch.resize(w * h);
    for (uint8_t& m : mask) m = static_cast<uint8_t>(Edge(g, 255));
    brush.kind = kind;
    brush.width = w;
    brush.height = h;
    brush.mask = mask.data();
    brush.scratch = scratch.data();
    under.reset(NewBlock(w, h));
    brush.under = under.get();
    if (kind == BrushKindImage || kind == BrushKindImageFaded) {
      pixels.reset(NewBlock(w, h));
      FillRandom(pixels.get(), g);
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
    SetGrain(4);
    SetPaintSimd(true);
    SetPaintAvx2(true);
  }
  void TearDown() override {
    Ws = saved_;
    SetPaintSimd(true);
    SetPaintAvx2(true);
  }
  Workspace saved_;
};

}  // namespace vela::test
