// The quantizer: bounded error on a photo-like picture, exact colours when there are few, the
// reserved transparent index, the preset palettes and both dithers.
#include <cmath>

#include "formats/quantize.h"
#include "formats_fixture.h"
#include "project/compose.h"
#include "start/workspace.h"

namespace vela {
namespace {

class Quantizer : public FormatsTest {};

int GridValue(int level) {
  return static_cast<int>(level * 255.0 / 63 + 0.5);
}

// Smooth hues over a vignette, with a little grain: what a photograph asks of a palette.
BlockPtr PhotoLike(int w, int h) {
  BlockPtr b(NewBlock(w, h));
  uint32_t seed = 12345;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      seed = seed * 214013 + 2531011;
      const int grain = static_cast<int>((seed >> 16) & 7) - 3;
      const double u = double(x) / w, v = double(y) / h;
      const double shade = 1 - 0.5 * ((u - 0.5) * (u - 0.5) + (v - 0.5) * (v - 0.5));
      auto c = [&](double t) { return std::clamp(static_cast<int>(t * shade) + grain, 0, 255); };
      b->Row(y)[x] = PenPixel(c(60 + 190 * u), c(40 + 150 * v + 40 * u), c(200 - 160 * u * v));
    }
  return b;
}

struct Error {
  double mean;
  int worst;
};

Error Measure(const Block& b, const std::vector<uint8_t>& map, const Pixel* palette) {
  double sum = 0;
  int worst = 0;
  for (int y = 0; y < b.height; ++y)
    for (int x = 0; x < b.width; ++x) {
      const Pixel p = b.Row(y)[x], q = palette[map[static_cast<size_t>(y) * b.width + x]];
      for (int d : {Red(p) - Red(q), Green(p) - Green(q), Blue(p) - Blue(q)}) {
        sum += std::abs(d);
        worst = std::max(worst, std::abs(d));
      }
    }
  return {sum / (3.0 * b.width * b.height), worst};
}

TEST_F(Quantizer, PhotoLikePictureStaysWithinAFewLevels) {
  BlockPtr b = PhotoLike(160, 120);
  Pixel palette[256];
  std::vector<uint8_t> map;
  int transparent = -1;
  ASSERT_TRUE(Quantize(*b, palette, &map, &transparent, nullptr, 256, kPaletteLocal, kDitherNone));
  EXPECT_EQ(transparent, 255);
  const Error e = Measure(*b, map, palette);
  // 255 boxes over a colour surface: a mean within 3 levels of 255, no pixel off by more than 20.
  EXPECT_LT(e.mean, 3.0);
  EXPECT_LE(e.worst, 20);
  for (uint8_t i : map) EXPECT_LT(i, 255);
  // With 16 colours Floyd-Steinberg keeps the local average where the plain mapping cannot.
  std::vector<uint8_t> plain, dithered;
  ASSERT_TRUE(Quantize(*b, palette, &plain, &transparent, nullptr, 17, kPaletteLocal, kDitherNone));
  Pixel palette2[256];
  ASSERT_TRUE(
      Quantize(*b, palette2, &dithered, &transparent, nullptr, 17, kPaletteLocal, kDitherFloyd));
  // The mean over 8x8 tiles of how far each tile's average colour moved.
  auto tileError = [&](const std::vector<uint8_t>& m, const Pixel* pal) {
    double total = 0;
    for (int ty = 0; ty < 120; ty += 8)
      for (int tx = 0; tx < 160; tx += 8) {
        double d[3] = {};
        for (int y = ty; y < ty + 8; ++y)
          for (int x = tx; x < tx + 8; ++x) {
            const Pixel p = b->Row(y)[x], q = pal[m[y * 160 + x]];
            d[0] += Red(p) - Red(q), d[1] += Green(p) - Green(q), d[2] += Blue(p) - Blue(q);
          }
        for (double v : d) total += std::abs(v) / 64;
      }
    return total / (3 * 20 * 15);
  };
  EXPECT_LT(tileError(dithered, palette2), 4.0);
  EXPECT_LT(tileError(dithered, palette2), 0.7 * tileError(plain, palette));
}

TEST_F(Quantizer, FewColoursOnTheGridComeBackExact) {
  // 255 distinct colours whose levels survive the 6-bit histogram: every one is its own box.
  BlockPtr b = GridColours(255, 51, 25);
  Pixel palette[256];
  std::vector<uint8_t> map;
  int transparent;
  ASSERT_TRUE(Quantize(*b, palette, &map, &transparent, nullptr, 256, kPaletteLocal, kDitherNone));
  EXPECT_EQ(Measure(*b, map, palette).worst, 0);
  // Two colours, and a count of 1 that still cuts for 2: both exact.
  BlockPtr two = BlankBlock(9, 4, PenPixel(GridValue(3), GridValue(60), GridValue(17)));
  two->Row(2)[5] = PenPixel(255, 0, GridValue(40));
  Pixel small[256];
  EXPECT_EQ(BuildPalette(*two, 1, small, kDitherNone, &map), 2);
  EXPECT_EQ(Measure(*two, map, small).worst, 0);
  // Fewer colours than asked: the cut stops at the distinct ones and the palette is short.
  EXPECT_EQ(BuildPalette(*two, 100, small, kDitherNone, &map), 2);
}

TEST_F(Quantizer, TransparentPixelsTakeTheLastIndex) {
  BlockPtr b = BlankBlock(6, 6, 0);
  b->Row(0)[0] = MakePixel(4, 4, 0, 0);  // under 5 counts as transparent
  b->Row(0)[1] = MakePixel(5, 5, 0, 0);
  Pixel palette[256];
  std::vector<uint8_t> map;
  int transparent;
  ASSERT_TRUE(Quantize(*b, palette, &map, &transparent, nullptr, 32, kPaletteLocal, kDitherFloyd));
  EXPECT_EQ(transparent, 31);
  EXPECT_EQ(map[0], 31);
  EXPECT_NE(map[1], 31);
  EXPECT_EQ(std::count(map.begin(), map.end(), 31), 35);
  EXPECT_EQ(palette[31], 0u);
  // A solid or check background of the project stands in the reserved entry, straight.
  Ws.background = MakePixel(128, 64, 2, 3);
  for (uint32_t mode : {kDisplayColor, kDisplayCheck}) {
    Ws.displayFlags = mode;
    ASSERT_TRUE(Quantize(*b, palette, &map, &transparent, nullptr, 32, kPaletteLocal, kDitherNone));
    EXPECT_EQ(palette[31], PenPixel(127, 3, 5)) << mode;
  }
  Ws.displayFlags = 0;
  Ws.background = 0;
  // The user palette comes from the Palette window; without one the preset stands in.
  Pixel bank[256];
  for (int i = 0; i < 256; ++i) bank[i] = PenPixel(i, 0, 0);
  SetUserPalette(bank);
  BlockPtr red = BlankBlock(4, 1, PenPixel(100, 0, 0));
  ASSERT_TRUE(Quantize(*red, palette, &map, &transparent, nullptr, 256, kPaletteUser, kDitherNone));
  SetUserPalette(nullptr);
  EXPECT_EQ(map[0], 100);
  ASSERT_TRUE(Quantize(*red, palette, &map, &transparent, nullptr, 256, kPaletteUser, kDitherNone));
  EXPECT_EQ(palette[map[0]], PenPixel(102, 0, 0)) << "the preset's nearest red level";
}

TEST_F(Quantizer, PresetPalettesAndTheOrderedDither) {
  int r, g, b;
  ASSERT_TRUE(PresetLevels(245, &r, &g, &b));
  EXPECT_EQ(r * 100 + g * 10 + b, 577);
  ASSERT_TRUE(PresetLevels(100, &r, &g, &b));  // cube root 4.6; square root of 25; 100 / 20
  EXPECT_EQ(r * 100 + g * 10 + b, 455);
  ASSERT_TRUE(PresetLevels(255, &r, &g, &b));  // 6; square root of 42.5 is 6; 255 / 36 is 7
  EXPECT_EQ(r * 100 + g * 10 + b, 667);
  EXPECT_FALSE(PresetLevels(7, &r, &g, &b));
  Pixel palette[256];
  ASSERT_EQ(BuildPresetPalette(216, palette), 216);
  EXPECT_EQ(palette[1 * 36 + 2 * 6 + 3], PenPixel(51, 102, 153));
  // Plain mapping takes the nearest level; the ordered dither mixes the two levels around a
  // value in proportion, with a period of 16.
  BlockPtr flat = BlankBlock(32, 32, PenPixel(51, 102, 170));  // blue 2/3 of the way to 204
  std::vector<uint8_t> map;
  ASSERT_TRUE(MapPreset(*flat, 216, kDitherNone, &map));
  EXPECT_EQ(map[0], 1 * 36 + 2 * 6 + 3);
  ASSERT_TRUE(MapPreset(*flat, 216, kDitherMatrix, &map));
  const auto high = std::count(map.begin(), map.end(), 1 * 36 + 2 * 6 + 4);
  const auto low = std::count(map.begin(), map.end(), 1 * 36 + 2 * 6 + 3);
  EXPECT_EQ(high + low, 1024);
  EXPECT_NEAR(high / 1024.0, 1.0 / 3, 0.02);
  for (int y = 0; y < 16; ++y)
    for (int x = 0; x < 16; ++x) EXPECT_EQ(map[y * 32 + x], map[(y + 16) * 32 + x + 16]);
  // A one-pixel row: Floyd-Steinberg has nothing to carry along it.
  BlockPtr column = BlankBlock(1, 9, PenPixel(51, 102, 153));
  MapToPalette(*column, 216, palette, kDitherFloyd, &map);
  EXPECT_EQ(std::count(map.begin(), map.end(), 1 * 36 + 2 * 6 + 3), 9);
}

}  // namespace
}  // namespace vela
