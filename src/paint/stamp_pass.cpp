// StampPass loops. Each row first turns the brush's mask (or its pixels' alpha, or a texture)
// into a row of coverage k, then a mode kernel applies k to the page row; the loop for a
// (mode, BrushKind, antialias, DabTexture, erase) is a template instance picked from a table.
//
// Pixels are 0xAARRGGBB words, premultiplied; bytes in memory blue, green, red, alpha.
#include <algorithm>
#include <type_traits>

#include "paint/draw_modes.h"
#include "paint/paint_ops.h"
#include "paint/pixel_rules.h"
#include "paint/row_kernels.h"
#include "start/random.h"
#include "start/workspace.h"

namespace vela {

using namespace rules;

namespace {

constexpr int kChunk = 512;

// ---- Coverage rows ----------------------------------------------------------------------
// (k out, mask bytes, brush pixels or null, count, opacity)

struct CovHard {  // any mask byte is full paint
  static void Row(uint8_t* k, const uint8_t* m, const Pixel*, int n, int) {
    for (int i = 0; i < n; ++i) k[i] = m[i] ? 255 : 0;
  }
};
struct CovMask {
  static void Row(uint8_t* k, const uint8_t* m, const Pixel*, int n, int o) {
    CoverageRow(k, m, n, o);
  }
};
struct CovHardScaled {  // a hard disc whose paint still follows opacity: k = T[255][o] = o
  static void Row(uint8_t* k, const uint8_t* m, const Pixel*, int n, int o) {
    for (int i = 0; i < n; ++i) k[i] = m[i] ? static_cast<uint8_t>(o) : 0;
  }
};
struct CovFlag {  // modes on which strength and opacity have no effect
  static void Row(uint8_t* k, const uint8_t* m, const Pixel*, int n, int) {
    std::copy(m, m + n, k);
  }
};
struct CovAlpha {
  static void Row(uint8_t* k, const uint8_t*, const Pixel* s, int n, int o) {
    for (int i = 0; i < n; ++i) k[i] = static_cast<uint8_t>(T(Alpha(s[i]), o));
  }
};
struct CovAlphaTwice {  // Replace with an image brush: its alpha counts twice
  static void Row(uint8_t* k, const uint8_t*, const Pixel* s, int n, int o) {
    for (int i = 0; i < n; ++i) {
      int b = Alpha(s[i]);
      k[i] = static_cast<uint8_t>(T(T(o, b), b));
    }
  }
};
struct CovConst {  // Color with an image brush: the pixels carry their own coverage
  static void Row(uint8_t* k, const uint8_t*, const Pixel*, int n, int o) {
    std::fill(k, k + n, static_cast<uint8_t>(o));
  }
};
template <bool kWhole>
struct CovChalk {  // all or nothing at random; Behind and Replace apply a 255 mask at opacity
  static void Row(uint8_t* k, const uint8_t* m, const Pixel*, int n, int o) {
    int hit = kWhole ? 255 : T(255, o);
    for (int i = 0; i < n; ++i) {
      k[i] = 0;
      if (!m[i]) continue;
      if (m[i] * o > StepPaintNoise()) k[i] = static_cast<uint8_t>(hit);
    }
  }
};
using ChalkWhole = CovChalk<true>;
using ChalkMask = CovChalk<false>;

// ---- Kernels ----------------------------------------------------------------------------
enum class Src { None, Brush, Spare };

struct Ctx {
  Pixel colour;
  int opacity;
  unsigned noise;
};

struct KBase {
  static constexpr Src kSrc = Src::None;
  static void BeginRow(Ctx&) {}
};
struct KCover : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx& c) {
    CoverRow(d, k, n, c.colour);
  }
};
struct KErase : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx&) { EraseRow(d, k, n); }
};
struct KMerge : KBase {
  static constexpr Src kSrc = Src::Spare;
  static void Row(Pixel* d, const uint8_t* k, const Pixel* s, int n, Ctx&) { MixRow(d, s, k, n); }
};
struct KColorImage : KBase {
  static constexpr Src kSrc = Src::Brush;
  static void Row(Pixel* d, const uint8_t* k, const Pixel* s, int n, Ctx&) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = ColorImage(d[i], s[i], k[i]);
  }
};
struct KStampImage : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx& c) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = StampImage(d[i], c.colour, k[i]);
  }
};
struct KBehind : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx& c) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = Behind(d[i], c.colour, k[i], false);
  }
};
struct KBehindImage : KBase {
  static constexpr Src kSrc = Src::Brush;
  static void Row(Pixel* d, const uint8_t* k, const Pixel* s, int n, Ctx&) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = Behind(d[i], s[i], k[i], true);
  }
};
struct KReplace : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx& c) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = Replace(d[i], c.colour, k[i]);
  }
};
struct KReplaceImage : KBase {
  static constexpr Src kSrc = Src::Brush;
  static void Row(Pixel* d, const uint8_t* k, const Pixel* s, int n, Ctx&) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = ReplaceImage(d[i], s[i], k[i]);
  }
};
template <int kStep>
struct KShade : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx&) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = kStep < 0 ? Shade(d[i], -kStep) : Light(d[i], kStep);
  }
};
struct KColorize : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx&) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = Colorize(d[i]);
  }
};
struct KTint : KBase {
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx&) {
    if (TintHue.sextant < 0) return;
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = Tint(d[i], TintHue.sextant, TintHue.fraction);
  }
};
struct KGrain : KBase {
  static void BeginRow(Ctx& c) { c.noise = static_cast<unsigned>(Random()); }
  static void Row(Pixel* d, const uint8_t* k, const Pixel*, int n, Ctx& c) {
    for (int i = 0; i < n; ++i)
      if (k[i]) d[i] = GrainPixel(d[i], c.noise);
  }
};

