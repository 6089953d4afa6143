#include "paint/row_kernels.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "paint/pixel_rules.h"
#include "pixels/blend.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define VELA_PAINT_SSE2 1
#endif
#if defined(__x86_64__)
#include <immintrin.h>
#define VELA_PAINT_AVX2 1
#define VELA_AVX2 __attribute__((target("avx2")))
#endif

namespace vela {

namespace {
bool g_simd = SimdAllowed();
#if VELA_PAINT_AVX2
bool g_avx2 = __builtin_cpu_supports("avx2") && Avx2Allowed();
#else
bool g_avx2 = false;
#endif

inline Pixel Smooth1(const Pixel* row, const Pixel* up, const Pixel* down, int i, bool blur) {
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) {
    int centre = rules::Ch(row[i], c);
    int around = rules::Ch(row[i - 1], c) + rules::Ch(row[i + 1], c) + rules::Ch(up[i], c) +
                 rules::Ch(down[i], c);
    int v = blur ? (centre + around + 2) / 5 : (60 * centre + around + 31) >> 6;
    out |= static_cast<Pixel>(v) << (8 * c);
  }
  return out;
}

#if VELA_PAINT_SSE2
// v / 255 for every u16 lane below 65535.
inline __m128i Div255(__m128i v) {
  return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(v, _mm_set1_epi16(1)), _mm_srli_epi16(v, 8)),
                        8);
}
// MulTable[a][k] for signed a and k in 0..255: the rounding is away from zero.
inline __m128i MulSigned(__m128i a, __m128i k) {
  __m128i sign = _mm_srai_epi16(a, 15);
  __m128i mag = _mm_sub_epi16(_mm_xor_si128(a, sign), sign);
  __m128i q = Div255(_mm_add_epi16(_mm_mullo_epi16(mag, k), _mm_set1_epi16(254)));
  return _mm_sub_epi16(_mm_xor_si128(q, sign), sign);
}
// Four coverage bytes, each spread over its pixel's four channels.
inline __m128i SpreadK(uint32_t kw) {
  __m128i k = _mm_cvtsi32_si128(static_cast<int>(kw));
  k = _mm_unpacklo_epi8(k, k);
  return _mm_unpacklo_epi16(k, k);
}
inline uint32_t Load4(const uint8_t* k) {
  uint32_t w;
  std::memcpy(&w, k, 4);
  return w;
}
#endif

#if VELA_PAINT_AVX2
VELA_AVX2 inline __m256i Load8(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
VELA_AVX2 inline void Store8(void* p, __m256i v) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), v);
}
VELA_AVX2 inline __m256i Div255Up8(__m256i v) {  // (v + 254) / 255, exact for every u16 v < 65281
  v = _mm256_add_epi16(v, _mm256_set1_epi16(254));
  return _mm256_srli_epi16(_mm256_mulhi_epu16(v, _mm256_set1_epi16(static_cast<short>(0x8081))), 7);
}
VELA_AVX2 inline __m256i MulBytes8(__m256i a, __m256i b) {  // T[a][b] for a, b >= 0
  const __m256i zero = _mm256_setzero_si256();
  return _mm256_packus_epi16(
      Div255Up8(_mm256_mullo_epi16(_mm256_unpacklo_epi8(a, zero), _mm256_unpacklo_epi8(b, zero))),
      Div255Up8(_mm256_mullo_epi16(_mm256_unpackhi_epi8(a, zero), _mm256_unpackhi_epi8(b, zero))));
}
// Eight coverage bytes, each over its pixel's four channels.
VELA_AVX2 inline __m256i SpreadK8(uint64_t kw) {
  const __m256i order = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4,
                                         5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
  return _mm256_shuffle_epi8(_mm256_set1_epi64x(static_cast<long long>(kw)), order);
}
// Cover of b towards target: T[|t - b|][k] per byte, applied with the sign of t - b.
VELA_AVX2 inline __m256i Towards8(__m256i b, __m256i t, __m256i k) {
  __m256i up = _mm256_subs_epu8(t, b), down = _mm256_subs_epu8(b, t);
  __m256i q = MulBytes8(_mm256_or_si256(up, down), k);
  __m256i qUp = _mm256_andnot_si256(_mm256_cmpeq_epi8(up, _mm256_setzero_si256()), q);
  return _mm256_sub_epi8(_mm256_add_epi8(b, qUp), _mm256_xor_si256(q, qUp));
}

