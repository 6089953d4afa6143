#include "paint/row_kernels.h"

#include <cstdlib>
#include <cstring>

#include "paint/pixel_rules.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define VELA_PAINT_SSE2 1
#endif

namespace vela {

namespace {
bool g_simd = std::getenv("VELA_NO_SIMD") == nullptr;

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

}  // namespace

void SetPaintSimd(bool on) {
  g_simd = on;
}
bool PaintSimd() {
  return g_simd;
}

void CoverageRow(uint8_t* k, const uint8_t* m, int n, int opacity) {
  if (opacity >= 255) {
    std::memcpy(k, m, n);
    return;
  }
  int i = 0;
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

void CrossFilterRow(const Block* page, int x, int y, const uint8_t* k, int n, Pixel* out,
                    bool blur) {
  const Pixel* row = page->Row(y) + x;
  const Pixel* up = page->Row(y - 1) + x;
  const Pixel* down = page->Row(y + 1) + x;
  int i = 0;
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
