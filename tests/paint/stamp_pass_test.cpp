#include <gtest/gtest.h>

#include "paint/paint_ops.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "paint_fixture.h"
#include "reference.h"
#include "start/random.h"

namespace vela::test {
namespace {

constexpr int kModes[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, -1};
constexpr int kKinds[] = {BrushKindPen, BrushKindImage, BrushKindDab, BrushKindImageFaded};

class StampPassTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetStrokeContext();
  }
};

// The opacity of step i of n + 1 along a segment, falling or rising from o0 to o1 in 16.16.
int RampAt(int o0, int o1, int n, int i) {
  int64_t step = (int64_t{o0} - o1) * 65536 / (n + 1);
  return std::clamp(o1 + static_cast<int>((step * (n - 1 - i)) >> 16), 0, 255);
}

constexpr int kRamps[][2] = {{0, 255}, {100, 255}, {254, 255}, {255, 0}, {128, 128}, {1, 1}};

// Every row of the table against the reference: all modes, kinds, antialias, textures, ramps of
// opacity along three chained segments, so that Shift and Impress carry state.
TEST_F(StampPassTest, EveryLoopMatchesReference) {
  std::mt19937 g(12345);
  int cases = 0;
  for (int layer : {0, 1, 2})  // plain, SSE2, AVX2
    for (int mode : kModes)
      for (int kind : kKinds)
        for (int aa = 0; aa < 2; ++aa)
          for (int tex = 0; tex < 3; ++tex)
            for (const auto& ramp : kRamps) {
              SetPaintSimd(layer > 0);
              SetPaintAvx2(layer > 1);
              int o0 = ramp[0], o1 = ramp[1];
              if (o0 == 1) o0 = static_cast<int>(g() % 256), o1 = static_cast<int>(g() % 256);
              bool erase = mode < 0;
              BlockPtr page(NewBlock(37 + g() % 20, 29 + g() % 9));
              BlockPtr spare(NewBlock(page->width, page->height));
              FillRandom(page.get(), g);
              FillRandom(spare.get(), g);
              TestBrush tb(kind, 1 + g() % 19, 1 + g() % 19, g);
              Ws.page = page.get();
              Ws.spare = spare.get();
              Ws.drawMode = erase ? 0 : mode;
              Draw.antialias = aa;
              Draw.dabTexture = static_cast<DabTexture>(tex);
              Draw.power = Edge(g, 255);
              Draw.pantoX = static_cast<int>(g() % 11) - 5;
              Draw.pantoY = static_cast<int>(g() % 11) - 5;
              Draw.APen = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
              BuildColorizeRamp(Draw.APen);
              BuildTintHue(Draw.APen);
              SetGrain(static_cast<int>(g() % 8));
              ResetStrokeState();
              ref::World w;
              w.spare = spare.get();
              w.under.resize(tb.brush.width * tb.brush.height);
              PaintNoise = static_cast<uint16_t>(g());
              w.noise = PaintNoise;
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
                             RampAt(o0, o1, 2, i));
                ASSERT_TRUE(SamePixels(page.get(), expect.get()))
                    << "mode " << mode << " kind " << kind << " aa " << aa << " tex " << tex
                    << " ramp " << o0 << ".." << o1 << " pass " << pass << " layer " << layer;
              }
              ASSERT_EQ(PaintNoise, w.noise) << "mode " << mode << " kind " << kind;
              ++cases;
            }
  EXPECT_EQ(cases, 3 * 18 * 4 * 2 * 3 * 6);
}

