// One pixel of each draw mode, in MulTable arithmetic. Shared by the stamp, span, thin-line and
// wet loops; the row loops add fast paths around these rules, never other arithmetic.
#pragma once

#include <algorithm>
#include <cstdint>

#include "paint/draw_modes.h"
#include "pixels/block.h"

namespace vela::rules {

inline int T(int a, int b) {
  return MulTable[a * 256 + b];
}
inline int Ch(Pixel p, int c) {
  return static_cast<int>((p >> (8 * c)) & 0xFF);
}
inline Pixel Put(Pixel p, int c, int v) {
  return (p & ~(0xFFu << (8 * c))) | (static_cast<Pixel>(v) << (8 * c));
}

// Coverage paint: colour channels towards C, alpha towards 255.
inline Pixel Cover(Pixel d, Pixel colour, int k) {
  if (k == 255) return colour;
  Pixel out = 0;
  for (int c = 0; c < 3; ++c) {
    int v = Ch(d, c);
    out |= static_cast<Pixel>(v + T(Ch(colour, c) - v, k)) << (8 * c);
  }
  int a = Alpha(d);
  return out | static_cast<Pixel>(a + T(255 - a, k)) << 24;
}

// All four channels towards a target pixel.
inline Pixel Lerp(Pixel d, Pixel target, int k) {
  if (k == 255) return target;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) {
    int v = Ch(d, c);
    out |= static_cast<Pixel>(v + T(Ch(target, c) - v, k)) << (8 * c);
  }
  return out;
}

inline Pixel Erase(Pixel d, int k) {
  if (k >= 250) return 0;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) out |= static_cast<Pixel>(T(Ch(d, c), 255 - k)) << (8 * c);
  return out;
}

// Merge and Pantograph: a true rounding division, not the table.
inline Pixel Mix(Pixel d, Pixel s, int k) {
  if (k == 255) return s;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c)
    out |= static_cast<Pixel>((Ch(s, c) * k + Ch(d, c) * (255 - k) + 127) / 255) << (8 * c);
  return out;
}

// The wet forms: Mix truncates, and only a whole e clears.
inline Pixel MixDown(Pixel b, Pixel s, int e) {
  if (e == 255) return s;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c)
    out |= static_cast<Pixel>((Ch(b, c) * (255 - e) + Ch(s, c) * e) / 255) << (8 * c);
  return out;
}

inline Pixel WetErase(Pixel b, int e) {
  if (e == 255) return 0;
  Pixel out = 0;
  for (int c = 0; c < 4; ++c) out |= static_cast<Pixel>(T(Ch(b, c), 255 - e)) << (8 * c);
  return out;
}

inline Pixel WetBehind(Pixel b, Pixel colour, int e) {
  int a = Alpha(b);
  int f = T(e, 255 - a);
  if (f == 0) return b;
  if (f == 255) return colour;
  Pixel out = static_cast<Pixel>(a + f) << 24;
  for (int c = 0; c < 3; ++c) out |= static_cast<Pixel>(Ch(b, c) + T(Ch(colour, c), f)) << (8 * c);
  return out;
}

// An image brush composited over the page at opacity f.
inline Pixel ColorImage(Pixel d, Pixel s, int f) {
  int sa = Alpha(s);
  if (f >= 255) {
    if (sa == 255) return s;
    if (sa == 0) return d;
    Pixel out = 0;
    for (int c = 0; c < 4; ++c)
      out |= static_cast<Pixel>(Ch(s, c) + T(Ch(d, c), 255 - sa)) << (8 * c);
    return out;
  }
  int g = T(f, sa);
  if (g == 255) return s;
  if (g == 0) return d;
  Pixel out = 0;
  for (int c = 0; c < 3; ++c)
    out |= static_cast<Pixel>(T(f, Ch(s, c)) + T(Ch(d, c), 255 - g)) << (8 * c);
  return out | static_cast<Pixel>(g + T(Alpha(d), 255 - g)) << 24;
}

inline Pixel StampImage(Pixel d, Pixel colour, int k) {
  if (k == 255) return colour;
  Pixel out = 0;
  for (int c = 0; c < 3; ++c) {
    int v = Ch(d, c);
    out |= static_cast<Pixel>(v + T(Ch(colour, c) - v, k)) << (8 * c);
  }
  return out | static_cast<Pixel>(T(Alpha(d), 255 - k) + k) << 24;
}

