// Pen pressure and sub-pixel position from XInput2 valuators, read on a connection of our own.
#pragma once

struct SDL_Window;

namespace vela {

struct HostTabletPacket;

void XiTabletOpen(SDL_Window* window);
void XiTabletClose();
bool XiTabletPresent();
int XiTabletPackets(HostTabletPacket* out, int max);

}  // namespace vela
