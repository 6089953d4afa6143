#include "pixels/primitives.h"

#include <array>
#include <cmath>
#include <random>

#include "pixels_fixture.h"
#include "start/workspace.h"

namespace vela {
namespace {

// Every pixel a different word, so any misplaced copy shows.
BlockPtr Numbered(int w, int h, Pixel base = 1) {
  BlockPtr b(AllocBlock(w, h));
  for (int i = 0; i < w * h; ++i) b->data[i] = base + static_cast<Pixel>(i);
  return b;
}

TEST(PrimitivesTest, PutAndGetOnlyInside) {
  BlockPtr b(NewBlock(4, 3));
  EXPECT_EQ(PutPixel(b.get(), 3, 2, 0xFF112233), 0);
  for (auto [x, y] : {std::pair{-1, 0}, {4, 0}, {0, -1}, {0, 3}, {-5, -5}, {1 << 30, 1}}) {
    EXPECT_EQ(PutPixel(b.get(), x, y, 0xFFFFFFFF), 1) << x << "," << y;
    EXPECT_EQ(GetPixel(b.get(), x, y), 0u);
  }
  std::vector<Pixel> want(12, 0);
  want[11] = 0xFF112233;
  EXPECT_EQ(Pixels(b.get()), want);
}

// Corners in any order, partly or wholly outside, at every alignment of the fill's vector stores.
TEST(PrimitivesTest, FillRectMatchesAPlainLoop) {
  std::mt19937 rng(3);
  BlockPtr b(NewBlock(70, 9));
  std::vector<Pixel> want(70 * 9, 0);
  for (int n = 0; n < 600; ++n) {
    int x0 = static_cast<int>(rng() % 100) - 15, x1 = static_cast<int>(rng() % 100) - 15;
    int y0 = static_cast<int>(rng() % 15) - 3, y1 = static_cast<int>(rng() % 15) - 3;
    Pixel p = rng() | 0x01000000;
    FillRect(b.get(), x0, y0, x1, y1, p);
    for (int y = std::max(0, std::min(y0, y1)); y <= std::min(8, std::max(y0, y1)); ++y)
      for (int x = std::max(0, std::min(x0, x1)); x <= std::min(69, std::max(x0, x1)); ++x)
        want[y * 70 + x] = p;
    ASSERT_EQ(Pixels(b.get()), want) << x0 << "," << y0 << " " << x1 << "," << y1;
    ASSERT_EQ(b->data[70 * 9], 0u);  // nothing in the spare rows
  }
  // The background token is only the transparent word.
  Pixel saved = Ws.sysColors[BACKGROUNDCOLOR];
  Ws.sysColors[BACKGROUNDCOLOR] = 0xFF123456;
  FillRect(b.get(), 0, 0, 0, 0, 0x00A0A0A0);
  FillRect(b.get(), 1, 0, 1, 0, 0xFFA0A0A0);
  Ws.sysColors[BACKGROUNDCOLOR] = saved;
  EXPECT_EQ((std::array{GetPixel(b.get(), 0, 0), GetPixel(b.get(), 1, 0)}),
            (std::array{0xFF123456u, 0xFFA0A0A0u}));
}

TEST(PrimitivesTest, InvertRectKeepsAlphaAndUndoesItself) {
  BlockPtr b = Numbered(5, 5, 0x80000000);
  std::vector<Pixel> before = Pixels(b.get());
  InvertRect(b.get(), 3, 4, 1, -2);
  for (int i = 0; i < 25; ++i)
    ASSERT_EQ(b->data[i], i % 5 >= 1 && i % 5 <= 3 ? before[i] ^ 0x00FFFFFF : before[i]) << i;
  InvertRect(b.get(), 1, 0, 3, 4);
  EXPECT_EQ(Pixels(b.get()), before);
}

TEST(PrimitivesTest, DrawLineStaysOnTheIdealLine) {
  std::mt19937 rng(7);
  for (int n = 0; n < 300; ++n) {
    BlockPtr b(NewBlock(40, 30));
    int x0 = rng() % 40, y0 = rng() % 30, x1 = rng() % 40, y1 = rng() % 30;
    DrawLine(b.get(), x0, y0, x1, y1, 0xFFFFFFFF);
    int dx = x1 - x0, dy = y1 - y0, count = 0;
    const bool xMajor = std::abs(dx) >= std::abs(dy);
    const int u0 = xMajor ? x0 : y0, u1 = xMajor ? x1 : y1, v0 = xMajor ? y0 : x0;
    const int du = xMajor ? dx : dy, dv = xMajor ? dy : dx;
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 40; ++x) {
        if (!GetPixel(b.get(), x, y)) continue;
        ++count;
        // Distance along the minor axis from the exact line stays within half a pixel.
        const int u = xMajor ? x : y, v = xMajor ? y : x;
        ASSERT_TRUE((u - u0) * (u - u1) <= 0);
        double ideal = du ? v0 + static_cast<double>(dv) * (u - u0) / du : v0;
        ASSERT_LE(std::abs(v - ideal), 0.5) << x0 << "," << y0 << " " << x1 << "," << y1;
      }
    ASSERT_EQ(count, std::max(std::abs(dx), std::abs(dy)) + 1);
    ASSERT_TRUE(GetPixel(b.get(), x0, y0) && GetPixel(b.get(), x1, y1));
  }
}

TEST(PrimitivesTest, CopyAndSwapRectanglesAndBlocks) {
  BlockPtr a = Numbered(6, 5, 100), b = Numbered(4, 4, 900);
  std::vector<Pixel> a0 = Pixels(a.get()), b0 = Pixels(b.get());
  CopyRect(a.get(), 1, 2, b.get(), 2, 0, 2, 3);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x)
      ASSERT_EQ(b->Row(y)[x], x >= 2 && y < 3 ? a0[(y + 2) * 6 + (x - 1)] : b0[y * 4 + x]);

