// Files written here must read the same in ImageMagick and netpbm, and files those tools write in
// every variant we read must load with the pixels the tools themselves read from them.
#include <cmath>

#include "formats/quantize.h"
#include "formats_fixture.h"

namespace vela {
namespace {

class Interchange : public FormatsTest {
 protected:
  void SetUp() override {
    FormatsTest::SetUp();
    if (!HaveTools()) GTEST_SKIP() << "ImageMagick or netpbm missing (scripts/deps.sh)";
  }

  // Raw straight RGBA of a picture, for ImageMagick to read with -size and rgba:.
  std::string RawSource(const Block& b, const char* name) {
    std::vector<uint8_t> raw;
    for (int y = 0; y < b.height; ++y)
      for (int x = 0; x < b.width; ++x) {
        const Pixel s = Straight(b.Row(y)[x]);
        raw.insert(raw.end(), {static_cast<uint8_t>(Red(s)), static_cast<uint8_t>(Green(s)),
                               static_cast<uint8_t>(Blue(s)), static_cast<uint8_t>(Alpha(s))});
      }
    const std::string path = Path(name);
    WriteBytes(path, raw);
    return "-size " + std::to_string(b.width) + "x" + std::to_string(b.height) +
           " -depth 8 rgba:'" + path + "'";
  }

