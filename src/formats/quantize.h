// Colour quantization and dithering: a Block to a byte map and a palette of at most 256 colours.
//
// A palette holds straight colours with alpha 255. The map's last index (colours - 1) is kept for
// what is transparent: every pixel of alpha below 5 maps there.
#pragma once

#include <cstdint>
#include <vector>

#include "pixels/block.h"

namespace vela {

// Where the user palette and the reserved last entry come from.
struct QuantizeSources {
  const Pixel* userPalette = nullptr;  // 256 entries; null: the preset palette stands in
  bool solidBackground = false;        // the project shows a solid colour or a check
  Pixel background = 0;                // its colour one, straight, alpha 255
};
// Read from the run as it stands: the workspace's background and the palette given below.
QuantizeSources CurrentQuantizeSources();
// The Palette window hands over its bank here (256 entries that it keeps alive), null when it
// has none; until then "user" maps through the preset palette.
void SetUserPalette(const Pixel* bank);

// colours 0 stands for 256. sharedPalette: the palette of a sequence's first picture, or null.
// Returns false after reporting " Not enough memory". transparentIndex gets colours - 1.
bool Quantize(const Block& block, Pixel palette[256], std::vector<uint8_t>* map,
              int* transparentIndex, const Pixel* sharedPalette, int colours, int paletteWord,
              int ditherWord);

// The cut: at most `colours` (2 to 255) entries from the picture's histogram. Returns the count.
// With dither 0 it also maps the picture into *map through the 64^3 table.
int BuildPalette(const Block& block, int colours, Pixel palette[256], int dither,
                 std::vector<uint8_t>* map);

// Nearest colour of the first `colours` entries, or Floyd-Steinberg when dither is 1.
void MapToPalette(const Block& block, int colours, const Pixel palette[256], int dither,
                  std::vector<uint8_t>* map);

// Levels per channel of the preset palette for a colour count; false below 8 colours.
bool PresetLevels(int colours, int* red, int* green, int* blue);
// The preset palette; returns its size, 0 when the count is refused.
int BuildPresetPalette(int colours, Pixel palette[256]);
// The preset mapping: plain (dither 0) or the 16-row ordered pattern (dither 2).
bool MapPreset(const Block& block, int colours, int dither, std::vector<uint8_t>* map);

}  // namespace vela