VELA_AVX2 int CoverageAvx2(uint8_t* k, const uint8_t* m, int n, int opacity) {
  const __m256i o = _mm256_set1_epi8(static_cast<char>(opacity));
  int i = 0;
  for (; i + 32 <= n; i += 32) Store8(k + i, MulBytes8(Load8(m + i), o));
  return i;
}

VELA_AVX2 int CoverAvx2(Pixel* d, const uint8_t* k, int n, Pixel colour) {
  const __m256i ones = _mm256_set1_epi8(-1);
  const __m256i whole = _mm256_set1_epi32(static_cast<int>(colour));
  const __m256i target = _mm256_set1_epi32(static_cast<int>(colour | 0xFF000000u));
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t kw;
    std::memcpy(&kw, k + i, 8);
    if (kw == 0) continue;
    if (kw == ~0ull) {
      Store8(d + i, whole);
      continue;
    }
    // k = 0 moves nothing, so no pixel needs keeping.
    __m256i kk = SpreadK8(kw);
    __m256i r = Towards8(Load8(d + i), target, kk);
    Store8(d + i, _mm256_blendv_epi8(r, whole, _mm256_cmpeq_epi8(kk, ones)));
  }
  return i;
}

VELA_AVX2 inline __m256i Filter8(__m256i c, __m256i l, __m256i r, __m256i u, __m256i dn,
                                 bool blur) {
  __m256i around = _mm256_add_epi16(_mm256_add_epi16(l, r), _mm256_add_epi16(u, dn));
  if (blur) {
    __m256i sum = _mm256_add_epi16(_mm256_add_epi16(c, around), _mm256_set1_epi16(2));
    return _mm256_srli_epi16(_mm256_mulhi_epu16(sum, _mm256_set1_epi16(-13107)), 2);  // /5
  }
  __m256i sum = _mm256_add_epi16(_mm256_mullo_epi16(c, _mm256_set1_epi16(60)), around);
  return _mm256_srli_epi16(_mm256_add_epi16(sum, _mm256_set1_epi16(31)), 6);
}

VELA_AVX2 int CrossFilterAvx2(const Pixel* row, const Pixel* up, const Pixel* down,
                              const uint8_t* k, int n, Pixel* out, bool blur) {
  const __m256i zero = _mm256_setzero_si256();
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t kw;
    std::memcpy(&kw, k + i, 8);
    __m256i c = Load8(row + i);
    if (kw == 0) {
      Store8(out + i, c);
      continue;
    }
    __m256i l = Load8(row + i - 1), r = Load8(row + i + 1), u = Load8(up + i), dn = Load8(down + i);
    __m256i lo = Filter8(_mm256_unpacklo_epi8(c, zero), _mm256_unpacklo_epi8(l, zero),
                         _mm256_unpacklo_epi8(r, zero), _mm256_unpacklo_epi8(u, zero),
                         _mm256_unpacklo_epi8(dn, zero), blur);
    __m256i hi = Filter8(_mm256_unpackhi_epi8(c, zero), _mm256_unpackhi_epi8(l, zero),
                         _mm256_unpackhi_epi8(r, zero), _mm256_unpackhi_epi8(u, zero),
                         _mm256_unpackhi_epi8(dn, zero), blur);
    __m256i v = _mm256_packus_epi16(lo, hi);
    if (kw != ~0ull) v = _mm256_blendv_epi8(v, c, _mm256_cmpeq_epi8(SpreadK8(kw), zero));
    Store8(out + i, v);
  }
  return i;
}
#endif

}  // namespace

