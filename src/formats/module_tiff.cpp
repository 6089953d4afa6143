// TIFF 6.0, a format module: glue on libtiff over memory. Reading goes through libtiff's RGBA
// interface (strips and tiles, every photometric it knows, alpha brought to associated form) in
// bands of rows; writing gives RGB, RGBA (unassociated alpha), RGB+A (associated alpha, the
// colours as held), or 8-bit palette pictures.
#include <tiffio.h>

#include <cstring>
#include <optional>
#include <vector>

#include "formats/coders.h"
#include "formats/quantize.h"
#include "start/message.h"

namespace vela {

namespace {

enum { kTiffRgb = 0, kTiffRgba = 1, kTiffRgbPlusA = 2, kTiff8Bits = 3, kTiff8BitsOpt = 4 };

// A TIFF "file" in memory: libtiff reads, writes and seeks through these.
struct MemFile {
  Bytes in;
  std::vector<uint8_t>* out = nullptr;
  uint64_t pos = 0;
};

tmsize_t MemRead(thandle_t h, void* buf, tmsize_t n) {
  auto* m = static_cast<MemFile*>(h);
  const uint64_t size = m->out ? m->out->size() : m->in.size();
  const uint8_t* data = m->out ? m->out->data() : m->in.data();
  if (n < 0 || m->pos >= size) return 0;
  const uint64_t k = std::min<uint64_t>(static_cast<uint64_t>(n), size - m->pos);
  std::memcpy(buf, data + m->pos, k);
  m->pos += k;
  return static_cast<tmsize_t>(k);
}

tmsize_t MemWrite(thandle_t h, void* buf, tmsize_t n) {
  auto* m = static_cast<MemFile*>(h);
  if (!m->out || n < 0) return -1;
  const uint64_t end = m->pos + static_cast<uint64_t>(n);
  if (end > (uint64_t{1} << 32)) return -1;
  if (end > m->out->size()) m->out->resize(end);
  std::memcpy(m->out->data() + m->pos, buf, static_cast<size_t>(n));
  m->pos = end;
  return n;
}

toff_t MemSeek(thandle_t h, toff_t off, int whence) {
  auto* m = static_cast<MemFile*>(h);
  const uint64_t size = m->out ? m->out->size() : m->in.size();
  uint64_t base = whence == SEEK_CUR ? m->pos : whence == SEEK_END ? size : 0;
  m->pos = base + off;
  return m->pos;
}

int MemClose(thandle_t) {
  return 0;
}
toff_t MemSize(thandle_t h) {
  auto* m = static_cast<MemFile*>(h);
  return m->out ? m->out->size() : m->in.size();
}
int MemMap(thandle_t, void**, toff_t*) {
  return 0;
}
void MemUnmap(thandle_t, void*, toff_t) {}

TIFF* OpenMem(MemFile* m, const char* mode) {
  return TIFFClientOpen("vela", mode, m, MemRead, MemWrite, MemSeek, MemClose, MemSize, MemMap,
                        MemUnmap);
}

void Quiet(const char*, const char*, va_list) {}

bool Signature(Bytes f) {
  return f.size() >= 8 && ((f[0] == 'I' && f[1] == 'I' && f[2] == 42 && f[3] == 0) ||
                           (f[0] == 'M' && f[1] == 'M' && f[2] == 0 && f[3] == 42));
}

int Probe(ModuleContext*, const char*, Bytes f) {
  return Signature(f) ? 0 : -1;
}

int Info(ModuleContext*, Bytes f, int* w, int* h) {
  if (!Signature(f)) return -1;
  MemFile m{f};
  TIFF* t = OpenMem(&m, "rm");
  if (!t) return -1;
  uint32_t width = 0, height = 0;
  TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &width);
  TIFFGetField(t, TIFFTAG_IMAGELENGTH, &height);
  TIFFClose(t);
  if (width < 1 || height < 1 || width > INT32_MAX || height > INT32_MAX) return -1;
  *w = static_cast<int>(width);
  *h = static_cast<int>(height);
  return 0;
}

// Pixels of a band the RGBA interface may hand us at once.
constexpr uint64_t kMaxBandPixels = uint64_t{1} << 26;

int Load(ModuleContext*, Bytes f, Block* b) {
  MemFile m{f};
  if (!Signature(f)) {
    Message("This is not a TIFF 6.0 file");
    return -1;
  }
  TIFF* t = OpenMem(&m, "rm");
  if (!t) {
    Message("Tiff 6.0: Read error!");
    return -1;
  }
  uint16_t planar = PLANARCONFIG_CONTIG, bits = 8;
  TIFFGetFieldDefaulted(t, TIFFTAG_PLANARCONFIG, &planar);
  TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bits);
  char why[1024] = {};
  TIFFRGBAImage img;
  if (!TIFFRGBAImageOK(t, why) || !TIFFRGBAImageBegin(&img, t, 0, why)) {
    TIFFClose(t);
    if (planar != PLANARCONFIG_CONTIG && planar != PLANARCONFIG_SEPARATE)
      Message("Tiff 6.0: Unsupported number of planes");
    else if (bits != 1 && bits != 2 && bits != 4 && bits != 8 && bits != 16)
      Message("Tiff 6.0: Unsupported bits par sample");
    else
      Message("Tiff 6.0: Unsupported photometric");
    return -1;
  }
  const uint32_t width = img.width, height = img.height;
  uint32_t band = 16;
  uint32_t tile = 0;
  if (TIFFIsTiled(t))
    TIFFGetField(t, TIFFTAG_TILELENGTH, &tile);
  else
    TIFFGetFieldDefaulted(t, TIFFTAG_ROWSPERSTRIP, &tile);
  if (tile > band && static_cast<uint64_t>(tile) * width <= kMaxBandPixels) band = tile;
  int result = 0;
  if (static_cast<uint64_t>(band) * width > kMaxBandPixels) {
    Message("Tiff 6.0:  Not enough memory");
    result = -1;
  }
  std::vector<uint32_t> raster;
  if (result == 0) raster.resize(static_cast<size_t>(band) * width);
  img.req_orientation = ORIENTATION_TOPLEFT;
  const int cw = ClipWidth(b, static_cast<int>(width));
  CoderGauge gauge(kLoadingTitle);
  bool stopped = false;
  for (uint32_t y0 = 0;
       result == 0 && !stopped && y0 < height && y0 < static_cast<uint32_t>(b->height);
       y0 += band) {
    const uint32_t rows = std::min(band, height - y0);
    img.row_offset = static_cast<int>(y0);
    img.col_offset = 0;
    if (!TIFFRGBAImageGet(&img, raster.data(), width, rows)) {
      Message("Tiff 6.0: Read error!");
      result = -1;
      break;
    }
    for (uint32_t i = 0; i < rows && y0 + i < static_cast<uint32_t>(b->height); ++i) {
      const uint32_t* s = &raster[static_cast<size_t>(i) * width];
      Pixel* d = b->Row(static_cast<int>(y0 + i));
      for (int x = 0; x < cw; ++x)  // libtiff packs A B G R from the high byte down
        d[x] = MakePixel(TIFFGetA(s[x]), TIFFGetR(s[x]), TIFFGetG(s[x]), TIFFGetB(s[x]));
      if (!gauge.Loaded(static_cast<int>(y0 + i), static_cast<int>(height))) {
        stopped = true;
        break;
      }
    }
  }
  TIFFRGBAImageEnd(&img);
  TIFFClose(t);
  return result;
}

