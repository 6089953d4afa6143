// Drawing tool records, their activation into the draw context, presets and the "Pens" section.
#include "paint/tools.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "paint/brush.h"
#include "paint/draw_modes.h"
#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/wet.h"
#include "project/undo.h"
#include "start/config_store.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/random.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

ToolRecords Tools;

namespace {

constexpr int kDabSizeMin = 1, kDabSizeMax = 100;
constexpr int kPenSizeMax = 100;

bool IsDabTool(int tool) {
  return tool >= ToolPencil && tool <= ToolGouache;
}
bool IsWetTool(int tool) {
  return tool >= ToolAirbrush && tool <= ToolGouache;
}

struct Presets {
  uint8_t row[kEnvelopePresetCount][64];
  Presets() {
    auto put = [](uint8_t* r, int i, double v) {
      r[i] = static_cast<uint8_t>(std::clamp(v, 0.0, 255.0));
    };
    const double pi = 3.14159265358979;
    for (int i = 0; i < 64; ++i) {
      put(row[0], i, 4 * i + 3);
      put(row[1], i, 255 - 4 * i);
      put(row[2], i, (64 - i) * (64 - i) / 16);
      put(row[3], i, (i + 1) * (i + 1) / 16);
      double t = i / 63.0;
      put(row[4], i, std::lround(255 * t * t * (3 - 2 * t)));
      put(row[5], i, i <= 31 ? 254 * i / 31 : 254 * (63 - i) / 32);
      int d = std::max(0, std::abs(i - 31) - 1);
      put(row[6], i, d >= 30 ? 0 : std::lround(255 * (1 + std::cos(pi * d / 30)) / 2));
      put(row[7], i, std::floor(510 * std::sin(pi * (i + 0.44) / 63.44)));
      put(row[8], i, std::lround(255 * (1 + std::cos(2 * pi * (i - 15) / 32)) / 2));
      put(row[9], i, 12 + 16 * (i % 16));
      static const int tri[8] = {0, 1, 2, 3, 4, 3, 2, 1};
      put(row[10], i, 105 + 35 * tri[i % 8]);
      put(row[11], i, i <= 11 ? 30 + 200 * i / 11 : i >= 51 ? 10 + 240 * (i - 51) / 12 : 0);
    }
  }
};

const Presets& PresetTable() {
  static const Presets presets;
  return presets;
}

// The image the custom Brush tool stamps with; the tool owns it.
Block* g_customImage = nullptr;

// Without a custom image the tool makes a transparent 4×4 one, which sizes as any other.
const Block* EnsureCustomImage() {
  if (!g_customImage) g_customImage = NewBlock(4, 4);
  return g_customImage;
}

// Nearest pixels: a size step must keep the image's hard edges.
Block* StretchBlock(const Block* src, int width, int height) {
  Block* dst = AllocBlock(width, height);
  if (!dst) return nullptr;
  for (int y = 0; y < height; ++y) {
    const Pixel* in = src->Row(static_cast<int>(int64_t{y} * src->height / height));
    Pixel* out = dst->Row(y);
    for (int x = 0; x < width; ++x) out[x] = in[int64_t{x} * src->width / width];
  }
  return dst;
}

// 110% or 90% of both dimensions, by at least one pixel, never under 1.
void StepCustomImage(int direction) {
  const Block* img = EnsureCustomImage();
  if (!img) return;
  auto next = [direction](int v) {
    int n = direction > 0 ? v * 110 / 100 : v * 90 / 100;
    if (n == v) n += direction;
    return std::max(n, 1);
  };
  const int w = next(img->width), h = next(img->height);
  if (w == img->width && h == img->height) return;
  Block* resized = StretchBlock(img, w, h);
  if (!resized) {
    Message(" Not enough memory");
    return;
  }
  SetCustomImage(resized);
}

int SizeMin(int tool) {
  return tool == ToolPen ? 0 : kDabSizeMin;
}
int SizeMax(int tool) {
  return tool == ToolPen ? kPenSizeMax : kDabSizeMax;
}

void SetUndoMode(int mode) {
  if (Ws.undoMode == 2) return;
  Ws.undoMode = mode;
  UndoMode = mode;
}

Brush* MakeCustomBrush(const CustomBrushRecord& rec) {
  const Block* img = EnsureCustomImage();
  Brush* b = NewBrush(img ? img->width : 4, img ? img->height : 4, true);
  if (!b) return nullptr;
  const size_t n = static_cast<size_t>(b->width) * b->height;
  if (img && img->width == b->width && img->height == b->height)
    for (int y = 0; y < b->height; ++y) std::copy_n(img->Row(y), b->width, b->pixels->Row(y));
  else
    std::fill(b->pixels->data, b->pixels->data + n, Pixel{0});
  for (size_t i = 0; i < n; ++i) b->mask[i] = static_cast<uint8_t>(b->pixels->data[i] >> 24);
  bool faded = rec.opacity != 255 || rec.pressure || rec.speed;
  b->kind = faded ? BrushKindImageFaded : BrushKindImage;
  return b;
}

}  // namespace

