#include "project/layers.h"

#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "pixels/blend.h"
#include "pixels/disk_cache.h"
#include "pixels/display.h"
#include "pixels/pixel_rle.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layer_model.h"
#include "project/page.h"
#include "project/undo.h"
#include "start/ask.h"
#include "start/config_store.h"
#include "start/gauge.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

TimelineState Timeline;
LayerSettings LayerSet;

namespace layer_model {

constexpr const char* kSection = "MLayers";

std::vector<Layer> LayerArray;  // the array grows by 8 records
std::vector<uint8_t> g_packed;  // the packed bytes of a single image on their way to the cache
uint32_t g_thumbStamp = 0;      // Stamp + ThumbnailCounter when the thumbnail was made

bool GrowPacked(size_t bytes) {
  if (g_packed.size() >= bytes) return true;
  try {
    CacheScratchBytes -= static_cast<int64_t>(g_packed.size());
    g_packed.resize(bytes);
    CacheScratchBytes += static_cast<int64_t>(g_packed.size());
    return true;
  } catch (const std::bad_alloc&) {
    CacheScratchBytes += static_cast<int64_t>(g_packed.size());
    return false;
  }
}

void FreeLayerData(Layer& l) {
  FreeBlock(l.thumbnail);
  l.thumbnail = nullptr;
  if (l.sequence) l.sequence->ops.Destroy(l.sequence);
  l.sequence = nullptr;
  if (l.packedKey) CacheDelete(l.packedKey);
  l.packedKey = l.packedSize = 0;
}

void SetName(Layer& l, const char* name) {
  std::snprintf(l.name, sizeof l.name, "%s", name ? name : "");
}

Layer MakeLayer(const char* name, int position) {
  Layer l{};
  l.width = Ws.pageWidth;
  l.height = Ws.pageHeight;
  l.opacity = 255;
  l.id = NextKey();
  SetName(l, name);
  l.lastUse = static_cast<int32_t>(TimeNow() * 1000.0);
  l.first = l.last = position;
  int tw = 64, th = 64;
  if (l.width >= l.height)
    th = std::max(1, static_cast<int>(int64_t{l.height} * 64 / std::max(l.width, 1)));
  else
    tw = std::max(1, static_cast<int>(int64_t{l.width} * 64 / l.height));
  l.thumbnail = NewBlock(tw, th);
  return l;
}

bool InsertLayer(int index, const Layer& l) {
  try {
    if (LayerArray.size() == LayerArray.capacity())
      LayerArray.reserve(LayerArray.size() + kLayerGrowth);
    LayerArray.insert(LayerArray.begin() + index, l);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool PageIsEmpty(const Block* page) {
  const size_t n = static_cast<size_t>(page->width) * page->height;
  for (size_t i = 0; i < n; ++i)
    if (page->data[i]) return false;
  return true;
}

bool PageMatchesLayer(const Layer& l) {
  return Ws.page && Ws.page->width == l.width && Ws.page->height == l.height;
}

// The page shows the layer at the position; nothing is stored first.
void OpenAt(int index, int position, bool quiet) {
  if (LayerArray.empty()) return;
  index = std::clamp(index, 0, LayerCount() - 1);
  Timeline.current = index;
  Layer& l = LayerArray[index];
  l.flags &= ~kLayerHidden;
  position = std::clamp(position, l.first, l.last);
  Timeline.position = position;
  if (Ws.page) LoadLayerImage(Ws.page, &l, position);
  l.current = l.sequence ? position - l.first : 0;
  RebuildThumbnail();
  Ws.opacity = l.opacity;
  ResetUndo();
  Timeline.storedStamp = Stamp;
  RebuildDisplay(!quiet);
}

// ---- Undo records ------------------------------------------------------------------------------

// The selection of the time-line on the other side of an undo.

Marks CurrentMarks() {
  const Layer* l = CurrentLayer();
  return {l ? l->id : 0, Timeline.position, Timeline.rangeIn, Timeline.rangeCount};
}

// Puts back the other side's selection and keeps the one from before the run for the next.
void ExchangeMarks(Marks* m, const Marks& now) {
  int index = LayerIndexOfId(m->layerId);
  Timeline.rangeIn = m->rangeIn;
  Timeline.rangeCount = m->rangeCount;
  OpenAt(index >= 0 ? index : Timeline.current, m->position, false);
  *m = now;
}

// A layer that one side of the undo has and the other has not: new and deleted layers.

bool RunPresence(void* data) {
  auto* r = static_cast<PresenceRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  if (r->present) {
    int index = LayerIndexOfId(r->layer.id);
    if (index < 0 || LayerCount() < 2) return false;
    r->layer = LayerArray[index];
    r->index = index;
    LayerArray.erase(LayerArray.begin() + index);
    if (Timeline.current >= index && Timeline.current > 0) --Timeline.current;
    r->present = false;
  } else {
    int index = std::clamp(r->index, 0, LayerCount());
    if (!InsertLayer(index, r->layer)) return false;
    if (Timeline.current >= index) ++Timeline.current;
    r->present = true;
  }
  Timeline.storedStamp = Stamp;  // stored above; the indexes moved under the page
  ExchangeMarks(&r->marks, now);
  return true;
}

void DropPresence(void* data) {
  auto* r = static_cast<PresenceRecord*>(data);
  if (!r->present) FreeLayerData(r->layer);
  delete r;
}

const LayerUndoOps kPresenceOps = {RunPresence, DropPresence};

// The whole record of a layer before the change, exchanged with the live one.

bool RunSwap(void* data) {
  auto* r = static_cast<SwapRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  int index = LayerIndexOfId(r->kept.id);
  if (index < 0) return false;
  std::swap(LayerArray[index], r->kept);
  Timeline.storedStamp = Stamp;
  ExchangeMarks(&r->marks, now);
  return true;
}

void DropSwap(void* data) {
  auto* r = static_cast<SwapRecord*>(data);
  FreeLayerData(r->kept);
  delete r;
}

const LayerUndoOps kSwapOps = {RunSwap, DropSwap};

// The sequence of a layer before its images changed; every frame linked, no pixels copied.

bool RunSequence(void* data) {
  auto* r = static_cast<SequenceRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  int index = LayerIndexOfId(r->layerId);
  if (index < 0) return false;
  Layer& l = LayerArray[index];
  std::swap(l.sequence, r->kept);
  std::swap(l.first, r->first);
  std::swap(l.last, r->last);
  Timeline.storedStamp = Stamp;
  ExchangeMarks(&r->marks, now);
  return true;
}

void DropSequence(void* data) {
  auto* r = static_cast<SequenceRecord*>(data);
  if (r->kept) r->kept->ops.Destroy(r->kept);
  delete r;
}

const LayerUndoOps kSequenceOps = {RunSequence, DropSequence};

ImageSequence* LinkedCopy(ImageSequence* s) {
  ImageSequence* copy = CreateSequence(s->name, s->width, s->height);
  if (!copy) return nullptr;
  for (int i = 0; i < s->count; ++i) {
    if (!LinkFrameFrom(s, i, copy, i - 1)) {
      copy->ops.Destroy(copy);
      return nullptr;
    }
  }
  return copy;
}

// A sequence of the layer's stored image as frame 0 and extra duplicates of it.
ImageSequence* SequenceFromPage(const Layer& l, int extraFrames) {
  ImageSequence* s = CreateSequence(l.name, l.width, l.height);
  if (!s) {
    Message("Init Anim failed");
    return nullptr;
  }
  bool ok = AddFrame(s, Ws.page, -1, 0);
  for (int i = 0; ok && i < extraFrames; ++i) ok = DuplicateFrame(s, 0);
  if (!ok) {
    s->ops.Destroy(s);
    Message("Make Anim failed");
    return nullptr;
  }
  return s;
}

// The current layer becomes a sequence; the record of the single image is returned for undo.
SwapRecord* ConvertToSequence(int extraFrames) {
  Layer& l = LayerArray[Timeline.current];
  ImageSequence* s = SequenceFromPage(l, extraFrames);
  if (!s) return nullptr;
  auto* r = new (std::nothrow) SwapRecord{l, CurrentMarks()};
  if (!r) {
    s->ops.Destroy(s);
    Message(" Not enough memory");
    return nullptr;
  }
  // The record owns the single image and its thumbnail now.
  l.packedKey = l.packedSize = 0;
  l.thumbnail = nullptr;
  l.sequence = s;
  l.last = l.first + extraFrames;
  l.current = Timeline.position - l.first;
  return r;
}

}  // namespace layer_model

using namespace layer_model;

// ---- The model ---------------------------------------------------------------------------------

int LayerCount() {
  return static_cast<int>(LayerArray.size());
}

Layer* LayerAt(int index) {
  if (index < 0 || index >= LayerCount()) return nullptr;
  return &LayerArray[index];
}

Layer* CurrentLayer() {
  return LayerAt(Timeline.current);
}

int LayerIndexOfId(int id) {
  for (int i = 0; i < LayerCount(); ++i)
    if (LayerArray[i].id == id) return i;
  return -1;
}

int NewLayer(const char* name, bool before, bool select, int position, bool quiet) {
  char asked[kLayerNameAsked + 1] = "";
  if (!name) {
    if (!AskText("Layer Name", asked, sizeof asked)) return -1;
    name = asked;
  }
  CacheTrim();
  int index = LayerArray.empty() ? 0 : (before ? Timeline.current : Timeline.current + 1);
  Layer l = MakeLayer(name, position);
  if (!InsertLayer(index, l)) {
    FreeLayerData(l);
    Message("error: Can't create a new layer");
    return -1;
  }
  if (LayerCount() > 1 && index <= Timeline.current) ++Timeline.current;
  if (select && !SelectLayer(index, position, quiet)) return index;
  return index;
}

int StoreOpenImage() {
  Layer* l = CurrentLayer();
  if (!l || !Ws.page || Timeline.storedStamp == Stamp) return 1;
  if (!PageMatchesLayer(*l)) return 0;
  RebuildThumbnail();
  if (l->sequence) {
    if (!l->sequence->ops.StoreFrame(l->sequence, Ws.page, l->current, 0)) return 0;
  } else {
    if (l->packedKey) CacheDelete(l->packedKey);
    l->packedSize = 0;
    if (!PageIsEmpty(Ws.page)) {
      const size_t n = static_cast<size_t>(Ws.page->width) * Ws.page->height;
      const size_t size = PixelRLEPackedSize(Ws.page->data, n);
      if (size > INT32_MAX || !GrowPacked(size)) {
        Message(" Not enough memory");
        return 0;
      }
      PixelRLEPack(Ws.page->data, n, g_packed.data());
      if (!l->packedKey) l->packedKey = NextKey();
      if (!CachePut(l->packedKey, g_packed.data(), static_cast<int32_t>(size), 0)) return 0;
      l->packedSize = static_cast<int32_t>(size);
    }
  }
  l->lastUse = static_cast<int32_t>(TimeNow() * 1000.0);
  Timeline.storedStamp = Stamp;
  return 1;
}

int LoadLayerImage(Block* block, const Layer* layer, int position) {
  if (!block || !layer) return 0;
  if (layer->sequence) {
    FillBlock(block, 0);  // an empty frame leaves the Block as it is
    return layer->sequence->ops.LoadFrame(layer->sequence, block, position - layer->first);
  }
  if (layer->packedSize == 0) {
    FillBlock(block, 0);
    return 1;
  }
  const size_t n = static_cast<size_t>(block->width) * block->height;
  if (block->width != layer->width || block->height != layer->height ||
      !GrowPacked(static_cast<size_t>(layer->packedSize)) ||
      !CacheGet(layer->packedKey, g_packed.data(), layer->packedSize, 0) ||
      PixelRLEUnpack(g_packed.data(), static_cast<size_t>(layer->packedSize), block->data, n) < 0) {
    FillBlock(block, 0);
    return 0;
  }
  return 1;
}

int BlendLayerImage(const Layer* layer, Block* block, int position) {
  if (!layer || !block || position < layer->first || position > layer->last) return 0;
  if (layer->sequence)
    return layer->sequence->ops.BlendFrame(layer->sequence, block, position - layer->first,
                                           layer->opacity);
  if (layer->packedSize == 0 || layer->opacity <= 0) return 1;
  BlockPtr image(AllocBlock(block->width, block->height));
  if (!image || !LoadLayerImage(image.get(), layer, position)) return 0;
  OverRows(image->data, block->data, block->width, block->height, 0, 0, layer->opacity);
  return 1;
}

int SelectLayer(int index, int position, bool quiet) {
  if (!LayerAt(index)) return 0;
  if (index != Timeline.current) Timeline.rangeCount = 0;
  if (!StoreOpenImage()) return 0;
  OpenAt(index, position, quiet);
  return 1;
}

int GotoPosition(int position, int flags) {
  Layer* l = CurrentLayer();
  if (!l) return 0;
  position = std::clamp(position, l->first, l->last);
  if (!StoreOpenImage()) return 0;
  Timeline.position = position;
  if (l->sequence && Ws.page) {
    LoadLayerImage(Ws.page, l, position);
    l->current = position - l->first;
    RebuildThumbnail();
  }
  ResetUndo();
  Timeline.storedStamp = Stamp;
  if (!(flags & 1)) RebuildDisplay();
  ++Timeline.positionCounter;
  return 1;
}

// ---- Operations with undo ----------------------------------------------------------------------

int UserNewLayer(const char* name) {
  if (!StoreOpenImage()) return -1;
  MarkUndo(0, nullptr);
  Marks before = CurrentMarks();
  int index = NewLayer(name, false, false, Timeline.position, true);
  if (index < 0) return -1;
  auto* r = new (std::nothrow) PresenceRecord{LayerArray[index], index, true, before};
  if (r) SetLayerUndo(6, "New Layer", &kPresenceOps, r);
  OpenAt(index, Timeline.position, false);
  return index;
}

int DeleteLayer(int index) {
  Layer* l = LayerAt(index);
  if (!l || !StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  char name[kLayerNameSize + 20];
  std::snprintf(name, sizeof name, "Delete Layer \"%s\"", l->name);
  Marks before = CurrentMarks();
  if (LayerCount() == 1) {
    // The last layer is never removed: it is cleared and renamed.
    Layer fresh = MakeLayer("Untitled", Timeline.position);
    fresh.id = l->id;
    auto* r = new (std::nothrow) SwapRecord{*l, before};
    if (!r) {
      FreeLayerData(fresh);
      Message(" Not enough memory");
      return 0;
    }
    *l = fresh;
    SetLayerUndo(2, name, &kSwapOps, r);
    OpenAt(0, Timeline.position, false);
    return 1;
  }
  auto* r = new (std::nothrow) PresenceRecord{*l, index, false, before};
  if (!r) {
    Message(" Not enough memory");
    return 0;
  }
  LayerArray.erase(LayerArray.begin() + index);
  int current = Timeline.current;
  if (index < current) --current;
  current = std::min(current, LayerCount() - 1);
  SetLayerUndo(3, name, &kPresenceOps, r);
  OpenAt(current, Timeline.position, false);
  return 1;
}

int MakeAnim(int extraFrames) {
  Layer* l = CurrentLayer();
  if (!l || l->sequence) return 0;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  SwapRecord* r = ConvertToSequence(std::max(extraFrames, 0));
  if (!r) return 0;
  SetLayerUndo(2, "Make Anim", &kSwapOps, r);
  OpenAt(Timeline.current, Timeline.position, false);
  return 1;
}

int InsertImage(int count, bool copyCurrent) {
  Layer* l = CurrentLayer();
  if (!l || count < 1) return 0;
  if (count > kMaxLayerImages - (l->sequence ? l->sequence->count : 1)) {
    Message("Add Image failed!");
    return 0;
  }
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  if (!l->sequence) {
    SwapRecord* r = ConvertToSequence(0);
    if (!r) return 0;
    SetLayerUndo(1, "Insert Image", &kSwapOps, r);
  } else {
    ImageSequence* kept = LinkedCopy(l->sequence);
    auto* r = kept ? new (std::nothrow)
                         SequenceRecord{l->id, kept, l->first, l->last, CurrentMarks()}
                   : nullptr;
    if (!r) {
      if (kept) kept->ops.Destroy(kept);
      Message("Add Image failed!");
      return 0;
    }
    SetLayerUndo(1, "Insert Image", &kSequenceOps, r);
  }
  for (int i = 0; i < count && !BreakFlag; ++i) {
    if (!l->sequence->ops.AddFrame(l->sequence, copyCurrent ? Ws.page : nullptr, l->current, 0)) {
      // The old images come back: the record undoes, and the slot is dropped with what it got.
      Message("Add Image failed!");
      Undo.layerOps->run(Undo.layerData);
      MarkUndo(0, nullptr);
      return 0;
    }
    ++l->last;
  }
  OpenAt(Timeline.current, Timeline.position, false);
  return 1;
}

ImageSequence* StretchSequence(ImageSequence* s, int count, const char* title) {
  if (!s || s->count < 1 || count < 1 || count > kMaxLayerImages) return nullptr;
  const int old = s->count;
  ImageSequence* out = CreateSequence(s->name, s->width, s->height);
  if (!out) return nullptr;
  OpenGauge(title ? title : "Time Stretching in progress");
  struct GaugeCloser {
    ~GaugeCloser() { CloseGauge(); }
  } closer;
  auto fail = [&] {
    out->ops.Destroy(out);
    return nullptr;
  };
  if (!AntialiasOn || count == old || old == 1 || count == 1) {
    for (int i = 0; i < count; ++i) {
      if ((i & 15) == 0) GaugeUpdate(i, count);
      if (GaugeStopped() ||
          !LinkFrameFrom(s, static_cast<int>(int64_t{i} * old / count), out, i - 1))
        return fail();
    }
    return out;
  }
  // Two neighbours in turn, so each old frame is unpacked once.
  BlockPtr lower(AllocBlock(s->width, s->height)), upper(AllocBlock(s->width, s->height));
  BlockPtr mixed(AllocBlock(s->width, s->height));
  if (!lower || !upper || !mixed) {
    Message(" Not enough memory");
    return fail();
  }
  int lowerIndex = -1, upperIndex = -1;
  const size_t n = static_cast<size_t>(s->width) * s->height;
  for (int i = 0; i < count; ++i) {
    GaugeUpdate(i, count);
    if (GaugeStopped()) return fail();
    const int64_t num = int64_t{i} * (old - 1), den = count - 1;
    const int k = static_cast<int>(num / den);
    const uint32_t f = static_cast<uint32_t>(((num % den) << 16) / den);
    if (f == 0 || i == count - 1) {
      if (!LinkFrameFrom(s, i == count - 1 ? old - 1 : k, out, i - 1)) return fail();
      continue;
    }
    if (lowerIndex != k) {
      if (upperIndex == k) {
        std::swap(lower, upper);
        std::swap(lowerIndex, upperIndex);
      } else if (!LoadFrame(s, lower.get(), k)) {
        return fail();
      }
      lowerIndex = k;
    }
    if (upperIndex != k + 1) {
      if (!LoadFrame(s, upper.get(), k + 1)) return fail();
      upperIndex = k + 1;
    }
    const uint32_t keep = 65536 - f;
    for (size_t p = 0; p < n; ++p) {
      const Pixel a = lower->data[p], b = upper->data[p];
      Pixel m = 0;
      for (int shift = 0; shift < 32; shift += 8)
        m |= ((((a >> shift) & 255) * keep + ((b >> shift) & 255) * f) >> 16) << shift;
      mixed->data[p] = m;
    }
    if (!AddFrame(out, mixed.get(), i - 1, 1)) return fail();
  }
  return out;
}

void ChangeFrameRate(double rate, bool stretch) {
  if (!(rate > 0 && rate <= 100)) return;
  const double old = Ws.frameRate > 0 ? Ws.frameRate : rate;
  if (!stretch || rate == old) {
    Ws.frameRate = rate;
    return;
  }
  if (!StoreOpenImage()) return;  // nothing changes, nothing is lost
  MarkUndo(0, nullptr);
  const double k = rate / old;
  auto scale = [k](int v) { return static_cast<int>(std::lround(v * k)); };
  // Every sequence is stretched before any is replaced, so that a failure or a Stop leaves all
  // layers, and the rate, as they were: each layer's gauge clears the stop flag of the last.
  std::vector<ImageSequence*> stretched(LayerArray.size(), nullptr);
  bool ok = true;
  for (size_t i = 0; ok && i < LayerArray.size(); ++i) {
    const Layer& l = LayerArray[i];
    if (!l.sequence) continue;
    char title[kLayerNameSize + 32];
    std::snprintf(title, sizeof title, "Stretching in progress\n%s", l.name);
    stretched[i] = StretchSequence(l.sequence, std::max(1, scale(l.sequence->count)), title);
    ok = stretched[i] != nullptr;
  }
  if (!ok) {
    for (ImageSequence* s : stretched)
      if (s) s->ops.Destroy(s);
    if (!GaugeStopped()) Message("Error in stretch anim");
    SetGaugeStop(false);
    return;
  }
  Ws.frameRate = rate;
  for (size_t i = 0; i < LayerArray.size(); ++i) {
    Layer& l = LayerArray[i];
    l.first = scale(l.first);
    if (!stretched[i]) {
      l.last = l.first;
      continue;
    }
    l.sequence->ops.Destroy(l.sequence);
    l.sequence = stretched[i];
    l.last = l.first + l.sequence->count - 1;
  }
  OpenAt(Timeline.current, scale(Timeline.position), false);
}

int ProjectFirstImage() {
  int first = LayerArray.empty() ? 0 : LayerArray[0].first;
  for (const Layer& l : LayerArray) first = std::min(first, l.first);
  return first;
}

int ProjectLastImage() {
  int last = LayerArray.empty() ? 0 : LayerArray[0].last;
  for (const Layer& l : LayerArray) last = std::max(last, l.last);
  return last;
}

// ---- Thumbnails and display --------------------------------------------------------------------

void RebuildThumbnail() {
  Layer* l = CurrentLayer();
  if (!l || !Ws.page) return;
  static Pixel pixels[64 * 64];
  int w = 0, h = 0;
  MakeThumbnail(Ws.page, pixels, &w, &h);
  if (!l->thumbnail || l->thumbnail->width != w || l->thumbnail->height != h) {
    FreeBlock(l->thumbnail);
    l->thumbnail = AllocBlock(w, h);
    if (!l->thumbnail) return;  // a missing thumbnail only leaves its place empty
  }
  std::memcpy(l->thumbnail->data, pixels, static_cast<size_t>(w) * h * sizeof(Pixel));
  g_thumbStamp = Stamp + ThumbnailCounter;
}

void RefreshThumbnail() {
  if (g_thumbStamp != Stamp + ThumbnailCounter) RebuildThumbnail();
}

void FormatTimeCode(int position, char* out, int capacity) {
  if (capacity <= 0) return;
  if (!LayerSet.modeTimeCode || Ws.frameRate <= 0) {
    std::snprintf(out, static_cast<size_t>(capacity), "%d", position);
    return;
  }
  const double rate = Ws.frameRate;
  const int minutes = static_cast<int>(position / (rate * 60.0));
  const double rest = position - minutes * rate * 60.0;
  const int seconds = static_cast<int>(rest / rate);
  const int frames = static_cast<int>(rest - seconds * rate);
  if (minutes)
    std::snprintf(out, static_cast<size_t>(capacity), "%2d:%02d:%02d", minutes, seconds, frames);
  else
    std::snprintf(out, static_cast<size_t>(capacity), "%02d:%02d", seconds, frames);
}

// ---- Start and end -----------------------------------------------------------------------------

bool StartProject() {
  ClearProject();
  return LayerCount() == 1;
}

void ClearProject() {
  if (Undo.layerOps) MarkUndo(0, nullptr);
  for (Layer& l : LayerArray) FreeLayerData(l);
  LayerArray.clear();
  Timeline = TimelineState{};
  Layer l = MakeLayer("Untitled", 0);
  if (!InsertLayer(0, l)) {
    FreeLayerData(l);
    Message("error: Can't create a new layer");
    return;
  }
  if (Ws.page) FillBlock(Ws.page, 0);
  OpenAt(0, 0, true);
}

int NewProject() {
  if (!Ask("Do you really want to delete the project", " Yes ", " No ")) return 0;
  ClearProject();
  RebuildDisplay(true);
  return 1;
}

bool ReplaceLayers(const Layer* layers, int count, int current, int position) {
  if (!layers || count < 1) return false;
  std::vector<Layer> next;
  try {
    next.reserve((static_cast<size_t>(count) + kLayerGrowth - 1) / kLayerGrowth * kLayerGrowth);
  } catch (const std::bad_alloc&) {
    return false;
  }
  next.assign(layers, layers + count);
  if (Undo.layerOps) MarkUndo(0, nullptr);
  for (Layer& l : LayerArray) FreeLayerData(l);
  LayerArray.swap(next);
  Timeline.rangeCount = 0;
  OpenAt(current, position, false);
  return true;
}

void ReleaseProject() {
  if (Undo.layerOps) MarkUndo(0, nullptr);
  for (Layer& l : LayerArray) FreeLayerData(l);
  LayerArray.clear();
  std::vector<uint8_t>().swap(g_packed);
  CacheScratchBytes = std::max<int64_t>(0, CacheScratchBytes);
  Timeline = TimelineState{};
}

// ---- Settings ----------------------------------------------------------------------------------

void LoadLayerSettings() {
  LayerSet.iconRatio = std::clamp(ConfigGetInt(kSection, "IconRatio", 1), 1, 4);
  LayerSet.modeTimeCode = ConfigGetInt(kSection, "ModeTimeCode", 0) ? 1 : 0;
  LayerSet.scale = std::clamp(ConfigGetInt(kSection, "Scale", 1), 1, 100);
  std::string colours = ConfigString(kSection, "BackgroundColor", "0 0 0 255 255 255");
  int v[6] = {0, 0, 0, 255, 255, 255};
  int n =
      std::sscanf(colours.c_str(), "%d %d %d %d %d %d", &v[0], &v[1], &v[2], &v[3], &v[4], &v[5]);
  if (n == 3 || n == 6) {
    for (int& c : v) c = std::clamp(c, 0, 255);
    LayerSet.backgroundColor = PenPixel(v[0], v[1], v[2]);
    if (n == 6) LayerSet.secondBackgroundColor = PenPixel(v[3], v[4], v[5]);
  }
  std::string bg = ConfigString(kSection, "Background", "None");
  LayerSet.background = strcasecmp(bg.c_str(), "color") == 0   ? 1
                        : strcasecmp(bg.c_str(), "check") == 0 ? 2
                                                               : 0;
  Ws.background = LayerSet.backgroundColor;
  Ws.secondBackground = LayerSet.secondBackgroundColor;
  SetBackgroundMode(LayerSet.background);
}

void SaveLayerSettings() {
  LayerSet.background = BackgroundMode();
  LayerSet.backgroundColor = Ws.background | 0xFF000000u;
  LayerSet.secondBackgroundColor = Ws.secondBackground | 0xFF000000u;
  ConfigPutInt(kSection, "IconRatio", LayerSet.iconRatio);
  ConfigPutInt(kSection, "ModeTimeCode", LayerSet.modeTimeCode);
  ConfigPutInt(kSection, "Scale", LayerSet.scale);
  char text[64];
  const Pixel a = LayerSet.backgroundColor, b = LayerSet.secondBackgroundColor;
  std::snprintf(text, sizeof text, "%d %d %d %d %d %d", Red(a), Green(a), Blue(a), Red(b), Green(b),
                Blue(b));
  ConfigPut(kSection, "BackgroundColor", text);
  static const char* const kWords[] = {"None", "Color", "Check"};
  ConfigPut(kSection, "Background", kWords[std::clamp(LayerSet.background, 0, 2)]);
}

}  // namespace vela