  BlockPtr c = Numbered(6, 5, 100), d = Numbered(4, 4, 900);
  SwapRect(c.get(), 0, 1, d.get(), 1, 2, 3, 2);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) {
      bool inside = x >= 1 && y >= 2;  // row 1 and 2 of c, columns 0 to 2
      ASSERT_EQ(d->Row(y)[x], inside ? a0[(y - 1) * 6 + x - 1] : b0[y * 4 + x]);
      ASSERT_EQ(c->Row(y + 1)[x], x < 3 && y < 2 ? b0[(2 + y) * 4 + 1 + x] : a0[(y + 1) * 6 + x]);
    }

  // Within one Block, overlapping up and down.
  for (int shift : {-2, -1, 1, 2}) {
    BlockPtr e = Numbered(5, 8);
    std::vector<Pixel> before = Pixels(e.get());
    int sy = shift > 0 ? 1 : 4;
    CopyRect(e.get(), 1, sy, e.get(), 0, sy + shift, 3, 3);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 3; ++x)
        ASSERT_EQ(e->Row(sy + shift + y)[x], before[(sy + y) * 5 + 1 + x]) << shift;
  }

  // Whole Blocks; a copy between sizes is refused.
  BlockPtr f = Numbered(4, 3, 1), g = Numbered(4, 3, 50), odd = Numbered(3, 4, 90);
  std::vector<Pixel> f0 = Pixels(f.get()), g0 = Pixels(g.get()), odd0 = Pixels(odd.get());
  EXPECT_EQ(CopyBlock(f.get(), odd.get()), -1);
  EXPECT_EQ(Pixels(odd.get()), odd0);
  SwapBlock(f.get(), g.get());
  EXPECT_EQ((std::array{Pixels(f.get()), Pixels(g.get())}), (std::array{g0, f0}));
  EXPECT_EQ(CopyBlock(f.get(), g.get()), 0);
  EXPECT_EQ(Pixels(g.get()), g0);
}

