// Composition of the page with the layers in front and behind, the light table and backgrounds.
#include "project/compose.h"

#include "host/host.h"
#include "pixels/blend.h"
#include "project/layer_ops.h"
#include "project_fixture.h"

namespace vela {
namespace {

constexpr uint32_t kMerges = kDisplayFront | kDisplayBack | kDisplayBoth;

// A smaller page than the model's tests use: the random stacks read every pixel.
class Compose : public Project {
 protected:
  void SetUp() override {
    Project::SetUp();
    Ws.displayFlags = 0x21;
    Restart(40, 24);
  }
  static void Fill(Pixel p) { Paint(0, 0, Ws.page->width - 1, Ws.page->height - 1, p); }
  // Back red, current blue at opacity 128, front green at alpha 128 on its left half only.
  static void ThreeLayers() {
    Fill(kRed);                                // layer 0 will end up at the back
    NewLayer("current", true, true, 0, true);  // in front of it
    Fill(kBlue);
    LayerAt(Timeline.current)->opacity = 128;
    NewLayer("front", true, true, 0, true);
    Paint(0, 0, 19, 23, 0x80008000);
    ASSERT_EQ(SelectLayer(1, 0, true), 1);
  }
};

TEST_F(Compose, ThreeWayBlendByHandAndMergeDisplay) {
  ThreeLayers();
  EXPECT_EQ(Ws.opacity, 128);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayBoth);
  // Under the front: 0x80008000 + Mul(P, Mul(127, 128) = 64), then + Mul(B, 255 - 192).
  EXPECT_EQ(MergedPixel(5, 5), 0xFF3F8040u);
  // Beside it: P scaled by 128, then + Mul(B, 127).
  EXPECT_EQ(MergedPixel(30, 5), 0xFF7F0080u);
  // Merge Display: a new front layer of what the screen shows; undo takes it away again.
  ASSERT_EQ(MergeDisplay(), 1);
  ASSERT_EQ(LayerCount(), 4);
  EXPECT_STREQ(LayerAt(0)->name, "Display");
  EXPECT_EQ(Timeline.current, 0);
  EXPECT_STREQ(Undo.label, "Undo Display");
  EXPECT_EQ(std::pair(At(5, 5), At(30, 5)), std::pair(0xFF3F8040u, 0xFF7F0080u));
  UndoStep();
  EXPECT_EQ(LayerCount(), 3);
  EXPECT_STREQ(LayerAt(0)->name, "front");
  ASSERT_EQ(Timeline.current, 1);
  // At opacity 0 the current layer drops out, front and back still show.
  LayerAt(1)->opacity = 0;
  SelectLayer(1, 0, true);
  EXPECT_EQ(MergedPixel(30, 5), kRed);
  // A hidden layer in front is no layer at all: no front merge is needed.
  LayerAt(0)->flags |= kLayerHidden;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayBack);
  // Showing the current layer alone needs no merge.
  Timeline.showMode = 0;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, 0u);
}

TEST_F(Compose, LightTableHalvesPerStep) {
  ASSERT_EQ(MakeAnim(4), 1);
  for (int k = 0; k < 5; ++k) {
    GotoPosition(k, 1);
    Paint(k, 0, k, 0, 0xFFFFFFFF);
  }
  CurrentLayer()->lightBefore = -2;
  CurrentLayer()->lightAfter = 1;
  Timeline.lightSide = 0;
  Timeline.showMode = 0;  // the light table still needs its merge
  GotoPosition(2, 0);
  ASSERT_NE(Ws.displayFlags & kDisplayBack, 0u);
  // Two steps away 255 >> 2, one step 255 >> 1; the current image is not in its own table.
  const Pixel expected[] = {0x3F3F3F3F, 0x7F7F7F7F, 0, 0x7F7F7F7F, 0};
  for (int x = 0; x < 5; ++x) EXPECT_EQ(GetPixel(Ws.backMerge, x, 0), expected[x]) << x;
  // In front instead.
  Timeline.lightSide = 1;
  RebuildDisplay(false);
  EXPECT_EQ(Ws.displayFlags & kMerges, kDisplayFront);
  EXPECT_EQ(GetPixel(Ws.frontMerge, 3, 0), 0x7F7F7F7Fu);
}

