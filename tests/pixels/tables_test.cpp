#include <cmath>

#include "pixels_fixture.h"

namespace vela {
namespace {

using TablesTest = PixelsTest;

TEST_F(TablesTest, MulTableMatchesItsFormulaEverywhere) {
  for (int a = -255; a <= 255; ++a) {
    for (int b = 0; b < 256; ++b) {
      // Written as rounding of the exact quotient, not as the builder's integer expression.
      double q = a * b / 255.0;
      int want = a >= 0 ? static_cast<int>(std::ceil(q)) : -static_cast<int>(std::ceil(-q));
      ASSERT_EQ(Mul(a, b), want) << a << " * " << b;
      ASSERT_EQ(MulRow(a)[b], want);
    }
  }
}

TEST_F(TablesTest, DivTableUndoesPremultiplication) {
  for (int i = 0; i < 256; ++i) {
    EXPECT_EQ(Div(i, 0), 0);
    for (int j = 1; j < 256; ++j)
      ASSERT_EQ(DivTable[i][j], ((i * 255) / j) & 0xFF) << i << "/" << j;
  }
  for (int alpha = 1; alpha < 256; ++alpha) EXPECT_EQ(Div(alpha, alpha), 255);
}

TEST_F(TablesTest, LumaTableWeighsRedGreenBlue) {
  for (int v = 0; v < 256; ++v) {
    ASSERT_EQ(LumaTable[v], 19584u * v);
    ASSERT_EQ(LumaTable[256 + v], 38464u * v);
    ASSERT_EQ(LumaTable[512 + v], 7488u * v);
    ASSERT_EQ(Luma(v, v, v), v);  // the weights sum to 65536
  }
  EXPECT_EQ(Luma(255, 0, 0), 76);
  EXPECT_EQ(Luma(0, 255, 0), 149);
  EXPECT_EQ(Luma(0, 0, 255), 29);
}

TEST_F(TablesTest, RebuildAfterFreeGivesTheSameTables) {
  int16_t before = Mul(200, 17);
  FreePixelTables();
  EXPECT_FALSE(PixelTablesReady());
  ASSERT_TRUE(BuildPixelTables());
  ASSERT_TRUE(BuildPixelTables());  // a second build keeps the first
  EXPECT_EQ(Mul(200, 17), before);
}

}  // namespace
}  // namespace vela
