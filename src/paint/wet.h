// Wet strokes: the page is recomputed from the stroke's base through a map of laid paint, so a
// stroke never blends into its own earlier dabs.
#pragma once

#include <cstdint>

#include "paint/brush.h"
#include "pixels/block.h"
#include "start/workspace.h"

namespace vela {

enum WetTool : int32_t { WetAirbrush = 4, WetWaterColor = 5, WetOil = 6, WetGouache = 7 };

struct WetRect {
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;  // x1, y1 exclusive
  bool set = false;
};

struct WetSettings {
  bool on = false;  // the wet switch
  int32_t tool = WetAirbrush;
  bool additive = false;                // Airbrush: plain sums in the map
  const Pixel* rangeColours = nullptr;  // 256 colours of the Range by density, or null
  bool stale = false;                   // the base must be taken again at the next press
  WetRect dirty;                        // of the WetMap, grown by every pass
};
extern WetSettings Wet;
extern uint8_t WetResponse[256];
extern Pixel ReliefRamp[512];  // index g + 256, g = -256..255

// The map is the page-sized fill mask plane; the base is the Undo image.
inline uint8_t* WetMap() {
  return Ws.mask;
}
inline Block* WetBase() {
  return Ws.undo;
}

void BuildAirbrushResponse(int percent);
void BuildWaterColorResponse();
void BuildOilResponse(int percent);
void BuildGouacheResponse();
void BuildReliefRamp(Pixel colour);

bool WetModeApplies(int mode, bool erase);
// Both stages of a pass: accumulate into the map, recompute the brush rectangle of the page.
// -1 when the mode has no wet form (the caller runs the plain loop) or a plane is missing.
int WetStampPass(const Brush& brush, Block* page, int x, int y, Pixel colour, bool erase,
                 int opacity);
void WetAccumulate(const Brush& brush, int pageWidth, int pageHeight, int x, int y, int opacity);
void WetRecompute(Block* page, int x, int y, int width, int height, Pixel colour, bool erase);
void ClearWetDirty();  // clears the map inside the dirty rectangle only
void FlushWetStroke();

}  // namespace vela
