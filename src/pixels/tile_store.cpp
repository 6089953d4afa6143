#include "pixels/tile_store.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "pixels/blend.h"
#include "pixels/disk_cache.h"
#include "pixels/pixel_rle.h"
#include "start/message.h"

namespace vela {

namespace {

// Worst case of the run code for a full tile is 5 bytes a pixel; 6 leaves room.
constexpr size_t kScratchBytes = kTileSize * kTileSize * 6;
constexpr int kThumbSide = 64;

uint8_t* g_scratch = nullptr;
int g_users = 0;
int32_t g_stamp = 0;

bool EnsureScratch() {
  if (g_scratch) return true;
  g_scratch = static_cast<uint8_t*>(std::malloc(kScratchBytes));
  if (g_scratch) CacheScratchBytes += kScratchBytes;
  return g_scratch != nullptr;
}

void FreeScratch() {
  if (!g_scratch) return;
  std::free(g_scratch);
  g_scratch = nullptr;
  CacheScratchBytes -= kScratchBytes;
}

int TileColumns(const ImageSequence* s) {
  return (s->width + kTileSize - 1) / kTileSize;
}
int TileRows(const ImageSequence* s) {
  return (s->height + kTileSize - 1) / kTileSize;
}

struct TileRect {
  int x, y, w, h;
};

TileRect TileAt(const ImageSequence* s, int i) {
  const int cols = TileColumns(s);
  TileRect r{(i % cols) * kTileSize, (i / cols) * kTileSize, 0, 0};
  r.w = std::min(kTileSize, s->width - r.x);
  r.h = std::min(kTileSize, s->height - r.y);
  return r;
}

ImageLink* NewLink(int tiles) {
  auto* link = static_cast<ImageLink*>(std::calloc(1, sizeof(ImageLink)));
  if (!link) return nullptr;
  link->tiles = static_cast<TileRef**>(std::calloc(static_cast<size_t>(tiles), sizeof(TileRef*)));
  if (!link->tiles) {
    std::free(link);
    return nullptr;
  }
  link->refCount = 1;
  link->tileCount = tiles;
  return link;
}

void ReleaseTile(TileRef* t) {
  if (!t || --t->refCount > 0) return;
  CacheDelete(t->key);
  std::free(t);
}

void ReleaseLink(ImageLink* link) {
  if (!link || --link->refCount > 0) return;
  if (link->thumbKey) CacheDelete(link->thumbKey);
  for (int i = 0; i < link->tileCount; ++i) ReleaseTile(link->tiles[i]);
  std::free(link->tiles);
  std::free(link);
}

bool SameSize(const ImageSequence* s, const Block* b) {
  return b && b->width == s->width && b->height == s->height;
}

void InsertAfter(ImageSequence* s, SequenceFrame* after, SequenceFrame* f) {
  f->prev = after;
  f->next = after ? after->next : s->first;
  if (f->next) f->next->prev = f;
  if (after)
    after->next = f;
  else
    s->first = f;
  ++s->count;
}

// Where a new frame goes: after the frame at position, or at the front for -1.
bool InsertionPoint(const ImageSequence* s, int position, SequenceFrame** after) {
  *after = nullptr;
  if (position == -1) return true;
  *after = FrameAt(s, position);
  return *after != nullptr;
}

SequenceFrame* NewFrame(ImageLink* link, int state) {
  auto* f = static_cast<SequenceFrame*>(std::calloc(1, sizeof(SequenceFrame)));
  if (!f) {
    Message(" Not enough memory");
    return nullptr;
  }
  f->state = state;
  f->link = link;
  if (link) ++link->refCount;
  f->stamp = ++g_stamp;
  return f;
}

inline Pixel LoadPixel(const uint8_t* p) {
  Pixel v;
  std::memcpy(&v, p, 4);
  return v;
}

// Blends one packed row straight into dst: a run is scaled once and transparent runs cost
// nothing. Returns the bytes used, or -1 on a corrupt stream.
ptrdiff_t BlendStream(const uint8_t* src, size_t len, Pixel* dst, size_t n, int opacity) {
  auto literal = [&](size_t i, const uint8_t* bytes, size_t count) {
    Pixel* d = dst + i;
    if (opacity == 255) {
      for (size_t k = 0; k < count; ++k) d[k] = OverPixel(d[k], LoadPixel(bytes + 4 * k));
    } else {
      for (size_t k = 0; k < count; ++k)
        d[k] = ScaledOverPixel(d[k], LoadPixel(bytes + 4 * k), opacity);
    }
  };
  auto run = [&](size_t i, Pixel p, size_t count) {
    Pixel* d = dst + i;
    if ((p >> 24) == 0) return;
    if (opacity == 255) {
      if ((p >> 24) == 255)
        std::fill_n(d, count, p);
      else
        for (size_t k = 0; k < count; ++k) d[k] = OverPixel(d[k], p);
    } else {
      const Pixel scaled = ScalePixel(p, opacity);
      for (size_t k = 0; k < count; ++k)
        d[k] = (d[k] >> 24) == 0 ? scaled : OverPixel(d[k], scaled);
    }
  };
  return PixelRLEWalk(src, len, n, literal, run);
}

double LinkCost(const ImageLink* link) {
  double sum = 0;
  for (int i = 0; i < link->tileCount; ++i)
    if (const TileRef* t = link->tiles[i]) sum += static_cast<double>(t->size) / t->refCount;
  return sum;
}

const SequenceOps kTileSequenceOps = {GetThumbnail, RemoveFrame, AddFrame,       StoreFrame,
                                      LoadFrame,    BlendFrame,  DuplicateFrame, ExchangeFrames,
                                      nullptr,      nullptr,     FrameCost,      nullptr,
                                      nullptr,      Destroy,     LinkFrameFrom};

}  // namespace

SequenceFrame* FrameAt(const ImageSequence* s, int index) {
  if (!s || index < 0) return nullptr;
  SequenceFrame* f = s->first;
  while (f && index-- > 0) f = f->next;
  return f;
}

ImageSequence* CreateSequence(const char* name, int width, int height) {
  if (width < 1 || height < 1) return nullptr;
  auto* s = static_cast<ImageSequence*>(std::calloc(1, sizeof(ImageSequence)));
  if (!s) {
    Message(" Not enough memory");
    return nullptr;
  }
  s->tileSize = kTileSize;
  s->width = width;
  s->height = height;
  s->ops = kTileSequenceOps;
  if (name) std::snprintf(s->name, sizeof s->name, "%s", name);
  ++g_users;
  CacheTrim();
  return s;
}

void MakeThumbnail(const Block* block, Pixel* out, int* width, int* height) {
  const int64_t w = block->width, h = block->height;
  int tw, th;
  if (w >= h) {
    tw = kThumbSide;
    th = static_cast<int>(std::max<int64_t>(1, h * kThumbSide / w));
  } else {
    th = kThumbSide;
    tw = static_cast<int>(std::max<int64_t>(1, w * kThumbSide / h));
  }
  *width = tw;
  *height = th;
  const bool reduce = std::max(w, h) > kThumbSide;
  for (int y = 0; y < th; ++y) {
    const int64_t y0 = y * h / th;
    const int64_t y1 = std::min(h - 1, (2 * y + 1) * h / (2 * th));
    for (int x = 0; x < tw; ++x) {
      const int64_t x0 = x * w / tw;
      if (!reduce) {
        out[y * tw + x] = block->Row(static_cast<int>(y0))[x0];
        continue;
      }
      const int64_t x1 = std::min(w - 1, (2 * x + 1) * w / (2 * tw));
      const Pixel a = block->Row(static_cast<int>(y0))[x0],
                  b = block->Row(static_cast<int>(y0))[x1];
      const Pixel c = block->Row(static_cast<int>(y1))[x0],
                  d = block->Row(static_cast<int>(y1))[x1];
      Pixel p = 0;
      for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t sum = ((a >> shift) & 0xFF) + ((b >> shift) & 0xFF) + ((c >> shift) & 0xFF) +
                             ((d >> shift) & 0xFF);
        p |= ((sum + 2) >> 2) << shift;
      }
      out[y * tw + x] = p;
    }
  }
}