void SetCustomImage(Block* image) {
  if (image == g_customImage) return;
  FreeBlock(g_customImage);
  g_customImage = image;
  if (Tools.current == ToolCustomBrush || Tools.current == ToolTextBrush) ActivateTool();
}

const Block* CustomImage() {
  return g_customImage;
}

const uint8_t* EnvelopePreset(int index) {
  index = ((index % kEnvelopePresetCount) + kEnvelopePresetCount) % kEnvelopePresetCount;
  return PresetTable().row[index];
}

void GetEnvelope(const DabRecord& record, uint8_t out[64]) {
  std::memcpy(out, &record.word[kWordEnvelope], 64);
}

void SetEnvelope(DabRecord* record, const uint8_t bytes[64]) {
  std::memcpy(&record->word[kWordEnvelope], bytes, 64);
}

void ApplyEnvelopePreset(int tool, int index) {
  if (!IsDabTool(tool)) return;
  index = ((index % kEnvelopePresetCount) + kEnvelopePresetCount) % kEnvelopePresetCount;
  DabRecord& r = Tools.dab[tool];
  r.word[kWordPreset] = index;
  SetEnvelope(&r, EnvelopePreset(index));
}

void ResetToolRecord(int tool) {
  if (tool == ToolPen) {
    Tools.pen = PenRecord{};
  } else if (tool == ToolPropellingPencil) {
    Tools.pointe = PointeRecord{};
  } else if (IsDabTool(tool)) {
    static const int kSize[8] = {0, 0, 5, 5, 12, 12, 15, 15};
    DabRecord r;
    r.word[kWordPressure] = 1;
    r.word[kWordSpeed] = 1;
    r.word[kWordLimit] = 25;
    r.word[kWordSize] = kSize[tool];
    r.word[kWordPower] = 128;
    r.word[kWordAutoStep] = tool == ToolOil || tool == ToolGouache ? 0 : 1;
    r.word[kWordPreset] = 4;
    r.word[kWordResponse] = 100;
    uint8_t env[64];
    for (int i = 0; i < 64; ++i) env[i] = static_cast<uint8_t>(4 * i);
    SetEnvelope(&r, env);
    Tools.dab[tool] = r;
  } else if (tool == ToolCustomBrush) {
    Tools.custom = CustomBrushRecord{};
  }
}

void ResetAllToolRecords() {
  for (int t = 0; t <= ToolCustomBrush; ++t) ResetToolRecord(t);
}

uint32_t QuickSqrt(uint32_t x) {
  if (x == 0) return 0;
  int top = 31;
  while (!(x >> top)) --top;
  int s = (top + 1) / 2;
  return ((x >> s) + (1u << s)) >> 1;
}

void FillBristleDab(uint8_t* mask, int side, const uint8_t profile[64], int power, int bristle) {
  const int r = std::max(side / 2 - 1, 1);
  const int q = std::min(bristle, r);
  std::vector<uint8_t> a(r + 2, 0), b(q + 2, 0);
  ResampleProfile(profile, r, power, a.data());
  ResampleProfile(profile, q, power, b.data());
  std::memset(mask, 0, static_cast<size_t>(side) * side);
  const int count = (side * side + 12) / 12;
  for (int n = 0; n < count; ++n) {
    double angle = (Random() % 1000) * 0.001 * 6.28318;
    int t = r - q > 0 ? Random() % (r - q) : 0;
    int s = a[t];
    int cx = static_cast<int>(t * std::cos(angle) + side / 2);
    int cy = static_cast<int>(t * std::sin(angle) + side / 2);
    for (int y = std::max(cy - q, 0); y <= std::min(cy + q, side - 1); ++y)
      for (int x = std::max(cx - q, 0); x <= std::min(cx + q, side - 1); ++x) {
        int d2 = (x - cx) * (x - cx) + (y - cy) * (y - cy);
        if (d2 > q * q) continue;
        int d = static_cast<int>(QuickSqrt(static_cast<uint32_t>(d2) * 256));
        int i = d >> 4, f = d & 15;
        int bi = i < q ? b[i] : 0, bn = i + 1 < q ? b[i + 1] : 0;
        int v = bi * (15 - f) + bn * f;
        uint8_t& m = mask[y * side + x];
        m = std::max<int>(m, ((v >> 4) * s) >> 8);
      }
  }
}