  BlockPtr Load(const std::string& path) {
    BlockPtr b = LoadImageBlock(path.c_str());
    EXPECT_TRUE(b) << path << (g_messages.empty() ? "" : ": " + g_messages.back());
    return b;
  }
};

// A picture of 12 colours on the 6-bit grid the quantizer keeps exactly, in runs of various
// lengths; the palette formats must give it back unchanged.
BlockPtr FewColours(int w = 41, int h = 19) {
  BlockPtr b(NewBlock(w, h));
  auto grid = [](int level) { return static_cast<int>(level * 255.0 / 63 + 0.5); };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const int k = ((x / (1 + y % 5)) + y) % 12;
      b->Row(y)[x] = PenPixel(grid(k * 5), grid(63 - k * 4), grid((k * 29) % 64));
    }
  return b;
}

// What an outside reader should see of a picture we wrote: colours straight or as held.
Pixel Expected(Pixel p, bool straight, bool alpha) {
  if (!alpha) return p | 0xFF000000u;
  return straight ? Straight(p) : p;
}

void ExpectSame(const Rgba& seen, const Block& b, bool straight, bool alpha, int tolerance,
                const std::string& what) {
  ASSERT_EQ(seen.width, b.width) << what;
  ASSERT_EQ(seen.height, b.height) << what;
  ASSERT_EQ(seen.bytes.size(), static_cast<size_t>(b.width) * b.height * 4) << what;
  int worst = 0, bad = 0;
  for (int y = 0; y < b.height; ++y)
    for (int x = 0; x < b.width; ++x) {
      const Pixel want = Expected(b.Row(y)[x], straight, alpha), got = seen.At(x, y);
      int d = std::abs(Alpha(want) - Alpha(got));
      if (Alpha(want) != 0)  // colour under alpha 0 carries no meaning
        d = std::max({d, std::abs(Red(want) - Red(got)), std::abs(Green(want) - Green(got)),
                      std::abs(Blue(want) - Blue(got))});
      worst = std::max(worst, d);
      if (d > tolerance && bad++ < 3)
        ADD_FAILURE() << what << " at " << x << "," << y << std::hex << " want " << want << " got "
                      << got;
    }
  EXPECT_LE(worst, tolerance) << what;
}

TEST_F(Interchange, FilesWeWriteReadTheSameInImageMagickAndNetpbm) {
  // As many colours as a palette file keeps besides its reserved entry: all come back exact.
  BlockPtr opaque = OpaquePicture(), alpha = AlphaPicture(), few = GridColours(254, 41, 19);
  struct Case {
    const char* name;
    int format;
    const Block* picture;
    bool alpha, straight;  // the file holds alpha; its colours are straight
    int tolerance;
    const char* netpbm;  // reader to the PNM that netpbm gives, or null
    void (*settings)(SaveSettings&);
  };
  BlockPtr smooth(NewBlock(40, 24));  // JPEG is judged on what it is for
  for (int y = 0; y < 24; ++y)
    for (int x = 0; x < 40; ++x) smooth->Row(y)[x] = PenPixel(x * 6, 40 + y * 8, 200 - x * 3 - y);
  const Case cases[] = {
      {"rle.tga", kFormatTga, alpha.get(), true, false, 0, nullptr, nullptr},
      {"raw.tga", kFormatTga, opaque.get(), false, false, 0, "tgatoppm",
       [](SaveSettings& s) { s.tgaCompression = 0; }},
      {"24.bmp", kFormatBmp, opaque.get(), false, false, 0, "bmptopnm", nullptr},
      {"8.bmp", kFormatBmp, few.get(), false, false, 0, "bmptopnm",
       [](SaveSettings& s) {
         s.bmp = {kPaletteLocal, kDitherNone, 256};
       }},
      {"8.pcx", kFormatPcx, few.get(), false, false, 0, "pcxtoppm",
       [](SaveSettings& s) {
         s.pcx = {kPaletteLocal, kDitherNone, 256};
       }},
      {"24.ras", kFormatSun24, opaque.get(), false, false, 0, "rasttopnm", nullptr},
      {"32.ras", kFormatSun32, opaque.get(), false, false, 0, nullptr, nullptr},
      {"rgb.png", kFormatPng, opaque.get(), false, false, 0, "pngtopnm",
       [](SaveSettings& s) { s.png.palette = kPaletteTrue24; }},
      {"rgba.png", kFormatPng, alpha.get(), true, true, 0, nullptr,
       [](SaveSettings& s) { s.png.palette = kPaletteTrue32; }},
      {"palette.png", kFormatPng, few.get(), false, false, 0, "pngtopnm", nullptr},
      {"q100.jpg", kFormatJpeg, smooth.get(), false, false, 6, "jpegtopnm", nullptr},
      {"rgba.rgb", FormatKeyword("sgi"), alpha.get(), true, true, 0, nullptr, nullptr},
      {"rgb.rgb", FormatKeyword("sgi"), opaque.get(), false, true, 0, "sgitopnm", nullptr},
      {"rgba.tif", FormatKeyword("tiff"), alpha.get(), true, true, 0, nullptr, nullptr},
      {"rgb.tif", FormatKeyword("tiff"), opaque.get(), false, true, 0, "tifftopnm", nullptr},
  };
  for (const Case& c : cases) {
    SaveSettings s;
    if (c.settings) c.settings(s);
    const std::string path = Path(c.name);
    ASSERT_EQ(SaveBlockAs(path.c_str(), *c.picture, c.format, s), 0) << c.name;
    const bool tga = c.format == kFormatTga;
    ExpectSame(tga ? NetpbmTga(path, c.alpha) : Magick(path), *c.picture, c.straight, c.alpha,
               c.tolerance, std::string(c.name) + (tga ? " in tgatoppm" : " in ImageMagick"));
    if (!c.netpbm) continue;
    const std::string pnm = Path("out.pnm");
    ASSERT_TRUE(Tool(std::string(c.netpbm) + " '" + path + "' > '" + pnm + "'")) << c.netpbm;
    ExpectSame(Pnm(ReadBytes(pnm)), *c.picture, false, false, c.tolerance,
               std::string(c.name) + " in " + c.netpbm);
  }
}

// How our reader turns the straight pixel an outside reader sees into a Pixel.
enum Rule { kPremultiply, kRaiseAlpha, kKeepOr255, kWiden555 };  // kKeepOr255: BMP's alpha test
struct Variant {
  const char* name;
  std::string make;  // ImageMagick arguments ("... prefix:" names the writer), or a netpbm tool
  Rule rule;
  bool netpbm = false;
};

class Variants : public Interchange {
 protected:
  void SetUp() override {
    Interchange::SetUp();
    if (IsSkipped()) return;
    opaque_ = OpaquePicture();
    alpha_ = AlphaPicture();
    few_ = FewColours();
    rgb = RawSource(*opaque_, "opaque.rgba") + " -alpha off";
    rgba = RawSource(*alpha_, "alpha.rgba");
    pal = RawSource(*few_, "few.rgba") + " -alpha off";
    grey = rgb + " -colorspace Gray";
    ppm = Path("source.ppm");
    ASSERT_TRUE(Tool(Convert() + " " + pal + " '" + ppm + "'"));
  }

