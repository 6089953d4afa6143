// The page of the run: the Blocks that belong to the page size, and the screen that shows it.
#pragma once

namespace vela {

// The Blocks of a run that has no real page yet: a 1 by 1 page, the mask, the stroke buffer
// and, unless undo is off, the undo Block. 0, or -1 after " Not enough memory".
int OpenGraphicsBlocks();

// Makes every page-sized Block for a new page size, cleared, and shows it. On failure it reports
// " Not enough memory" and falls back to a 32 by 32 page so the run continues; returns false then.
bool MakePage(int width, int height);

// Puts the page in the middle of the screen.
void RecenterPage();

// Redraws the screen: the interface background and the page on it.
void RedrawAll();

// Frees every page-sized Block.
void ReleasePage();

}  // namespace vela