int ActivateTool() {
  const int tool = std::clamp(Tools.current, 0, static_cast<int>(ToolTextBrush));
  if (Brush* old = CurrentBrush(); old && (old->cursorFlags & CursorShown)) HideCursor(old);
  if (tool != Tools.lastActivated) {
    Wet.stale = true;
    Tools.lastActivated = tool;
  }
  StrokeCtx.tool = tool;
  Draw.dabTexture = DabTextureNone;
  Wet.on = false;
  StrokeCtx.keepWet = false;
  int rc = 0;

  auto flags = [](int pressure, int speed, int limit, int inversion) {
    StrokeCtx.pressureOn = pressure != 0;
    StrokeCtx.speedOn = speed != 0;
    StrokeCtx.speedInvert = inversion != 0;
    SpeedScale = limit;
    PressureScale = limit;
  };

  if (tool == ToolPen) {
    const PenRecord& p = Tools.pen;
    flags(p.pressure, p.speed, p.limit, 1);
    StrokeCtx.step = 0;
    StrokeCtx.penRadius = std::clamp(p.size1, 0, kPenSizeMax);
    StrokeCtx.targetRadius = std::clamp(p.size2, 0, kPenSizeMax);
    Draw.power = 255;
    Brush* b = MakePenBrush(StrokeCtx.penRadius);
    if (!b) return -1;
    SetCurrentBrush(b);
    return 0;
  }
  if (tool == ToolPropellingPencil) {
    const PointeRecord& p = Tools.pointe;
    flags(p.pressure, p.speed, p.limit, p.inversion);
    StrokeCtx.step = 0;
    StrokeCtx.penRadius = 0;
    Draw.power = std::clamp(p.opacity, 0, 255);
    Brush* b = NewBrush(1, 1, false);
    if (!b) return -1;
    b->kind = BrushKindDab;
    b->mask[0] = static_cast<uint8_t>(Draw.power);
    b->handleX = b->handleY = 0;
    SetCurrentBrush(b);
    return 0;
  }
  if (IsDabTool(tool)) {
    const DabRecord& r = Tools.dab[tool];
    const int32_t* w = r.word;
    flags(w[kWordPressure], w[kWordSpeed], w[kWordLimit], w[kWordInversion]);
    const int size = std::clamp(w[kWordSize], kDabSizeMin, kDabSizeMax);
    const bool autoStepTool = tool == ToolPencil || tool == ToolChalk || tool == ToolAirbrush;
    StrokeCtx.step = autoStepTool && w[kWordAutoStep] ? size / 5 : std::max(w[kWordStep], 0);
    GetEnvelope(r, StrokeCtx.profile);
    StrokeCtx.dabRadius = size;
    Draw.power = std::clamp(w[kWordPower], 0, 255);
    rc = RebuildDab(size, Draw.power, StrokeCtx.profile);
    if (tool == ToolOil && rc == 0 && w[kWordStiffness] >= 1 && w[kWordStiffness] <= 3) {
      Brush* b = CurrentBrush();
      FillBristleDab(b->mask, b->width, StrokeCtx.profile, Draw.power, 2 * w[kWordStiffness]);
    }
    switch (tool) {
      case ToolPencil:
        Draw.dabTexture = DabTexturePencil;
        break;
      case ToolChalk:
        Draw.dabTexture = DabTextureChalk;
        break;
      case ToolAirbrush:
        BuildAirbrushResponse(w[kWordResponse]);
        break;
      case ToolWaterColor:
        BuildWaterColorResponse();
        break;
      case ToolOil:
        BuildReliefRamp(Draw.APen);
        BuildOilResponse(w[kWordResponse]);
        break;
      case ToolGouache:
        BuildReliefRamp(Draw.APen);
        BuildGouacheResponse();
        break;
    }
    if (IsWetTool(tool)) {
      Wet.on = true;
      Wet.tool = tool;
      StrokeCtx.keepWet = w[kWordNoDrying] != 0;
    }
    return rc;
  }
  // The custom and the text Brush stamp an image.
  const CustomBrushRecord& c = Tools.custom;
  if (tool == ToolTextBrush)
    flags(0, 0, c.limit, 0);
  else
    flags(c.pressure, c.speed, c.limit, c.inversion);
  Draw.power = std::clamp(c.opacity, 0, 255);
  Brush* b = MakeCustomBrush(c);
  if (!b) return -1;
  StrokeCtx.step = c.autoStep ? std::min(b->width, b->height) / 4 : std::max(c.step, 0);
  SetCurrentBrush(b);
  return 0;
}

