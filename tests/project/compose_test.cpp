// Composition of the page with the layers in front and behind, the light table and backgrounds.
#include <gtest/gtest.h>

#include "host/host.h"
#include "pixels/blend.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layer_ops.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "project_fixture.h"
#include "start/input.h"
#include "start/workspace.h"

namespace vela {
namespace {

constexpr uint32_t kMerges = kDisplayFront | kDisplayBack | kDisplayBoth;

// A smaller page than the model's tests use: the random stacks read every pixel.
class Compose : public Project {
 protected:
  void SetUp() override {
    Project::SetUp();
    ReleaseProject();
    ReleasePage();
    Ws.displayFlags = 0x21;
    ASSERT_EQ(OpenGraphicsBlocks(), 0);
    ASSERT_TRUE(MakePage(40, 24));
    ASSERT_TRUE(StartProject());
  }
  static void Fill(Pixel p) { Paint(0, 0, Ws.page->width - 1, Ws.page->height - 1, p); }
};

// Three layers worked by hand: back red, current blue at opacity 128, front green at alpha 128
// on its left half only.
TEST_F(Compose, ThreeWayBlendByHand) {
  Fill(0xFFFF0000);                          // layer 0 will end up at the back
  NewLayer("current", true, true, 0, true);  // in front of it
  Fill(0xFF0000FF);
  LayerAt(Timeline.current)->opacity = 128;
  NewLayer("front", true, true, 0, true);
  FillRect(Ws.page, 0, 0, 19, 23, 0x80008000);
  MarkChanged(0, 0, 19, 23);
  ASSERT_EQ(SelectLayer(1, 0, true), 1);
  EXPECT_EQ(Ws.opacity, 128);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayBoth);
  // Under the front: 0x80008000 + Mul(P, Mul(127, 128) = 64), then + Mul(B, 255 - 192).
  EXPECT_EQ(MergedPixel(5, 5), 0xFF3F8040u);
  // Beside it: P scaled by 128, then + Mul(B, 127).
  EXPECT_EQ(MergedPixel(30, 5), 0xFF7F0080u);
  // At opacity 0 the current layer drops out, front and back still show.
  LayerAt(1)->opacity = 0;
  SelectLayer(1, 0, true);
  EXPECT_EQ(MergedPixel(30, 5), 0xFFFF0000u);
  // A hidden layer in front is no layer at all: no front merge is needed.
  LayerAt(0)->flags |= kLayerHidden;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayBack);
  // Showing the current layer alone needs no merge.
  Timeline.showMode = 0;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, 0u);
  Timeline.showMode = 1;
}

TEST_F(Compose, LightTableHalvesPerStep) {
  ASSERT_EQ(MakeAnim(4), 1);
  for (int k = 0; k < 5; ++k) {
    GotoPosition(k, 1);
    PutPixel(Ws.page, k, 0, 0xFFFFFFFF);
    MarkChanged(k, 0, k, 0);
  }
  Layer* l = CurrentLayer();
  l->lightBefore = -2;
  l->lightAfter = 1;
  Timeline.lightSide = 0;
  Timeline.showMode = 0;  // the light table still needs its merge
  GotoPosition(2, 0);
  ASSERT_NE(Ws.displayFlags & kDisplayBack, 0u);
  EXPECT_EQ(GetPixel(Ws.backMerge, 0, 0), 0x3F3F3F3Fu);  // two steps: 255 >> 2
  EXPECT_EQ(GetPixel(Ws.backMerge, 1, 0), 0x7F7F7F7Fu);
  EXPECT_EQ(GetPixel(Ws.backMerge, 2, 0), 0u) << "the current image is not in its own table";
  EXPECT_EQ(GetPixel(Ws.backMerge, 3, 0), 0x7F7F7F7Fu);
  EXPECT_EQ(GetPixel(Ws.backMerge, 4, 0), 0u);
  // In front instead.
  Timeline.lightSide = 1;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayFront);
  EXPECT_EQ(GetPixel(Ws.frontMerge, 3, 0), 0x7F7F7F7Fu);
  Timeline.lightSide = 0;
  Timeline.showMode = 1;
}