void SetPaintSimd(bool on) {
  g_simd = on;
}
bool PaintSimd() {
  return g_simd;
}
void SetPaintAvx2(bool on) {
#if VELA_PAINT_AVX2
  g_avx2 = on && __builtin_cpu_supports("avx2");
#endif
}
void SelectPaintLayers() {
  g_simd = SimdAllowed();
  SetPaintAvx2(Avx2Allowed());
}

void CoverageRow(uint8_t* k, const uint8_t* m, int n, int opacity) {
  opacity = std::clamp(opacity, 0, 255);
  if (opacity == 255) {
    std::memcpy(k, m, n);
    return;
  }
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = CoverageAvx2(k, m, n, opacity);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), o = _mm_set1_epi16(static_cast<short>(opacity));
    const __m128i r254 = _mm_set1_epi16(254);
    for (; i + 16 <= n; i += 16) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + i));
      __m128i lo = Div255(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(v, zero), o), r254));
      __m128i hi = Div255(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(v, zero), o), r254));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(k + i), _mm_packus_epi16(lo, hi));
    }
  }
#endif
  const int16_t* row = MulTable + opacity;  // T[m][o] sits at m * 256 + o
  for (; i < n; ++i) k[i] = static_cast<uint8_t>(row[m[i] * 256]);
}

void CoverRow(Pixel* d, const uint8_t* k, int n, Pixel colour) {
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = CoverAvx2(d, k, n, colour);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i whole = _mm_set1_epi32(static_cast<int>(colour));
    // Alpha heads for 255 whatever the colour's own alpha; colour channels for C.
    const __m128i target =
        _mm_unpacklo_epi8(_mm_set1_epi32(static_cast<int>(colour | 0xFF000000u)), zero);
    const __m128i ones = _mm_set1_epi8(-1);
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(k + i);
      if (kw == 0) continue;
      __m128i* p = reinterpret_cast<__m128i*>(d + i);
      if (kw == 0xFFFFFFFFu) {
        _mm_storeu_si128(p, whole);
        continue;
      }
      __m128i kk = SpreadK(kw);
      __m128i dv = _mm_loadu_si128(p);
      __m128i dlo = _mm_unpacklo_epi8(dv, zero), dhi = _mm_unpackhi_epi8(dv, zero);
      __m128i klo = _mm_unpacklo_epi8(kk, zero), khi = _mm_unpackhi_epi8(kk, zero);
      dlo = _mm_add_epi16(dlo, MulSigned(_mm_sub_epi16(target, dlo), klo));
      dhi = _mm_add_epi16(dhi, MulSigned(_mm_sub_epi16(target, dhi), khi));
      __m128i r = _mm_packus_epi16(dlo, dhi);
      __m128i full = _mm_cmpeq_epi8(kk, ones);
      _mm_storeu_si128(p, _mm_or_si128(_mm_and_si128(full, whole), _mm_andnot_si128(full, r)));
    }
  }
#endif
  for (; i < n; ++i)
    if (k[i]) d[i] = rules::Cover(d[i], colour, k[i]);
}

void EraseRow(Pixel* d, const uint8_t* k, int n) {
  int i = 0;
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), r254 = _mm_set1_epi16(254);
    const __m128i c255 = _mm_set1_epi16(255), c250 = _mm_set1_epi8(static_cast<char>(250));
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(k + i);
      if (kw == 0) continue;
      __m128i* p = reinterpret_cast<__m128i*>(d + i);
      __m128i kk = SpreadK(kw);
      __m128i clear = _mm_cmpeq_epi8(_mm_max_epu8(kk, c250), kk);  // k >= 250
      __m128i dv = _mm_loadu_si128(p);
      __m128i ilo = _mm_sub_epi16(c255, _mm_unpacklo_epi8(kk, zero));
      __m128i ihi = _mm_sub_epi16(c255, _mm_unpackhi_epi8(kk, zero));
      __m128i lo = Div255(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(dv, zero), ilo), r254));
      __m128i hi = Div255(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(dv, zero), ihi), r254));
      _mm_storeu_si128(p, _mm_andnot_si128(clear, _mm_packus_epi16(lo, hi)));
    }
  }