// ---- Drivers ----------------------------------------------------------------------------
struct Clip {
  int x0, y0, x1, y1;
  bool Empty() const { return x1 - x0 < 1 || y1 - y0 < 1; }
};

Clip ClipBrush(const Brush& b, const Block* dst, int x, int y) {
  return {std::max(x, 0), std::max(y, 0), std::min(x + b.width, dst->width),
          std::min(y + b.height, dst->height)};
}

template <class Cov, class K>
int Loop(const Brush& b, const uint8_t* plane, Block* dst, int x, int y, Pixel colour,
         int opacity) {
  if (!plane) return -1;
  Clip r = ClipBrush(b, dst, x, y);
  const Block* spare = Ws.spare;
  if constexpr (K::kSrc == Src::Spare) {
    if (!spare) return -1;
    r.x1 = std::min(r.x1, spare->width);
    r.y1 = std::min(r.y1, spare->height);
  }
  if (K::kSrc == Src::Brush && !b.pixels) return -1;
  if (r.Empty()) return 0;
  Ctx ctx{colour, opacity, 0};
  uint8_t k[kChunk];
  for (int py = r.y0; py < r.y1; ++py) {
    K::BeginRow(ctx);
    Pixel* drow = dst->Row(py);
    const uint8_t* mrow = plane + static_cast<ptrdiff_t>(py - y) * b.width - x;
    const Pixel* srow = b.pixels ? b.pixels->Row(py - y) - x : nullptr;
    for (int px = r.x0; px < r.x1; px += kChunk) {
      int n = std::min(kChunk, r.x1 - px);
      const Pixel* s = srow ? srow + px : nullptr;
      Cov::Row(k, mrow + px, s, n, opacity);
      const Pixel* src = nullptr;
      if constexpr (K::kSrc == Src::Brush) src = s;
      if constexpr (K::kSrc == Src::Spare) src = spare->Row(py) + px;
      K::Row(drow + px, k, src, n, ctx);
    }
  }
  return 0;
}

// Soft specks: hits spread over a five-pixel cross, counted, then turned into coverage.
void BuildPencilScratch(const Brush& b, int o, bool pantograph) {
  int w = b.width, h = b.height;
  uint8_t* s = b.scratch;
  std::fill(s, s + static_cast<ptrdiff_t>(w) * h, 0);
  for (int y = 1; y < h - 1; ++y)
    for (int x = 1; x < w - 1; ++x) {
      int i = y * w + x;
      if (!b.mask[i] || b.mask[i] * o <= StepPaintNoise()) continue;
      s[i] = static_cast<uint8_t>(s[i] + 5);
      ++s[i - 1];
      ++s[i + 1];
      ++s[i - w];
      ++s[i + w];
    }
  for (int i = 0; i < w * h; ++i)
    if (s[i]) s[i] = static_cast<uint8_t>((o * 51 * std::min<int>(s[i], 5)) >> 8);
  if (!pantograph) return;
  for (int i = 0; i < w * h; ++i) s[i] = b.mask[i] && b.mask[i] * o > StepPaintNoise() ? 255 : 0;
}

// The mask plane a pass reads: the brush's own, or the pencil's scratch built now.
template <bool kPencil, bool kPanto = false>
const uint8_t* PassPlane(const Brush& b, int opacity) {
  if (!kPencil) return b.mask;
  if (!b.mask || !b.scratch) return nullptr;
  BuildPencilScratch(b, opacity, kPanto);
  return b.scratch;
}

