#include "reference.h"

#include "paint/draw_modes.h"
#include "paint/wet.h"
#include "start/workspace.h"

namespace vela::ref {

int NextNoise(World& w) {
  unsigned n = (w.noise + 25953u) % 65536u;
  n = ((n >> 5) | (n << 11)) & 0xFFFF;
  w.noise = static_cast<uint16_t>(n);
  return static_cast<int>(n);
}

int NextRandom(World& w) {
  w.random = w.random * 214013u + 2531011u;
  return static_cast<int>((w.random >> 16) & 0x7FFF);
}

Pixel Cover(Pixel d, Pixel c, int k) {
  if (k == 255) return c;
  return Each([&](int i) { return Ch(d, i) + T((i < 3 ? Ch(c, i) : 255) - Ch(d, i), k); });
}
Pixel Lerp(Pixel d, Pixel t, int k) {
  return Each([&](int i) { return Ch(d, i) + T(Ch(t, i) - Ch(d, i), k); });
}
Pixel Behind(Pixel d, Pixel c, int k, bool image) {
  int a = Ch(d, 3), f = T(255 - a, k);
  if (f == 0 || f == 255) return f ? c : d;
  return Each(
      [&](int i) { return i < 3 ? Ch(d, i) + T(Ch(c, i), f) : a + (image ? T(Ch(c, 3), f) : f); });
}
Pixel Replace(Pixel d, Pixel c, int k) {
  return Each(
      [&](int i) { return i < 3 ? Ch(d, i) + T(T(Ch(c, i), Ch(d, 3)) - Ch(d, i), k) : Ch(d, 3); });
}
Pixel Step(Pixel d, int step) {  // Shade below zero, Light above
  return Each([&](int i) {
    if (i == 3) return Ch(d, 3);
    return step < 0 ? std::max(Ch(d, i) + step, 0) : std::min(Ch(d, i) + step, Ch(d, 3));
  });
}

namespace {

Pixel Mix(Pixel d, Pixel s, int k) {
  return Each([&](int i) { return (Ch(s, i) * k + Ch(d, i) * (255 - k) + 127) / 255; });
}
Pixel Erase(Pixel d, int k) {
  return k >= 250 ? 0 : Each([&](int i) { return T(Ch(d, i), 255 - k); });
}
Pixel ColorImage(Pixel d, Pixel s, int f) {
  int sa = Ch(s, 3);
  if (f >= 255) {
    if (sa == 255 || sa == 0) return sa ? s : d;
    return Each([&](int i) { return Ch(s, i) + T(Ch(d, i), 255 - sa); });
  }
  int g = T(f, sa);
  if (g == 255 || g == 0) return g ? s : d;
  return Each([&](int i) { return (i < 3 ? T(f, Ch(s, i)) : g) + T(Ch(d, i), 255 - g); });
}
Pixel StampImage(Pixel d, Pixel c, int k) {
  if (k == 255) return c;
  return Each([&](int i) {
    return i < 3 ? Ch(d, i) + T(Ch(c, i) - Ch(d, i), k) : T(Ch(d, 3), 255 - k) + k;
  });
}
Pixel Colorize(Pixel d) {
  int a = Ch(d, 3);
  if (!a) return d;
  Pixel r = ColorizeRamp[Lum(Unpre(Ch(d, 2), a), Unpre(Ch(d, 1), a), Unpre(Ch(d, 0), a))];
  return Each([&](int i) { return i < 3 ? T(Ch(r, i), a) : a; });
}
Pixel Tint(Pixel d) {
  int r = Ch(d, 2), g = Ch(d, 1), b = Ch(d, 0);
  int hi = std::max({r, g, b}), lo = std::min({r, g, b});
  int x = ((hi - lo) * TintHue.fraction) >> 16;
  int s = TintHue.sextant;
  int mid = s % 2 ? hi - x : lo + x;
  int rgb[6][3] = {{hi, mid, lo}, {mid, hi, lo}, {lo, hi, mid},
                   {lo, mid, hi}, {mid, lo, hi}, {hi, lo, mid}};
  int v[4] = {rgb[s][2], rgb[s][1], rgb[s][0], Ch(d, 3)};
  return Px(v);
}

Pixel At(const Block* b, int x, int y) {
  return b->data[y * b->width + x];
}
Pixel& At(Block* b, int x, int y) {
  return b->data[y * b->width + x];
}

Pixel Mean(const Brush& b, const Block* src, int x, int y) {
  long sum[4] = {0, 0, 0, 0}, n = 0;
  for (int j = 0; j < b.height; ++j)
    for (int i = 0; i < b.width; ++i) {
      int px = x + i, py = y + j;
      if (px < 0 || py < 0 || px >= src->width || py >= src->height) continue;
      if (!b.mask[j * b.width + i]) continue;
      for (int c = 0; c < 4; ++c) sum[c] += Ch(At(src, px, py), c);
      ++n;
    }
  return Each([&](int c) { return n ? static_cast<int>(sum[c] / n) : 0; });
}
Pixel Opaque(Pixel mean) {
  int a = Ch(mean, 3);
  return a ? Each([&](int c) { return c < 3 ? Ch(mean, c) * 255 / a : 255; }) : Draw.APen;
}

bool Flag(int mode) {
  return mode == 3 || mode == 4 || mode == 5 || mode == 8 || mode == 9 || mode == 11 || mode == 12;
}

}  // namespace

Pixel GrainOne(World&, Pixel d, unsigned& noise) {
  int a = Ch(d, 3);
  if (!a) return d;
  noise = (((noise << 5) | (noise >> 11)) & 0xFFFF);
  noise = (noise + 65536 - 22191) % 65536;
  int p = 255 >> Grain.setting, q = ~p & 255, step = p + 1, t = noise & p;
  if (a < 255) a = (a & p) > t ? std::min((a & q) + step, 255) : a & q;
  return Each([&](int i) {
    int c = Ch(d, i);
    return i < 3 ? std::min((c & p) > t ? (c & q) + step : c & q, a) : a;
  });
}

void Stamp(World& w, int mode, const Brush& b, Block* page, int x, int y, Pixel colour, bool erase,
           int o) {
  if (erase) mode = 15;
  if (mode == 12 && TintHue.sextant < 0) return;
  bool flag = Flag(mode);
  bool pen = b.kind == BrushKindPen;
  bool image = b.kind == BrushKindImage || b.kind == BrushKindImageFaded;
  bool textured = !(mode == 4 || mode == 5 || mode == 8 || mode == 9 || mode == 11);
  int tex =
      (b.kind == BrushKindDab || b.kind == BrushKindImageFaded) && textured ? Draw.dabTexture : 0;
  if (pen && !flag && mode != 15) o = 255;  // Erase follows opacity
  if (image && mode == 0) o = o * Draw.power / 255;
  int bw = b.width, bh = b.height, W = page->width, H = page->height;

  if (mode == 7 && !w.shiftStarted) {
    for (int j = 0; j < bh; ++j)
      for (int i = 0; i < bw; ++i) {
        int px = x + i, py = y + j;
        if (px >= 0 && py >= 0 && px < W && py < H) w.under[j * bw + i] = At(page, px, py);
      }
    w.shiftStarted = true;
    return;
  }
  std::vector<uint8_t> plane(b.mask, b.mask + bw * bh);
  if (tex == 2) {
    std::vector<int> s(bw * bh, 0);
    for (int j = 1; j < bh - 1; ++j)
      for (int i = 1; i < bw - 1; ++i) {
        int m = b.mask[j * bw + i];
        if (!m) continue;
        if (m * o > NextNoise(w)) {
          s[j * bw + i] += 5;
          s[j * bw + i - 1] += 1;
          s[j * bw + i + 1] += 1;
          s[(j - 1) * bw + i] += 1;
          s[(j + 1) * bw + i] += 1;
        }
      }
    const int mult[6] = {0, 51, 102, 153, 204, 255};
    for (int i = 0; i < bw * bh; ++i) plane[i] = (o * mult[std::min(s[i], 5)]) >> 8;
    if (mode == 17)
      for (int i = 0; i < bw * bh; ++i) {
        int m = b.mask[i];
        plane[i] = m && m * o > NextNoise(w) ? 255 : 0;
      }
  }

  Pixel c = colour;
  if (mode == 6) c = Mean(b, page, x, y);
  if (mode == 13) {
    if (!w.impressValid) w.impress = Opaque(Mean(b, w.spare, x + bw / 2, y + bh / 2));
    w.impressValid = true;
    c = w.impress;
  }
  std::vector<Pixel> orig(page->data, page->data + W * H);

  // Smooth and Blur keep off the page's rim, the Pantograph off pixels whose source is off it.
  auto shown = [&](int p, int size, int offset) {
    if (p < 0 || p >= size) return false;
    if ((mode == 4 || mode == 5) && (p < 1 || p >= size - 1)) return false;
    return !(mode == 17 && (p + offset < 0 || p + offset >= size));
  };
  bool any = false;
  for (int i = 0; i < bw; ++i) any = any || shown(x + i, W, Draw.pantoX);
  if (!any) return;
  for (int j = 0; j < bh; ++j) {
    int py = y + j;
    if (!shown(py, H, Draw.pantoY)) continue;
    unsigned noise = mode == 11 ? NextRandom(w) : 0;
    for (int i = 0; i < bw; ++i) {
      int px = x + i;
      if (!shown(px, W, Draw.pantoX)) continue;
      int m = plane[j * bw + i];
      Pixel s = image ? b.pixels->data[j * bw + i] : 0;
      int k;
      if (pen)
        k = T(Draw.antialias ? m : (m ? 255 : 0), mode == 15 ? o : 255);
      else if (tex == 1) {
        k = 0;
        if (m && m * o > NextNoise(w)) k = mode == 14 || mode == 16 ? T(255, o) : 255;
      } else if (flag)
        k = m;
      else if (tex == 2)
        k = T(m, o);
      else if (image && mode == 0)
        k = o;
      else if ((image && (mode == 1 || mode == 14)) || (b.kind == BrushKindImage && mode == 2))
        k = T(Ch(s, 3), o);
      else if (image && mode == 16)
        k = T(T(o, Ch(s, 3)), Ch(s, 3));
      else
        k = T(m, o);
      Pixel& d = At(page, px, py);
      if (mode == 7) {
        Pixel old = d;
        if (k) d = Lerp(old, w.under[j * bw + i], k);
        w.under[j * bw + i] = old;
        continue;
      }
      if (!k) continue;
      switch (mode) {
        case 0:
          d = image ? ColorImage(d, s, k) : Cover(d, c, k);
          break;
        case 1:
          d = image ? StampImage(d, c, k) : Cover(d, c, k);
          break;
        case 2:
          d = k == 255 ? At(w.spare, px, py) : Mix(d, At(w.spare, px, py), k);
          break;
        case 3:
          d = Colorize(d);
          break;
        case 4:
        case 5:
          d = Each([&](int ch) {
            int ctr = Ch(orig[py * W + px], ch);
            int around = Ch(orig[py * W + px - 1], ch) + Ch(orig[py * W + px + 1], ch) +
                         Ch(orig[(py - 1) * W + px], ch) + Ch(orig[(py + 1) * W + px], ch);
            return mode == 5 ? (ctr + around + 2) / 5 : (60 * ctr + around + 31) >> 6;
          });
          break;
        case 6:
        case 13:
          d = Cover(d, c, k);
          break;
        case 8:
        case 9:
          d = Step(d, mode == 8 ? -1 : 1);
          break;
        case 11:
          d = GrainOne(w, d, noise);
          break;
        case 12:
          d = Tint(d);
          break;
        case 14:
          d = Behind(d, image ? s : c, k, image);
          break;
        case 15:
          d = Erase(d, k);
          break;
        case 16:  // an image replaces by its own colour, made opaque
          d = Replace(
              d, image ? Each([&](int i) { return i < 3 ? Unpre(Ch(s, i), Ch(s, 3)) : 255; }) : c,
              k);
          break;
        case 17: {
          Pixel src = orig[(py + Draw.pantoY) * W + px + Draw.pantoX];  // before the pass
          d = k == 255 ? src : Mix(d, src, k);
          break;
        }
      }
    }
  }
}

void Span(World& w, int mode, bool erase, int o, Block* page, int x, int y, int length,
          const uint8_t* cov) {
  if (erase) mode = 15;
  bool aa = Draw.antialias;
  Pixel c = Draw.APen;
  unsigned noise = mode == 11 ? NextRandom(w) : 0;
  if (mode == 13 && !w.impressValid) {
    long sum[4] = {0, 0, 0, 0}, n = 0;
    for (int i = 0; i < length; ++i) {
      int px = x + i;
      if (!cov[i] || px < 0 || px >= w.spare->width || y < 0 || y >= w.spare->height) continue;
      for (int ch = 0; ch < 4; ++ch) sum[ch] += Ch(At(w.spare, px, y), ch);
      ++n;
    }
    w.impress = Opaque(Each([&](int ch) { return n ? static_cast<int>(sum[ch] / n) : 0; }));
    w.impressValid = true;
  }
  if (y < 0 || y >= page->height) return;
  std::vector<Pixel> orig(page->data, page->data + page->width * page->height);
  for (int i = 0; i < length; ++i) {
    int px = x + i, m = cov[i];
    if (px < 0 || px >= page->width) continue;
    Pixel& d = At(page, px, y);
    switch (mode) {
      case 0:
      case 1:
      case 13: {
        Pixel cc = mode == 13 ? w.impress : c;
        if (aa) {
          if (T(m, o)) d = Cover(d, cc, T(m, o));
        } else if (m >= 21) {
          d = cc;
        }
        break;
      }
      case 2:
        if (aa ? m != 0 : m >= 21) d = aa ? Mix(d, At(w.spare, px, y), m) : At(w.spare, px, y);
        break;
      case 3:
        if (m == 255) d = Colorize(d);
        break;
      case 11:
        if (m) d = GrainOne(w, d, noise);
        break;
      case 12:
        if (aa && m && TintHue.sextant >= 0) d = Tint(d);
        break;
      case 14:
      case 16: {
        int k = T(!aa && m > 10 ? 255 : m, o);
        if (k) d = mode == 14 ? Behind(d, c, k, false) : Replace(d, c, k);
        break;
      }
      case 15:
        if (aa) {
          if (T(m, o)) d = Erase(d, T(m, o));
        } else if (m >= 21) {
          d = 0;
        }
        break;
      case 17: {
        int sx = px + Draw.pantoX, sy = y + Draw.pantoY;
        if (!aa || sx < 0 || sy < 0 || sx >= page->width || sy >= page->height) break;
        int k = T(m, o);
        Pixel src = orig[sy * page->width + sx];  // before the span
        if (k) d = k == 255 ? src : Mix(d, src, k);
        break;
      }
    }
  }
}

void WetStamp(World& w, int tool, bool additive, int mode, const Brush& b, Block* page, int x,
              int y, Pixel c, int o) {
  if (mode < 0) mode = 15;
  const int W = page->width, H = page->height, bw = b.width, bh = b.height;
  auto inside = [&](int px, int py) { return px >= 0 && py >= 0 && px < W && py < H; };
  auto map = [&](int px, int py) { return inside(px, py) ? w.map[py * W + px] : 0; };
  for (int j = 0; j < bh; ++j)
    for (int i = 0; i < bw; ++i) {
      int px = x + i, py = y + j, m = b.mask[j * bw + i];
      if (!inside(px, py) || !m) continue;
      uint8_t& v = w.map[py * W + px];
      if (additive && tool == WetAirbrush)
        v = static_cast<uint8_t>(std::min(v + (o >= 255 ? m : T(o, m)), 255));
      else
        v = static_cast<uint8_t>(v + T(255 - v, o == 255 ? m : T(m, o)));
    }
  for (int j = 0; j < bh; ++j)
    for (int i = 0; i < bw; ++i) {
      int px = x + i, py = y + j, e = WetResponse[map(px, py)];
      if (!inside(px, py) || !e) continue;
      Pixel d = At(w.base, px, py), cc = c, s = At(w.spare, px, py);
      if (tool >= WetOil && (mode <= 1 || mode == 13 || mode == 14 || mode == 16)) {
        int slope = map(px - 1, py - 1) - 2 * map(px + 1, py + 1) + map(px, py);
        cc = ReliefRamp[std::clamp(slope, -255, 255) + 256];
      }
      if (mode == 17) {
        if (!inside(px + Draw.pantoX, py + Draw.pantoY)) continue;
        s = At(w.base, px + Draw.pantoX, py + Draw.pantoY);
      }
      int v[4];
      Pixel& out = At(page, px, py);
      switch (mode) {
        case 0:
        case 1:
        case 13:
          out = Cover(d, cc, e);
          break;
        case 2:
        case 17:
          for (int ch = 0; ch < 4; ++ch) v[ch] = (Ch(d, ch) * (255 - e) + Ch(s, ch) * e) / 255;
          out = e == 255 ? s : Px(v);
          break;
        case 8:
        case 9:
          out = Step(d, mode == 8 ? -e : e);
          break;
        case 14:
          out = Behind(d, cc, e, false);
          break;
        case 15:
          for (int ch = 0; ch < 4; ++ch) v[ch] = T(Ch(d, ch), 255 - e);
          out = e == 255 ? 0 : Px(v);
          break;
        case 16:
          out = Replace(d, cc, e);
          break;
      }
    }
}

}  // namespace vela::ref
