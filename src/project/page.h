// The page of the run: the Blocks that belong to the page size, and the screen that shows it.
#pragma once

namespace vela {

// The Blocks of a run that has no real page yet: a 1 by 1 page, the mask, the stroke buffer
// and, unless undo is off, the undo Block. 0, or -1 after " Not enough memory".
int OpenGraphicsBlocks();

// Makes every page-sized Block for a new page size, cleared, and shows it. On failure it reports
// " Not enough memory" and falls back to a 32 by 32 page so the run continues; returns false then.
bool MakePage(int width, int height);

// Centres a page that is smaller than the page area less 40 pixels; keeps at least 20 pixels of
// a larger one in view. True when the page moved; the caller redraws.
bool RecenterPage();
// The part of the screen the page may use: what the menu bar leaves. Margins in screen pixels.
void SetPageArea(int left, int top, int right, int bottom);

// Redraws the screen: the interface background and the page on it, then what lies over them.
void RedrawAll();
// The Windows over the screen, put back after a full redraw; null without a window system.
extern void (*AfterRedrawAll)();

// Frees every page-sized Block.
void ReleasePage();

}  // namespace vela