TEST_F(Compose, BackgroundsUnderWhatIsLeftOpen) {
  Fill(0x80800000);  // red at half alpha
  Ws.background = 0xFF0000FF;
  Ws.secondBackground = 0xFF00FF00;
  SetBackgroundMode(1);
  RebuildDisplay(false);
  // 0x80800000 + Mul(blue, 127)
  EXPECT_EQ(MergedPixel(0, 0), 0xFF80007Fu);
  SetBackgroundMode(2);
  Ws.pageX = Ws.pageY = 0;
  EXPECT_EQ(MergedPixel(0, 0), 0xFF80007Fu) << "cell 0,0 takes the first colour";
  EXPECT_EQ(MergedPixel(16, 0), 0xFF807F00u) << "the next cell across the second";
  EXPECT_EQ(MergedPixel(16, 16), 0xFF80007Fu);
  Ws.pageX = 16;  // the cells stay with the screen, not the page
  EXPECT_EQ(MergedPixel(0, 0), 0xFF807F00u);
  SetBackgroundMode(0);
  EXPECT_EQ(MergedPixel(0, 0), 0x80800000u);
}

// The three layers of the hand-worked blend.
void ThreeLayers() {
  FillRect(Ws.page, 0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1, 0xFFFF0000);
  MarkChanged(0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1);
  NewLayer("current", true, true, 0, true);
  FillRect(Ws.page, 0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1, 0xFF0000FF);
  MarkChanged(0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1);
  LayerAt(Timeline.current)->opacity = 128;
  NewLayer("front", true, true, 0, true);
  FillRect(Ws.page, 0, 0, 19, 23, 0x80008000);
  MarkChanged(0, 0, 19, 23);
  SelectLayer(1, 0, true);
}

ScreenRect g_cover;
ScreenRects OneCover() {
  return {&g_cover, 1};
}

// On a 120 by 90 screen: where the page goes, what a Window over it keeps, and monitor gamma.
TEST_F(Compose, TheScreenShowsThePageAroundWindows) {
  HostConfig hc;
  hc.headless = true;
  hc.width = 120;
  hc.height = 90;
  std::string err;
  ASSERT_TRUE(HostOpen(hc, &err)) << err;
  RecenterPage();
  EXPECT_EQ(Ws.pageX, 40);  // (120 - 40) / 2
  EXPECT_EQ(Ws.pageY, 33);  // (90 - 24) / 2
  SetPageArea(30, 0, 0, 0);
  EXPECT_TRUE(RecenterPage());
  EXPECT_EQ(Ws.pageX, 55) << "centred in the 90 pixels right of the bar";
  EXPECT_FALSE(RecenterPage());
  SetPageArea(0, 0, 0, 0);
  // A page wider than the room less 40 stays where it is, with 20 pixels kept in view.
  const int width = Ws.pageWidth;
  Ws.pageWidth = 200;
  Ws.pageX = 150;
  RecenterPage();
  EXPECT_EQ(Ws.pageX, 100);
  Ws.pageX = -500;
  RecenterPage();
  EXPECT_EQ(Ws.pageX, -180);
  Ws.pageWidth = width;
  RecenterPage();

  ThreeLayers();
  HostScreen s = HostFramebuffer();
  auto screen = [&](int x, int y) { return s.pixels[(Ws.pageY + y) * s.stride + Ws.pageX + x]; };
  for (int y = 0; y < s.height; ++y)
    for (int x = 0; x < s.width; ++x) s.pixels[y * s.stride + x] = 0x12345678;
  g_cover = {Ws.pageX + 10, Ws.pageY + 5, 8, 6};
  PageCoversHook = OneCover;
  ShowPage(0, 0, 40, 24);
  PageCoversHook = nullptr;
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 40; ++x) {
      const bool covered = x >= 10 && x < 18 && y >= 5 && y < 11;
      ASSERT_EQ(screen(x, y), covered ? 0x12345678u : MergedPixel(x, y)) << x << "," << y;
    }
  // Gamma: colour inverted, alpha as it is.
  uint8_t tables[4][256];
  for (int i = 0; i < 256; ++i)
    tables[0][i] = tables[1][i] = tables[2][i] = 255 - i, tables[3][i] = i;
  SetGammaTables(tables);
  Ws.displayFlags |= kDisplayGamma;
  ShowPage(0, 0, 40, 24);
  EXPECT_EQ(screen(5, 5), 0xFFC07FBFu);  // 0xFF3F8040 through the tables
  Ws.displayFlags &= ~kDisplayGamma;
  SetGammaTables(nullptr);
  HostClose();
}

