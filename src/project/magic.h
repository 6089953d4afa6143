// The hidden panel of developer functions behind a number.
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

// Known codes: 1024 cache size, 1025 processors, 1026 preview speed, 1027 screen position,
// 1028 timed full redraw. Any other number does nothing.
void MagicNumber();
std::span<const ActionRow> MagicNumberActions();

}  // namespace vela
