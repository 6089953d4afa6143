// The file actions of the keys and menus: each asks for its path and runs the load or save.
#pragma once

#include <span>

#include "start/actions.h"

namespace vela {

std::span<const ActionRow> FileActions();

}  // namespace vela