// kPen: a Pen disc takes its mask as coverage at opacity 255.
template <class Cov, class K, bool kPencil = false, bool kPen = false>
int Plain(const Brush& b, Block* dst, int x, int y, Pixel colour, bool, int opacity) {
  if (kPen) opacity = 255;
  return Loop<Cov, K>(b, PassPlane<kPencil>(b, opacity), dst, x, y, colour, opacity);
}

template <class Cov, bool kPencil = false>
int ColorImagePass(const Brush& b, Block* dst, int x, int y, Pixel colour, bool, int opacity) {
  int f = opacity * std::clamp(Draw.power, 0, 255) / 255;
  return Loop<Cov, KColorImage>(b, PassPlane<kPencil>(b, f), dst, x, y, colour, f);
}

template <class Cov, bool kPencil = false, bool kPen = false>
int SmearPass(const Brush& b, Block* dst, int x, int y, Pixel, bool, int opacity) {
  if (kPen) opacity = 255;
  Pixel mean = MeanUnderBrush(b, dst, x, y);
  return Loop<Cov, KCover>(b, PassPlane<kPencil>(b, opacity), dst, x, y, mean, opacity);
}

template <class Cov, bool kPencil = false, bool kPen = false>
int ImpressPass(const Brush& b, Block* dst, int x, int y, Pixel, bool, int opacity) {
  if (kPen) opacity = 255;
  if (!Ws.spare || !b.mask) return -1;
  if (!Stroke.impressValid) {
    Stroke.impressColour =
        UnpremultipliedMean(MeanUnderBrush(b, Ws.spare, x + b.width / 2, y + b.height / 2));
    Stroke.impressValid = true;
  }
  return Loop<Cov, KCover>(b, PassPlane<kPencil>(b, opacity), dst, x, y, Stroke.impressColour,
                           opacity);
}

template <class Cov, bool kPencil = false, bool kPen = false>
int ShiftPass(const Brush& b, Block* dst, int x, int y, Pixel, bool, int opacity) {
  if (kPen) opacity = 255;
  Block* under = b.under;
  if (!b.mask || !under || under->width != b.width || under->height != b.height) return -1;
  Clip r = ClipBrush(b, dst, x, y);
  if (!Stroke.shiftStarted) {
    for (int py = r.y0; py < r.y1; ++py)
      std::copy(dst->Row(py) + r.x0, dst->Row(py) + r.x1, under->Row(py - y) + (r.x0 - x));
    Stroke.shiftStarted = true;
    return 0;
  }
  const uint8_t* plane = PassPlane<kPencil>(b, opacity);
  if (r.Empty()) return 0;
  uint8_t k[kChunk];
  for (int py = r.y0; py < r.y1; ++py) {
    Pixel* drow = dst->Row(py);
    Pixel* urow = under->Row(py - y) - x;
    const uint8_t* mrow = plane + static_cast<ptrdiff_t>(py - y) * b.width - x;
    for (int px = r.x0; px < r.x1; px += kChunk) {
      int n = std::min(kChunk, r.x1 - px);
      Cov::Row(k, mrow + px, nullptr, n, opacity);
      Pixel* d = drow + px;
      Pixel* u = urow + px;
      for (int i = 0; i < n; ++i) {
        Pixel old = d[i];
        if (k[i]) d[i] = Lerp(old, u[i], k[i]);
        u[i] = old;
      }
    }
  }
  return 0;
}

template <class Cov, bool kBlur>
int SmoothPass(const Brush& b, Block* dst, int x, int y, Pixel, bool, int opacity) {
  Block* under = b.under;
  if (!b.mask || !under || under->width != b.width || under->height != b.height) return -1;
  // The outer ring of the page is never touched.
  Clip r{std::max(x, 1), std::max(y, 1), std::min(x + b.width, dst->width - 1),
         std::min(y + b.height, dst->height - 1)};
  if (r.Empty()) return 0;
  uint8_t k[kChunk];
  for (int py = r.y0; py < r.y1; ++py) {
    const uint8_t* mrow = b.mask + static_cast<ptrdiff_t>(py - y) * b.width - x;
    Pixel* urow = under->Row(py - y) - x;
    for (int px = r.x0; px < r.x1; px += kChunk) {
      int n = std::min(kChunk, r.x1 - px);
      const uint8_t* kk = mrow + px;  // the mask as it stands is the flag
      if constexpr (!std::is_same_v<Cov, CovFlag>) {
        Cov::Row(k, kk, nullptr, n, opacity);
        kk = k;
      }
      CrossFilterRow(dst, px, py, kk, n, urow + px, kBlur);
    }
  }
  for (int py = r.y0; py < r.y1; ++py) {
    const Pixel* u = under->Row(py - y) + (r.x0 - x);
    std::copy(u, u + (r.x1 - r.x0), dst->Row(py) + r.x0);
  }
  return 0;
}

