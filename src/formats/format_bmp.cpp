// BMP: read 1, 4, 8, 16, 24 and 32 bits, uncompressed, 8-bit run-length or bit fields (read as
// uncompressed), with the 40-byte header or the short OS/2 one; write 24 bits, or 8 bits through
// the quantizer. Rows are always taken bottom first.
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "formats/quantize.h"
#include "start/message.h"

namespace vela {

namespace {

struct BmpHeader {
  uint32_t offset = 0;
  uint32_t headerSize = 0;
  int width = 0, height = 0, planes = 0, depth = 0;
  uint32_t compression = 0, colorsUsed = 0;
};

bool ReadHeader(ByteReader& r, BmpHeader* h) {
  if (r.U8() != 'B' || r.U8() != 'M') return false;
  r.Skip(8);
  h->offset = r.U32LE();
  h->headerSize = r.U32LE();
  if (h->headerSize == 12) {
    h->width = r.U16LE();
    h->height = r.U16LE();
    h->planes = r.U16LE();
    h->depth = r.U16LE();
  } else {
    h->width = static_cast<int32_t>(r.U32LE());
    const int64_t height = static_cast<int32_t>(r.U32LE());
    h->height = static_cast<int>(std::min<int64_t>(height < 0 ? -height : height, INT32_MAX));
    h->planes = r.U16LE();
    h->depth = r.U16LE();
    h->compression = r.U32LE();
    r.Skip(12);
    h->colorsUsed = r.U32LE();
  }
  return r.ok() && h->width > 0 && h->height > 0;
}

void Fail(const char* text) {
  Message(text);
}

}  // namespace

bool ProbeBmp(Bytes f, const char* path) {
  return f.size() >= 2 && f[0] == 'B' && f[1] == 'M';
}

bool InfoBmp(Bytes f, int* w, int* h) {
  ByteReader r(f);
  BmpHeader hd;
  if (!ReadHeader(r, &hd)) return false;
  *w = hd.width;
  *h = hd.height;
  return true;
}

int LoadBmp(Bytes f, Block* b) {
  ByteReader r(f);
  BmpHeader h;
  if (!ReadHeader(r, &h)) return Fail("Bad BMP file"), -1;
  if (h.planes != 1) return Fail("Bad BMP file"), -1;
  if (h.compression > 3 || h.compression == 2 || (h.compression == 1 && h.depth != 8))
    return Fail("Can't read Compressed Image!"), -1;
  switch (h.depth) {
    case 1:
    case 4:
    case 8:
    case 16:
    case 24:
    case 32:
      break;
    default:
      return Fail("Bad BMP file"), -1;
  }
  // The picture has no alpha: an index past the colours the file gives is opaque black.
  Pixel palette[256];
  std::fill_n(palette, 256, Pixel{0xFF000000});
  if (h.depth <= 8) {
    const int entry = h.headerSize == 12 ? 3 : 4;
    uint32_t count = h.colorsUsed ? h.colorsUsed : 1u << h.depth;
    count = std::min<uint32_t>(count, 256);
    r.Seek(14 + static_cast<size_t>(h.headerSize));
    for (uint32_t i = 0; i < count; ++i) {
      const int blue = r.U8(), green = r.U8(), red = r.U8();
      if (entry == 4) r.U8();
      palette[i] = MakePixel(255, red, green, blue);
    }
    if (!r.ok()) return Fail("Bad BMP file"), -1;
  }
  for (int y = 0; y < b->height; ++y) std::fill_n(b->Row(y), b->width, Pixel{0});
  if (!r.Seek(h.offset)) return Fail("Bad BMP file"), -1;
  CoderGauge gauge(kLoadingTitle);

  const int cw = ClipWidth(b, h.width);
  // Bottom row first: file row fy lands on Block row height - 1 - fy.
  auto target = [&](int fy) -> Pixel* {
    const int y = h.height - 1 - fy;
    return fy < h.height && y < b->height ? b->Row(y) : nullptr;
  };

  if (h.compression == 1) {
    int x = 0, fy = 0;
    while (fy < h.height) {
      const int count = r.U8(), value = r.U8();
      if (!r.ok()) return Fail("Bad BMP file"), -1;
      if (count > 0) {
        Pixel* row = target(fy);
        for (int i = 0; i < count && x < h.width; ++i, ++x)
          if (row && x < cw) row[x] = palette[value];
        continue;
      }
      if (value == 0) {
        x = 0;
        if (!gauge.Loaded(++fy, h.height)) return 0;
      } else if (value == 1) {
        break;
      } else if (value == 2) {
        x += r.U8();
        fy += r.U8();
        if (!r.ok()) return Fail("Bad BMP file"), -1;
      } else {
        Bytes run = r.Take(static_cast<size_t>(value + (value & 1)));
        if (!r.ok()) return Fail("Bad BMP file"), -1;
        Pixel* row = fy < h.height ? target(fy) : nullptr;
        for (int i = 0; i < value && x < h.width; ++i, ++x)
          if (row && x < cw) row[x] = palette[run[i]];
      }
    }
    return 0;
  }

  const size_t stride = ((static_cast<size_t>(h.width) * h.depth + 31) / 32) * 4;
  bool fake = false;  // a 32-bit file with a colour above its alpha has no real alpha
  // The test covers what was read even when the file ends early: the rows that stay in the Block
  // must be legal pixels.
  auto settle = [&](int result) {
    if (fake)
      for (int y = 0; y < b->height; ++y)
        for (int x = 0; x < b->width; ++x) b->Row(y)[x] |= 0xFF000000u;
    return result;
  };
  for (int fy = 0; fy < h.height; ++fy) {
    Bytes line = r.Take(stride);
    if (!r.ok()) return Fail("Bad BMP file"), settle(-1);
    Pixel* row = target(fy);
    if (row) {
      for (int x = 0; x < cw; ++x) {
        switch (h.depth) {
          case 1:
            row[x] = palette[(line[x >> 3] >> (7 - (x & 7))) & 1];
            break;
          case 4:
            row[x] = palette[(line[x >> 1] >> ((x & 1) ? 0 : 4)) & 15];
            break;
          case 8:
            row[x] = palette[line[x]];
            break;
          case 16: {
            const unsigned v = line[2 * x] | line[2 * x + 1] << 8;
            auto widen = [](unsigned c) { return static_cast<int>((c << 3) | (c >> 3)); };
            row[x] = MakePixel(255, widen((v >> 10) & 31), widen((v >> 5) & 31), widen(v & 31));
            break;
          }
          case 24: {
            const uint8_t* p = &line[3 * static_cast<size_t>(x)];
            row[x] = MakePixel(255, p[2], p[1], p[0]);
            break;
          }
          default: {
            const uint8_t* p = &line[4 * static_cast<size_t>(x)];
            row[x] = MakePixel(p[3], p[2], p[1], p[0]);
            if (p[0] > p[3] || p[1] > p[3] || p[2] > p[3]) fake = true;
          }
        }
      }
    }
    if (!gauge.Loaded(fy, h.height)) return settle(0);
  }
  return settle(0);
}

int SaveBmp(const char* path, const Block& b, const SaveSettings& s) {
  const bool truecolor = s.bmp.palette >= kPaletteTrue24;
  Pixel palette[256] = {};
  std::vector<uint8_t> map;
  int transparent = 0;
  int colors = s.bmp.colors <= 0 || s.bmp.colors > 256 ? 256 : s.bmp.colors;
  if (!truecolor &&
      !Quantize(b, palette, &map, &transparent, nullptr, colors, s.bmp.palette, s.bmp.dither))
    return -1;
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    return -1;
  }
  const int depth = truecolor ? 24 : 8;
  const uint32_t stride = ((static_cast<uint32_t>(b.width) * depth + 31) / 32) * 4;
  const uint32_t offset = truecolor ? 54 : 1078;
  const uint64_t image = static_cast<uint64_t>(stride) * b.height;
  bool ok = out.U8('B') && out.U8('M') && out.U32LE(static_cast<uint32_t>(offset + image)) &&
            out.U32LE(0) && out.U32LE(offset) && out.U32LE(40) && out.U32LE(b.width) &&
            out.U32LE(b.height) && out.U16LE(1) && out.U16LE(depth) && out.U32LE(0) &&
            out.U32LE(static_cast<uint32_t>(image)) && out.U32LE(0) && out.U32LE(0) &&
            out.U32LE(truecolor ? 0 : colors) && out.U32LE(0);
  for (int i = 0; ok && !truecolor && i < 256; ++i) {
    const Pixel p = palette[i];
    ok = out.U8(Blue(p)) && out.U8(Green(p)) && out.U8(Red(p)) && out.U8(0);
  }
  std::vector<uint8_t> line(stride, 0);
  CoderGauge gauge("Saving BMP Image");
  for (int i = 0; ok && i < b.height; ++i) {
    if (!gauge.Saving(i, b.height)) return -1;
    const int y = b.height - 1 - i;
    if (truecolor) {
      const Pixel* src = b.Row(y);
      for (int x = 0; x < b.width; ++x) {
        line[3 * static_cast<size_t>(x)] = static_cast<uint8_t>(Blue(src[x]));
        line[3 * static_cast<size_t>(x) + 1] = static_cast<uint8_t>(Green(src[x]));
        line[3 * static_cast<size_t>(x) + 2] = static_cast<uint8_t>(Red(src[x]));
      }
    } else {
      std::memcpy(line.data(), &map[static_cast<size_t>(y) * b.width], b.width);
    }
    ok = out.Write(line.data(), stride);
  }
  if (!ok || !out.Commit()) {
    Message("Write error!");
    return -1;
  }
  return 0;
}

}  // namespace vela
