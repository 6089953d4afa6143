// SOFTIMAGE: a 104-byte header, a chain of channel packets (RGB, then optionally alpha), and
// rows coded per packet either raw or in the mixed run-length code.
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

constexpr uint8_t kMagic[4] = {0x53, 0x80, 0xF6, 0x34};
constexpr int kHeaderBytes = 104;

struct SoftHeader {
  int width, height;
  int rgbType;
  int alphaType;  // -1 without an alpha packet
};

bool ReadHeader(Bytes f, SoftHeader* h) {
  ByteReader r(f);
  Bytes magic = r.Take(4);
  if (!r.ok() || std::memcmp(magic.data(), kMagic, 4) != 0) return false;
  r.Seek(88);
  Bytes pict = r.Take(4);
  h->width = r.U16BE();
  h->height = r.U16BE();
  if (!r.ok() || std::memcmp(pict.data(), "PICT", 4) != 0) return false;
  r.Seek(kHeaderBytes);
  const int chained = r.U8(), size = r.U8(), type = r.U8(), channels = r.U8();
  if (!r.ok() || size != 8 || channels != 0xE0 || (type != 0 && type != 2)) return false;
  h->rgbType = type;
  h->alphaType = -1;
  if (chained) {
    r.U8();
    const int size2 = r.U8(), type2 = r.U8(), channels2 = r.U8();
    if (!r.ok() || size2 != 8 || channels2 != 0x10 || (type2 != 0 && type2 != 2)) return false;
    h->alphaType = type2;
  }
  return h->width > 0 && h->height > 0;
}

// Decodes one row of one packet: `count` channel bytes a pixel into dst (stride 4 bytes, at the
// byte offsets given). False on a fault.
bool ReadPacketRow(ByteReader& r, int type, int width, const int* offsets, int count,
                   uint8_t* dst) {
  auto put = [&](int x, Bytes v) {
    for (int c = 0; c < count; ++c) dst[4 * static_cast<size_t>(x) + offsets[c]] = v[c];
  };
  if (type == 0) {
    for (int x = 0; x < width; ++x) {
      Bytes v = r.Take(count);
      if (!r.ok()) return false;
      put(x, v);
    }
    return true;
  }
  int x = 0;
  while (x < width) {
    const int c = r.U8();
    if (!r.ok()) return false;
    if (c < 128) {
      const int n = c + 1;
      if (n > width - x) return false;
      for (int i = 0; i < n; ++i) {
        Bytes v = r.Take(count);
        if (!r.ok()) return false;
        put(x++, v);
      }
    } else {
      const int n = c == 128 ? r.U16BE() : c - 127;
      Bytes v = r.Take(count);
      if (!r.ok() || n > width - x) return false;
      for (int i = 0; i < n; ++i) put(x++, v);
    }
  }
  return true;
}

}  // namespace

bool ProbeSoftimage(Bytes f, const char* path) {
  SoftHeader h;
  return ReadHeader(f, &h);
}

bool InfoSoftimage(Bytes f, int* w, int* h) {
  SoftHeader hd;
  if (!ReadHeader(f, &hd)) return false;
  *w = hd.width;
  *h = hd.height;
  return true;
}

int LoadSoftimage(Bytes f, Block* b) {
  SoftHeader h;
  if (!ReadHeader(f, &h)) {
    Message("Bad file");
    return -1;
  }
  ByteReader r(f);
  r.Seek(kHeaderBytes + (h.alphaType >= 0 ? 8 : 4));
  // Memory bytes of a Pixel: blue 0, green 1, red 2, alpha 3.
  static const int kRgb[3] = {2, 1, 0};
  static const int kAlpha[1] = {3};
  std::vector<Pixel> row(h.width);
  const int cw = ClipWidth(b, h.width);
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < h.height; ++y) {
    std::fill(row.begin(), row.end(), 0xFF000000u);
    auto* bytes = reinterpret_cast<uint8_t*>(row.data());
    if (!ReadPacketRow(r, h.rgbType, h.width, kRgb, 3, bytes) ||
        (h.alphaType >= 0 && !ReadPacketRow(r, h.alphaType, h.width, kAlpha, 1, bytes))) {
      Message("Bad file");
      return -1;
    }
    if (y < b->height) {
      Pixel* d = b->Row(y);
      for (int x = 0; x < cw; ++x) {
        // Alpha is kept; a colour above it is cut so the pixel stays well-formed.
        const Pixel p = row[x];
        const int a = Alpha(p);
        d[x] = MakePixel(a, std::min(Red(p), a), std::min(Green(p), a), std::min(Blue(p), a));
      }
    }
    if (!gauge.Loaded(y, h.height)) return 0;
  }
  return 0;
}

namespace {

// Mixed run-length of one row for the channels picked by `bytes` (red, green, blue or alpha).
template <typename Key, typename Emit>
void PackRow(const Pixel* src, int width, Key key, Emit emit, std::vector<uint8_t>& out) {
  int x = 0;
  while (x < width) {
    int run = 1;
    while (x + run < width && run < 124 && key(src[x + run]) == key(src[x])) ++run;
    if (run >= 2) {
      out.push_back(static_cast<uint8_t>(run + 127));
      emit(src[x], out);
      x += run;
      continue;
    }
    int n = 1;
    while (x + n < width && n < 124 &&
           !(x + n + 1 < width && key(src[x + n]) == key(src[x + n + 1])))
      ++n;
    out.push_back(static_cast<uint8_t>(n - 1));
    for (int i = 0; i < n; ++i) emit(src[x + i], out);
    x += n;
  }
}

}  // namespace

int SaveSoftimage(const char* path, const Block& b, const SaveSettings&) {
  if (!FitsSixteenBits(b)) {
    Message("Write error!");
    return -1;
  }
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    return -1;
  }
  uint8_t header[kHeaderBytes] = {};
  std::memcpy(header, kMagic, 4);
  std::memcpy(header + 8, "Vela1.00 us", 11);
  std::memcpy(header + 88, "PICT", 4);
  header[92] = static_cast<uint8_t>(b.width >> 8);
  header[93] = static_cast<uint8_t>(b.width);
  header[94] = static_cast<uint8_t>(b.height >> 8);
  header[95] = static_cast<uint8_t>(b.height);
  header[98] = 0x80;  // 1.0 as a little-endian float: 00 00 80 3F
  header[99] = 0x3F;
  header[101] = 3;  // fields
  const uint8_t packets[8] = {1, 8, 2, 0xE0, 0, 8, 2, 0x10};
  bool ok = out.Write(header, sizeof header) && out.Write(packets, sizeof packets);
  std::vector<uint8_t> line;
  CoderGauge gauge("Saving SOFTIMAGE Image");
  for (int y = 0; ok && y < b.height; ++y) {
    if (!gauge.Saving(y, b.height)) return -1;
    line.clear();
    const Pixel* src = b.Row(y);
    PackRow(
        src, b.width, [](Pixel p) { return p & 0xFFFFFFu; },
        [](Pixel p, std::vector<uint8_t>& o) {
          o.push_back(static_cast<uint8_t>(Red(p)));
          o.push_back(static_cast<uint8_t>(Green(p)));
          o.push_back(static_cast<uint8_t>(Blue(p)));
        },
        line);
    PackRow(
        src, b.width, [](Pixel p) { return p >> 24; },
        [](Pixel p, std::vector<uint8_t>& o) { o.push_back(static_cast<uint8_t>(Alpha(p))); },
        line);
    ok = out.Write(line.data(), line.size());
  }
  if (!ok || !out.Commit()) {
    Message("Write error!");
    return -1;
  }
  return 0;
}

}  // namespace vela
