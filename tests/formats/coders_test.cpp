// The coders at their edges, with files built byte by byte from the formats' layouts.
#include <cstring>

#include "formats/quantize.h"
#include "formats_fixture.h"

namespace vela {
namespace {

using ByteList = std::vector<uint8_t>;

void Le16(ByteList& b, unsigned v) {
  b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8)});
}
void Le32(ByteList& b, uint32_t v) {
  b.insert(b.end(), {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)});
}
void Be16(ByteList& b, unsigned v) {
  b.insert(b.end(), {uint8_t(v >> 8), uint8_t(v)});
}
void Be32(ByteList& b, uint32_t v) {
  b.insert(b.end(), {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)});
}

ByteList TgaHeader(int type, int w, int h, int depth, int descriptor) {
  ByteList b(18, 0);
  b[2] = uint8_t(type);
  b[12] = uint8_t(w), b[13] = uint8_t(w >> 8), b[14] = uint8_t(h), b[15] = uint8_t(h >> 8);
  b[16] = uint8_t(depth);
  b[17] = uint8_t(descriptor);
  return b;
}

class Coders : public FormatsTest {
 protected:
  // Loads bytes as a file of the given name into a Block of w x h filled with `fill`.
  BlockPtr LoadAs(const ByteList& bytes, const char* name, int w, int h, int* result,
                  Pixel fill = 0x11223344) {
    BlockPtr b = BlankBlock(w, h, fill);
    *result = LoadBytesIntoBlock(bytes, name, b.get(), -1);
    return b;
  }
};

TEST_F(Coders, TgaRaisesAlphaKeepsOrientationAndRunsAcrossRows) {
  // A 32-bit pixel (blue 10, green 20, red 30, alpha 5) gets alpha 30; bottom row first.
  ByteList f = TgaHeader(2, 1, 2, 32, 0);
  f.insert(f.end(), {10, 20, 30, 5, 1, 2, 3, 255});
  int r;
  BlockPtr b = LoadAs(f, "a.tga", 1, 2, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(1)[0], MakePixel(30, 30, 20, 10));
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 3, 2, 1));
  // Type 10 top-first: one run packet of 3 crosses from row 0 into row 1, then one raw pixel.
  f = TgaHeader(10, 2, 2, 24, 0x20);
  f.insert(f.end(), {0x82, 9, 8, 7, 0x00, 1, 2, 3});
  b = LoadAs(f, "b.TGA", 2, 2, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 7, 8, 9));
  EXPECT_EQ(b->Row(1)[0], MakePixel(255, 7, 8, 9));
  EXPECT_EQ(b->Row(1)[1], MakePixel(255, 3, 2, 1));
  // 16-bit map entries widen each 5-bit channel by (x << 3) | (x >> 2).
  f = TgaHeader(1, 1, 1, 8, 0);
  f[1] = 1;
  f[5] = 1;  // map length 1
  f[7] = 16;
  f.insert(f.end(), {0x21, 0x7C, 0});  // red 31, green 1, blue 1
  b = LoadAs(f, "c.vst", 1, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 255, 8, 8));
  f[1] = 0;  // a mapped picture without its map
  LoadAs(f, "d.tga", 1, 1, &r);
  EXPECT_EQ(r, -1);
  EXPECT_TRUE(Seen("TGA error: no Color Map!"));
  f = TgaHeader(2, 4, 4, 24, 0);
  f.resize(f.size() + 20);  // 4 of 16 pixels
  LoadAs(f, "e.tga", 4, 4, &r);
  EXPECT_EQ(r, -1);
  EXPECT_TRUE(Seen("Bad TGA file"));
  f = TgaHeader(4, 1, 1, 24, 0);  // no such type
  f.resize(f.size() + 3);
  LoadAs(f, "e.tga", 1, 1, &r);
  EXPECT_EQ(r, -1);
}