// Wide rows cross the loops' chunking and the four-pixel SIMD groups.
TEST_F(StampPassTest, WideBrushMatchesReference) {
  std::mt19937 g(99);
  for (int mode : {0, 2, 4, 5, 15, 14, 16}) {
    BlockPtr page(NewBlock(1203, 7));
    BlockPtr spare(NewBlock(1203, 7));
    FillRandom(page.get(), g);
    FillRandom(spare.get(), g);
    TestBrush tb(BrushKindDab, 1150, 5, g);
    Ws.page = page.get();
    Ws.spare = spare.get();
    Ws.drawMode = mode;
    ref::World w;
    w.spare = spare.get();
    BlockPtr expect = CopyOf(page.get());
    SelectStampOperation(tb.brush, false)(tb.brush, page.get(), -3, 1, Draw.APen, false, 200);
    ref::Stamp(w, mode, tb.brush, expect.get(), -3, 1, Draw.APen, false, 200);
    EXPECT_TRUE(SamePixels(page.get(), expect.get())) << "mode " << mode;
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
  Ws.drawMode = DrawColor;
  SelectStampOperation(b, true)(b, page.get(), 0, 0, 0, true, 255);
  EXPECT_EQ(page->data[0], 0u);
  EXPECT_EQ(page->data[1],
            MakePixel(ref::T(255, 6), ref::T(0x80, 6), ref::T(0x40, 6), ref::T(0x20, 6)));
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
  for (int mode : {DrawBehind, DrawErase})
    for (int kind : {BrushKindDab, BrushKindPen}) {
      BlockPtr a(NewBlock(16, 16));
      FillRandom(a.get(), g);
      BlockPtr b = CopyOf(a.get());
      TestBrush tb(kind, 16, 16, g);
      Ws.drawMode = mode;
      Draw.antialias = 1;
      SelectStampOperation(tb.brush, false)(tb.brush, a.get(), 0, 0, Draw.APen, false, 254);
      SelectStampOperation(tb.brush, false)(tb.brush, b.get(), 0, 0, Draw.APen, false, 255);
      for (int i = 0; i < 256; ++i)
        for (int c = 0; c < 4; ++c)
          ASSERT_LE(std::abs(ref::Ch(a->data[i], c) - ref::Ch(b->data[i], c)), 1)
              << "mode " << mode << " kind " << kind << " mask " << int(tb.mask[i]);
    }
}

// An offset shorter than the brush reads the page as it stood before the pass: the pass copies,
// dry as wet.
TEST_F(StampPassTest, PantographCopiesThePageAsItWasBeforeThePass) {
  std::mt19937 g(11);
  BlockPtr before(NewBlock(30, 20));
  FillRandom(before.get(), g);
  TestBrush tb(BrushKindDab, 9, 7, g);
  std::fill(tb.mask.begin(), tb.mask.end(), 255);
  std::vector<uint8_t> map(30 * 20);
  const WetSettings wet = Wet;
  Ws.undo = before.get();
  Ws.mask = map.data();
  Ws.drawMode = DrawPantograph;
  BuildAirbrushResponse(100);
  for (auto [dx, dy] : {std::pair{-2, 0}, {3, 0}, {0, -1}, {-1, 2}})
    for (bool wetOn : {false, true}) {
      BlockPtr page = CopyOf(before.get());
      Ws.page = page.get();
      Draw.pantoX = dx;
      Draw.pantoY = dy;
      Wet.on = wetOn;
      StampOnce(&tb.brush, page.get(), 10, 6, 0, 0, 255);
      ClearWetDirty();
      for (int y = 6; y < 13; ++y)
        for (int x = 10; x < 19; ++x)
          ASSERT_EQ(page->Row(y)[x], before->Row(y + dy)[x + dx])
              << "offset " << dx << "," << dy << " wet " << wetOn << " at " << x << "," << y;
    }
  Wet = wet;
}

TEST_F(StampPassTest, SmoothAndBlurLeaveThePageBorder) {
  std::mt19937 g(7);
  for (int mode : {DrawSmooth, DrawBlur}) {
    BlockPtr page(NewBlock(12, 9));
    FillRandom(page.get(), g);
    BlockPtr before = CopyOf(page.get());
    TestBrush tb(BrushKindPen, 14, 11, g);
    std::fill(tb.mask.begin(), tb.mask.end(), 255);
    Ws.drawMode = mode;
    SelectStampOperation(tb.brush, false)(tb.brush, page.get(), -1, -1, 0, false, 0);
    bool inner = false;
    for (int y = 0; y < 9; ++y)
      for (int x = 0; x < 12; ++x) {
        bool ring = x == 0 || y == 0 || x == 11 || y == 8;
        if (ring) EXPECT_EQ(page->Row(y)[x], before->Row(y)[x]);
        if (!ring && page->Row(y)[x] != before->Row(y)[x]) inner = true;
      }
    EXPECT_TRUE(inner);
  }
}

TEST_F(StampPassTest, ImpressKeepsOneColourForTheStroke) {
  BlockPtr page(NewBlock(20, 4));
  BlockPtr spare(NewBlock(20, 4));
  for (int x = 0; x < 20; ++x)
    for (int y = 0; y < 4; ++y) spare->Row(y)[x] = x < 10 ? 0xFFFF0000u : 0x80000080u;
  Ws.page = page.get();
  Ws.spare = spare.get();
  Ws.drawMode = DrawImpress;
  uint8_t mask[4] = {255, 255, 255, 255};
  Brush b;
  b.kind = BrushKindDab;
  b.width = 2;
  b.height = 2;
  b.mask = mask;
  StampOperation op = SelectStampOperation(b, false);
  op(b, page.get(), 0, 0, 0, false, 255);
  op(b, page.get(), 14, 0, 0, false, 255);
  EXPECT_EQ(page->Row(0)[0], 0xFFFF0000u);
  EXPECT_EQ(page->Row(0)[14], 0xFFFF0000u);
  ResetStrokeState();
  op(b, page.get(), 14, 0, 0, false, 255);
  EXPECT_EQ(page->Row(0)[14], 0xFF0000FFu);  // the mean made opaque
}

TEST_F(StampPassTest, GrainZeroGivesAllOrNothing) {
  std::mt19937 g(5);
  BlockPtr page(NewBlock(16, 16));
  FillRandom(page.get(), g);
  TestBrush tb(BrushKindPen, 16, 16, g);
  std::fill(tb.mask.begin(), tb.mask.end(), 255);
  SetGrain(0);
  Ws.drawMode = DrawGrain;
  SelectStampOperation(tb.brush, false)(tb.brush, page.get(), 0, 0, 0, false, 255);
  for (int i = 0; i < 256; ++i) {
    Pixel p = page->data[i];
    int a = Alpha(p);
    EXPECT_TRUE(a == 0 || a == 255);
    for (int c : {Red(p), Green(p), Blue(p)}) EXPECT_TRUE(c == 0 || c == a) << std::hex << p;
  }
}

// Passes that leave the page: Light on a transparent pixel (the channels are capped at alpha),
// Tint with a grey pen, and any mode with a brush that has no mask plane.
TEST_F(StampPassTest, PassesThatPaintNothing) {
  std::mt19937 g(3);
  BlockPtr page(NewBlock(8, 8));
  FillRandom(page.get(), g);
  page->data[0] = 0;
  page->data[1] = 0x40202020;
  BlockPtr before = CopyOf(page.get());
  TestBrush tb(BrushKindDab, 8, 8, g);
  std::fill(tb.mask.begin(), tb.mask.begin() + 2, 255);
  Ws.drawMode = DrawLight;
  for (int i = 0; i < 40; ++i)
    SelectStampOperation(tb.brush, false)(tb.brush, page.get(), 0, 0, 0, false, 9);
  EXPECT_EQ(page->data[0], 0u);
  EXPECT_EQ(page->data[1], 0x40404040u);  // capped at alpha, opacity of no account
  std::copy(before->data, before->data + 64, page->data);
  Ws.drawMode = DrawTint;
  BuildTintHue(PenPixel(90, 90, 90));
  EXPECT_EQ(TintHue.sextant, -1);
  SelectStampOperation(tb.brush, false)(tb.brush, page.get(), 0, 0, 0, false, 255);
  EXPECT_TRUE(SamePixels(page.get(), before.get()));
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
