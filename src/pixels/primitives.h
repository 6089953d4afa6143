// Plain operations on Blocks: pixels, rectangles, lines, copies, mirrors and quarter turns.
// Coordinates are Block coordinates with (0,0) the top left corner. Copies move whole 32-bit
// words; nothing here blends (see pixels/blend.h) and nothing keeps state.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

int PutPixel(Block* block, int x, int y, Pixel pixel);  // 0 if written, 1 if outside
Pixel GetPixel(const Block* block, int x, int y);       // 0 outside, the same word as transparent

void FillBlock(Block* block, Pixel pixel);
// Corners in any order, inclusive, clipped. kBackgroundToken paints Ws.sysColors[BACKGROUNDCOLOR].
void FillRect(Block* block, int x0, int y0, int x1, int y1, Pixel pixel);
// XOR of the colour channels with 0xFFFFFF, alpha kept; corners as for FillRect.
void InvertRect(Block* block, int x0, int y0, int x1, int y1);
// Bresenham, plain stores, both ends drawn. The caller clips: every point must lie in the Block.
void DrawLine(Block* block, int x0, int y0, int x1, int y1, Pixel pixel);

// No clipping: both rectangles must lie inside their Blocks.
void CopyRect(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h);
void SwapRect(Block* a, int ax, int ay, Block* b, int bx, int by, int w, int h);

// Clipped against dst only; a negative dx or dy moves the source start. -1 if nothing remains.
int BlitRect(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h);
// As BlitRect, but a source word of 0 leaves the destination as it is.
int BlitRectSolid(const Block* src, int sx, int sy, Block* dst, int dx, int dy, int w, int h);
// Writes pixel wherever the mask byte is non-zero. The mask is a plane of maskWidth by maskHeight
// bytes; the rectangle is clipped against it and against dst. -1 without a mask or if nothing
// remains.
int StampMask(const uint8_t* mask, int maskWidth, int maskHeight, int sx, int sy, Block* dst,
              int dx, int dy, int w, int h, Pixel pixel);

int CopyBlock(const Block* src, Block* dst);  // -1 and nothing copied if the sizes differ
void SwapBlock(Block* a, Block* b);           // the caller checks the sizes

void FlipHorizontal(Block* block);
void FlipVertical(Block* block);

// A clockwise quarter turn into a new Block of height by width: row y becomes column
// height - 1 - y. Reports " Not enough memory" and returns null when no Block can be had.
Block* RotateRight(const Block* block);
int RotateRightInto(const Block* src, Block* dst);  // -1 unless dst is src's size swapped

}  // namespace vela
