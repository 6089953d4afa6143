#include "pixels/blend.h"

#include <random>

#include "pixels/primitives.h"
#include "pixels_fixture.h"
#include "start/parallel.h"

namespace vela {
namespace {

// The reference: straight from the rules, no tables, no shortcuts beyond the stated ones.
int RefMul(int a, int b) {
  return (a * b + 254) / 255;
}
int Channel(Pixel p, int c) {
  return static_cast<int>((p >> (8 * c)) & 0xFF);
}

Pixel RefMix(Pixel lower, Pixel upper, int alpha) {
  Pixel out = 0;
  for (int c = 0; c < 4; ++c)
    out |= static_cast<Pixel>(
               std::min(255, Channel(upper, c) + RefMul(Channel(lower, c), 255 - alpha)))
           << (8 * c);
  return out;
}

Pixel RefScale(Pixel p, int o) {
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) out |= static_cast<Pixel>(RefMul(Channel(p, c), o)) << (8 * c);
  return out;
}

Pixel RefOver(Pixel lower, Pixel upper, int) {
  int alpha = Channel(upper, 3);
  if (alpha == 0) return lower;
  if (alpha == 255) return upper;
  return RefMix(lower, upper, alpha);
}

Pixel RefScaledOver(Pixel lower, Pixel upper, int o) {
  if (Channel(upper, 3) == 0) return lower;
  Pixel scaled = RefScale(upper, o);
  if (Channel(lower, 3) == 0) return scaled;
  return RefMix(lower, scaled, Channel(scaled, 3));
}

Pixel RefScaleOp(Pixel, Pixel upper, int o) {
  return RefScale(upper, o);
}

using RefFn = Pixel (*)(Pixel lower, Pixel upper, int o);
constexpr RefFn kRef[kBlendOpCount] = {RefOver, RefScaledOver, RefScaleOp};
constexpr const char* kOpName[kBlendOpCount] = {"over", "scaled over", "scale"};

std::vector<const BlendLayer*> Layers() {
  std::vector<const BlendLayer*> out{PlainBlendLayer()};
  if (Sse2BlendLayer()) out.push_back(Sse2BlendLayer());
  if (Avx2BlendLayer()) out.push_back(Avx2BlendLayer());
  return out;
}

using BlendTest = PixelsTest;

TEST_F(BlendTest, SinglePixelRules) {
  EXPECT_EQ(OverPixel(0xFF102030, 0x00FFFFFF), 0xFF102030u);  // alpha 0 keeps D whatever its colour
  EXPECT_EQ(OverPixel(0xFF102030, 0xFF000000), 0xFF000000u);
  EXPECT_EQ(OverPixel(0xFFFFFFFF, 0x01010101), 0xFFFFFFFFu);  // 1 + Mul(255, 254) = 255
  EXPECT_EQ(OverPixel(0x00000000, 0x01010101), 0x01010101u);
  EXPECT_EQ(ScaledOverPixel(0x00FFFFFF, 0x80808080, 128), RefScale(0x80808080, 128));
  EXPECT_EQ(ScaledOverPixel(0x40404040, 0x01010101, 1),
            0x41414141u);  // Mul(1, 1) is 1: stays visible
  for (Pixel lower : {0u, 0x80402010u, 0xFF00FF00u})
    for (Pixel upper : {0u, 0x01000000u, 0x7F7F0000u, 0xFFFFFFFFu, 0xC0104080u})
      for (int o : {1, 64, 254}) {
        EXPECT_EQ(OverPixel(lower, upper), RefOver(lower, upper, 0));
        EXPECT_EQ(ScaledOverPixel(lower, upper, o), RefScaledOver(lower, upper, o));
        EXPECT_EQ(ScalePixel(upper, o), RefScale(upper, o));
      }
}

// Runs every layer's loops over all 256 x 256 byte products, at widths that the vector paths take.
TEST_F(BlendTest, EveryLayerMultipliesExactlyOverAllPairs) {
  std::vector<Pixel> ramp(256), dst(256);
  for (int i = 0; i < 256; ++i) ramp[i] = static_cast<Pixel>(i) * 0x01010101u;
  for (const BlendLayer* layer : Layers()) {
    SCOPED_TRACE(layer->name);
    RowLoop scale = ResolveRowLoop(layer, kBlendScale);
    RowLoop over = ResolveRowLoop(layer, kBlendOver);
    RowLoop scaledOver = ResolveRowLoop(layer, kBlendScaledOver);
    for (int o = 0; o < 256; ++o) {
      scale(ramp.data(), dst.data(), 256, o);
      for (int i = 0; i < 256; ++i) ASSERT_EQ(dst[i], RefScale(ramp[i], o)) << i << " * " << o;
    }
    for (int a = 0; a < 256; ++a) {
      std::vector<Pixel> upper(256, static_cast<Pixel>(a) << 24);
      dst = ramp;
      over(upper.data(), dst.data(), 256, 0);
      for (int i = 0; i < 256; ++i)
        ASSERT_EQ(dst[i], RefOver(ramp[i], upper[i], 0)) << i << " a " << a;
    }
    // The ramp on top: Mul(S, o) for every S and o, over lowers that are clear, opaque and between.
    for (int o = 1; o < 255; ++o)
      for (Pixel below : {0u, 0xFFFFFFFFu, static_cast<Pixel>(o * 37 & 0xFF) * 0x01010101u}) {
        std::vector<Pixel> lower(256, below);
        scaledOver(ramp.data(), lower.data(), 256, o);
        for (int i = 0; i < 256; ++i)
          ASSERT_EQ(lower[i], RefScaledOver(below, ramp[i], o)) << i << " o " << o;
      }
  }
}

// Premultiplied pixels pushed towards the edges, and now and then a word that breaks the rules.
Pixel RandomPixel(std::mt19937& rng) {
  uint32_t pick = rng();
  if ((pick & 31) == 0) return rng();
  const int kind = (pick >> 5) & 7;
  const int alpha = kind < 2    ? 0
                    : kind < 4  ? 255
                    : kind == 4 ? ((pick & 0x100) ? 1 : 254)
                                : static_cast<int>(rng() & 0xFF);
  Pixel p = static_cast<Pixel>(alpha) << 24;
  for (int c = 0; c < 3; ++c) {
    uint32_t r = rng();
    int v = (r & 3) == 0 ? 0 : (r & 3) == 1 ? alpha : static_cast<int>((r >> 2) % (alpha + 1));
    p |= static_cast<Pixel>(v) << (8 * c);
  }
  return p;
}

int RandomOpacity(std::mt19937& rng, BlendOp op) {
  static const int kEdges[] = {0, 1, 2, 127, 128, 253, 254, 255};
  int o = (rng() & 1) ? kEdges[rng() % 8] : static_cast<int>(rng() % 256);
  if (op == kBlendScaledOver) o = std::clamp(o, 1, 254);
  return o;
}

uint64_t Fold(uint64_t sum, const Pixel* p, int n) {
  for (int i = 0; i < n; ++i) sum = (sum ^ p[i]) * 0x100000001B3ull;
  return sum;
}

// Runs of seeded random rows at odd lengths and offsets; each layer's sum must be the reference's.
// VELA_BLEND_SEED picks another seed to rerun a failure.
TEST_F(BlendTest, RandomRowsMatchTheReferenceChecksum) {
  const char* env = std::getenv("VELA_BLEND_SEED");
  const uint32_t seed = env ? static_cast<uint32_t>(std::strtoul(env, nullptr, 0)) : 20240611u;
  constexpr int kCases = 30000, kMax = 140, kPad = 8;
  std::vector<const BlendLayer*> layers = Layers();
  std::vector<Pixel> src(kMax + kPad), dst(kMax + kPad), want(kMax + kPad), got(kMax + kPad);
  for (int op = 0; op < kBlendOpCount; ++op) {
    SCOPED_TRACE(kOpName[op]);
    std::mt19937 rng(seed + op);
    uint64_t refSum = 0xCBF29CE484222325ull;
    std::vector<uint64_t> sums(layers.size(), refSum);
    std::vector<int> firstBad(layers.size(), -1);
    int64_t pixels = 0;
    for (int n = 0; n < kCases; ++n) {
      int width = 1 + static_cast<int>(rng() % kMax);
      int so = static_cast<int>(rng() % kPad), dof = static_cast<int>(rng() % kPad);
      int o = RandomOpacity(rng, static_cast<BlendOp>(op));
      for (Pixel& p : src) p = RandomPixel(rng);
      for (Pixel& p : dst) p = RandomPixel(rng);
      for (int i = 0; i < width; ++i) want[i] = kRef[op](dst[dof + i], src[so + i], o);
      refSum = Fold(refSum, want.data(), width);
      for (size_t l = 0; l < layers.size(); ++l) {
        std::copy(dst.begin() + dof, dst.begin() + dof + width, got.begin());
        ResolveRowLoop(layers[l], static_cast<BlendOp>(op))(src.data() + so, got.data(), width, o);
        sums[l] = Fold(sums[l], got.data(), width);
        if (firstBad[l] < 0 && !std::equal(got.begin(), got.begin() + width, want.begin()))
          firstBad[l] = n;
      }
      pixels += width;
    }
    EXPECT_GT(pixels, 2000000);
    for (size_t l = 0; l < layers.size(); ++l)
      EXPECT_EQ(sums[l], refSum) << layers[l]->name << ": seed " << seed << ", first bad case "
                                 << firstBad[l];
  }
}

TEST_F(BlendTest, RowsOfABlockDoNotDependOnTheWorkers) {
  constexpr int kW = 300, kH = 300;
  std::mt19937 rng(99);
  BlockPtr upper(AllocBlock(kW, kH)), base(AllocBlock(kW, kH));
  for (int i = 0; i < kW * kH; ++i) {
    upper->data[i] = RandomPixel(rng);
    base->data[i] = RandomPixel(rng);
  }
  // A window of 290 x 294 at (5, 3): skips of 10 pixels on both sides.
  const int x0 = 5, y0 = 3, w = 290, h = 294;
  for (int op = 0; op < kBlendOpCount; ++op) {
    for (int o : {0, 77, 255}) {
      std::vector<Pixel> results[2];
      for (int run = 0; run < 2; ++run) {
        SetWorkerCount(run == 0 ? 1 : 3);
        BlockPtr d(AllocBlock(kW, kH));
        CopyBlock(base.get(), d.get());
        const Pixel* s = upper->Row(y0) + x0;
        auto rows = op == kBlendScale ? ScaleRows : OverRows;
        rows(s, d->Row(y0) + x0, w, h, kW - w, kW - w, op == kBlendOver ? 255 : o);
        results[run].assign(d->data, d->data + kW * kH);
      }
      SetWorkerCount(0);
      ASSERT_EQ(results[0], results[1]) << kOpName[op] << " o " << o;
      for (int y = 0; y < kH; ++y)
        for (int x = 0; x < kW; ++x) {
          Pixel b = base->Row(y)[x], u = upper->Row(y)[x];
          bool inside = x >= x0 && x < x0 + w && y >= y0 && y < y0 + h;
          Pixel want = b;
          if (inside && op == kBlendScale) want = RefScale(u, o);
          if (inside && op == kBlendOver) want = RefOver(b, u, 0);
          if (inside && op == kBlendScaledOver && o > 0)
            want = o == 255 ? RefOver(b, u, 0) : RefScaledOver(b, u, o);
          ASSERT_EQ(results[0][y * kW + x], want)
              << kOpName[op] << " o " << o << " at " << x << "," << y;
        }
    }
  }
}

TEST_F(BlendTest, ScaleRowsInPlace) {
  std::mt19937 rng(5);
  std::vector<Pixel> row(37), before;
  for (Pixel& p : row) p = RandomPixel(rng);
  before = row;
  ScaleRows(row.data(), row.data(), 37, 1, 0, 0, 200);
  for (int i = 0; i < 37; ++i) ASSERT_EQ(row[i], RefScale(before[i], 200));
}

// Whatever switches the run was started with are put back afterwards.
struct SavedEnv {
  explicit SavedEnv(const char* n) : name(n), had(std::getenv(n)), value(had ? std::getenv(n) : "") {
    unsetenv(n);
  }
  ~SavedEnv() {
    had ? setenv(name, value.c_str(), 1) : unsetenv(name);
    SelectBlendLayer();
  }
  const char* name;
  bool had;
  std::string value;
};

TEST_F(BlendTest, EnvironmentSwitchesLayersOff) {
  SavedEnv simd("VELA_NO_SIMD"), avx2("VELA_NO_AVX2");
  const BlendLayer* top = SelectBlendLayer();
  EXPECT_EQ(top, Layers().back());
  setenv("VELA_NO_SIMD", "1", 1);
  EXPECT_EQ(SelectBlendLayer(), PlainBlendLayer());
  EXPECT_EQ(ActiveBlendLayer(), PlainBlendLayer());
  std::vector<Pixel> src(16, 0x80404040), dst(16, 0xFF0000FF);
  OverRow(src.data(), dst.data(), 16);
  EXPECT_EQ(dst[15], RefOver(0xFF0000FF, 0x80404040, 0));
  unsetenv("VELA_NO_SIMD");
  setenv("VELA_NO_AVX2", "1", 1);
  const BlendLayer* withoutAvx2 = Sse2BlendLayer() ? Sse2BlendLayer() : PlainBlendLayer();
  EXPECT_EQ(SelectBlendLayer(), withoutAvx2);
  setenv("VELA_NO_AVX2", "0", 1);
  EXPECT_EQ(SelectBlendLayer(), top);
}

TEST_F(BlendTest, LayersFallBackToTheLayerBelow) {
  const BlendLayer partial = {"partial", PlainBlendLayer(), {nullptr, nullptr, nullptr}};
  const BlendLayer top = {
      "top", &partial, {nullptr, PlainBlendLayer()->loops[kBlendOver], nullptr}};
  EXPECT_EQ(ResolveRowLoop(&top, kBlendScaledOver), PlainBlendLayer()->loops[kBlendOver]);
  EXPECT_EQ(ResolveRowLoop(&top, kBlendScale), PlainBlendLayer()->loops[kBlendScale]);
}

}  // namespace
}  // namespace vela
