// AVX2 row loops, eight pixels at a time, chosen at run time; the bytes are those of the plain
// layer. The arithmetic is that of the SSE2 layer on twice the width: Mul(a, b) is
// mulhi_epu16(a*b + 254, 0x8081) >> 7. Unpacking and packing both work within 128-bit lanes, so
// the pixel order comes back unchanged.
#include "pixels/blend.h"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

#define VELA_AVX2 __attribute__((target("avx2")))

namespace vela {

namespace {

VELA_AVX2 inline __m256i Div255Up(__m256i product) {
  __m256i x = _mm256_add_epi16(product, _mm256_set1_epi16(254));
  return _mm256_srli_epi16(_mm256_mulhi_epu16(x, _mm256_set1_epi16(static_cast<short>(0x8081))), 7);
}

VELA_AVX2 inline __m256i AlphaWords(__m256i words) {
  return _mm256_shufflehi_epi16(_mm256_shufflelo_epi16(words, 0xFF), 0xFF);
}

VELA_AVX2 inline __m256i KeepBelow(__m256i d, __m256i alphaLo, __m256i alphaHi) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i k255 = _mm256_set1_epi16(255);
  __m256i lo = _mm256_mullo_epi16(_mm256_unpacklo_epi8(d, zero), _mm256_sub_epi16(k255, alphaLo));
  __m256i hi = _mm256_mullo_epi16(_mm256_unpackhi_epi8(d, zero), _mm256_sub_epi16(k255, alphaHi));
  return _mm256_packus_epi16(Div255Up(lo), Div255Up(hi));
}

VELA_AVX2 inline __m256i Load(const Pixel* p) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

VELA_AVX2 inline void Store(Pixel* p, __m256i v) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v);
}

VELA_AVX2 void Avx2Over(const Pixel* src, Pixel* dst, int width, int) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i alphaMask = _mm256_set1_epi32(static_cast<int>(0xFF000000));
  int i = 0;
  for (; i + 8 <= width; i += 8) {
    __m256i s = Load(src + i);
    __m256i sa = _mm256_and_si256(s, alphaMask);
    __m256i clear = _mm256_cmpeq_epi32(sa, zero);
    if (_mm256_movemask_epi8(clear) == -1) continue;
    if (_mm256_movemask_epi8(_mm256_cmpeq_epi32(sa, alphaMask)) == -1) {
      Store(dst + i, s);
      continue;
    }
    __m256i d = Load(dst + i);
    __m256i keep = KeepBelow(d, AlphaWords(_mm256_unpacklo_epi8(s, zero)),
                             AlphaWords(_mm256_unpackhi_epi8(s, zero)));
    Store(dst + i, _mm256_blendv_epi8(_mm256_adds_epu8(keep, s), d, clear));
  }
  for (; i < width; ++i) dst[i] = OverPixel(dst[i], src[i]);
}

VELA_AVX2 void Avx2ScaledOver(const Pixel* src, Pixel* dst, int width, int opacity) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i alphaMask = _mm256_set1_epi32(static_cast<int>(0xFF000000));
  const __m256i o = _mm256_set1_epi16(static_cast<short>(opacity));
  int i = 0;
  for (; i + 8 <= width; i += 8) {
    __m256i s = Load(src + i);
    __m256i clear = _mm256_cmpeq_epi32(_mm256_and_si256(s, alphaMask), zero);
    if (_mm256_movemask_epi8(clear) == -1) continue;
    __m256i d = Load(dst + i);
    __m256i lo = Div255Up(_mm256_mullo_epi16(_mm256_unpacklo_epi8(s, zero), o));
    __m256i hi = Div255Up(_mm256_mullo_epi16(_mm256_unpackhi_epi8(s, zero), o));
    __m256i scaled = _mm256_packus_epi16(lo, hi);
    __m256i out = _mm256_adds_epu8(KeepBelow(d, AlphaWords(lo), AlphaWords(hi)), scaled);
    __m256i empty = _mm256_cmpeq_epi32(_mm256_and_si256(d, alphaMask), zero);
    out = _mm256_blendv_epi8(out, scaled, empty);
    Store(dst + i, _mm256_blendv_epi8(out, d, clear));
  }
  for (; i < width; ++i) dst[i] = ScaledOverPixel(dst[i], src[i], opacity);
}

VELA_AVX2 void Avx2Scale(const Pixel* src, Pixel* dst, int width, int opacity) {
  if (opacity == 255 || opacity == 0) {
    PlainBlendLayer()->loops[kBlendScale](src, dst, width, opacity);
    return;
  }
  const __m256i zero = _mm256_setzero_si256();
  const __m256i o = _mm256_set1_epi16(static_cast<short>(opacity));
  int i = 0;
  for (; i + 8 <= width; i += 8) {
    __m256i s = Load(src + i);
    __m256i lo = Div255Up(_mm256_mullo_epi16(_mm256_unpacklo_epi8(s, zero), o));
    __m256i hi = Div255Up(_mm256_mullo_epi16(_mm256_unpackhi_epi8(s, zero), o));
    Store(dst + i, _mm256_packus_epi16(lo, hi));
  }
  for (; i < width; ++i) dst[i] = ScalePixel(src[i], opacity);
}

}  // namespace

const BlendLayer* Avx2BlendLayer() {
  static const BlendLayer layer = {"avx2", Sse2BlendLayer(), {Avx2Over, Avx2ScaledOver, Avx2Scale}};
  static const bool usable = __builtin_cpu_supports("avx2");
  return usable ? &layer : nullptr;
}

}  // namespace vela

#else

namespace vela {
const BlendLayer* Avx2BlendLayer() {
  return nullptr;
}
}  // namespace vela

#endif