#endif
  for (; i < n; ++i)
    if (k[i]) d[i] = rules::Erase(d[i], k[i]);
}

void MixRow(Pixel* d, const Pixel* s, const uint8_t* k, int n) {
  int i = 0;
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), r127 = _mm_set1_epi16(127);
    const __m128i c255 = _mm_set1_epi16(255);
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(k + i);
      if (kw == 0) continue;
      __m128i* p = reinterpret_cast<__m128i*>(d + i);
      __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
      if (kw == 0xFFFFFFFFu) {
        _mm_storeu_si128(p, sv);
        continue;
      }
      __m128i kk = SpreadK(kw);
      __m128i dv = _mm_loadu_si128(p);
      __m128i klo = _mm_unpacklo_epi8(kk, zero), khi = _mm_unpackhi_epi8(kk, zero);
      __m128i lo = _mm_add_epi16(
          _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(sv, zero), klo),
                        _mm_mullo_epi16(_mm_unpacklo_epi8(dv, zero), _mm_sub_epi16(c255, klo))),
          r127);
      __m128i hi = _mm_add_epi16(
          _mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(sv, zero), khi),
                        _mm_mullo_epi16(_mm_unpackhi_epi8(dv, zero), _mm_sub_epi16(c255, khi))),
          r127);
      _mm_storeu_si128(p, _mm_packus_epi16(Div255(lo), Div255(hi)));
    }
  }
#endif
  for (; i < n; ++i)
    if (k[i]) d[i] = rules::Mix(d[i], s[i], k[i]);
}

// The wet loops. Both stages stay in the byte domain where they can: Cover takes |C - b| with
// saturating subtractions, so the rounding-away product needs no sign juggling, and x / 255 is
// mulhi(x, 0x8081) >> 7, exact for every u16.
namespace {

inline void AccumulatePlain(uint8_t* w, const uint8_t* m, int n, int opacity, bool additive) {
  for (int i = 0; i < n; ++i) {
    int mv = m[i];
    if (!mv) continue;
    int wv = w[i];
    if (additive)
      wv = std::min(wv + (opacity >= 255 ? mv : rules::T(opacity, mv)), 255);
    else
      wv += rules::T(255 - wv, opacity == 255 ? mv : rules::T(mv, opacity));
    w[i] = static_cast<uint8_t>(wv);
  }
}

inline bool AnyZeroByte(uint64_t v) {
  return ((v - 0x0101010101010101ull) & ~v & 0x8080808080808080ull) != 0;
}

#if VELA_PAINT_SSE2
inline __m128i Div255Down(__m128i v) {
  return _mm_srli_epi16(_mm_mulhi_epu16(v, _mm_set1_epi16(static_cast<short>(0x8081))), 7);
}
inline __m128i Div255Up(__m128i v) {
  return Div255Down(_mm_add_epi16(v, _mm_set1_epi16(254)));
}
// T[m][o] of 16 bytes, o in 0..254.
inline __m128i Scale16(__m128i m, __m128i o) {
  const __m128i zero = _mm_setzero_si128();
  return _mm_packus_epi16(Div255Up(_mm_mullo_epi16(_mm_unpacklo_epi8(m, zero), o)),
                          Div255Up(_mm_mullo_epi16(_mm_unpackhi_epi8(m, zero), o)));
}
inline __m128i AccumulateSse2(__m128i w, __m128i k) {
  const __m128i zero = _mm_setzero_si128(), c255 = _mm_set1_epi16(255);
  __m128i lo = _mm_unpacklo_epi8(w, zero), hi = _mm_unpackhi_epi8(w, zero);
  lo = _mm_add_epi16(
      lo, Div255Up(_mm_mullo_epi16(_mm_sub_epi16(c255, lo), _mm_unpacklo_epi8(k, zero))));
  hi = _mm_add_epi16(
      hi, Div255Up(_mm_mullo_epi16(_mm_sub_epi16(c255, hi), _mm_unpackhi_epi8(k, zero))));
  return _mm_packus_epi16(lo, hi);
}
// T[|t - b|][k] per byte, given back with the sign of t - b applied to b.
inline __m128i TowardsSse2(__m128i b, __m128i t, __m128i k) {
  const __m128i zero = _mm_setzero_si128();
  __m128i up = _mm_subs_epu8(t, b), down = _mm_subs_epu8(b, t), mag = _mm_or_si128(up, down);
  __m128i q = _mm_packus_epi16(
      Div255Up(_mm_mullo_epi16(_mm_unpacklo_epi8(mag, zero), _mm_unpacklo_epi8(k, zero))),
      Div255Up(_mm_mullo_epi16(_mm_unpackhi_epi8(mag, zero), _mm_unpackhi_epi8(k, zero))));
  __m128i qUp = _mm_andnot_si128(_mm_cmpeq_epi8(up, zero), q);
  return _mm_sub_epi8(_mm_add_epi8(b, qUp), _mm_xor_si128(q, qUp));
}
inline __m128i KeepWhereZero(__m128i r, __m128i k, const Pixel* d, uint32_t kw) {
  if (!AnyZeroByte(kw | 0xFFFFFFFF00000000ull)) return r;
  __m128i keep = _mm_cmpeq_epi8(k, _mm_setzero_si128());
  __m128i dv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d));
  return _mm_or_si128(_mm_and_si128(keep, dv), _mm_andnot_si128(keep, r));
}
#endif

