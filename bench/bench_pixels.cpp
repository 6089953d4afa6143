// Pixel blocks against pixman and the C library, over the same 1920 x 1080 data.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstring>
#include <random>

#include "pixels/blend.h"
#include "pixels/block.h"
#include "pixels/primitives.h"

namespace vela {
namespace {

constexpr int kW = 1920, kH = 1080;
constexpr int kOpacity = 180;

// A page-like picture: runs of clear, opaque and part-covered premultiplied pixels.
void Paint(Block* b, uint32_t seed, int clearShare) {
  std::mt19937 rng(seed);
  for (int y = 0; y < b->height; ++y) {
    Pixel* row = b->Row(y);
    for (int x = 0; x < b->width;) {
      int run = std::min(16 + static_cast<int>(rng() % 240), b->width - x);
      int kind = static_cast<int>(rng() % 100);
      for (int i = 0; i < run; ++i, ++x) {
        int alpha = kind < clearShare ? 0 : kind < 70 ? 255 : static_cast<int>(rng() & 0xFF);
        Pixel p = static_cast<Pixel>(alpha) << 24;
        for (int c = 0; c < 3; ++c) p |= static_cast<Pixel>(rng() % (alpha + 1)) << (8 * c);
        row[x] = p;
      }
    }
  }
}

struct Frames {
  BlockPtr src{AllocBlock(kW, kH)};
  BlockPtr dst{AllocBlock(kW, kH)};
  BlockPtr pristine{AllocBlock(kW, kH)};
  Frames() {
    Paint(src.get(), 1, 35);
    Paint(pristine.get(), 2, 10);
    CopyBlock(pristine.get(), dst.get());
  }
};

Frames& Data() {
  static Frames frames;
  return frames;
}

pixman_image_t* Wrap(Block* b) {
  return pixman_image_create_bits(PIXMAN_a8r8g8b8, b->width, b->height,
                                  reinterpret_cast<uint32_t*>(b->data),
                                  b->width * static_cast<int>(sizeof(Pixel)));
}

// Shown as pixels per second: 2.27G/s is 2270 megapixels per second.
void SetRate(benchmark::State& state, int64_t pixels) {
  state.counters["pixels"] = benchmark::Counter(static_cast<double>(pixels) * state.iterations(),
                                                benchmark::Counter::kIsRate);
}

// Each pass starts from the same destination, outside the timing.
template <typename Pass>
void BlendBench(benchmark::State& state, Pass pass) {
  Frames& f = Data();
  for (auto _ : state) {
    state.PauseTiming();
    CopyBlock(f.pristine.get(), f.dst.get());
    state.ResumeTiming();
    pass(f);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

void PixmanOver(benchmark::State& state, int opacity) {
  Frames& f = Data();
  pixman_image_t* src = Wrap(f.src.get());
  pixman_image_t* dst = Wrap(f.dst.get());
  pixman_color_t color = {0, 0, 0, static_cast<uint16_t>(opacity * 257)};
  pixman_image_t* mask = opacity < 255 ? pixman_image_create_solid_fill(&color) : nullptr;
  BlendBench(state, [&](Frames&) {
    pixman_image_composite32(PIXMAN_OP_OVER, src, mask, dst, 0, 0, 0, 0, 0, 0, kW, kH);
  });
  if (mask) pixman_image_unref(mask);
  pixman_image_unref(dst);
  pixman_image_unref(src);
}

void ScaledOverVela(benchmark::State& state) {
  BlendBench(state, [](Frames& f) {
    for (int y = 0; y < kH; ++y) ScaledOverRow(f.src->Row(y), f.dst->Row(y), kW, kOpacity);
  });
}
void ScaledOverPixman(benchmark::State& state) {
  PixmanOver(state, kOpacity);
}

void OverVela(benchmark::State& state) {
  BlendBench(state, [](Frames& f) {
    for (int y = 0; y < kH; ++y) OverRow(f.src->Row(y), f.dst->Row(y), kW);
  });
}
void OverPixman(benchmark::State& state) {
  PixmanOver(state, 255);
}

void FillRectVela(benchmark::State& state) {
  Frames& f = Data();
  for (auto _ : state) {
    FillRect(f.dst.get(), 0, 0, kW - 1, kH - 1, 0xFF336699);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

void FillRectMemset(benchmark::State& state) {
  Frames& f = Data();
  for (auto _ : state) {
    std::memset(f.dst->data, 0x5A, sizeof(Pixel) * kW * kH);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

void FillRectPixmanFill(benchmark::State& state) {
  Frames& f = Data();
  for (auto _ : state) {
    pixman_fill(reinterpret_cast<uint32_t*>(f.dst->data), kW, 32, 0, 0, kW, kH, 0xFF336699);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

// A 1080p rectangle inside larger Blocks, so the copy goes row by row.
struct Pages {
  BlockPtr src{NewBlock(2000, 1100)};
  BlockPtr dst{NewBlock(2000, 1100)};
};

void CopyRectVela(benchmark::State& state) {
  Pages p;
  for (auto _ : state) {
    CopyRect(p.src.get(), 40, 10, p.dst.get(), 24, 6, kW, kH);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

void CopyRectMemcpy(benchmark::State& state) {
  Frames& f = Data();
  for (auto _ : state) {
    std::memcpy(f.dst->data, f.src->data, sizeof(Pixel) * kW * kH);
    benchmark::ClobberMemory();
  }
  SetRate(state, int64_t{kW} * kH);
}

BENCHMARK(ScaledOverVela)->Name("ScaledOver1080p/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(ScaledOverPixman)->Name("ScaledOver1080p/pixman")->Unit(benchmark::kMillisecond);
BENCHMARK(OverVela)->Name("Over1080p/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(OverPixman)->Name("Over1080p/pixman")->Unit(benchmark::kMillisecond);
BENCHMARK(FillRectVela)->Name("FillRect1080p/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(FillRectMemset)->Name("FillRect1080p/memset")->Unit(benchmark::kMillisecond);
BENCHMARK(FillRectPixmanFill)->Name("FillRect1080p/pixman_fill")->Unit(benchmark::kMillisecond);
BENCHMARK(CopyRectVela)->Name("CopyRect1080p/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(CopyRectMemcpy)->Name("CopyRect1080p/memcpy")->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace vela
