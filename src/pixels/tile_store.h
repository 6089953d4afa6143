// Images of a layer or an AnimBrush as a list of frames cut into 64 by 64 tiles. Each tile is
// packed with the pixel run code and kept in the disk cache; equal tiles are shared between
// frames by reference count, so a still background costs one frame. Writing a frame always makes
// a new link: no stored tile is ever changed in place while another frame uses it.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

constexpr int kTileSize = 64;
constexpr int kFrameEmpty = 1;
constexpr int kFrameTiles = 32;

struct TileRef {
  int32_t refCount;
  int32_t size;  // packed bytes
  int32_t key;   // cache key
};

struct ImageLink {
  int32_t refCount;
  int32_t thumbWidth;
  int32_t thumbHeight;
  int32_t thumbKey;  // 0: no thumbnail
  int32_t reserved;
  int32_t tileCount;
  TileRef** tiles;  // row by row; a null slot reads as nothing
};

struct SequenceFrame {
  SequenceFrame* prev;
  SequenceFrame* next;
  int32_t state;  // kFrameEmpty or kFrameTiles
  int32_t stamp;  // of last use
  ImageLink* link;
};

struct ImageSequence;

// The operations through which the program reaches frames; another kind of sequence fills the
// slots with its own functions. Indexes count from 0; out of range gives 0.
struct SequenceOps {
  int (*GetThumbnail)(ImageSequence* s, int index, Block* block);
  int (*RemoveFrame)(ImageSequence* s, int index);
  int (*AddFrame)(ImageSequence* s, const Block* block, int position, int mode);
  int (*StoreFrame)(ImageSequence* s, const Block* block, int index, int mode);
  int (*LoadFrame)(ImageSequence* s, Block* block, int index);
  int (*BlendFrame)(ImageSequence* s, Block* block, int index, int opacity);
  int (*DuplicateFrame)(ImageSequence* s, int index);
  int (*ExchangeFrames)(ImageSequence* a, int indexA, ImageSequence* b, int indexB);
  void* reserved1;
  void* reserved2;
  double (*FrameCost)(ImageSequence* s, int index, int32_t* stamp);
  void* WriteFrame;  // the stream form of project files; filled in by the project file
  void* ReadFrame;
  void (*Destroy)(ImageSequence* s);
  int (*LinkFrameFrom)(ImageSequence* source, int index, ImageSequence* dest, int position);
};

struct ImageSequence {
  SequenceFrame* first;
  int32_t tileSize;
  int32_t count;
  int32_t width;
  int32_t height;
  SequenceOps ops;
  char name[64];
};

// A new sequence of tiles with no frames, or null (" Not enough memory" reported). Trims the cache.
ImageSequence* CreateSequence(const char* name, int width, int height);

// The operations of the tile sequence, also callable directly.
int GetThumbnail(ImageSequence* s, int index, Block* block);
int RemoveFrame(ImageSequence* s, int index);
// position -1 puts the frame at the front; a null block adds an empty frame.
int AddFrame(ImageSequence* s, const Block* block, int position, int mode);
// mode is the cache mode of the tiles (0 memory preferred, 1 to disk when memory lacks).
int StoreFrame(ImageSequence* s, const Block* block, int index, int mode);
int LoadFrame(ImageSequence* s, Block* block, int index);
int BlendFrame(ImageSequence* s, Block* block, int index, int opacity);
int DuplicateFrame(ImageSequence* s, int index);
int ExchangeFrames(ImageSequence* a, int indexA, ImageSequence* b, int indexB);
double FrameCost(ImageSequence* s, int index, int32_t* stamp);
void Destroy(ImageSequence* s);
int LinkFrameFrom(ImageSequence* source, int index, ImageSequence* dest, int position);

SequenceFrame* FrameAt(const ImageSequence* s, int index);

// Scales a Block so that its long side is 64 and the short side keeps the ratio (at least 1).
// out holds 64 * 64 pixels.
void MakeThumbnail(const Block* block, Pixel* out, int* width, int* height);

}  // namespace vela
