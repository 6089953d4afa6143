// PNG through libpng: any PNG read as 8-bit RGBA and premultiplied; written as RGB, RGBA with
// straight colours, or a palette of up to 255 colours from the quantizer.
#include <png.h>

#include <csetjmp>
#include <cstring>
#include <vector>

#include "formats/coders.h"
#include "formats/quantize.h"
#include "start/message.h"

namespace vela {

namespace {

constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
// Interlaced pictures are read whole; above this they are refused rather than allocated.
constexpr uint64_t kMaxInterlacedPixels = uint64_t{1} << 26;

struct PngIo {
  ByteReader* reader = nullptr;
  FileWriter* writer = nullptr;
  char error[256] = {};
};

void OnError(png_structp png, png_const_charp text) {
  auto* io = static_cast<PngIo*>(png_get_error_ptr(png));
  std::snprintf(io->error, sizeof io->error, "%s", text ? text : "PNG error");
  png_longjmp(png, 1);
}
void OnWarning(png_structp, png_const_charp) {}

void OnRead(png_structp png, png_bytep data, size_t n) {
  auto* io = static_cast<PngIo*>(png_get_io_ptr(png));
  if (!io->reader->Read(data, n)) png_error(png, "Read error!");
}

void OnWrite(png_structp png, png_bytep data, size_t n) {
  auto* io = static_cast<PngIo*>(png_get_io_ptr(png));
  if (!io->writer->Write(data, n)) png_error(png, "Write error!");
}
void OnFlush(png_structp) {}

}  // namespace

bool ProbePng(Bytes f, const char* path) {
  return f.size() >= 8 && std::memcmp(f.data(), kSignature, 8) == 0;
}

bool InfoPng(Bytes f, int* w, int* h) {
  // IHDR is the first chunk: width and height at 16 and 20, big-endian.
  ByteReader r(f);
  r.Seek(12);
  Bytes ihdr = r.Take(4);
  const uint32_t width = r.U32BE(), height = r.U32BE();
  if (!r.ok() || !ProbePng(f, nullptr) || std::memcmp(ihdr.data(), "IHDR", 4) != 0 || width < 1 ||
      height < 1 || width > INT32_MAX || height > INT32_MAX)
    return false;
  *w = static_cast<int>(width);
  *h = static_cast<int>(height);
  return true;
}

namespace {

// libpng unwinds with longjmp: everything with a destructor lives in the caller.
int ReadPng(PngIo& io, png_structp png, png_infop info, Block* b, std::vector<uint8_t>& rows,
            std::vector<png_bytep>& pointers) {
  if (setjmp(png_jmpbuf(png))) return -1;
  png_set_read_fn(png, &io, OnRead);
  png_set_user_limits(png, 1 << 20, 1 << 20);
  png_set_chunk_malloc_max(png, 1 << 26);
  png_read_info(png, info);
  const png_uint_32 width = png_get_image_width(png, info);
  const png_uint_32 height = png_get_image_height(png, info);
  const int type = png_get_color_type(png, info);
  png_set_expand(png);
  png_set_scale_16(png);
  if (type == PNG_COLOR_TYPE_GRAY || type == PNG_COLOR_TYPE_GRAY_ALPHA) png_set_gray_to_rgb(png);
  png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
  const int passes = png_set_interlace_handling(png);
  png_read_update_info(png, info);
  if (png_get_rowbytes(png, info) != static_cast<size_t>(width) * 4) png_error(png, "Bad file");
  const bool whole = passes > 1;
  if (whole && static_cast<uint64_t>(width) * height > kMaxInterlacedPixels)
    png_error(png, " Not enough memory");
  rows.resize(static_cast<size_t>(width) * 4 * (whole ? height : 1));
  pointers.resize(whole ? height : 1);
  for (size_t i = 0; i < pointers.size(); ++i) pointers[i] = &rows[i * width * 4];
  const int cw = ClipWidth(b, static_cast<int>(width));
  auto store = [&](png_uint_32 y, const uint8_t* p) {
    if (y >= static_cast<png_uint_32>(b->height)) return;
    Pixel* d = b->Row(static_cast<int>(y));
    for (int x = 0; x < cw; ++x, p += 4) d[x] = Premultiplied(p[3], p[0], p[1], p[2]);
  };
  if (whole) {
    png_read_image(png, pointers.data());
    for (png_uint_32 y = 0; y < height; ++y) {
      store(y, pointers[y]);
      if (!CoderGauge::Loaded(static_cast<int>(y), static_cast<int>(height))) return 0;
    }
  } else {
    for (png_uint_32 y = 0; y < height; ++y) {
      png_read_row(png, pointers[0], nullptr);
      store(y, pointers[0]);
      if (!CoderGauge::Loaded(static_cast<int>(y), static_cast<int>(height))) return 0;
    }
  }
  return 0;
}

// 0, -1 on libpng's error, 1 when the user stopped.
int WritePng(PngIo& io, png_structp png, png_infop info, const Block& b, int kind,
             const Pixel* palette, int colors, int transparent, const std::vector<uint8_t>& map,
             std::vector<uint8_t>& line) {
  if (setjmp(png_jmpbuf(png))) return -1;
  png_set_write_fn(png, &io, OnWrite, OnFlush);
  const int type = kind == 0   ? PNG_COLOR_TYPE_PALETTE
                   : kind == 3 ? PNG_COLOR_TYPE_RGB
                               : PNG_COLOR_TYPE_RGB_ALPHA;
  png_set_IHDR(png, info, static_cast<png_uint_32>(b.width), static_cast<png_uint_32>(b.height), 8,
               type, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (kind == 0) {
    png_color entries[256];
    for (int i = 0; i < colors; ++i)
      entries[i] = {static_cast<png_byte>(Red(palette[i])),
                    static_cast<png_byte>(Green(palette[i])),
                    static_cast<png_byte>(Blue(palette[i]))};
    png_set_PLTE(png, info, entries, colors);
    if (transparent >= 0) {
      png_byte alpha[256];
      std::memset(alpha, 255, sizeof alpha);
      alpha[transparent] = 0;
      png_set_tRNS(png, info, alpha, transparent + 1, nullptr);
    }
  }
  png_write_info(png, info);
  for (int y = 0; y < b.height; ++y) {
    if (!CoderGauge::Saving(y, b.height)) return 1;
    if (kind == 0) {
      png_write_row(png, &map[static_cast<size_t>(y) * b.width]);
    } else {
      const Pixel* src = b.Row(y);
      uint8_t* d = line.data();
      for (int x = 0; x < b.width; ++x) {
        // RGB drops alpha (the colour over black); RGBA stores straight colours.
        const Pixel p = kind == 3 ? src[x] : Straight(src[x]);
        *d++ = static_cast<uint8_t>(Red(p));
        *d++ = static_cast<uint8_t>(Green(p));
        *d++ = static_cast<uint8_t>(Blue(p));
        if (kind == 4) *d++ = static_cast<uint8_t>(Alpha(p));
      }
      png_write_row(png, line.data());
    }
  }
  png_write_end(png, info);
  return 0;
}

}  // namespace

int LoadPng(Bytes f, Block* b) {
  ByteReader r(f);
  PngIo io;
  io.reader = &r;
  png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &io, OnError, OnWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_read_struct(&png, nullptr, nullptr);
    Message(" Not enough memory");
    return -1;
  }
  std::vector<uint8_t> rows;
  std::vector<png_bytep> pointers;
  CoderGauge gauge(kLoadingTitle);
  const int result = ReadPng(io, png, info, b, rows, pointers);
  png_destroy_read_struct(&png, &info, nullptr);
  if (result != 0) Message(io.error);
  return result;
}

int SavePng(const char* path, const Block& b, const SaveSettings& s) {
  // kind: 0 palette, 3 RGB, 4 RGBA.
  const int kind = s.png.palette == kPaletteTrue24 ? 3 : s.png.palette == kPaletteTrue32 ? 4 : 0;
  Pixel palette[256] = {};
  std::vector<uint8_t> map;
  int colors = s.png.colors <= 0 || s.png.colors > 255 ? 255 : s.png.colors;
  int transparent = -1;
  if (kind == 0) {
    if (!Quantize(b, palette, &map, &transparent, nullptr, colors, s.png.palette, s.png.dither))
      return -1;
    // The reserved entry is see-through unless it stands for a solid background.
    if (CurrentQuantizeSources().solidBackground ||
        std::find(map.begin(), map.end(), transparent) == map.end())
      transparent = -1;
  }
  FileWriter out;
  if (!out.Open(path)) {
    MessageF("Unable to open file:\n%s", path);
    return -1;
  }
  PngIo io;
  io.writer = &out;
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &io, OnError, OnWarning);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  if (!info) {
    png_destroy_write_struct(&png, nullptr);
    Message(" Not enough memory");
    return -1;
  }
  std::vector<uint8_t> line(static_cast<size_t>(b.width) * 4);
  int result;
  {
    CoderGauge gauge("Saving PNG Image");
    result = WritePng(io, png, info, b, kind, palette, colors, transparent, map, line);
  }
  png_destroy_write_struct(&png, &info);
  if (result > 0) return -1;
  if (result != 0 || !out.Commit()) {
    Message(io.error[0] ? io.error : "Write error!");
    return -1;
  }
  return 0;
}

}  // namespace vela