  // The reader that sees the file right: netpbm for TGA and Sun raster (ImageMagick 6.9 turns
  // TGA rows over and mis-decodes Sun run-lengths), ImageMagick for the rest.
  Rgba Reference(const std::string& path, const Variant& v) {
    if (path.ends_with(".tga")) return NetpbmTga(path, v.make.find("Alpha") != std::string::npos);
    if (path.ends_with(".ras")) {
      const std::string pnm = Path("ras.pnm");
      if (!Tool("rasttopnm '" + path + "' > '" + pnm + "'")) return {};
      return Pnm(ReadBytes(pnm));
    }
    return Magick(path);
  }

  void Check(const std::vector<Variant>& cases) {
    for (const Variant& c : cases) {
      const std::string path = Path(c.name);
      std::string cmd;
      if (!c.netpbm) {
        std::string args = c.make, prefix;
        if (args.back() == ':') {
          const size_t sp = args.rfind(' ');
          prefix = args.substr(sp + 1);
          args.resize(sp);
        }
        cmd = Convert() + " " + args + " " + prefix + "'" + path + "'";
      } else if (c.make == "ppm") {
        cmd = "cp '" + ppm + "' '" + path + "'";
      } else {
        cmd = c.make + " '" + ppm + "' > '" + path + "'";
      }
      ASSERT_TRUE(Tool(cmd)) << cmd;
      const Rgba seen = Reference(path, c);
      ASSERT_GT(seen.width, 0) << c.name;
      BlockPtr b = Load(path);
      if (!b) continue;
      ASSERT_EQ(b->width, seen.width) << c.name;
      ASSERT_EQ(b->height, seen.height) << c.name;
      // A BMP with any colour above its alpha has no real alpha.
      bool fake = false;
      for (int y = 0; y < seen.height; ++y)
        for (int x = 0; x < seen.width; ++x) {
          const Pixel s = seen.At(x, y);
          fake |= std::max({Red(s), Green(s), Blue(s)}) > Alpha(s);
        }
      // libtiff brings unassociated alpha to associated form with its own rounding.
      const int tolerance = std::string(c.name) == "strips.tif" ? 1 : 0;
      int bad = 0;
      for (int y = 0; y < b->height && bad < 3; ++y)
        for (int x = 0; x < b->width && bad < 3; ++x) {
          const Pixel s = seen.At(x, y);
          Pixel want = s;
          const int a = Alpha(s), r = Red(s), g = Green(s), bl = Blue(s);
          switch (c.rule) {
            case kPremultiply:
              want = Premultiplied(a, r, g, bl);
              break;
            case kRaiseAlpha:
              want = MakePixel(std::max({a, r, g, bl}), r, g, bl);
              break;
            case kKeepOr255:
              want = fake ? (s | 0xFF000000u) : s;
              break;
            case kWiden555: {
              auto widen = [](int v) { return ((v >> 3) << 3) | (v >> 6); };
              want = MakePixel(255, widen(r), widen(g), widen(bl));
            }
          }
          const Pixel got = b->Row(y)[x];
          const bool close = std::abs(Red(got) - Red(want)) <= tolerance &&
                             std::abs(Green(got) - Green(want)) <= tolerance &&
                             std::abs(Blue(got) - Blue(want)) <= tolerance &&
                             Alpha(got) == Alpha(want);
          if (!close && bad++ < 3)
            ADD_FAILURE() << c.name << " at " << x << "," << y << std::hex << " want " << want
                          << " got " << got;
        }
    }
  }

