// The Tools window: the eight drawing tools to choose from and, in its large form, the current
// tool's settings, its envelope and the presets. It follows the tool in idle time.
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

struct Window;

// Opens it in the form it had last, or brings it to the front; null when memory ran out.
Window* OpenTools();
// Opens it, or turns it, small or large.
Window* OpenToolsLarge(bool large);
void CloseTools();
bool ToolsOpen();
Window* ToolsWindow();
bool ToolsLarge();
// Shows what changed in the record; a change of tool builds the Window again.
void RefreshTools();

// Keys WIN_X, WIN_Y, WIN_MAX and Display of section "Pens".
void LoadToolsWindowSettings();
void SaveToolsWindowSettings();

// OpenTools.
std::span<const ActionRow> ToolsWindowActions();

}  // namespace vela
