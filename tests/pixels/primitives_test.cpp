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
  EXPECT_EQ(GetPixel(b.get(), 3, 2), 0xFF112233u);
  for (auto [x, y] : {std::pair{-1, 0}, {4, 0}, {0, -1}, {0, 3}, {-5, -5}, {1 << 30, 1}}) {
    EXPECT_EQ(PutPixel(b.get(), x, y, 0xFFFFFFFF), 1) << x << "," << y;
    EXPECT_EQ(GetPixel(b.get(), x, y), 0u);
  }
  std::vector<Pixel> want(12, 0);
  want[11] = 0xFF112233;
  EXPECT_EQ(Pixels(b.get()), want);
}

TEST(PrimitivesTest, FillRectClipsAndOrdersCorners) {
  BlockPtr b(NewBlock(8, 6));
  // Wholly off each side.
  FillRect(b.get(), -5, 1, -1, 4, 0xFF0000FF);
  FillRect(b.get(), 8, 1, 20, 4, 0xFF0000FF);
  FillRect(b.get(), 1, -9, 4, -1, 0xFF0000FF);
  FillRect(b.get(), 1, 6, 4, 6, 0xFF0000FF);
  EXPECT_EQ(Pixels(b.get()), std::vector<Pixel>(48, 0));

  BlockPtr reversed(NewBlock(8, 6));
  FillRect(b.get(), 2, 1, 5, 3, 0xFF00FF00);
  FillRect(reversed.get(), 5, 3, 2, 1, 0xFF00FF00);
  EXPECT_EQ(Pixels(b.get()), Pixels(reversed.get()));
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 8; ++x)
      ASSERT_EQ(GetPixel(b.get(), x, y), (x >= 2 && x <= 5 && y >= 1 && y <= 3) ? 0xFF00FF00 : 0u);

  // Larger than the Block on all sides: the whole Block, and nothing past it.
  FillRect(b.get(), 100, 100, -100, -100, 0xFFABCDEF);
  EXPECT_EQ(Pixels(b.get()), std::vector<Pixel>(48, 0xFFABCDEF));
  EXPECT_NE(b->data[48], 0xFFABCDEFu);
}

TEST(PrimitivesTest, FillRectMatchesAPlainLoopAtAnyAlignment) {
  std::mt19937 rng(3);
  BlockPtr b(NewBlock(70, 9));
  std::vector<Pixel> want(70 * 9, 0);
  for (int n = 0; n < 500; ++n) {
    int x0 = static_cast<int>(rng() % 80) - 5, x1 = static_cast<int>(rng() % 80) - 5;
    int y0 = static_cast<int>(rng() % 12) - 2, y1 = static_cast<int>(rng() % 12) - 2;
    Pixel p = rng() | 0x01000000;
    FillRect(b.get(), x0, y0, x1, y1, p);
    for (int y = std::max(0, std::min(y0, y1)); y <= std::min(8, std::max(y0, y1)); ++y)
      for (int x = std::max(0, std::min(x0, x1)); x <= std::min(69, std::max(x0, x1)); ++x)
        want[y * 70 + x] = p;
    ASSERT_EQ(Pixels(b.get()), want) << x0 << "," << y0 << " " << x1 << "," << y1;
  }
}

TEST(PrimitivesTest, BackgroundTokenIsOnlyTheTransparentWord) {
  Pixel saved = Ws.sysColors[BACKGROUNDCOLOR];
  Ws.sysColors[BACKGROUNDCOLOR] = 0xFF123456;
  BlockPtr b(NewBlock(3, 1));
  FillRect(b.get(), 0, 0, 0, 0, 0x00A0A0A0);
  FillRect(b.get(), 1, 0, 1, 0, 0xFFA0A0A0);
  Ws.sysColors[BACKGROUNDCOLOR] = saved;
  EXPECT_EQ(GetPixel(b.get(), 0, 0), 0xFF123456u);
  EXPECT_EQ(GetPixel(b.get(), 1, 0), 0xFFA0A0A0u);
  EXPECT_EQ(GetPixel(b.get(), 2, 0), 0u);
}

TEST(PrimitivesTest, InvertRectKeepsAlphaAndUndoesItself) {
  BlockPtr b = Numbered(5, 5, 0x80000000);
  std::vector<Pixel> before = Pixels(b.get());
  InvertRect(b.get(), 3, 4, 1, -2);
  for (int y = 0; y < 5; ++y)
    for (int x = 0; x < 5; ++x) {
      Pixel was = before[y * 5 + x];
      bool inside = x >= 1 && x <= 3 && y <= 4;
      ASSERT_EQ(GetPixel(b.get(), x, y), inside ? was ^ 0x00FFFFFF : was);
    }
  InvertRect(b.get(), 1, 0, 3, 4);
  EXPECT_EQ(Pixels(b.get()), before);
}

