// The in-memory image and the arithmetic tables of every blend.
//
// Pixel format: a 32-bit word 0xAARRGGBB; in memory the bytes are blue, green, red, alpha
// (channel 0 blue .. 3 alpha). Colour is premultiplied by alpha: no colour byte exceeds alpha,
// and 0 is transparent black.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace vela {

using Pixel = uint32_t;

constexpr uint32_t kBlockGuard = 0xDEADBEEF;
constexpr Pixel kBackgroundToken = 0x00A0A0A0;  // FillRect paints BACKGROUNDCOLOR for this word

struct Block;

// What a plug-in sees of a Block.
struct BlockView {
  int32_t width;
  int32_t height;
  uint8_t red, green, blue, alpha;  // channel indices: 2, 1, 0, 3
  Pixel* data;
  int32_t zero[2];
  Block* block;
  int32_t rest[4];
};

struct Block {
  int32_t width;
  int32_t height;
  Pixel* data;  // row 0 first, stride == width; two spare rows and 16 bytes follow the picture
  uint32_t guard;
  BlockView* view;

  Pixel* Row(int y) { return data + static_cast<ptrdiff_t>(y) * width; }
  const Pixel* Row(int y) const { return data + static_cast<ptrdiff_t>(y) * width; }
};

// Bytes held by the pixel layer; the cache sizes itself from it when no limit is set.
extern int64_t BlockBytes;

// Bytes that a Block of this size accounts for: (height + 2) * width * 4 + 20.
int64_t BlockCost(int width, int height);

Block* AllocBlock(int width, int height);  // undefined contents, or null; reports nothing
Block* NewBlock(int width, int height);    // all pixels 0
void InitBlock(Block* header, int width, int height, Pixel* data);  // caller owns all; no FreeBlock
int FreeBlock(Block* block);  // null is a no-op; a bad guard reports "Error in FreeBlock"

// Releases the view an InitBlock made, for headers that live on the stack.
void ReleaseBlockView(Block* header);

// Hook through which AllocBlock asks the cache to give memory back before it retries.
using TrimHook = void (*)();
void SetAllocTrimHook(TrimHook hook);

struct BlockDeleter {
  void operator()(Block* b) const { FreeBlock(b); }
};
using BlockPtr = std::unique_ptr<Block, BlockDeleter>;

// ---- Arithmetic tables -------------------------------------------------------------------
// MulTable: 512 rows of 256 i16, row a + 256 for a in -255..255 (row -256 is never read);
// value (a*b + 254) / 255 for a >= 0, (a*b - 254) / 255 truncated for a < 0, at most 255.
// The positive half rounds up so a touched pixel stays visible under repeated blends.
extern const int16_t* MulTable;  // points at row 0 (the middle of the storage)
// DivTable[i][j] = (i*255)/j truncated to 8 bits, [i][0] = 0: undoes premultiplication.
extern const uint8_t (*DivTable)[256];
// LumaTable: red, green, blue rows of 256 words: 19584*v, 38464*v, 7488*v.
extern const uint32_t* LumaTable;

bool BuildPixelTables();  // false when the storage cannot be had
void FreePixelTables();
bool PixelTablesReady();

inline int Mul(int a, int b) { return MulTable[a * 256 + b]; }
inline const int16_t* MulRow(int a) { return MulTable + a * 256; }
inline int Div(int value, int alpha) { return DivTable[value][alpha]; }
inline int Luma(int r, int g, int b) {
  return static_cast<int>((LumaTable[r] + LumaTable[256 + g] + LumaTable[512 + b]) >> 16);
}

inline int Alpha(Pixel p) { return static_cast<int>(p >> 24); }
inline int Red(Pixel p) { return static_cast<int>((p >> 16) & 0xFF); }
inline int Green(Pixel p) { return static_cast<int>((p >> 8) & 0xFF); }
inline int Blue(Pixel p) { return static_cast<int>(p & 0xFF); }
inline Pixel MakePixel(int a, int r, int g, int b) {
  return (static_cast<Pixel>(a) << 24) | (static_cast<Pixel>(r) << 16) |
         (static_cast<Pixel>(g) << 8) | static_cast<Pixel>(b);
}
inline Pixel PenPixel(int r, int g, int b) { return MakePixel(255, r, g, b); }

}  // namespace vela