int StoreFrame(ImageSequence* s, const Block* block, int index, int mode) {
  if (!s || !SameSize(s, block)) return 0;
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  const int tiles = TileColumns(s) * TileRows(s);
  ImageLink* link = EnsureScratch() ? NewLink(tiles) : nullptr;
  if (!link) {
    Message(" Not enough memory");
    return 0;
  }
  uint8_t* buf = g_scratch;

  Pixel thumb[kThumbSide * kThumbSide];
  int tw, th;
  MakeThumbnail(block, thumb, &tw, &th);
  const int32_t thumbKey = NextKey();
  const size_t thumbSize = PixelRLEPack(thumb, static_cast<size_t>(tw) * th, buf);
  if (CachePut(thumbKey, buf, static_cast<int32_t>(thumbSize), 0)) {
    link->thumbKey = thumbKey;
    link->thumbWidth = tw;
    link->thumbHeight = th;
  }

  ImageLink* old = f->link;
  ImageLink* before = f->prev ? f->prev->link : nullptr;
  ImageLink* after = f->next ? f->next->link : nullptr;
  const int cacheMode = mode ? 1 : 0;
  bool memoryShort = false;
  for (int i = 0; i < tiles; ++i) {
    const TileRect r = TileAt(s, i);
    const int32_t size = static_cast<int32_t>(PixelRLEPackRows(
        block->data + static_cast<ptrdiff_t>(r.y) * s->width + r.x, s->width, r.w, r.h, buf));
    // Sizes nearly always differ, so the byte comparison is rare.
    const TileRef* tried[4] = {};
    auto equal = [&](TileRef* t, int k) {
      if (!t) return false;
      for (int j = 0; j < k; ++j)
        if (tried[j] == t) return false;
      tried[k] = t;
      return t->size == size && CacheCompare(t->key, buf, size);
    };
    TileRef* found = nullptr;
    if (old && equal(old->tiles[i], 0))
      found = old->tiles[i];
    else if (i > 0 && equal(link->tiles[i - 1], 1))
      found = link->tiles[i - 1];
    else if (before && equal(before->tiles[i], 2))
      found = before->tiles[i];
    else if (after && equal(after->tiles[i], 3))
      found = after->tiles[i];
    if (found) {
      ++found->refCount;
      link->tiles[i] = found;
      continue;
    }
    TileRef* t = nullptr;
    if (old && old->refCount <= 1 && old->tiles[i]) {
      // Cleared so that the release of the old link leaves this record alone.
      TileRef* mine = old->tiles[i];
      old->tiles[i] = nullptr;
      if (--mine->refCount == 0) t = mine;
    }
    if (!t) {
      t = static_cast<TileRef*>(std::malloc(sizeof(TileRef)));
      if (!t) {
        memoryShort = true;
        continue;
      }
      t->key = NextKey();
    }
    if (!CachePut(t->key, buf, size, cacheMode)) {
      std::free(t);
      continue;
    }
    t->refCount = 1;
    t->size = size;
    link->tiles[i] = t;
  }
  f->state = kFrameTiles;
  f->link = link;
  f->stamp = ++g_stamp;
  ReleaseLink(old);
  if (memoryShort) {
    Message(" Not enough memory");
    return 0;
  }
  return 1;
}

