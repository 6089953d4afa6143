// The program's own generator, so that every random effect is reproducible from a seed.
#pragma once

#include <cstdint>

namespace vela {

constexpr int kRandMax = 0x7FFF;

void SeedRandom(uint32_t seed);
int Random();  // x = x * 214013 + 2531011; result (x >> 16) & 0x7FFF

// A generator with its own state, for loops that must not disturb the global sequence.
struct RandomState {
  uint32_t x = 1;
  int Next() {
    x = x * 214013u + 2531011u;
    return static_cast<int>((x >> 16) & 0x7FFF);
  }
};

}  // namespace vela
