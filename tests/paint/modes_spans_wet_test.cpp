#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "paint/paint_ops.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "paint_fixture.h"
#include "pixels/blend.h"
#include "reference.h"
#include "start/random.h"

namespace vela::test {
namespace {

class ModeTableTest : public PaintTest {};

// Keywords in any case, the label of a number outside the table, the actions' pairs, and the
// modes that need the Spare.
TEST_F(ModeTableTest, KeywordsActionsAndTheSpare) {
  EXPECT_EQ(DrawModeFromKeyword("ALPHA"), DrawErase);
  EXPECT_EQ(DrawModeFromKeyword("trans"), DrawMerge);
  EXPECT_EQ(DrawModeFromKeyword("hue"), DrawTint);
  EXPECT_EQ(DrawModeFromKeyword("nothing"), -1);
  EXPECT_STREQ(DrawModeLabel(DrawBehind), " Behind");
  EXPECT_STREQ(DrawModeLabel(10), "GNAC GNAC");
  EXPECT_EQ(DrawModeAfterAction("DrawModeColor", DrawShade), DrawColor);
  EXPECT_EQ(DrawModeAfterAction("DrawModeColor", DrawColor), DrawStamp);
  EXPECT_EQ(DrawModeAfterAction("DrawModeBehind", DrawBehind), DrawReplace);
  EXPECT_EQ(DrawModeAfterAction("DrawModeAlpha", DrawErase), DrawPantograph);
  EXPECT_EQ(DrawModeAfterAction("DrawModeGrain", DrawGrain), DrawGrain);
  EXPECT_EQ(DrawModeAfterAction("DrawModeNone", 0), -1);
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

TEST_F(ModeTableTest, SwappedPensRetuneTheTint) {
  Ws.drawMode = DrawTint;
  SetAPen(PenPixel(200, 0, 0));
  Draw.BPen = PenPixel(0, 0, 200);
  SwapPens();
  EXPECT_EQ(Draw.APen, PenPixel(0, 0, 200));
  EXPECT_EQ(Draw.BPen, PenPixel(200, 0, 0));
  const auto tuned = TintHue;
  BuildTintHue(PenPixel(0, 0, 200));
  EXPECT_EQ(tuned.sextant, TintHue.sextant);
  EXPECT_EQ(tuned.fraction, TintHue.fraction);
  Ws.drawMode = DrawColor;
}

TEST_F(ModeTableTest, ColorizeRampRunsFromBlackThroughThePenToWhite) {
  Pixel pen = PenPixel(200, 100, 50);
  BuildColorizeRamp(pen);
  int l0 = ref::Lum(150, 50, 0), l1 = ref::Lum(255, 155, 105);
  EXPECT_EQ(ColorizeRamp[0], 0xFF000000u);
  EXPECT_EQ(ColorizeRamp[l0], PenPixel(150, 50, 0));
  EXPECT_EQ(ColorizeRamp[l0 + 7], PenPixel(157, 57, 7));
  EXPECT_EQ(ColorizeRamp[l1], PenPixel(255, 50 + l1 - l0, l1 - l0));
  EXPECT_EQ(ColorizeRamp[255], 0xFFFFFFFFu);
}

TEST_F(ModeTableTest, TintHueSextants) {
  BuildTintHue(PenPixel(255, 0, 0));
  EXPECT_EQ(TintHue.sextant, 0);
  EXPECT_EQ(TintHue.fraction, 0);
  BuildTintHue(PenPixel(0, 255, 128));  // between green and cyan
  EXPECT_EQ(TintHue.sextant, 2);
  EXPECT_NEAR(TintHue.fraction, 32896, 1);
}

TEST_F(ModeTableTest, WetResponseTables) {
  BuildAirbrushResponse(100);
  EXPECT_EQ(WetResponse[255], 255);
  EXPECT_EQ(WetResponse[254], 252);
  BuildAirbrushResponse(50);
  EXPECT_EQ(WetResponse[255], 127);
  BuildWaterColorResponse();
  EXPECT_EQ(WetResponse[169], 127);
  EXPECT_EQ(WetResponse[170], 128);
  EXPECT_EQ(WetResponse[171], 127);
  EXPECT_EQ(WetResponse[255], 43);
  BuildOilResponse(0);  // read as 100
  EXPECT_EQ(WetResponse[25], 255);
  EXPECT_EQ(WetResponse[24], 244);
  BuildGouacheResponse();
  EXPECT_EQ(WetResponse[170], 200);
  EXPECT_EQ(WetResponse[255], 115);
}

TEST_F(ModeTableTest, ReliefRampSegments) {
  Pixel c = PenPixel(10, 100, 200);
  BuildReliefRamp(c);
  EXPECT_EQ(ReliefRamp[0], c);
  EXPECT_EQ(ReliefRamp[149], c);
  EXPECT_EQ(ReliefRamp[150], c);
  EXPECT_EQ(ReliefRamp[240], 0xFFFFFFFFu);  // the second ramp overwrites the first's end
  EXPECT_EQ(ReliefRamp[256], c);
  EXPECT_EQ(ReliefRamp[310], 0xFF000000u);
  EXPECT_EQ(ReliefRamp[511], 0xFF000000u);
  // 55 steps from 200 towards 0: -238312 a step in 16.16.
  EXPECT_EQ(Blue(ReliefRamp[300]), (200 * 65536 + 44 * (-200 * 65536 / 55)) >> 16);
}

class SpanTest : public PaintTest {};

TEST_F(SpanTest, EverySpanMatchesReference) {
  std::mt19937 g(4242);
  for (int layer : {0, 1, 2})  // plain, SSE2, AVX2
    for (int mode : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 11, 12, 13, 14, 15, 16, 17, -1})
      for (int aa = 0; aa < 2; ++aa)
        for (int round = 0; round < 12; ++round) {
          SetPaintSimd(layer > 0);
          SetPaintAvx2(layer > 1);
          BlockPtr page(NewBlock(700 + g() % 40, 6));
          BlockPtr spare(NewBlock(page->width, page->height));
          FillRandom(page.get(), g);
          FillRandom(spare.get(), g);
          Ws.page = page.get();
          Ws.spare = spare.get();
          Ws.drawMode = mode < 0 ? 0 : mode;
          Draw.antialias = aa;
          Draw.APen = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
          Draw.pantoX = static_cast<int>(g() % 9) - 4;
          Draw.pantoY = static_cast<int>(g() % 5) - 2;
          BuildColorizeRamp(Draw.APen);
          BuildTintHue(Draw.APen);
          ResetStrokeState();
          ref::World w;
          w.spare = spare.get();
          w.random = g();
          SeedRandom(w.random);
          int opacity = round % 3 == 0 ? 255 : Edge(g, 255);
          SpanOperation op = SelectSpanOperation(mode < 0, opacity);
          BlockPtr expect = CopyOf(page.get());
          for (int line = 0; line < 4; ++line) {
            int length = 1 + g() % 720, x = static_cast<int>(g() % 80) - 40;
            int y = static_cast<int>(g() % 8) - 1;
            std::vector<uint8_t> cov(length);
            for (uint8_t& c : cov) c = static_cast<uint8_t>(Edge(g, 255));
            if (!op) continue;
            op(x, y, length, cov.data());
            ref::Span(w, mode, mode < 0, opacity, expect.get(), x, y, length, cov.data());
          }
          ASSERT_TRUE(SamePixels(page.get(), expect.get()))
              << "mode " << mode << " aa " << aa << " layer " << layer;
          bool none = mode == 4 || mode == 5 || mode == 6 || mode == 7 || mode == 8 || mode == 9 ||
                      (!aa && (mode == 12 || mode == 17));
          EXPECT_EQ(op == nullptr, none) << "mode " << mode;
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

class PlotTest : public PaintTest {};

// The thin line's rules, one pixel at a time, on pixels near the page's edges.
TEST_F(PlotTest, PlotsFollowTheirRules) {
  std::mt19937 g(77);
  BlockPtr page(NewBlock(6, 5));
  BlockPtr spare(NewBlock(6, 5));
  Ws.page = page.get();
  Ws.spare = spare.get();
  for (int round = 0; round < 3000; ++round) {
    FillRandom(page.get(), g);
    FillRandom(spare.get(), g);
    int mode = std::array{0, 2, 4, 8, 9, 14, 15, 16, 17, 3}[round % 10];
    Ws.drawMode = mode;
    Draw.pantoX = static_cast<int>(g() % 5) - 2;
    Draw.pantoY = static_cast<int>(g() % 5) - 2;
    PlotOperations ops;
    bool have = SelectPlotOperations(false, &ops);
    ASSERT_EQ(have, mode != 3);
    if (!have) continue;
    int x = static_cast<int>(g() % 8) - 1, y = static_cast<int>(g() % 7) - 1;
    int x1 = x + 1, coverage = Edge(g, 255), opacity = Edge(g, 255);
    Pixel colour = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
    BlockPtr before = CopyOf(page.get());
    ops.plotPair(x, y, x1, y, coverage, opacity, colour);
    auto expect = [&](int px, int py, int k) -> Pixel {
      if (px < 0 || py < 0 || px >= 6 || py >= 5) return 0;
      Pixel d = before->Row(py)[px];
      int v[4];
      for (int c = 0; c < 4; ++c) {
        int dc = ref::Ch(d, c), a = ref::Ch(d, 3);
        switch (mode) {
          case 0:
            v[c] = dc + (ref::Ch(colour, c) - dc) * k / 255;
            break;
          case 2:
            v[c] = dc + (ref::Ch(spare->Row(py)[px], c) - dc) * k / 255;
            break;
          case 8:
            v[c] = c == 3 ? dc : dc + ref::T(std::max(dc - 10, 0) - dc, k);
            break;
          case 9:
            v[c] = c == 3 ? dc : dc + ref::T(std::min(dc + 10, a) - dc, k);
            break;
          case 14:
            v[c] = dc + ref::T(ref::Ch(colour, c), ref::T(255 - a, k));
            break;
          case 15:
            v[c] = dc - dc * k / 255;
            break;
          case 16:
            v[c] = c == 3 ? dc : dc + ref::T(ref::T(ref::Ch(colour, c), a) - dc, k);
            break;
          default:
            return page->Row(py)[px];  // checked below
        }
      }
      return ref::Px(v);
    };
    int k1 = opacity * coverage / 255, k0 = opacity * (255 - coverage) / 255;
    if (mode == 4 || mode == 17) continue;  // neighbourhood rules: see below
    if (x1 >= 0 && x1 < 6 && y >= 0 && y < 5) {
      EXPECT_EQ(page->Row(y)[x1], expect(x1, y, k1)) << "mode " << mode;
    }
    if (x >= 0 && x < 6 && y >= 0 && y < 5) {
      EXPECT_EQ(page->Row(y)[x], expect(x, y, k0)) << "mode " << mode;
    }
  }
}

TEST_F(PlotTest, OnePixelEraseCountsCoverageTheOtherWay) {
  BlockPtr page(NewBlock(2, 1));
  page->data[0] = 0xFF808080;
  Ws.page = page.get();
  PlotOperations ops;
  ASSERT_TRUE(SelectPlotOperations(true, &ops));
  ops.plotPixel(0, 0, 0, 255);
  EXPECT_EQ(page->data[0], 0xFF808080u);
  ops.plotPixel(0, 0, 0, 0);
  EXPECT_EQ(page->data[0], 0u);
}

TEST_F(PlotTest, SmoothPlotUsesTheNineNeighbourMean) {
  BlockPtr page(NewBlock(3, 3));
  for (int i = 0; i < 9; ++i) page->data[i] = i == 4 ? 0xFF000000u : 0xFF909090u;
  Ws.page = page.get();
  Ws.drawMode = DrawBlur;
  PlotOperations ops;
  ASSERT_TRUE(SelectPlotOperations(false, &ops));
  ops.plotPixel(1, 1, 0, 255);
  EXPECT_EQ(page->data[4], 0xFF808080u);  // 8 * 0x90 / 9
  ops.plotPixel(0, 0, 0, 255);            // no neighbourhood at the edge
  EXPECT_EQ(page->data[0], 0xFF909090u);
}

class WetTest : public PaintTest {
 protected:
  void SetUp() override {
    PaintTest::SetUp();
    ResetStrokeContext();
    saved_wet_ = Wet;
  }
  void TearDown() override {
    Wet = saved_wet_;
    SetPaintAvx2(true);
    PaintTest::TearDown();
  }
  WetSettings saved_wet_;
};

// Wet passes against a plain statement of both stages, in every layer of the row loops.
TEST_F(WetTest, WetPassesMatchReference) {
  std::mt19937 g(31);
  for (int tool : {WetAirbrush, WetWaterColor, WetOil, WetGouache})
    for (int mode : {0, 1, 2, 8, 9, 13, 14, 15, 16, 17, -1})
      for (int round = 0; round < 6; ++round) {
        bool additive = round & 1;
        int layer = round / 2;
        BlockPtr page(NewBlock(40, 30)), base(NewBlock(40, 30)), spare(NewBlock(40, 30));
        FillRandom(base.get(), g);
        FillRandom(spare.get(), g);
        FillRandom(page.get(), g);  // e = 0 must leave the page, whatever it holds
        std::vector<uint8_t> map(1200), refMap(1200);
        Ws.page = page.get();
        Ws.undo = base.get();
        Ws.spare = spare.get();
        Ws.mask = map.data();
        Ws.drawMode = mode < 0 ? 0 : mode;
        Wet = WetSettings{};
        Wet.on = true;
        Wet.tool = tool;
        Wet.additive = additive;
        SetPaintSimd(layer > 0);
        SetPaintAvx2(layer > 1);
        if (tool == WetAirbrush) BuildAirbrushResponse(1 + Edge(g, 99));
        if (tool == WetWaterColor) BuildWaterColorResponse();
        if (tool == WetOil) BuildOilResponse(1 + Edge(g, 99));
        if (tool == WetGouache) BuildGouacheResponse();
        Draw.APen = PenPixel(Edge(g, 255), Edge(g, 255), Edge(g, 255));
        Draw.pantoX = static_cast<int>(g() % 7) - 3;
        Draw.pantoY = static_cast<int>(g() % 7) - 3;
        BuildReliefRamp(Draw.APen);
        ResetStrokeState();
        TestBrush tb(BrushKindDab, 1 + g() % 45, 1 + g() % 15, g);
        if (g() % 3 == 0) std::fill(tb.mask.begin(), tb.mask.end(), 255);
        BlockPtr expect = CopyOf(page.get());
        Pixel impress = 0;
        bool impressTaken = false;
        // Opacity 0 lays nothing; ramps may rise to 255 at their last stamp.
        const int ramps[4][2] = {{0, 0}, {100, 255}, {255, Edge(g, 255)}, {Edge(g, 255), 255}};
        for (int pass = 0; pass < 4; ++pass) {
          int x0 = static_cast<int>(g() % 50) - 10, y = static_cast<int>(g() % 40) - 10;
          StampAlong(&tb.brush, x0, y, x0 + 2, y, page.get(), false, Draw.APen, mode < 0, pass == 0,
                     ramps[pass][0], ramps[pass][1]);
          int m0 = mode < 0 ? 15 : mode;
          if (m0 == 13 && !impressTaken) {
            impress = Stroke.impressColour;  // the mean itself is checked by the stamp tests
            impressTaken = true;
            if (tool >= WetOil) BuildReliefRamp(impress);
          }
          for (int i = pass == 0 ? 0 : 1; i <= 2; ++i) {
            const int x = x0 + i;
            const int64_t step = (int64_t{ramps[pass][0]} - ramps[pass][1]) * 65536 / 3;
            const int o =
                std::clamp(ramps[pass][1] + static_cast<int>((step * (1 - i)) >> 16), 0, 255);
            bool add = additive && tool == WetAirbrush;
            for (int j = 0; j < tb.brush.height; ++j)
              for (int i = 0; i < tb.brush.width; ++i) {
                int px = x + i, py = y + j, m = tb.mask[j * tb.brush.width + i];
                if (px < 0 || py < 0 || px >= 40 || py >= 30 || !m) continue;
                int wv = refMap[py * 40 + px];
                if (add)
                  wv = std::min(wv + (o >= 255 ? m : ref::T(o, m)), 255);
                else
                  wv += ref::T(255 - wv, o == 255 ? m : ref::T(m, o));
                refMap[py * 40 + px] = static_cast<uint8_t>(wv);
              }
            for (int j = 0; j < tb.brush.height; ++j)
              for (int i = 0; i < tb.brush.width; ++i) {
                int px = x + i, py = y + j;
                if (px < 0 || py < 0 || px >= 40 || py >= 30) continue;
                int wv = refMap[py * 40 + px], e = WetResponse[wv];
                if (!e) continue;
                Pixel b = base->Row(py)[px], c = m0 == 13 ? impress : Draw.APen;
                bool relief = tool >= WetOil && (m0 <= 1 || m0 == 13 || m0 == 14 || m0 == 16);
                if (relief) {
                  auto at = [&](int qx, int qy) {
                    return qx < 0 || qy < 0 || qx >= 40 || qy >= 30 ? 0 : refMap[qy * 40 + qx];
                  };
                  int slope = at(px - 1, py - 1) - 2 * at(px + 1, py + 1) + wv;
                  c = ReliefRamp[std::clamp(slope, -255, 255) + 256];
                }
                int v[4], a = ref::Ch(b, 3);
                Pixel s = spare->Row(py)[px];
                if (m0 == 17) {
                  int sx = px + Draw.pantoX, sy = py + Draw.pantoY;
                  if (sx < 0 || sy < 0 || sx >= 40 || sy >= 30) continue;
                  s = base->Row(sy)[sx];
                }
                int f = ref::T(e, 255 - a);
                for (int ch = 0; ch < 4; ++ch) {
                  int bc = ref::Ch(b, ch), cc = ref::Ch(c, ch);
                  switch (m0) {
                    case 0:
                    case 1:
                    case 13:
                      v[ch] = ch == 3 ? a + ref::T(255 - a, e) : bc + ref::T(cc - bc, e);
                      break;
                    case 2:
                    case 17:
                      v[ch] = (bc * (255 - e) + ref::Ch(s, ch) * e) / 255;
                      break;
                    case 8:
                      v[ch] = ch == 3 ? a : std::max(bc - e, 0);
                      break;
                    case 9:
                      v[ch] = ch == 3 ? a : std::min(bc + e, a);
                      break;
                    case 14:
                      v[ch] = ch == 3 ? a + f : bc + ref::T(cc, f);
                      break;
                    case 15:
                      v[ch] = ref::T(bc, 255 - e);
                      break;
                    case 16:
                      v[ch] = ch == 3 ? a : bc + ref::T(ref::T(cc, a) - bc, e);
                      break;
                  }
                }
                Pixel want = ref::Px(v);
                if (e == 255 && (m0 <= 2 || m0 == 13 || m0 == 17))
                  want = m0 == 2 || m0 == 17 ? s : c;
                if (m0 == 14 && f == 255) want = c;
                if (m0 == 14 && f == 0) want = b;
                if (m0 == 15 && e == 255) want = 0;
                expect->Row(py)[px] = want;
              }
          }
          ASSERT_TRUE(SamePixels(page.get(), expect.get()))
              << "layer " << layer << " tool " << tool << " mode " << mode << " pass " << pass;
          ASSERT_EQ(map, refMap) << "layer " << layer << " tool " << tool << " mode " << mode;
          if (pass == 0) EXPECT_TRUE(std::all_of(map.begin(), map.end(), [](int v) { return !v; }));
        }
        ClearWetDirty();
        EXPECT_TRUE(std::all_of(map.begin(), map.end(), [](int v) { return !v; }));
      }
}

TEST_F(WetTest, PlainModesHaveNoWetForm) {
  for (int mode : {3, 4, 5, 6, 7, 11, 12}) EXPECT_FALSE(WetModeApplies(mode, false));
  EXPECT_TRUE(WetModeApplies(DrawSmear, true));
}

}  // namespace
}  // namespace vela::test
