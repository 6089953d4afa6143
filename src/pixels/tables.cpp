#include <cstdint>
#include <cstdlib>

#include "pixels/block.h"

namespace vela {

const int16_t* MulTable = nullptr;
const uint8_t (*DivTable)[256] = nullptr;
const uint32_t* LumaTable = nullptr;

namespace {
int16_t* g_mul = nullptr;  // 512 * 256 entries; row a lives at (a + 256) * 256
uint8_t (*g_div)[256] = nullptr;
uint32_t* g_luma = nullptr;
}  // namespace

bool PixelTablesReady() { return MulTable != nullptr; }

bool BuildPixelTables() {
  if (PixelTablesReady()) return true;
  g_mul = static_cast<int16_t*>(std::calloc(512 * 256, sizeof(int16_t)));
  g_div = static_cast<uint8_t(*)[256]>(std::calloc(256, 256));
  g_luma = static_cast<uint32_t*>(std::calloc(3 * 256, sizeof(uint32_t)));
  if (!g_mul || !g_div || !g_luma) {
    FreePixelTables();
    return false;
  }
  for (int a = -255; a <= 255; ++a) {
    int16_t* row = g_mul + (a + 256) * 256;
    for (int b = 0; b < 256; ++b) {
      int v = a >= 0 ? (a * b + 254) / 255 : (a * b - 254) / 255;
      row[b] = static_cast<int16_t>(v > 255 ? 255 : v);
    }
  }
  for (int i = 0; i < 256; ++i) {
    g_div[i][0] = 0;
    for (int j = 1; j < 256; ++j) g_div[i][j] = static_cast<uint8_t>((i * 255) / j);
  }
  for (int v = 0; v < 256; ++v) {
    g_luma[v] = 19584u * v;
    g_luma[256 + v] = 38464u * v;
    g_luma[512 + v] = 7488u * v;
  }
  MulTable = g_mul + 256 * 256;
  DivTable = g_div;
  LumaTable = g_luma;
  return true;
}

void FreePixelTables() {
  std::free(g_mul);
  std::free(g_div);
  std::free(g_luma);
  g_mul = nullptr;
  g_div = nullptr;
  g_luma = nullptr;
  MulTable = nullptr;
  DivTable = nullptr;
  LumaTable = nullptr;
}

}  // namespace vela
