// A 400 x 300 Window dragged across a 1920 x 1080 screen over a painted page, against SDL's own
// blit of the same rectangles in the same run.
#include <SDL.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

#include "host/host.h"
#include "pixels/block.h"
#include "start/workspace.h"
#include "windows/window.h"

namespace vela {
namespace {

constexpr int kScreenW = 1920, kScreenH = 1080;
constexpr int kWinW = 400, kWinH = 300;

struct Scene {
  BlockPtr page{NewBlock(kScreenW, kScreenH)};
  Scene() {
    std::mt19937 rng(7);
    for (int y = 0; y < kScreenH; ++y)
      for (int x = 0; x < kScreenW; ++x) page->Row(y)[x] = 0xFF000000u | (rng() & 0xFFFFFF);
  }
};

Scene& Data() {
  static Scene scene;
  return scene;
}

// The path of the drag: steps of a hand-moved pointer that bounce off the screen's edges.
struct Path {
  int x = 0, y = 0, dx = 7, dy = 3;
  void Step() {
    if (x + dx < 0 || x + dx + kWinW > kScreenW) dx = -dx;
    if (y + dy < 0 || y + dy + kWinH > kScreenH) dy = -dy;
    x += dx, y += dy;
  }
};

void WindowDrag_vela(benchmark::State& state) {
  HostConfig hc;
  hc.headless = true;
  hc.width = kScreenW;
  hc.height = kScreenH;
  std::string err;
  if (!HostOpen(hc, &err)) {
    state.SkipWithError(err.c_str());
    return;
  }
  Ws = Workspace{};
  for (int i = 0; i < kSysColorCount; ++i) Ws.sysColors[i] = kDefaultSysColors[i];
  Ws.page = Data().page.get();
  Ws.opacity = 255;
  Window* w = CreateWindow(kWinW, kWinH, 0);
  DrawWindow(w);
  MoveWindow(w, 0, 0);
  ShowWindow(w);
  Path p;
  for (auto _ : state) {
    p.Step();
    MoveWindow(w, p.x, p.y);
  }
  state.SetItemsProcessed(state.iterations());
  CloseAllWindows();
  Ws.page = nullptr;
  HostClose();
}

void Blit(SDL_Surface* from, int sx, int sy, SDL_Surface* to, int x, int y, int w, int h) {
  SDL_Rect s{sx, sy, w, h}, d{x, y, w, h};
  SDL_BlitSurface(from, &s, to, &d);
}

void WindowDrag_sdl(benchmark::State& state) {
  std::vector<uint32_t> screen(static_cast<size_t>(kScreenW) * kScreenH);
  std::vector<uint32_t> picture(static_cast<size_t>(kWinW) * kWinH, 0xFFC0C0C0u);
  Block* page = Data().page.get();
  auto wrap = [](void* px, int w, int h) {
    SDL_Surface* s =
        SDL_CreateRGBSurfaceWithFormatFrom(px, w, h, 32, w * 4, SDL_PIXELFORMAT_ARGB8888);
    SDL_SetSurfaceBlendMode(s, SDL_BLENDMODE_NONE);
    return s;
  };
  SDL_Surface* scr = wrap(screen.data(), kScreenW, kScreenH);
  SDL_Surface* pg = wrap(page->data, kScreenW, kScreenH);
  SDL_Surface* win = wrap(picture.data(), kWinW, kWinH);
  Path p;
  int ox = 0, oy = 0;
  for (auto _ : state) {
    p.Step();
    // The Window at its new place, then the bands of the old place it no longer covers.
    Blit(win, 0, 0, scr, p.x, p.y, kWinW, kWinH);
    int ix0 = std::max(ox, p.x), ix1 = std::min(ox, p.x) + kWinW;
    int iy0 = std::max(oy, p.y), iy1 = std::min(oy, p.y) + kWinH;
    if (oy < iy0) Blit(pg, ox, oy, scr, ox, oy, kWinW, iy0 - oy);
    if (iy1 < oy + kWinH) Blit(pg, ox, iy1, scr, ox, iy1, kWinW, oy + kWinH - iy1);
    if (ox < ix0) Blit(pg, ox, iy0, scr, ox, iy0, ix0 - ox, iy1 - iy0);
    if (ix1 < ox + kWinW) Blit(pg, ix1, iy0, scr, ix1, iy0, ox + kWinW - ix1, iy1 - iy0);
    ox = p.x, oy = p.y;
    benchmark::DoNotOptimize(screen.data());
  }
  state.SetItemsProcessed(state.iterations());
  SDL_FreeSurface(win);
  SDL_FreeSurface(pg);
  SDL_FreeSurface(scr);
}

BENCHMARK(WindowDrag_vela)->Name("WindowDrag/vela");
BENCHMARK(WindowDrag_sdl)->Name("WindowDrag/sdl");

}  // namespace
}  // namespace vela
