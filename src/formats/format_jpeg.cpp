// JPEG through libjpeg: read into opaque pixels (grey becomes RGB); written as 3-component RGB
// with the chosen quality, alpha dropped.
// jpeglib.h needs size_t and FILE declared before it.
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <vector>

#include <jpeglib.h>

#include "formats/coders.h"
#include "start/message.h"

namespace vela {

namespace {

struct JpegError {
  jpeg_error_mgr mgr;
  jmp_buf jump;
  char text[JMSG_LENGTH_MAX];
};

void OnErrorExit(j_common_ptr c) {
  auto* e = reinterpret_cast<JpegError*>(c->err);
  c->err->format_message(c, e->text);
  std::longjmp(e->jump, 1);
}
void OnMessage(j_common_ptr) {}
// A corrupt or cut stream is only a warning to the library; here it is a bad file.
void OnEmit(j_common_ptr c, int level) {
  if (level < 0) c->err->error_exit(c);
}

// Progressive pictures keep all coefficients in memory: this bounds what a header may ask for.
constexpr long kMaxDecoderMemory = 512L << 20;

bool Markers(Bytes f) {
  return f.size() >= 3 && f[0] == 0xFF && f[1] == 0xD8 && f[2] == 0xFF;
}

int Decode(jpeg_decompress_struct& d, JpegError& err, Bytes f, Block* b, int* w, int* h,
           std::vector<uint8_t>& line) {
  if (setjmp(err.jump)) return -1;
  jpeg_create_decompress(&d);
  d.mem->max_memory_to_use = kMaxDecoderMemory;
  jpeg_mem_src(&d, f.data(), static_cast<unsigned long>(f.size()));
  jpeg_read_header(&d, TRUE);
  *w = static_cast<int>(d.image_width);
  *h = static_cast<int>(d.image_height);
  if (!b) return 0;
  d.out_color_space = JCS_RGB;
  jpeg_start_decompress(&d);
  line.resize(static_cast<size_t>(d.output_width) * d.output_components);
  const int cw = ClipWidth(b, static_cast<int>(d.output_width));
  while (d.output_scanline < d.output_height) {
    const int y = static_cast<int>(d.output_scanline);
    JSAMPROW row = line.data();
    jpeg_read_scanlines(&d, &row, 1);
    if (y < b->height) {
      Pixel* dst = b->Row(y);
      const uint8_t* p = line.data();
      for (int x = 0; x < cw; ++x, p += 3) dst[x] = MakePixel(255, p[0], p[1], p[2]);
    }
    if (!CoderGauge::Loaded(y, static_cast<int>(d.output_height))) return 0;
  }
  jpeg_finish_decompress(&d);
  return 0;
}

int Run(Bytes f, Block* b, int* w, int* h) {
  jpeg_decompress_struct d{};
  JpegError err{};
  d.err = jpeg_std_error(&err.mgr);
  err.mgr.error_exit = OnErrorExit;
  err.mgr.output_message = OnMessage;
  err.mgr.emit_message = OnEmit;
  std::vector<uint8_t> line;
  std::optional<CoderGauge> gauge;
  if (b) gauge.emplace(kLoadingTitle);
  const int result = Decode(d, err, f, b, w, h, line);
  jpeg_destroy_decompress(&d);
  if (result != 0 && b) Message(err.text);
  return result;
}

// 0, -1 on the library's error, 1 when the user stopped.
int Encode(jpeg_compress_struct& c, JpegError& err, const Block& b, int quality,
           unsigned char** buffer, unsigned long* size, std::vector<uint8_t>& line) {
  if (setjmp(err.jump)) return -1;
  jpeg_create_compress(&c);
  jpeg_mem_dest(&c, buffer, size);
  c.image_width = static_cast<JDIMENSION>(b.width);
  c.image_height = static_cast<JDIMENSION>(b.height);
  c.input_components = 3;
  c.in_color_space = JCS_RGB;
  jpeg_set_defaults(&c);
  jpeg_set_quality(&c, quality, TRUE);
  jpeg_start_compress(&c, TRUE);
  while (c.next_scanline < c.image_height) {
    const int y = static_cast<int>(c.next_scanline);
    if (!CoderGauge::Saving(y, b.height)) return 1;
    const Pixel* src = b.Row(y);
    uint8_t* d = line.data();
    for (int x = 0; x < b.width; ++x) {
      *d++ = static_cast<uint8_t>(Red(src[x]));
      *d++ = static_cast<uint8_t>(Green(src[x]));
      *d++ = static_cast<uint8_t>(Blue(src[x]));
    }
    JSAMPROW row = line.data();
    jpeg_write_scanlines(&c, &row, 1);
  }
  jpeg_finish_compress(&c);
  return 0;
}

}  // namespace

bool ProbeJpeg(Bytes f, const char* path) {
  return Markers(f);
}

bool InfoJpeg(Bytes f, int* w, int* h) {
  return Markers(f) && Run(f, nullptr, w, h) == 0 && *w > 0 && *h > 0;
}

int LoadJpeg(Bytes f, Block* b) {
  int w = 0, h = 0;
  return Run(f, b, &w, &h);
}

int SaveJpeg(const char* path, const Block& b, const SaveSettings& s) {
  const int quality = std::clamp(s.jpegPower, 1, 100);
  jpeg_compress_struct c{};
  JpegError err{};
  c.err = jpeg_std_error(&err.mgr);
  err.mgr.error_exit = OnErrorExit;
  err.mgr.output_message = OnMessage;
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  std::vector<uint8_t> line(static_cast<size_t>(b.width) * 3);
  int result;
  {
    CoderGauge gauge("Saving JPEG Image");
    result = Encode(c, err, b, quality, &buffer, &size, line);
  }
  jpeg_destroy_compress(&c);
  if (result != 0) {
    std::free(buffer);
    if (result < 0) Message(err.text);
    return -1;
  }
  FileWriter out;
  const bool opened = out.Open(path);
  const bool ok = opened && out.Write(buffer, size) && out.Commit();
  std::free(buffer);
  if (!opened)
    MessageF("Unable to open file:\n%s", path);
  else if (!ok)
    Message("Write error!");
  return ok ? 0 : -1;
}

}  // namespace vela
