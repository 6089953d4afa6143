#include "pixels/pixel_rle.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

namespace vela {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Pack(const std::vector<Pixel>& row) {
  Bytes out(PixelRLEBound(row.size()));
  out.resize(PixelRLEPack(row.data(), row.size(), out.data()));
  return out;
}

ptrdiff_t Unpack(const Bytes& s, std::vector<Pixel>& out) {
  return PixelRLEUnpack(s.data(), s.size(), out.data(), out.size());
}

// Round trip, and the encoder's own limits: no packet over 124 pixels, no filler.
void RoundTrip(const std::vector<Pixel>& row) {
  SCOPED_TRACE(row.size());
  auto packed = Pack(row);
  EXPECT_EQ(packed.size(), PixelRLEPackedSize(row.data(), row.size()));
  size_t at = 0, pixels = 0;
  while (at < packed.size()) {
    int c = static_cast<int8_t>(packed[at++]);
    size_t count = c >= 0 ? c + 1 : 1 - c;
    ASSERT_TRUE(c != -128 && count <= 124u) << c;
    at += c >= 0 ? count * 4 : 4;
    pixels += count;
  }
  EXPECT_EQ(at, packed.size());
  EXPECT_EQ(pixels, row.size());
  std::vector<Pixel> back(row.size());
  EXPECT_EQ(Unpack(packed, back), static_cast<ptrdiff_t>(packed.size()));
  EXPECT_EQ(back, row);
}

TEST(PixelRLE, RoundTripsAdversarialAndRandomRows) {
  for (size_t n : {1, 2, 3, 123, 124, 125, 126, 248, 249, 250, 500}) {
    std::vector<Pixel> same(n, 0x80402010), distinct(n), alternating(n), pairs(n), single(n);
    for (size_t i = 0; i < n; ++i) {
      distinct[i] = static_cast<Pixel>(i * 2654435761u);
      alternating[i] = i % 2 ? 0xFF000000 : 0;
      pairs[i] = (i / 2) % 2 ? 0x11111111 : 0x22222222;
      single[i] = i % 3 == 0 ? 5 : 7;  // 5 7 7 5 7 7: a literal of one between runs
    }
    for (const auto* row : {&same, &distinct, &alternating, &pairs, &single}) RoundTrip(*row);
  }
  // Rows of few colours with runs of any length.
  std::mt19937 rng(1234);
  for (int trial = 0; trial < 2000; ++trial) {
    std::vector<Pixel> row(rng() % 400);
    const Pixel palette[3] = {0, 0xFFFFFFFF, static_cast<Pixel>(rng())};
    for (size_t i = 0; i < row.size(); ++i) {
      row[i] = rng() % 4 == 0 ? rng() : palette[rng() % 3];
      if (rng() % 3 == 0 && i > 0) row[i] = row[i - 1];
    }
    RoundTrip(row);
  }
}

TEST(PixelRLE, EncoderChoosesRunsAndLiteralsAsTheFormatSays) {
  const Pixel a = 0xAAAAAAAA, b = 0xBBBBBBBB, c = 0xCCCCCCCC;
  auto controls = [](const Bytes& s, size_t second) {
    return std::array<int, 2>{static_cast<int8_t>(s[0]), static_cast<int8_t>(s[second])};
  };
  // Three equal, then two different: a run of 3 and a literal of 2.
  auto s = Pack({a, a, a, b, c});
  ASSERT_EQ(s.size(), 1 + 4 + 1 + 8u);
  EXPECT_EQ(controls(s, 5), (std::array{-2, 1}));
  // A literal stops before a pixel that equals its right neighbour.
  s = Pack({a, b, b});
  ASSERT_EQ(s.size(), 10u);
  EXPECT_EQ(controls(s, 5), (std::array{0, -1}));
  // 125 equal pixels: a run of 124 and a last pixel alone as a literal of 1.
  s = Pack(std::vector<Pixel>(125, a));
  ASSERT_EQ(s.size(), 10u);
  EXPECT_EQ(controls(s, 5), (std::array{-123, 0}));
  // Pixel bytes as they lie in memory.
  EXPECT_EQ(Pack({0x04030201}), (Bytes{0, 1, 2, 3, 4}));
  EXPECT_EQ(Pack({}).size(), 0u);
}

TEST(PixelRLE, DecoderTakesFillersAndLongPacketsButRefusesCorruptStreams) {
  // -128 is skipped; the decoder takes packets up to 128 pixels the encoder never writes.
  std::vector<Pixel> out(128);
  EXPECT_EQ(Unpack({0x80, static_cast<uint8_t>(-127), 1, 2, 3, 4, 0x80}, out), 6);
  EXPECT_EQ(out, std::vector<Pixel>(128, 0x04030201u));

  std::vector<Pixel> row(300);
  for (size_t i = 0; i < row.size(); ++i) row[i] = i % 7 < 3 ? 9 : static_cast<Pixel>(i);
  auto packed = Pack(row);
  // Every truncation fails; the copy is exactly as long so ASan sees any over-read.
  out.resize(row.size());
  for (size_t cut = 0; cut < packed.size(); ++cut)
    EXPECT_EQ(Unpack(Bytes(packed.begin(), packed.begin() + cut), out), -1) << cut;
  // Asking for fewer pixels than a packet holds fails instead of writing past the end.
  std::vector<Pixel> few(1);
  EXPECT_EQ(Unpack({static_cast<uint8_t>(-3), 1, 1, 1, 1}, few), -1);
  EXPECT_EQ(Unpack({1, 1, 1, 1, 1, 2, 2, 2, 2}, few), -1);

  std::mt19937 rng(99);
  for (int trial = 0; trial < 5000; ++trial) {
    Bytes junk(rng() % 64);
    for (auto& byte : junk) byte = static_cast<uint8_t>(rng());
    std::vector<Pixel> any(rng() % 40);
    EXPECT_LE(Unpack(junk, any), static_cast<ptrdiff_t>(junk.size()));
  }
}

TEST(PixelRLE, RowsKeepTheirStrideAndStopAtAFault) {
  const int w = 70, h = 5, stride = 100;
  std::vector<Pixel> src(stride * h), dst(stride * h, 0xDEADBEEF);
  for (int i = 0; i < stride * h; ++i) src[i] = (i / 13) * 0x01010101u;
  Bytes packed(PixelRLEBound(w * h));
  packed.resize(PixelRLEPackRows(src.data(), stride, w, h, packed.data()));
  ASSERT_TRUE(PixelRLEUnpackRows(packed.data(), packed.size(), dst.data(), stride, w, h));
  for (int i = 0; i < stride * h; ++i) EXPECT_EQ(dst[i], i % stride < w ? src[i] : 0xDEADBEEF);
  EXPECT_FALSE(PixelRLEUnpackRows(packed.data(), packed.size() - 1, dst.data(), stride, w, h));
}

}  // namespace
}  // namespace vela
