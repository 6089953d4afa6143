#include "pixels/blend.h"

#include <optional>
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

Pixel RefScale(Pixel p, int o) {
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) out |= static_cast<Pixel>(RefMul(Channel(p, c), o)) << (8 * c);
  return out;
}

Pixel Ref(int op, Pixel lower, Pixel upper, int o) {
  if (op == kBlendScale) return RefScale(upper, o);
  if (Channel(upper, 3) == 0) return lower;
  if (op == kBlendScaledOver) upper = RefScale(upper, o);
  if (op == kBlendScaledOver && Channel(lower, 3) == 0) return upper;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c)
    out |= static_cast<Pixel>(std::min(
               255, Channel(upper, c) + RefMul(Channel(lower, c), 255 - Channel(upper, 3))))
           << (8 * c);
  return out;
}

constexpr const char* kOpName[kBlendOpCount] = {"over", "scaled over", "scale"};

std::vector<const BlendLayer*> Layers() {
  std::vector<const BlendLayer*> out{PlainBlendLayer()};
  if (Sse2BlendLayer()) out.push_back(Sse2BlendLayer());
  if (Avx2BlendLayer()) out.push_back(Avx2BlendLayer());
  return out;
}

using BlendTest = PixelsTest;

TEST_F(BlendTest, SinglePixelRulesWorkedByHand) {
  EXPECT_EQ(OverPixel(0xFF102030, 0x00FFFFFF), 0xFF102030u);  // alpha 0 keeps D whatever its colour
  EXPECT_EQ(OverPixel(0xFF102030, 0xFF000000), 0xFF000000u);
  EXPECT_EQ(OverPixel(0xFFFFFFFF, 0x01010101), 0xFFFFFFFFu);  // 1 + Mul(255, 254) = 255
  EXPECT_EQ(OverPixel(0x00000000, 0x01010101), 0x01010101u);
  EXPECT_EQ(OverPixel(0xFFFF0000, 0x80FF0000), 0xFFFF0000u);  // red 255 + 127 is held at 255
  EXPECT_EQ(ScaledOverPixel(0x40404040, 0x01010101, 1), 0x41414141u);    // Mul(1, 1) stays visible
  EXPECT_EQ(ScaledOverPixel(0x00FFFFFF, 0x80808080, 128), 0x41414141u);  // clear D: Mul(128, 128)
  EXPECT_EQ(ScalePixel(0xFF804020, 128), 0x80412111u);  // 128 * 128 / 255 = 64.25 rounds up
}

