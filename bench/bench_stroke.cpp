// Soft dabs per second beside libmypaint's dabs on its fixed tiled surface, and the Pen capsule
// in megapixels per second.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>

#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/stroke.h"
#include "pixels/block.h"
#include "start/workspace.h"

#if __has_include(<mypaint-fixed-tiled-surface.h>)
#include <mypaint-fixed-tiled-surface.h>
#define VELA_HAVE_MYPAINT 1
#endif

namespace vela {
namespace {

constexpr int kPage = 1024;
constexpr int kBatch = 16;  // dabs per iteration, so both sides finish their work per batch
constexpr float kHardness = 0.5f;

// The profile of libmypaint's falloff at this hardness: two straight pieces in the squared
// distance.
void HardnessProfile(uint8_t profile[64]) {
  for (int i = 0; i < 64; ++i) {
    double d = 1 - i / 63.0, rr = d * d, h = kHardness;
    double opa = rr <= h ? 1 + rr * (1 - 1 / h) : h / (1 - h) - rr * h / (1 - h);
    profile[i] = static_cast<uint8_t>(std::lround(255 * std::max(0.0, opa)));
  }
}

int DabX(int i, int radius) {
  return radius + 8 + (i * 37) % (kPage - 2 * radius - 16);
}
int DabY(int i, int radius) {
  return radius + 8 + (i * 53) % (kPage - 2 * radius - 16);
}

void SoftDabVela(benchmark::State& state, int radius) {
  BlockPtr page(NewBlock(kPage, kPage));
  Ws.page = page.get();
  Ws.drawMode = DrawColor;
  Draw = DrawContext{};
  Draw.antialias = 1;
  uint8_t profile[64];
  HardnessProfile(profile);
  RebuildDab(radius, 255, profile);
  Brush* b = CurrentBrush();
  StampOperation op = SelectStampOperation(*b, false);
  int i = 0;
  for (auto _ : state) {
    for (int k = 0; k < kBatch; ++k, ++i)
      op(*b, page.get(), DabX(i, radius) - b->handleX, DabY(i, radius) - b->handleY, 0xFF3366CC,
         false, 200);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
  SetCurrentBrush(nullptr);
  Ws.page = nullptr;
}

#ifdef VELA_HAVE_MYPAINT
void SoftDabMyPaint(benchmark::State& state, int radius) {
  MyPaintFixedTiledSurface* fixed = mypaint_fixed_tiled_surface_new(kPage, kPage);
  MyPaintSurface* surface = reinterpret_cast<MyPaintSurface*>(fixed);
  int i = 0;
  for (auto _ : state) {
    mypaint_surface_begin_atomic(surface);
    for (int k = 0; k < kBatch; ++k, ++i)
      mypaint_surface_draw_dab(surface, DabX(i, radius) + 0.5f, DabY(i, radius) + 0.5f,
                               static_cast<float>(radius), 0.8f, 0.4f, 0.2f, 200 / 255.0f,
                               kHardness, 1.0f, 1.0f, 0.0f, 0.0f, 0.0f);
    MyPaintRectangle roi;
    mypaint_surface_end_atomic(surface, &roi);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
  mypaint_surface_unref(surface);
}
BENCHMARK_CAPTURE(SoftDabMyPaint, 10, 10)->Name("SoftDab10/libmypaint");
BENCHMARK_CAPTURE(SoftDabMyPaint, 50, 50)->Name("SoftDab50/libmypaint");
#endif
BENCHMARK_CAPTURE(SoftDabVela, 10, 10)->Name("SoftDab10/vela");
BENCHMARK_CAPTURE(SoftDabVela, 50, 50)->Name("SoftDab50/vela");

// A long stroke of the round Pen, 20 pixels wide, antialiased, in Color: items are the pixels
// the capsule covers.
void PenCapsule20(benchmark::State& state) {
  BlockPtr page(NewBlock(kPage, kPage));
  Ws.page = page.get();
  Ws.noPage = 1;
  Ws.drawMode = DrawColor;
  Draw = DrawContext{};
  Draw.antialias = 1;
  ResetStrokeContext();
  StrokeCtx.penRadius = StrokeCtx.targetRadius = 10;
  SetCurrentBrush(MakePenBrush(10));
  Brush* b = CurrentBrush();
  const double length = std::hypot(900.0, 300.0);
  auto fx = [](int p) { return (p << 16) + 0x8000; };
  for (auto _ : state) {
    StrokeLine(b, fx(60), fx(300), fx(960), fx(600), 0xFF3366CC, 0, 0, 0, 0, 200, 200);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * (length * 20 + M_PI * 100)));
  SetCurrentBrush(nullptr);
  Ws.page = nullptr;
}
BENCHMARK(PenCapsule20)->Name("PenCapsule20/vela");

}  // namespace
}  // namespace vela
