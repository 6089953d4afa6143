// Soft dabs from the 64-step profile, and the Pen's hard disc.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "paint/stroke.h"

namespace vela {

void ResampleProfile(const uint8_t profile[64], int r, int power, uint8_t* out) {
  power = std::clamp(power, 0, 255);
  out[r] = 0;
  // Positions are counted in 1/r of a profile byte, so that the truncation is of the exact value.
  for (int j = 0; j < r; ++j) {
    int64_t v;
    if (r < 64) {
      // Mean over the share [63j, 63(j+1)), each byte k covering [kr, (k+1)r).
      const int64_t a = int64_t{63} * j, b = a + 63;
      int64_t sum = 0;
      for (int k = static_cast<int>(a / r); k < 64 && int64_t{k} * r < b; ++k) {
        int64_t part =
            std::min<int64_t>(int64_t{k + 1} * r, b) - std::max<int64_t>(int64_t{k} * r, a);
        if (part > 0) sum += part * profile[k];
      }
      v = power * sum / (63 * 255);
    } else {
      const int64_t pos = int64_t{63} * j;
      const int i = static_cast<int>(pos / r), f = static_cast<int>(pos % r);
      int64_t p0 = i < 64 ? profile[i] : 0, p1 = i + 1 < 64 ? profile[i + 1] : 0;
      v = ((r - f) * p0 + f * p1) * power / (int64_t{255} * r);
    }
    out[r - 1 - j] = static_cast<uint8_t>(std::clamp<int64_t>(v, 0, 255));
  }
}

void FillDabMask(uint8_t* mask, int side, const uint8_t profile[64], int power) {
  int r = std::max(side / 2 - 1, 1);
  uint8_t out[256 + 2];
  uint8_t* table = out;
  std::vector<uint8_t> big;
  if (r + 2 > static_cast<int>(sizeof out)) {
    big.resize(r + 2);
    table = big.data();
  }
  ResampleProfile(profile, r, power, table);
  const int c = side / 2;
  for (int y = 0; y < side; ++y) {
    int dy = y - c;
    for (int x = 0; x < side; ++x) {
      int dx = x - c;
      int q = dx * dx + dy * dy;
      uint8_t m = 0;
      if (q <= r * r) {
        double d = std::sqrt(static_cast<double>(q));
        int i = static_cast<int>(d);
        double f = d - i;
        int a = i >= r ? 0 : table[i];
        int b = i >= r - 1 ? 0 : table[i + 1];
        m = static_cast<uint8_t>(a * (1 - f) + b * f);
      }
      mask[y * side + x] = m;
    }
  }
}

int RebuildDab(int radius, int power, const uint8_t profile[64]) {
  int side = 2 * std::max(radius, 1) + 1;
  Brush* b = NewBrush(side, side, false);
  if (!b) {
    b = NewBrush(1, 1, false);
    if (b) {
      b->kind = BrushKindDab;
      b->mask[0] = static_cast<uint8_t>(std::clamp(power, 0, 255));
      b->handleX = b->handleY = 0;
      SetCurrentBrush(b);
    }
    return -1;
  }
  b->kind = BrushKindDab;
  b->handleX = b->handleY = side / 2;
  FillDabMask(b->mask, side, profile, power);
  SetCurrentBrush(b);
  return 0;
}

void FillPenDisc(uint8_t* mask, int radius) {
  radius = std::clamp(radius, 0, 100);
  const int side = 2 * radius + 1, c = radius;
  std::memset(mask, 0, static_cast<size_t>(side) * side);
  auto run = [&](int y, int x0, int x1) { std::memset(mask + y * side + x0, 255, x1 - x0 + 1); };
  int x = 0, y = radius, d = (1 - radius) * 2;
  while (x <= y) {
    run(c - y, c - x, c + x);
    run(c + y, c - x, c + x);
    run(c - x, c - y, c + y);
    run(c + x, c - y, c + y);
    if (d < 0) {
      d += x * 4 + 6;
    } else {
      d += (x - y) * 4 + 10;
      --y;
    }
    ++x;
  }
}

Brush* MakePenBrush(int radius) {
  radius = std::clamp(radius, 0, 100);
  const int side = 2 * radius + 1;
  Brush* b = NewBrush(side, side, false);
  if (!b) return nullptr;
  b->kind = BrushKindPen;
  b->radius = radius;
  b->handleX = b->handleY = radius;
  FillPenDisc(b->mask, radius);
  return b;
}

}  // namespace vela
