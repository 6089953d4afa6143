#include <gtest/gtest.h>

#include "host/font.h"

namespace vela {
namespace {

TEST(InterfaceFont, OneRenderingWithWidthsAndGlyphsInsideTheLine) {
  std::string err;
  const InterfaceFont* f = HostFontOpen(&err);
  ASSERT_NE(f, nullptr) << err;
  EXPECT_EQ(HostFontOpen(nullptr), f);  // rendered once
  EXPECT_NE(f->file.find("DejaVuSans"), std::string::npos) << f->file;

  // Proportional: a narrow letter, a wide one; control codes and holes of CP1252 take no room.
  EXPECT_LT(f->widths['i'], f->widths['W']);
  EXPECT_GT(f->widths[' '], 0);
  EXPECT_EQ(f->widths['\n'], 0);
  EXPECT_EQ(f->widths[0x81], 0);
  EXPECT_GT(f->widths[0x80], 0);  // the euro sign
  EXPECT_EQ(HostTextWidth("Wi"), f->widths['W'] + f->widths['i']);
  EXPECT_EQ(HostTextWidth("Wi", 1), f->widths['W']);

  // Every glyph lies in its 14-pixel line, accented capitals and descenders included.
  for (int c = 33; c < 256; ++c) {
    const FontGlyph& g = f->glyphs[c];
    if (!g.width) continue;
    EXPECT_GE(g.top, 0) << c;
    EXPECT_LE(g.top + g.height, kFontLineHeight) << c;
    EXPECT_LE(g.offset + g.width * g.height, f->coverage.size()) << c;
  }
  // Some ink, and a full-ink pixel in the stem of an l: hinted, not smeared.
  const FontGlyph& l = f->glyphs['l'];
  ASSERT_GT(l.width * l.height, 0);
  int most = 0;
  for (int i = 0; i < l.width * l.height; ++i)
    most = std::max<int>(most, f->coverage[l.offset + i]);
  EXPECT_GE(most, 200);
  EXPECT_EQ(f->glyphs[' '].width, 0);
  HostFontClose();
  EXPECT_EQ(HostFont(), nullptr);
}

}  // namespace
}  // namespace vela
