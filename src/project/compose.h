// What the screen shows of the page: the layers in front of the current one and those behind it
// are merged in advance, so a stroke costs a three-way blend of its own rectangle however many
// layers there are.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

// Bits of Ws.displayFlags.
constexpr uint32_t kDisplayVideo = 2, kDisplayColor = 4, kDisplayCheck = 0x2000;
constexpr uint32_t kDisplayValid = 0x20, kDisplayFront = 0x80, kDisplayBack = 0x100,
                   kDisplayBoth = 0x400, kDisplayGamma = 0x1000;

// Puts a page rectangle on the screen, composed.
void ShowPage(int x, int y, int w, int h);
// The composed value of a page pixel, background included.
Pixel MergedPixel(int x, int y);
// The composed rectangle into out (w * h pixels, row after row); no background when flag is 0.
void MergedRow(int x, int y, Pixel* out, int w, int h, int flag);
// The background words of the settings to display flags, and back.
void SetBackgroundMode(int mode);  // 0 none, 1 colour, 2 check
int BackgroundMode();
// Windows over the page hear of each shown rectangle (screen pixels) so they can stay on top.
extern void (*PageShownHook)(int x, int y, int w, int h);
// The screen rectangles of the Windows over the page, front first; ShowPage leaves what they cover
// alone. Null, or an empty answer, when there are none.
struct ScreenRect {
  int x, y, w, h;
};
struct ScreenRects {
  const ScreenRect* rects;
  int count;
};
extern ScreenRects (*PageCoversHook)();
// Monitor gamma: four tables of 256 bytes (red, green, blue, alpha) that every composed pixel
// goes through while kDisplayGamma is set. Null restores the identity.
void SetGammaTables(const uint8_t (*tables)[256]);
// What the display shows at a position, without background, from the stored images (store the
// open one first).
bool ComposeDisplayAt(Block* out, int position);
// Frees the merge Blocks and the row buffers.
void ReleaseDisplay();

}  // namespace vela
