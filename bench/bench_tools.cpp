// The drawing tools' dabs per second beside libmypaint's dabs of the same radius, the
// antialiased rim of a 200-pixel circle beside as many one-pixel libmypaint dabs, and a filled
// ellipse beside pixman filling the same rows.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "paint/draw_modes.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "paint/wet.h"
#include "pixels/block.h"
#include "start/main_loop.h"
#include "start/workspace.h"

#if __has_include(<mypaint-fixed-tiled-surface.h>)
#include <mypaint-fixed-tiled-surface.h>
#define VELA_HAVE_MYPAINT 1
#endif

namespace vela {
namespace {

constexpr int kPage = 1024;
constexpr int kBatch = 16;

int DabX(int i, int radius) {
  return radius + 8 + (i * 37) % (kPage - 2 * radius - 16);
}
int DabY(int i, int radius) {
  return radius + 8 + (i * 53) % (kPage - 2 * radius - 16);
}

// A page with its undo image and stroke plane, as a wet stroke needs them.
struct Scene {
  BlockPtr page{NewBlock(kPage, kPage)}, undo{NewBlock(kPage, kPage)};
  std::vector<uint8_t> plane = std::vector<uint8_t>(size_t{kPage} * kPage);
  Scene() {
    Ws.page = page.get();
    Ws.undo = undo.get();
    Ws.mask = plane.data();
    Ws.noPage = 1;
    Ws.drawMode = DrawColor;
    Draw = DrawContext{};
    ResetStrokeContext();
    ResetAllToolRecords();
  }
  ~Scene() {
    SetCurrentBrush(nullptr);
    Wet = WetSettings{};
    Ws.page = Ws.undo = nullptr;
    Ws.mask = nullptr;
  }
};

// Each dab is a whole StampPass of the tool: texture, and for the wet tools both wet stages.
void ToolDabs(benchmark::State& state, int tool, int stiffness) {
  Scene scene;
  Tools.dab[tool].word[kWordStiffness] = stiffness;
  Tools.current = tool;
  ActivateTool();
  Brush* b = CurrentBrush();
  const int radius = b->width / 2;
  int i = 0;
  for (auto _ : state) {
    for (int k = 0; k < kBatch; ++k, ++i)
      StampOnce(b, Ws.page, DabX(i, radius) - b->handleX, DabY(i, radius) - b->handleY, 0xFF3366CC,
                0, 200);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
}

std::vector<std::pair<int, int>> Rim(int r) {
  std::vector<std::pair<int, int>> out;
  WalkEllipse(
      r, r,
      [](int x, int y, int, int, int, void* u) {
        static_cast<std::vector<std::pair<int, int>>*>(u)->push_back({x, y});
      },
      &out);
  return out;
}

// Items are the rim's steps, each a pair of plotted pixels.
void EllipseRimVela(benchmark::State& state) {
  Scene scene;
  Tools.current = ToolPropellingPencil;
  ActivateTool();
  AntialiasOn = 1;
  const size_t steps = Rim(200).size();
  for (auto _ : state) {
    DrawEllipseOutline(512, 512, 200, 200, 0xFF3366CC, false);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * steps));
  AntialiasOn = 0;
}
BENCHMARK(EllipseRimVela)->Name("EllipseRim200/vela");

// Items are the filled pixels: the rows come from the rim walk, then the Color span at full
// coverage.
FillRegion BenchEllipse() {
  FillRegion r;
  r.kind = FillRegion::Ellipse;
  r.cx = 512, r.cy = 512, r.rx = 300, r.ry = 200;
  return r;
}

int64_t EllipsePixels(std::vector<pixman_box32_t>* boxes) {
  std::vector<std::pair<int, int>> rows(kPage, {kPage, -1});
  WalkEllipse(
      300, 200,
      [](int x, int y, int, int, int, void* u) {
        auto& r = (*static_cast<std::vector<std::pair<int, int>>*>(u))[512 + y];
        r.first = std::min(r.first, 512 + x), r.second = std::max(r.second, 512 + x);
      },
      &rows);
  int64_t n = 0;
  for (int y = 0; y < kPage; ++y) {
    if (rows[y].first > rows[y].second) continue;
    boxes->push_back({rows[y].first, y, rows[y].second + 1, y + 1});
    n += rows[y].second - rows[y].first + 1;
  }
  return n;
}

void FilledEllipseVela(benchmark::State& state) {
  Scene scene;
  std::vector<pixman_box32_t> boxes;
  const int64_t pixels = EllipsePixels(&boxes);
  const FillRegion region = BenchEllipse();
  for (auto _ : state) {
    SolidFillRegion(region, 0xCC3366CC, false);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * pixels);
}
BENCHMARK(FilledEllipseVela)->Name("FilledEllipse300x200/vela");

void FilledEllipsePixman(benchmark::State& state) {
  Scene scene;
  std::vector<pixman_box32_t> boxes;
  const int64_t pixels = EllipsePixels(&boxes);
  pixman_image_t* dst =
      pixman_image_create_bits(PIXMAN_a8r8g8b8, kPage, kPage, Ws.page->data, kPage * 4);
  const pixman_color_t colour = {0x6666, 0x3333, 0xCCCC, 0xCCCC};
  for (auto _ : state) {
    pixman_image_fill_boxes(PIXMAN_OP_OVER, dst, &colour, static_cast<int>(boxes.size()),
                            boxes.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * pixels);
  pixman_image_unref(dst);
}
BENCHMARK(FilledEllipsePixman)->Name("FilledEllipse300x200/pixman");

#ifdef VELA_HAVE_MYPAINT
void DabsMyPaint(benchmark::State& state, int radius, float hardness) {
  MyPaintFixedTiledSurface* fixed = mypaint_fixed_tiled_surface_new(kPage, kPage);
  MyPaintSurface* surface = reinterpret_cast<MyPaintSurface*>(fixed);
  int i = 0;
  for (auto _ : state) {
    mypaint_surface_begin_atomic(surface);
    for (int k = 0; k < kBatch; ++k, ++i)
      mypaint_surface_draw_dab(surface, DabX(i, radius) + 0.5f, DabY(i, radius) + 0.5f,
                               static_cast<float>(radius), 0.8f, 0.4f, 0.2f, 200 / 255.0f, hardness,
                               1.0f, 1.0f, 0.0f, 0.0f, 0.0f);
    MyPaintRectangle roi;
    mypaint_surface_end_atomic(surface, &roi);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kBatch);
  mypaint_surface_unref(surface);
}

void EllipseRimMyPaint(benchmark::State& state) {
  MyPaintFixedTiledSurface* fixed = mypaint_fixed_tiled_surface_new(kPage, kPage);
  MyPaintSurface* surface = reinterpret_cast<MyPaintSurface*>(fixed);
  const auto rim = Rim(200);
  for (auto _ : state) {
    mypaint_surface_begin_atomic(surface);
    for (auto [x, y] : rim)
      mypaint_surface_draw_dab(surface, 512.5f + x, 512.5f + y, 1.0f, 0.2f, 0.4f, 0.8f, 1.0f, 0.9f,
                               1.0f, 1.0f, 0.0f, 0.0f, 0.0f);
    MyPaintRectangle roi;
    mypaint_surface_end_atomic(surface, &roi);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * rim.size()));
  mypaint_surface_unref(surface);
}
BENCHMARK(EllipseRimMyPaint)->Name("EllipseRim200/libmypaint");
// The tools' default sizes: Airbrush 12, Chalk 5, Oil 15.
BENCHMARK_CAPTURE(DabsMyPaint, air, 12, 0.3f)->Name("AirbrushDab12/libmypaint");
BENCHMARK_CAPTURE(DabsMyPaint, chalk, 5, 0.8f)->Name("ChalkDab5/libmypaint");
BENCHMARK_CAPTURE(DabsMyPaint, oil, 15, 0.8f)->Name("OilDab15/libmypaint");
#endif
BENCHMARK_CAPTURE(ToolDabs, air, ToolAirbrush, 0)->Name("AirbrushDab12/vela");
BENCHMARK_CAPTURE(ToolDabs, chalk, ToolChalk, 0)->Name("ChalkDab5/vela");
BENCHMARK_CAPTURE(ToolDabs, oil, ToolOil, 2)->Name("OilDab15/vela");

}  // namespace
}  // namespace vela
