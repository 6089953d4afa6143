#include "pixels/tile_store.h"

#include <cstring>
#include <random>
#include <set>

#include "pixels/blend.h"
#include "pixels/primitives.h"
#include "pixels_fixture.h"

namespace vela {
namespace {

// A picture whose tiles all differ, with premultiplied pixels.
BlockPtr Picture(int w, int h, uint32_t seed) {
  BlockPtr b(NewBlock(w, h));
  std::mt19937 rng(seed);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      int a = (x + y) % 5 == 0 ? 0 : (x * 7 + y) % 3 == 0 ? 128 : 255;
      int c = static_cast<int>(rng() % (a + 1));
      // Short runs as in a painted page, plus noise.
      b->Row(y)[x] = rng() % 4 == 0 ? b->Row(y)[x > 0 ? x - 1 : 0] : MakePixel(a, c, c / 2, a - c);
    }
  return b;
}

// The frame at index loaded over a Block of noise, which each tile must overwrite.
bool Holds(ImageSequence* s, int index, const Block* want) {
  BlockPtr b = Picture(s->width, s->height, 77);
  return s->ops.LoadFrame(s, b.get(), index) == 1 && Pixels(b.get()) == Pixels(want);
}

int64_t LiveEntries() {
  CacheCounts c = GetCacheCounts();
  return c.entries - c.tombstones;
}

class TileStore : public ScratchTest {
 protected:
  void SetUp() override {
    ScratchTest::SetUp();
    ASSERT_EQ(CacheStartWithLimit(64 << 20), 1);
  }
};

// In memory, and with mode 1 wholly through the scratch file.
TEST_F(TileStore, RoundTripsPagesWithPartialEdgeTiles) {
  for (int mode : {0, 1}) {
    CacheStop();
    ASSERT_EQ(CacheStartWithLimit(mode ? 0 : 64 << 20), 1);
    for (auto [w, h] : {std::pair{65, 65}, {1, 1}, {64, 64}, {130, 70}, {200, 3}, {3, 200}}) {
      SCOPED_TRACE(std::to_string(w) + "x" + std::to_string(h) + " mode " + std::to_string(mode));
      ImageSequence* s = CreateSequence("t", w, h);
      auto pic = Picture(w, h, w * 1000 + h);
      ASSERT_EQ(s->ops.AddFrame(s, pic.get(), -1, mode), 1);
      const int tiles = ((w + 63) / 64) * ((h + 63) / 64);
      EXPECT_EQ(s->first->state, kFrameTiles);
      EXPECT_EQ(s->first->link->tileCount, tiles);
      EXPECT_EQ(LiveEntries(), tiles + 1);  // and the thumbnail
      EXPECT_EQ(CacheStats(0) == 0, mode == 1);
      // Of a 65 by 65 page, the last tile holds one pixel: one packet of one literal.
      EXPECT_TRUE(w != 65 || s->first->link->tiles[3]->size == 5);
      EXPECT_TRUE(Holds(s, 0, pic.get()));
      s->ops.Destroy(s);
      EXPECT_EQ((std::array{LiveEntries(), CacheStats(1)}), (std::array<int64_t, 2>{0, 0}));
    }
  }
}

TEST_F(TileStore, DrawingOnOneOfThreeEqualFramesCopiesOnlyTheTouchedTiles) {
  const int w = 300, h = 200;  // 5 by 4 tiles
  ImageSequence* s = CreateSequence("anim", w, h);
  auto pic = Picture(w, h, 1);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(AddFrame(s, pic.get(), i - 1, 0), 1);
  ImageLink *l0 = FrameAt(s, 0)->link, *l2 = FrameAt(s, 2)->link;
  const int64_t before = 20 + 3;  // the tiles once, three thumbnails
  EXPECT_EQ(LiveEntries(), before);

  // A stroke across the corner of four tiles (columns 1-2, rows 0-1) of frame 1.
  BlockPtr drawn(NewBlock(w, h));
  CopyBlock(pic.get(), drawn.get());
  for (int y = 60; y < 70; ++y)
    for (int x = 120; x < 130; ++x) drawn->Row(y)[x] = PenPixel(255, 0, 0);
  ASSERT_EQ(StoreFrame(s, drawn.get(), 1, 0), 1);
  ImageLink* l1 = FrameAt(s, 1)->link;
  std::set<int> fresh;
  for (int i = 0; i < 20; ++i)
    if (l1->tiles[i] != l0->tiles[i]) fresh.insert(i);
  EXPECT_EQ(fresh, (std::set<int>{1, 2, 6, 7}));
  EXPECT_EQ(LiveEntries(), before + 4);  // the new thumbnail replaces the old one
  EXPECT_EQ((std::pair{l0->tiles[1]->refCount, l0->tiles[0]->refCount}), (std::pair{2, 3}));
  EXPECT_TRUE(Holds(s, 0, pic.get()) && Holds(s, 1, drawn.get()) && Holds(s, 2, pic.get()));
  EXPECT_EQ(FrameAt(s, 2)->link, l2);

  // Storing the same picture again makes nothing new.
  ASSERT_EQ(StoreFrame(s, drawn.get(), 1, 0), 1);
  EXPECT_EQ(LiveEntries(), before + 4);
  EXPECT_TRUE(Holds(s, 1, drawn.get()));
  // Undoing the stroke finds the neighbours' tiles again.
  ASSERT_EQ(StoreFrame(s, pic.get(), 1, 0), 1);
  EXPECT_EQ(LiveEntries(), before);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(FrameAt(s, 1)->link->tiles[i], l0->tiles[i]);
  Destroy(s);
  EXPECT_EQ(LiveEntries(), 0);
}

TEST_F(TileStore, FlatAreasShareOneTile) {
  ImageSequence* s = CreateSequence("flat", 640, 130);
  BlockPtr flat(NewBlock(640, 130));
  for (int i = 0; i < 640 * 130; ++i) flat->data[i] = 0xFF336699;
  AddFrame(s, flat.get(), -1, 0);
  ImageLink* l = s->first->link;
  // Ten full tiles share one record; the partial bottom row shares another.
  EXPECT_EQ((std::pair{l->tiles[0]->refCount, l->tiles[29]->refCount}), (std::pair{20, 10}));
  EXPECT_DOUBLE_EQ(FrameCost(s, 0, nullptr), l->tiles[0]->size + l->tiles[29]->size);
  EXPECT_TRUE(Holds(s, 0, flat.get()));
  Destroy(s);
}

TEST_F(TileStore, RemovingOrLinkingASharedFrameLeavesTheOther) {
  ImageSequence* s = CreateSequence("dup", 100, 100);
  auto pic = Picture(100, 100, 5);
  AddFrame(s, pic.get(), -1, 0);
  ASSERT_EQ(DuplicateFrame(s, 0), 1);
  EXPECT_EQ(s->count, 2);
  EXPECT_EQ(FrameAt(s, 1)->link, FrameAt(s, 0)->link);
  EXPECT_EQ(FrameAt(s, 0)->link->refCount, 2);
  ASSERT_EQ(RemoveFrame(s, 0), 1);
  EXPECT_EQ(s->count, 1);
  EXPECT_TRUE(Holds(s, 0, pic.get()));

  // Linked into another sequence, the frame outlives its source.
  ImageSequence* other = CreateSequence("other", 100, 100);
  ImageSequence* small = CreateSequence("small", 50, 100);
  ASSERT_EQ(LinkFrameFrom(s, 0, other, -1), 1);
  EXPECT_EQ(LinkFrameFrom(s, 0, small, -1), 0);
  EXPECT_EQ(LinkFrameFrom(s, 1, other, -1), 0);
  Destroy(s);
  EXPECT_TRUE(Holds(other, 0, pic.get()));
  // The shared frame written anew leaves the first copy alone.
  ASSERT_EQ(DuplicateFrame(other, 0), 1);
  auto changed = Picture(100, 100, 6);
  StoreFrame(other, changed.get(), 1, 0);
  EXPECT_TRUE(Holds(other, 0, pic.get()) && Holds(other, 1, changed.get()));
  Destroy(other);
  Destroy(small);
  EXPECT_EQ(LiveEntries(), 0);
}

TEST_F(TileStore, EmptyFramesWrongSizesAndIndexes) {
  ImageSequence* s = CreateSequence("e", 70, 70);
  ASSERT_EQ(AddFrame(s, nullptr, -1, 0), 1);
  EXPECT_EQ(s->first->state, kFrameEmpty);
  BlockPtr b(NewBlock(70, 70)), wrong(NewBlock(71, 70));
  b->data[5] = 0x12345678;
  EXPECT_EQ(LoadFrame(s, b.get(), 0), 1);
  EXPECT_EQ(b->data[5], 0x12345678u);
  EXPECT_EQ(FrameCost(s, 0, nullptr) + FrameCost(s, -1, nullptr), 0);
  EXPECT_EQ(
      (std::vector<int>{StoreFrame(s, wrong.get(), 0, 0), LoadFrame(s, wrong.get(), 0),
                        AddFrame(s, wrong.get(), -1, 0), StoreFrame(s, b.get(), 1, 0),
                        AddFrame(s, b.get(), 5, 0), RemoveFrame(s, 1), DuplicateFrame(s, -1)}),
      std::vector<int>(7, 0));
  EXPECT_EQ(s->count, 1);
  Destroy(s);
}

TEST_F(TileStore, AFrameOfItsOwnKeepsItsTileRecordsAndFrameCostWeighsSharing) {
  ImageSequence* s = CreateSequence("c", 128, 64);
  auto pic = Picture(128, 64, 9);
  AddFrame(s, pic.get(), -1, 0);
  EXPECT_DOUBLE_EQ(FrameCost(s, 0, nullptr),
                   s->first->link->tiles[0]->size + s->first->link->tiles[1]->size);
  // Redrawn alone, the frame keeps its tile records.
  const int32_t key = s->first->link->tiles[1]->key;
  pic->Row(10)[100] = PenPixel(1, 2, 3);
  ASSERT_EQ(StoreFrame(s, pic.get(), 0, 0), 1);
  EXPECT_EQ(s->first->link->tiles[1]->key, key);
  EXPECT_EQ(LiveEntries(), 3);
  EXPECT_TRUE(Holds(s, 0, pic.get()));

  const double redrawn = FrameCost(s, 0, nullptr);
  DuplicateFrame(s, 0);
  AddFrame(s, pic.get(), 1, 0);  // equal tiles found in the frame before
  int32_t stamp = 0;
  EXPECT_DOUBLE_EQ(FrameCost(s, 2, &stamp), redrawn / 2);
  EXPECT_EQ(stamp, FrameAt(s, 2)->stamp);
  EXPECT_NEAR(FrameCost(s, -1, nullptr), redrawn, 1e-9);
  Destroy(s);
}

TEST_F(TileStore, BlendFrameMatchesTheOverOfTheLoadedFrame) {
  const int w = 150, h = 90;
  ImageSequence* s = CreateSequence("b", w, h);
  auto pic = Picture(w, h, 11);
  for (int x = 0; x < w; ++x) pic->Row(3)[x] = MakePixel(100, 50, 20, 10);  // a long run
  AddFrame(s, pic.get(), -1, 0);
  for (int opacity : {255, 200, 128, 1, 0}) {
    SCOPED_TRACE(opacity);
    auto dst = Picture(w, h, 12), want = Picture(w, h, 12);
    for (int x = 0; x < w; ++x) dst->Row(4)[x] = want->Row(4)[x] = 0;
    for (int i = 0; i < w * h && opacity > 0; ++i)
      want->data[i] = opacity == 255 ? OverPixel(want->data[i], pic->data[i])
                                     : ScaledOverPixel(want->data[i], pic->data[i], opacity);
    ASSERT_EQ(BlendFrame(s, dst.get(), 0, opacity), 1);
    EXPECT_EQ(Pixels(dst.get()), Pixels(want.get()));
  }
  Destroy(s);
}

TEST_F(TileStore, ThumbnailsReduceByAveragingAndEnlargeBySampling) {
  BlockPtr wide(NewBlock(128, 64)), tall(NewBlock(1, 1000)), tiny(NewBlock(2, 2));
  for (int i = 0; i < 128 * 64; ++i) wide->data[i] = i % 2 ? 0xFF000000 : 0xFF0000FF;
  Pixel thumb[64 * 64];
  int tw, th;
  MakeThumbnail(wide.get(), thumb, &tw, &th);
  EXPECT_EQ((std::array{tw, th}), (std::array{64, 32}));
  EXPECT_EQ(thumb[0], 0xFF000080u);  // blue 255 and 0, two samples each
  MakeThumbnail(tall.get(), thumb, &tw, &th);
  EXPECT_EQ((std::array{tw, th}), (std::array{1, 64}));
  for (int i = 0; i < 4; ++i) tiny->data[i] = i + 1;
  MakeThumbnail(tiny.get(), thumb, &tw, &th);
  ASSERT_EQ(tw, 64);
  EXPECT_EQ((std::array{thumb[0], thumb[63], thumb[64 * 63], thumb[64 * 64 - 1]}),
            (std::array{1u, 2u, 3u, 4u}));

  ImageSequence* s = CreateSequence("th", 128, 64);
  AddFrame(s, wide.get(), -1, 0);
  AddFrame(s, nullptr, 0, 0);
  MakeThumbnail(wide.get(), thumb, &tw, &th);
  BlockPtr target(NewBlock(40, 40));
  ASSERT_EQ(GetThumbnail(s, 0, target.get()), 1);
  for (int y = 0; y < 32; ++y)
    for (int x = 0; x < 40; ++x) ASSERT_EQ(target->Row(y)[x], thumb[y * 64 + x]);
  target->data[0] = 7;
  ASSERT_EQ(GetThumbnail(s, 1, target.get()), 1);
  EXPECT_EQ(target->data[0], 0u);
  EXPECT_EQ(GetThumbnail(s, 2, target.get()), 0);
  Destroy(s);
}

TEST_F(TileStore, ExchangeSwapsContentsKeepingTheList) {
  ImageSequence *a = CreateSequence("a", 80, 80), *b = CreateSequence("b", 80, 80);
  auto pa = Picture(80, 80, 1), pb = Picture(80, 80, 2);
  AddFrame(a, pa.get(), -1, 0);
  AddFrame(b, nullptr, -1, 0);
  AddFrame(b, pb.get(), 0, 0);
  SequenceFrame* first = a->first;
  ASSERT_EQ(ExchangeFrames(a, 0, b, 1), 1);
  EXPECT_EQ(a->first, first);
  EXPECT_TRUE(Holds(a, 0, pb.get()) && Holds(b, 1, pa.get()));
  ASSERT_EQ(ExchangeFrames(b, 0, b, 1), 1);
  EXPECT_EQ(FrameAt(b, 1)->state, kFrameEmpty);
  EXPECT_EQ(ExchangeFrames(a, 1, b, 0), 0);
  Destroy(a);
  Destroy(b);
}

}  // namespace
}  // namespace vela
