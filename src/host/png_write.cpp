#include <png.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "host/host.h"

namespace vela {

bool HostWritePng(const char* path, const uint32_t* pixels, int width, int height, int stride,
                  bool alpha, std::string* error) {
  auto fail = [&](const char* why) {
    if (error) *error = why;
    return false;
  };
  if (!path || !*path || !pixels || width < 1 || height < 1) return fail("nothing to write");
  std::string tmp = std::string(path) + ".tmp" + std::to_string(getpid());
  FILE* f = std::fopen(tmp.c_str(), "wb");
  if (!f) return fail("cannot create the file");

  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png ? png_create_info_struct(png) : nullptr;
  std::vector<uint8_t> row(static_cast<size_t>(width) * 4);
  bool ok = png && info;
  if (ok && setjmp(png_jmpbuf(png))) ok = false;
  if (ok) {
    png_init_io(png, f);
    png_set_IHDR(png, info, width, height, 8, alpha ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y) {
      const uint32_t* src = pixels + static_cast<size_t>(y) * stride;
      uint8_t* d = row.data();
      for (int x = 0; x < width; ++x) {
        uint32_t p = src[x];
        *d++ = static_cast<uint8_t>(p >> 16);
        *d++ = static_cast<uint8_t>(p >> 8);
        *d++ = static_cast<uint8_t>(p);
        if (alpha) *d++ = static_cast<uint8_t>(p >> 24);
      }
      png_write_row(png, row.data());
    }
    png_write_end(png, nullptr);
  }
  png_destroy_write_struct(&png, &info);
  // A full disk shows up at fflush/fclose; only a clean close may replace the target.
  if (std::fflush(f) != 0) ok = false;
  if (std::fclose(f) != 0) ok = false;
  if (ok && std::rename(tmp.c_str(), path) != 0) ok = false;
  if (!ok) {
    std::remove(tmp.c_str());
    return fail("write error");
  }
  return true;
}

}  // namespace vela
