// Median-style cut of a 64-level colour histogram, nearest-colour mapping through a 64^3 table or
// a cache, Floyd-Steinberg in 14-bit fixed point, and the preset palettes with an ordered dither.
// Every colour is read straight (divided by its alpha) before it is counted or mapped.
#include "formats/quantize.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>
#include <new>

#include "formats/coders.h"
#include "formats/formats.h"
#include "project/compose.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

namespace {

constexpr char kQuantizeTitle[] = "Quantization in progress";
constexpr int kLevels = 64;
constexpr int kCells = kLevels * kLevels * kLevels;

inline int Cell(int r, int g, int b) {
  return (r << 12) | (g << 6) | b;
}

// Straight red, green, blue of a premultiplied pixel; alpha 0 reads as black.
inline void StraightRgb(Pixel p, int* r, int* g, int* b) {
  const int a = Alpha(p);
  if (a == 255) {
    *r = Red(p), *g = Green(p), *b = Blue(p);
  } else if (a == 0) {
    *r = *g = *b = 0;
  } else {
    *r = std::min(255, Red(p) * 255 / a);
    *g = std::min(255, Green(p) * 255 / a);
    *b = std::min(255, Blue(p) * 255 / a);
  }
}

struct Box {
  double measure = 0;
  double mean[3] = {};
  uint32_t count = 0;
  uint32_t histogram[3][kLevels] = {};
  int low[3] = {0, 0, 0};
  int high[3] = {kLevels, kLevels, kLevels};  // exclusive
};

// Means and measure of a box from its projected histograms.
void Measure(Box& b, double totalPixels) {
  b.measure = 0;
  for (int c = 0; c < 3; ++c) {
    double sum = 0, squares = 0;
    for (int l = b.low[c]; l < b.high[c]; ++l) {
      sum += double(b.histogram[c][l]) * l;
      squares += double(b.histogram[c][l]) * l * l;
    }
    b.mean[c] = b.count ? sum / b.count : 0;
    b.measure += squares - b.count * b.mean[c] * b.mean[c];
  }
  b.measure = b.count ? std::max(0.0, b.measure) / totalPixels : 0;
}

// Projected histograms of the region of `b` from the full table.
void Recount(Box& b, const std::vector<uint32_t>& table) {
  std::memset(b.histogram, 0, sizeof b.histogram);
  b.count = 0;
  for (int r = b.low[0]; r < b.high[0]; ++r)
    for (int g = b.low[1]; g < b.high[1]; ++g)
      for (int bl = b.low[2]; bl < b.high[2]; ++bl) {
        const uint32_t n = table[Cell(r, g, bl)];
        if (!n) continue;
        b.histogram[0][r] += n;
        b.histogram[1][g] += n;
        b.histogram[2][bl] += n;
        b.count += n;
      }
}

// The best cut level on one axis, or -1 when the axis cannot be cut into two filled halves.
int BestCut(const Box& b, int axis) {
  if (b.high[axis] - b.low[axis] < 2) return -1;
  const double mean = b.mean[axis];
  const int start = static_cast<int>(std::floor((b.low[axis] + mean) / 2));
  const int end = static_cast<int>(std::floor((b.high[axis] + mean) / 2));
  const uint32_t* h = b.histogram[axis];
  double n1 = 0, sum1 = 0;
  for (int l = b.low[axis]; l < start; ++l) n1 += h[l], sum1 += double(h[l]) * l;
  const double total = b.count;
  double best = -1;
  int bestT = -1;
  for (int t = std::max(start, b.low[axis]); t <= end && t < b.high[axis]; ++t) {
    n1 += h[t];
    sum1 += double(h[t]) * t;
    if (n1 >= total) break;
    if (n1 == 0) continue;
    const double m1 = sum1 / n1;
    const double score = n1 / (total - n1) * (mean - m1) * (mean - m1);
    if (score > best) best = score, bestT = t;
  }
  return bestT;
}

void Split(const Box& parent, int axis, int t, const std::vector<uint32_t>& table, double total,
           Box* lower, Box* upper) {
  *lower = parent;
  *upper = parent;
  lower->high[axis] = t + 1;
  upper->low[axis] = t + 1;
  Recount(*lower, table);
  for (int c = 0; c < 3; ++c)
    for (int l = 0; l < kLevels; ++l)
      upper->histogram[c][l] = parent.histogram[c][l] - lower->histogram[c][l];
  upper->count = parent.count - lower->count;
  Measure(*lower, total);
  Measure(*upper, total);
}

double BoxDistance2(const Box& b, const double* p) {
  double d = 0;
  for (int c = 0; c < 3; ++c) {
    const double lo = b.low[c], hi = b.high[c] - 1;
    const double e = p[c] < lo ? lo - p[c] : p[c] > hi ? p[c] - hi : 0;
    d += e * e;
  }
  return d;
}

int Nearest(const Pixel* palette, int colors, int r, int g, int b) {
  int best = 0, bestD = INT32_MAX;
  for (int i = 0; i < colors; ++i) {
    const int dr = Red(palette[i]) - r, dg = Green(palette[i]) - g, db = Blue(palette[i]) - b;
    const int d = dr * dr + dg * dg + db * db;
    if (d < bestD) bestD = d, best = i;
  }
  return best;
}

bool Allocate(std::vector<uint8_t>* map, size_t n) {
  try {
    map->assign(n, 0);
    return true;
  } catch (const std::bad_alloc&) {
    Message(" Not enough memory");
    return false;
  }
}

}  // namespace

