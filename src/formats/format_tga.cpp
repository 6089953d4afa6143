// TGA: read types 1, 2, 3 (uncompressed map, true colour, grey) and 9, 10, 11 (their run-length
// forms); write type 2 or 10 at 32 bits. Colours go in and out as the Block holds them; reading
// raises alpha to the largest channel so a file with straight colours is still a legal Pixel.
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

struct TgaHeader {
  int idLength, mapType, type, mapFirst, mapLength, mapDepth, width, height, depth, descriptor;
};

bool ReadHeader(ByteReader& r, TgaHeader* h) {
  h->idLength = r.U8();
  h->mapType = r.U8();
  h->type = r.U8();
  h->mapFirst = r.U16LE();
  h->mapLength = r.U16LE();
  h->mapDepth = r.U8();
  r.Skip(4);  // origin
  h->width = r.U16LE();
  h->height = r.U16LE();
  h->depth = r.U8();
  h->descriptor = r.U8();
  if (!r.ok() || h->width < 1 || h->height < 1 || h->depth < 8) return false;
  switch (h->type) {
    case 1:
    case 2:
    case 3:
    case 9:
    case 10:
    case 11:
      return true;
    default:
      return false;
  }
}

Pixel Pixel16(unsigned v) {
  auto widen = [](unsigned x) { return static_cast<int>((x << 3) | (x >> 2)); };
  return MakePixel(255, widen((v >> 10) & 31), widen((v >> 5) & 31), widen(v & 31));
}

int Max4(int a, int b, int c, int d) {
  return std::max(std::max(a, b), std::max(c, d));
}

// One pixel of `bytes` bytes (2, 3 or 4) as the Block holds it.
Pixel DirectPixel(const uint8_t* p, int bytes) {
  switch (bytes) {
    case 2:
      return Pixel16(p[0] | p[1] << 8);
    case 3:
      return MakePixel(255, p[2], p[1], p[0]);
    default:
      return MakePixel(Max4(p[0], p[1], p[2], p[3]), p[2], p[1], p[0]);
  }
}

void Fail(const char* text) {
  Message(text);
}

}  // namespace

bool ProbeTga(Bytes f, const char* path) {
  if (!HasExtension(path, ".tga") && !HasExtension(path, ".vst")) return false;
  return !(f.size() >= 4 && f[0] == 'F' && f[1] == 'O' && f[2] == 'R' && f[3] == 'M');
}

bool InfoTga(Bytes f, int* w, int* h) {
  ByteReader r(f);
  TgaHeader hd;
  if (!ReadHeader(r, &hd)) return false;
  *w = hd.width;
  *h = hd.height;
  return true;
}