#if VELA_PAINT_AVX2
VELA_AVX2 inline __m256i Div255Down8(__m256i v) {
  return _mm256_srli_epi16(_mm256_mulhi_epu16(v, _mm256_set1_epi16(static_cast<short>(0x8081))), 7);
}
VELA_AVX2 inline __m256i KeepWhereZero8(__m256i r, __m256i k, const Pixel* d, uint64_t kw) {
  if (!AnyZeroByte(kw)) return r;
  return _mm256_blendv_epi8(r, Load8(d), _mm256_cmpeq_epi8(k, _mm256_setzero_si256()));
}

VELA_AVX2 int AccumulateAvx2(uint8_t* w, const uint8_t* m, int n, int opacity, bool additive) {
  const __m256i c255 = _mm256_set1_epi8(-1);
  const __m256i o = _mm256_set1_epi8(static_cast<char>(opacity));
  int i = 0;
  for (; i + 32 <= n; i += 32) {
    __m256i mv = Load8(m + i);
    if (_mm256_testz_si256(mv, mv)) continue;
    __m256i k = opacity >= 255 ? mv : MulBytes8(mv, o);
    __m256i wv = Load8(w + i);
    if (additive)
      wv = _mm256_adds_epu8(wv, k);
    else
      wv = _mm256_add_epi8(wv, MulBytes8(_mm256_sub_epi8(c255, wv), k));
    Store8(w + i, wv);
  }
  return i;
}

VELA_AVX2 int WetCoverAvx2(Pixel* d, const Pixel* b, const uint8_t* e, int n, Pixel colour,
                           const Pixel* colours) {
  const __m256i ones = _mm256_set1_epi8(-1);
  const __m256i opaque = _mm256_set1_epi32(static_cast<int>(0xFF000000u));
  __m256i whole = _mm256_set1_epi32(static_cast<int>(colour));
  __m256i target = _mm256_or_si256(whole, opaque);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t kw;
    std::memcpy(&kw, e + i, 8);
    if (kw == 0) continue;
    if (colours) {
      whole = Load8(colours + i);
      target = _mm256_or_si256(whole, opaque);
    }
    if (kw == ~0ull) {
      Store8(d + i, whole);
      continue;
    }
    __m256i k = SpreadK8(kw);
    __m256i r = Towards8(Load8(b + i), target, k);
    r = _mm256_blendv_epi8(r, whole, _mm256_cmpeq_epi8(k, ones));
    Store8(d + i, KeepWhereZero8(r, k, d + i, kw));
  }
  return i;
}