TEST_F(Compose, BackgroundsUnderWhatIsLeftOpen) {
  Fill(0x80800000);  // red at half alpha
  Ws.background = kBlue;
  Ws.secondBackground = kGreen;
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

ScreenRect g_cover;
ScreenRects OneCover() {
  return {&g_cover, 1};
}

// On a 120 by 90 screen: where the page goes, what a Window over it keeps, and monitor gamma.
TEST_F(Compose, TheScreenShowsThePageAroundWindows) {
  std::string err;
  ASSERT_TRUE(HostOpen({true, 120, 90}, &err)) << err;
  RecenterPage();
  EXPECT_EQ(std::pair(Ws.pageX, Ws.pageY), std::pair(40, 33));  // (120 - 40) / 2, (90 - 24) / 2
  SetPageArea(30, 0, 0, 0);
  EXPECT_TRUE(RecenterPage());
  EXPECT_EQ(Ws.pageX, 55) << "centred in the 90 pixels right of the bar";
  EXPECT_FALSE(RecenterPage());
  SetPageArea(0, 0, 0, 0);
  // A page wider than the room less 40 stays where it is, with 20 pixels kept in view.
  Ws.pageWidth = 200;
  for (auto [from, to] : {std::pair{150, 100}, {-500, -180}}) {
    Ws.pageX = from;
    RecenterPage();
    EXPECT_EQ(Ws.pageX, to);
  }
  Ws.pageWidth = 40;
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

// Random stacks against a pixel-by-pixel reading of the rules.
Pixel Reference(int x, int y) {
  BlockPtr image(NewBlock(Ws.pageWidth, Ws.pageHeight));
  auto over = [&](Pixel lower, int i) {
    const Layer& l = *LayerAt(i);
    if (l.flags & kLayerHidden) return lower;
    LoadLayerImage(image.get(), &l, Timeline.position);
    return ScaledOverPixel(lower, GetPixel(image.get(), x, y), l.opacity);
  };
  auto add = [](Pixel u, Pixel v) {
    Pixel out = 0;
    for (int s = 0; s < 32; s += 8)
      out |= std::min<Pixel>(((u >> s) & 255) + ((v >> s) & 255), 255) << s;
    return out;
  };
  const int cur = Timeline.current;
  Pixel f = 0, b = 0;
  for (int i = LayerCount() - 1; i > cur; --i) b = over(b, i);
  for (int i = cur - 1; i >= 0; --i) f = over(f, i);
  const Pixel p = GetPixel(Ws.page, x, y);
  const int o = Ws.opacity, a = f >> 24;
  if (a == 255) return f;
  Pixel r = a ? add(f, ScalePixel(p, Mul(255 - a, o))) : (p >> 24) ? ScalePixel(p, o) : 0;
  if ((r >> 24) == 0) return b;
  return (r >> 24) < 255 ? add(r, ScalePixel(b, 255 - (r >> 24))) : r;
}

TEST_F(Compose, RandomStacksMatchTheReference) {
  uint32_t seed = 7;
  auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
  auto randomPixel = [&] {  // clear, opaque or any alpha, premultiplied
    const uint32_t pick = next() >> 28, alpha = pick < 6 ? 255 : next() >> 24;
    auto channel = [&] { return (next() >> 24) * alpha / 255; };
    return pick < 3 ? Pixel{0} : MakePixel(alpha, channel(), channel(), channel());
  };
  for (int round = 0; round < 4; ++round) {
    ClearProject();
    const int layers = 2 + round * 2;
    for (int i = 1; i < layers; ++i) NewLayer("L", false, true, 0, true);
    for (int i = 0; i < layers; ++i) {
      SelectLayer(i, 0, true);
      for (int y = 0; y < Ws.pageHeight; y += 3)
        for (int x = 0; x < Ws.pageWidth; x += 5)
          FillRect(Ws.page, x, y, x + 4, y + 2, randomPixel());
      MarkChanged(0, 0, Ws.pageWidth - 1, Ws.pageHeight - 1);
      LayerAt(i)->opacity = (next() >> 28) < 8 ? 255 : next() >> 24;
      if ((next() >> 28) < 3) LayerAt(i)->flags |= kLayerHidden;
    }
    SelectLayer(static_cast<int>(next() % layers), 0, true);
    for (int y = 0; y < Ws.pageHeight; ++y)
      for (int x = 0; x < Ws.pageWidth; ++x)
        ASSERT_EQ(MergedPixel(x, y), Reference(x, y)) << x << "," << y << " round " << round;
  }
}

}  // namespace
}  // namespace vela
