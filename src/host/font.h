// The interface font: one proportional bitmap font with 14-pixel lines, made once from an outline
// font that fontconfig finds, and from then on the program's own bitmaps. Codes are CP1252.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vela {

constexpr int kFontLineHeight = 14;

struct FontGlyph {
  int16_t left = 0;  // from the pen position to the bitmap's first column
  int16_t top = 0;   // from the top of the line to the bitmap's first row
  int16_t width = 0, height = 0;
  uint32_t offset = 0;  // into InterfaceFont::coverage, width * height bytes
};

struct InterfaceFont {
  uint8_t widths[256] = {};  // advance of each code in pixels
  FontGlyph glyphs[256];
  std::vector<uint8_t> coverage;  // 0 paper .. 255 ink
  std::string file;               // the outline font it came from
};

// Renders the font once; later calls return the same. Null, with the reason, when no outline
// font can be found or read.
const InterfaceFont* HostFontOpen(std::string* error);
// The font if it was opened, else null.
const InterfaceFont* HostFont();
void HostFontClose();

// Width of a CP1252 text in pixels; 0 without a font.
int HostTextWidth(const char* text, int count = -1);

}  // namespace vela