VELA_AVX2 int WetEraseAvx2(Pixel* d, const Pixel* b, const uint8_t* e, int n) {
  const __m256i ones = _mm256_set1_epi8(-1);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t kw;
    std::memcpy(&kw, e + i, 8);
    if (kw == 0) continue;
    __m256i k = SpreadK8(kw);
    __m256i r = MulBytes8(Load8(b + i), _mm256_sub_epi8(ones, k));
    r = _mm256_andnot_si256(_mm256_cmpeq_epi8(k, ones), r);
    Store8(d + i, KeepWhereZero8(r, k, d + i, kw));
  }
  return i;
}

VELA_AVX2 int WetMixAvx2(Pixel* d, const Pixel* b, const Pixel* s, const uint8_t* e, int n) {
  const __m256i zero = _mm256_setzero_si256(), c255 = _mm256_set1_epi16(255);
  int i = 0;
  for (; i + 8 <= n; i += 8) {
    uint64_t kw;
    std::memcpy(&kw, e + i, 8);
    if (kw == 0) continue;
    __m256i k = SpreadK8(kw), bv = Load8(b + i), sv = Load8(s + i);
    __m256i klo = _mm256_unpacklo_epi8(k, zero), khi = _mm256_unpackhi_epi8(k, zero);
    __m256i lo = _mm256_add_epi16(
        _mm256_mullo_epi16(_mm256_unpacklo_epi8(bv, zero), _mm256_sub_epi16(c255, klo)),
        _mm256_mullo_epi16(_mm256_unpacklo_epi8(sv, zero), klo));
    __m256i hi = _mm256_add_epi16(
        _mm256_mullo_epi16(_mm256_unpackhi_epi8(bv, zero), _mm256_sub_epi16(c255, khi)),
        _mm256_mullo_epi16(_mm256_unpackhi_epi8(sv, zero), khi));
    __m256i r = _mm256_packus_epi16(Div255Down8(lo), Div255Down8(hi));
    Store8(d + i, KeepWhereZero8(r, k, d + i, kw));
  }
  return i;
}
#endif

}  // namespace

void WetAccumulateRow(uint8_t* w, const uint8_t* m, int n, int opacity, bool additive) {
  int i = 0;
  opacity = std::clamp(opacity, 0, 255);
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = AccumulateAvx2(w, m, n, opacity, additive);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i o = _mm_set1_epi16(static_cast<short>(opacity));
    for (; i + 16 <= n; i += 16) {
      __m128i mv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m + i));
      if (_mm_movemask_epi8(_mm_cmpeq_epi8(mv, _mm_setzero_si128())) == 0xFFFF) continue;
      __m128i k = opacity >= 255 ? mv : Scale16(mv, o);
      __m128i* p = reinterpret_cast<__m128i*>(w + i);
      __m128i wv = _mm_loadu_si128(p);
      _mm_storeu_si128(p, additive ? _mm_adds_epu8(wv, k) : AccumulateSse2(wv, k));
    }
  }
#endif
  AccumulatePlain(w + i, m + i, n - i, opacity, additive);
}

