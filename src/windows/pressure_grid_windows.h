// The Pressure window (the pressure and speed curves, each shaped by one handle) and the Grid
// window, titled "Gridding": pitch, origin, "Adjust" by a rubber cell and "Use Brush Size".
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

struct Window;

Window* OpenPressure();
void ClosePressure();
Window* PressureWindow();

Window* OpenGrid();
void CloseGrid();
Window* GridWindow();
// Shows the grid's values again after a change from elsewhere (SetGrid, a key).
void RefreshGrid();

// WIN_X, WIN_Y and Display of sections Pressure and Grid; run after the paint engine's own.
void LoadPressureGridWindows();
void SavePressureGridWindows();

// OpenPressure, OpenGrid and ActiveGrid.
std::span<const ActionRow> PressureGridActions();

}  // namespace vela
