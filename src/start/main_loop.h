// The main loop of the program.
#pragma once

namespace vela {

// Runs until the exit flag is set. Headless, with nothing to read, it returns at once.
void MainLoop();

extern int ExitFlag;
extern int QuitRequest;

// Redraws the whole screen, set by the display module.
void SetRedrawHook(void (*redraw)());
void RedrawScreen();

}  // namespace vela