void SelectDrawingTool(int tool) {
  EndCurrentShapeTool();
  Tools.current = std::clamp(tool, 0, static_cast<int>(ToolTextBrush));
  // Colour that builds up over many strokes wants manual undo steps; any other tool automatic.
  bool buildsUp = IsWetTool(Tools.current) && Tools.dab[Tools.current].word[kWordNoDrying];
  SetUndoMode(buildsUp ? 1 : 0);
  ActivateTool();
}

int ToolSize() {
  const int tool = Tools.current;
  if (tool == ToolPen) return Tools.pen.size1;
  if (IsDabTool(tool)) return Tools.dab[tool].word[kWordSize];
  return 0;
}

int SetToolSize(int value) {
  const int tool = Tools.current;
  int old = ToolSize();
  if (tool == ToolPen)
    Tools.pen.size1 = std::clamp(value, SizeMin(tool), SizeMax(tool));
  else if (IsDabTool(tool))
    Tools.dab[tool].word[kWordSize] = std::clamp(value, SizeMin(tool), SizeMax(tool));
  else
    return old;
  ActivateTool();
  return old;
}

void SetToolDrying(bool drying) {
  const int tool = Tools.current;
  if (!IsWetTool(tool)) return;
  Tools.dab[tool].word[kWordNoDrying] = drying ? 0 : 1;
  Wet.stale = true;
  SetUndoMode(drying ? 0 : 1);
  ActivateTool();
}

void SetToolPower(int tool, int power) {
  power = std::clamp(power, 0, 255);
  if (IsDabTool(tool))
    Tools.dab[tool].word[kWordPower] = power;
  else if (tool == ToolPropellingPencil)
    Tools.pointe.opacity = power;
  else if (tool == ToolCustomBrush)
    Tools.custom.opacity = power;
  else
    return;
  if (tool == Tools.current) ActivateTool();
}

void PreviousTool() {
  SelectDrawingTool(Tools.current <= ToolPen ? ToolGouache
                                             : std::min<int>(Tools.current - 1, ToolGouache));
}

void NextTool() {
  SelectDrawingTool(Tools.current >= ToolGouache ? ToolPen : Tools.current + 1);
}

void ResetTool() {
  SelectDrawingTool(ToolPen);
}

void ChangeToolSize(int steps) {
  if (Tools.current == ToolCustomBrush) {
    for (int i = 0; i < std::abs(steps); ++i) StepCustomImage(steps > 0 ? 1 : -1);
    return;
  }
  SetToolSize(ToolSize() + steps);
}

void IncreaseToolsSize() {
  ChangeToolSize(1);
}

void DecreaseToolsSize() {
  ChangeToolSize(-1);
}

void PressToolUndo(bool left, bool right) {
  if (!Wet.on) {
    PressUndo(left, right);
    return;
  }
  const bool keep = left && !right && StrokeCtx.keepWet && !Wet.stale && Ws.drawMode != DrawImpress;
  if (!keep) {
    // The stroke recomputes the page from the undo image: it must be the page as it stands.
    if (Ws.undoMode != 2 && Undo.captureAllowed) SaveUndo();
    ClearWetDirty();
    Wet.stale = false;
  }
  if (right) Wet.stale = true;
}

// ---- Settings ---------------------------------------------------------------------------------

