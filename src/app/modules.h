#pragma once

#include "start/run.h"

namespace vela {
// The ordered module lists of this build.
const RunHooks& ProgramHooks();
}
