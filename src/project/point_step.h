#pragma once

namespace vela {
// The step of the point tool: a dot of the A pen (B pen with the right button) under the pointer.
void PointStep();
}