// Runs every layer's loops over all 256 x 256 byte products, at widths that the vector paths take.
TEST_F(BlendTest, EveryLayerMultipliesExactlyOverAllPairs) {
  std::vector<Pixel> ramp(256), dst(256);
  for (int i = 0; i < 256; ++i) ramp[i] = static_cast<Pixel>(i) * 0x01010101u;
  for (const BlendLayer* layer : Layers()) {
    SCOPED_TRACE(layer->name);
    RowLoop scale = ResolveRowLoop(layer, kBlendScale), over = ResolveRowLoop(layer, kBlendOver);
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
        ASSERT_EQ(dst[i], Ref(kBlendOver, ramp[i], upper[i], 0)) << i << " a " << a;
    }
    // The ramp on top: Mul(S, o) for every S and o, over lowers that are clear, opaque and between.
    for (int o = 1; o < 255; ++o)
      for (Pixel below : {0u, 0xFFFFFFFFu, static_cast<Pixel>(o * 37 & 0xFF) * 0x01010101u}) {
        std::vector<Pixel> lower(256, below);
        scaledOver(ramp.data(), lower.data(), 256, o);
        for (int i = 0; i < 256; ++i)
          ASSERT_EQ(lower[i], Ref(kBlendScaledOver, below, ramp[i], o)) << i << " o " << o;
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

// Seeded random rows at odd lengths and offsets, one in eight blended in place.
// VELA_BLEND_SEED picks another seed to rerun a failure.
TEST_F(BlendTest, RandomRowsMatchTheReference) {
  const char* env = std::getenv("VELA_BLEND_SEED");
  const uint32_t seed = env ? static_cast<uint32_t>(std::strtoul(env, nullptr, 0)) : 20240611u;
  constexpr int kCases = 30000, kMax = 140, kPad = 8;
  static const int kEdges[] = {0, 1, 2, 127, 128, 253, 254, 255};
  std::vector<Pixel> src(kMax + kPad), dst(kMax + kPad), want(kMax), got(kMax);
  for (int op = 0; op < kBlendOpCount; ++op) {
    std::mt19937 rng(seed + op);
    for (int n = 0; n < kCases; ++n) {
      int width = 1 + static_cast<int>(rng() % kMax);
      int so = static_cast<int>(rng() % kPad), dof = static_cast<int>(rng() % kPad);
      int o = (rng() & 1) ? kEdges[rng() % 8] : static_cast<int>(rng() % 256);
      if (op == kBlendScaledOver) o = std::clamp(o, 1, 254);
      for (Pixel& p : src) p = RandomPixel(rng);
      for (Pixel& p : dst) p = RandomPixel(rng);
      const bool inPlace = n % 8 == 0;
      if (inPlace) std::copy_n(src.begin() + so, width, dst.begin() + dof);
      for (int i = 0; i < width; ++i) want[i] = Ref(op, dst[dof + i], src[so + i], o);
      for (const BlendLayer* layer : Layers()) {
        std::copy_n(dst.begin() + dof, width, got.begin());
        ResolveRowLoop(layer, static_cast<BlendOp>(op))(inPlace ? got.data() : src.data() + so,
                                                        got.data(), width, o);
        ASSERT_TRUE(std::equal(got.begin(), got.begin() + width, want.begin()))
            << layer->name << " " << kOpName[op] << ": seed " << seed << ", case " << n;
      }
    }
  }
}

// Rectangles with skips, cut between one and three workers; OverRows takes 255 as the plain over
// and 0 as nothing.
TEST_F(BlendTest, RowsOfABlockDoNotDependOnTheWorkers) {
  constexpr int kW = 300, kH = 300, x0 = 5, y0 = 3, w = 290, h = 294;
  std::mt19937 rng(99);
  BlockPtr upper(AllocBlock(kW, kH)), base(AllocBlock(kW, kH)), d(AllocBlock(kW, kH));
  for (int i = 0; i < kW * kH; ++i) {
    upper->data[i] = RandomPixel(rng);
    base->data[i] = RandomPixel(rng);
  }
  for (int op : {kBlendScale, kBlendScaledOver})
    for (int o : {0, 77, 255}) {
      std::vector<Pixel> want = Pixels(base.get());
      for (int y = y0; y < y0 + h; ++y)
        for (int x = x0; x < x0 + w; ++x) {
          Pixel& p = want[y * kW + x];
          if (op == kBlendScale || o > 0)
            p = Ref(o == 255 && op != kBlendScale ? kBlendOver : op, p, upper->Row(y)[x], o);
        }
      for (int workers : {1, 3}) {
        SetWorkerCount(workers);
        CopyBlock(base.get(), d.get());
        (op == kBlendScale ? ScaleRows : OverRows)(upper->Row(y0) + x0, d->Row(y0) + x0, w, h,
                                                   kW - w, kW - w, o);
        SetWorkerCount(0);
        ASSERT_EQ(Pixels(d.get()), want) << kOpName[op] << " o " << o << ", " << workers;
      }
    }
}

TEST_F(BlendTest, EnvironmentSwitchesLayersOffAndLayersFallBack) {
  // Whatever switches the run was started with are put back afterwards.
  const char* names[2] = {"VELA_NO_SIMD", "VELA_NO_AVX2"};
  std::optional<std::string> saved[2];
  for (int i = 0; i < 2; ++i) {
    if (const char* v = std::getenv(names[i])) saved[i] = v;
    unsetenv(names[i]);
  }
  const BlendLayer* top = SelectBlendLayer();
  EXPECT_EQ(top, Layers().back());
  setenv("VELA_NO_SIMD", "1", 1);
  EXPECT_EQ(SelectBlendLayer(), PlainBlendLayer());
  EXPECT_EQ(ActiveBlendLayer(), PlainBlendLayer());
  unsetenv("VELA_NO_SIMD");
  setenv("VELA_NO_AVX2", "1", 1);
  EXPECT_EQ(SelectBlendLayer(), Sse2BlendLayer() ? Sse2BlendLayer() : PlainBlendLayer());
  setenv("VELA_NO_AVX2", "0", 1);
  EXPECT_EQ(SelectBlendLayer(), top);
  for (int i = 0; i < 2; ++i)
    saved[i] ? setenv(names[i], saved[i]->c_str(), 1) : unsetenv(names[i]);
  SelectBlendLayer();

  const BlendLayer partial = {"partial", PlainBlendLayer(), {nullptr, nullptr, nullptr}};
  const BlendLayer over = {"top", &partial, {nullptr, PlainBlendLayer()->loops[kBlendOver]}};
  EXPECT_EQ(ResolveRowLoop(&over, kBlendScaledOver), PlainBlendLayer()->loops[kBlendOver]);
  EXPECT_EQ(ResolveRowLoop(&over, kBlendScale), PlainBlendLayer()->loops[kBlendScale]);
}

}  // namespace
}  // namespace vela
