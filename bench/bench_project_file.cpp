// Project files: saving and loading a 1080p animation of 100 images in which a figure moves over
// a still background, beside zlib compressing and expanding the same raw pixels through a file.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "formats/project_file.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/primitives.h"
#include "project/layers.h"
#include "project/page.h"
#include "start/input.h"
#include "start/run_paths.h"
#include "start/workspace.h"

namespace {

constexpr int kW = 1920, kH = 1080, kFrames = 100;
constexpr size_t kFrameBytes = size_t{kW} * kH * 4;

std::string& Folder() {
  static std::string dir;
  return dir;
}

void Background(vela::Block* page) {
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x)
      page->Row(y)[x] = y < 700 ? vela::PenPixel(40 + y / 8, 90 + y / 10, 200 - y / 12)
                                : vela::PenPixel(70 + (x / 64) % 3, 120, 50);
}

void Figure(vela::Block* page, int k) {
  vela::FillRect(page, 100 + 15 * k, 500, 260 + 15 * k, 900, vela::PenPixel(150, 60, 50));
}

// The animation as a sequence of the project, made once.
bool OpenAnimation() {
  static bool ok = [] {
    static char dir[] = "/tmp/vela_bench_pfile_XXXXXX";
    if (!mkdtemp(dir) || !vela::BuildPixelTables()) return false;
    Folder() = dir;
    if (vela::Ws.pageWidth != kW || vela::Ws.pageHeight != kH) {
      vela::Paths().tempDir = Folder() + "/";
      vela::CacheStartWithLimit(-1);
      vela::Ws.undoMode = 0;
      if (vela::OpenGraphicsBlocks() != 0 || !vela::MakePage(kW, kH)) return false;
    }
    vela::ClearProject();
    Background(vela::Ws.page);
    ++vela::Stamp;
    if (!vela::MakeAnim(kFrames - 1)) return false;
    for (int k = 1; k < kFrames; ++k) {
      if (!vela::GotoPosition(k, 1)) return false;
      Figure(vela::Ws.page, k);
      ++vela::Stamp;
    }
    return vela::GotoPosition(0, 1) == 1;
  }();
  return ok;
}

int64_t FileSize(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 ? st.st_size : 0;
}

void SaveVela(benchmark::State& state) {
  if (!OpenAnimation()) return state.SkipWithError("no animation");
  const std::string path = Folder() + "/film.vel";
  for (auto _ : state)
    if (vela::SaveProject(path.c_str()) != 0) return state.SkipWithError("save failed");
  state.counters["file_bytes"] = static_cast<double>(FileSize(path));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kFrameBytes);
}

void LoadVela(benchmark::State& state) {
  if (!OpenAnimation()) return state.SkipWithError("no animation");
  const std::string path = Folder() + "/film.vel";
  if (vela::SaveProject(path.c_str()) != 0) return state.SkipWithError("save failed");
  for (auto _ : state)
    if (vela::LoadProject(path.c_str(), true, false, true) != 0)
      return state.SkipWithError("load failed");
  state.counters["file_bytes"] = static_cast<double>(FileSize(path));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kFrameBytes);
}

// The same images as raw pixels, made one after the other and deflated into a synced file.
void SaveZlib(benchmark::State& state) {
  if (!OpenAnimation()) return state.SkipWithError("no animation");
  const std::string path = Folder() + "/film.z";
  vela::BlockPtr frame(vela::AllocBlock(kW, kH));
  std::vector<uint8_t> out(1 << 20);
  for (auto _ : state) {
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    z_stream z{};
    deflateInit(&z, Z_BEST_SPEED);
    for (int k = 0; k < kFrames; ++k) {
      Background(frame.get());
      if (k) Figure(frame.get(), k);
      z.next_in = reinterpret_cast<Bytef*>(frame->data);
      z.avail_in = static_cast<uInt>(kFrameBytes);
      const int flush = k + 1 == kFrames ? Z_FINISH : Z_NO_FLUSH;
      do {
        z.next_out = out.data();
        z.avail_out = static_cast<uInt>(out.size());
        deflate(&z, flush);
        if (write(fd, out.data(), out.size() - z.avail_out) < 0) state.SkipWithError("write");
      } while (z.avail_out == 0);
    }
    deflateEnd(&z);
    fsync(fd);
    close(fd);
  }
  state.counters["file_bytes"] = static_cast<double>(FileSize(path));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kFrameBytes);
}

void LoadZlib(benchmark::State& state) {
  if (!OpenAnimation()) return state.SkipWithError("no animation");
  const std::string path = Folder() + "/film.z";
  if (FileSize(path) == 0) return state.SkipWithError("run save/zlib first");
  vela::BlockPtr frame(vela::AllocBlock(kW, kH));
  std::vector<uint8_t> in(1 << 20);
  for (auto _ : state) {
    const int fd = open(path.c_str(), O_RDONLY);
    z_stream z{};
    inflateInit(&z);
    int frames = 0, status = Z_OK;
    z.next_out = reinterpret_cast<Bytef*>(frame->data);
    z.avail_out = static_cast<uInt>(kFrameBytes);
    while (status != Z_STREAM_END) {
      if (z.avail_in == 0) {
        const ssize_t n = read(fd, in.data(), in.size());
        if (n <= 0) break;
        z.next_in = in.data();
        z.avail_in = static_cast<uInt>(n);
      }
      status = inflate(&z, Z_NO_FLUSH);
      if (status != Z_OK && status != Z_STREAM_END) break;
      if (z.avail_out == 0) {
        ++frames;
        z.next_out = reinterpret_cast<Bytef*>(frame->data);
        z.avail_out = static_cast<uInt>(kFrameBytes);
      }
    }
    inflateEnd(&z);
    close(fd);
    if (frames != kFrames) return state.SkipWithError("short stream");
  }
  state.counters["file_bytes"] = static_cast<double>(FileSize(path));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kFrames * kFrameBytes);
}

}  // namespace

BENCHMARK(SaveVela)->Name("ProjectSave/vela")->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(SaveZlib)->Name("ProjectSave/zlib")->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(LoadVela)->Name("ProjectLoad/vela")->Unit(benchmark::kMillisecond)->MinTime(2);
BENCHMARK(LoadZlib)->Name("ProjectLoad/zlib")->Unit(benchmark::kMillisecond)->Iterations(2);
