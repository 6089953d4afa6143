// Binary PPM (P6, told by its extension) and the raw DMIM dump: two read-only formats.
#include <cstring>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

// Reads a decimal number after spaces, tabs, line ends and # comments. -1 on a fault.
long ReadNumber(ByteReader& r) {
  for (;;) {
    if (r.AtEnd()) return -1;
    const size_t at = r.pos();
    const uint8_t c = r.U8();
    if (c == '#') {
      while (!r.AtEnd() && r.U8() != '\n') {
      }
    } else if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
    } else {
      r.Seek(at);
      break;
    }
  }
  long v = 0;
  int digits = 0;
  while (!r.AtEnd()) {
    const size_t at = r.pos();
    const uint8_t c = r.U8();
    if (c < '0' || c > '9') {
      r.Seek(at);
      break;
    }
    if (v > 100000000) return -1;
    v = v * 10 + (c - '0');
    ++digits;
  }
  return digits ? v : -1;
}

struct PpmHeader {
  int width, height, maxval;
  size_t data;
};

bool ReadPpm(Bytes f, PpmHeader* h, bool withMax) {
  ByteReader r(f);
  if (r.U8() != 'P' || r.U8() != '6') return false;
  const long w = ReadNumber(r), hgt = ReadNumber(r);
  if (w < 1 || hgt < 1 || w > INT32_MAX || hgt > INT32_MAX) return false;
  h->width = static_cast<int>(w);
  h->height = static_cast<int>(hgt);
  if (!withMax) return true;
  const long m = ReadNumber(r);
  if (m < 1 || m > 255) return false;
  h->maxval = static_cast<int>(m);
  r.U8();  // the one white-space byte before the pixels
  h->data = r.pos();
  return r.ok();
}

}  // namespace

bool ProbePpm(Bytes f, const char* path) {
  PpmHeader h;
  return HasExtension(path, ".ppm") && ReadPpm(f, &h, false);
}

bool InfoPpm(Bytes f, int* w, int* h) {
  PpmHeader hd;
  if (!ReadPpm(f, &hd, false)) return false;
  *w = hd.width;
  *h = hd.height;
  return true;
}

int LoadPpm(Bytes f, Block* b) {
  PpmHeader h;
  if (!ReadPpm(f, &h, true)) {
    Message("Bad file");
    return -1;
  }
  ByteReader r(f);
  r.Seek(h.data);
  const int cw = ClipWidth(b, h.width);
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < h.height; ++y) {
    Bytes row = r.Take(static_cast<size_t>(h.width) * 3);
    if (!r.ok()) {
      Message("Read error!");
      return -1;
    }
    if (y < b->height) {
      Pixel* d = b->Row(y);
      for (int x = 0; x < cw; ++x) {
        const uint8_t* p = &row[3 * static_cast<size_t>(x)];
        d[x] = h.maxval == 255 ? MakePixel(255, p[0], p[1], p[2])
                               : MakePixel(255, std::min(255, p[0] * 255 / h.maxval),
                                           std::min(255, p[1] * 255 / h.maxval),
                                           std::min(255, p[2] * 255 / h.maxval));
      }
    }
    if (!gauge.Loaded(y, h.height)) return 0;
  }
  return 0;
}

bool ProbeDmim(Bytes f, const char* path) {
  int w, h;
  return InfoDmim(f, &w, &h);
}

bool InfoDmim(Bytes f, int* w, int* h) {
  ByteReader r(f);
  Bytes magic = r.Take(4);
  *w = r.U16BE();
  *h = r.U16BE();
  return r.ok() && std::memcmp(magic.data(), "DMIM", 4) == 0 && *w > 0 && *h > 0;
}

int LoadDmim(Bytes f, Block* b) {
  int width, height;
  if (!InfoDmim(f, &width, &height)) {
    Message("Bad file");
    return -1;
  }
  ByteReader r(f);
  r.Seek(8);
  const int cw = ClipWidth(b, width);
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < height; ++y) {
    Bytes row = r.Take(static_cast<size_t>(width) * 4);
    if (!r.ok()) {
      Message("Read error!");
      return -1;
    }
    if (y < b->height) {
      Pixel* d = b->Row(y);
      for (int x = 0; x < cw; ++x) {
        // The Block's own bytes; alpha is raised to the largest channel so the pixel is legal.
        const uint8_t* p = &row[4 * static_cast<size_t>(x)];
        const int a = std::max(std::max(p[0], p[1]), std::max(p[2], p[3]));
        d[x] = MakePixel(a, p[2], p[1], p[0]);
      }
    }
    if (!gauge.Loaded(y, height)) return 0;
  }
  return 0;
}

}  // namespace vela
