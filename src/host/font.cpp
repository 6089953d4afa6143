#include "host/font.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

namespace vela {

namespace {

// 11 pixels to the em puts DejaVu Sans' ascent and descent (0.93 + 0.24 em) inside a 14-pixel line
// with room for accents above capitals.
constexpr int kPixelSize = 11;
constexpr int kBaseline = 11;

// The CP1252 codes 0x80..0x9F; 0 where the code page leaves a hole.
constexpr uint16_t kHigh[32] = {0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,
                                0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

uint32_t Unicode(int code) {
  if (code < 32 || code == 127) return 0;
  if (code >= 0x80 && code < 0xA0) return kHigh[code - 0x80];
  return static_cast<uint32_t>(code);
}

std::unique_ptr<InterfaceFont> g_font;

std::string FindFontFile(std::string* error) {
  // A configuration of our own, released after the one look-up: nothing of fontconfig stays.
  FcConfig* config = FcInitLoadConfigAndFonts();
  if (!config) {
    *error = "fontconfig cannot start";
    return {};
  }
  std::string file;
  FcPattern* pat = FcNameParse(reinterpret_cast<const FcChar8*>("DejaVu Sans:style=Book"));
  FcConfigSubstitute(config, pat, FcMatchPattern);
  FcDefaultSubstitute(pat);
  FcResult result;
  FcPattern* match = FcFontMatch(config, pat, &result);
  FcChar8* path = nullptr;
  if (match && FcPatternGetString(match, FC_FILE, 0, &path) == FcResultMatch && path)
    file = reinterpret_cast<const char*>(path);
  if (match) FcPatternDestroy(match);
  FcPatternDestroy(pat);
  FcConfigDestroy(config);
  if (file.empty()) *error = "fontconfig finds no font for the interface";
  return file;
}

bool Render(const std::string& file, InterfaceFont* font, std::string* error) {
  FT_Library lib;
  if (FT_Init_FreeType(&lib)) {
    *error = "FreeType cannot start";
    return false;
  }
  FT_Face face;
  if (FT_New_Face(lib, file.c_str(), 0, &face)) {
    FT_Done_FreeType(lib);
    *error = "cannot read the font " + file;
    return false;
  }
  FT_Set_Pixel_Sizes(face, 0, kPixelSize);
  font->file = file;
  for (int code = 0; code < 256; ++code) {
    uint32_t u = Unicode(code);
    if (!u) continue;
    FT_UInt index = FT_Get_Char_Index(face, u);
    if (!index) continue;
    // Light hinting keeps the outline's own widths but snaps stems to rows: crisp at this size.
    if (FT_Load_Glyph(face, index, FT_LOAD_TARGET_LIGHT) ||
        FT_Render_Glyph(face->glyph, FT_RENDER_MODE_LIGHT))
      continue;
    FT_GlyphSlot slot = face->glyph;
    const FT_Bitmap& bm = slot->bitmap;
    int advance = static_cast<int>((slot->advance.x + 32) >> 6);
    font->widths[code] = static_cast<uint8_t>(std::clamp(advance, 0, 255));
    FontGlyph& g = font->glyphs[code];
    g.left = static_cast<int16_t>(slot->bitmap_left);
    g.top = static_cast<int16_t>(kBaseline - slot->bitmap_top);
    g.width = static_cast<int16_t>(bm.width);
    g.height = static_cast<int16_t>(bm.rows);
    g.offset = static_cast<uint32_t>(font->coverage.size());
    for (unsigned y = 0; y < bm.rows; ++y) {
      const uint8_t* row = bm.buffer + static_cast<ptrdiff_t>(y) * bm.pitch;
      font->coverage.insert(font->coverage.end(), row, row + bm.width);
    }
  }
  FT_Done_Face(face);
  FT_Done_FreeType(lib);
  return true;
}

}  // namespace

const InterfaceFont* HostFontOpen(std::string* error) {
  if (g_font) return g_font.get();
  std::string why;
  std::string file = FindFontFile(&why);
  auto font = std::make_unique<InterfaceFont>();
  if (file.empty() || !Render(file, font.get(), &why)) {
    if (error) *error = why;
    return nullptr;
  }
  g_font = std::move(font);
  return g_font.get();
}

const InterfaceFont* HostFont() {
  return g_font.get();
}

void HostFontClose() {
  g_font.reset();
}

int HostTextWidth(const char* text, int count) {
  if (!g_font || !text) return 0;
  int w = 0;
  for (int i = 0; (count < 0 || i < count) && text[i]; ++i)
    w += g_font->widths[static_cast<uint8_t>(text[i])];
  return w;
}

}  // namespace vela