template <class Cov, bool kPencil = false, bool kPen = false>
int PantographPass(const Brush& b, Block* dst, int x, int y, Pixel, bool, int opacity) {
  if (kPen) opacity = 255;
  Block* under = b.under;
  if (!under || under->width != b.width || under->height != b.height) return -1;
  const uint8_t* plane = PassPlane<kPencil, true>(b, opacity);
  if (!plane) return -1;
  int dx = Draw.pantoX, dy = Draw.pantoY;
  Clip r = ClipBrush(b, dst, x, y);
  r.x0 = std::max(r.x0, -dx);
  r.y0 = std::max(r.y0, -dy);
  r.x1 = std::min(r.x1, dst->width - dx);
  r.y1 = std::min(r.y1, dst->height - dy);
  if (r.Empty()) return 0;
  // The source as it stood before the pass: an offset smaller than the brush would otherwise
  // read what this pass has just written.
  for (int py = r.y0; py < r.y1; ++py) {
    const Pixel* src = dst->Row(py + dy) + dx;
    std::copy(src + r.x0, src + r.x1, under->Row(py - y) + (r.x0 - x));
  }
  uint8_t k[kChunk];
  for (int py = r.y0; py < r.y1; ++py) {
    const Pixel* srow = under->Row(py - y) - x;
    const uint8_t* mrow = plane + static_cast<ptrdiff_t>(py - y) * b.width - x;
    for (int px = r.x0; px < r.x1; px += kChunk) {
      int n = std::min(kChunk, r.x1 - px);
      Cov::Row(k, mrow + px, nullptr, n, opacity);
      MixRow(dst->Row(py) + px, srow + px, k, n);
    }
  }
  return 0;
}

int NoPass(const Brush& b, Block*, int, int, Pixel, bool, int) {
  return b.mask ? 0 : -1;
}

// ---- The table --------------------------------------------------------------------------
// Columns: Pen hard, Pen antialiased, Dab, Dab chalk, Dab pencil, Image, Faded, Faded chalk,
// Faded pencil.
enum Column { PenHard, PenSoft, Dab, DabChalk, DabPencil, Image, Faded, FadedChalk, FadedPencil };
constexpr int kColumns = 9;

struct PassRow {
  int mode;  // -1: the erase flag
  StampOperation op[kColumns];
};

// Erase follows opacity on a Pen disc as well, as the Pen's spans and the wet pass do.
constexpr PassRow EraseRow(int mode) {
  using K = KErase;
  return {mode,
          {Plain<CovHardScaled, K>, Plain<CovMask, K>, Plain<CovMask, K>, Plain<ChalkWhole, K>,
           Plain<CovMask, K, true>, Plain<CovMask, K>, Plain<CovMask, K>, Plain<ChalkWhole, K>,
           Plain<CovMask, K, true>}};
}

template <class K, bool kTextures>
constexpr PassRow FlagRow(int mode) {  // strength and opacity have no effect
  if (!kTextures)
    return {mode,
            {Plain<CovHard, K>, Plain<CovFlag, K>, Plain<CovFlag, K>, Plain<CovFlag, K>,
             Plain<CovFlag, K>, Plain<CovFlag, K>, Plain<CovFlag, K>, Plain<CovFlag, K>,
             Plain<CovFlag, K>}};
  return {mode,
          {Plain<CovHard, K>, Plain<CovFlag, K>, Plain<CovFlag, K>, Plain<ChalkWhole, K>,
           Plain<CovFlag, K, true>, Plain<CovFlag, K>, Plain<CovFlag, K>, Plain<ChalkWhole, K>,
           Plain<CovFlag, K, true>}};
}

// Drivers that compute their own colour or source, named so a row can be built from them.
#define VELA_DRIVER(Name, fn)                                    \
  struct Name {                                                  \
    template <class Cov, bool kPencil, bool kPen>                \
    static constexpr StampOperation op = fn<Cov, kPencil, kPen>; \
  };
VELA_DRIVER(SmearDriver, SmearPass)
VELA_DRIVER(ShiftDriver, ShiftPass)
VELA_DRIVER(ImpressDriver, ImpressPass)
VELA_DRIVER(PantographDriver, PantographPass)
#undef VELA_DRIVER