TEST_F(Coders, SizesAtTheLimitsOfTheirFields) {
  // 16-bit header fields: 65535 is the widest picture TGA and its kin can save.
  BlockPtr widest = BlankBlock(65535, 1, 0xFF0000FF), wider = BlankBlock(65536, 1, 0xFF0000FF);
  ASSERT_EQ(SaveBlockAs(Path("w.tga").c_str(), *widest, kFormatTga, SaveSettings{}), 0);
  int w, h;
  EXPECT_EQ(FileType(Path("w.tga").c_str(), &w, &h), kFormatTga);
  EXPECT_EQ(w, 65535);
  for (int format : {kFormatTga, kFormatPcx, kFormatSoftimage, kFormatRendition}) {
    g_messages.clear();
    EXPECT_EQ(SaveBlockAs(Path("x").c_str(), *wider, format, SaveSettings{}), -1) << format;
    EXPECT_FALSE(g_messages.empty()) << format;
    EXPECT_FALSE(std::filesystem::exists(Path("x"))) << format;
  }
  // A header may claim any size: a picture no page could hold is refused before allocation.
  ByteList f = TgaHeader(2, 65535, 65535, 24, 0);
  f.resize(f.size() + 30);
  WriteBytes(Path("huge.tga"), f);
  g_messages.clear();
  EXPECT_FALSE(LoadImageBlock(Path("huge.tga").c_str()));
  EXPECT_TRUE(Seen(" Not enough memory"));
  // A header of width or height 0 names no picture.
  f = TgaHeader(2, 0, 1, 24, 0);
  f.resize(f.size() + 3);
  EXPECT_EQ(FileTypeOfBytes(f, "z.tga", &w, &h), -1);
  // 16-bit pixels take 5 bits a channel, widened by (x << 3) | (x >> 2), alpha 255.
  f = TgaHeader(2, 1, 1, 16, 0);
  f.insert(f.end(), {0x1F, 0x7C});
  int r;
  BlockPtr b = LoadAs(f, "p.tga", 1, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 255, 0, 255));
}

TEST_F(Coders, TgaWriterPacketsNeverCrossRowsAndRunsStopAt124) {
  BlockPtr b = BlankBlock(130, 2, MakePixel(255, 1, 2, 3));
  b->Row(0)[129] = MakePixel(128, 4, 5, 6);
  SaveSettings s;
  ASSERT_EQ(SaveBlockAs(Path("r.tga").c_str(), *b, kFormatTga, s), 0);
  ByteList want = TgaHeader(10, 130, 2, 32, 0);
  // Last row first: 124 + 6 equal pixels; then the first row: 124 + 5 equal, one raw.
  auto px = [&](Pixel p) { Le32(want, p); };
  want.push_back(0x80 | 123), px(0xFF010203), want.push_back(0x80 | 5), px(0xFF010203);
  want.push_back(0x80 | 123), px(0xFF010203), want.push_back(0x80 | 4), px(0xFF010203);
  want.push_back(0), px(MakePixel(128, 4, 5, 6));
  EXPECT_EQ(ReadBytes(Path("r.tga")), want);
  // A width of 1 gives one raw packet a row.
  BlockPtr one = BlankBlock(1, 2, 0xFF0000FF);
  ASSERT_EQ(SaveBlockAs(Path("o.tga").c_str(), *one, kFormatTga, s), 0);
  want = TgaHeader(10, 1, 2, 32, 0);
  for (int i = 0; i < 2; ++i) want.push_back(0), Le32(want, 0xFF0000FF);
  EXPECT_EQ(ReadBytes(Path("o.tga")), want);
}

ByteList Bmp(int depth, int w, int h, uint32_t compression, const ByteList& palette,
             const ByteList& data, int planes = 1) {
  ByteList b = {'B', 'M'};
  const uint32_t offset = 54 + static_cast<uint32_t>(palette.size());
  Le32(b, offset + static_cast<uint32_t>(data.size()));
  Le32(b, 0);
  Le32(b, offset);
  Le32(b, 40), Le32(b, w), Le32(b, h), Le16(b, planes), Le16(b, depth), Le32(b, compression);
  Le32(b, 0), Le32(b, 0), Le32(b, 0), Le32(b, static_cast<uint32_t>(palette.size() / 4)),
      Le32(b, 0);
  b.insert(b.end(), palette.begin(), palette.end());
  b.insert(b.end(), data.begin(), data.end());
  return b;
}

