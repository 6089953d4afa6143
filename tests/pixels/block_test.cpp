#include <array>

#include "pixels_fixture.h"

namespace vela {
namespace {

using BlockTest = PixelsTest;

TEST_F(BlockTest, NewBlockIsClearAndAccountedAndBadSizesAreRefused) {
  for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}}) EXPECT_EQ(AllocBlock(w, h), nullptr) << w << "x" << h;
  EXPECT_EQ(NewBlock(1, -1), nullptr);
  EXPECT_EQ(FreeBlock(nullptr), 0);
  EXPECT_TRUE(g_messages.empty());  // the caller reports

  int64_t before = BlockBytes;
  BlockPtr b(NewBlock(7, 3));
  ASSERT_TRUE(b);
  EXPECT_EQ(BlockBytes - before, (3 + 2) * 7 * 4 + 20);
  EXPECT_EQ(BlockCost(7, 3), (3 + 2) * 7 * 4 + 20);
  EXPECT_EQ(b->guard, kBlockGuard);
  EXPECT_EQ(Pixels(b.get()), std::vector<Pixel>(7 * 3, 0));
  // Two spare rows and 16 bytes lie behind the picture: the sanitizer checks the last byte.
  auto* bytes = reinterpret_cast<uint8_t*>(b->data);
  size_t last = (3 + 2) * 7 * 4 + 16 - 1;
  bytes[last] = 0x5A;
  EXPECT_EQ(bytes[last], 0x5A);
  b.reset();
  EXPECT_EQ(BlockBytes, before);
}

TEST_F(BlockTest, ViewDescribesTheBlockAndInitBlockLeavesTheAccountAlone) {
  BlockPtr b(AllocBlock(4, 9));
  ASSERT_TRUE(b && b->view);
  const BlockView* v = b->view;
  EXPECT_EQ((std::array{v->width, v->height, int{v->red}, int{v->green}, int{v->blue}, int{v->alpha}}),
            (std::array{4, 9, 2, 1, 0, 3}));
  EXPECT_EQ(v->data, b->data);
  EXPECT_EQ(v->block, b.get());
  EXPECT_EQ(v->zero[0] | v->zero[1] | v->rest[0] | v->rest[3], 0);

  std::vector<Pixel> pixels(6 * 2);
  int64_t before = BlockBytes;
  Block header;
  InitBlock(&header, 6, 2, pixels.data());
  EXPECT_EQ(BlockBytes, before);
  EXPECT_EQ(header.Row(1), pixels.data() + 6);
  ASSERT_NE(header.view, nullptr);
  EXPECT_EQ(header.view->data, pixels.data());
  ReleaseBlockView(&header);
  EXPECT_EQ(header.view, nullptr);
}

TEST_F(BlockTest, DamagedGuardReportsAndFreesNothing) {
  int64_t before = BlockBytes;
  Block* b = AllocBlock(3, 3);
  ASSERT_NE(b, nullptr);
  Pixel* data = b->data;
  // A released header has guard 0; the same path must catch it without touching the data.
  b->guard = 0;
  FreeBlock(b);
  EXPECT_EQ(g_messages, std::vector<std::string>{"Error in FreeBlock"});
  EXPECT_EQ(b->data, data);
  EXPECT_EQ(BlockBytes - before, BlockCost(3, 3));
  data[8] = 1;  // still ours
  b->guard = kBlockGuard;
  FreeBlock(b);
  EXPECT_EQ(BlockBytes, before);
  EXPECT_EQ(g_messages.size(), 1u);
}

}  // namespace
}  // namespace vela
