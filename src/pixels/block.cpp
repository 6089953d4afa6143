#include "pixels/block.h"

#include <cstdlib>
#include <cstring>

#include "start/message.h"

namespace vela {

int64_t BlockBytes = 0;

namespace {
TrimHook g_trim = nullptr;

size_t DataBytes(int width, int height) {
  return (static_cast<size_t>(height) + 2) * static_cast<size_t>(width) * 4 + 16;
}

BlockView* MakeView(Block* b) {
  auto* v = static_cast<BlockView*>(std::calloc(1, sizeof(BlockView)));
  if (!v) return nullptr;
  v->width = b->width;
  v->height = b->height;
  v->red = 2;
  v->green = 1;
  v->blue = 0;
  v->alpha = 3;
  v->data = b->data;
  v->block = b;
  return v;
}
}  // namespace

void SetAllocTrimHook(TrimHook hook) { g_trim = hook; }

int64_t BlockCost(int width, int height) {
  return (static_cast<int64_t>(height) + 2) * width * 4 + 20;
}

Block* AllocBlock(int width, int height) {
  if (width < 1 || height < 1) return nullptr;
  // Sizes whose byte count overflows are refused rather than wrapped.
  if (static_cast<uint64_t>(width) * (static_cast<uint64_t>(height) + 2) > (uint64_t{1} << 40))
    return nullptr;
  auto* b = static_cast<Block*>(std::calloc(1, sizeof(Block)));
  if (!b) return nullptr;
  void* data = std::malloc(DataBytes(width, height));
  if (!data && g_trim) {
    g_trim();
    data = std::malloc(DataBytes(width, height));
  }
  if (!data) {
    std::free(b);
    return nullptr;
  }
  b->width = width;
  b->height = height;
  b->data = static_cast<Pixel*>(data);
  b->guard = kBlockGuard;
  b->view = MakeView(b);
  BlockBytes += BlockCost(width, height);
  return b;
}

Block* NewBlock(int width, int height) {
  Block* b = AllocBlock(width, height);
  if (b) std::memset(b->data, 0, DataBytes(width, height));
  return b;
}

void InitBlock(Block* header, int width, int height, Pixel* data) {
  header->width = width;
  header->height = height;
  header->data = data;
  header->guard = kBlockGuard;
  header->view = MakeView(header);
}

void ReleaseBlockView(Block* header) {
  std::free(header->view);
  header->view = nullptr;
}

int FreeBlock(Block* block) {
  if (!block) return 0;
  if (block->guard != kBlockGuard) {
    Message("Error in FreeBlock");
    return 0;
  }
  std::free(block->data);
  BlockBytes -= BlockCost(block->width, block->height);
  block->data = nullptr;
  block->guard = 0;
  std::free(block->view);
  block->view = nullptr;
  std::free(block);
  return 0;
}

}  // namespace vela
