#include "pixels/blend.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "start/parallel.h"

namespace vela {

namespace {

void PlainOver(const Pixel* src, Pixel* dst, int width, int) {
  for (int i = 0; i < width; ++i) {
    Pixel s = src[i];
    uint32_t alpha = s >> 24;
    if (alpha == 0) continue;
    if (alpha == 255) {
      dst[i] = s;
      continue;
    }
    dst[i] = OverPixel(dst[i], s);
  }
}

void PlainScaledOver(const Pixel* src, Pixel* dst, int width, int opacity) {
  for (int i = 0; i < width; ++i) {
    Pixel s = src[i];
    if ((s >> 24) == 0) continue;
    dst[i] = ScaledOverPixel(dst[i], s, opacity);
  }
}

void PlainScale(const Pixel* src, Pixel* dst, int width, int opacity) {
  if (opacity == 255) {
    if (src != dst) std::memmove(dst, src, static_cast<size_t>(width) * sizeof(Pixel));
    return;
  }
  if (opacity == 0) {
    std::memset(dst, 0, static_cast<size_t>(width) * sizeof(Pixel));
    return;
  }
  for (int i = 0; i < width; ++i) dst[i] = src[i] == 0 ? 0 : ScalePixel(src[i], opacity);
}

const BlendLayer kPlainLayer = {"plain", nullptr, {PlainOver, PlainScaledOver, PlainScale}};

bool EnvSet(const char* name) {
  const char* v = std::getenv(name);
  return v && *v && std::strcmp(v, "0") != 0;
}

std::atomic<const BlendLayer*> g_active{nullptr};
std::atomic<RowLoop> g_loops[kBlendOpCount];

RowLoop Loop(BlendOp op) {
  if (!g_active.load(std::memory_order_acquire)) SelectBlendLayer();
  return g_loops[op].load(std::memory_order_relaxed);
}

struct RowsJob {
  RowLoop loop;
  const Pixel* src;
  Pixel* dst;
  int width;
  ptrdiff_t srcStride;
  ptrdiff_t dstStride;
  int opacity;
};

int RunRows(ChunkContext*, int first, int last, void* arg) {
  const auto* job = static_cast<const RowsJob*>(arg);
  for (int y = first; y <= last; ++y)
    job->loop(job->src + y * job->srcStride, job->dst + y * job->dstStride, job->width,
              job->opacity);
  return 0;
}

// Below this many pixels the threads cost more than they save.
constexpr int64_t kParallelPixels = 1 << 16;

void Rows(BlendOp op, const Pixel* src, Pixel* dst, int width, int height, int srcSkip, int dstSkip,
          int opacity) {
  if (width <= 0 || height <= 0) return;
  RowsJob job{Loop(op), src, dst, width, width + srcSkip, width + dstSkip, opacity};
  if (height > 1 && static_cast<int64_t>(width) * height >= kParallelPixels)
    ParallelRows(RunRows, 0, height - 1, &job);
  else
    RunRows(nullptr, 0, height - 1, &job);
}

}  // namespace

const BlendLayer* PlainBlendLayer() {
  return &kPlainLayer;
}

RowLoop ResolveRowLoop(const BlendLayer* layer, BlendOp op) {
  for (; layer; layer = layer->below)
    if (layer->loops[op]) return layer->loops[op];
  return kPlainLayer.loops[op];
}

bool SimdAllowed() {
  return !EnvSet("VELA_NO_SIMD");
}

bool Avx2Allowed() {
  return SimdAllowed() && !EnvSet("VELA_NO_AVX2");
}

const BlendLayer* SelectBlendLayer() {
  const BlendLayer* layer = &kPlainLayer;
  if (SimdAllowed()) {
    const BlendLayer* avx2 = Avx2Allowed() ? Avx2BlendLayer() : nullptr;
    const BlendLayer* sse2 = Sse2BlendLayer();
    if (avx2)
      layer = avx2;
    else if (sse2)
      layer = sse2;
  }
  for (int op = 0; op < kBlendOpCount; ++op)
    g_loops[op].store(ResolveRowLoop(layer, static_cast<BlendOp>(op)), std::memory_order_relaxed);
  g_active.store(layer, std::memory_order_release);
  return layer;
}

const BlendLayer* ActiveBlendLayer() {
  const BlendLayer* layer = g_active.load(std::memory_order_acquire);
  return layer ? layer : SelectBlendLayer();
}

void OverRow(const Pixel* src, Pixel* dst, int width) {
  if (width > 0) Loop(kBlendOver)(src, dst, width, 255);
}

void ScaledOverRow(const Pixel* src, Pixel* dst, int width, int opacity) {
  if (width <= 0 || opacity <= 0) return;
  if (opacity >= 255)
    Loop(kBlendOver)(src, dst, width, 255);
  else
    Loop(kBlendScaledOver)(src, dst, width, opacity);
}

void ScaleRows(const Pixel* src, Pixel* dst, int width, int height, int srcSkip, int dstSkip,
               int opacity) {
  Rows(kBlendScale, src, dst, width, height, srcSkip, dstSkip, std::clamp(opacity, 0, 255));
}

void OverRows(const Pixel* src, Pixel* dst, int width, int height, int srcSkip, int dstSkip,
              int opacity) {
  if (opacity <= 0) return;
  if (opacity >= 255)
    Rows(kBlendOver, src, dst, width, height, srcSkip, dstSkip, 255);
  else
    Rows(kBlendScaledOver, src, dst, width, height, srcSkip, dstSkip, opacity);
}

}  // namespace vela