template <class D>
constexpr PassRow DriverRow(int mode) {
  return {mode,
          {D::template op<CovHard, false, true>, D::template op<CovMask, false, true>,
           D::template op<CovMask, false, false>, D::template op<ChalkWhole, false, false>,
           D::template op<CovMask, true, false>, D::template op<CovMask, false, false>,
           D::template op<CovMask, false, false>, D::template op<ChalkWhole, false, false>,
           D::template op<CovMask, true, false>}};
}

template <bool kBlur>
constexpr PassRow SmoothRow(int mode) {
  StampOperation soft = SmoothPass<CovFlag, kBlur>;
  return {mode, {SmoothPass<CovHard, kBlur>, soft, soft, soft, soft, soft, soft, soft, soft}};
}

const PassRow kPassRows[] = {
    {DrawColor,
     {Plain<CovHard, KCover, false, true>, Plain<CovMask, KCover, false, true>,
      Plain<CovMask, KCover>, Plain<ChalkWhole, KCover>, Plain<CovMask, KCover, true>,
      ColorImagePass<CovConst>, ColorImagePass<CovConst>, ColorImagePass<ChalkWhole>,
      ColorImagePass<CovMask, true>}},
    {DrawStamp,
     {Plain<CovHard, KCover, false, true>, Plain<CovMask, KCover, false, true>,
      Plain<CovMask, KCover>, Plain<ChalkWhole, KCover>, Plain<CovMask, KCover, true>,
      Plain<CovAlpha, KStampImage>, Plain<CovAlpha, KStampImage>, Plain<ChalkWhole, KStampImage>,
      Plain<CovMask, KStampImage, true>}},
    {DrawMerge,
     {Plain<CovHard, KMerge, false, true>, Plain<CovMask, KMerge, false, true>,
      Plain<CovMask, KMerge>, Plain<ChalkWhole, KMerge>, Plain<CovMask, KMerge, true>,
      Plain<CovAlpha, KMerge>, Plain<CovMask, KMerge>, Plain<ChalkWhole, KMerge>,
      Plain<CovMask, KMerge, true>}},
    FlagRow<KColorize, true>(DrawColorize),
    SmoothRow<false>(DrawSmooth),
    SmoothRow<true>(DrawBlur),
    DriverRow<SmearDriver>(DrawSmear),
    DriverRow<ShiftDriver>(DrawShift),
    FlagRow<KShade<-1>, false>(DrawShade),
    FlagRow<KShade<1>, false>(DrawLight),
    FlagRow<KGrain, false>(DrawGrain),
    FlagRow<KTint, true>(DrawTint),
    DriverRow<ImpressDriver>(DrawImpress),
    {DrawBehind,
     {Plain<CovHard, KBehind, false, true>, Plain<CovMask, KBehind, false, true>,
      Plain<CovMask, KBehind>, Plain<ChalkMask, KBehind>, Plain<CovMask, KBehind, true>,
      Plain<CovAlpha, KBehindImage>, Plain<CovAlpha, KBehindImage>, Plain<ChalkMask, KBehindImage>,
      Plain<CovMask, KBehindImage, true>}},
    EraseRow(DrawErase),
    {DrawReplace,
     {Plain<CovHard, KReplace, false, true>, Plain<CovMask, KReplace, false, true>,
      Plain<CovMask, KReplace>, Plain<ChalkMask, KReplace>, Plain<CovMask, KReplace, true>,
      Plain<CovAlphaTwice, KReplaceImage>, Plain<CovAlphaTwice, KReplaceImage>,
      Plain<ChalkMask, KReplaceImage>, Plain<CovMask, KReplaceImage, true>}},
    DriverRow<PantographDriver>(DrawPantograph),
    EraseRow(-1),
};

Column ColumnFor(const Brush& b) {
  bool chalk = Draw.dabTexture == DabTextureChalk, pencil = Draw.dabTexture == DabTexturePencil;
  switch (b.kind) {
    case BrushKindPen:
      return Draw.antialias ? PenSoft : PenHard;
    case BrushKindImage:
      return Image;
    case BrushKindImageFaded:
      return chalk ? FadedChalk : pencil ? FadedPencil : Faded;
    default:
      return chalk ? DabChalk : pencil ? DabPencil : Dab;
  }
}

}  // namespace

StampOperation SelectStampOperation(const Brush& brush, bool erase) {
  int mode = erase ? -1 : Ws.drawMode;
  if (mode == DrawTint && TintHue.sextant < 0) return NoPass;
  for (const PassRow& row : kPassRows)
    if (row.mode == mode) return row.op[ColumnFor(brush)];
  return NoPass;
}

}  // namespace vela
