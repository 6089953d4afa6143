// The Layers window, named the Mixer: the layers front to back with their thumbnails, opacity
// and visibility, the time-line of the current layer with its range and light table, and the
// buttons of the layer actions. It follows the model by itself in idle time.
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

struct Window;

// Opens it, or brings it to the front; null when memory ran out (after the message).
Window* OpenMixer();
void CloseMixer();
bool MixerOpen();
Window* MixerWindow();
// Draws the Window again when anything it shows has changed since it was last drawn.
void RefreshMixer();

// Screen points of the middle of a layer's row and of a time-line cell; false when that row or
// cell is not in view.
bool MixerLayerPoint(int index, int* x, int* y);
bool MixerCellPoint(int position, int* x, int* y);

// Section MLayers: Display, WIN_X, WIN_Y, WIN_W, WIN_H and the small form's WIN_MX, WIN_MY,
// WIN_MW, WIN_MH. Saving closes the Window.
void LoadMixerSettings();
void SaveMixerSettings();

// OpenMixer and ToggleMixer.
std::span<const ActionRow> MixerActions();

}  // namespace vela
