// SSE2 row loops, four pixels at a time; the bytes are those of the plain layer.
//
// Mul(a, b) = (a*b + 254) / 255 for bytes a, b is computed in 16-bit lanes as
// mulhi_epu16(a*b + 254, 0x8081) >> 7: x * 0x8081 >> 23 is x / 255 for every x below 65536,
// and a*b + 254 stays below 65280.
#include "pixels/blend.h"

#if defined(__SSE2__)

#include <emmintrin.h>

#include <cstring>

namespace vela {

namespace {

inline __m128i Div255Up(__m128i product) {
  __m128i x = _mm_add_epi16(product, _mm_set1_epi16(254));
  return _mm_srli_epi16(_mm_mulhi_epu16(x, _mm_set1_epi16(static_cast<short>(0x8081))), 7);
}

inline __m128i AlphaWords(__m128i words) {
  return _mm_shufflehi_epi16(_mm_shufflelo_epi16(words, 0xFF), 0xFF);
}

inline __m128i Select(__m128i mask, __m128i yes, __m128i no) {
  return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

// Mul(D, 255 - a) on all channels, a given as words of the two halves.
inline __m128i KeepBelow(__m128i d, __m128i alphaLo, __m128i alphaHi) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i k255 = _mm_set1_epi16(255);
  __m128i lo = _mm_mullo_epi16(_mm_unpacklo_epi8(d, zero), _mm_sub_epi16(k255, alphaLo));
  __m128i hi = _mm_mullo_epi16(_mm_unpackhi_epi8(d, zero), _mm_sub_epi16(k255, alphaHi));
  return _mm_packus_epi16(Div255Up(lo), Div255Up(hi));
}

void Sse2Over(const Pixel* src, Pixel* dst, int width, int) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i alphaMask = _mm_set1_epi32(static_cast<int>(0xFF000000));
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i sa = _mm_and_si128(s, alphaMask);
    __m128i clear = _mm_cmpeq_epi32(sa, zero);
    if (_mm_movemask_epi8(clear) == 0xFFFF) continue;
    if (_mm_movemask_epi8(_mm_cmpeq_epi32(sa, alphaMask)) == 0xFFFF) {
      _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), s);
      continue;
    }
    __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
    __m128i keep = KeepBelow(d, AlphaWords(_mm_unpacklo_epi8(s, zero)),
                             AlphaWords(_mm_unpackhi_epi8(s, zero)));
    __m128i out = _mm_adds_epu8(keep, s);
    if (_mm_movemask_epi8(clear)) out = Select(clear, d, out);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), out);
  }
  for (; i < width; ++i) dst[i] = OverPixel(dst[i], src[i]);
}

void Sse2ScaledOver(const Pixel* src, Pixel* dst, int width, int opacity) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i alphaMask = _mm_set1_epi32(static_cast<int>(0xFF000000));
  const __m128i o = _mm_set1_epi16(static_cast<short>(opacity));
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i clear = _mm_cmpeq_epi32(_mm_and_si128(s, alphaMask), zero);
    if (_mm_movemask_epi8(clear) == 0xFFFF) continue;
    __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
    __m128i lo = Div255Up(_mm_mullo_epi16(_mm_unpacklo_epi8(s, zero), o));
    __m128i hi = Div255Up(_mm_mullo_epi16(_mm_unpackhi_epi8(s, zero), o));
    __m128i scaled = _mm_packus_epi16(lo, hi);
    __m128i out = _mm_adds_epu8(KeepBelow(d, AlphaWords(lo), AlphaWords(hi)), scaled);
    __m128i empty = _mm_cmpeq_epi32(_mm_and_si128(d, alphaMask), zero);
    // Most groups have neither a clear pixel above nor an empty one below.
    if (_mm_movemask_epi8(_mm_or_si128(clear, empty))) {
      out = Select(empty, scaled, out);
      out = Select(clear, d, out);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), out);
  }
  for (; i < width; ++i) dst[i] = ScaledOverPixel(dst[i], src[i], opacity);
}

void Sse2Scale(const Pixel* src, Pixel* dst, int width, int opacity) {
  if (opacity == 255 || opacity == 0) {
    PlainBlendLayer()->loops[kBlendScale](src, dst, width, opacity);
    return;
  }
  const __m128i zero = _mm_setzero_si128();
  const __m128i o = _mm_set1_epi16(static_cast<short>(opacity));
  int i = 0;
  for (; i + 4 <= width; i += 4) {
    __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
    __m128i lo = Div255Up(_mm_mullo_epi16(_mm_unpacklo_epi8(s, zero), o));
    __m128i hi = Div255Up(_mm_mullo_epi16(_mm_unpackhi_epi8(s, zero), o));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(lo, hi));
  }
  for (; i < width; ++i) dst[i] = ScalePixel(src[i], opacity);
}

}  // namespace

const BlendLayer* Sse2BlendLayer() {
  static const BlendLayer layer = {
      "sse2", PlainBlendLayer(), {Sse2Over, Sse2ScaledOver, Sse2Scale}};
  return &layer;
}

}  // namespace vela

#else

namespace vela {
const BlendLayer* Sse2BlendLayer() {
  return nullptr;
}
}  // namespace vela

#endif
