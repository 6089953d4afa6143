// The window system in the run.
#pragma once

namespace vela {

// Renders the interface font once; a missing font is reported and the run goes on.
bool OpenInterfaceFont();
// The main loop asks the Windows first for presses, keys and idle work.
void InstallWindowSystem();
void ReleaseWindowSystem();

}  // namespace vela
