// The seventeen draw modes: their table, the state their loops share, and the loop selection.
#pragma once

#include <cstdint>

#include "paint/brush.h"
#include "pixels/block.h"

namespace vela {

enum DrawMode : int32_t {
  DrawColor = 0,
  DrawStamp = 1,
  DrawMerge = 2,
  DrawColorize = 3,
  DrawSmooth = 4,
  DrawBlur = 5,
  DrawSmear = 6,
  DrawShift = 7,
  DrawShade = 8,
  DrawLight = 9,
  DrawGrain = 11,
  DrawTint = 12,
  DrawImpress = 13,
  DrawBehind = 14,
  DrawErase = 15,
  DrawReplace = 16,
  DrawPantograph = 17,
};

struct DrawModeRow {
  const char* label;
  int32_t number;
  const char* keywords[3];  // for qd_setdrawmode; unused slots are null
  const char* action;
};
constexpr int kDrawModeCount = 17;
extern const DrawModeRow DrawModes[kDrawModeCount];  // menu order

const DrawModeRow* FindDrawMode(int number);  // null outside the table
const char* DrawModeLabel(int number);        // "GNAC GNAC" outside the table
int DrawModeFromKeyword(const char* word);    // any case; -1 when unknown
bool DrawModeNeedsSpare(int number);

// The mode is Ws.drawMode, state of the run alone: every run and every new page size start in
// Color, so no setting keeps it. Sets the mode; false (and nothing changed) for Merge or Impress
// without a Spare.
bool SetDrawMode(int number);
// The mode a DrawMode... action moves to from the current one; -1 for an unknown action.
int DrawModeAfterAction(const char* action, int current);
bool RunDrawModeAction(const char* action);
void SetAPen(Pixel pen);  // keeps ColorizeRamp and TintHue in step with the pen
void SwapPens();          // the A and B pens change places
// Called when the mode label must be shown again.
extern void (*DrawModeChanged)(int number);

// ---- State shared by the loops --------------------------------------------------------------
extern Pixel ColorizeRamp[256];
void BuildColorizeRamp(Pixel pen);

struct TintHueState {
  int32_t sextant = -1;  // -1 for a grey pen
  int32_t fraction = 0;  // 16.16
};
extern TintHueState TintHue;
void BuildTintHue(Pixel pen);

extern uint16_t PaintNoise;
inline int StepPaintNoise() {
  unsigned n = (PaintNoise + 25953u) & 0xFFFF;
  n = ((n >> 5) | (n << 11)) & 0xFFFF;
  PaintNoise = static_cast<uint16_t>(n);
  return static_cast<int>(n);
}

struct GrainState {
  int32_t setting = 4;  // 0..7
  int32_t p = 255 >> 4;
  int32_t q = ~(255 >> 4) & 255;
  int32_t step = (255 >> 4) + 1;
};
extern GrainState Grain;
void SetGrain(int setting);

// Mean of the pixels whose mask byte is non-zero, the brush's top-left at (x, y); 0 for none.
Pixel MeanUnderBrush(const Brush& brush, const Block* block, int x, int y);
// The same mean made opaque: each channel times 255/alpha; APen for alpha 0.
Pixel UnpremultipliedMean(Pixel mean);

}  // namespace vela
