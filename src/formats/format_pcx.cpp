// PCX: version 5, 8 bits, one plane, run-length, with the 256-colour palette at the end. Written
// through the quantizer.
#include <vector>

#include "formats/coders.h"
#include "formats/quantize.h"
#include "start/message.h"

namespace vela {

namespace {

struct PcxHeader {
  int width, height, planes, bytesPerLine;
};

bool ReadHeader(Bytes f, PcxHeader* h) {
  ByteReader r(f);
  if (r.U8() != 10 || r.U8() != 5 || r.U8() != 1 || r.U8() != 8) return false;
  const int xmin = r.U16LE(), ymin = r.U16LE(), xmax = r.U16LE(), ymax = r.U16LE();
  r.Seek(65);
  h->planes = r.U8();
  h->bytesPerLine = r.U16LE();
  h->width = xmax - xmin + 1;
  h->height = ymax - ymin + 1;
  // The palette mark sits 769 bytes from the end, behind at least the 128-byte header.
  return r.ok() && h->width > 0 && h->height > 0 && f.size() >= 128 + 769 &&
         f[f.size() - 769] == 12;
}

}  // namespace

bool ProbePcx(Bytes f, const char* path) {
  PcxHeader h;
  return HasExtension(path, ".pcx") && ReadHeader(f, &h);
}

bool InfoPcx(Bytes f, int* w, int* h) {
  PcxHeader hd;
  if (!ReadHeader(f, &hd)) return false;
  *w = hd.width;
  *h = hd.height;
  return true;
}

int LoadPcx(Bytes f, Block* b) {
  PcxHeader h;
  if (!ReadHeader(f, &h) || h.planes != 1 || h.bytesPerLine < h.width) {
    Message("Bad PCX file");
    return -1;
  }
  Pixel palette[256];
  const uint8_t* pal = &f[f.size() - 768];
  for (int i = 0; i < 256; ++i)
    palette[i] = MakePixel(255, pal[3 * i], pal[3 * i + 1], pal[3 * i + 2]);
  ByteReader r(f.subspan(128, f.size() - 128 - 769));
  const int cw = ClipWidth(b, h.width);
  int run = 0, value = 0;  // a run may go on into the next row
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < h.height; ++y) {
    Pixel* row = y < b->height ? b->Row(y) : nullptr;
    for (int x = 0; x < h.bytesPerLine; ++x) {
      if (run == 0) {
        const int c = r.U8();
        if (c >= 0xC0) {
          run = c & 0x3F;
          value = r.U8();
        } else {
          run = 1;
          value = c;
        }
        if (!r.ok()) {
          Message("Bad PCX file");
          return -1;
        }
        if (run == 0) {  // a count of zero codes nothing
          --x;
          continue;
        }
      }
      --run;
      if (row && x < cw) row[x] = palette[value];
    }
    if (!gauge.Loaded(y, h.height)) return 0;
  }
  return 0;
}

int SavePcx(const char* path, const Block& b, const SaveSettings& s) {
  if (!FitsSixteenBits(b)) {
    Message("Write error!");
    return -1;
  }
  Pixel palette[256] = {};
  std::vector<uint8_t> map;
  int transparent = 0;
  const int colors = s.pcx.colors <= 0 || s.pcx.colors > 256 ? 256 : s.pcx.colors;
  const int word = s.pcx.palette >= kPaletteTrue24 ? kPaletteLocal : s.pcx.palette;
  if (!Quantize(b, palette, &map, &transparent, nullptr, colors, word, s.pcx.dither)) return -1;
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    return -1;
  }
  const unsigned w = static_cast<unsigned>(b.width), hgt = static_cast<unsigned>(b.height);
  bool ok = out.U8(10) && out.U8(5) && out.U8(1) && out.U8(8) && out.U16LE(0) && out.U16LE(0) &&
            out.U16LE(w - 1) && out.U16LE(hgt - 1) && out.U16LE(w) && out.U16LE(hgt) &&
            out.Zeros(48) && out.U8(0) && out.U8(1) && out.U16LE(w) && out.U16LE(0) &&
            out.U16LE(w) && out.U16LE(hgt) && out.Zeros(54);
  std::vector<uint8_t> line(static_cast<size_t>(b.width) * 2);
  CoderGauge gauge("Saving PCX Image");
  for (int y = 0; ok && y < b.height; ++y) {
    if (!gauge.Saving(y, b.height)) return -1;
    uint8_t* d = line.data();
    for (const uint8_t *p = &map[static_cast<size_t>(y) * b.width], *e = p + b.width; p < e; ++p) {
      if (*p >= 63) *d++ = 193;
      *d++ = *p;
    }
    ok = out.Write(line.data(), static_cast<size_t>(d - line.data()));
  }
  ok = ok && out.U8(12);
  for (int i = 0; ok && i < 256; ++i)
    ok = out.U8(Red(palette[i])) && out.U8(Green(palette[i])) && out.U8(Blue(palette[i]));
  if (!ok || !out.Commit()) {
    Message("Write error!");
    return -1;
  }
  return 0;
}

}  // namespace vela