TEST_F(Coders, BmpAlphaTestRunLengthEscapesAndRefusals) {
  int r;
  // Colours at or under alpha: all four bytes kept.
  BlockPtr b = LoadAs(Bmp(32, 2, 1, 0, {}, {10, 10, 10, 20, 40, 0, 0, 40}), "a", 2, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], MakePixel(20, 10, 10, 10));
  EXPECT_EQ(b->Row(0)[1], MakePixel(40, 0, 0, 40));
  // One blue above its alpha: the file has no real alpha, every pixel becomes opaque.
  b = LoadAs(Bmp(32, 2, 1, 0, {}, {10, 10, 10, 20, 50, 0, 0, 40}), "a", 2, 1, &r);
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 10, 10, 10));
  EXPECT_EQ(b->Row(0)[1], MakePixel(255, 0, 0, 50));
  // RLE8 on 4x2, bottom row first: two of index 1, a delta of (1, 1), one of index 2, end.
  const ByteList palette = {0, 0, 0, 0, 0, 0, 255, 0, 255, 0, 0, 0};
  b = LoadAs(Bmp(8, 4, 2, 1, palette, {2, 1, 0, 2, 1, 1, 1, 2, 0, 1}), "a", 4, 2, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(1)[0], 0xFFFF0000u);
  EXPECT_EQ(b->Row(1)[1], 0xFFFF0000u);
  EXPECT_EQ(b->Row(1)[2], 0u);  // cleared first, never written
  EXPECT_EQ(b->Row(0)[3], 0xFF0000FFu);
  EXPECT_EQ(b->Row(0)[0], 0u);
  // 16 bits: 5-5-5, each channel (x << 3) | (x >> 3).
  b = LoadAs(Bmp(16, 1, 1, 0, {}, {0x1F, 0x7C, 0, 0}), "a", 1, 1, &r);  // red 31, green 0, blue 31
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 251, 0, 251));
  // An index past the two colours the file gives is opaque black, not a hole.
  b = LoadAs(Bmp(8, 2, 1, 0, ByteList(palette.begin(), palette.begin() + 8), {1, 5, 0, 0}), "a", 2,
             1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], 0xFFFF0000u);
  EXPECT_EQ(b->Row(0)[1], 0xFF000000u);
  LoadAs(Bmp(24, 1, 1, 0, {}, {1, 2, 3, 0}, 2), "a", 1, 1, &r);
  EXPECT_EQ(r, -1);
  EXPECT_TRUE(Seen("Bad BMP file"));
  LoadAs(Bmp(8, 1, 1, 2, palette, {0, 0, 0, 0}), "a", 1, 1, &r);
  EXPECT_EQ(r, -1);
  EXPECT_TRUE(Seen("Can't read Compressed Image!"));
}

TEST_F(Coders, PcxOutputEscapesEveryByteFrom63) {
  // 70 grey levels on the 6-bit grid: indices reach past 63.
  BlockPtr b(NewBlock(70, 3));
  for (int y = 0; y < 3; ++y)
    for (int x = 0; x < 70; ++x) {
      const int v = static_cast<int>((x % 64) * 255.0 / 63 + 0.5);
      b->Row(y)[x] = PenPixel(v, v, (x / 64) * 255);
    }
  SaveSettings s;
  s.pcx = {kPaletteLocal, kDitherNone, 256};
  ASSERT_EQ(SaveBlockAs(Path("a.pcx").c_str(), *b, kFormatPcx, s), 0);
  const ByteList f = ReadBytes(Path("a.pcx"));
  ASSERT_GT(f.size(), 128u + 769);
  EXPECT_EQ(ByteList(f.begin(), f.begin() + 4), (ByteList{10, 5, 1, 8}));
  EXPECT_EQ(f[8] | f[9] << 8, 69);    // x maximum
  EXPECT_EQ(f[12] | f[13] << 8, 70);  // resolution = width
  EXPECT_EQ(f[65], 1);
  EXPECT_EQ(f[66] | f[67] << 8, 70);
  EXPECT_EQ(f[f.size() - 769], 12);
  // Walk the body by the writer's rule and count what it costs.
  size_t at = 128, pixels = 0, escaped = 0;
  while (at < f.size() - 769) {
    if (f[at] == 193) {
      ASSERT_GE(f[at + 1], 63);
      ++escaped, at += 2;
    } else {
      ASSERT_LT(f[at], 63);
      ++at;
    }
    ++pixels;
  }
  EXPECT_EQ(pixels, 210u);
  EXPECT_GT(escaped, 0u);
  int r;
  BlockPtr back = LoadAs(f, "A.PcX", 70, 3, &r);
  ASSERT_EQ(r, 0);
  for (int x = 0; x < 70; ++x) EXPECT_EQ(back->Row(2)[x], b->Row(2)[x]) << x;
  LoadAs(ByteList(f.begin(), f.begin() + 140), "a.pcx", 70, 3, &r);
  EXPECT_EQ(r, -1);
}