namespace {
const Pixel* g_userPalette = nullptr;
}

void SetUserPalette(const Pixel* bank) {
  g_userPalette = bank;
}

QuantizeSources CurrentQuantizeSources() {
  QuantizeSources s;
  s.userPalette = g_userPalette;
  s.solidBackground = (Ws.displayFlags & (kDisplayColor | kDisplayCheck)) != 0;
  s.background = Straight(Ws.background) | 0xFF000000u;
  return s;
}

int BuildPalette(const Block& block, int colours, Pixel palette[256], int dither,
                 std::vector<uint8_t>* map) {
  colours = std::clamp(colours, 2, 255);
  CoderGauge gauge(kQuantizeTitle);
  GaugeUpdate(0, colours);
  std::vector<uint32_t> table(kCells, 0);
  const double total = double(block.width) * block.height;
  std::vector<Box> boxes(1);
  for (int y = 0; y < block.height; ++y) {
    const Pixel* row = block.Row(y);
    for (int x = 0; x < block.width; ++x) {
      int r, g, b;
      StraightRgb(row[x], &r, &g, &b);
      ++table[Cell(r >> 2, g >> 2, b >> 2)];
      ++boxes[0].histogram[0][r >> 2];
      ++boxes[0].histogram[1][g >> 2];
      ++boxes[0].histogram[2][b >> 2];
    }
  }
  boxes[0].count = static_cast<uint32_t>(total);
  Measure(boxes[0], total);

  while (static_cast<int>(boxes.size()) < colours) {
    size_t pick = 0;
    for (size_t i = 1; i < boxes.size(); ++i)
      if (boxes[i].measure > boxes[pick].measure) pick = i;
    if (boxes[pick].measure <= 0 || boxes[pick].count == 0) break;
    Box best[2];
    double bestSum = DBL_MAX;
    for (int axis = 0; axis < 3; ++axis) {
      const int t = BestCut(boxes[pick], axis);
      if (t < 0) continue;
      Box halves[2];
      Split(boxes[pick], axis, t, table, total, &halves[0], &halves[1]);
      const double sum = halves[0].measure + halves[1].measure;
      if (sum < bestSum) bestSum = sum, best[0] = halves[0], best[1] = halves[1];
    }
    if (bestSum == DBL_MAX) {  // nothing to cut: never pick this box again
      boxes[pick].measure = 0;
      continue;
    }
    boxes[pick] = best[0];
    boxes.push_back(best[1]);
    // A stop keeps the boxes cut so far; the mapping goes on.
    GaugeUpdate(static_cast<int>(boxes.size()), colours);
    if (GaugeStopped()) break;
  }

  const int count = static_cast<int>(boxes.size());
  for (int i = 0; i < 256; ++i) palette[i] = 0;
  for (int i = 0; i < count; ++i) {
    auto level = [&](int c) { return static_cast<int>(boxes[i].mean[c] * (255.0 / 63.0) + 0.5); };
    palette[i] = MakePixel(255, level(0), level(1), level(2));
  }
  if (dither != kDitherNone || !map) return count;

  // Each cell takes the nearest entry. An entry nearer to a cell than the cell's own box mean can
  // lie no farther from the box than the box's diagonal, so only those are listed.
  std::vector<uint16_t> nearest(kCells, 0);
  std::vector<int> candidates;
  for (int i = 0; i < count; ++i) {
    const Box& b = boxes[i];
    double diagonal = 0;
    for (int c = 0; c < 3; ++c) {
      const double span = b.high[c] - 1 - b.low[c];
      diagonal += span * span;
    }
    candidates.clear();
    for (int j = 0; j < count; ++j)
      if (BoxDistance2(b, boxes[j].mean) <= diagonal + 1) candidates.push_back(j);
    for (int r = b.low[0]; r < b.high[0]; ++r)
      for (int g = b.low[1]; g < b.high[1]; ++g)
        for (int bl = b.low[2]; bl < b.high[2]; ++bl) {
          if (!table[Cell(r, g, bl)]) continue;
          int bestJ = i;
          double bestD = DBL_MAX;
          for (int j : candidates) {
            const double dr = boxes[j].mean[0] - r, dg = boxes[j].mean[1] - g,
                         db = boxes[j].mean[2] - bl;
            const double d = dr * dr + dg * dg + db * db;
            if (d < bestD) bestD = d, bestJ = j;
          }
          nearest[Cell(r, g, bl)] = static_cast<uint16_t>(bestJ);
        }
  }
  if (!Allocate(map, static_cast<size_t>(block.width) * block.height)) return 0;
  for (int y = 0; y < block.height; ++y) {
    const Pixel* row = block.Row(y);
    uint8_t* out = &(*map)[static_cast<size_t>(y) * block.width];
    for (int x = 0; x < block.width; ++x) {
      int r, g, b;
      StraightRgb(row[x], &r, &g, &b);
      out[x] = static_cast<uint8_t>(nearest[Cell(r >> 2, g >> 2, b >> 2)]);
    }
    if ((y & 15) == 0) GaugeUpdate(y, block.height);
  }
  return count;
}

