#include "paint/draw_modes.h"

#include <strings.h>

#include <cstring>

#include <algorithm>

#include "paint/wet.h"
#include "start/workspace.h"

namespace vela {

DrawContext Draw;
StrokeState Stroke;
Pixel ColorizeRamp[256];
TintHueState TintHue;
uint16_t PaintNoise = 0;
GrainState Grain;
void (*DrawModeChanged)(int number) = nullptr;

void ResetStrokeState() {
  Stroke = StrokeState{};
}

const DrawModeRow DrawModes[kDrawModeCount] = {
    {" Color", DrawColor, {"color", "Color", nullptr}, "DrawModeColor"},
    {" Stamp", DrawStamp, {"stamp", "Stamp", nullptr}, "DrawModeColor"},
    {" Replace", DrawReplace, {"replace", "Replace", nullptr}, "DrawModeBehind"},
    {" Behind", DrawBehind, {"behind", "Behind", nullptr}, "DrawModeBehind"},
    {" Erase", DrawErase, {"erase", "alpha", "Erase"}, "DrawModeAlpha"},
    {" Pantograph", DrawPantograph, {"panto", "Pantograph", nullptr}, "DrawModeAlpha"},
    {" Merge", DrawMerge, {"merge", "trans", "Merge"}, "DrawModeMerge"},
    {" Impress", DrawImpress, {"impress", "Impress", nullptr}, "DrawModeMerge"},
    {" Shade", DrawShade, {"shade", "Shade", nullptr}, "DrawModeShade"},
    {" Light", DrawLight, {"light", "Light", nullptr}, "DrawModeShade"},
    {" Colorize", DrawColorize, {"colorize", "Colorize", nullptr}, "DrawModeTint"},
    {" Tint", DrawTint, {"tint", "hue", "Tint"}, "DrawModeTint"},
    {" Grain", DrawGrain, {"grain", "Grain", nullptr}, "DrawModeGrain"},
    {" Smooth", DrawSmooth, {"smooth", "Smooth", nullptr}, "DrawModeSmooth"},
    {" Blur", DrawBlur, {"blur", "Blur", nullptr}, "DrawModeSmooth"},
    {" Smear", DrawSmear, {"smear", "Smear", nullptr}, "DrawModeSmear"},
    {" Shift", DrawShift, {"shift", "Shift", nullptr}, "DrawModeSmear"},
};

namespace {

// Each action toggles a pair: the first mode unless it is on already, then the second.
struct ModeAction {
  const char* name;
  int first;
  int second;
};
constexpr ModeAction kModeActions[] = {
    {"DrawModeColor", DrawColor, DrawStamp},      {"DrawModeBehind", DrawReplace, DrawBehind},
    {"DrawModeAlpha", DrawErase, DrawPantograph}, {"DrawModeMerge", DrawMerge, DrawImpress},
    {"DrawModeShade", DrawShade, DrawLight},      {"DrawModeTint", DrawColorize, DrawTint},
    {"DrawModeSmooth", DrawSmooth, DrawBlur},     {"DrawModeSmear", DrawSmear, DrawShift},
    {"DrawModeGrain", DrawGrain, DrawGrain},
};

}  // namespace

const DrawModeRow* FindDrawMode(int number) {
  for (const DrawModeRow& row : DrawModes)
    if (row.number == number) return &row;
  return nullptr;
}

const char* DrawModeLabel(int number) {
  const DrawModeRow* row = FindDrawMode(number);
  return row ? row->label : "GNAC GNAC";
}

int DrawModeFromKeyword(const char* word) {
  if (!word) return -1;
  for (const DrawModeRow& row : DrawModes)
    for (const char* key : row.keywords)
      if (key && strcasecmp(key, word) == 0) return row.number;
  return -1;
}

bool DrawModeNeedsSpare(int number) {
  return number == DrawMerge || number == DrawImpress;
}

bool SetDrawMode(int number) {
  if (DrawModeNeedsSpare(number) && !Ws.spare) return false;
  if (Wet.on) {
    FlushWetStroke();
    Wet.stale = true;
    BuildReliefRamp(Draw.APen);
  }
  Ws.drawMode = number;
  if (number == DrawColorize) BuildColorizeRamp(Draw.APen);
  if (number == DrawTint) BuildTintHue(Draw.APen);
  if (DrawModeChanged) DrawModeChanged(number);
  return true;
}

int DrawModeAfterAction(const char* action, int current) {
  for (const ModeAction& a : kModeActions)
    if (strcmp(a.name, action) == 0) return current == a.first ? a.second : a.first;
  return -1;
}

bool RunDrawModeAction(const char* action) {
  int next = DrawModeAfterAction(action, Ws.drawMode);
  return next >= 0 && SetDrawMode(next);
}

void SetAPen(Pixel pen) {
  Draw.APen = pen;
  if (Ws.drawMode == DrawColorize) BuildColorizeRamp(pen);
  if (Ws.drawMode == DrawTint) BuildTintHue(pen);
}

void SwapPens() {
  const Pixel a = Draw.APen;
  SetAPen(Draw.BPen);
  Draw.BPen = a;
}

void BuildColorizeRamp(Pixel pen) {
  int rgb[3] = {Red(pen), Green(pen), Blue(pen)};
  int hi = std::max({rgb[0], rgb[1], rgb[2]});
  int lo = std::min({rgb[0], rgb[1], rgb[2]});
  int base[3], top[3];
  for (int c = 0; c < 3; ++c) {
    base[c] = std::min(rgb[c] - lo, 255);
    top[c] = std::min(rgb[c] - hi + 255, 255);
  }
  int l0 = Luma(base[0], base[1], base[2]);
  int l1 = Luma(top[0], top[1], top[2]);
  for (int l = 0; l < 256; ++l) {
    int v[3];
    for (int c = 0; c < 3; ++c) {
      if (l < l0) {
        v[c] = (0x8000 + l * (base[c] * 65536 / l0)) >> 16;
      } else if (l <= l1) {
        v[c] = std::min(base[c] + l - l0, 255);
      } else {
        int inc = (255 - top[c]) * 65536 / (255 - l1);
        v[c] = ((top[c] << 16) + 0x8000 + (l - l1) * inc) >> 16;
      }
    }
    ColorizeRamp[l] = PenPixel(v[0], v[1], v[2]);
  }
}

void BuildTintHue(Pixel pen) {
  double r = Red(pen) / 255.0, g = Green(pen) / 255.0, b = Blue(pen) / 255.0;
  double hi = std::max({r, g, b}), lo = std::min({r, g, b});
  if (hi == lo) {
    TintHue = TintHueState{};
    return;
  }
  double d = hi - lo, hue;
  if (hi == r)
    hue = (g - b) / d;
  else if (hi == g)
    hue = 2 + (b - r) / d;
  else
    hue = 4 + (r - g) / d;
  hue /= 6;
  if (hue < 0) hue += 1;
  double v = hue * 6;
  int sextant = static_cast<int>(v + 1000) - 1000;
  TintHue.sextant = std::clamp(sextant, 0, 5);
  TintHue.fraction = static_cast<int>((v - sextant) * 65536 + 0.5);
}

void SetGrain(int setting) {
  Grain.setting = std::clamp(setting, 0, 7);
  Grain.p = 255 >> Grain.setting;
  Grain.q = ~Grain.p & 255;
  Grain.step = Grain.p + 1;
}

Pixel MeanUnderBrush(const Brush& brush, const Block* block, int x, int y) {
  if (!brush.mask || !block) return 0;
  int x0 = std::max(x, 0), y0 = std::max(y, 0);
  int x1 = std::min(x + brush.width, block->width), y1 = std::min(y + brush.height, block->height);
  uint64_t sum[4] = {0, 0, 0, 0};
  uint64_t count = 0;
  for (int py = y0; py < y1; ++py) {
    const uint8_t* m = brush.mask + static_cast<ptrdiff_t>(py - y) * brush.width - x;
    const Pixel* row = block->Row(py);
    for (int px = x0; px < x1; ++px) {
      if (!m[px]) continue;
      Pixel p = row[px];
      for (int c = 0; c < 4; ++c) sum[c] += (p >> (8 * c)) & 0xFF;
      ++count;
    }
  }
  if (!count) return 0;
  Pixel mean = 0;
  for (int c = 0; c < 4; ++c) mean |= static_cast<Pixel>(sum[c] / count) << (8 * c);
  return mean;
}

Pixel UnpremultipliedMean(Pixel mean) {
  int a = Alpha(mean);
  if (!a) return Draw.APen;
  return PenPixel(Red(mean) * 255 / a, Green(mean) * 255 / a, Blue(mean) * 255 / a);
}

}  // namespace vela
