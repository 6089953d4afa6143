// The operations of the Layers window: what each does to layers and images, and that its undo
// and redo give back the model exactly.
#include "project/layer_ops.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "project/compose.h"
#include "project_fixture.h"
#include "start/gauge.h"
#include "start/main_loop.h"

namespace vela {
namespace {

// Everything an undo must give back: layer records, every image, the selection.
struct LayerState {
  int id, first, last, opacity, frames;
  uint32_t flags;
  std::string name;
  std::vector<std::vector<Pixel>> images;
  bool operator==(const LayerState&) const = default;
};
struct ModelState {
  std::vector<LayerState> layers;
  int current, position, rangeIn, rangeCount;
  bool operator==(const ModelState&) const = default;
};

class LayerOps : public Project {
 protected:
  void TearDown() override {
    FreeLayerClipboard();
    AntialiasOn = 0;
    Project::TearDown();
  }
  static ModelState Snap() {
    ModelState m{{}, Timeline.current, Timeline.position, Timeline.rangeIn, Timeline.rangeCount};
    for (int i = 0; i < LayerCount(); ++i) {
      const Layer* l = LayerAt(i);
      m.layers.push_back({l->id, l->first, l->last, l->opacity,
                          l->sequence ? l->sequence->count : 0, l->flags, l->name, Images(l)});
    }
    return m;
  }
  // Every image of the layer, the open one stored first.
  static std::vector<std::vector<Pixel>> Images(const Layer* l) {
    EXPECT_EQ(StoreOpenImage(), 1);
    std::vector<std::vector<Pixel>> out;
    BlockPtr b(AllocBlock(Ws.page->width, Ws.page->height));
    for (int p = l->first; p <= l->last; ++p) {
      LoadLayerImage(b.get(), l, p);
      out.emplace_back(b->data, b->data + b->width * b->height);
    }
    return out;
  }
  // A sequence of n images on the current layer; image i holds the marker i + 1 at (0, 0).
  static void MakeMarked(int n) {
    Paint(0, 0, 0, 0, Marker(0));
    ASSERT_EQ(MakeAnim(n - 1), 1);
    for (int i = 1; i < n; ++i) {
      GotoPosition(CurrentLayer()->first + i, 0);
      Paint(0, 0, 0, 0, Marker(i));
    }
    GotoPosition(CurrentLayer()->first, 0);
  }
  static Pixel Marker(int i) { return 0xFF000000u | static_cast<Pixel>(i + 1); }
  // Markers of the current layer's images, in order.
  static std::vector<int> Markers() {
    std::vector<int> out;
    for (const auto& image : Images(CurrentLayer()))
      out.push_back(static_cast<int>(image[0] & 0xFFFFFF));
    return out;
  }
  static int64_t CacheBytes() { return CacheStats(0) + CacheStats(1); }
};

TEST_F(LayerOps, EveryOperationUndoesAndRedoesExactly) {
  // Layers, front first: a single image at 0, a blue single image at 0, five marked images 2..6.
  Paint(0, 0, 20, 20, kBlue);
  ASSERT_EQ(UserNewLayer("Anim"), 1);
  ShiftLayer(1, 2);
  MakeMarked(5);
  SelectLayer(0, 0, true);
  NewLayer("Front", true, true, 0, true);
  Paint(50, 5, 60, 9, kRed);
  SelectLayer(2, 3, true);
  Paint(30, 30, 40, 40, kRed);
  auto range = [](int in, int count) { return [=] { SetRange(in, count); }; };
  struct Case {
    const char* what;
    std::function<void()> setup;
    std::function<int()> op;
  };
  const Case cases[] = {
      {"duplicate layer", range(0, 0), [] { return DuplicateLayer(nullptr) >= 0; }},
      {"duplicate image", range(0, 0), DuplicateImage},
      {"paste behind", [] { SetRange(3, 2), CopyLayer(), SetRange(0, 0); },
       [] { return PasteLayer(0); }},
      {"paste over a range", range(2, 3), [] { return PasteLayer(0); }},
      {"cut", range(6, -2), CutLayer},
      {"clear selection", range(3, 2), [] { return ClearImages(kRed); }},
      {"rename", range(0, 0), [] { return RenameLayer(2, "Sky"); }},
      {"move layer", range(0, 0), [] { return MoveLayer(2, 0); }},
      {"shift in time", range(0, 0), [] { return ShiftLayer(2, -3); }},
      {"move image", range(0, 0), [] { return MoveImage(4, 1); }},
      {"resize end", range(0, 0), [] { return ResizeLayer(2, 7, false, false); }},
      {"resize start", range(0, 0), [] { return ResizeLayer(2, 2, true, false); }},
      {"stretch", [] { AntialiasOn = 1; }, [] { return ResizeLayer(2, 8, false, true); }},
      {"single image to images", range(0, 0), [] { return ResizeLayer(0, 3, true, false); }},
      {"merge two images", range(0, 0), [] { return MergeLayer(0); }},
      {"merge image and sequence", range(0, 0), [] { return MergeLayer(1); }},
      {"invert selection", range(2, 3), [] { return LayerReverseSelection(), 1; }},
      {"cut every image", range(0, 9), CutLayer},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SelectLayer(2, 3, true);
    c.setup();
    const ModelState before = Snap();
    ASSERT_EQ(c.op(), 1);
    const ModelState after = Snap();
    ASSERT_NE(after, before) << "the operation changed nothing";
    UndoStep();
    EXPECT_EQ(Snap(), before);
    UndoStep();
    EXPECT_EQ(Snap(), after);
    UndoStep();
  }
  EXPECT_EQ(LayerCount(), 3);
}

TEST_F(LayerOps, PasteCountsAndPlaces) {
  MakeMarked(10);
  SetRange(2, 3);
  ASSERT_EQ(CopyLayer(), 1);
  ASSERT_EQ(ClipSequence->count, 3);
  SetRange(0, 0);
  // Behind image 5: images from 6 on move three to the right.
  GotoPosition(5, 0);
  ASSERT_EQ(PasteLayer(0), 1);
  EXPECT_EQ(Markers(), (std::vector<int>{1, 2, 3, 4, 5, 6, 3, 4, 5, 7, 8, 9, 10}));
  EXPECT_EQ(CurrentLayer()->last, 12);
  EXPECT_EQ(Timeline.rangeCount, 0);
  UndoStep();
  // At image 5 instead.
  ASSERT_EQ(PasteLayer(1), 1);
  EXPECT_EQ(Markers(), (std::vector<int>{1, 2, 3, 4, 5, 3, 4, 5, 6, 7, 8, 9, 10}));
  UndoStep();
  // Over four selected images: one image fewer.
  SetRange(0, 4);
  ASSERT_EQ(PasteLayer(0), 1);
  EXPECT_EQ(Markers(), (std::vector<int>{3, 4, 5, 5, 6, 7, 8, 9, 10}));

  // A single image copied over three positions fills three images.
  ASSERT_EQ(UserNewLayer("Still"), 1);
  Paint(0, 0, 0, 0, Marker(41));
  SetRange(0, 3);
  ASSERT_EQ(CopyLayer(), 1);
  ASSERT_NE(ClipLayer, nullptr);
  EXPECT_EQ(ClipSequence, nullptr) << "a copy frees the other clipboard";
  SelectLayer(0, 1, true);
  ASSERT_EQ(PasteLayer(0), 1);
  EXPECT_EQ(Markers(), (std::vector<int>{3, 4, 42, 42, 42, 5, 5, 6, 7, 8, 9, 10}));
}

TEST_F(LayerOps, PasteOntoASingleImageReplacesThePage) {
  MakeMarked(3);
  SetRange(1, 2);
  ASSERT_EQ(CopyLayer(), 1);
  UserNewLayer("Still");
  Paint(5, 5, 9, 9, kRed);
  const Layer before = *CurrentLayer();
  ASSERT_EQ(PasteLayer(0), 1);
  // The first image of the clipboard in place of what was there.
  EXPECT_EQ(std::pair(At(0, 0), At(6, 6)), std::pair(Marker(1), 0u));
  EXPECT_EQ(CurrentLayer()->sequence, nullptr);
  EXPECT_EQ(std::pair(CurrentLayer()->first, CurrentLayer()->last),
            std::pair(before.first, before.last));
  UndoStep();
  EXPECT_EQ(std::pair(At(0, 0), At(6, 6)), std::pair(0u, kRed));
}

TEST_F(LayerOps, TheClipboardOutlivesAPageSizeChange) {
  MakeMarked(2);
  Paint(90, 20, 95, 63, kRed);
  SetRange(0, 2);
  ASSERT_EQ(CopyLayer(), 1);
  Restart(128, 32);
  ASSERT_EQ(MakeAnim(0), 1);
  ASSERT_EQ(PasteLayer(1), 1);
  ASSERT_EQ(CurrentLayer()->last, 2);
  // The old images keep their top left corner: cut below row 32, blank right of column 96.
  for (int p = 0; p < 2; ++p) {
    GotoPosition(p, 0);
    EXPECT_EQ(std::tuple(At(0, 0), At(95, 31), At(96, 31)),
              std::tuple(Marker(p), p == 0 ? kRed : 0u, 0u));
  }
}

TEST_F(LayerOps, CopyAndCutNeedARangeAndCutCanEmptyTheLayer) {
  MakeMarked(4);
  SetRange(1, 1);
  ASSERT_EQ(CopyLayer(), 1);
  ImageSequence* clip = ClipSequence;
  SetRange(0, 0);
  const ModelState before = Snap();
  EXPECT_EQ(CopyLayer(), 0);
  EXPECT_EQ(CutLayer(), 0);
  EXPECT_EQ(Snap(), before);
  EXPECT_EQ(ClipSequence, clip) << "the clipboard keeps what it had";
  // A range beside the layer's images selects none of them.
  SetRange(20, 2);
  EXPECT_EQ(CutLayer(), 0);

  // Cutting every image of the only layer leaves one blank single image.
  SetRange(3, -3);
  ASSERT_EQ(CutLayer(), 1);
  ASSERT_EQ(LayerCount(), 1);
  EXPECT_EQ(CurrentLayer()->sequence, nullptr);
  EXPECT_EQ(std::pair(At(0, 0), ClipSequence->count), std::pair(0u, 4));
  EXPECT_STREQ(Undo.label, "Undo Cut Layer");
  UndoStep();
  EXPECT_EQ(Markers(), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(Timeline.rangeCount, -3) << "undo gives the selection back";
}

TEST_F(LayerOps, NegativeCountsRunBackwardAndInvert) {
  int lo, hi;
  SetRange(5, -2);
  ASSERT_TRUE(RangeBounds(&lo, &hi));
  EXPECT_EQ(std::tie(lo, hi), std::tuple(3, 5));
  LayerReverseSelection();  // the same images from the other end
  EXPECT_EQ(std::tuple(Timeline.rangeIn, Timeline.rangeCount), std::tuple(3, 3));
  EXPECT_STREQ(Undo.label, "Undo Invert Selection");
  SetRange(5, 0);
  EXPECT_FALSE(RangeBounds(&lo, &hi));
}

TEST_F(LayerOps, DuplicateSharesEveryImage) {
  MakeMarked(6);
  Paint(10, 10, 90, 60, kRed);
  GotoPosition(1, 0);
  const int64_t bytes = CacheBytes();
  const int original = Timeline.current;
  const int copy = DuplicateLayer(nullptr);
  ASSERT_EQ(copy, original + 1);
  EXPECT_STREQ(CurrentLayer()->name, LayerAt(original)->name);
  SelectLayer(original, 0, true);
  EXPECT_EQ(CacheBytes(), bytes) << "a duplicate costs nothing until one of the two changes";
  // A change to the copy leaves the original as it was.
  SelectLayer(copy, 0, true);
  Paint(0, 0, 95, 63, kBlue);
  SelectLayer(original, 0, true);
  EXPECT_GT(CacheBytes(), bytes);
  EXPECT_EQ(At(20, 20), kRed);
  EXPECT_EQ(Markers(), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(LayerOps, StretchInTime) {
  Paint(0, 0, 95, 63, kRed);
  ASSERT_EQ(MakeAnim(1), 1);
  GotoPosition(1, 0);
  Paint(0, 0, 95, 63, kBlue);
  auto middles = [] {
    std::vector<Pixel> out;
    for (const auto& image : Images(CurrentLayer())) out.push_back(image[30 * 96 + 50]);
    return out;
  };
  // Antialias: the middle of three is both at half weight, each channel (a + b) * 32768 >> 16.
  AntialiasOn = 1;
  ASSERT_EQ(ResizeLayer(0, 3, false, true), 1);
  EXPECT_STREQ(Undo.label, "Undo Stretch Sequence");
  EXPECT_EQ(middles(), (std::vector<Pixel>{kRed, 0xFF7F007F, kBlue}));
  UndoStep();
  // Without antialias new image i takes old image floor(i * 2 / 3): red, red, blue.
  AntialiasOn = 0;
  ASSERT_EQ(ResizeLayer(0, 3, false, true), 1);
  EXPECT_EQ(middles(), (std::vector<Pixel>{kRed, kRed, kBlue}));
  // Resizing at the start keeps the end where it is.
  ASSERT_EQ(ResizeLayer(0, 5, true, false), 1);
  EXPECT_EQ(std::pair(CurrentLayer()->first, CurrentLayer()->last), std::pair(-2, 2));
  // A stop (Delete) before the copies are made leaves the layer as it was.
  BreakFlag = 1;
  EXPECT_EQ(ResizeLayer(0, 7, false, false), 0);
  BreakFlag = 0;
  EXPECT_EQ(
      std::pair(CurrentLayer()->last - CurrentLayer()->first, CurrentLayer()->sequence->count),
      std::pair(4, 5));

  // A new frame rate stretches every layer, or, after a Stop in any of them, none.
  ASSERT_EQ(UserNewLayer("B"), 1);
  ASSERT_EQ(MakeAnim(1), 1);
  const int bFirst = CurrentLayer()->first;
  Ws.frameRate = 25;
  static int updates = 0;
  static const GaugeHandlers stopFirst = {[](const char*) {},
                                          [](int, int) { SetGaugeStop(++updates == 1); }, [] {}};
  SetGaugeHandlers(&stopFirst);
  ChangeFrameRate(50, true);
  SetGaugeHandlers(nullptr);
  EXPECT_EQ(Ws.frameRate, 25);
  EXPECT_FALSE(Seen("Error in stretch anim")) << "a Stop is no error";
  auto spans = [] {
    return std::tuple(LayerAt(0)->first, LayerAt(0)->last, LayerAt(1)->first, LayerAt(1)->last);
  };
  EXPECT_EQ(spans(), std::tuple(-2, 2, bFirst, bFirst + 1));
  ChangeFrameRate(50, true);
  EXPECT_EQ(Ws.frameRate, 50);
  EXPECT_EQ(spans(), std::tuple(-4, 5, 2 * bFirst, 2 * bFirst + 3));
}

TEST_F(LayerOps, MergeBlendsWithOpacityOverTheJoinedRange) {
  Paint(0, 0, 95, 63, kBlue);
  ASSERT_EQ(MakeAnim(1), 1);
  ASSERT_EQ(UserNewLayer("Top"), 1);
  MoveLayer(1, 0);
  Paint(0, 0, 95, 63, kRed);
  SetLayerOpacity(0, OpacityFromPercent(50));
  EXPECT_EQ(CurrentLayer()->opacity, 128);
  EXPECT_EQ(PercentFromOpacity(128), 50);
  ShiftLayer(0, 1);  // the top image now lies at position 1, the bottom one at 0
  ASSERT_EQ(MergeLayer(0), 1);
  ASSERT_EQ(LayerCount(), 1);
  const Layer* l = CurrentLayer();
  EXPECT_STREQ(l->name, "Top");
  EXPECT_EQ(l->opacity, 255);
  ASSERT_NE(l->sequence, nullptr);
  EXPECT_EQ(std::pair(l->first, l->last), std::pair(0, 1));
  // Red at 128 over blue: 128 of red, and 127 of the blue below (255 * 127 rounded up).
  const auto images = Images(l);
  EXPECT_EQ(std::pair(images[0][0], images[1][0]), std::pair(kBlue, 0xFF80007Fu));
}

// The keys' actions walk the layers and the images, and stop at the ends.
TEST_F(LayerOps, ActionsWalkLayersAndImages) {
  static bool added = false;
  if (!added) AddActions(LayerOpsActions());
  added = true;
  RunActions("NewLayer");
  ASSERT_EQ(LayerCount(), 2);
  RunActions("LayerMakeAnim, InsertImage, InsertImage");
  const Layer* l = CurrentLayer();
  ASSERT_EQ(l->last - l->first, 2);
  ASSERT_EQ(Timeline.current, 1) << "the new layer went behind the first";
  // Each list of actions, the image it leaves (-1: not looked at) and the layer; no step past
  // either end.
  const std::tuple<const char*, int, int> walks[] = {
      {"LayerFirstImage", 0, 1}, {"LayerNextImage,LayerNextImage,LayerNextImage", 2, 1},
      {"LayerPrevImage", 1, 1},  {"NextLayer", -1, 1},
      {"PrevLayer", -1, 0},      {"PrevLayer", -1, 0},
      {"NextLayer", -1, 1}};
  for (auto [actions, image, layer] : walks) {
    RunActions(actions);
    EXPECT_TRUE(image < 0 || Timeline.position - l->first == image) << actions;
    EXPECT_EQ(Timeline.current, layer) << actions;
  }
  const int mode = Timeline.showMode;
  RunActions("DisplayAllLayer");
  EXPECT_NE(Timeline.showMode, mode);
  RunActions("DisplayAllLayer,ToggleBackgroundMode");
  EXPECT_EQ(Timeline.showMode, mode);
  EXPECT_EQ(BackgroundMode(), 1);
  RunActions("ToggleBackgroundMode,ToggleBackgroundMode");
  EXPECT_EQ(BackgroundMode(), 0);
  RunActions("LayerDelete");
  EXPECT_EQ(LayerCount(), 1);
}

}  // namespace
}  // namespace vela