void MapToPalette(const Block& block, int colours, const Pixel palette[256], int dither,
                  std::vector<uint8_t>* map) {
  colours = std::clamp(colours, 1, 256);
  if (!Allocate(map, static_cast<size_t>(block.width) * block.height)) return;
  std::vector<int16_t> cache(kCells, -1);
  auto lookup = [&](int r, int g, int b) {
    int16_t& c = cache[Cell(r >> 2, g >> 2, b >> 2)];
    if (c < 0) c = static_cast<int16_t>(Nearest(palette, colours, r, g, b));
    return c;
  };
  const int w = block.width;
  if (dither != kDitherFloyd) {
    for (int y = 0; y < block.height; ++y) {
      const Pixel* row = block.Row(y);
      uint8_t* out = &(*map)[static_cast<size_t>(y) * w];
      for (int x = 0; x < w; ++x) {
        int r, g, b;
        StraightRgb(row[x], &r, &g, &b);
        out[x] = static_cast<uint8_t>(lookup(r, g, b));
      }
    }
    return;
  }
  CoderGauge gauge(kQuantizeTitle);
  // Floyd-Steinberg in 14 fractional bits over two rows of carried error, each two wider than
  // the picture (index x + 1), the direction turning every row so the error does not streak.
  constexpr int kOne = 1 << 14;
  std::vector<int32_t> rows[2] = {std::vector<int32_t>((w + 2) * 3, 0),
                                  std::vector<int32_t>((w + 2) * 3, 0)};
  for (int y = 0; y < block.height; ++y) {
    std::vector<int32_t>& here = rows[y & 1];
    std::vector<int32_t>& below = rows[(y + 1) & 1];
    std::fill(below.begin(), below.end(), 0);
    const bool forward = (y & 1) == 0;
    const int step = forward ? 1 : -1;
    const Pixel* row = block.Row(y);
    uint8_t* out = &(*map)[static_cast<size_t>(y) * w];
    for (int i = 0; i < w; ++i) {
      const int x = forward ? i : w - 1 - i;
      int want[3];
      StraightRgb(row[x], &want[0], &want[1], &want[2]);
      int32_t v[3];
      int c8[3];
      for (int c = 0; c < 3; ++c) {
        v[c] = std::clamp(want[c] * kOne + here[(x + 1) * 3 + c], 0, 255 * kOne);
        c8[c] = (v[c] + 8191) >> 14;
      }
      const int index = lookup(c8[0], c8[1], c8[2]);
      out[x] = static_cast<uint8_t>(index);
      const Pixel e = palette[index];
      int got[3];
      StraightRgb(e | 0xFF000000u, &got[0], &got[1], &got[2]);
      for (int c = 0; c < 3; ++c) {
        const int32_t err = v[c] - got[c] * kOne;
        here[(x + 1 + step) * 3 + c] += (err * 7) >> 4;
        below[(x + 1 - step) * 3 + c] += (err * 3) >> 4;
        below[(x + 1) * 3 + c] += (err * 5) >> 4;
        below[(x + 1 + step) * 3 + c] += (err * 1) >> 4;
      }
    }
    if ((y & 15) == 0) GaugeUpdate(y, block.height);
  }
}

