#include "pixels/pixel_rle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

namespace vela {
namespace {

std::vector<uint8_t> Pack(const std::vector<Pixel>& row) {
  std::vector<uint8_t> out(PixelRLEBound(row.size()));
  out.resize(PixelRLEPack(row.data(), row.size(), out.data()));
  return out;
}

// Walks a stream and checks the encoder's own limits: no packet over 124 pixels, no filler.
void CheckPackets(const std::vector<uint8_t>& s, size_t n) {
  size_t at = 0, pixels = 0;
  while (at < s.size()) {
    int c = static_cast<int8_t>(s[at++]);
    ASSERT_NE(c, -128);
    size_t count = c >= 0 ? c + 1 : 1 - c;
    ASSERT_LE(count, 124u);
    at += c >= 0 ? count * 4 : 4;
    pixels += count;
  }
  EXPECT_EQ(at, s.size());
  EXPECT_EQ(pixels, n);
}

void RoundTrip(const std::vector<Pixel>& row) {
  SCOPED_TRACE(row.size());
  auto packed = Pack(row);
  EXPECT_EQ(packed.size(), PixelRLEPackedSize(row.data(), row.size()));
  EXPECT_LE(packed.size(), PixelRLEBound(row.size()));
  CheckPackets(packed, row.size());
  std::vector<Pixel> back(row.size());
  EXPECT_EQ(PixelRLEUnpack(packed.data(), packed.size(), back.data(), back.size()),
            static_cast<ptrdiff_t>(packed.size()));
  EXPECT_EQ(back, row);
}

TEST(PixelRLE, RoundTripsAdversarialRows) {
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
}

TEST(PixelRLE, RoundTripsRandomRowsOfFewColours) {
  std::mt19937 rng(1234);
  for (int trial = 0; trial < 2000; ++trial) {
    std::vector<Pixel> row(rng() % 400);
    const Pixel palette[3] = {0, 0xFFFFFFFF, static_cast<Pixel>(rng())};
    for (auto& p : row) {
      if (rng() % 4 == 0)
        p = rng();
      else
        p = palette[rng() % 3];
      if (rng() % 3 == 0 && &p != row.data()) p = (&p)[-1];
    }
    RoundTrip(row);
  }
}

TEST(PixelRLE, EncoderChoosesRunsAndLiteralsAsTheFormatSays) {
  const Pixel a = 0xAAAAAAAA, b = 0xBBBBBBBB, c = 0xCCCCCCCC;
  // Three equal, then two different: a run of 3 and a literal of 2.
  auto s = Pack({a, a, a, b, c});
  ASSERT_EQ(s.size(), 1 + 4 + 1 + 8u);
  EXPECT_EQ(static_cast<int8_t>(s[0]), -2);
  EXPECT_EQ(s[5], 1);
  // A literal stops before a pixel that equals its right neighbour.
  s = Pack({a, b, b});
  ASSERT_EQ(s.size(), 10u);
  EXPECT_EQ(s[0], 0);
  EXPECT_EQ(static_cast<int8_t>(s[5]), -1);
  // 125 equal pixels: a run of 124 and a last pixel alone as a literal of 1.
  s = Pack(std::vector<Pixel>(125, a));
  ASSERT_EQ(s.size(), 10u);
  EXPECT_EQ(static_cast<int8_t>(s[0]), -123);
  EXPECT_EQ(s[5], 0);
  // Pixel bytes as they lie in memory.
  s = Pack({0x04030201});
  EXPECT_EQ(std::vector<uint8_t>(s.begin() + 1, s.end()), (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(Pack({}).size(), 0u);
}

TEST(PixelRLE, DecoderAcceptsFillersAndLongPackets) {
  // -128 is skipped; the decoder takes packets up to 128 pixels the encoder never writes.
  std::vector<uint8_t> s = {0x80, static_cast<uint8_t>(-127), 1, 2, 3, 4, 0x80};
  std::vector<Pixel> out(128);
  EXPECT_EQ(PixelRLEUnpack(s.data(), s.size(), out.data(), out.size()), 6);
  for (Pixel p : out) EXPECT_EQ(p, 0x04030201u);
}

TEST(PixelRLE, DecoderRefusesCorruptStreamsWithinBounds) {
  std::vector<Pixel> row(300);
  for (size_t i = 0; i < row.size(); ++i) row[i] = i % 7 < 3 ? 9 : static_cast<Pixel>(i);
  auto packed = Pack(row);
  // Every truncation fails; the copy is exactly as long so ASan sees any over-read.
  for (size_t cut = 0; cut < packed.size(); ++cut) {
    std::vector<uint8_t> part(packed.begin(), packed.begin() + cut);
    std::vector<Pixel> out(row.size());
    EXPECT_EQ(PixelRLEUnpack(part.data(), part.size(), out.data(), out.size()), -1) << cut;
  }
  // Asking for fewer pixels than a packet holds fails instead of writing past the end.
  std::vector<Pixel> few(1);
  const std::vector<uint8_t> run = {static_cast<uint8_t>(-3), 1, 1, 1, 1};
  EXPECT_EQ(PixelRLEUnpack(run.data(), run.size(), few.data(), few.size()), -1);
  const std::vector<uint8_t> lit = {1, 1, 1, 1, 1, 2, 2, 2, 2};
  EXPECT_EQ(PixelRLEUnpack(lit.data(), lit.size(), few.data(), few.size()), -1);

  std::mt19937 rng(99);
  for (int trial = 0; trial < 5000; ++trial) {
    std::vector<uint8_t> junk(rng() % 64);
    for (auto& byte : junk) byte = static_cast<uint8_t>(rng());
    std::vector<Pixel> out(rng() % 40);
    ptrdiff_t used = PixelRLEUnpack(junk.data(), junk.size(), out.data(), out.size());
    EXPECT_LE(used, static_cast<ptrdiff_t>(junk.size()));
  }
}

TEST(PixelRLE, RowsKeepTheirStrideAndStopAtAFault) {
  const int w = 70, h = 5, stride = 100;
  std::vector<Pixel> src(stride * h);
  for (int i = 0; i < stride * h; ++i) src[i] = (i / 13) * 0x01010101u;
  std::vector<uint8_t> packed(PixelRLEBound(w * h));
  packed.resize(PixelRLEPackRows(src.data(), stride, w, h, packed.data()));
  std::vector<Pixel> dst(stride * h, 0xDEADBEEF);
  ASSERT_TRUE(PixelRLEUnpackRows(packed.data(), packed.size(), dst.data(), stride, w, h));
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < stride; ++x)
      EXPECT_EQ(dst[y * stride + x], x < w ? src[y * stride + x] : 0xDEADBEEF);
  EXPECT_FALSE(PixelRLEUnpackRows(packed.data(), packed.size() - 1, dst.data(), stride, w, h));
}

}  // namespace
}  // namespace vela