TEST_F(Coders, SunRunLengthGreyRampAndRefusedTypes) {
  auto sun = [](uint32_t type, uint32_t depth, uint32_t w, const ByteList& body,
                uint32_t mapLength = 0) {
    ByteList f;
    for (uint32_t v : {0x59A66A95u, w, 1u, depth, uint32_t(body.size()), type, 0u, mapLength})
      Be32(f, v);
    f.insert(f.end(), body.begin(), body.end());
    return f;
  };
  int r;
  // Map type 0 with a map length: those bytes come before the pixels and are passed over.
  BlockPtr grey = LoadAs(sun(1, 8, 1, {9, 9, 9, 40, 0}, 3), "x", 1, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(grey->Row(0)[0], PenPixel(40, 40, 40));
  // 0x80 0 is one 0x80; 0x80 1 5 is two 5s; the row of 3 is padded to 4 bytes.
  BlockPtr b = LoadAs(sun(2, 8, 3, {0x80, 0, 0x80, 1, 5, 7}), "x", 3, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], PenPixel(0x80, 0x80, 0x80));
  EXPECT_EQ(b->Row(0)[1], PenPixel(5, 5, 5));
  EXPECT_EQ(b->Row(0)[2], PenPixel(5, 5, 5));
  for (uint32_t type : {0u, 4u, 5u, 0xFFFFu}) {
    g_messages.clear();
    LoadAs(sun(type, 8, 3, {1, 2, 3, 4}), "x", 3, 1, &r);
    EXPECT_EQ(r, -1) << type;
    EXPECT_TRUE(Seen("Bad file")) << type;
  }
  LoadAs(sun(1, 16, 1, {1, 2}), "x", 1, 1, &r);
  EXPECT_EQ(r, -1);
  // 32 bits keep alpha in the file: alpha, blue, green, red.
  BlockPtr p = BlankBlock(1, 1, MakePixel(200, 10, 20, 30));
  ASSERT_EQ(SaveBlockAs(Path("a.ras").c_str(), *p, kFormatSun32, SaveSettings{}), 0);
  const ByteList f = ReadBytes(Path("a.ras"));
  EXPECT_EQ(ByteList(f.begin() + 32, f.end()), (ByteList{200, 30, 20, 10}));
}

