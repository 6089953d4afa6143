// SGI image, a format module: magic 474, planes of scan lines bottom first, verbatim or
// run-length with offset tables. Files hold straight colours; "RGB+A" writes the colours as held
// (multiplied by alpha).
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "formats/quantize.h"
#include "start/message.h"

namespace vela {

namespace {

enum { kSgiRgb = 0, kSgiRgba = 1, kSgiRgbPlusA = 2 };

struct SgiHeader {
  int storage, bpc, dimension, width, height, planes;
};

bool ReadHeader(Bytes f, SgiHeader* h) {
  ByteReader r(f);
  if (r.U16BE() != 474) return false;
  h->storage = r.U8();
  h->bpc = r.U8();
  h->dimension = r.U16BE();
  h->width = r.U16BE();
  h->height = r.U16BE();
  h->planes = r.U16BE();
  if (h->dimension < 3) h->planes = 1;
  if (h->dimension == 1) h->height = 1;
  return r.ok() && f.size() >= 512 && h->storage <= 1 && (h->bpc == 1 || h->bpc == 2) &&
         h->dimension >= 1 && h->dimension <= 3 && h->width > 0 && h->height > 0 && h->planes >= 1;
}

void Bad() {
  Message("SGI Image: Bad file");
}

// One scan line of one plane into 8-bit values. False on a fault.
bool ReadLine(Bytes f, const SgiHeader& h, int plane, int row, uint8_t* out) {
  const size_t n = static_cast<size_t>(h.width);
  if (h.storage == 0) {
    const size_t at = 512 + (static_cast<size_t>(plane) * h.height + row) * n * h.bpc;
    if (at > f.size() || n * h.bpc > f.size() - at) return false;
    for (size_t x = 0; x < n; ++x) out[x] = f[at + x * h.bpc];  // the high byte of 16-bit values
    return true;
  }
  ByteReader tables(f);
  const size_t index = static_cast<size_t>(plane) * h.height + row;
  const size_t count = static_cast<size_t>(h.planes) * h.height;
  tables.Seek(512 + index * 4);
  const uint32_t start = tables.U32BE();
  tables.Seek(512 + (count + index) * 4);
  const uint32_t length = tables.U32BE();
  if (!tables.ok() || start > f.size() || length > f.size() - start) return false;
  ByteReader r(f.subspan(start, length));
  auto unit = [&]() -> int {
    if (h.bpc == 1) return r.U8();
    const int v = r.U16BE();
    return v;
  };
  size_t x = 0;
  for (;;) {
    const int c = unit();
    if (!r.ok()) return false;
    const size_t k = static_cast<size_t>(c & 0x7F);
    if (k == 0) break;
    if (k > n - x) return false;
    if (c & 0x80) {
      for (size_t i = 0; i < k; ++i)
        out[x++] = static_cast<uint8_t>(h.bpc == 1 ? unit() : unit() >> 8);
    } else {
      const int v = unit();
      std::memset(out + x, h.bpc == 1 ? v : v >> 8, k);
      x += k;
    }
    if (!r.ok()) return false;
  }
  return x == n;
}

int Probe(ModuleContext*, const char*, Bytes f) {
  SgiHeader h;
  return ReadHeader(f, &h) ? 0 : -1;
}

int Info(ModuleContext*, Bytes f, int* w, int* hgt) {
  SgiHeader h;
  if (!ReadHeader(f, &h)) return -1;
  *w = h.width;
  *hgt = h.height;
  return 0;
}

int Load(ModuleContext*, Bytes f, Block* b) {
  SgiHeader h;
  if (!ReadHeader(f, &h)) return Bad(), -1;
  const int cw = ClipWidth(b, h.width);
  std::vector<uint8_t> lines(static_cast<size_t>(h.width) * 4);
  uint8_t* plane[4] = {&lines[0], &lines[h.width], &lines[2 * static_cast<size_t>(h.width)],
                       &lines[3 * static_cast<size_t>(h.width)]};
  CoderGauge gauge(kLoadingTitle);
  for (int row = 0; row < h.height; ++row) {
    const int use = std::min(h.planes, 4);
    for (int p = 0; p < use; ++p)
      if (!ReadLine(f, h, p, row, plane[p])) return Bad(), -1;
    const int y = h.height - 1 - row;
    if (y < b->height) {
      Pixel* d = b->Row(y);
      for (int x = 0; x < cw; ++x) {
        const int r = plane[0][x];
        const int g = use >= 3 ? plane[1][x] : r;
        const int bl = use >= 3 ? plane[2][x] : r;
        const int a = use == 4 ? plane[3][x] : use == 2 ? plane[1][x] : 255;
        d[x] = Premultiplied(a, r, g, bl);
      }
    }
    if (!gauge.Loaded(row, h.height)) return 0;
  }
  return 0;
}

// Run-length code of one scan line of bytes: runs of 3 or more repeat, others go as literals.
void PackLine(const uint8_t* s, int n, std::vector<uint8_t>& out) {
  int x = 0;
  while (x < n) {
    int run = 1;
    while (x + run < n && run < 127 && s[x + run] == s[x]) ++run;
    if (run >= 3) {
      out.push_back(static_cast<uint8_t>(run));
      out.push_back(s[x]);
      x += run;
      continue;
    }
    int k = 0;
    while (x + k < n && k < 127 &&
           !(x + k + 2 < n && s[x + k] == s[x + k + 1] && s[x + k] == s[x + k + 2]))
      ++k;
    out.push_back(static_cast<uint8_t>(0x80 | k));
    out.insert(out.end(), s + x, s + x + k);
    x += k;
  }
  out.push_back(0);
}

int Save(ModuleContext* c, const char* path, const Block& b) {
  if (b.width > 65535 || b.height > 65535) {
    Message("SGI Image: Write error!");
    return -1;
  }
  const int planes = c->format == kSgiRgb ? 3 : 4;
  const bool rle = c->compression != 0;
  // Planes of scan lines, bottom row first.
  const size_t lineCount = static_cast<size_t>(planes) * b.height;
  std::vector<uint8_t> data;
  std::vector<uint32_t> starts(lineCount), lengths(lineCount);
  std::vector<uint8_t> line(b.width);
  const size_t tableBytes = rle ? lineCount * 8 : 0;
  CoderGauge gauge("Saving SGI Image");
  const int lines = static_cast<int>(lineCount);
  for (int p = 0; p < planes; ++p) {
    for (int row = 0; row < b.height; ++row) {
      if (!gauge.Saving(p * b.height + row, lines)) return -1;
      const Pixel* src = b.Row(b.height - 1 - row);
      for (int x = 0; x < b.width; ++x) {
        const Pixel px = c->format == kSgiRgba ? Straight(src[x]) : src[x];
        line[x] = static_cast<uint8_t>(p == 0   ? Red(px)
                                       : p == 1 ? Green(px)
                                       : p == 2 ? Blue(px)
                                                : Alpha(px));
      }
      const size_t at = static_cast<size_t>(p) * b.height + row;
      starts[at] = static_cast<uint32_t>(512 + tableBytes + data.size());
      if (rle)
        PackLine(line.data(), b.width, data);
      else
        data.insert(data.end(), line.begin(), line.end());
      lengths[at] = static_cast<uint32_t>(512 + tableBytes + data.size() - starts[at]);
    }
  }
  FileWriter out;
  if (!out.Open(path)) {
    Message("SGI Image: Can't open file");
    return -1;
  }
  uint8_t header[512] = {};
  header[0] = 474 >> 8;
  header[1] = 474 & 0xFF;
  header[2] = rle;
  header[3] = 1;
  header[5] = 3;
  header[6] = static_cast<uint8_t>(b.width >> 8);
  header[7] = static_cast<uint8_t>(b.width);
  header[8] = static_cast<uint8_t>(b.height >> 8);
  header[9] = static_cast<uint8_t>(b.height);
  header[11] = static_cast<uint8_t>(planes);
  header[19] = 255;  // pixmax
  std::memcpy(header + 24, "Vela", 4);
  bool ok = out.Write(header, sizeof header);
  for (size_t i = 0; ok && rle && i < lineCount; ++i) ok = out.U32BE(starts[i]);
  for (size_t i = 0; ok && rle && i < lineCount; ++i) ok = out.U32BE(lengths[i]);
  ok = ok && out.Write(data.data(), data.size()) && out.Commit();
  if (!ok) {
    Message("SGI Image: Write error!");
    return -1;
  }
  return 0;
}

int Open(ModuleContext* c) {
  c->format = kSgiRgba;
  c->compression = 1;
  return 0;
}

int Options(ModuleContext*) {
  return 0;
}  // the menu "SGI Image options" belongs to the windows

}  // namespace

const FormatModule kSgiModule = {
    "SGI imagelib", "rgb", "Sgi",   ".rgb", "Sgi", 1,       0,    1,
    nullptr,        Open,  nullptr, Probe,  Info,  Options, Load, Save};

}  // namespace vela
