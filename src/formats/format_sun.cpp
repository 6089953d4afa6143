// Sun raster: read 8, 24 and 32 bits, raw or run-length, with a grey ramp or a three-plane map;
// write raw 24 or 32 bits without a map.
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

constexpr uint32_t kSunMagic = 0x59A66A95;

struct SunHeader {
  uint32_t width, height, depth, length, type, mapType, mapLength;
};

bool ReadHeader(ByteReader& r, SunHeader* h) {
  if (r.U32BE() != kSunMagic) return false;
  h->width = r.U32BE();
  h->height = r.U32BE();
  h->depth = r.U32BE();
  h->length = r.U32BE();
  h->type = r.U32BE();
  h->mapType = r.U32BE();
  h->mapLength = r.U32BE();
  return r.ok();
}

// The byte stream of a run-length body: 0x80 n v is n + 1 bytes v; 0x80 0 is one 0x80.
struct SunRuns {
  ByteReader& r;
  int left = 0;
  uint8_t value = 0;
  uint8_t Next() {
    if (left == 0) {
      const uint8_t c = r.U8();
      if (c != 0x80) return c;
      const int n = r.U8();
      if (n == 0) return 0x80;
      value = r.U8();
      left = n + 1;
    }
    --left;
    return value;
  }
};

}  // namespace

bool ProbeSun(Bytes f, const char* path) {
  ByteReader r(f);
  return r.U32BE() == kSunMagic;
}

bool InfoSun(Bytes f, int* w, int* h) {
  ByteReader r(f);
  SunHeader hd;
  if (!ReadHeader(r, &hd) || hd.width < 1 || hd.height < 1 || hd.width > INT32_MAX ||
      hd.height > INT32_MAX)
    return false;
  *w = static_cast<int>(hd.width);
  *h = static_cast<int>(hd.height);
  return true;
}

int LoadSun(Bytes f, Block* b) {
  ByteReader r(f);
  SunHeader h;
  auto bad = [] {
    Message("Bad file");
    return -1;
  };
  if (!ReadHeader(r, &h) || h.width < 1 || h.height < 1 || h.width > INT32_MAX ||
      h.height > INT32_MAX)
    return bad();
  if (h.type == 0 || h.type == 4 || h.type == 5 || h.type == 0xFFFF) return bad();
  if (h.depth != 8 && h.depth != 24 && h.depth != 32) return bad();
  Pixel map[256];
  if (h.mapType == 0) {
    for (int i = 0; i < 256; ++i) map[i] = MakePixel(255, i, i, i);
    r.Skip(h.mapLength);  // a map the type doesn't use still stands between header and pixels
    if (!r.ok()) return bad();
  } else if (h.mapType == 1) {
    for (int i = 0; i < 256; ++i) map[i] = MakePixel(255, 0, 0, 0);
    Bytes planes = r.Take(h.mapLength);
    if (!r.ok()) return bad();
    const size_t plane = h.mapLength / 3;
    const size_t n =
        std::min<size_t>(plane, 256);  // entries beyond 256 have no index to reach them
    for (size_t i = 0; i < n; ++i)
      map[i] = MakePixel(255, planes[i], planes[plane + i], planes[2 * plane + i]);
  } else {
    return bad();
  }
  const int width = static_cast<int>(h.width), height = static_cast<int>(h.height);
  const int bytes = static_cast<int>(h.depth / 8);
  size_t stride = static_cast<size_t>(width) * bytes;
  if (bytes != 4) stride += stride & 1;
  const int cw = ClipWidth(b, width);
  const bool rgbOrder = h.type == 3;  // the RGB variant; every other raw type is blue first
  SunRuns runs{r};
  std::vector<uint8_t> line;
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < height; ++y) {
    const uint8_t* p;
    if (h.type == 2) {
      // Only the part of the row that lands in the Block is kept; the rest is decoded and dropped.
      const size_t keep = static_cast<size_t>(cw) * bytes;
      line.resize(keep);
      for (size_t i = 0; i < stride; ++i) {
        const uint8_t v = runs.Next();
        if (i < keep) line[i] = v;
        if (!r.ok()) return bad();
      }
      p = line.data();
    } else {
      Bytes row = r.Take(stride);
      if (!r.ok()) return bad();
      p = row.data();
    }
    if (y < b->height) {
      Pixel* d = b->Row(y);
      const uint8_t* c = bytes == 4 ? p + 1 : p;  // 32 bits lead with a pad or alpha byte
      for (int x = 0; x < cw; ++x, p += bytes, c += bytes) {
        if (bytes == 1)
          d[x] = map[p[0]];
        else if (rgbOrder)
          d[x] = MakePixel(255, c[0], c[1], c[2]);
        else
          d[x] = MakePixel(255, c[2], c[1], c[0]);
      }
    }
    if (!gauge.Loaded(y, height)) return 0;
  }
  return 0;
}

namespace {

int SaveSun(const char* path, const Block& b, int depth) {
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    return -1;
  }
  const int bytes = depth / 8;
  size_t stride = static_cast<size_t>(b.width) * bytes;
  if (bytes == 3) stride += stride & 1;
  bool ok = out.U32BE(kSunMagic) && out.U32BE(b.width) && out.U32BE(b.height) && out.U32BE(depth) &&
            out.U32BE(static_cast<uint32_t>(stride * b.height)) && out.U32BE(1) && out.U32BE(0) &&
            out.U32BE(0);
  std::vector<uint8_t> line(stride, 0);
  CoderGauge gauge("Saving SUN Image");
  for (int y = 0; ok && y < b.height; ++y) {
    if (!gauge.Saving(y, b.height)) return -1;
    const Pixel* src = b.Row(y);
    uint8_t* d = line.data();
    for (int x = 0; x < b.width; ++x) {
      if (bytes == 4) *d++ = static_cast<uint8_t>(Alpha(src[x]));
      *d++ = static_cast<uint8_t>(Blue(src[x]));
      *d++ = static_cast<uint8_t>(Green(src[x]));
      *d++ = static_cast<uint8_t>(Red(src[x]));
    }
    ok = out.Write(line.data(), stride);
  }
  if (!ok || !out.Commit()) {
    Message("Write error!");
    return -1;
  }
  return 0;
}

}  // namespace

int SaveSun24(const char* path, const Block& b, const SaveSettings&) {
  return SaveSun(path, b, 24);
}
int SaveSun32(const char* path, const Block& b, const SaveSettings&) {
  return SaveSun(path, b, 32);
}

}  // namespace vela
