#include <array>
#include <cmath>

#include "pixels_fixture.h"

namespace vela {
namespace {

using BlockTest = PixelsTest;

TEST_F(BlockTest, TablesMatchTheirFormulasAndSurviveARebuild) {
  for (int a = -255; a <= 255; ++a) {
    for (int b = 0; b < 256; ++b) {
      // Written as rounding of the exact quotient, not as the builder's integer expression.
      double q = a * b / 255.0;
      int want = a >= 0 ? static_cast<int>(std::ceil(q)) : -static_cast<int>(std::ceil(-q));
      ASSERT_EQ(Mul(a, b), want) << a << " * " << b;
      ASSERT_EQ(MulRow(a)[b], want);
    }
  }
  for (int i = 0; i < 256; ++i) {
    ASSERT_EQ(Div(i, 0), 0);
    for (int j = 1; j < 256; ++j) ASSERT_EQ(Div(i, j), (i * 255 / j) & 0xFF) << i << "/" << j;
    ASSERT_EQ(Luma(i, i, i), i);  // the weights sum to 65536
  }
  EXPECT_EQ((std::array{Luma(255, 0, 0), Luma(0, 255, 0), Luma(0, 0, 255)}),
            (std::array{76, 149, 29}));

  FreePixelTables();
  EXPECT_FALSE(PixelTablesReady());
  ASSERT_TRUE(BuildPixelTables());
  ASSERT_TRUE(BuildPixelTables());  // a second build keeps the first
  EXPECT_EQ(Mul(200, 17), 14);
}

TEST_F(BlockTest, NewBlockIsClearAndAccountedAndBadSizesAreRefused) {
  for (auto [w, h] : {std::pair{0, 5}, {5, 0}, {-3, 4}}) EXPECT_EQ(AllocBlock(w, h), nullptr);
  EXPECT_EQ(NewBlock(1, -1), nullptr);
  EXPECT_EQ(FreeBlock(nullptr), 0);
  EXPECT_TRUE(g_messages.empty());  // the caller reports

  int64_t before = BlockBytes;
  BlockPtr b(NewBlock(7, 3));
  ASSERT_TRUE(b);
  EXPECT_EQ(BlockBytes - before, (3 + 2) * 7 * 4 + 20);
  EXPECT_EQ(Pixels(b.get()), std::vector<Pixel>(7 * 3, 0));
  // Two spare rows and 16 bytes lie behind the picture: the sanitizer checks the last byte.
  reinterpret_cast<volatile uint8_t*>(b->data)[(3 + 2) * 7 * 4 + 16 - 1] = 0x5A;
  b.reset();
  EXPECT_EQ(BlockBytes, before);
}

TEST_F(BlockTest, ViewDescribesTheBlockAndInitBlockLeavesTheAccountAlone) {
  BlockPtr b(AllocBlock(4, 9));
  const BlockView* v = b->view;
  ASSERT_TRUE(v);
  EXPECT_EQ((std::array{v->width, v->height, int{v->red}, int{v->green}, int{v->blue},
                        int{v->alpha}, v->zero[0] | v->zero[1] | v->rest[0] | v->rest[3]}),
            (std::array{4, 9, 2, 1, 0, 3, 0}));
  EXPECT_TRUE(v->data == b->data && v->block == b.get());

  std::vector<Pixel> pixels(6 * 2);
  int64_t before = BlockBytes;
  Block header;
  InitBlock(&header, 6, 2, pixels.data());
  EXPECT_EQ(BlockBytes, before);
  EXPECT_TRUE(header.view && header.view->data == pixels.data());
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