namespace {

constexpr const char* kSection = "Pens";

struct ToolName {
  int tool;
  const char* key;
};
const ToolName kToolNames[] = {
    {ToolPen, "Pen"},     {ToolPropellingPencil, "Pointe"}, {ToolPencil, "Pencil"},
    {ToolChalk, "Chalk"}, {ToolAirbrush, "Airbrush"},       {ToolWaterColor, "Wet"},
    {ToolOil, "Oil"},     {ToolGouache, "Water"},           {ToolCustomBrush, "Brush"},
};

// The words each dab tool's key holds, in order; -1 stands for a fixed 100.
struct DabKey {
  int tool;
  std::vector<int> words;
};
const std::vector<DabKey>& DabKeys() {
  static const std::vector<DabKey> keys = {
      {ToolAirbrush, {0, 1, 2, 3, 4, 5, 6, 7, 9, 29}},
      {ToolWaterColor, {0, 1, 2, 3, 4, 5, 6, 7, 9, -1, 30, 31}},
      {ToolOil, {0, 1, 2, 3, 4, 5, 6, 7, 9, 29, 30, 31}},
      {ToolGouache, {0, 1, 2, 3, 4, 5, 6, 7, 9, 29, 30, 31}},
      {ToolChalk, {0, 1, 2, 3, 4, 5, 6, 7, 9}},
      {ToolPencil, {0, 1, 2, 3, 4, 5, 6, 7, 9}},
  };
  return keys;
}

std::vector<int> ReadNumbers(const char* key) {
  std::string text = ConfigString(kSection, key, "");
  std::vector<int> out;
  const char* p = text.c_str();
  while (*p) {
    char* end;
    long v = std::strtol(p, &end, 10);
    if (end == p) break;
    out.push_back(static_cast<int>(v));
    p = end;
  }
  return out;
}

void PutNumbers(const char* key, const std::vector<int>& values) {
  std::string text;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i) text += ' ';
    text += std::to_string(values[i]);
  }
  ConfigPut(kSection, key, text.c_str());
}

void ClampDab(DabRecord* r) {
  int32_t* w = r->word;
  w[kWordSize] = std::clamp(w[kWordSize], kDabSizeMin, kDabSizeMax);
  w[kWordPower] = std::clamp(w[kWordPower], 0, 255);
  w[kWordStep] = std::max(w[kWordStep], 0);
  w[kWordPreset] =
      ((w[kWordPreset] % kEnvelopePresetCount) + kEnvelopePresetCount) % kEnvelopePresetCount;
  w[kWordStiffness] = std::clamp(w[kWordStiffness], 0, 3);
}

}  // namespace

const char* ToolKey(int tool) {
  for (const ToolName& n : kToolNames)
    if (n.tool == tool) return n.key;
  return nullptr;
}

int ToolFromKey(const char* key) {
  if (!key) return -1;
  for (const ToolName& n : kToolNames)
    if (strcasecmp(n.key, key) == 0) return n.tool;
  return -1;
}

void LoadPensSettings() {
  ResetAllToolRecords();
  if (auto v = ReadNumbers("Pen"); v.size() >= 5) {
    Tools.pen = {v[0], v[1], v[2], std::clamp(v[3], 0, kPenSizeMax),
                 std::clamp(v[4], 0, kPenSizeMax)};
  }
  if (auto v = ReadNumbers("Pointe"); v.size() >= 5)
    Tools.pointe = {v[0], v[1], v[2], std::clamp(v[3], 0, 255), v[4]};
  for (const DabKey& k : DabKeys()) {
    auto v = ReadNumbers(ToolKey(k.tool));
    if (v.size() < k.words.size()) continue;
    DabRecord& r = Tools.dab[k.tool];
    for (size_t i = 0; i < k.words.size(); ++i)
      if (k.words[i] >= 0) r.word[k.words[i]] = v[i];
    ClampDab(&r);
  }
  if (auto v = ReadNumbers("Brush"); v.size() >= 8)
    Tools.custom = {v[0], v[1], v[2], std::clamp(v[3], 0, 255), std::max(v[4], 0),
                    v[5], v[6], v[7]};
  for (const DabKey& k : DabKeys()) {
    std::string curveKey = std::string(ToolKey(k.tool)) + "_Curve";
    std::string hex = ConfigString(kSection, curveKey.c_str(), "");
    if (hex.size() < 128) continue;
    uint8_t env[64];
    bool ok = true;
    for (int i = 0; i < 64 && ok; ++i) {
      unsigned v;
      ok = std::sscanf(hex.c_str() + 2 * i, "%2x", &v) == 1;
      env[i] = static_cast<uint8_t>(v);
    }
    if (ok) SetEnvelope(&Tools.dab[k.tool], env);
  }
  std::string selected = ConfigString(kSection, "Selected", "Pen");
  int tool = ToolFromKey(selected.c_str());
  Tools.current = tool < 0 ? ToolPen : tool;
  Tools.lastActivated = -1;
  ActivateTool();
  LoadShapeSettings();
}