// ---- Preset palettes -------------------------------------------------------------------------

bool PresetLevels(int n, int* r, int* g, int* b) {
  if (n < 8) return false;
  switch (n) {
    case 245:
      *r = 5, *g = 7, *b = 7;
      break;
    case 216:
      *r = 6, *g = 6, *b = 6;
      break;
    case 210:
      *r = 5, *g = 6, *b = 7;
      break;
    case 180:
      *r = 5, *g = 6, *b = 6;
      break;
    case 125:
      *r = 5, *g = 5, *b = 5;
      break;
    case 64:
      *r = 4, *g = 4, *b = 4;
      break;
    default:
      *r = static_cast<int>(std::cbrt(double(n)) + 1e-9);
      *g = static_cast<int>(std::sqrt(double(n) / *r));
      *b = n / (*r * *g);
  }
  return *r >= 2 && *g >= 2 && *b >= 2;
}

int BuildPresetPalette(int colours, Pixel palette[256]) {
  int R, G, B;
  if (!PresetLevels(colours, &R, &G, &B)) return 0;
  for (int i = 0; i < 256; ++i) palette[i] = 0;
  for (int r = 0; r < R; ++r)
    for (int g = 0; g < G; ++g)
      for (int b = 0; b < B; ++b)
        palette[r * G * B + g * B + b] =
            MakePixel(255, 255 * r / (R - 1), 255 * g / (G - 1), 255 * b / (B - 1));
  return R * G * B;
}