int LoadFrame(ImageSequence* s, Block* block, int index) {
  if (!s || !SameSize(s, block)) return 0;
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  f->stamp = ++g_stamp;
  const ImageLink* link = f->link;
  if (!link) return 1;
  if (!EnsureScratch()) {
    Message(" Not enough memory");
    return 0;
  }
  for (int i = 0; i < link->tileCount; ++i) {
    const TileRef* t = link->tiles[i];
    if (!t || !CacheGet(t->key, g_scratch, static_cast<int32_t>(kScratchBytes), 0)) continue;
    const TileRect r = TileAt(s, i);
    PixelRLEUnpackRows(g_scratch, static_cast<size_t>(t->size),
                       block->data + static_cast<ptrdiff_t>(r.y) * s->width + r.x, s->width, r.w,
                       r.h);
  }
  return 1;
}

int BlendFrame(ImageSequence* s, Block* block, int index, int opacity) {
  if (!s || !SameSize(s, block)) return 0;
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  const ImageLink* link = f->link;
  if (!link || opacity <= 0) return 1;
  opacity = std::min(opacity, 255);
  if (!EnsureScratch()) {
    Message(" Not enough memory");
    return 0;
  }
  for (int i = 0; i < link->tileCount; ++i) {
    const TileRef* t = link->tiles[i];
    if (!t || !CacheGet(t->key, g_scratch, static_cast<int32_t>(kScratchBytes), 0)) continue;
    const TileRect r = TileAt(s, i);
    size_t at = 0;
    for (int y = 0; y < r.h; ++y) {
      ptrdiff_t used = BlendStream(g_scratch + at, static_cast<size_t>(t->size) - at,
                                   block->Row(r.y + y) + r.x, static_cast<size_t>(r.w), opacity);
      if (used < 0) break;
      at += static_cast<size_t>(used);
    }
  }
  return 1;
}