void SavePensSettings() {
  const PenRecord& p = Tools.pen;
  PutNumbers("Pen", {p.pressure, p.speed, p.limit, p.size1, p.size2});
  const PointeRecord& o = Tools.pointe;
  PutNumbers("Pointe", {o.pressure, o.speed, o.limit, o.opacity, o.inversion});
  for (const DabKey& k : DabKeys()) {
    std::vector<int> v;
    for (int w : k.words) v.push_back(w >= 0 ? Tools.dab[k.tool].word[w] : 100);
    PutNumbers(ToolKey(k.tool), v);
    uint8_t env[64];
    GetEnvelope(Tools.dab[k.tool], env);
    char hex[129];
    for (int i = 0; i < 64; ++i) std::snprintf(hex + 2 * i, 3, "%02x", env[i]);
    ConfigPut(kSection, (std::string(ToolKey(k.tool)) + "_Curve").c_str(), hex);
  }
  const CustomBrushRecord& c = Tools.custom;
  PutNumbers("Brush",
             {c.pressure, c.speed, c.limit, c.opacity, c.step, c.autoStep, c.smooth, c.inversion});
  const char* selected = ToolKey(Tools.current);
  ConfigPut(kSection, "Selected", selected ? selected : "Pen");
  SaveShapeSettings();
}

// ---- Actions ----------------------------------------------------------------------------------

namespace {

bool HasFilledForm(int shapeTool) {
  switch (shapeTool) {
    case kToolDraw:
    case kToolCircle:
    case kToolRectangle:
    case kToolSpline:
    case kToolEllipse:
      return true;
    default:
      return false;
  }
}

// A second press on the key of the current shape turns it between outline and fill.
void Choose(int shapeTool) {
  const bool again = CurrentTool == shapeTool && !CurrentToolHook();
  SelectGadget(shapeTool, -1);
  if (again && HasFilledForm(shapeTool)) ToggleShapeFilled(shapeTool);
}

// The right click's press on the current shape's gadget.
void OpenSettings() {
  const int tool = CurrentTool;
  SelectGadget(tool, -2);
  OpenShapeSettings(tool);
}

const ActionRow kToolActions[] = {
    {"ToolPen", [] { SelectDrawingTool(ToolPen); }},
    {"ToolPropPencil", [] { SelectDrawingTool(ToolPropellingPencil); }},
    {"ToolPencil", [] { SelectDrawingTool(ToolPencil); }},
    {"ToolChalk", [] { SelectDrawingTool(ToolChalk); }},
    {"ToolAirBrush", [] { SelectDrawingTool(ToolAirbrush); }},
    {"ToolWaterColor", [] { SelectDrawingTool(ToolWaterColor); }},
    {"ToolOil", [] { SelectDrawingTool(ToolOil); }},
    {"ToolGouache", [] { SelectDrawingTool(ToolGouache); }},
    {"PreviousTool", PreviousTool},
    {"NextTool", NextTool},
    {"ResetTool", ResetTool},
    {"IncreaseToolsSize", IncreaseToolsSize},
    {"IncreaseToolsSize2", IncreaseToolsSize},
    {"DecreaseToolsSize", DecreaseToolsSize},
    {"DecreaseToolsSize2", DecreaseToolsSize},
    {"SelectAntiAlias", [] { SelectGadget(45, -1); }},
    {"SelectPoint", [] { Choose(kToolPoint); }},
    {"SelectDraw", [] { Choose(kToolDraw); }},
    {"SelectLine", [] { Choose(kToolLine); }},
    {"SelectCircle", [] { Choose(kToolCircle); }},
    {"SelectRectangle", [] { Choose(kToolRectangle); }},
    {"SelectSpline", [] { Choose(kToolSpline); }},
    {"SelectEllipse", [] { Choose(kToolEllipse); }},
    {"OpenSettings", OpenSettings},
    {"SwapABPen", SwapPens},
};

}  // namespace

std::span<const ActionRow> ToolActions() {
  return kToolActions;
}

}  // namespace vela
