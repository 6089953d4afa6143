// Edit Keyboard Mapping: the key rows and the actions side by side. It works on a copy of the map,
// which " OK " makes the map.
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

struct Window;

Window* OpenKeymapWindow();
void CloseKeymapWindow();
bool KeymapWindowOpen();
// Selects a key row and an action row, as a press on them would (tests and scripts).
void KeymapSelect(int keyRow, int actionRow);

// ConfigureKeyboard.
std::span<const ActionRow> KeymapActions();

}  // namespace vela