TEST(PrimitivesTest, DrawLineStaysOnTheIdealLine) {
  std::mt19937 rng(7);
  for (int n = 0; n < 300; ++n) {
    BlockPtr b(NewBlock(40, 30));
    int x0 = rng() % 40, y0 = rng() % 30, x1 = rng() % 40, y1 = rng() % 30;
    DrawLine(b.get(), x0, y0, x1, y1, 0xFFFFFFFF);
    int dx = x1 - x0, dy = y1 - y0;
    int steps = std::max(std::abs(dx), std::abs(dy));
    int count = 0;
    for (int y = 0; y < 30; ++y)
      for (int x = 0; x < 40; ++x) {
        if (!GetPixel(b.get(), x, y)) continue;
        ++count;
        // Distance along the minor axis from the exact line stays within half a pixel.
        const bool xMajor = std::abs(dx) >= std::abs(dy);
        const int u = xMajor ? x : y, v = xMajor ? y : x, u0 = xMajor ? x0 : y0, u1 = xMajor ? x1 : y1;
        const int v0 = xMajor ? y0 : x0, du = xMajor ? dx : dy, dv = xMajor ? dy : dx;
        ASSERT_TRUE((u - u0) * (u - u1) <= 0);
        double ideal = du ? v0 + static_cast<double>(dv) * (u - u0) / du : v0;
        ASSERT_LE(std::abs(v - ideal), 0.5) << x0 << "," << y0 << " " << x1 << "," << y1;
      }
    ASSERT_EQ(count, steps + 1);
    ASSERT_TRUE(GetPixel(b.get(), x0, y0) && GetPixel(b.get(), x1, y1));
  }
}

TEST(PrimitivesTest, CopyAndSwapRectangles) {
  BlockPtr a = Numbered(6, 5, 100);
  BlockPtr b = Numbered(4, 4, 900);
  std::vector<Pixel> a0 = Pixels(a.get()), b0 = Pixels(b.get());
  CopyRect(a.get(), 1, 2, b.get(), 2, 0, 2, 3);
  for (int y = 0; y < 4; ++y)
    for (int x = 0; x < 4; ++x) {
      bool inside = x >= 2 && y < 3;
      ASSERT_EQ(GetPixel(b.get(), x, y), inside ? a0[(y + 2) * 6 + (x - 1)] : b0[y * 4 + x]);
    }

  BlockPtr c = Numbered(6, 5, 100);
  BlockPtr d = Numbered(4, 4, 900);
  SwapRect(c.get(), 0, 1, d.get(), 1, 2, 3, 2);
  for (int y = 0; y < 2; ++y)
    for (int x = 0; x < 3; ++x) {
      ASSERT_EQ(GetPixel(c.get(), x, 1 + y), b0[(2 + y) * 4 + 1 + x]);
      ASSERT_EQ(GetPixel(d.get(), 1 + x, 2 + y), a0[(1 + y) * 6 + x]);
    }
  EXPECT_EQ(GetPixel(c.get(), 3, 1), a0[1 * 6 + 3]);
}

TEST(PrimitivesTest, CopyRectWithinOneBlockOverlapping) {
  for (int shift : {-2, -1, 1, 2}) {
    BlockPtr b = Numbered(5, 8);
    std::vector<Pixel> before = Pixels(b.get());
    int sy = shift > 0 ? 1 : 4;
    CopyRect(b.get(), 1, sy, b.get(), 0, sy + shift, 3, 3);
    for (int y = 0; y < 3; ++y)
      for (int x = 0; x < 3; ++x)
        ASSERT_EQ(GetPixel(b.get(), x, sy + shift + y), before[(sy + y) * 5 + 1 + x]) << shift;
  }
}

TEST(PrimitivesTest, BlitRectClipsAgainstTheDestination) {
  BlockPtr src = Numbered(6, 4);
  BlockPtr dst(NewBlock(5, 3));
  // A negative x copies the right part of the source to column 0.
  EXPECT_EQ(BlitRect(src.get(), 0, 0, dst.get(), -2, -1, 6, 4), 0);
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 4; ++x) ASSERT_EQ(GetPixel(dst.get(), x, y), src->Row(y + 1)[x + 2]);
  EXPECT_EQ(GetPixel(dst.get(), 4, 0), 0u);

  BlockPtr right(NewBlock(5, 3));
  EXPECT_EQ(BlitRect(src.get(), 0, 0, right.get(), 3, 2, 6, 4), 0);
  EXPECT_EQ(GetPixel(right.get(), 3, 2), src->Row(0)[0]);
  EXPECT_EQ(GetPixel(right.get(), 4, 2), src->Row(0)[1]);
  EXPECT_EQ(GetPixel(right.get(), 2, 2), 0u);

  for (auto [dx, dy, w, h] : {std::array{-6, 0, 6, 4},
                              {5, 0, 2, 2},
                              {0, 3, 2, 2},
                              {0, -4, 6, 4},
                              {1, 1, 0, 3},
                              {1, 1, 3, -1}})
    EXPECT_EQ(BlitRect(src.get(), 0, 0, right.get(), dx, dy, w, h), -1);
}

