// Load and save of a 1920x1080 picture in TGA, BMP and PNG, beside the same through Magick++;
// and an 8-bit PCX save, where the palette cut and Floyd-Steinberg take nearly all the time.
// Both sides start from pixels in memory and end with a file, or the reverse; Magick++ keeps its
// own 16-bit pixel cache, which is part of what it costs.
// The C library's assert comes first: Magick++ declares its own __assert_fail in a namespace.
#include <assert.h>
#include <benchmark/benchmark.h>
#include <unistd.h>
#ifdef VELA_HAVE_MAGICK
#include <Magick++.h>
#endif

#include <filesystem>
#include <string>
#include <vector>

#include "formats/formats.h"
#include "pixels/block.h"
#include "start/message.h"

namespace {

constexpr int kW = 1920, kH = 1080;

// Smooth shading with fine grain, as a painting or a photograph has: neither all runs nor noise.
vela::BlockPtr Picture() {
  vela::BlockPtr b(vela::NewBlock(kW, kH));
  uint32_t seed = 1;
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      seed = seed * 214013 + 2531011;
      const int grain = (seed >> 16) & 3;
      b->Row(y)[x] = vela::PenPixel((x * 255 / kW + grain) & 255, (y * 255 / kH) & 255,
                                    ((x + y) / 12 + grain) & 255);
    }
  return b;
}

const vela::Block& Shared() {
  static vela::BlockPtr b = Picture();
  return *b;
}

std::string PathFor(const char* name) {
  static const std::string dir = [] {
    auto d =
        std::filesystem::temp_directory_path() / ("vela-bench-formats-" + std::to_string(getpid()));
    std::filesystem::create_directories(d);
    return d.string();
  }();
  return dir + "/" + name;
}

vela::SaveSettings Settings() {
  vela::SaveSettings s;
  s.png.palette = vela::kPaletteTrue24;
  s.bmp.palette = vela::kPaletteTrue24;
  s.tgaCompression = 1;
  return s;
}

void SaveVela(benchmark::State& state, int format, const char* name) {
  vela::SetMessageSink(+[](const char*) {});
  const std::string path = PathFor(name);
  for (auto _ : state)
    if (vela::SaveBlockAs(path.c_str(), Shared(), format, Settings()) != 0)
      state.SkipWithError("save");
}

void LoadVela(benchmark::State& state, int format, const char* name) {
  vela::SetMessageSink(+[](const char*) {});
  const std::string path = PathFor(name);
  vela::SaveBlockAs(path.c_str(), Shared(), format, Settings());
  vela::BlockPtr into(vela::NewBlock(kW, kH));
  for (auto _ : state)
    if (vela::LoadFileIntoBlock(path.c_str(), into.get(), -1) != 0) state.SkipWithError("load");
}

#ifdef VELA_HAVE_MAGICK
Magick::Image MagickPicture() {
  std::vector<uint8_t> rgb(static_cast<size_t>(kW) * kH * 3);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      const vela::Pixel p = Shared().Row(y)[x];
      uint8_t* d = &rgb[(static_cast<size_t>(y) * kW + x) * 3];
      d[0] = vela::Red(p), d[1] = vela::Green(p), d[2] = vela::Blue(p);
    }
  Magick::Image image(kW, kH, "RGB", Magick::CharPixel, rgb.data());
  return image;
}

void SaveMagick(benchmark::State& state, const char* magick, const char* name) {
  Magick::InitializeMagick(nullptr);
  Magick::Image image = MagickPicture();
  if (std::string(magick) == "tga") image.compressType(Magick::RLECompression);
  const bool palette = std::string(magick) == "pcx";
  const std::string target = std::string(magick) + ":" + PathFor(name);
  for (auto _ : state) {
    Magick::Image copy = image;  // a write may alter the image's settings
    if (palette) {               // 256 colours, dithered, as the PCX save of ours
      copy.quantizeColors(256);
      copy.quantizeDither(true);
      copy.quantize();
    }
    copy.write(target);
  }
}

void LoadMagick(benchmark::State& state, const char* magick, const char* name) {
  Magick::InitializeMagick(nullptr);
  Magick::Image image = MagickPicture();
  if (std::string(magick) == "tga") image.compressType(Magick::RLECompression);
  const std::string path = PathFor(name);
  image.write(std::string(magick) + ":" + path);
  for (auto _ : state) {
    Magick::Image read;
    read.read(path);
    benchmark::DoNotOptimize(read.columns());
  }
}
#endif

}  // namespace

BENCHMARK_CAPTURE(SaveVela, tga, vela::kFormatTga, "v.tga")
    ->Name("SaveTga1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadVela, tga, vela::kFormatTga, "v.tga")
    ->Name("LoadTga1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveVela, bmp, vela::kFormatBmp, "v.bmp")
    ->Name("SaveBmp1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadVela, bmp, vela::kFormatBmp, "v.bmp")
    ->Name("LoadBmp1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveVela, png, vela::kFormatPng, "v.png")
    ->Name("SavePng1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadVela, png, vela::kFormatPng, "v.png")
    ->Name("LoadPng1080p/vela")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveVela, pcx, vela::kFormatPcx, "v.pcx")
    ->Name("SavePcx1080p/vela")
    ->Unit(benchmark::kMillisecond);
#ifdef VELA_HAVE_MAGICK
BENCHMARK_CAPTURE(SaveMagick, pcx, "pcx", "m.pcx")
    ->Name("SavePcx1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveMagick, tga, "tga", "m.tga")
    ->Name("SaveTga1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadMagick, tga, "tga", "m.tga")
    ->Name("LoadTga1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveMagick, bmp, "bmp3", "m.bmp")
    ->Name("SaveBmp1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadMagick, bmp, "bmp3", "m.bmp")
    ->Name("LoadBmp1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(SaveMagick, png, "png24", "m.png")
    ->Name("SavePng1080p/magick")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(LoadMagick, png, "png24", "m.png")
    ->Name("LoadPng1080p/magick")
    ->Unit(benchmark::kMillisecond);
#endif