bool MapPreset(const Block& block, int colours, int dither, std::vector<uint8_t>* map) {
  int R, G, B;
  if (!PresetLevels(colours, &R, &G, &B)) return false;
  if (!Allocate(map, static_cast<size_t>(block.width) * block.height)) return false;
  // The 16x16 ordered threshold of the screen dither, here as a rounding offset of 0..254.
  static const uint8_t kMatrix[16][16] = {
      {0, 128, 32, 160, 8, 136, 40, 168, 2, 130, 34, 162, 10, 138, 42, 170},
      {192, 64, 224, 96, 200, 72, 232, 104, 194, 66, 226, 98, 202, 74, 234, 106},
      {48, 176, 16, 144, 56, 184, 24, 152, 50, 178, 18, 146, 58, 186, 26, 154},
      {240, 112, 208, 80, 248, 120, 216, 88, 242, 114, 210, 82, 250, 122, 218, 90},
      {12, 140, 44, 172, 4, 132, 36, 164, 14, 142, 46, 174, 6, 134, 38, 166},
      {204, 76, 236, 108, 196, 68, 228, 100, 206, 78, 238, 110, 198, 70, 230, 102},
      {60, 188, 28, 156, 52, 180, 20, 148, 62, 190, 30, 158, 54, 182, 22, 150},
      {252, 124, 220, 92, 244, 116, 212, 84, 254, 126, 222, 94, 246, 118, 214, 86},
      {3, 131, 35, 163, 11, 139, 43, 171, 1, 129, 33, 161, 9, 137, 41, 169},
      {195, 67, 227, 99, 203, 75, 235, 107, 193, 65, 225, 97, 201, 73, 233, 105},
      {51, 179, 19, 147, 59, 187, 27, 155, 49, 177, 17, 145, 57, 185, 25, 153},
      {243, 115, 211, 83, 251, 123, 219, 91, 241, 113, 209, 81, 249, 121, 217, 89},
      {15, 143, 47, 175, 7, 135, 39, 167, 13, 141, 45, 173, 5, 133, 37, 165},
      {207, 79, 239, 111, 199, 71, 231, 103, 205, 77, 237, 109, 197, 69, 229, 101},
      {63, 191, 31, 159, 55, 183, 23, 151, 61, 189, 29, 157, 53, 181, 21, 149},
      {255, 127, 223, 95, 247, 119, 215, 87, 253, 125, 221, 93, 245, 117, 213, 85},
  };
  auto level = [](int v, int L, int offset) {
    return std::min(L - 1, (v * (L - 1) + offset) / 255);
  };
  for (int y = 0; y < block.height; ++y) {
    const Pixel* row = block.Row(y);
    uint8_t* out = &(*map)[static_cast<size_t>(y) * block.width];
    for (int x = 0; x < block.width; ++x) {
      const int offset = dither == kDitherMatrix ? kMatrix[y & 15][x & 15] * 254 / 255 : 127;
      int r, g, b;
      StraightRgb(row[x], &r, &g, &b);
      out[x] = static_cast<uint8_t>(level(r, R, offset) * G * B + level(g, G, offset) * B +
                                    level(b, B, offset));
    }
  }
  return true;
}

// ---- The one call of the coders --------------------------------------------------------------

bool Quantize(const Block& block, Pixel palette[256], std::vector<uint8_t>* map,
              int* transparentIndex, const Pixel* sharedPalette, int colours, int paletteWord,
              int ditherWord) {
  if (colours <= 0 || colours > 256) colours = 256;
  const int usable = colours - 1;
  const QuantizeSources sources = CurrentQuantizeSources();
  for (int i = 0; i < 256; ++i) palette[i] = 0;
  map->clear();
  const Pixel* given = paletteWord == kPaletteUser     ? sources.userPalette
                       : paletteWord == kPaletteGlobal ? sharedPalette
                                                       : nullptr;
  if (paletteWord == kPalettePreset || (paletteWord == kPaletteUser && !given)) {
    const int n = BuildPresetPalette(usable, palette);
    if (n == 0) {
      Message(" Not enough memory");
      return false;
    }
    if (ditherWord == kDitherFloyd)
      MapToPalette(block, n, palette, kDitherFloyd, map);
    else if (!MapPreset(block, usable, ditherWord, map))
      return false;
  } else if (given) {
    for (int i = 0; i < usable; ++i) palette[i] = given[i] | 0xFF000000u;
    MapToPalette(block, usable, palette, ditherWord, map);
  } else {
    const int n = BuildPalette(block, usable, palette, ditherWord, map);
    if (ditherWord != kDitherNone) MapToPalette(block, n, palette, kDitherFloyd, map);
  }
  if (map->size() != static_cast<size_t>(block.width) * block.height) return false;
  for (int y = 0; y < block.height; ++y) {
    const Pixel* row = block.Row(y);
    uint8_t* out = &(*map)[static_cast<size_t>(y) * block.width];
    for (int x = 0; x < block.width; ++x)
      if (Alpha(row[x]) < 5) out[x] = static_cast<uint8_t>(usable);
  }
  palette[usable] = sources.solidBackground ? sources.background : 0;
  if (transparentIndex) *transparentIndex = usable;
  return true;
}

}  // namespace vela
