// Project files. Numbers are big-endian, swapped by hand at each field. Pixels of bodies are
// bytes blue, green, red, alpha, the order of Pixel in memory, which DPEL announces.
#include "formats/project_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <unordered_map>

#include "formats/coders.h"
#include "formats/file_io.h"
#include "formats/formats.h"
#include "host/host.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/pixel_rle.h"
#include "pixels/primitives.h"
#include "pixels/tile_store.h"
#include "project/layers.h"
#include "project/page.h"
#include "start/ask.h"
#include "start/gauge.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

namespace {

// Two-level work: what runs for one image inside the project's gauge leaves it alone.
struct HeldGauge {
  HeldGauge() { HoldGauge(); }
  ~HeldGauge() { ReleaseGauge(); }
  HeldGauge(const HeldGauge&) = delete;
  HeldGauge& operator=(const HeldGauge&) = delete;
};

constexpr uint32_t Id(const char (&s)[5]) {
  return (uint32_t(uint8_t(s[0])) << 24) | (uint32_t(uint8_t(s[1])) << 16) |
         (uint32_t(uint8_t(s[2])) << 8) | uint32_t(uint8_t(s[3]));
}

constexpr uint32_t kForm = Id("FORM"), kQdpp = Id("QDPP"), kXs24 = Id("XS24"), kDgbl = Id("DGBL"),
                   kDpel = Id("DPEL"), kDloc = Id("DLOC"), kBgmd = Id("BGMD"), kCrlr = Id("CRLR"),
                   kBgp1 = Id("BGP1"), kBgp2 = Id("BGP2"), kAnno = Id("ANNO"), kLrbg = Id("LRBG"),
                   kLnam = Id("LNAM"), kFrat = Id("FRAT"), kLrhd = Id("LRHD"), kDbod = Id("DBOD"),
                   kLdlt = Id("LDLT"), kSraw = Id("SRAW"), kMixr = Id("MIXR"), kQdp4 = Id("QDP4");

constexpr int kLrhdSize = 104;
constexpr int kLrbgSize = 2088;
constexpr int kLrbgPath = 2048;
constexpr int kThumbSide = 64;
constexpr size_t kTileBytesMax = PixelRLEBound(kTileSize * kTileSize);
constexpr int kStreamLinked = 2, kStreamTiles = 64, kStreamWhole = 1, kStreamLzw = 0;

int g_compression = 1;
bool g_direct = true;
std::string g_projectPath;

uint32_t Be32(const uint8_t* p) {
  return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

// ---- Writer ------------------------------------------------------------------------------------

int g_failAt = 0;
bool g_failSticky = false;
int g_calls = 0;

bool InjectedFailure() {
  if (g_failAt <= 0) return false;
  ++g_calls;
  return g_calls == g_failAt || (g_failSticky && g_calls > g_failAt);
}

// Every call returns a status. The bytes land in a temporary file beside the target, which
// replaces the target only at Commit; once a call fails every later one fails too.
class ProjectWriter {
 public:
  ProjectWriter() = default;
  ProjectWriter(const ProjectWriter&) = delete;
  ProjectWriter& operator=(const ProjectWriter&) = delete;
  ~ProjectWriter() { Abandon(); }

  bool Open(const char* path) {
    if (InjectedFailure()) return false;
    target_ = path;
    const std::filesystem::path p(target_);
    std::string dir = p.parent_path().string();
    if (dir.empty()) dir = ".";
    std::string name = dir + "/." + p.filename().string() + ".XXXXXX";
    fd_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (fd_ < 0) return false;
    temp_ = name;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd_, 0666 & ~mask);
    buffer_.reserve(kBufferBytes);
    return true;
  }

  bool Write(const void* data, size_t n) {
    if (!Usable() || InjectedFailure()) return Fail();
    const auto* p = static_cast<const uint8_t*>(data);
    if (buffer_.size() + n > kBufferBytes && !Flush()) return Fail();
    if (n >= kBufferBytes) return WriteAll(p, n) || Fail();
    buffer_.insert(buffer_.end(), p, p + n);
    return true;
  }
  bool U8(unsigned v) {
    const uint8_t b = uint8_t(v);
    return Write(&b, 1);
  }
  bool U16(unsigned v) {
    const uint8_t b[2] = {uint8_t(v >> 8), uint8_t(v)};
    return Write(b, 2);
  }
  bool U32(uint32_t v) {
    const uint8_t b[4] = {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
    return Write(b, 4);
  }
  bool Zeros(size_t n) {
    static const uint8_t zero[64] = {};
    for (; n; n -= std::min(n, sizeof zero))
      if (!Write(zero, std::min(n, sizeof zero))) return false;
    return true;
  }
  uint64_t Tell() const { return flushed_ + buffer_.size(); }

  // Puts a 4-byte number over bytes written earlier: the size of a chunk once it is known.
  bool Patch(uint64_t at, uint32_t v) {
    if (!Usable() || InjectedFailure()) return Fail();
    const uint8_t b[4] = {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
    if (at >= flushed_ && at + 4 <= Tell()) {
      std::memcpy(&buffer_[at - flushed_], b, 4);
      return true;
    }
    if (!Flush()) return Fail();
    return ::pwrite(fd_, b, 4, static_cast<off_t>(at)) == 4 || Fail();
  }

  // Flushes, syncs and renames over the target; the folder is synced so the rename holds.
  bool Commit() {
    if (!Usable() || InjectedFailure() || !Flush() || ::fsync(fd_) != 0) {
      Abandon();
      return false;
    }
    const bool closed = ::close(fd_) == 0;
    fd_ = -1;
    if (!closed || ::rename(temp_.c_str(), target_.c_str()) != 0) {
      ::unlink(temp_.c_str());
      return false;
    }
    std::string dir = std::filesystem::path(target_).parent_path().string();
    const int dfd = ::open(dir.empty() ? "." : dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
      ::fsync(dfd);
      ::close(dfd);
    }
    return true;
  }

  void Abandon() {
    if (fd_ < 0) return;
    ::close(fd_);
    ::unlink(temp_.c_str());
    fd_ = -1;
  }

  bool failed() const { return failed_; }

 private:
  static constexpr size_t kBufferBytes = 1 << 20;
  bool Usable() const { return fd_ >= 0 && !failed_; }
  bool Fail() { return !(failed_ = true); }
  bool WriteAll(const uint8_t* p, size_t n) {
    while (n) {
      const ssize_t k = ::write(fd_, p, n);
      if (k < 0 && errno == EINTR) continue;
      if (k <= 0) return false;
      p += k;
      n -= static_cast<size_t>(k);
      flushed_ += static_cast<uint64_t>(k);
    }
    return true;
  }
  bool Flush() {
    const bool ok = WriteAll(buffer_.data(), buffer_.size());
    buffer_.clear();
    return ok;
  }

  int fd_ = -1;
  std::string target_, temp_;
  std::vector<uint8_t> buffer_;
  uint64_t flushed_ = 0;
  bool failed_ = false;
};

// A chunk whose size is patched when it ends; the field holds a placeholder meanwhile.
struct OpenChunk {
  uint64_t sizeAt = 0;
};

bool BeginChunk(ProjectWriter& w, uint32_t id, OpenChunk* c) {
  if (!w.U32(id)) return false;
  c->sizeAt = w.Tell();
  return w.U32(kQdp4);
}

bool EndChunk(ProjectWriter& w, const OpenChunk& c, uint8_t pad) {
  uint64_t size = w.Tell() - c.sizeAt - 4;
  if ((size & 1) && w.U8(pad)) ++size;
  return w.Patch(c.sizeAt, static_cast<uint32_t>(size));
}

// ---- LZW ---------------------------------------------------------------------------------------

constexpr int kLzwClear = 256, kLzwEnd = 257, kLzwFirst = 258, kLzwMaxBits = 12;
constexpr int kLzwLimit = 1 << kLzwMaxBits;
constexpr int kLzwHash = 5003;

struct BitSink {
  std::vector<uint8_t>* out;
  uint32_t acc = 0;
  int bits = 0;
  void Put(int code, int width) {
    acc |= uint32_t(code) << bits;
    bits += width;
    while (bits >= 8) {
      out->push_back(uint8_t(acc));
      acc >>= 8;
      bits -= 8;
    }
  }
  void Finish() {
    if (bits > 0) out->push_back(uint8_t(acc));
    acc = 0;
    bits = 0;
  }
};

// ---- Pixels ------------------------------------------------------------------------------------

// Bit offsets of the elements of a file pixel; -1 for an element that isn't there.
struct Elements {
  int red = 16, green = 8, blue = 0, alpha = 24, spare = -1;
  int bits = 32;
  bool Native() const { return red == 16 && green == 8 && blue == 0 && alpha == 24 && bits == 32; }
  int Bytes() const { return bits / 8; }
  bool Usable() const {
    auto inside = [this](int off) { return off < 0 || (off % 8 == 0 && off + 8 <= bits); };
    return bits % 8 == 0 && bits >= 24 && bits <= 64 && red >= 0 && green >= 0 && blue >= 0 &&
           inside(red) && inside(green) && inside(blue) && inside(alpha);
  }
  Pixel Take(const uint8_t* p) const {
    const int a = alpha >= 0 ? p[alpha / 8] : 255;
    return MakePixel(a, p[red / 8], p[green / 8], p[blue / 8]);
  }
};

// A packet walk over pixels of any byte size: the DEEP body code when pixels aren't 4 bytes.
// Returns bytes used, or -1 when the stream ends or a packet crosses the end of the row.
ptrdiff_t UnpackRowGeneral(const uint8_t* src, size_t len, const Elements& e, Pixel* dst,
                           size_t n) {
  const size_t ps = static_cast<size_t>(e.Bytes());
  size_t at = 0, done = 0;
  while (done < n) {
    if (at >= len) return -1;
    const int c = static_cast<int8_t>(src[at++]);
    if (c == -128) continue;
    const size_t count = c >= 0 ? size_t(c) + 1 : size_t(1 - c);
    const size_t bytes = c >= 0 ? count * ps : ps;
    if (count > n - done || bytes > len - at) return -1;
    if (c >= 0) {
      for (size_t k = 0; k < count; ++k) dst[done + k] = e.Take(src + at + k * ps);
    } else {
      std::fill_n(dst + done, count, e.Take(src + at));
    }
    at += bytes;
    done += count;
  }
  return static_cast<ptrdiff_t>(at);
}

void Swizzle(Pixel* p, size_t n, const Elements& e) {
  if (e.Native()) return;
  for (size_t i = 0; i < n; ++i) {
    uint8_t b[4];
    std::memcpy(b, &p[i], 4);
    p[i] = e.Take(b);
  }
}

// Scales src onto dst: nearest pixel, or with smooth a bilinear mix in 16.16 steps.
void ScaleBlock(const Block* src, Block* dst, bool smooth) {
  const int64_t sx = (int64_t{src->width} << 16) / dst->width;
  const int64_t sy = (int64_t{src->height} << 16) / dst->height;
  for (int y = 0; y < dst->height; ++y) {
    Pixel* out = dst->Row(y);
    const int64_t fy = y * sy;
    const int y0 = static_cast<int>(fy >> 16);
    if (!smooth) {
      const Pixel* row = src->Row(y0);
      for (int x = 0; x < dst->width; ++x) out[x] = row[(x * sx) >> 16];
      continue;
    }
    const int y1 = std::min(y0 + 1, src->height - 1);
    const uint32_t wy = static_cast<uint32_t>((fy >> 8) & 0xFF);
    const Pixel *r0 = src->Row(y0), *r1 = src->Row(y1);
    for (int x = 0; x < dst->width; ++x) {
      const int64_t fx = x * sx;
      const int x0 = static_cast<int>(fx >> 16);
      const int x1 = std::min(x0 + 1, src->width - 1);
      const uint32_t wx = static_cast<uint32_t>((fx >> 8) & 0xFF);
      Pixel p = 0;
      for (int s = 0; s < 32; s += 8) {
        const uint32_t a = (r0[x0] >> s) & 255, b = (r0[x1] >> s) & 255;
        const uint32_t c = (r1[x0] >> s) & 255, d = (r1[x1] >> s) & 255;
        const uint32_t top = a * (256 - wx) + b * wx, bottom = c * (256 - wx) + d * wx;
        p |= ((top * (256 - wy) + bottom * wy) >> 16) << s;
      }
      out[x] = p;
    }
  }
}

// The file's picture on a page-sized Block: scaled, or at the top left and cut.
void PlaceImage(const Block* src, Block* dst, bool stretch) {
  if (src == dst) return;
  if (src->width == dst->width && src->height == dst->height) {
    CopyBlock(src, dst);
    return;
  }
  if (stretch) {
    ScaleBlock(src, dst, AntialiasOn != 0);
    return;
  }
  FillBlock(dst, 0);
  CopyRect(src, 0, 0, dst, 0, 0, std::min(src->width, dst->width),
           std::min(src->height, dst->height));
}

void XorInto(Block* dst, const Block* delta) {
  const int w = std::min(dst->width, delta->width), h = std::min(dst->height, delta->height);
  for (int y = 0; y < h; ++y) {
    Pixel* d = dst->Row(y);
    const Pixel* s = delta->Row(y);
    for (int x = 0; x < w; ++x) d[x] ^= s[x];
  }
}

// ---- Tile streams ------------------------------------------------------------------------------

int TileColumns(int width) {
  return (width + kTileSize - 1) / kTileSize;
}
int TileCountOf(int width, int height) {
  return TileColumns(width) * ((height + kTileSize - 1) / kTileSize);
}

struct TileBox {
  int x, y, w, h;
};
TileBox TileAt(int width, int height, int i) {
  const int cols = TileColumns(width);
  TileBox b{(i % cols) * kTileSize, (i / cols) * kTileSize, 0, 0};
  b.w = std::clamp(width - b.x, 0, kTileSize);
  b.h = std::clamp(height - b.y, 0, kTileSize);
  return b;
}

// The tile's own bytes from the cache; a tile that can't be read goes out transparent.
size_t TileBytes(const TileRef* t, const TileBox& box, uint8_t* buf) {
  if (t && t->size > 0 && static_cast<size_t>(t->size) <= kTileBytesMax &&
      CacheGet(t->key, buf, static_cast<int32_t>(kTileBytesMax), 0))
    return static_cast<size_t>(t->size);
  static const Pixel zero[kTileSize * kTileSize] = {};
  return PixelRLEPackRows(zero, kTileSize, box.w, box.h, buf);
}

// The stream of image index of a tile sequence: the WriteFrame slot of the store. 1, or 0
// after a failed write.
int WriteTileStream(ImageSequence* s, int index, void* writer) {
  auto& w = *static_cast<ProjectWriter*>(writer);
  SequenceFrame* f = FrameAt(s, index);
  ImageLink* link = f ? f->link : nullptr;
  if (link && link->refCount >= 2 && index > 0) {
    int k = 0;
    for (SequenceFrame* g = s->first; g && g != f; g = g->next, ++k)
      if (g->link == link) return w.U32(kStreamLinked) && w.U32(k) && w.U32(0);
  }
  static uint8_t buf[kTileBytesMax + 16];
  if (!w.U32(kStreamTiles)) return 0;
  size_t base = 0;
  if (link && link->thumbKey && link->thumbWidth > 0 && link->thumbHeight > 0 &&
      link->thumbWidth <= kThumbSide && link->thumbHeight <= kThumbSide &&
      CacheGet(link->thumbKey, buf, static_cast<int32_t>(kTileBytesMax), 0)) {
    const ptrdiff_t used = PixelRLEWalk(
        buf, kTileBytesMax, size_t(link->thumbWidth) * link->thumbHeight,
        [](size_t, const uint8_t*, size_t) {}, [](size_t, Pixel, size_t) {});
    if (used > 0) base = static_cast<size_t>(used);
  }
  if (base) {
    if (!w.U32(static_cast<uint32_t>(base + 8)) || !w.U32(link->thumbWidth) ||
        !w.U32(link->thumbHeight) || !w.Write(buf, base))
      return 0;
  } else if (!w.U32(0)) {
    return 0;
  }
  const int tiles = TileCountOf(s->width, s->height);
  if (!w.U32(tiles)) return 0;
  // Where each shared tile first stands in this image and in the image before.
  std::unordered_map<const TileRef*, int> here, before;
  const ImageLink* prev = f && f->prev ? f->prev->link : nullptr;
  if (prev)
    for (int i = prev->tileCount - 1; i >= 0; --i)
      if (prev->tiles[i] && prev->tiles[i]->refCount >= 2) before[prev->tiles[i]] = i;
  for (int i = 0; i < tiles; ++i) {
    const TileRef* t = link && i < link->tileCount ? link->tiles[i] : nullptr;
    if (t && t->refCount >= 2) {
      auto at = here.find(t);
      if (at != here.end()) {
        if (!w.U32(0) || !w.U32(0) || !w.U32(at->second)) return 0;
        continue;
      }
      here.emplace(t, i);
      auto other = before.find(t);
      if (other != before.end()) {
        if (!w.U32(0) || !w.U32(1) || !w.U32(other->second)) return 0;
        continue;
      }
    }
    const size_t n = TileBytes(t, TileAt(s->width, s->height, i), buf);
    if (!w.U32(static_cast<uint32_t>(n)) || !w.Write(buf, n)) return 0;
  }
  return 1;
}

void DropTile(TileRef* t) {
  if (!t || --t->refCount > 0) return;
  CacheDelete(t->key);
  std::free(t);
}

void DropLink(ImageLink* link) {
  if (!link) return;
  if (link->thumbKey) CacheDelete(link->thumbKey);
  for (int i = 0; i < link->tileCount; ++i) DropTile(link->tiles[i]);
  std::free(link->tiles);
  std::free(link);
}

// Each row of a stored tile must decode to the tile's width, or the store would hold a tile
// that reads as garbage.
bool TileStreamFits(const uint8_t* p, size_t n, const TileBox& box) {
  size_t at = 0;
  for (int y = 0; y < box.h; ++y) {
    const ptrdiff_t used = PixelRLEWalk(
        p + at, n - at, size_t(box.w), [](size_t, const uint8_t*, size_t) {},
        [](size_t, Pixel, size_t) {});
    if (used < 0) return false;
    at += static_cast<size_t>(used);
  }
  return true;
}

// The direct read of a tile stream into a tile sequence that has count images: the ReadFrame
// slot of the store. 1 with a new image at the end, 0 for a stream of another type (nothing
// changed), -1 for a stream that doesn't fit.
int ReadTileStream(ImageSequence* s, int count, const void* data, size_t size) {
  ByteReader r(Bytes(static_cast<const uint8_t*>(data), size));
  const uint32_t type = r.U32BE();
  if (!r.ok() || (type != kStreamLinked && type != kStreamTiles)) return 0;
  if (type == kStreamLinked) {
    const uint32_t k = r.U32BE();
    r.U32BE();
    if (!r.ok() || k >= static_cast<uint32_t>(count) ||
        !LinkFrameFrom(s, static_cast<int>(k), s, s->count - 1)) {
      std::fprintf(stderr, "probleme DuplicateTileLink\n");
      return -1;
    }
    return 1;
  }
  const int tiles = TileCountOf(s->width, s->height);
  auto* link = static_cast<ImageLink*>(std::calloc(1, sizeof(ImageLink)));
  if (link) link->tiles = static_cast<TileRef**>(std::calloc(size_t(tiles), sizeof(TileRef*)));
  if (!link || !link->tiles) {
    std::free(link);
    Message(" Not enough memory");
    return -1;
  }
  link->refCount = 1;
  link->tileCount = tiles;
  auto fail = [&](const char* why) {
    if (why) std::fprintf(stderr, "%s\n", why);
    DropLink(link);
    return -1;
  };
  const uint32_t base = r.U32BE();
  if (base >= 8) {
    const uint32_t bw = r.U32BE(), bh = r.U32BE();
    Bytes packed = r.Take(base - 8);
    const size_t n = size_t(bw) * bh;
    if (r.ok() && bw >= 1 && bh >= 1 && bw <= kThumbSide && bh <= kThumbSide &&
        PixelRLEWalk(
            packed.data(), packed.size(), n, [](size_t, const uint8_t*, size_t) {},
            [](size_t, Pixel, size_t) {}) >= 0) {
      const int32_t key = NextKey();
      if (CachePut(key, packed.data(), static_cast<int32_t>(packed.size()), 1)) {
        link->thumbKey = key;
        link->thumbWidth = static_cast<int32_t>(bw);
        link->thumbHeight = static_cast<int32_t>(bh);
      }
    }
  } else if (base != 0) {
    return fail(nullptr);
  }
  // Links nearly always reach the image just before; the list is walked once for it.
  const SequenceFrame* lastFrame = count > 0 ? FrameAt(s, count - 1) : nullptr;
  const ImageLink* last = lastFrame ? lastFrame->link : nullptr;
  const uint32_t fileTiles = r.U32BE();
  if (!r.ok()) return fail(nullptr);
  if (fileTiles != static_cast<uint32_t>(tiles)) return fail("numtile != i->Link->NumTile");
  for (int i = 0; i < tiles; ++i) {
    const uint32_t n = r.U32BE();
    if (!r.ok()) return fail(nullptr);
    TileRef* t = nullptr;
    if (n == 0) {
      const uint32_t back = r.U32BE(), at = r.U32BE();
      if (!r.ok()) return fail(nullptr);
      const ImageLink* from = nullptr;
      if (back == 0) {
        from = at < static_cast<uint32_t>(i) ? link : nullptr;
      } else if (back == 1) {
        from = last;
      } else if (back <= static_cast<uint32_t>(count)) {
        const SequenceFrame* f = FrameAt(s, count - static_cast<int>(back));
        from = f ? f->link : nullptr;
      }
      t = from && at < static_cast<uint32_t>(from->tileCount) ? from->tiles[at] : nullptr;
      if (!t) return fail("probleme DuplicateTileLink");
      ++t->refCount;
      link->tiles[i] = t;
      continue;
    }
    Bytes bytes = r.Take(n);
    if (!r.ok() || n > kTileBytesMax ||
        !TileStreamFits(bytes.data(), bytes.size(), TileAt(s->width, s->height, i)))
      return fail(nullptr);
    TileRef* prior = i > 0 ? link->tiles[i - 1] : nullptr;
    if (prior && prior->size == static_cast<int32_t>(n) &&
        CacheCompare(prior->key, bytes.data(), static_cast<int32_t>(n))) {
      ++prior->refCount;
      link->tiles[i] = prior;
      continue;
    }
    t = static_cast<TileRef*>(std::malloc(sizeof(TileRef)));
    if (!t) continue;  // a tile that can't be kept reads as nothing, as in the store
    *t = {1, static_cast<int32_t>(n), NextKey()};
    if (!CachePut(t->key, bytes.data(), static_cast<int32_t>(n), 1)) {
      std::free(t);
      continue;
    }
    link->tiles[i] = t;
  }
  if (!AddFrame(s, nullptr, s->count - 1, 0)) return fail(nullptr);
  SequenceFrame* f = FrameAt(s, s->count - 1);
  f->link = link;
  f->state = kFrameTiles;
  return 1;
}

using WriteFrameFn = int (*)(ImageSequence*, int, void*);
using ReadFrameFn = int (*)(ImageSequence*, int, const void*, size_t);

// The store leaves its stream slots to this file: a sequence of tiles gets them here.
void FillStreamSlots(ImageSequence* s) {
  if (!s || s->ops.StoreFrame != &StoreFrame || s->ops.LoadFrame != &LoadFrame) return;
  if (!s->ops.WriteFrame) s->ops.WriteFrame = reinterpret_cast<void*>(&WriteTileStream);
  if (!s->ops.ReadFrame) s->ops.ReadFrame = reinterpret_cast<void*>(&ReadTileStream);
}

// ---- Saving ------------------------------------------------------------------------------------

struct Saver {
  ProjectWriter w;
  std::vector<uint8_t> packed;
  int done = 0, total = 0;
  bool stopped = false;

  bool Body(uint32_t id, const Block* image) {
    OpenChunk c;
    if (!BeginChunk(w, id, &c)) return false;
    const int width = image->width;
    if (g_compression == 8) {
      const auto* bytes = reinterpret_cast<const uint8_t*>(image->data);
      std::vector<uint8_t> code =
          LzwEncode({bytes, static_cast<size_t>(width) * image->height * 4});
      if (!w.Write(code.data(), code.size())) return false;
    } else {
      // Flushed in big blocks; each row is one stream of its own.
      const size_t limit = static_cast<size_t>(std::max(0, (32512 - width) * 4));
      packed.resize(std::max<size_t>(limit, 0) + PixelRLEBound(size_t(width)) + 16);
      size_t used = 0;
      for (int y = 0; y < image->height; ++y) {
        if ((y & 15) == 0) RowDone(y, image->height);
        used += PixelRLEPack(image->Row(y), size_t(width), packed.data() + used);
        if (used > limit) {
          if (!w.Write(packed.data(), used)) return false;
          used = 0;
        }
      }
      if (used && !w.Write(packed.data(), used)) return false;
    }
    return EndChunk(w, c, 0x80);
  }

  // The bar goes by images; within a body by its rows, in the same scale.
  void RowDone(int y, int height) {
    constexpr int kUnit = 1024;
    const int64_t whole = int64_t{total} * kUnit;
    const int shift = whole > INT32_MAX ? 8 : 0;  // millions of images still fit the bar
    GaugeUpdate(static_cast<int>((int64_t{done} * kUnit + int64_t{y} * kUnit / height) >> shift),
                static_cast<int>(whole >> shift));
  }

  // After each image: the gauge, then the stop flag; " Yes " ends the save, " No " goes on.
  bool Step(int images) {
    done += images;
    RowDone(0, 1);
    if (GoOnSaving()) return true;
    stopped = true;
    return false;
  }
};

const char kAnnotation[] = "Vela opens doors to your imagination. ";

// The composed display at the current position, background under it.
BlockPtr ComposeDisplay() {
  BlockPtr b(AllocBlock(Ws.pageWidth, Ws.pageHeight));
  if (!b) return b;
  const uint32_t flags = Ws.displayFlags;
  if (flags & 4) {
    FillBlock(b.get(), Ws.background);
  } else if (flags & 0x2000) {
    for (int y = 0; y < b->height; ++y)
      for (int x = 0; x < b->width; ++x)
        b->Row(y)[x] = ((x >> 4) ^ (y >> 4)) & 1 ? Ws.secondBackground : Ws.background;
  } else {
    FillBlock(b.get(), 0);
  }
  for (int i = LayerCount() - 1; i >= 0; --i) {
    const Layer* l = LayerAt(i);
    if (!(l->flags & kLayerHidden)) BlendLayerImage(l, b.get(), Timeline.position);
  }
  return b;
}

// The display reduced so that its longer side is 64, in 16.16 steps.
bool WriteThumbnail(ProjectWriter& w) {
  BlockPtr src = ComposeDisplay();
  if (!src) {
    Message(" Not enough memory");
    return true;
  }
  const int64_t W = src->width, H = src->height;
  const int tw = W >= H ? kThumbSide : static_cast<int>(std::max<int64_t>(1, W * kThumbSide / H));
  const int th = W >= H ? static_cast<int>(std::max<int64_t>(1, H * kThumbSide / W)) : kThumbSide;
  const int64_t sx = (W << 16) / tw, sy = (H << 16) / th;
  const bool nearest = sx <= 0x10000 && sy <= 0x10000;
  std::vector<uint8_t> rgb;
  rgb.reserve(size_t(tw) * th * 3 + 1);
  for (int ty = 0; ty < th; ++ty) {
    const int64_t y = ty * sy;
    for (int tx = 0; tx < tw; ++tx) {
      const int64_t x = tx * sx;
      auto at = [&](int64_t fx, int64_t fy) {
        return src->Row(static_cast<int>(std::min(fy >> 16, H - 1)))[std::min(fx >> 16, W - 1)];
      };
      Pixel p = at(x, y);
      if (!nearest) {
        const Pixel q[4] = {at(x, y), at(x + sx / 2, y), at(x, y + sy / 2),
                            at(x + sx / 2, y + sy / 2)};
        p = 0;
        for (int s = 0; s < 32; s += 8) {
          uint32_t sum = 0;
          for (Pixel v : q) sum += (v >> s) & 255;
          p |= (sum / 4) << s;
        }
      }
      rgb.push_back(uint8_t(Red(p)));
      rgb.push_back(uint8_t(Green(p)));
      rgb.push_back(uint8_t(Blue(p)));
    }
  }
  if (rgb.size() & 1) rgb.push_back(0);
  return w.U32(kXs24) && w.U32(static_cast<uint32_t>(rgb.size() + 6)) && w.U16(tw) && w.U16(th) &&
         w.U16(0) && w.Write(rgb.data(), rgb.size());
}

void PutColour(ProjectWriter& w, Pixel p) {
  const uint8_t b[4] = {uint8_t(Red(p)), uint8_t(Green(p)), uint8_t(Blue(p)), uint8_t(Alpha(p))};
  w.Write(b, 4);
}

void WriteHeader(ProjectWriter& w) {
  const int pw = Ws.pageWidth, ph = Ws.pageHeight;
  w.U32(kDgbl), w.U32(8), w.U16(pw), w.U16(ph), w.U16(g_compression), w.U8(16), w.U8(16);
  w.U32(kDpel), w.U32(20), w.U32(4);
  for (int type : {3, 2, 1, 17}) w.U16(type), w.U16(8);
  w.U32(kDloc), w.U32(8), w.U16(pw), w.U16(ph), w.U16(0), w.U16(0);
  w.U32(kBgmd), w.U32(4), w.U32(Ws.displayFlags & 0x2006);
  w.U32(kCrlr), w.U32(4), w.U32(static_cast<uint32_t>(Timeline.current));
  w.U32(kBgp1), w.U32(4), PutColour(w, Ws.background);
  w.U32(kBgp2), w.U32(4), PutColour(w, Ws.secondBackground);
  char anno[sizeof kAnnotation + 1] = {};
  std::memcpy(anno, kAnnotation, sizeof kAnnotation);
  anno[0] = '$';
  const size_t annoSize = (sizeof kAnnotation + 1) & ~size_t{1};
  w.U32(kAnno), w.U32(static_cast<uint32_t>(annoSize)), w.Write(anno, annoSize);
  const VideoLayerRef& v = VideoLayer();
  if (!v.path.empty()) {
    w.U32(kLrbg), w.U32(kLrbgSize), w.U32(v.first), w.U32(v.flags), w.U32(v.sourceFirst),
        w.U32(v.sourceLast), w.U32(v.mode), w.Zeros(20);
    char path[kLrbgPath] = {};
    std::snprintf(path, sizeof path, "%s", v.path.c_str());
    w.Write(path, sizeof path);
  }
}

void WriteLayerHeader(ProjectWriter& w, const Layer& l) {
  const char* name = l.name[0] ? l.name : "Untitled";
  const size_t len = std::strlen(name);
  const size_t size = (len + 2) & ~size_t{1};
  w.U32(kLnam), w.U32(static_cast<uint32_t>(size)), w.Write(name, len), w.Zeros(size - len);
  w.U32(kFrat), w.U32(4), w.U32(static_cast<uint32_t>(static_cast<int32_t>(Ws.frameRate * 1000)));
  w.U32(kLrhd), w.U32(kLrhdSize), w.U32(1), w.U32(l.first), w.U32(l.last);
  w.U32(l.sequence ? static_cast<uint32_t>(l.last - l.first + 1) : 0u);
  w.U32(l.opacity), w.U32(0), w.U32(l.lightBefore), w.U32(l.flags), w.Zeros(8);
  w.U32(l.lightAfter), w.Zeros(60);
}

// Writes the layers; false when a write failed (reported) or the user stopped.
bool WriteLayers(Saver& s) {
  BlockPtr one(AllocBlock(Ws.pageWidth, Ws.pageHeight));
  BlockPtr two(AllocBlock(Ws.pageWidth, Ws.pageHeight));
  if (!one || !two) {
    Message(" Not enough memory");
    return false;
  }
  for (int i = 0; i < LayerCount(); ++i) {
    Layer* l = LayerAt(i);
    s.total += l->sequence ? std::max(1, l->last - l->first + 1) : 1;
  }
  CoderGauge gauge("Saving Project");
  for (int i = 0; i < LayerCount(); ++i) {
    Layer* l = LayerAt(i);
    {
      HeldGauge inner;
      LoadLayerImage(one.get(), l, l->first);
    }
    WriteLayerHeader(s.w, *l);
    if (!s.Body(kDbod, one.get())) return false;
    if (!s.Step(1)) return false;
    ImageSequence* seq = l->sequence;
    if (!seq) continue;
    FillStreamSlots(seq);
    const auto stream = reinterpret_cast<WriteFrameFn>(seq->ops.WriteFrame);
    const int images = std::min(l->last - l->first + 1, seq->count);
    for (int k = 1; k < images; ++k) {
      if (stream) {
        OpenChunk c;
        HeldGauge inner;
        if (!BeginChunk(s.w, kSraw, &c) || !stream(seq, k, &s.w) || !EndChunk(s.w, c, 0))
          return false;
      } else {
        // The image before stays in one Block while the other takes the difference.
        FillBlock(two.get(), 0);
        {
          HeldGauge inner;
          seq->ops.LoadFrame(seq, two.get(), k);
        }
        const size_t n = size_t(one->width) * one->height;
        for (size_t p = 0; p < n; ++p)
          if (two->data[p]) one->data[p] ^= two->data[p];
        if (!s.Body(kLdlt, one.get())) return false;
        std::swap(one, two);
      }
      if (!s.Step(1)) return false;
    }
  }
  return true;
}

// ---- Loading -----------------------------------------------------------------------------------

// The file, read where it is asked; small reads come from a window.
class Source {
 public:
  ~Source() {
    if (fd_ >= 0) ::close(fd_);
  }
  bool Open(const char* path) {
    struct stat st;
    if (::stat(path, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    // Non-blocking, so that a pipe put in the file's place cannot hang the open.
    fd_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd_ < 0) return false;
    if (::fstat(fd_, &st) != 0 || !S_ISREG(st.st_mode)) return false;
    size_ = static_cast<uint64_t>(st.st_size);
    return true;
  }
  uint64_t size() const { return size_; }
  uint64_t pos() const { return pos_; }
  uint64_t left() const { return size_ - std::min(pos_, size_); }
  void Seek(uint64_t at) { pos_ = std::min(at, size_); }
  bool Read(void* dst, size_t n) {
    if (n == 0) return true;
    if (n > left()) return false;
    auto* d = static_cast<uint8_t*>(dst);
    if (n > kWindow / 2) {
      if (!ReadAt(pos_, d, n)) return false;
      pos_ += n;
      return true;
    }
    if (pos_ < winAt_ || pos_ + n > winAt_ + window_.size()) {
      window_.resize(static_cast<size_t>(std::min<uint64_t>(kWindow, left())));
      if (!ReadAt(pos_, window_.data(), window_.size())) {
        window_.clear();
        return false;
      }
      winAt_ = pos_;
    }
    std::memcpy(d, window_.data() + (pos_ - winAt_), n);
    pos_ += n;
    return true;
  }

 private:
  static constexpr size_t kWindow = 1 << 16;
  bool ReadAt(uint64_t at, uint8_t* d, size_t n) {
    while (n) {
      const ssize_t k = ::pread(fd_, d, n, static_cast<off_t>(at));
      if (k < 0 && errno == EINTR) continue;
      if (k <= 0) return false;
      d += k;
      at += static_cast<uint64_t>(k);
      n -= static_cast<size_t>(k);
    }
    return true;
  }
  int fd_ = -1;
  uint64_t size_ = 0, pos_ = 0, winAt_ = 0;
  std::vector<uint8_t> window_;
};

enum class Flow { kGoOn, kEnd };

struct LayerHeader {
  bool read = false;
  int32_t first = 0, last = 0, images = 0, density = 255, lightBefore = 0, lightAfter = 0;
  uint32_t flags = 0;
};

// A layer read so far, not yet part of the project.
struct Staged {
  Layer layer{};
  BlockPtr image;  // the single image while the layer has no sequence
};

constexpr int32_t kPositionLimit = 1 << 24;

struct Loader {
  Source src;
  std::string path;
  bool adoptSize, stretch, replace;
  int result = 0;

  bool haveDgbl = false, haveDloc = false;
  int compression = 1;
  Elements elements;
  int fileWidth = 0, fileHeight = 0;
  int targetWidth = Ws.pageWidth, targetHeight = Ws.pageHeight;
  bool resizePage = false;

  LayerHeader header;
  std::string name;
  bool haveName = false;
  int layerNumber = 0;

  std::vector<Staged> staged;
  BlockPtr decoded;  // the last image at the file's size
  bool decodedStale = false;
  BlockPtr scratch;                 // a body before it goes anywhere
  BlockPtr work;                    // the last image at the page's size, when that differs
  ImageSequence* shadow = nullptr;  // every image at the file's size, for the plain decoder

  // What a load that replaces takes over at the end.
  bool haveRate = false, haveBg1 = false, haveBg2 = false, haveMode = false;
  double rate = 0;
  Pixel bg1 = 0, bg2 = 0;
  uint32_t mode = 0;
  int32_t crlr = 0;
  VideoLayerRef video;
  std::vector<uint8_t> content;

  ~Loader() {
    DropShadow();
    for (Staged& s : staged) FreeStaged(s);
  }

  static void FreeStaged(Staged& s) {
    FreeBlock(s.layer.thumbnail);
    s.layer.thumbnail = nullptr;
    if (s.layer.sequence) s.layer.sequence->ops.Destroy(s.layer.sequence);
    s.layer.sequence = nullptr;
    if (s.layer.packedKey) CacheDelete(s.layer.packedKey);
    s.layer.packedKey = s.layer.packedSize = 0;
  }

  void DropShadow() {
    if (shadow) shadow->ops.Destroy(shadow);
    shadow = nullptr;
  }

  Staged* Current() { return staged.empty() ? nullptr : &staged.back(); }
  bool Same() const { return fileWidth == targetWidth && fileHeight == targetHeight; }
  // The image as the page shows it: the decode Block itself when the sizes agree.
  Block* PageImage() { return Same() ? decoded.get() : work.get(); }

  // Big pictures need a file that could hold them: no allocation beyond what the bytes justify.
  bool Plausible(int w, int h) const {
    const uint64_t bytes = uint64_t(w) * uint64_t(h) * 4;
    return bytes <= (uint64_t{8} << 20) + src.size() * 1024 ||
           (w == Ws.pageWidth && h == Ws.pageHeight);
  }

  BlockPtr FileBlock() {
    return BlockPtr(Plausible(fileWidth, fileHeight) ? AllocBlock(fileWidth, fileHeight) : nullptr);
  }

  bool ReadContent(uint32_t size) {
    const size_t n = static_cast<size_t>(std::min<uint64_t>(size, src.left()));
    try {
      content.resize(n);
    } catch (const std::bad_alloc&) {
      return false;
    }
    return src.Read(content.data(), n);
  }

  // A body into scratch (the file's size). 0, or the load's result when it can't be read.
  int DecodeBody(Bytes body, Block* out) {
    FillBlock(out, 0);
    const size_t w = size_t(fileWidth);
    if (compression == 8) {
      const size_t ps = size_t(elements.Bytes());
      std::vector<uint8_t> bytes;
      try {
        bytes.assign(w * size_t(fileHeight) * ps, 0);
      } catch (const std::bad_alloc&) {
        Message(" Not enough memory");
        return 1;
      }
      size_t produced = 0;
      if (!LzwDecode(body, bytes.data(), bytes.size(), &produced)) return 1;
      for (int y = 0; y < fileHeight; ++y)
        for (size_t x = 0; x < w; ++x) out->Row(y)[x] = elements.Take(&bytes[(y * w + x) * ps]);
      return 0;
    }
    if (compression != 0 && compression != 1) return stretch ? 0 : 1;
    const bool fast = elements.Native();
    const size_t ps = size_t(elements.Bytes());
    size_t at = 0;
    for (int y = 0; y < fileHeight && at < body.size(); ++y) {
      Pixel* row = out->Row(y);
      if (compression == 0) {
        const size_t n = std::min(w, (body.size() - at) / ps);
        if (fast)
          std::memcpy(row, body.data() + at, n * 4);
        else
          for (size_t x = 0; x < n; ++x) row[x] = elements.Take(body.data() + at + x * ps);
        at += n * ps;
        if (n < w) break;
        continue;
      }
      const ptrdiff_t used =
          fast ? PixelRLEUnpack(body.data() + at, body.size() - at, row, w)
               : UnpackRowGeneral(body.data() + at, body.size() - at, elements, row, w);
      if (used < 0) break;  // a body cut short ends the picture where it stands
      at += static_cast<size_t>(used);
    }
    return 0;
  }

  // The last image at the file's size, when the direct way left it behind.
  void Refresh() {
    Staged* s = Current();
    if (!decodedStale || !s || !s->layer.sequence || !Same()) return;
    FillBlock(decoded.get(), 0);
    s->layer.sequence->ops.LoadFrame(s->layer.sequence, decoded.get(),
                                     s->layer.sequence->count - 1);
    decodedStale = false;
  }

  void KeepShadow() {
    if (shadow && !AddFrame(shadow, decoded.get(), shadow->count - 1, 1)) DropShadow();
  }

  // Puts the last decoded image in the layer behind its last image.
  bool AppendImage(Staged& s) {
    Block* image = PageImage();
    if (!Same()) PlaceImage(decoded.get(), work.get(), stretch);
    ImageSequence* seq = s.layer.sequence;
    if (s.layer.last >= kPositionLimit || !seq->ops.AddFrame(seq, image, seq->count - 1, 1)) {
      Message("Load project has failed");
      return false;
    }
    ++s.layer.last;
    KeepShadow();
    return true;
  }

  // The layer's first image goes into a sequence, which the next images join.
  bool EnsureSequence(Staged& s) {
    if (s.layer.sequence) return true;
    ImageSequence* seq = CreateSequence(s.layer.name, targetWidth, targetHeight);
    if (!seq || !seq->ops.AddFrame(seq, s.image.get(), -1, 1)) {
      if (seq) seq->ops.Destroy(seq);
      Message("Load project has failed");
      return false;
    }
    FillStreamSlots(seq);
    s.layer.sequence = seq;
    s.layer.last = s.layer.first;
    s.image.reset();
    return true;
  }

  // The single image of a finished layer goes to the cache as the project keeps it.
  bool FinishLayer() {
    Staged* s = Current();
    DropShadow();
    if (!s || !s->image) return true;
    Block* b = s->image.get();
    const size_t n = size_t(b->width) * b->height;
    bool empty = true;
    for (size_t i = 0; i < n && empty; ++i) empty = b->data[i] == 0;
    if (!empty) {
      std::vector<uint8_t> packed(PixelRLEPackedSize(b->data, n));
      PixelRLEPack(b->data, n, packed.data());
      const int32_t key = NextKey();
      if (packed.size() > INT32_MAX ||
          !CachePut(key, packed.data(), static_cast<int32_t>(packed.size()), 1)) {
        Message("Load project has failed");
        s->image.reset();
        return false;
      }
      s->layer.packedKey = key;
      s->layer.packedSize = static_cast<int32_t>(packed.size());
    }
    s->image.reset();
    return true;
  }

  Flow Dbod() {
    if (!haveDloc && !haveDgbl) {
      Message("Bad file");
      result = -1;
      return Flow::kEnd;
    }
    if (!FinishLayer()) return Flow::kEnd;
    if (fileWidth < 1 || fileHeight < 1 || !elements.Usable()) {
      Message("Bad file");
      result = 1;
      return Flow::kEnd;
    }
    if (!decoded || decoded->width != fileWidth || decoded->height != fileHeight) {
      decoded = FileBlock();
      scratch = FileBlock();
      work.reset();
      if (!decoded || !scratch) {
        Message(" Not enough memory");
        result = -1;
        return Flow::kEnd;
      }
    }
    if (!Same() && !work) {
      work.reset(AllocBlock(targetWidth, targetHeight));
      if (!work) {
        Message(" Not enough memory");
        result = -1;
        return Flow::kEnd;
      }
    }
    if (int r = DecodeBody(Bytes(content.data(), content.size()), decoded.get())) {
      result = r;
      return Flow::kEnd;
    }
    decodedStale = false;
    BlockPtr first(AllocBlock(targetWidth, targetHeight));
    if (!first) {
      Message(" Not enough memory");
      result = 1;
      return Flow::kEnd;
    }
    PlaceImage(decoded.get(), first.get(), stretch);
    ++layerNumber;
    if (!haveName) {
      std::string base = std::filesystem::path(path).filename().string();
      const size_t dot = base.rfind('.');
      if (dot != std::string::npos && dot > 0 && (base.size() - dot == 3 || base.size() - dot == 4))
        base.erase(dot);
      if (base.size() > 50) base.erase(0, base.size() - 50);
      name = base + "-" + std::to_string(layerNumber);
    }
    Staged s;
    Layer& l = s.layer;
    l.width = targetWidth;
    l.height = targetHeight;
    l.opacity = 255;
    l.id = NextKey();
    std::snprintf(l.name, sizeof l.name, "%s", name.c_str());
    l.lastUse = static_cast<int32_t>(TimeNow() * 1000.0);
    l.first = l.last = header.read ? header.first : 0;
    if (header.read) {
      l.flags = header.flags;
      l.opacity = std::clamp(header.density, 0, 255);
      l.lightBefore = std::min(header.lightBefore, 0);
      l.lightAfter = std::max(header.lightAfter, 0);
      if (header.images == 0) l.last = std::clamp(header.last, l.first, kPositionLimit);
    }
    try {
      staged.push_back(std::move(s));
    } catch (const std::bad_alloc&) {
      Message("Load project has failed");
      return Flow::kEnd;
    }
    Staged& cur = staged.back();
    haveName = false;
    header = LayerHeader{};
    cur.image = std::move(first);
    if (!Same()) CopyBlock(cur.image.get(), work.get());
    Pixel thumb[kThumbSide * kThumbSide];
    int tw = 0, th = 0;
    MakeThumbnail(cur.image.get(), thumb, &tw, &th);
    cur.layer.thumbnail = AllocBlock(tw, th);
    if (cur.layer.thumbnail)
      std::memcpy(cur.layer.thumbnail->data, thumb, size_t(tw) * th * sizeof(Pixel));
    if (!(Same() && elements.Native())) {
      shadow = CreateSequence("", fileWidth, fileHeight);
      KeepShadow();
    }
    return Flow::kGoOn;
  }

  Flow Ldlt() {
    Staged* s = Current();
    if (!s || !EnsureSequence(*s)) return Flow::kEnd;
    Refresh();
    if (int r = DecodeBody(Bytes(content.data(), content.size()), scratch.get())) {
      result = r;
      return Flow::kEnd;
    }
    XorInto(decoded.get(), scratch.get());
    return AppendImage(*s) ? Flow::kGoOn : Flow::kEnd;
  }

  Flow Sraw() {
    Staged* s = Current();
    if (!s || !EnsureSequence(*s)) return Flow::kEnd;
    ImageSequence* seq = s->layer.sequence;
    const auto direct = reinterpret_cast<ReadFrameFn>(seq->ops.ReadFrame);
    if (g_direct && direct && elements.Native() && Same()) {
      const int r = direct(seq, seq->count, content.data(), content.size());
      if (r < 0) {
        result = 1;
        return Flow::kEnd;
      }
      if (r > 0) {
        ++s->layer.last;
        decodedStale = true;
        return Flow::kGoOn;
      }
    }
    Refresh();
    ByteReader r(Bytes(content.data(), content.size()));
    const uint32_t type = r.U32BE();
    if (!r.ok()) {
      ShortRead();
      return Flow::kEnd;
    }
    if (type == kStreamLinked) {
      const uint32_t k = r.U32BE();
      if (!r.ok() || k >= static_cast<uint32_t>(seq->count) ||
          !LinkFrameFrom(seq, static_cast<int>(k), seq, seq->count - 1)) {
        result = 1;
        return Flow::kEnd;
      }
      ++s->layer.last;
      if (shadow && static_cast<int>(k) < shadow->count) {
        FillBlock(decoded.get(), 0);
        LoadFrame(shadow, decoded.get(), static_cast<int>(k));
        KeepShadow();
      }
      return Flow::kGoOn;
    }
    if (type == kStreamTiles) {
      if (!DecodeTiles(r)) return Flow::kEnd;
    } else if (type == kStreamWhole || type == kStreamLzw) {
      if (!DecodeWhole(r, type)) return Flow::kEnd;
    } else {
      return Flow::kGoOn;  // a stream of a kind this reader doesn't know adds nothing
    }
    return AppendImage(*s) ? Flow::kGoOn : Flow::kEnd;
  }

  // A stream that ends inside a record: said, and the load ends with 1. Always false.
  bool ShortRead() {
    Message("Read error!");
    result = 1;
    return false;
  }

  // A tile stream as a plain picture: stored tiles unpacked, links copied.
  bool DecodeTiles(ByteReader& r) {
    const uint32_t base = r.U32BE();
    r.Skip(base);
    const uint32_t tiles = r.U32BE();
    if (!r.ok()) return ShortRead();
    Block* cur = scratch.get();
    FillBlock(cur, 0);
    const int grid = TileCountOf(fileWidth, fileHeight);
    const int cols = TileColumns(fileWidth);
    for (uint32_t t = 0; t < tiles; ++t) {
      const uint32_t n = r.U32BE();
      if (!r.ok()) return ShortRead();
      const bool inside = t < static_cast<uint32_t>(grid);
      const TileBox box =
          inside ? TileAt(fileWidth, fileHeight, static_cast<int>(t)) : TileBox{0, 0, 0, 0};
      if (n == 0) {
        const uint32_t back = r.U32BE(), at = r.U32BE();
        if (!r.ok()) return ShortRead();
        if (!inside || at >= static_cast<uint32_t>(grid)) continue;
        const Block* from = back ? decoded.get() : cur;
        const int fx = static_cast<int>(at % cols) * kTileSize;
        const int fy = static_cast<int>(at / cols) * kTileSize;
        CopyRect(from, fx, fy, cur, box.x, box.y, std::min(box.w, fileWidth - fx),
                 std::min(box.h, fileHeight - fy));
        continue;
      }
      Bytes bytes = r.Take(n);
      if (!r.ok()) return ShortRead();
      if (!inside) continue;
      size_t used = 0;
      for (int y = 0; y < box.h; ++y) {
        Pixel* row = cur->Row(box.y + y) + box.x;
        const ptrdiff_t k =
            PixelRLEUnpack(bytes.data() + used, bytes.size() - used, row, size_t(box.w));
        if (k < 0) break;
        used += static_cast<size_t>(k);
      }
      for (int y = 0; y < box.h; ++y) Swizzle(cur->Row(box.y + y) + box.x, size_t(box.w), elements);
    }
    std::swap(scratch, decoded);
    return true;
  }

  // One run-code stream of the whole picture, plain or inside LZW.
  bool DecodeWhole(ByteReader& r, uint32_t type) {
    r.U32BE();  // the base size of a picture not kept
    const size_t pixels = size_t(fileWidth) * fileHeight;
    std::vector<uint8_t> rle;
    Bytes stream;
    if (type == kStreamWhole) {
      stream = r.Take(r.U32BE());
    } else {
      r.U32BE();
      const uint32_t length = r.U32BE();
      if (!r.ok()) return ShortRead();
      if (length > PixelRLEBound(pixels) + 16) {
        result = 1;
        return false;
      }
      rle.resize(length);
      size_t produced = 0;
      Bytes rest = r.Take(r.left());
      if (!LzwDecode(rest, rle.data(), rle.size(), &produced)) {
        result = 1;
        return false;
      }
      rle.resize(produced);
      stream = Bytes(rle.data(), rle.size());
    }
    if (!r.ok()) return ShortRead();
    FillBlock(decoded.get(), 0);
    PixelRLEUnpack(stream.data(), stream.size(), decoded->data, pixels);
    Swizzle(decoded->data, pixels, elements);
    return true;
  }

  Flow Dloc() {
    ByteReader r(Bytes(content.data(), content.size()));
    const int w = r.U16BE(), h = r.U16BE();
    // Every layer of a project has one size: a later DLOC can't change it.
    if (!r.ok() || !staged.empty()) return Flow::kGoOn;
    fileWidth = w;
    fileHeight = h;
    haveDloc = true;
    targetWidth = Ws.pageWidth;
    targetHeight = Ws.pageHeight;
    resizePage = false;
    if (adoptSize && replace && (w != Ws.pageWidth || h != Ws.pageHeight)) {
      if (w < 1 || h < 1 || !Plausible(w, h)) {
        Message(" Not enough memory");
        result = 1;
        return Flow::kEnd;
      }
      // The page takes the file's size when the new layers take the project's place.
      targetWidth = w;
      targetHeight = h;
      resizePage = true;
      stretch = false;
    }
    if (Same()) stretch = false;
    if (stretch && !Plausible(w, h)) {
      Message(" Not enough memory");
      result = -1;
      return Flow::kEnd;
    }
    return Flow::kGoOn;
  }

  void Dpel() {
    ByteReader r(Bytes(content.data(), content.size()));
    const uint32_t count = r.U32BE();
    Elements e;
    e.red = e.green = e.blue = e.alpha = e.spare = -1;
    int offset = 0;
    for (uint32_t i = 0; i < count && r.ok() && offset <= 1024; ++i) {
      const int type = r.U16BE(), bits = r.U16BE();
      if (!r.ok()) break;
      switch (type) {
        case 1:
          e.red = offset;
          break;
        case 2:
          e.green = offset;
          break;
        case 3:
          e.blue = offset;
          break;
        case 17:
        case 4:
          e.alpha = offset;
          break;
        case 9:
          e.spare = offset;
          break;
        default:
          break;
      }
      offset += bits;
    }
    e.bits = offset;
    elements = e;
  }

  void Lrhd() {
    ByteReader r(Bytes(content.data(), content.size()));
    LayerHeader h;
    r.U32BE();
    h.first = static_cast<int32_t>(r.U32BE());
    h.last = static_cast<int32_t>(r.U32BE());
    h.images = static_cast<int32_t>(r.U32BE());
    h.density = static_cast<int32_t>(r.U32BE());
    r.U32BE();
    h.lightBefore = static_cast<int32_t>(r.U32BE());
    h.flags = r.U32BE();
    r.Skip(8);
    h.lightAfter = static_cast<int32_t>(r.U32BE());
    if (!r.ok()) return;
    h.first = std::clamp(h.first, -kPositionLimit, kPositionLimit);
    h.read = true;
    header = h;
  }

  void Mixr() {
    ByteReader r(Bytes(content.data(), content.size()));
    uint32_t words[15];
    for (uint32_t& v : words) v = r.U32BE();
    if (!r.ok()) return;
    int32_t page = static_cast<int32_t>(words[9]);
    if (page == 1 && words[10] == 0) page = 0;
    if (page == 2) page -= (words[10] == 0) + (words[11] == 0);
    crlr = page;
    mode = words[13];
    haveMode = true;
    bg1 = MakePixel(words[14] & 255, words[14] >> 24, (words[14] >> 16) & 255,
                    (words[14] >> 8) & 255);
    haveBg1 = true;
    layerNumber = 0;
  }

  Flow Chunk(uint32_t id, uint32_t size) {
    const uint64_t start = src.pos();
    const uint64_t next = start + size + (size & 1);
    const bool body = id == kDbod || id == kLdlt || id == kSraw;
    if (body && id != kDbod && !haveDloc && !haveDgbl) return Flow::kEnd;
    if (id != kXs24 && id != kAnno &&
        (body || id == kDgbl || id == kDpel || id == kDloc || id == kBgmd || id == kCrlr ||
         id == kBgp1 || id == kBgp2 || id == kLrbg || id == kLnam || id == kFrat || id == kLrhd ||
         id == kMixr)) {
      if (!ReadContent(size)) {
        Message(" Not enough memory");
        result = 1;
        return Flow::kEnd;
      }
    }
    Flow flow = Flow::kGoOn;
    ByteReader r(Bytes(content.data(), content.size()));
    switch (id) {
      case kDgbl: {
        const int w = r.U16BE(), h = r.U16BE(), c = r.U16BE();
        if (!r.ok()) break;
        haveDgbl = true;
        compression = c;
        if (!haveDloc && staged.empty()) fileWidth = w, fileHeight = h;
        break;
      }
      case kDpel:
        Dpel();
        break;
      case kDloc:
        flow = Dloc();
        break;
      case kBgmd:
        mode = r.U32BE();
        haveMode = r.ok();
        break;
      case kCrlr:
        crlr = static_cast<int32_t>(r.U32BE());
        break;
      case kBgp1:
      case kBgp2: {
        uint8_t c[4] = {};
        if (!r.Read(c, 4)) break;
        (id == kBgp1 ? bg1 : bg2) = MakePixel(c[3], c[0], c[1], c[2]);
        (id == kBgp1 ? haveBg1 : haveBg2) = true;
        break;
      }
      case kLrbg: {
        VideoLayerRef v;
        v.first = static_cast<int32_t>(r.U32BE());
        v.flags = r.U32BE();
        v.sourceFirst = static_cast<int32_t>(r.U32BE());
        v.sourceLast = static_cast<int32_t>(r.U32BE());
        v.mode = static_cast<int32_t>(r.U32BE());
        r.Skip(20);
        if (!r.ok()) break;  // too short to hold the reference: ignored
        Bytes p = r.Take(std::min<size_t>(r.left(), kLrbgPath));
        if (p.data())
          v.path.assign(reinterpret_cast<const char*>(p.data()),
                        strnlen(reinterpret_cast<const char*>(p.data()), p.size()));
        video = v;
        break;
      }
      case kLnam:
        name.assign(reinterpret_cast<const char*>(content.data()),
                    strnlen(reinterpret_cast<const char*>(content.data()),
                            std::min<size_t>(content.size(), kLayerNameSize - 1)));
        haveName = true;
        break;
      case kFrat: {
        const int32_t v = static_cast<int32_t>(r.U32BE());
        if (r.ok() && v > 0) rate = v / 1000.0, haveRate = true;
        break;
      }
      case kLrhd:
        Lrhd();
        break;
      case kMixr:
        if (content.size() >= 60) Mixr();
        break;
      case kDbod: {
        HeldGauge inner;
        flow = Dbod();
        break;
      }
      case kLdlt: {
        HeldGauge inner;
        flow = Ldlt();
        break;
      }
      case kSraw: {
        HeldGauge inner;
        flow = Sraw();
        break;
      }
      default:
        break;
    }
    src.Seek(next);
    return flow;
  }

  // The gauge by file position, then the stop flag: " Yes " ends the load with what it has.
  bool Step() {
    const int total = static_cast<int>(std::min<uint64_t>(src.size() / 4096, INT32_MAX));
    const int done = static_cast<int>(std::min<uint64_t>(src.pos() / 4096, INT32_MAX));
    GaugeUpdate(done, total);
    if (!GaugeStopped()) return true;
    if (Ask("Stop Loading?", " Yes ", " No ") != 0) return false;
    SetGaugeStop(false);
    return true;
  }

  // The layers read take their place in the project. The result so far, or 1.
  int Commit() {
    FinishLayer();
    if (staged.empty()) return result;
    std::vector<Layer> layers;
    layers.reserve(staged.size());
    for (Staged& s : staged) {
      // The light table reaches no further than the layer's own images.
      Layer l = s.layer;
      l.lightBefore = std::max(l.lightBefore, l.first - l.last);
      l.lightAfter = std::min(l.lightAfter, l.last - l.first);
      layers.push_back(l);
    }
    const int count = static_cast<int>(layers.size());
    if (!replace) {
      if (targetWidth != Ws.pageWidth || targetHeight != Ws.pageHeight || !StoreOpenImage()) {
        Message("Load project has failed");
        return 1;
      }
      const int was = Timeline.current;
      for (int i = 0; i < count; ++i) {
        const int index = NewLayer(layers[i].name, false, false, layers[i].first, true);
        if (index < 0) break;
        Layer* l = LayerAt(index);
        FreeBlock(l->thumbnail);
        const int32_t id = l->id;
        *l = layers[i];
        l->id = id;
        staged[size_t(i)].layer = Layer{};
        Timeline.current = index;
      }
      Timeline.current = was;
      SelectLayer(std::clamp(was + crlr, 0, LayerCount() - 1), Timeline.position, false);
      return result;
    }
    if (resizePage && !MakePage(targetWidth, targetHeight)) {
      ClearProject();
      return 1;
    }
    const int current = std::clamp(crlr, 0, count - 1);
    if (haveRate) Ws.frameRate = rate;
    if (haveBg1) Ws.background = bg1;
    if (haveBg2) Ws.secondBackground = bg2;
    if (haveMode) Ws.displayFlags = (Ws.displayFlags & ~0x2004u) | (mode & 0x2004u);
    if (!ReplaceLayers(layers.data(), count, current, Timeline.position)) {
      Message("Load project has failed");
      return 1;
    }
    for (Staged& s : staged) s.layer = Layer{};
    VideoLayer() = video;
    if (!video.path.empty() && ProjectHooks().openVideoLayer) ProjectHooks().openVideoLayer(video);
    g_projectPath = path;
    SetTitle(path.c_str());
    return result;
  }
};

}  // namespace

// ---- LZW ---------------------------------------------------------------------------------------

std::vector<uint8_t> LzwEncode(std::span<const uint8_t> in) {
  std::vector<uint8_t> out;
  out.reserve(in.size() / 2 + 16);
  BitSink sink{&out};
  std::vector<int32_t> keys(kLzwHash, -1);
  std::vector<uint16_t> codes(kLzwHash, 0);
  int width = 9, next = kLzwFirst;
  auto emit = [&](int code) {
    sink.Put(code, width);
    if (next > (1 << width) - 1 && width < kLzwMaxBits) ++width;
  };
  sink.Put(kLzwClear, width);
  if (in.empty()) {
    sink.Put(kLzwEnd, width);
    sink.Finish();
    return out;
  }
  int prefix = in[0];
  for (size_t i = 1; i < in.size(); ++i) {
    const int byte = in[i];
    const int32_t key = (byte << 12) | prefix;
    int h = byte * 16 + prefix;
    if (h >= kLzwHash) h -= kLzwHash;
    const int step = h == 0 ? 1 : kLzwHash - h;
    bool found = false;
    while (keys[h] >= 0) {
      if (keys[h] == key) {
        found = true;
        break;
      }
      h -= step;
      if (h < 0) h += kLzwHash;
    }
    if (found) {
      prefix = codes[h];
      continue;
    }
    emit(prefix);
    prefix = byte;
    if (next < kLzwLimit) {
      keys[h] = key;
      codes[h] = static_cast<uint16_t>(next++);
    } else {
      sink.Put(kLzwClear, width);
      std::fill(keys.begin(), keys.end(), -1);
      next = kLzwFirst;
      width = 9;
    }
  }
  emit(prefix);
  sink.Put(kLzwEnd, width);
  sink.Finish();
  return out;
}

bool LzwDecode(std::span<const uint8_t> in, uint8_t* out, size_t capacity, size_t* produced) {
  std::vector<uint16_t> prefix(kLzwLimit);
  std::vector<uint8_t> suffix(kLzwLimit), first(kLzwLimit), stack(kLzwLimit + 1);
  for (int i = 0; i < 256; ++i) suffix[i] = first[i] = static_cast<uint8_t>(i);
  size_t at = 0, done = 0;
  uint32_t acc = 0;
  int bits = 0, width = 9, next = kLzwFirst, old = -1;
  auto read = [&](int* code) {
    while (bits < width) {
      if (at >= in.size()) return false;
      acc |= uint32_t(in[at++]) << bits;
      bits += 8;
    }
    *code = static_cast<int>(acc & ((1u << width) - 1));
    acc >>= width;
    bits -= width;
    return true;
  };
  auto put = [&](uint8_t b) {
    if (done < capacity) out[done] = b;
    ++done;
  };
  bool ok = false;
  for (int code; read(&code);) {
    if (code == kLzwEnd) {
      ok = true;
      break;
    }
    if (code == kLzwClear) {
      width = 9;
      next = kLzwFirst;
      old = -1;
      continue;
    }
    if (old < 0) {
      if (code > 255) break;
      put(static_cast<uint8_t>(code));
      old = code;
      continue;
    }
    int cur = code;
    size_t depth = 0;
    if (code >= next) {
      if (code != next || next >= kLzwLimit) break;
      stack[depth++] = first[old];
      cur = old;
    } else if (code >= 256 && code < kLzwFirst) {
      break;
    }
    while (cur >= kLzwFirst) {
      stack[depth++] = suffix[cur];
      cur = prefix[cur];
    }
    stack[depth++] = static_cast<uint8_t>(cur);
    const uint8_t head = static_cast<uint8_t>(cur);
    while (depth) put(stack[--depth]);
    if (next < kLzwLimit) {
      prefix[next] = static_cast<uint16_t>(old);
      suffix[next] = head;
      first[next] = first[old];
      ++next;
      if (next == (1 << width) && width < kLzwMaxBits) ++width;
    }
    old = code;
  }
  *produced = std::min(done, capacity);
  return ok;
}

// ---- The two operations ------------------------------------------------------------------------

int SaveProject(const char* path) {
  if (!path || !*path) {
    MessageF("Can't open destination file:\n%s", path ? path : "");
    return -1;
  }
  if (!StoreOpenImage()) return -1;
  Saver s;
  if (!s.w.Open(path)) {
    MessageF("Can't open destination file:\n%s", path);
    return -1;
  }
  s.w.U32(kForm), s.w.U32(0), s.w.U32(kQdpp);
  WriteThumbnail(s.w);
  WriteHeader(s.w);
  const bool written = WriteLayers(s);
  // A stopped save ends as a whole file with the layers written until the stop, unless that
  // would take the place of a good one.
  if (s.stopped && std::filesystem::exists(path)) return -1;
  if ((!written && !s.stopped) || s.w.failed() ||
      !s.w.Patch(4, static_cast<uint32_t>(s.w.Tell() - 8))) {
    // A buffer that could not be had was reported where it failed.
    if (s.w.failed()) Message("Write error!");
    return -1;
  }
  if (!s.w.Commit()) {
    Message("Write error!");
    return -1;
  }
  g_projectPath = path;
  SetTitle(path);
  return s.stopped ? -1 : 0;
}

int LoadProject(const char* path, bool adoptSize, bool stretch, bool replace) {
  Loader l;
  l.path = path ? path : "";
  l.adoptSize = adoptSize;
  l.stretch = stretch;
  l.replace = replace;
  if (!path || !l.src.Open(path)) {
    MessageF("Can't open source file:\n%s", l.path.c_str());
    return -1;
  }
  uint8_t head[12];
  if (!l.src.Read(head, sizeof head) || Be32(head) != kForm || Be32(head + 8) != kQdpp) {
    if (ProjectHooks().loadMovie) return ProjectHooks().loadMovie(path, adoptSize, stretch);
    MessageF("%s\nUnknown file format", path);
    return -1;
  }
  {
    CoderGauge gauge("Loading Project");
    for (uint8_t chunk[8]; l.src.Read(chunk, 4);) {
      if (!l.src.Read(chunk + 4, 4)) break;
      if (l.Chunk(Be32(chunk), Be32(chunk + 4)) == Flow::kEnd) break;
      if (!l.Step()) break;
    }
  }
  if (l.result == -1) return -1;
  return l.Commit();
}

namespace {

// Bytes in memory read as the loader's Source reads a file.
class ByteSource {
 public:
  explicit ByteSource(std::span<const uint8_t> b) : b_(b) {}
  uint64_t pos() const { return pos_; }
  void Seek(uint64_t at) { pos_ = std::min<uint64_t>(at, b_.size()); }
  bool Read(void* dst, size_t n) {
    if (n > b_.size() - pos_) return false;
    if (n) std::memcpy(dst, b_.data() + pos_, n);
    pos_ += n;
    return true;
  }

 private:
  std::span<const uint8_t> b_;
  uint64_t pos_ = 0;
};

// The picture size as the loader takes it: DLOC, or DGBL until a DLOC comes; the first body
// ends the search.
template <typename S>
bool ReadProjectInfo(S& src, int* width, int* height) {
  *width = *height = 0;
  uint8_t head[12];
  if (!src.Read(head, sizeof head) || Be32(head) != kForm || Be32(head + 8) != kQdpp) return false;
  for (uint8_t chunk[12]; src.Read(chunk, 8);) {
    const uint32_t id = Be32(chunk), size = Be32(chunk + 4);
    const uint64_t next = src.pos() + size + (size & 1);
    if ((id == kDloc || id == kDgbl) && size >= 4 && src.Read(chunk + 8, 4)) {
      *width = (chunk[8] << 8) | chunk[9];
      *height = (chunk[10] << 8) | chunk[11];
      if (id == kDloc) break;
    }
    if (id == kDbod || id == kLdlt || id == kSraw) break;
    src.Seek(next);
  }
  return true;
}

}  // namespace

bool ProjectInfo(const char* path, int* width, int* height) {
  *width = *height = 0;
  Source src;
  return path && src.Open(path) && ReadProjectInfo(src, width, height);
}

bool ProjectInfoOfBytes(std::span<const uint8_t> bytes, int* width, int* height) {
  ByteSource src(bytes);
  return ReadProjectInfo(src, width, height);
}

const std::string& ProjectFileName() {
  return g_projectPath;
}

void SetTitle(const char* path) {
  char title[kLrbgPath + 16];
  if (path && *path)
    std::snprintf(title, sizeof title, "Vela  -  %s", path);
  else
    std::snprintf(title, sizeof title, "Vela");
  HostSetTitle(title);
}

VideoLayerRef& VideoLayer() {
  static VideoLayerRef video;
  return video;
}

ProjectFileHooks& ProjectHooks() {
  static ProjectFileHooks hooks;
  return hooks;
}

int SetProjectCompression(int compression) {
  const int old = g_compression;
  g_compression = compression == 8 ? 8 : 1;
  return old;
}

void SetProjectWriteFailure(int n, bool sticky) {
  g_failAt = n;
  g_failSticky = sticky;
  g_calls = 0;
}

void SetDirectTileStreams(bool on) {
  g_direct = on;
}

}  // namespace vela
