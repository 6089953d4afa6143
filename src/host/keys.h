// Host key numbers: the virtual-key numbering the key map and its files are written in.
#pragma once

#include <SDL_scancode.h>

#include <string>
#include <vector>

namespace vela {

int HostKeyFromScancode(SDL_Scancode code);  // 0 for keys the program does not know
std::vector<int> Cp1252FromUtf8(const char* text);

}  // namespace vela
