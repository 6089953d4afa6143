#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <string>
#include <tuple>

#include "paint/paint_ops.h"
#include "paint_fixture.h"
#include "pixels/blend.h"
#include "reference.h"
#include "start/random.h"

namespace vela::test {
namespace {

using ModeTableTest = PaintTest;

// Keywords in any case, the label of a number outside the table, the actions' pairs, and the
// modes that need the Spare.
TEST_F(ModeTableTest, KeywordsActionsAndTheSpare) {
  for (auto [word, mode] : {std::pair{"ALPHA", DrawErase}, {"trans", DrawMerge}, {"hue", DrawTint}})
    EXPECT_EQ(DrawModeFromKeyword(word), mode) << word;
  EXPECT_EQ(DrawModeFromKeyword("nothing"), -1);
  EXPECT_STREQ(DrawModeLabel(DrawBehind), " Behind");
  EXPECT_STREQ(DrawModeLabel(10), "GNAC GNAC");
  const std::tuple<const char*, int, int> actions[] = {
      {"DrawModeColor", DrawShade, DrawColor},     {"DrawModeColor", DrawColor, DrawStamp},
      {"DrawModeBehind", DrawBehind, DrawReplace}, {"DrawModeAlpha", DrawErase, DrawPantograph},
      {"DrawModeGrain", DrawGrain, DrawGrain},     {"DrawModeNone", 0, -1}};
  for (auto [action, from, to] : actions)
    EXPECT_EQ(DrawModeAfterAction(action, from), to) << action;
  BlockPtr spare(NewBlock(4, 4));
  Ws.spare = nullptr;
  EXPECT_TRUE(SetDrawMode(10));
  EXPECT_EQ(Ws.drawMode, 10);
  Ws.drawMode = DrawShade;
  EXPECT_FALSE(RunDrawModeAction("DrawModeMerge"));
  EXPECT_FALSE(SetDrawMode(DrawImpress));
  EXPECT_EQ(Ws.drawMode, DrawShade);
  Ws.spare = spare.get();
  EXPECT_TRUE(RunDrawModeAction("DrawModeMerge"));
  EXPECT_EQ(Ws.drawMode, DrawMerge);
}

// The ramps and the hue the modes build from the pen, worked out by hand.
TEST_F(ModeTableTest, RampsAndHueFromThePen) {
  BuildColorizeRamp(PenPixel(200, 100, 50));
  int l0 = ref::Lum(150, 50, 0), l1 = ref::Lum(255, 155, 105);
  EXPECT_EQ(ColorizeRamp[0], 0xFF000000u);
  EXPECT_EQ(ColorizeRamp[l0], PenPixel(150, 50, 0));
  EXPECT_EQ(ColorizeRamp[l0 + 7], PenPixel(157, 57, 7));
  EXPECT_EQ(ColorizeRamp[l1], PenPixel(255, 50 + l1 - l0, l1 - l0));
  EXPECT_EQ(ColorizeRamp[255], 0xFFFFFFFFu);

  BuildTintHue(PenPixel(0, 255, 128));  // between green and cyan
  EXPECT_EQ(TintHue.sextant, 2);
  EXPECT_NEAR(TintHue.fraction, 32896, 1);
  BuildTintHue(PenPixel(90, 90, 90));
  EXPECT_EQ(TintHue.sextant, -1);  // a grey pen tints nothing
  // The n key swaps the pens, and the tint follows the new A pen.
  Ws.drawMode = DrawTint;
  SetAPen(PenPixel(200, 0, 0));
  EXPECT_EQ(std::pair(TintHue.sextant, TintHue.fraction), std::pair(0, 0));
  Draw.BPen = PenPixel(0, 0, 200);
  SwapPens();
  EXPECT_EQ(Draw.APen, PenPixel(0, 0, 200));
  EXPECT_EQ(Draw.BPen, PenPixel(200, 0, 0));
  EXPECT_EQ(std::pair(TintHue.sextant, TintHue.fraction), std::pair(4, 0));

  Pixel c = PenPixel(10, 100, 200);
  BuildReliefRamp(c);
  for (int i : {0, 149, 150, 256}) EXPECT_EQ(ReliefRamp[i], c) << i;
  EXPECT_EQ(ReliefRamp[240], 0xFFFFFFFFu);  // the second ramp overwrites the first's end
  EXPECT_EQ(ReliefRamp[310], 0xFF000000u);
  EXPECT_EQ(ReliefRamp[511], 0xFF000000u);
  // 55 steps from 200 towards 0: -238312 a step in 16.16.
  EXPECT_EQ(Blue(ReliefRamp[300]), (200 * 65536 + 44 * (-200 * 65536 / 55)) >> 16);
}

using SpanTest = PaintTest;

TEST_F(SpanTest, EverySpanMatchesReference) {
  std::mt19937 g(4242);
  for (int layer : {0, 1, 2})
    for (int mode : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, -1})
      for (int aa = 0; aa < 2; ++aa)
        for (int round = 0; round < 12; ++round) {
          SetLayer(layer);
          BlockPtr page = RandomBlock(700 + g() % 40, 6, g);
          BlockPtr spare = RandomBlock(page->width, page->height, g);
          Ws.page = page.get();
          Ws.spare = spare.get();
          Ws.drawMode = mode < 0 ? 0 : mode;
          Draw.antialias = aa;
          RandomPen(g, 3);
          ResetStrokeState();
          ref::World w;
          w.spare = spare.get();
          w.random = g();
          SeedRandom(w.random);
          int opacity = round % 3 == 0 ? 255 : Edge(g, 255);
          SpanOperation op = SelectSpanOperation(mode < 0, opacity);
          bool none = mode == 4 || mode == 5 || mode == 6 || mode == 7 || mode == 8 || mode == 9 ||
                      (!aa && (mode == 12 || mode == 17));
          ASSERT_EQ(op == nullptr, none) << "mode " << mode;
          if (!op) continue;
          BlockPtr expect = CopyOf(page.get());
          for (int line = 0; line < 4; ++line) {
            int length = 1 + g() % 720, x = Around(g, 40), y = static_cast<int>(g() % 8) - 1;
            std::vector<uint8_t> cov(length);
            for (uint8_t& c : cov) c = static_cast<uint8_t>(Edge(g, 255));
            op(x, y, length, cov.data());
            ref::Span(w, mode, mode < 0, opacity, expect.get(), x, y, length, cov.data());
          }
          ASSERT_TRUE(SamePixels(page.get(), expect.get()))
              << "mode " << mode << " aa " << aa << " layer " << layer;
        }
}

// VELA_NO_SIMD=1 turns off every SIMD layer of the paint rows as of the blends; "0" is no switch.
TEST_F(SpanTest, NoSimdMeansTheSameToEveryPixelLoop) {
  const char* was = std::getenv("VELA_NO_SIMD");
  const std::string saved = was ? was : "";
  for (const char* value : {"1", "0"}) {
    setenv("VELA_NO_SIMD", value, 1);
    SelectPaintLayers();
    bool off = value[0] == '1';
    EXPECT_EQ(PaintSimd(), !off) << value;
    EXPECT_EQ(SelectBlendLayer() == PlainBlendLayer(), off || !Sse2BlendLayer()) << value;
  }
  if (was)
    setenv("VELA_NO_SIMD", saved.c_str(), 1);
  else
    unsetenv("VELA_NO_SIMD");
  SelectPaintLayers();
  SelectBlendLayer();
}

using PlotTest = PaintTest;

// The thin line's rules, one pixel at a time, on pixels near the page's edges: the pair shares
// the opacity between its two pixels by the coverage.
TEST_F(PlotTest, PlotsFollowTheirRules) {
  std::mt19937 g(77);
  BlockPtr page(NewBlock(6, 5)), spare(NewBlock(6, 5));
  Ws.page = page.get();
  Ws.spare = spare.get();
  for (int round = 0; round < 3000; ++round) {
    FillRandom(page.get(), g);
    FillRandom(spare.get(), g);
    int mode = std::array{0, 2, 4, 8, 9, 14, 15, 16, 17, 3}[round % 10];
    Ws.drawMode = mode;
    Draw.pantoX = Around(g, 2);
    Draw.pantoY = Around(g, 2);
    PlotOperations ops;
    ASSERT_EQ(SelectPlotOperations(false, &ops), mode != 3);
    if (mode == 3) continue;
    int x = static_cast<int>(g() % 8) - 1, y = static_cast<int>(g() % 7) - 1;
    int coverage = Edge(g, 255), opacity = Edge(g, 255);
    Pixel colour = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
    BlockPtr before = CopyOf(page.get());
    ops.plotPair(x, y, x + 1, y, coverage, opacity, colour);
    auto expect = [&](int px, int k) {
      Pixel d = before->Row(y)[px];
      if (mode == 8 || mode == 9) return ref::Lerp(d, ref::Step(d, mode == 8 ? -10 : 10), k);
      if (mode == 14) return ref::Behind(d, colour, k, false);
      if (mode == 16) return ref::Replace(d, colour, k);
      // Color, Merge and Erase move each channel towards its target, truncating.
      Pixel t = mode == 0 ? colour : mode == 2 ? spare->Row(y)[px] : 0;
      return ref::Each(
          [&](int c) { return ref::Ch(d, c) + (ref::Ch(t, c) - ref::Ch(d, c)) * k / 255; });
    };
    if (y < 0 || y >= 5 || mode == 4 || mode == 17) continue;  // neighbourhoods: run, not read
    if (x + 1 >= 0 && x + 1 < 6) {
      EXPECT_EQ(page->Row(y)[x + 1], expect(x + 1, opacity * coverage / 255)) << mode;
    }
    if (x >= 0 && x < 6) {
      EXPECT_EQ(page->Row(y)[x], expect(x, opacity * (255 - coverage) / 255)) << mode;
    }
  }
}

// A one-pixel erase counts coverage the other way; a Blur plot takes the nine-pixel mean, and
// leaves an edge pixel, which has no neighbourhood.
TEST_F(PlotTest, OnePixelEraseAndBlur) {
  BlockPtr page(NewBlock(3, 3));
  Fill(page.get(), 0xFF909090u);
  page->data[4] = 0xFF000000u;
  Ws.page = page.get();
  Ws.drawMode = DrawBlur;
  PlotOperations ops;
  ASSERT_TRUE(SelectPlotOperations(false, &ops));
  ops.plotPixel(1, 1, 0, 255);
  EXPECT_EQ(page->data[4], 0xFF808080u);  // 8 * 0x90 / 9
  ops.plotPixel(0, 0, 0, 255);
  EXPECT_EQ(page->data[0], 0xFF909090u);
  ASSERT_TRUE(SelectPlotOperations(true, &ops));
  ops.plotPixel(1, 1, 0, 255);
  EXPECT_EQ(page->data[4], 0xFF808080u);
  ops.plotPixel(1, 1, 0, 0);
  EXPECT_EQ(page->data[4], 0u);
}

// Wet passes against a plain statement of both stages, in every layer of the row loops.
TEST_F(PaintTest, WetPassesMatchReference) {
  std::mt19937 g(31);
  for (int tool : {WetAirbrush, WetWaterColor, WetOil, WetGouache})
    for (int mode : {0, 1, 2, 8, 9, 13, 14, 15, 16, 17, -1})
      for (int round = 0; round < 6; ++round) {
        SetLayer(round / 2);
        BlockPtr base = RandomBlock(40, 30, g), spare = RandomBlock(40, 30, g);
        BlockPtr page = RandomBlock(40, 30, g);  // e = 0 must leave the page, whatever it holds
        std::vector<uint8_t> map(1200);
        ref::World w;
        w.base = Ws.undo = base.get();
        w.spare = Ws.spare = spare.get();
        w.map.resize(1200);
        Ws.page = page.get();
        Ws.mask = map.data();
        Ws.drawMode = mode < 0 ? 0 : mode;
        Wet = WetSettings{};
        Wet.on = true;
        Wet.tool = tool;
        Wet.additive = round & 1;
        if (tool == WetAirbrush) BuildAirbrushResponse(1 + Edge(g, 99));
        if (tool == WetWaterColor) BuildWaterColorResponse();
        if (tool == WetOil) BuildOilResponse(1 + Edge(g, 99));
        if (tool == WetGouache) BuildGouacheResponse();
        RandomPen(g, 3);
        BuildReliefRamp(Draw.APen);
        ResetStrokeState();
        TestBrush tb(BrushKindDab, 1 + g() % 45, 1 + g() % 15, g, g() % 3 == 0);
        BlockPtr expect = CopyOf(page.get());
        Pixel c = Draw.APen;
        // Opacity 0 lays nothing; ramps may rise to 255 at their last stamp.
        const int ramps[4][2] = {{0, 0}, {100, 255}, {255, Edge(g, 255)}, {Edge(g, 255), 255}};
        for (int pass = 0; pass < 4; ++pass) {
          int x = static_cast<int>(g() % 50) - 10, y = static_cast<int>(g() % 40) - 10;
          StampAlong(&tb.brush, x, y, x + 2, y, page.get(), false, Draw.APen, mode < 0, pass == 0,
                     ramps[pass][0], ramps[pass][1]);
          if (mode == 13 && c == Draw.APen) {
            c = Stroke.impressColour;  // the mean itself is checked by the stamp tests
            if (tool >= WetOil) BuildReliefRamp(c);
          }
          for (int i = pass == 0 ? 0 : 1; i <= 2; ++i)
            ref::WetStamp(w, tool, Wet.additive, mode, tb.brush, expect.get(), x + i, y, c,
                          RampAt(ramps[pass][0], ramps[pass][1], i));
          ASSERT_TRUE(SamePixels(page.get(), expect.get()))
              << "layer " << round / 2 << " tool " << tool << " mode " << mode << " pass " << pass;
          ASSERT_EQ(map, w.map) << "tool " << tool << " mode " << mode << " pass " << pass;
        }
        ClearWetDirty();
        EXPECT_TRUE(std::all_of(map.begin(), map.end(), [](int v) { return !v; }));
      }
  for (int mode : {3, 4, 5, 6, 7, 11, 12}) EXPECT_FALSE(WetModeApplies(mode, false));
  EXPECT_TRUE(WetModeApplies(DrawSmear, true));
}

}  // namespace
}  // namespace vela::test
