// The Window that shows every kind of gadget.
#pragma once

namespace vela {

struct Window;

Window* OpenDemoWindow();
void CloseDemoWindow();
bool DemoWindowOpen();

}  // namespace vela