TEST_F(Coders, SoftimageHeaderPacketsAndMixedRuns) {
  // RGB equal in the first three pixels though alpha differs: RGB packs as a run of 3 and a
  // literal of 1; alpha as a literal of 2 and a run of 2.
  BlockPtr b(NewBlock(4, 1));
  b->Row(0)[0] = MakePixel(50, 10, 20, 30);
  b->Row(0)[1] = MakePixel(60, 10, 20, 30);
  b->Row(0)[2] = MakePixel(90, 10, 20, 30);
  b->Row(0)[3] = MakePixel(90, 1, 2, 3);
  ASSERT_EQ(SaveBlockAs(Path("a.pic").c_str(), *b, kFormatSoftimage, SaveSettings{}), 0);
  const ByteList f = ReadBytes(Path("a.pic"));
  ASSERT_EQ(f.size(), 104u + 8 + 8 + 5);
  EXPECT_EQ(ByteList(f.begin(), f.begin() + 4), (ByteList{0x53, 0x80, 0xF6, 0x34}));
  EXPECT_EQ(std::string(f.begin() + 8, f.begin() + 19), "Vela1.00 us");
  EXPECT_EQ(std::string(f.begin() + 88, f.begin() + 92), "PICT");
  EXPECT_EQ(ByteList(f.begin() + 92, f.begin() + 104),
            (ByteList{0, 4, 0, 1, 0, 0, 0x80, 0x3F, 0, 3, 0, 0}));
  EXPECT_EQ(
      ByteList(f.begin() + 104, f.end()),
      (ByteList{1, 8, 2, 0xE0, 0, 8, 2, 0x10, 130, 10, 20, 30, 0, 1, 2, 3, 1, 50, 60, 129, 90}));
  int r;
  BlockPtr back = LoadAs(f, "a.pic", 4, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(std::vector<Pixel>(back->Row(0), back->Row(0) + 4),
            std::vector<Pixel>(b->Row(0), b->Row(0) + 4));
  ByteList other = f;
  other[107] = 0xF0;  // channels other than red, green, blue in the first packet
  int w, h;
  EXPECT_EQ(FileTypeOfBytes(other, "a.pic", &w, &h), -1);
  LoadAs(ByteList(f.begin(), f.end() - 3), "a.pic", 4, 1, &r);
  EXPECT_EQ(r, -1);
}

TEST_F(Coders, RenditionStoresStraightColoursAndReadsItsProbeForm) {
  BlockPtr b(NewBlock(3, 1));
  b->Row(0)[0] = MakePixel(255, 9, 8, 7);
  b->Row(0)[1] = MakePixel(128, 0, 0, 64);  // blue 64 under alpha 128 stores 127
  b->Row(0)[2] = MakePixel(128, 0, 0, 64);
  ASSERT_EQ(SaveBlockAs(Path("a.6rn").c_str(), *b, kFormatRendition, SaveSettings{}), 0);
  const ByteList f = ReadBytes(Path("a.6rn"));
  ASSERT_EQ(f.size(), 1024u + 12);
  EXPECT_EQ(ByteList(f.begin(), f.begin() + 6), (ByteList{0x80, 0xE8, 0, 0, 2, 0}));
  EXPECT_EQ(std::string(f.begin() + 6, f.begin() + 27), "Quadrel -- 6rn output");
  EXPECT_EQ(f[160], 1);
  EXPECT_EQ(f[162], 3);
  EXPECT_EQ(f[168], 11);
  EXPECT_EQ(ByteList(f.begin() + 1024, f.end()),
            (ByteList{9, 8, 7, 255, 1, 0, 0, 0, 127, 128, 2, 0}));
  int w, h;
  EXPECT_EQ(FileTypeOfBytes(f, "a.6rn", &w, &h), -1);  // the written form is not the probe's
  // The probe's form: big-endian header, packets with a big-endian run running across rows.
  ByteList g(1024, 0);
  g[2] = 0xE8, g[3] = 0x80, g[161] = 2, g[163] = 2;
  g.insert(g.end(), {255, 0, 127, 128, 0, 3, 1, 2, 3, 255, 0, 1});
  EXPECT_EQ(FileTypeOfBytes(g, "x", &w, &h), kFormatRendition);
  EXPECT_EQ(w, 2);
  int r;
  BlockPtr back = LoadAs(g, "x", 2, 2, &r);
  ASSERT_EQ(r, 0);
  const Pixel straight = MakePixel(128, 128, 0, 64);  // 255·128/255, 127·128/255 rounded up
  EXPECT_EQ(back->Row(0)[0], straight);
  EXPECT_EQ(back->Row(1)[0], straight);
  EXPECT_EQ(back->Row(1)[1], MakePixel(255, 1, 2, 3));
}

TEST_F(Coders, PpmCommentsAndDmimRows) {
  const std::string head = "P6 # size next\n2\t# w\n 1\n255\n";
  ByteList f(head.begin(), head.end());
  f.insert(f.end(), {1, 2, 3, 4, 5, 6});
  int w, h, r;
  EXPECT_EQ(FileTypeOfBytes(f, "x.PPM", &w, &h), kFormatPpm);
  EXPECT_EQ(w, 2);
  EXPECT_EQ(h, 1);
  EXPECT_EQ(FileTypeOfBytes(f, "x.pnm", &w, &h), -1);  // told only by its extension
  BlockPtr b = LoadAs(f, "x.ppm", 2, 1, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[1], MakePixel(255, 4, 5, 6));
  ByteList d = {'D', 'M', 'I', 'M', 0, 1, 0, 2, 1, 2, 3, 255, 4, 5, 6, 7};
  EXPECT_EQ(FileTypeOfBytes(d, "x", &w, &h), kFormatDmim);
  b = LoadAs(d, "x", 1, 2, &r);
  ASSERT_EQ(r, 0);
  EXPECT_EQ(b->Row(0)[0], MakePixel(255, 3, 2, 1));
  EXPECT_EQ(b->Row(1)[0], MakePixel(7, 6, 5, 4));
  d.pop_back();
  LoadAs(d, "x", 1, 2, &r);
  EXPECT_EQ(r, -1);
}

}  // namespace
}  // namespace vela