void WetCoverRow(Pixel* d, const Pixel* b, const uint8_t* e, int n, Pixel colour,
                 const Pixel* colours) {
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = WetCoverAvx2(d, b, e, n, colour, colours);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i ones = _mm_set1_epi8(-1);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    __m128i whole = _mm_set1_epi32(static_cast<int>(colour));
    __m128i target = _mm_or_si128(whole, opaque);
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(e + i);
      if (kw == 0) continue;
      if (colours) {
        whole = _mm_loadu_si128(reinterpret_cast<const __m128i*>(colours + i));
        target = _mm_or_si128(whole, opaque);
      }
      __m128i* p = reinterpret_cast<__m128i*>(d + i);
      if (kw == 0xFFFFFFFFu) {
        _mm_storeu_si128(p, whole);
        continue;
      }
      __m128i k = SpreadK(kw);
      __m128i r = TowardsSse2(_mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i)), target, k);
      __m128i full = _mm_cmpeq_epi8(k, ones);
      r = _mm_or_si128(_mm_and_si128(full, whole), _mm_andnot_si128(full, r));
      _mm_storeu_si128(p, KeepWhereZero(r, k, d + i, kw));
    }
  }
#endif
  for (; i < n; ++i)
    if (e[i]) d[i] = rules::Cover(b[i], colours ? colours[i] : colour, e[i]);
}

void WetEraseRow(Pixel* d, const Pixel* b, const uint8_t* e, int n) {
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = WetEraseAvx2(d, b, e, n);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), ones = _mm_set1_epi8(-1);
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(e + i);
      if (kw == 0) continue;
      __m128i k = SpreadK(kw), inv = _mm_sub_epi8(ones, k);
      __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
      __m128i r = _mm_packus_epi16(
          Div255Up(_mm_mullo_epi16(_mm_unpacklo_epi8(bv, zero), _mm_unpacklo_epi8(inv, zero))),
          Div255Up(_mm_mullo_epi16(_mm_unpackhi_epi8(bv, zero), _mm_unpackhi_epi8(inv, zero))));
      r = _mm_andnot_si128(_mm_cmpeq_epi8(k, ones), r);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), KeepWhereZero(r, k, d + i, kw));
    }
  }
#endif
  for (; i < n; ++i)
    if (e[i]) d[i] = rules::WetErase(b[i], e[i]);
}

void WetBehindRow(Pixel* d, const Pixel* b, const uint8_t* e, int n, Pixel colour,
                  const Pixel* colours) {
  int i = 0;
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), c255 = _mm_set1_epi16(255);
    const __m128i opaque = _mm_set1_epi32(static_cast<int>(0xFF000000u));
    __m128i whole = _mm_set1_epi32(static_cast<int>(colour));
    // An opaque C makes the alpha lane a + T[255][f], which is a + f.
    __m128i target = _mm_or_si128(whole, opaque);
    auto half = [&](__m128i bw, __m128i ew, __m128i tw, __m128i* f) {
      __m128i a = _mm_shufflehi_epi16(_mm_shufflelo_epi16(bw, 0xFF), 0xFF);
      *f = Div255Up(_mm_mullo_epi16(ew, _mm_sub_epi16(c255, a)));
      return _mm_add_epi16(bw, Div255Up(_mm_mullo_epi16(tw, *f)));
    };
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(e + i);
      if (kw == 0) continue;
      if (colours) {
        whole = _mm_loadu_si128(reinterpret_cast<const __m128i*>(colours + i));
        target = _mm_or_si128(whole, opaque);
      }
      __m128i k = SpreadK(kw), bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
      __m128i flo, fhi;
      __m128i lo = half(_mm_unpacklo_epi8(bv, zero), _mm_unpacklo_epi8(k, zero),
                        _mm_unpacklo_epi8(target, zero), &flo);
      __m128i hi = half(_mm_unpackhi_epi8(bv, zero), _mm_unpackhi_epi8(k, zero),
                        _mm_unpackhi_epi8(target, zero), &fhi);
      __m128i r = _mm_packus_epi16(lo, hi);
      __m128i full = _mm_cmpeq_epi8(_mm_packus_epi16(flo, fhi), _mm_set1_epi8(-1));
      r = _mm_or_si128(_mm_and_si128(full, whole), _mm_andnot_si128(full, r));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), KeepWhereZero(r, k, d + i, kw));
    }
  }