// Merge Display: a new front layer of what the screen shows; undo takes it away again.
TEST_F(Compose, MergeDisplayMakesTheComposedLayer) {
  ThreeLayers();
  ASSERT_EQ(MergeDisplay(), 1);
  ASSERT_EQ(LayerCount(), 4);
  EXPECT_STREQ(LayerAt(0)->name, "Display");
  EXPECT_EQ(Timeline.current, 0);
  EXPECT_STREQ(Undo.label, "Undo Display");
  EXPECT_EQ(At(5, 5), 0xFF3F8040u);
  EXPECT_EQ(At(30, 5), 0xFF7F0080u);
  UndoStep();
  EXPECT_EQ(LayerCount(), 3);
  EXPECT_STREQ(LayerAt(0)->name, "front");
}

// Random stacks against a pixel-by-pixel reading of the rules.
Pixel Reference(int x, int y) {
  auto over = [](Pixel lower, const Layer& l, int pos, int px, int py) {
    BlockPtr b(NewBlock(Ws.pageWidth, Ws.pageHeight));
    LoadLayerImage(b.get(), &l, pos);
    return ScaledOverPixel(lower, GetPixel(b.get(), px, py), l.opacity);
  };
  const int cur = Timeline.current, pos = Timeline.position;
  Pixel f = 0, b = 0;
  for (int i = LayerCount() - 1; i > cur; --i)
    if (!(LayerAt(i)->flags & kLayerHidden)) b = over(b, *LayerAt(i), pos, x, y);
  for (int i = cur - 1; i >= 0; --i)
    if (!(LayerAt(i)->flags & kLayerHidden)) f = over(f, *LayerAt(i), pos, x, y);
  const Pixel p = GetPixel(Ws.page, x, y);
  const int o = Ws.opacity, a = f >> 24;
  Pixel r;
  if (a == 255) return f;
  auto add = [](Pixel u, Pixel v) {
    Pixel out = 0;
    for (int s = 0; s < 32; s += 8)
      out |= std::min<Pixel>(((u >> s) & 255) + ((v >> s) & 255), 255) << s;
    return out;
  };
  if (a == 0)
    r = (p >> 24) ? ScalePixel(p, o) : 0;
  else
    r = add(f, ScalePixel(p, Mul(255 - a, o)));
  if ((r >> 24) == 0) return b;
  if ((r >> 24) < 255) r = add(r, ScalePixel(b, 255 - (r >> 24)));
  return r;
}

TEST_F(Compose, RandomStacksMatchTheReference) {
  uint32_t seed = 7;
  auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
  auto randomPixel = [&] {
    const int a = next() >> 24 & 255;
    const int pick = next() >> 28;
    if (pick < 3) return Pixel{0};
    const int alpha = pick < 6 ? 255 : a;
    return MakePixel(alpha, (next() >> 24) * alpha / 255, (next() >> 24) * alpha / 255,
                     (next() >> 24) * alpha / 255);
  };
  for (int round = 0; round < 4; ++round) {
    ClearProject();
    const int layers = 2 + round * 2;
    for (int i = 1; i < layers; ++i) NewLayer("L", false, true, 0, true);
    for (int i = 0; i < layers; ++i) {
      SelectLayer(i, 0, true);
      for (int y = 0; y < Ws.pageHeight; y += 3)
        for (int x = 0; x < Ws.pageWidth; x += 5) {
          FillRect(Ws.page, x, y, x + 4, y + 2, randomPixel());
        }
      MarkChanged(0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1);
      LayerAt(i)->opacity = (next() >> 28) < 8 ? 255 : next() >> 24;
      if ((next() >> 28) < 3) LayerAt(i)->flags |= kLayerHidden;
    }
    const int current = static_cast<int>(next() % layers);
    SelectLayer(current, 0, true);
    for (int y = 0; y < Ws.pageHeight; ++y)
      for (int x = 0; x < Ws.pageWidth; ++x)
        ASSERT_EQ(MergedPixel(x, y), Reference(x, y)) << x << "," << y << " round " << round;
  }
}

}  // namespace
}  // namespace vela
