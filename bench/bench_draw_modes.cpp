// Draw-mode loops beside pixman compositing the same rectangle, in megapixels per second.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cmath>
#include <random>
#include <vector>

#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/wet.h"
#include "pixels/block.h"
#include "start/workspace.h"

namespace vela {
namespace {

struct Scene {
  BlockPtr page, spare, under, base;
  std::vector<uint8_t> mask, map;
  Brush brush;

  explicit Scene(int w, int h) {
    page.reset(NewBlock(1024, 1024));
    spare.reset(NewBlock(1024, 1024));
    base.reset(NewBlock(1024, 1024));
    under.reset(NewBlock(w, h));
    std::mt19937 g(1);
    for (int i = 0; i < 1024 * 1024; ++i) {
      int a = g() & 255;
      page->data[i] = MakePixel(a, (g() & 255) * a / 255, a / 2, 0);
      spare->data[i] = base->data[i] = 0xFF204080;
    }
    mask.resize(w * h);
    map.assign(1024 * 1024, 0);
    for (int y = 0; y < h; ++y)  // a soft dab
      for (int x = 0; x < w; ++x) {
        double d = std::hypot(x - w / 2.0, y - h / 2.0) / (w / 2.0);
        mask[y * w + x] = d >= 1 ? 0 : static_cast<uint8_t>(255 * (1 - d * d));
      }
    brush.kind = BrushKindDab;
    brush.width = w;
    brush.height = h;
    brush.mask = mask.data();
    brush.under = under.get();
    Ws.page = page.get();
    Ws.spare = spare.get();
    Ws.undo = base.get();
    Ws.mask = map.data();
  }
};

void StampBench(benchmark::State& state, int mode, int w, int h) {
  Scene s(w, h);
  Ws.drawMode = mode;
  StampOperation op = SelectStampOperation(s.brush, false);
  int i = 0;
  for (auto _ : state) {
    op(s.brush, s.page.get(), 100 + (i & 255), 100 + ((i >> 8) & 255), 0xFF3366CC, false, 200);
    ++i;
  }
  state.counters["MP/s"] = benchmark::Counter(static_cast<double>(w) * h * state.iterations() / 1e6,
                                              benchmark::Counter::kIsRate);
}

// pixman: the same soft mask painting a solid colour over the same rectangle.
void PixmanBench(benchmark::State& state, int w, int h, bool solid) {
  Scene s(w, h);
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, 1024, 1024, s.page->data, 4096);
  std::vector<uint32_t> maskBits((w + 3) / 4 * h);
  for (int y = 0; y < h; ++y)
    std::copy(s.mask.begin() + y * w, s.mask.begin() + (y + 1) * w,
              reinterpret_cast<uint8_t*>(maskBits.data()) + y * ((w + 3) / 4 * 4));
  pixman_image_t* mask =
      pixman_image_create_bits(PIXMAN_a8, w, h, maskBits.data(), (w + 3) / 4 * 4);
  pixman_color_t c = {0x3333, 0x6666, 0xCCCC, 0xFFFF};
  pixman_image_t* fill = pixman_image_create_solid_fill(&c);
  pixman_image_t* src =
      solid ? fill : pixman_image_create_bits(PIXMAN_a8r8g8b8, 1024, 1024, s.spare->data, 4096);
  int i = 0;
  for (auto _ : state) {
    int x = 100 + (i & 255), y = 100 + ((i >> 8) & 255);
    pixman_image_composite32(PIXMAN_OP_OVER, src, mask, dst, x, y, 0, 0, x, y, w, h);
    ++i;
  }
  state.counters["MP/s"] = benchmark::Counter(static_cast<double>(w) * h * state.iterations() / 1e6,
                                              benchmark::Counter::kIsRate);
  if (!solid) pixman_image_unref(src);
  pixman_image_unref(fill);
  pixman_image_unref(mask);
  pixman_image_unref(dst);
}

void SpanBench(benchmark::State& state) {
  Scene s(4, 4);
  Ws.drawMode = DrawColor;
  Draw.antialias = 1;
  Draw.APen = 0xFF3366CC;
  std::vector<uint8_t> cov(1920);
  for (int i = 0; i < 1920; ++i) cov[i] = static_cast<uint8_t>(i * 7);
  BlockPtr wide(NewBlock(1920, 64));
  Ws.page = wide.get();
  SpanOperation op = SelectSpanOperation(false, 255);
  int i = 0;
  for (auto _ : state) op(0, i++ & 63, 1920, cov.data());
  state.counters["MP/s"] =
      benchmark::Counter(1920.0 * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}

void SpanPixman(benchmark::State& state) {
  BlockPtr wide(NewBlock(1920, 64));
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, 1920, 64, wide->data, 1920 * 4);
  std::vector<uint8_t> cov(1920);
  for (int i = 0; i < 1920; ++i) cov[i] = static_cast<uint8_t>(i * 7);
  pixman_image_t* mask =
      pixman_image_create_bits(PIXMAN_a8, 1920, 1, reinterpret_cast<uint32_t*>(cov.data()), 1920);
  pixman_color_t c = {0x3333, 0x6666, 0xCCCC, 0xFFFF};
  pixman_image_t* fill = pixman_image_create_solid_fill(&c);
  int i = 0;
  for (auto _ : state)
    pixman_image_composite32(PIXMAN_OP_OVER, fill, mask, dst, 0, 0, 0, 0, 0, i++ & 63, 1920, 1);
  state.counters["MP/s"] =
      benchmark::Counter(1920.0 * state.iterations() / 1e6, benchmark::Counter::kIsRate);
  pixman_image_unref(fill);
  pixman_image_unref(mask);
  pixman_image_unref(dst);
}

// A fresh stroke every flush dabs keeps the map from saturating.
void WetBench(benchmark::State& state, int mode, int tool, int flush, bool recompute) {
  Scene s(64, 64);
  Ws.drawMode = mode;
  Wet = WetSettings{};
  Wet.on = true;
  Wet.tool = tool;
  if (tool == WetOil)
    BuildOilResponse(100);
  else
    BuildAirbrushResponse(100);
  BuildReliefRamp(0xFF3366CC);
  Draw.pantoX = 3;
  Draw.pantoY = -2;
  int i = 0;
  for (auto _ : state) {
    int x = 100 + (i & 255), y = 100 + ((i >> 8) & 255);
    if (recompute)
      WetStampPass(s.brush, s.page.get(), x, y, 0xFF3366CC, false, 200);
    else
      WetAccumulate(s.brush, 1024, 1024, x, y, 200);
    if (++i % flush == 0) ClearWetDirty();
  }
  ClearWetDirty();
  state.counters["MP/s"] =
      benchmark::Counter(64.0 * 64 * state.iterations() / 1e6, benchmark::Counter::kIsRate);
}

BENCHMARK_CAPTURE(StampBench, ColorDab64_vela, DrawColor, 64, 64)->Name("ColorDab64/vela");
BENCHMARK_CAPTURE(PixmanBench, ColorDab64_pixman, 64, 64, true)->Name("ColorDab64/pixman");
BENCHMARK(SpanBench)->Name("ColorSpan1920/vela");
BENCHMARK(SpanPixman)->Name("ColorSpan1920/pixman");
BENCHMARK_CAPTURE(StampBench, EraseDab64_vela, DrawErase, 64, 64)->Name("EraseDab64/vela");
BENCHMARK_CAPTURE(PixmanBench, EraseDab64_pixman, 64, 64, true)->Name("EraseDab64/pixman");
BENCHMARK_CAPTURE(StampBench, MergeDab64_vela, DrawMerge, 64, 64)->Name("MergeDab64/vela");
BENCHMARK_CAPTURE(PixmanBench, MergeDab64_pixman, 64, 64, false)->Name("MergeDab64/pixman");
BENCHMARK_CAPTURE(StampBench, SmoothDab64_vela, DrawSmooth, 64, 64)->Name("SmoothDab64/vela");
BENCHMARK_CAPTURE(PixmanBench, SmoothDab64_pixman, 64, 64, true)->Name("SmoothDab64/pixman");
BENCHMARK_CAPTURE(WetBench, a, DrawColor, WetAirbrush, 1 << 30, true)->Name("WetDab64/vela");
BENCHMARK_CAPTURE(WetBench, b, DrawColor, WetAirbrush, 64, true)->Name("WetStrokeDab64/vela");
BENCHMARK_CAPTURE(WetBench, c, DrawColor, WetAirbrush, 64, false)->Name("WetAccumulateDab64/vela");
BENCHMARK_CAPTURE(WetBench, d, DrawErase, WetAirbrush, 64, true)->Name("WetEraseDab64/vela");
BENCHMARK_CAPTURE(WetBench, e, DrawMerge, WetAirbrush, 64, true)->Name("WetMergeDab64/vela");
BENCHMARK_CAPTURE(WetBench, f, DrawBehind, WetAirbrush, 64, true)->Name("WetBehindDab64/vela");
BENCHMARK_CAPTURE(WetBench, g, DrawColor, WetOil, 64, true)->Name("WetOilDab64/vela");
BENCHMARK_CAPTURE(PixmanBench, WetDab64_pixman, 64, 64, true)->Name("WetDab64/pixman");

}  // namespace
}  // namespace vela