int Save(ModuleContext* c, const char* path, const Block& b) {
  std::vector<uint8_t> file;
  MemFile m{{}, &file};
  TIFF* t = OpenMem(&m, "w");
  if (!t) {
    Message("Tiff 6.0:  Not enough memory");
    return -1;
  }
  const bool palette = c->format == kTiff8Bits || c->format == kTiff8BitsOpt;
  const int samples = palette ? 1 : c->format == kTiffRgb ? 3 : 4;
  Pixel colors[256] = {};
  std::vector<uint8_t> map;
  int transparent = 0;
  if (palette && !Quantize(b, colors, &map, &transparent, nullptr, 256,
                           c->format == kTiff8Bits ? kPalettePreset : kPaletteLocal, kDitherNone)) {
    TIFFClose(t);
    return -1;
  }
  TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(b.width));
  TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(b.height));
  TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 8);
  TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, samples);
  TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(t, TIFFTAG_PHOTOMETRIC, palette ? PHOTOMETRIC_PALETTE : PHOTOMETRIC_RGB);
  TIFFSetField(t, TIFFTAG_COMPRESSION, c->compression ? COMPRESSION_LZW : COMPRESSION_NONE);
  TIFFSetField(t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
  TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
  TIFFSetField(t, TIFFTAG_SOFTWARE, "Vela");
  if (samples == 4) {
    const uint16_t extra = c->format == kTiffRgba ? EXTRASAMPLE_UNASSALPHA : EXTRASAMPLE_ASSOCALPHA;
    TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 1, &extra);
  }
  if (palette) {
    std::vector<uint16_t> red(256), green(256), blue(256);
    for (int i = 0; i < 256; ++i) {
      red[i] = static_cast<uint16_t>(Red(colors[i]) * 257);
      green[i] = static_cast<uint16_t>(Green(colors[i]) * 257);
      blue[i] = static_cast<uint16_t>(Blue(colors[i]) * 257);
    }
    TIFFSetField(t, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
  }
  std::vector<uint8_t> line(static_cast<size_t>(b.width) * samples);
  bool ok = true;
  std::optional<CoderGauge> gauge(std::in_place, "Saving TIFF Image");
  for (int y = 0; ok && y < b.height; ++y) {
    if (!gauge->Saving(y, b.height)) {
      TIFFClose(t);
      return -1;
    }
    if (palette) {
      std::memcpy(line.data(), &map[static_cast<size_t>(y) * b.width], b.width);
    } else {
      const Pixel* src = b.Row(y);
      uint8_t* d = line.data();
      for (int x = 0; x < b.width; ++x) {
        const Pixel p = c->format == kTiffRgba ? Straight(src[x]) : src[x];
        *d++ = static_cast<uint8_t>(Red(p));
        *d++ = static_cast<uint8_t>(Green(p));
        *d++ = static_cast<uint8_t>(Blue(p));
        if (samples == 4) *d++ = static_cast<uint8_t>(Alpha(p));
      }
    }
    ok = TIFFWriteScanline(t, line.data(), static_cast<uint32_t>(y), 0) == 1;
  }
  gauge.reset();
  ok = TIFFWriteDirectory(t) == 1 && ok;
  TIFFClose(t);
  FileWriter out;
  if (!ok || !out.Open(path) || !out.Write(file.data(), file.size()) || !out.Commit()) {
    Message("Tiff 6.0: Write error!");
    return -1;
  }
  return 0;
}

int Open(ModuleContext* c) {
  // libtiff speaks through global handlers; the module reports its own words instead.
  TIFFSetErrorHandler(Quiet);
  TIFFSetWarningHandler(Quiet);
  c->format = kTiffRgba;
  c->compression = 1;
  return 0;
}

int Options(ModuleContext*) {
  return 0;
}  // the menu "Tiff 6.0 options" belongs to the windows

}  // namespace

const FormatModule kTiffModule = {"Tiff",  "TIFF", "Tiff",  ".tif", "Tiff", 1,       0,    1,
                                  nullptr, Open,   nullptr, Probe,  Info,   Options, Load, Save};

}  // namespace vela
