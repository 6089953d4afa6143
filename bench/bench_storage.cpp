// Pixel storage: the run code beside lz4 and zlib on one painted 1080p frame, and a long
// animation through the tile store and the disk cache.
#include <benchmark/benchmark.h>
#include <lz4.h>
#include <sys/resource.h>
#include <zlib.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/pixel_rle.h"
#include "pixels/tile_store.h"
#include "start/run_paths.h"

namespace {

using vela::Pixel;

constexpr int kW = 1920, kH = 1080;
constexpr double kRawFrame = double{kW} * kH * 4;

// A painted page: a sky graded by rows, flat ground, hard-edged shapes, and a brushed patch of
// noise where runs are rare.
const std::vector<Pixel>& Frame() {
  static const std::vector<Pixel> frame = [] {
    std::vector<Pixel> f(static_cast<size_t>(kW) * kH);
    uint32_t seed = 12345;
    for (int y = 0; y < kH; ++y)
      for (int x = 0; x < kW; ++x) {
        Pixel p = y < 700 ? vela::PenPixel(40 + y / 8, 90 + y / 10, 200 - y / 12)
                          : vela::PenPixel(70, 120, 50);
        int dx = x - 1300, dy = y - 500;
        if (dx * dx + dy * dy < 160 * 160) p = vela::PenPixel(230, 200, 40);
        if (x > 200 && x < 700 && y > 550 && y < 900) p = vela::PenPixel(150, 60, 50);
        if (x > 300 && x < 620 && y > 760 && y < 1000) {
          seed = seed * 214013 + 2531011;
          int v = (seed >> 16) & 0x3F;
          p = vela::PenPixel(100 + v, 80 + v / 2, 60 + v / 3);
        }
        f[static_cast<size_t>(y) * kW + x] = p;
      }
    return f;
  }();
  return frame;
}

void Report(benchmark::State& state, size_t packed) {
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kW * kH * 4);
  state.counters["packed_bytes"] = static_cast<double>(packed);
  state.counters["raw_bytes"] = kRawFrame;
  state.counters["ratio_pct"] = 100.0 * static_cast<double>(packed) / kRawFrame;
}

void PackVela(benchmark::State& state) {
  const auto& f = Frame();
  std::vector<uint8_t> out(vela::PixelRLEBound(f.size()));
  size_t n = 0;
  for (auto _ : state) {
    n = vela::PixelRLEPackRows(f.data(), kW, kW, kH, out.data());
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, n);
}

void PackLz4(benchmark::State& state) {
  const auto& f = Frame();
  const int raw = static_cast<int>(f.size() * 4);
  std::vector<char> out(LZ4_compressBound(raw));
  int n = 0;
  for (auto _ : state) {
    n = LZ4_compress_default(reinterpret_cast<const char*>(f.data()), out.data(), raw,
                             static_cast<int>(out.size()));
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, static_cast<size_t>(n));
}

void PackZlib1(benchmark::State& state) {
  const auto& f = Frame();
  const uLong raw = f.size() * 4;
  std::vector<Bytef> out(compressBound(raw));
  uLongf n = 0;
  for (auto _ : state) {
    n = out.size();
    compress2(out.data(), &n, reinterpret_cast<const Bytef*>(f.data()), raw, 1);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, n);
}

void UnpackVela(benchmark::State& state) {
  const auto& f = Frame();
  std::vector<uint8_t> packed(vela::PixelRLEBound(f.size()));
  packed.resize(vela::PixelRLEPackRows(f.data(), kW, kW, kH, packed.data()));
  std::vector<Pixel> out(f.size());
  for (auto _ : state) {
    vela::PixelRLEUnpackRows(packed.data(), packed.size(), out.data(), kW, kW, kH);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, packed.size());
}

void UnpackLz4(benchmark::State& state) {
  const auto& f = Frame();
  const int raw = static_cast<int>(f.size() * 4);
  std::vector<char> packed(LZ4_compressBound(raw));
  packed.resize(LZ4_compress_default(reinterpret_cast<const char*>(f.data()), packed.data(), raw,
                                     static_cast<int>(packed.size())));
  std::vector<char> out(raw);
  for (auto _ : state) {
    LZ4_decompress_safe(packed.data(), out.data(), static_cast<int>(packed.size()), raw);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, packed.size());
}