int LoadTga(Bytes f, Block* b) {
  ByteReader r(f);
  TgaHeader h;
  if (!ReadHeader(r, &h)) return Fail("Bad TGA file"), -1;
  r.Skip(h.idLength);
  const int base = h.type & 7;  // 1 mapped, 2 true colour, 3 grey
  // Indices below the map's first entry read as transparent, as do those past its end.
  std::vector<Pixel> map;
  int mapCount = 0;
  if (base == 1 && h.mapType == 0) return Fail("TGA error: no Color Map!"), -1;
  if (h.mapType != 0) {
    const int entryBytes = (h.mapDepth + 7) / 8;
    if (entryBytes < 2 || entryBytes > 4) return Fail("Bad TGA file"), -1;
    Bytes entries = r.Take(static_cast<size_t>(h.mapLength) * entryBytes);
    if (!r.ok()) return Fail("Bad TGA file"), -1;
    if (base == 1) {
      mapCount = std::min(h.mapLength, 65536 - h.mapFirst);
      map.assign(static_cast<size_t>(h.mapFirst) + mapCount, 0);
      for (int i = 0; i < mapCount; ++i)
        map[h.mapFirst + i] =
            DirectPixel(&entries[static_cast<size_t>(i) * entryBytes], entryBytes);
      mapCount += h.mapFirst;
    }
  }
  if (base == 3) {
    map.resize(256);
    for (int i = 0; i < 256; ++i) map[i] = MakePixel(255, i, i, i);
    mapCount = 256;
  }
  const int bytes = (h.depth + 7) / 8;
  if (base == 2 ? (bytes < 2 || bytes > 4) : base == 3 ? bytes != 1 : bytes > 2)
    return Fail("Bad TGA file"), -1;

  auto decode = [&](const uint8_t* p) -> Pixel {
    if (base == 2) return DirectPixel(p, bytes);
    const int index = bytes == 1 ? p[0] : (p[0] | p[1] << 8);
    return index < mapCount ? map[index] : 0;
  };

  CoderGauge gauge(kLoadingTitle);
  const bool topFirst = h.descriptor & 0x20;
  const bool packed = h.type >= 9;
  const int cw = ClipWidth(b, h.width);
  std::vector<Pixel> row(h.width);
  // A packet may run on into the next row: its remainder is carried over.
  int carry = 0;
  bool carryRun = false;
  Pixel carryPixel = 0;
  for (int fy = 0; fy < h.height; ++fy) {
    int x = 0;
    while (x < h.width) {
      if (!packed) {
        Bytes px = r.Take(static_cast<size_t>(h.width) * bytes);
        if (!r.ok()) return Fail("Bad TGA file"), -1;
        for (; x < h.width; ++x) row[x] = decode(&px[static_cast<size_t>(x) * bytes]);
        break;
      }
      if (carry == 0) {
        const int c = r.U8();
        carry = (c & 127) + 1;
        carryRun = c & 128;
        if (carryRun) {
          Bytes px = r.Take(bytes);
          if (!r.ok()) return Fail("Bad TGA file"), -1;
          carryPixel = decode(px.data());
        }
        if (!r.ok()) return Fail("Bad TGA file"), -1;
      }
      const int n = std::min(carry, h.width - x);
      if (carryRun) {
        std::fill_n(row.begin() + x, n, carryPixel);
      } else {
        Bytes px = r.Take(static_cast<size_t>(n) * bytes);
        if (!r.ok()) return Fail("Bad TGA file"), -1;
        for (int i = 0; i < n; ++i) row[x + i] = decode(&px[static_cast<size_t>(i) * bytes]);
      }
      x += n;
      carry -= n;
    }
    const int y = topFirst ? fy : h.height - 1 - fy;
    if (y < b->height) std::copy_n(row.begin(), cw, b->Row(y));
    if (!gauge.Loaded(fy, h.height)) return 0;
  }
  return 0;
}

int SaveTga(const char* path, const Block& b, const SaveSettings& s) {
  const bool packed = s.tgaCompression == 1;
  if (!FitsSixteenBits(b)) {
    Message("Can't save File!");
    return -1;
  }
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    Message("Can't save File!");
    return -1;
  }
  uint8_t header[18] = {};
  header[2] = packed ? 10 : 2;
  header[12] = static_cast<uint8_t>(b.width);
  header[13] = static_cast<uint8_t>(b.width >> 8);
  header[14] = static_cast<uint8_t>(b.height);
  header[15] = static_cast<uint8_t>(b.height >> 8);
  header[16] = 32;
  bool ok = out.Write(header, sizeof header);
  std::vector<uint8_t> line(static_cast<size_t>(b.width) * 5 + 8);
  CoderGauge gauge("Saving TGA Image");
  for (int i = 0; ok && i < b.height; ++i) {
    if (!gauge.Saving(i, b.height)) return -1;
    const Pixel* src = b.Row(b.height - 1 - i);
    uint8_t* d = line.data();
    auto put = [&d](Pixel p) {
      std::memcpy(d, &p, 4);  // blue, green, red, alpha: the Block's own byte order
      d += 4;
    };
    if (!packed) {
      for (int x = 0; x < b.width; ++x) put(src[x]);
    } else {
      int x = 0;
      while (x < b.width) {
        int run = 1;
        while (x + run < b.width && run < 124 && src[x + run] == src[x]) ++run;
        if (run >= 2) {
          *d++ = static_cast<uint8_t>(0x80 | (run - 1));
          put(src[x]);
          x += run;
          continue;
        }
        // Literal pixels until the next pair of equal ones.
        int n = 1;
        while (x + n < b.width && n < 124 && !(x + n + 1 < b.width && src[x + n] == src[x + n + 1]))
          ++n;
        *d++ = static_cast<uint8_t>(n - 1);
        for (int k = 0; k < n; ++k) put(src[x + k]);
        x += n;
      }
    }
    if (!out.Write(line.data(), static_cast<size_t>(d - line.data()))) ok = false;
  }
  if (!ok || !out.Commit()) {
    Message("Incomplete save!");
    return -1;
  }
  return 0;
}

}  // namespace vela