#endif
  for (; i < n; ++i)
    if (e[i]) d[i] = rules::WetBehind(b[i], colours ? colours[i] : colour, e[i]);
}

void WetMixRow(Pixel* d, const Pixel* b, const Pixel* s, const uint8_t* e, int n) {
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = WetMixAvx2(d, b, s, e, n);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128(), c255 = _mm_set1_epi16(255);
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(e + i);
      if (kw == 0) continue;
      __m128i k = SpreadK(kw);
      __m128i bv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
      __m128i sv = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i));
      __m128i klo = _mm_unpacklo_epi8(k, zero), khi = _mm_unpackhi_epi8(k, zero);
      __m128i lo =
          _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(bv, zero), _mm_sub_epi16(c255, klo)),
                        _mm_mullo_epi16(_mm_unpacklo_epi8(sv, zero), klo));
      __m128i hi =
          _mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(bv, zero), _mm_sub_epi16(c255, khi)),
                        _mm_mullo_epi16(_mm_unpackhi_epi8(sv, zero), khi));
      __m128i r = _mm_packus_epi16(Div255Down(lo), Div255Down(hi));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), KeepWhereZero(r, k, d + i, kw));
    }
  }
#endif
  for (; i < n; ++i)
    if (e[i]) d[i] = rules::MixDown(b[i], s[i], e[i]);
}

void CrossFilterRow(const Block* page, int x, int y, const uint8_t* k, int n, Pixel* out,
                    bool blur) {
  const Pixel* row = page->Row(y) + x;
  const Pixel* up = page->Row(y - 1) + x;
  const Pixel* down = page->Row(y + 1) + x;
  int i = 0;
#if VELA_PAINT_AVX2
  if (g_simd && g_avx2) i = CrossFilterAvx2(row, up, down, k, n, out, blur);
#endif
#if VELA_PAINT_SSE2
  if (g_simd) {
    const __m128i zero = _mm_setzero_si128();
    auto load = [](const Pixel* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    auto filter = [&](__m128i c, __m128i l, __m128i r, __m128i u, __m128i dn) {
      __m128i around = _mm_add_epi16(_mm_add_epi16(l, r), _mm_add_epi16(u, dn));
      if (blur) {
        __m128i sum = _mm_add_epi16(_mm_add_epi16(c, around), _mm_set1_epi16(2));
        return _mm_srli_epi16(_mm_mulhi_epu16(sum, _mm_set1_epi16(-13107)), 2);  // /5
      }
      __m128i sum = _mm_add_epi16(_mm_mullo_epi16(c, _mm_set1_epi16(60)), around);
      return _mm_srli_epi16(_mm_add_epi16(sum, _mm_set1_epi16(31)), 6);
    };
    for (; i + 4 <= n; i += 4) {
      uint32_t kw = Load4(k + i);
      __m128i c = load(row + i);
      if (kw == 0) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), c);
        continue;
      }
      __m128i l = load(row + i - 1), r = load(row + i + 1), u = load(up + i), dn = load(down + i);
      __m128i lo =
          filter(_mm_unpacklo_epi8(c, zero), _mm_unpacklo_epi8(l, zero), _mm_unpacklo_epi8(r, zero),
                 _mm_unpacklo_epi8(u, zero), _mm_unpacklo_epi8(dn, zero));
      __m128i hi =
          filter(_mm_unpackhi_epi8(c, zero), _mm_unpackhi_epi8(l, zero), _mm_unpackhi_epi8(r, zero),
                 _mm_unpackhi_epi8(u, zero), _mm_unpackhi_epi8(dn, zero));
      __m128i keep = _mm_cmpeq_epi8(SpreadK(kw), zero);
      __m128i v = _mm_packus_epi16(lo, hi);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                       _mm_or_si128(_mm_and_si128(keep, c), _mm_andnot_si128(keep, v)));
    }
  }
#endif
  for (; i < n; ++i) out[i] = k[i] ? Smooth1(row, up, down, i, blur) : row[i];
}

}  // namespace vela
