// Rendition: a 1024-byte header and packets of red, green, blue, alpha and a 16-bit run length,
// colours straight. The writer puts the header in little-endian order, so its files do not pass
// the reader's probe: what the renderer takes is the written form.
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

constexpr int kHeaderBytes = 1024;

bool ReadHeader(Bytes f, int* w, int* h) {
  ByteReader r(f);
  const uint32_t magic = r.U32BE();
  const int version = r.U16BE();
  r.Seek(160);
  *h = r.U16BE();
  *w = r.U16BE();
  return r.ok() && f.size() >= kHeaderBytes && (magic == 0xE880 || magic == 0x28168) &&
         version < 3 && *w > 0 && *h > 0;
}

}  // namespace

bool ProbeRendition(Bytes f, const char* path) {
  int w, h;
  return ReadHeader(f, &w, &h);
}

bool InfoRendition(Bytes f, int* w, int* h) {
  return ReadHeader(f, w, h);
}

int LoadRendition(Bytes f, Block* b) {
  int width, height;
  if (!ReadHeader(f, &width, &height)) {
    Message("Bad file");
    return -1;
  }
  ByteReader r(f);
  r.Seek(kHeaderBytes);
  const int cw = ClipWidth(b, width);
  int left = 0;  // pixels of the current packet still to place; packets may run on across rows
  Pixel value = 0;
  CoderGauge gauge(kLoadingTitle);
  for (int y = 0; y < height; ++y) {
    Pixel* row = y < b->height ? b->Row(y) : nullptr;
    for (int x = 0; x < width;) {
      if (left == 0) {
        const int red = r.U8(), green = r.U8(), blue = r.U8(), alpha = r.U8();
        left = r.U16BE();
        if (!r.ok()) {
          Message("Bad file");
          return -1;
        }
        value = Premultiplied(alpha, red, green, blue);
        continue;
      }
      const int n = std::min(left, width - x);
      if (row)
        for (int i = x; i < std::min(x + n, cw); ++i) row[i] = value;
      x += n;
      left -= n;
    }
    if (!gauge.Loaded(y, height)) return 0;
  }
  return 0;
}

int SaveRendition(const char* path, const Block& b, const SaveSettings&) {
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
  header[0] = 0x80;  // 0xE880, little-endian
  header[1] = 0xE8;
  header[4] = 2;
  std::memcpy(header + 6, "Quadrel -- 6rn output", 21);
  header[160] = static_cast<uint8_t>(b.height);
  header[161] = static_cast<uint8_t>(b.height >> 8);
  header[162] = static_cast<uint8_t>(b.width);
  header[163] = static_cast<uint8_t>(b.width >> 8);
  header[168] = 11;
  bool ok = out.Write(header, sizeof header);
  std::vector<uint8_t> line;
  CoderGauge gauge("Saving Rendition Image");
  for (int y = 0; ok && y < b.height; ++y) {
    if (!gauge.Saving(y, b.height)) return -1;
    line.clear();
    const Pixel* src = b.Row(y);
    for (int x = 0; x < b.width;) {
      int run = 1;
      while (x + run < b.width && run < 65535 && src[x + run] == src[x]) ++run;
      const Pixel s = Straight(src[x]);
      const uint8_t packet[6] = {static_cast<uint8_t>(Red(s)),  static_cast<uint8_t>(Green(s)),
                                 static_cast<uint8_t>(Blue(s)), static_cast<uint8_t>(Alpha(s)),
                                 static_cast<uint8_t>(run),     static_cast<uint8_t>(run >> 8)};
      line.insert(line.end(), packet, packet + 6);
      x += run;
    }
    ok = out.Write(line.data(), line.size());
  }
  if (!ok || !out.Commit()) {
    Message("Write error!");
    return -1;
  }
  return 0;
}

}  // namespace vela
