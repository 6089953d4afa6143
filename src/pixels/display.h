// From a Block to the screen, and to a PNG file.
#pragma once

#include <string>

#include "pixels/block.h"

namespace vela {

// Sends a rectangle of a Block to the host window at (tx, ty). The 32-bit screen takes the
// pixels as they are; the alpha byte is ignored, so premultiplied colour shows over black.
void BlitBand(const Block* block, int sx, int sy, int tx, int ty, int w, int h);

// Writes the Block as an RGBA PNG with straight (un-premultiplied) alpha.
bool WriteBlockPng(const Block* block, const char* path, std::string* error);

}  // namespace vela