TEST(PrimitivesTest, BlitRectSolidSkipsTransparentWords) {
  BlockPtr src = Numbered(3, 2);
  src->data[1] = 0;
  src->data[5] = 0;
  BlockPtr dst = Numbered(3, 2, 500);
  EXPECT_EQ(BlitRectSolid(src.get(), 0, 0, dst.get(), 0, 0, 3, 2), 0);
  EXPECT_EQ(Pixels(dst.get()), (std::vector<Pixel>{1, 501, 3, 4, 5, 505}));
  EXPECT_EQ(BlitRectSolid(src.get(), 0, 0, dst.get(), 3, 0, 3, 2), -1);
}

TEST(PrimitivesTest, StampMaskWritesWhereTheMaskIsSet) {
  const uint8_t mask[3 * 4] = {0, 1, 0,  //
                               9, 0, 0,  //
                               0, 0, 255, 0, 0, 0};
  BlockPtr dst(NewBlock(4, 4));
  EXPECT_EQ(StampMask(nullptr, 3, 4, 0, 0, dst.get(), 0, 0, 3, 3, 7), -1);
  EXPECT_EQ(StampMask(mask, 3, 4, 0, 0, dst.get(), -1, 1, 3, 3, 7), 0);
  EXPECT_EQ(Pixels(dst.get()), (std::vector<Pixel>{0, 0, 0, 0,  //
                                                   7, 0, 0, 0,  //
                                                   0, 0, 0, 0,  //
                                                   0, 7, 0, 0}));
  // A rectangle larger than the mask stops at the mask's edge.
  BlockPtr big(NewBlock(8, 8));
  EXPECT_EQ(StampMask(mask, 3, 4, 1, 1, big.get(), 0, 0, 8, 8, 5), 0);
  EXPECT_EQ(GetPixel(big.get(), 1, 1), 5u);
  EXPECT_EQ(StampMask(mask, 3, 4, 3, 0, big.get(), 0, 0, 2, 2, 5), -1);
}

TEST(PrimitivesTest, WholeBlockCopyAndSwap) {
  BlockPtr a = Numbered(4, 3, 1), b = Numbered(4, 3, 50), odd = Numbered(3, 4, 90);
  std::vector<Pixel> a0 = Pixels(a.get()), b0 = Pixels(b.get()), odd0 = Pixels(odd.get());
  EXPECT_EQ(CopyBlock(a.get(), odd.get()), -1);
  EXPECT_EQ(Pixels(odd.get()), odd0);
  SwapBlock(a.get(), b.get());
  EXPECT_EQ(Pixels(a.get()), b0);
  EXPECT_EQ(Pixels(b.get()), a0);
  EXPECT_EQ(CopyBlock(a.get(), b.get()), 0);
  EXPECT_EQ(Pixels(b.get()), b0);
}

TEST(PrimitivesTest, FlipsMirrorAndUndoThemselves) {
  for (auto [w, h] : {std::pair{1, 1}, {4, 3}, {5, 6}}) {
    BlockPtr b = Numbered(w, h);
    std::vector<Pixel> before = Pixels(b.get());
    FlipHorizontal(b.get());
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) ASSERT_EQ(b->Row(y)[x], before[y * w + (w - 1 - x)]);
    FlipHorizontal(b.get());
    FlipVertical(b.get());
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) ASSERT_EQ(b->Row(y)[x], before[(h - 1 - y) * w + x]);
    FlipVertical(b.get());
    EXPECT_EQ(Pixels(b.get()), before);
  }
}

TEST(PrimitivesTest, RotateRightTurnsClockwise) {
  // Sizes past the 32-pixel tiles as well as small odd ones.
  for (auto [w, h] : {std::pair{3, 5}, {1, 7}, {70, 33}}) {
    BlockPtr b = Numbered(w, h);
    BlockPtr r(RotateRight(b.get()));
    ASSERT_TRUE(r);
    ASSERT_EQ(r->width, h);
    ASSERT_EQ(r->height, w);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) ASSERT_EQ(r->Row(x)[h - 1 - y], b->Row(y)[x]);
    // The top left corner goes to the top right.
    EXPECT_EQ(r->Row(0)[h - 1], b->Row(0)[0]);

    BlockPtr back = Numbered(w, h, 7);
    BlockPtr half(AllocBlock(w, h)), three(AllocBlock(h, w));
    ASSERT_EQ(RotateRightInto(r.get(), half.get()), 0);
    ASSERT_EQ(RotateRightInto(half.get(), three.get()), 0);
    ASSERT_EQ(RotateRightInto(three.get(), back.get()), 0);
    EXPECT_EQ(Pixels(back.get()), Pixels(b.get()));
    if (w != h) {
      EXPECT_EQ(RotateRightInto(b.get(), half.get()), -1);
    }
  }
}

}  // namespace
}  // namespace vela
