// The project model: moving between two images of a 1080p sequence (store and load through the
// tile store) beside copying the page twice, and the undo commit after a small stroke beside a
// copy of the whole page.
#include <benchmark/benchmark.h>
#include <pixman.h>
#include <stdlib.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/host.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/input.h"
#include "start/run_paths.h"
#include "start/workspace.h"

namespace {

constexpr int kW = 1920, kH = 1080;

// A page of the run with a project on it; made once for all the benchmarks of this file.
bool OpenProject() {
  static bool ok = [] {
    static char dir[] = "/tmp/vela_bench_project_XXXXXX";
    if (!mkdtemp(dir) || !vela::BuildPixelTables()) return false;
    vela::Paths().tempDir = std::string(dir) + "/";
    vela::CacheStartWithLimit(-1);
    vela::Ws.undoMode = 0;
    // A screen in memory, so that showing the page composes as it does in a run.
    vela::HostConfig screen;
    screen.headless = true;
    screen.width = kW + 64;
    screen.height = kH + 64;
    std::string error;
    if (!vela::HostOpen(screen, &error)) return false;
    return vela::OpenGraphicsBlocks() == 0 && vela::MakePage(kW, kH) && vela::StartProject();
  }();
  return ok;
}

// A painted frame: graded sky, ground and a few shapes.
void PaintFrame(vela::Block* page, int shift) {
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      page->Row(y)[x] = y < 700 ? vela::PenPixel(40 + y / 8, 90 + y / 10, 200 - y / 12)
                                : vela::PenPixel(70, 120, 50);
  vela::FillRect(page, 200 + shift, 550, 700 + shift, 900, vela::PenPixel(150, 60, 50));
  vela::FillRect(page, 1200, 400 + shift, 1400, 600 + shift, vela::PenPixel(230, 200, 40));
}

void GotoVela(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  vela::ClearProject();
  PaintFrame(vela::Ws.page, 0);
  ++vela::Stamp;
  vela::MakeAnim(1);
  vela::GotoPosition(1, 1);
  PaintFrame(vela::Ws.page, 60);
  ++vela::Stamp;
  int target = 0;
  for (auto _ : state) {
    // A touch on the open image, so every move stores as well as loads.
    vela::FillRect(vela::Ws.page, 10, 10, 57, 57, vela::PenPixel(target * 200, 0, 0));
    vela::MarkChanged(10, 10, 57, 57);
    vela::GotoPosition(target, 1);
    target ^= 1;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kW * kH * 4);
}

void GotoMemcpy(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  std::vector<vela::Pixel> images[2] = {std::vector<vela::Pixel>(size_t{kW} * kH),
                                        std::vector<vela::Pixel>(size_t{kW} * kH)};
  PaintFrame(vela::Ws.page, 0);
  const size_t bytes = size_t{kW} * kH * 4;
  int target = 0;
  for (auto _ : state) {
    std::memcpy(images[target ^ 1].data(), vela::Ws.page->data, bytes);
    std::memcpy(vela::Ws.page->data, images[target].data(), bytes);
    benchmark::ClobberMemory();
    target ^= 1;
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kW * kH * 4);
}

// The commit at the press after a stroke of 20 pixels: the rectangle, not the page.
void SaveUndoVela(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  int x = 100;
  for (auto _ : state) {
    vela::MarkChanged(x, 300, x + 19, 300);
    vela::SaveUndo();
    x = x < 1800 ? x + 1 : 100;
  }
}

void SaveUndoPageMemcpy(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  const size_t bytes = size_t{kW} * kH * 4;
  for (auto _ : state) {
    std::memcpy(vela::Ws.undo->data, vela::Ws.page->data, bytes);
    benchmark::ClobberMemory();
  }
}

// A project of n layers of thin paint everywhere, so that every pixel of every plane takes the
// whole blend; the current layer is in the middle.
void StackOf(int n) {
  vela::ClearProject();
  for (int i = 1; i < n; ++i) vela::NewLayer("L", false, true, 0, true);
  for (int i = 0; i < n; ++i) {
    vela::SelectLayer(i, 0, true);
    vela::FillBlock(vela::Ws.page, vela::MakePixel(12, 10, 5 + i % 4, 2));
    vela::MarkChanged(0, 0, kW - 1, kH - 1);
  }
  vela::SelectLayer(n / 2, 0, true);
}

// What a stroke segment costs on the screen: its rectangle composed, whatever lies around it.
void SegmentShow(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  StackOf(static_cast<int>(state.range(0)));
  int x = 100;
  for (auto _ : state) {
    vela::ShowPage(x, 500, 40, 40);
    x = x < 1800 ? x + 3 : 100;
  }
  state.counters["layers"] = static_cast<double>(vela::LayerCount());
  state.counters["flags"] = vela::Ws.displayFlags;
}

void RebuildVela(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  StackOf(10);
  for (auto _ : state) vela::RebuildDisplay(false);
}

// The same ten images over each other with pixman, from unpacked copies.
void RebuildPixman(benchmark::State& state) {
  if (!OpenProject()) return state.SkipWithError("no page");
  std::vector<std::vector<vela::Pixel>> images(10, std::vector<vela::Pixel>(size_t{kW} * kH));
  for (int i = 0; i < 10; ++i) {
    vela::Block b{};
    vela::InitBlock(&b, kW, kH, images[i].data());
    vela::FillBlock(&b, vela::MakePixel(12, 10, 5 + i % 4, 2));
    vela::ReleaseBlockView(&b);
  }
  std::vector<vela::Pixel> out(size_t{kW} * kH);
  pixman_image_t* dst = pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH, out.data(), kW * 4);
  std::vector<pixman_image_t*> srcs;
  for (auto& im : images)
    srcs.push_back(pixman_image_create_bits(PIXMAN_a8r8g8b8, kW, kH, im.data(), kW * 4));
  for (auto _ : state) {
    std::fill(out.begin(), out.end(), 0);
    for (auto* src : srcs)
      pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kW, kH);
    benchmark::ClobberMemory();
  }
  for (auto* src : srcs) pixman_image_unref(src);
  pixman_image_unref(dst);
}

}  // namespace

BENCHMARK(SegmentShow)->Name("SegmentShow40px")->Arg(2)->Arg(50);
BENCHMARK(RebuildVela)->Name("RebuildDisplay10x1080p/vela")->Unit(benchmark::kMillisecond);
BENCHMARK(RebuildPixman)->Name("RebuildDisplay10x1080p/pixman")->Unit(benchmark::kMillisecond);
BENCHMARK(GotoVela)->Name("GotoPosition1080p/vela")->Unit(benchmark::kMicrosecond);
BENCHMARK(GotoMemcpy)->Name("GotoPosition1080p/memcpy")->Unit(benchmark::kMicrosecond);
BENCHMARK(SaveUndoVela)->Name("SaveUndo20px/vela");
BENCHMARK(SaveUndoPageMemcpy)->Name("SaveUndo20px/memcpy")->Unit(benchmark::kMicrosecond);