  BlockPtr opaque_, alpha_, few_;
  std::string rgb, rgba, pal, grey, ppm;
};

TEST_F(Variants, TgaTypes1To3And9To11) {
  Check({
      {"t1.tga", pal + " -type Palette -compress None", kRaiseAlpha},
      {"t2.tga", rgb + " -type TrueColor -compress None", kRaiseAlpha},
      {"t2a.tga", rgba + " -type TrueColorAlpha -compress None", kRaiseAlpha},
      {"t3.tga", grey + " -type Grayscale -compress None", kRaiseAlpha},
      {"t9.tga", pal + " -type Palette -compress RLE", kRaiseAlpha},
      {"t10.tga", rgba + " -type TrueColorAlpha -compress RLE", kRaiseAlpha},
      {"t11.tga", grey + " -type Grayscale -compress RLE", kRaiseAlpha},
      {"nb.tga", "ppmtotga -rgb -norle", kRaiseAlpha, true},
      {"nbrle.tga", "ppmtotga -rgb", kRaiseAlpha, true},
      {"nbmap.tga", "ppmtotga -cmap", kRaiseAlpha, true},
  });
}

TEST_F(Variants, BmpDepthsRunLengthAndOs2Headers) {
  Check({
      {"1.bmp", rgb + " -monochrome bmp3:", kKeepOr255},
      {"4.bmp", pal + " -colors 12 -type Palette -compress None bmp3:", kKeepOr255},
      {"8.bmp", pal + " -type Palette -compress None bmp3:", kKeepOr255},
      {"rle8.bmp", pal + " -type Palette -compress RLE bmp3:", kKeepOr255},
      {"16.bmp", rgb + " -define bmp:subtype=RGB555 bmp:", kWiden555},
      {"24.bmp", rgb + " -type TrueColor bmp3:", kKeepOr255},
      {"32.bmp", rgba + " -type TrueColorAlpha bmp:", kKeepOr255},
      {"os2.bmp", rgb + " -type TrueColor bmp2:", kKeepOr255},
      {"os2-8.bmp", pal + " -type Palette bmp2:", kKeepOr255},
      {"nb.bmp", "ppmtobmp -bpp 24", kKeepOr255, true},
      {"nb8.bmp", "ppmtobmp -bpp 8", kKeepOr255, true},
  });
}

TEST_F(Variants, PcxSunSgiTiffPngJpegPpm) {
  Check({
      {"8.pcx", pal + " -type Palette", kKeepOr255},
      {"nb.pcx", "ppmtopcx -8bit", kKeepOr255, true},
      {"raw.ras", rgb + " -type TrueColor", kKeepOr255},
      {"32.ras", rgba + " -type TrueColorAlpha", kKeepOr255},
      {"8.ras", pal + " -type Palette", kKeepOr255},
      {"nb.ras", "pnmtorast -rle", kKeepOr255, true},
      {"rle.sgi", rgba + " -compress RLE", kPremultiply},
      {"raw.sgi", rgb + " -compress None", kPremultiply},
      {"nb.sgi", "pnmtosgi -rle", kPremultiply, true},
      {"strips.tif", rgba + " -compress LZW", kPremultiply},
      {"tiles.tif", rgb + " -define tiff:tile-geometry=16x16 -compress Zip", kPremultiply},
      {"8.tif", pal + " -type Palette -compress None", kPremultiply},
      {"nb.tif", "pnmtotiff -lzw", kPremultiply, true},
      {"palette.png", pal + " -type Palette png8:", kPremultiply},
      {"grey.png", grey + " -type Grayscale", kPremultiply},
      {"16.png", rgba + " -depth 16 png64:", kPremultiply},
      {"alpha.png", rgba + " png32:", kPremultiply},
      {"progressive.jpg", rgb + " -interlace Plane -quality 90", kPremultiply},
      {"nb.ppm", "ppm", kPremultiply, true},
  });
}

}  // namespace
}  // namespace vela