// Paint under what is there. At full coverage and opacity f is 255 - a; a soft edge stays soft
// at opacity 255, so 254 and 255 give the same picture.
inline Pixel Behind(Pixel d, Pixel colour, int k, bool imageAlpha) {
  int a = Alpha(d);
  int f = T(255 - a, k);
  if (f == 0) return d;
  if (f == 255) return colour;
  Pixel out = 0;
  for (int c = 0; c < 3; ++c) out |= static_cast<Pixel>(Ch(d, c) + T(Ch(colour, c), f)) << (8 * c);
  int na = a + (imageAlpha ? T(Alpha(colour), f) : f);
  return out | static_cast<Pixel>(na) << 24;
}

inline Pixel Replace(Pixel d, Pixel colour, int k) {
  int a = Alpha(d);
  Pixel out = d & 0xFF000000u;
  for (int c = 0; c < 3; ++c) {
    int v = Ch(d, c);
    out |= static_cast<Pixel>(v + T(T(Ch(colour, c), a) - v, k)) << (8 * c);
  }
  return out;
}

// The brush pixel un-premultiplied is the colour; its alpha has already shaped k.
inline Pixel ReplaceImage(Pixel d, Pixel s, int k) {
  int b = Alpha(s);
  Pixel colour = MakePixel(255, Div(Red(s), b), Div(Green(s), b), Div(Blue(s), b));
  return Replace(d, colour, k);
}

inline Pixel Shade(Pixel d, int step) {
  Pixel out = d & 0xFF000000u;
  for (int c = 0; c < 3; ++c) out |= static_cast<Pixel>(std::max(Ch(d, c) - step, 0)) << (8 * c);
  return out;
}

inline Pixel Light(Pixel d, int step) {
  int a = Alpha(d);
  Pixel out = d & 0xFF000000u;
  for (int c = 0; c < 3; ++c) out |= static_cast<Pixel>(std::min(Ch(d, c) + step, a)) << (8 * c);
  return out;
}

inline Pixel Colorize(Pixel d) {
  int a = Alpha(d);
  if (!a) return d;
  Pixel ramp = ColorizeRamp[Luma(Div(Red(d), a), Div(Green(d), a), Div(Blue(d), a))];
  return MakePixel(a, T(Red(ramp), a), T(Green(ramp), a), T(Blue(ramp), a));
}

inline Pixel Tint(Pixel d, int sextant, int fraction) {
  int r = Red(d), g = Green(d), b = Blue(d);
  int hi = std::max({r, g, b}), lo = std::min({r, g, b});
  int x = ((hi - lo) * fraction) >> 16;
  int mid = (sextant & 1) ? hi - x : lo + x;
  static constexpr int8_t kOrder[6][3] = {{0, 1, 2}, {1, 0, 2}, {2, 0, 1},
                                          {2, 1, 0}, {1, 2, 0}, {0, 2, 1}};
  const int v[3] = {hi, mid, lo};  // rank 0 largest, 1 middle, 2 smallest
  const int8_t* o = kOrder[sextant];
  return MakePixel(Alpha(d), v[o[0]], v[o[1]], v[o[2]]);
}

inline unsigned GrainStep(unsigned noise) {
  noise = ((noise << 5) | (noise >> 11)) & 0xFFFF;
  return (noise - 22191u) & 0xFFFF;
}

// One pixel of the Grain loop; noise is the row's running value.
inline Pixel GrainPixel(Pixel d, unsigned& noise) {
  int a = Alpha(d);
  if (!a) return d;
  noise = GrainStep(noise);
  int t = static_cast<int>(noise) & Grain.p;
  int q = Grain.q, p = Grain.p, step = Grain.step;
  if (a < 255) a = (a & p) > t ? std::min((a & q) + step, 255) : a & q;
  Pixel out = static_cast<Pixel>(a) << 24;
  for (int c = 0; c < 3; ++c) {
    int v = Ch(d, c);
    v = (v & p) > t ? (v & q) + step : v & q;
    out |= static_cast<Pixel>(std::min(v, a)) << (8 * c);
  }
  return out;
}

}  // namespace vela::rules