int GetThumbnail(ImageSequence* s, int index, Block* block) {
  if (!block) return 0;
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  const ImageLink* link = f->link;
  Pixel thumb[kThumbSide * kThumbSide];
  const size_t n = link ? static_cast<size_t>(link->thumbWidth) * link->thumbHeight : 0;
  if (!link || !link->thumbKey || !EnsureScratch() ||
      !CacheGet(link->thumbKey, g_scratch, static_cast<int32_t>(kScratchBytes), 0) ||
      PixelRLEUnpack(g_scratch, kScratchBytes, thumb, n) < 0) {
    std::memset(block->data, 0, static_cast<size_t>(block->width) * block->height * sizeof(Pixel));
    return 1;
  }
  const int w = std::min(block->width, link->thumbWidth);
  const int h = std::min(block->height, link->thumbHeight);
  for (int y = 0; y < h; ++y)
    std::memcpy(block->Row(y), thumb + y * link->thumbWidth, static_cast<size_t>(w) * 4);
  return 1;
}

int AddFrame(ImageSequence* s, const Block* block, int position, int mode) {
  if (!s || (block && !SameSize(s, block))) return 0;
  SequenceFrame* after;
  if (!InsertionPoint(s, position, &after)) return 0;
  SequenceFrame* f = NewFrame(nullptr, kFrameEmpty);
  if (!f) return 0;
  InsertAfter(s, after, f);
  if (block && !StoreFrame(s, block, position + 1, mode)) {
    RemoveFrame(s, position + 1);
    return 0;
  }
  return 1;
}

int RemoveFrame(ImageSequence* s, int index) {
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  if (f->prev)
    f->prev->next = f->next;
  else
    s->first = f->next;
  if (f->next) f->next->prev = f->prev;
  --s->count;
  ReleaseLink(f->link);
  std::free(f);
  return 1;
}

int DuplicateFrame(ImageSequence* s, int index) {
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  SequenceFrame* copy = NewFrame(f->link, f->state);
  if (!copy) return 0;
  InsertAfter(s, f, copy);
  return 1;
}

int ExchangeFrames(ImageSequence* a, int indexA, ImageSequence* b, int indexB) {
  SequenceFrame* fa = FrameAt(a, indexA);
  SequenceFrame* fb = FrameAt(b, indexB);
  if (!fa || !fb || a->width != b->width || a->height != b->height) return 0;
  std::swap(fa->state, fb->state);
  std::swap(fa->stamp, fb->stamp);
  std::swap(fa->link, fb->link);
  return 1;
}

int LinkFrameFrom(ImageSequence* source, int index, ImageSequence* dest, int position) {
  SequenceFrame* f = FrameAt(source, index);
  if (!f || !dest || source->width != dest->width || source->height != dest->height) return 0;
  SequenceFrame* after;
  if (!InsertionPoint(dest, position, &after)) return 0;
  SequenceFrame* copy = NewFrame(f->link, f->state);
  if (!copy) return 0;
  InsertAfter(dest, after, copy);
  return 1;
}

double FrameCost(ImageSequence* s, int index, int32_t* stamp) {
  if (!s) return 0;
  if (index == -1) {
    double total = 0;
    int32_t latest = 0;
    for (SequenceFrame* f = s->first; f; f = f->next) {
      if (f->link) total += LinkCost(f->link) / f->link->refCount;
      latest = std::max(latest, f->stamp);
    }
    if (stamp) *stamp = latest;
    return total;
  }
  SequenceFrame* f = FrameAt(s, index);
  if (!f) return 0;
  if (stamp) *stamp = f->stamp;
  return f->link ? LinkCost(f->link) : 0;
}

void Destroy(ImageSequence* s) {
  if (!s) return;
  for (SequenceFrame* f = s->first; f;) {
    SequenceFrame* next = f->next;
    ReleaseLink(f->link);
    std::free(f);
    f = next;
  }
  std::free(s);
  if (--g_users == 0) FreeScratch();
}

}  // namespace vela