void UnpackZlib1(benchmark::State& state) {
  const auto& f = Frame();
  const uLong raw = f.size() * 4;
  std::vector<Bytef> packed(compressBound(raw));
  uLongf n = packed.size();
  compress2(packed.data(), &n, reinterpret_cast<const Bytef*>(f.data()), raw, 1);
  std::vector<Bytef> out(raw);
  for (auto _ : state) {
    uLongf size = raw;
    uncompress(out.data(), &size, packed.data(), n);
    benchmark::DoNotOptimize(out.data());
  }
  Report(state, n);
}

// 1,000 frames of a still background with a 48-pixel figure moving across it, each frame stored
// as the Layers code stores the working page when the frame changes.
void Animation1000(benchmark::State& state) {
  constexpr int kFrames = 1000;
  char dir[] = "/tmp/vela_bench_XXXXXX";
  if (!mkdtemp(dir)) {
    state.SkipWithError("no temp directory");
    return;
  }
  vela::Paths().tempDir = std::string(dir) + "/";
  vela::CacheStartWithLimit(-1);
  vela::BlockPtr page(vela::AllocBlock(kW, kH));
  const auto& bg = Frame();
  double perFrame = 0, cacheMemory = 0, onDisk = 0;
  for (auto _ : state) {
    vela::ImageSequence* s = vela::CreateSequence("anim", kW, kH);
    std::copy(bg.begin(), bg.end(), page->data);
    int px = 0, py = 0;
    for (int i = 0; i < kFrames; ++i) {
      // Put back the background under the last figure, then draw the figure further on.
      for (int y = py; y < py + 48; ++y)
        std::copy_n(&bg[static_cast<size_t>(y) * kW + px], 48, page->Row(y) + px);
      px = 40 + (i * 7) % (kW - 100);
      py = 300 + static_cast<int>(200 * std::sin(i * 0.05));
      for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 48; ++x)
          if ((x - 24) * (x - 24) + (y - 24) * (y - 24) < 22 * 22)
            page->Row(py + y)[px + x] = vela::PenPixel(200, (x * 5) & 0xFF, (i * 3) & 0xFF);
      vela::AddFrame(s, page.get(), i - 1, 1);
    }
    perFrame = static_cast<double>(vela::CacheStats(0) + vela::CacheStats(1)) / kFrames;
    cacheMemory = static_cast<double>(vela::CacheStats(2));
    onDisk = static_cast<double>(vela::CacheStats(3));
    vela::Destroy(s);
  }
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  state.counters["frames"] = kFrames;
  state.counters["cache_bytes_per_frame"] = perFrame;
  state.counters["raw_frame_bytes"] = kRawFrame;
  state.counters["per_frame_pct_of_raw"] = 100.0 * perFrame / kRawFrame;
  state.counters["cache_memory_bytes"] = cacheMemory;
  state.counters["scratch_file_bytes"] = onDisk;
  state.counters["peak_rss_bytes"] = static_cast<double>(ru.ru_maxrss) * 1024;
  vela::CacheStop();
  std::system((std::string("rm -rf ") + dir).c_str());
}

}  // namespace

BENCHMARK(PackVela)->Name("PackFrame1080p/vela");
BENCHMARK(PackLz4)->Name("PackFrame1080p/lz4");
BENCHMARK(PackZlib1)->Name("PackFrame1080p/zlib1");
BENCHMARK(UnpackVela)->Name("UnpackFrame1080p/vela");
BENCHMARK(UnpackLz4)->Name("UnpackFrame1080p/lz4");
BENCHMARK(UnpackZlib1)->Name("UnpackFrame1080p/zlib1");
BENCHMARK(Animation1000)
    ->Name("Animation1000Frames1080p/vela")
    ->Iterations(1)
    ->Unit(benchmark::kSecond);
