#include "start/random.h"

namespace vela {

namespace {
RandomState g_random;
}

void SeedRandom(uint32_t seed) { g_random.x = seed; }
int Random() { return g_random.Next(); }

}  // namespace vela