TEST(PrimitivesTest, BlitsClipAgainstTheDestination) {
  BlockPtr src = Numbered(6, 4);
  BlockPtr dst(NewBlock(5, 3));
  // A negative x copies the right part of the source to column 0.
  EXPECT_EQ(BlitRect(src.get(), 0, 0, dst.get(), -2, -1, 6, 4), 0);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 5; ++x) ASSERT_EQ(dst->Row(y)[x], x < 4 ? src->Row(y + 1)[x + 2] : 0u);

  BlockPtr right(NewBlock(5, 3));
  EXPECT_EQ(BlitRect(src.get(), 0, 0, right.get(), 3, 2, 6, 4), 0);
  EXPECT_EQ(std::vector<Pixel>(right->data + 12, right->data + 15), (std::vector<Pixel>{0, 1, 2}));
  // Nothing left: wholly off a side, or an empty size.
  const int refused[][4] = {{-6, 0, 6, 4}, {5, 0, 2, 2}, {0, 3, 2, 2},
                            {0, -4, 6, 4}, {1, 1, 0, 3}, {1, 1, 3, -1}};
  for (auto [dx, dy, w, h] : refused)
    EXPECT_EQ(BlitRect(src.get(), 0, 0, right.get(), dx, dy, w, h), -1);

  // The solid blit skips transparent words.
  src->data[1] = src->data[7] = 0;
  BlockPtr solid = Numbered(3, 2, 500);
  EXPECT_EQ(BlitRectSolid(src.get(), 0, 0, solid.get(), 0, 0, 3, 2), 0);
  EXPECT_EQ(Pixels(solid.get()), (std::vector<Pixel>{1, 501, 3, 7, 504, 9}));
  EXPECT_EQ(BlitRectSolid(src.get(), 0, 0, solid.get(), 3, 0, 3, 2), -1);
}

TEST(PrimitivesTest, StampMaskWritesWhereTheMaskIsSet) {
  const uint8_t mask[3 * 4] = {0, 1, 0, 9, 0, 0, 0, 0, 255, 0, 0, 0};  // three wide, four high
  BlockPtr dst(NewBlock(4, 4));
  EXPECT_EQ(StampMask(nullptr, 3, 4, 0, 0, dst.get(), 0, 0, 3, 3, 7), -1);
  EXPECT_EQ(StampMask(mask, 3, 4, 0, 0, dst.get(), -1, 1, 3, 3, 7), 0);
  std::vector<Pixel> want(16, 0);
  want[1 * 4 + 0] = want[3 * 4 + 1] = 7;  // mask (1, 0) and (2, 2), one left and one down
  EXPECT_EQ(Pixels(dst.get()), want);
  // A rectangle larger than the mask stops at the mask's edge.
  BlockPtr big(NewBlock(8, 8));
  EXPECT_EQ(StampMask(mask, 3, 4, 1, 1, big.get(), 0, 0, 8, 8, 5), 0);
  EXPECT_EQ(GetPixel(big.get(), 1, 1), 5u);
  EXPECT_EQ(StampMask(mask, 3, 4, 3, 0, big.get(), 0, 0, 2, 2, 5), -1);
}

TEST(PrimitivesTest, FlipsMirrorAndQuarterTurnsTurnClockwise) {
  // Sizes past the 32-pixel tiles of the turn as well as small odd ones.
  for (auto [w, h] : {std::pair{1, 1}, {4, 3}, {5, 6}, {1, 7}, {70, 33}}) {
    BlockPtr b = Numbered(w, h);
    std::vector<Pixel> before = Pixels(b.get());
    FlipHorizontal(b.get());
    for (int i = 0; i < w * h; ++i) ASSERT_EQ(b->data[i], before[i / w * w + w - 1 - i % w]);
    FlipHorizontal(b.get());
    FlipVertical(b.get());
    for (int i = 0; i < w * h; ++i) ASSERT_EQ(b->data[i], before[(h - 1 - i / w) * w + i % w]);
    FlipVertical(b.get());
    EXPECT_EQ(Pixels(b.get()), before);

    BlockPtr r(RotateRight(b.get()));
    ASSERT_TRUE(r && r->width == h && r->height == w);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) ASSERT_EQ(r->Row(x)[h - 1 - y], b->Row(y)[x]);
    BlockPtr back = Numbered(w, h, 7), half(AllocBlock(w, h)), three(AllocBlock(h, w));
    ASSERT_EQ(RotateRightInto(r.get(), half.get()), 0);
    ASSERT_EQ(RotateRightInto(half.get(), three.get()), 0);
    ASSERT_EQ(RotateRightInto(three.get(), back.get()), 0);
    EXPECT_EQ(Pixels(back.get()), before);
    EXPECT_EQ(RotateRightInto(b.get(), half.get()), w == h ? 0 : -1);
  }
}

}  // namespace
}  // namespace vela
