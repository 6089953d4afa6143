#include <gtest/gtest.h>

#include "paint/paint_ops.h"
#include "paint_fixture.h"
#include "reference.h"
#include "start/random.h"

namespace vela::test {
namespace {

constexpr int kModes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, -1};
constexpr int kKinds[] = {BrushKindPen, BrushKindImage, BrushKindDab, BrushKindImageFaded};
constexpr int kRamps[][2] = {{0, 255}, {100, 255}, {254, 255}, {255, 0}, {128, 128}, {1, 1}};

using StampPassTest = PaintTest;

// Every row of the table against the reference: all modes, kinds, antialias, textures, ramps of
// opacity along three chained segments, so that Shift and Impress carry state. Now and then a wide
// brush crosses the loops' chunking and the SIMD groups.
TEST_F(StampPassTest, EveryLoopMatchesReference) {
  std::mt19937 g(12345);
  for (int layer : {0, 1, 2})
    for (int mode : kModes)
      for (int kind : kKinds)
        for (int aa = 0; aa < 2; ++aa)
          for (int tex = 0; tex < 3; ++tex)
            for (const auto& ramp : kRamps) {
              SetLayer(layer);
              int o0 = ramp[0], o1 = ramp[1];
              if (o0 == 1) o0 = static_cast<int>(g() % 256), o1 = static_cast<int>(g() % 256);
              bool erase = mode < 0;
              bool wide = g() % 16 == 0;
              BlockPtr page =
                  wide ? RandomBlock(1203, 7, g) : RandomBlock(37 + g() % 20, 29 + g() % 9, g);
              BlockPtr spare = RandomBlock(page->width, page->height, g);
              TestBrush tb(kind, wide ? 1150 : 1 + g() % 19, wide ? 5 : 1 + g() % 19, g);
              Ws.page = page.get();
              Ws.spare = spare.get();
              Ws.drawMode = erase ? 0 : mode;
              Draw.antialias = aa;
              Draw.dabTexture = static_cast<DabTexture>(tex);
              Draw.power = Edge(g, 255);
              RandomPen(g, 5);
              SetGrain(static_cast<int>(g() % 8));
              ResetStrokeState();
              ref::World w;
              w.spare = spare.get();
              w.under.resize(tb.brush.width * tb.brush.height);
              w.noise = PaintNoise = static_cast<uint16_t>(g());
              w.random = g();
              SeedRandom(w.random);
              BlockPtr expect = CopyOf(page.get());
              for (int pass = 0; pass < 3; ++pass) {
                int x = static_cast<int>(g() % (page->width + tb.brush.width)) - tb.brush.width;
                int y = static_cast<int>(g() % (page->height + tb.brush.height)) - tb.brush.height;
                if (g() % 3 == 0) x = y = 2;  // fully inside now and then
                Pixel colour = erase ? Draw.BPen : Draw.APen;
                StampAlong(&tb.brush, x, y, x + 2, y, page.get(), false, colour, erase, pass == 0,
                           o0, o1);
                for (int i = pass == 0 ? 0 : 1; i <= 2; ++i)
                  ref::Stamp(w, mode, tb.brush, expect.get(), x + i, y, colour, erase,
                             RampAt(o0, o1, i));
                ASSERT_TRUE(SamePixels(page.get(), expect.get()))
                    << "mode " << mode << " kind " << kind << " aa " << aa << " tex " << tex
                    << " ramp " << o0 << ".." << o1 << " pass " << pass << " layer " << layer;
              }
              ASSERT_EQ(PaintNoise, w.noise) << "mode " << mode << " kind " << kind;
            }
}

// Erase clears from coverage 250 on; below it keeps (255 - k)/255. A hard Pen disc erases by the
// pass's opacity, as its spans do.
TEST_F(StampPassTest, EraseThresholdAt250AndOpacityOnThePen) {
  BlockPtr page(NewBlock(2, 1));
  page->data[0] = page->data[1] = 0xFF804020;
  uint8_t mask[2] = {250, 249};
  Brush b;
  b.kind = BrushKindDab;
  b.width = 2;
  b.height = 1;
  b.mask = mask;
  SelectStampOperation(b, true)(b, page.get(), 0, 0, 0, true, 255);
  EXPECT_EQ(page->data[0], 0u);
  EXPECT_EQ(page->data[1], 0x06040201u);  // (c·6 + 254)/255
  b.kind = BrushKindPen;
  Draw.antialias = 0;
  page->data[0] = page->data[1] = 0xFF808080;
  SelectStampOperation(b, true)(b, page.get(), 0, 0, 0, true, 128);
  EXPECT_EQ(page->data[0], 0x7F404040u);  // (c·127 + 254)/255 of each channel
  EXPECT_EQ(page->data[1], 0x7F404040u);
}

// Opacity 254 and 255 give the same picture but for one step of rounding: Behind keeps a soft
// edge soft at 255, and a Pen erases as any brush does.
TEST_F(StampPassTest, OpacityChangesThePictureSmoothly) {
  std::mt19937 g(8);
  Draw.antialias = 1;
  for (int mode : {DrawBehind, DrawErase})
    for (int kind : {BrushKindDab, BrushKindPen}) {
      BlockPtr a = RandomBlock(16, 16, g), b = CopyOf(a.get());
      TestBrush tb(kind, 16, 16, g);
      Ws.drawMode = mode;
      SelectStampOperation(tb.brush, false)(tb.brush, a.get(), 0, 0, Draw.APen, false, 254);
      SelectStampOperation(tb.brush, false)(tb.brush, b.get(), 0, 0, Draw.APen, false, 255);
      for (int i = 0; i < 256; ++i)
        for (int c = 0; c < 4; ++c)
          ASSERT_LE(std::abs(ref::Ch(a->data[i], c) - ref::Ch(b->data[i], c)), 1)
              << "mode " << mode << " kind " << kind << " mask " << int(tb.mask[i]);
    }
}

// Impress keeps the colour of the stroke's first stamp, the Spare's mean made opaque.
TEST_F(StampPassTest, ImpressKeepsOneColourForTheStroke) {
  BlockPtr page(NewBlock(20, 4)), spare(NewBlock(20, 4));
  for (int x = 0; x < 20; ++x)
    for (int y = 0; y < 4; ++y) spare->Row(y)[x] = x < 10 ? 0xFFFF0000u : 0x80000080u;
  Ws.page = page.get();
  Ws.spare = spare.get();
  Ws.drawMode = DrawImpress;
  std::mt19937 g(1);
  TestBrush tb(BrushKindDab, 2, 2, g, true);
  StampOperation op = SelectStampOperation(tb.brush, false);
  op(tb.brush, page.get(), 0, 0, 0, false, 255);
  op(tb.brush, page.get(), 14, 0, 0, false, 255);
  EXPECT_EQ(page->Row(0)[0], 0xFFFF0000u);
  EXPECT_EQ(page->Row(0)[14], 0xFFFF0000u);
  ResetStrokeState();
  op(tb.brush, page.get(), 14, 0, 0, false, 255);
  EXPECT_EQ(page->Row(0)[14], 0xFF0000FFu);
}

// Light caps the channels at alpha, whatever the opacity; a brush without a mask plane paints
// nothing in any mode.
TEST_F(StampPassTest, LightCapsAtAlphaAndABareBrushPaintsNothing) {
  std::mt19937 g(3);
  BlockPtr page = RandomBlock(8, 8, g);
  page->data[0] = 0;
  page->data[1] = 0x40202020;
  TestBrush tb(BrushKindDab, 8, 8, g);
  std::fill(tb.mask.begin(), tb.mask.begin() + 2, 255);
  Ws.drawMode = DrawLight;
  for (int i = 0; i < 40; ++i)
    SelectStampOperation(tb.brush, false)(tb.brush, page.get(), 0, 0, 0, false, 9);
  EXPECT_EQ(page->data[0], 0u);
  EXPECT_EQ(page->data[1], 0x40404040u);
  BlockPtr before = CopyOf(page.get());
  Brush bare;
  bare.width = bare.height = 2;
  for (int mode : kModes) {
    Ws.drawMode = mode < 0 ? 0 : mode;
    EXPECT_EQ(
        SelectStampOperation(bare, mode < 0)(bare, page.get(), 0, 0, 0xFFFFFFFF, mode < 0, 255),
        -1);
  }
  EXPECT_TRUE(SamePixels(page.get(), before.get()));
}

}  // namespace
}  // namespace vela::test
