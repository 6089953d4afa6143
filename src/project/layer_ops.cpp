#include "project/layer_ops.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

#include "pixels/disk_cache.h"
#include "pixels/pixel_rle.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "project/layer_model.h"
#include "project/undo.h"
#include "start/ask.h"
#include "start/gauge.h"
#include "start/input.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

ImageSequence* ClipSequence = nullptr;
Layer* ClipLayer = nullptr;

namespace {

using namespace layer_model;

// ---- Shared pieces -----------------------------------------------------------------------------

// The page as the single packed image of a record; an empty page stores nothing.
bool PackInto(Layer& l, const Block* b) {
  if (l.packedKey) CacheDelete(l.packedKey);
  l.packedKey = l.packedSize = 0;
  const size_t n = static_cast<size_t>(b->width) * b->height;
  if (std::all_of(b->data, b->data + n, [](Pixel p) { return p == 0; })) return true;
  const size_t size = PixelRLEPackedSize(b->data, n);
  if (size > INT32_MAX) return false;
  std::vector<uint8_t> bytes;
  try {
    bytes.resize(size);
  } catch (const std::bad_alloc&) {
    return false;
  }
  PixelRLEPack(b->data, n, bytes.data());
  const int32_t key = NextKey();
  if (!CachePut(key, bytes.data(), static_cast<int32_t>(size), 0)) return false;
  l.packedKey = key;
  l.packedSize = static_cast<int32_t>(size);
  return true;
}

// The same record with no image: nothing packed, no sequence, its own blank thumbnail.
Layer BlankLike(const Layer& l) {
  Layer blank = l;
  blank.packedKey = blank.packedSize = 0;
  blank.sequence = nullptr;
  blank.thumbnail = l.thumbnail ? NewBlock(l.thumbnail->width, l.thumbnail->height) : nullptr;
  return blank;
}

void Reopen() {
  OpenAt(Timeline.current, Timeline.position, false);
}

// A change failed half-way: the record in the slot puts the old data back and the slot empties.
void Revert() {
  Timeline.storedStamp = Stamp;  // the page still matches what the record restores
  if (Undo.layerOps && Undo.layerOps->run) Undo.layerOps->run(Undo.layerData);
  MarkUndo(0, nullptr);
}

SequenceRecord* KeepSequence(const Layer& l) {
  ImageSequence* kept = LinkedCopy(l.sequence);
  if (!kept) return nullptr;
  auto* r = new (std::nothrow) SequenceRecord{l.id, kept, l.first, l.last, CurrentMarks()};
  if (!r) kept->ops.Destroy(kept);
  return r;
}

// The frames of the layer inside the range selection, as sequence indexes.
bool RangeFrames(const Layer& l, int* a, int* b) {
  int lo, hi;
  if (!l.sequence || !RangeBounds(&lo, &hi)) return false;
  lo = std::max(lo, l.first);
  hi = std::min(hi, l.last);
  if (lo > hi) return false;
  *a = lo - l.first;
  *b = hi - l.first;
  return true;
}

// One image of the clipboard into dst, cleared first. The clipboard may come from another page
// size: the overlap is kept.
bool LoadClipImage(Block* dst, int index) {
  const int w = ClipSequence ? ClipSequence->width : ClipLayer->width;
  const int h = ClipSequence ? ClipSequence->height : ClipLayer->height;
  auto load = [&](Block* b) {
    return ClipSequence ? (FillBlock(b, 0), LoadFrame(ClipSequence, b, index))
                        : LoadLayerImage(b, ClipLayer, ClipLayer->first);
  };
  if (dst->width == w && dst->height == h) return load(dst);
  BlockPtr image(AllocBlock(w, h));
  if (!image || !load(image.get())) return false;
  FillBlock(dst, 0);
  CopyRect(image.get(), 0, 0, dst, 0, 0, std::min(w, dst->width), std::min(h, dst->height));
  return true;
}

int ClipCount() {
  return ClipSequence ? ClipSequence->count : ClipLayer->last - ClipLayer->first + 1;
}

// The range of the layer (stored) to the clipboard; false on failure, the clipboard untouched.
bool CopyToClipboard(const Layer& l) {
  int lo, hi;
  if (!RangeBounds(&lo, &hi)) return false;
  if (l.sequence) {
    int a, b;
    if (!RangeFrames(l, &a, &b)) return false;
    ImageSequence* clip = CreateSequence(l.name, l.sequence->width, l.sequence->height);
    if (!clip) return false;
    for (int i = a; i <= b; ++i) {
      if (!LinkFrameFrom(l.sequence, i, clip, i - a - 1)) {
        clip->ops.Destroy(clip);
        return false;
      }
    }
    FreeLayerClipboard();
    ClipSequence = clip;
    return true;
  }
  auto* clip = new (std::nothrow) Layer{};
  if (!clip) return false;
  clip->width = Ws.page->width;
  clip->height = Ws.page->height;
  clip->opacity = 255;
  SetName(*clip, "Copy Layer");
  clip->first = lo;
  clip->last = hi;
  if (!PackInto(*clip, Ws.page)) {
    delete clip;
    return false;
  }
  FreeLayerClipboard();
  ClipLayer = clip;
  return true;
}

// A sequence of count copies of a single-image layer's stored image.
ImageSequence* SequenceOfImage(const Layer& l, int count) {
  ImageSequence* s = CreateSequence(l.name, l.width, l.height);
  BlockPtr image(AllocBlock(l.width, l.height));
  bool ok =
      s && image && LoadLayerImage(image.get(), &l, l.first) && AddFrame(s, image.get(), -1, 0);
  for (int i = 1; ok && i < count; ++i) ok = DuplicateFrame(s, 0);
  if (!ok && s) {
    s->ops.Destroy(s);
    s = nullptr;
  }
  return s;
}

bool MoveFrame(ImageSequence* s, int from, int to) {
  const int step = from < to ? 1 : -1;
  for (int i = from; i != to; i += step)
    if (!ExchangeFrames(s, i, s, i + step)) return false;
  return true;
}

// ---- Undo records of their own -----------------------------------------------------------------

// Kind 7: the other name.
struct NameRecord {
  int32_t layerId;
  char name[kLayerNameSize];
  Marks marks;
};

bool RunName(void* data) {
  auto* r = static_cast<NameRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  const int index = LayerIndexOfId(r->layerId);
  if (index < 0) return false;
  std::swap(LayerArray[index].name, r->name);
  ExchangeMarks(&r->marks, now);
  return true;
}

void DropPlain(void* data) {
  std::free(data);
}

const LayerUndoOps kNameOps = {RunName, DropPlain};

// Kinds 4, 5 and 10: a layer's index, its place in time, or an image's index in its sequence.
enum class MoveKind { Index, Time, Image };
struct MoveRecord {
  MoveKind kind;
  int32_t layerId;
  int32_t a, b;  // index from and to, or the time shift in a
  Marks marks;
};

void MoveInArray(int from, int to) {
  if (from < to)
    std::rotate(LayerArray.begin() + from, LayerArray.begin() + from + 1,
                LayerArray.begin() + to + 1);
  else if (from > to)
    std::rotate(LayerArray.begin() + to, LayerArray.begin() + from, LayerArray.begin() + from + 1);
}

bool RunMove(void* data) {
  auto* r = static_cast<MoveRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  const int index = LayerIndexOfId(r->layerId);
  if (index < 0) return false;
  Layer& l = LayerArray[index];
  switch (r->kind) {
    case MoveKind::Index:
      MoveInArray(index, r->a);
      r->a = index;
      break;
    case MoveKind::Time:
      l.first -= r->a;
      l.last -= r->a;
      r->a = -r->a;
      break;
    case MoveKind::Image:
      if (!l.sequence || !MoveFrame(l.sequence, r->b, r->a)) return false;
      std::swap(r->a, r->b);
      break;
  }
  Timeline.storedStamp = Stamp;
  ExchangeMarks(&r->marks, now);
  return true;
}

const LayerUndoOps kMoveOps = {RunMove, DropPlain};

template <typename Record>
Record* NewPlain(const Record& init) {
  auto* r = static_cast<Record*>(std::malloc(sizeof(Record)));
  if (r) *r = init;
  return r;
}

// Kind 2 of a merge: the two layers on one side, the merged one on the other.
struct MergeRecord {
  Layer upper, lower;  // owned while merged
  Layer merged;        // owned while apart
  bool isMerged;
  Marks marks;
};

bool RunMerge(void* data) {
  auto* r = static_cast<MergeRecord*>(data);
  if (!StoreOpenImage()) return false;
  const Marks now = CurrentMarks();
  if (r->isMerged) {
    const int i = LayerIndexOfId(r->merged.id);
    if (i < 0 || !InsertLayer(i + 1, r->lower)) return false;
    r->merged = LayerArray[i];
    LayerArray[i] = r->upper;
  } else {
    const int i = LayerIndexOfId(r->upper.id);
    if (i < 0 || LayerIndexOfId(r->lower.id) != i + 1) return false;
    r->upper = LayerArray[i];
    r->lower = LayerArray[i + 1];
    LayerArray[i] = r->merged;
    LayerArray.erase(LayerArray.begin() + i + 1);
  }
  r->isMerged = !r->isMerged;
  Timeline.current = std::min(Timeline.current, LayerCount() - 1);
  Timeline.storedStamp = Stamp;
  ExchangeMarks(&r->marks, now);
  return true;
}

void DropMerge(void* data) {
  auto* r = static_cast<MergeRecord*>(data);
  if (r->isMerged) {
    FreeLayerData(r->upper);
    FreeLayerData(r->lower);
  } else {
    FreeLayerData(r->merged);
  }
  delete r;
}

const LayerUndoOps kMergeOps = {RunMerge, DropMerge};

// Kind 9: the selection flips again.
void FlipRange() {
  int lo, hi;
  if (!RangeBounds(&lo, &hi)) return;
  if (Timeline.rangeCount > 0) {
    if (lo == hi) return;  // one image has no direction
    Timeline.rangeIn = hi;
    Timeline.rangeCount = lo - hi;
  } else {
    Timeline.rangeIn = lo;
    Timeline.rangeCount = hi - lo + 1;
  }
}

bool RunFlip(void*) {
  FlipRange();
  return true;
}
void DropNothing(void*) {}
const LayerUndoOps kFlipOps = {RunFlip, DropNothing};

// The layer record no longer matches what the slot keeps: a kept record would undo this change.
void DropLayerRecord() {
  if (Undo.layerOps) MarkUndo(0, nullptr);
}

}  // namespace

// ---- Clipboard and range -----------------------------------------------------------------------

void FreeLayerClipboard() {
  if (ClipSequence) ClipSequence->ops.Destroy(ClipSequence);
  ClipSequence = nullptr;
  if (ClipLayer) {
    FreeLayerData(*ClipLayer);
    delete ClipLayer;
  }
  ClipLayer = nullptr;
}

bool RangeBounds(int* lo, int* hi) {
  const int in = Timeline.rangeIn, n = Timeline.rangeCount;
  if (n == 0) return false;
  *lo = n > 0 ? in : in + n;
  *hi = n > 0 ? in + n - 1 : in;
  return true;
}

void SetRange(int in, int count) {
  Timeline.rangeIn = ClampPosition(in);
  Timeline.rangeCount = std::clamp(count, -kMaxLayerImages, kMaxLayerImages);
}

void LayerReverseSelection() {
  if (Timeline.rangeCount == 0 || !StoreOpenImage()) return;
  MarkUndo(0, nullptr);
  FlipRange();
  SetLayerUndo(9, "Invert Selection", &kFlipOps, nullptr);
}

// ---- Operations --------------------------------------------------------------------------------

int DuplicateLayer(const char* name) {
  const Layer* src = CurrentLayer();
  if (!src || !Ws.page || !StoreOpenImage()) return -1;
  MarkUndo(0, nullptr);
  const Marks before = CurrentMarks();
  Layer copy = MakeLayer(name && *name ? name : src->name, src->first);
  copy.last = src->last;
  copy.opacity = src->opacity;
  copy.current = src->current;
  copy.lightBefore = src->lightBefore;
  copy.lightAfter = src->lightAfter;
  if (src->thumbnail && copy.thumbnail) CopyBlock(src->thumbnail, copy.thumbnail);
  // Frames share their tiles; only a single image is packed anew.
  bool ok = src->sequence ? (copy.sequence = LinkedCopy(src->sequence)) != nullptr
                          : PackInto(copy, Ws.page);
  const int index = Timeline.current + 1;
  if (!ok || !InsertLayer(index, copy)) {
    FreeLayerData(copy);
    Message("Duplication error");
    return -1;
  }
  auto* r = new (std::nothrow) PresenceRecord{LayerArray[index], index, true, before};
  if (r) SetLayerUndo(6, "Duplicate Layer", &kPresenceOps, r);
  OpenAt(index, Timeline.position, false);
  return index;
}

int DuplicateImage() {
  Layer* l = CurrentLayer();
  if (!l || !StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  if (!l->sequence) {
    SwapRecord* r = ConvertToSequence(1);
    if (!r) return 0;
    SetLayerUndo(1, "Duplicate Image", &kSwapOps, r);
  } else {
    SequenceRecord* r = KeepSequence(*l);
    if (!r) {
      Message("Duplication error");
      return 0;
    }
    SetLayerUndo(1, "Duplicate Image", &kSequenceOps, r);
    if (!DuplicateFrame(l->sequence, l->current)) {
      Message("Duplication error");
      Revert();
      return 0;
    }
    ++l->last;
  }
  Reopen();
  return 1;
}

int CopyLayer() {
  const Layer* l = CurrentLayer();
  int lo, hi, a, b;
  if (!l || !RangeBounds(&lo, &hi) || (l->sequence && !RangeFrames(*l, &a, &b))) return 0;
  if (!StoreOpenImage()) return 0;
  if (!CopyToClipboard(*l)) {
    Message("Copy failed!");
    return 0;
  }
  return 1;
}

int CutLayer() {
  Layer* l = CurrentLayer();
  int lo, hi, a = 0, b = 0;
  if (!l || !RangeBounds(&lo, &hi) || (l->sequence && !RangeFrames(*l, &a, &b))) return 0;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  if (!CopyToClipboard(*l)) {
    Message("Cut failed!");
    return 0;
  }
  if (l->sequence && b - a + 1 == l->sequence->count) {
    // Every image goes, and the layer with them (the last layer stays, blank).
    if (!DeleteLayer(Timeline.current)) return 0;
    MarkUndo(2, "Cut Layer");
    Timeline.storedStamp = Stamp;
    Timeline.rangeCount = 0;
    return 1;
  }
  if (!l->sequence) {
    auto* r = new (std::nothrow) SwapRecord{*l, CurrentMarks()};
    if (!r) {
      Message("Cut failed!");
      return 0;
    }
    *l = BlankLike(*l);
    SetLayerUndo(2, "Cut Layer", &kSwapOps, r);
  } else {
    SequenceRecord* r = KeepSequence(*l);
    if (!r) {
      Message("Cut failed!");
      return 0;
    }
    SetLayerUndo(1, "Cut Layer", &kSequenceOps, r);
    for (int i = b; i >= a; --i) {
      RemoveFrame(l->sequence, i);
      --l->last;
    }
  }
  Timeline.rangeCount = 0;
  Reopen();
  return 1;
}

int PasteLayer(int at) {
  Layer* l = CurrentLayer();
  if (!l || !Ws.page || (!ClipSequence && !ClipLayer)) return 0;
  if (!StoreOpenImage()) return 0;
  if (!l->sequence) {
    // The page takes the first image; the time-line stays as it is. A pixel step undoes it.
    SaveUndo();
    if (!LoadClipImage(Ws.page, 0)) {
      Message("Paste error!");
      MarkChanged(0, 0, Ws.page->width - 1, Ws.page->height - 1);
      return 0;
    }
    MarkChanged(0, 0, Ws.page->width - 1, Ws.page->height - 1);
    RebuildDisplay();
    return 1;
  }
  MarkUndo(0, nullptr);
  SequenceRecord* r = KeepSequence(*l);
  if (!r) {
    Message("Paste error!");
    return 0;
  }
  SetLayerUndo(1, "Paste", &kSequenceOps, r);
  ImageSequence* s = l->sequence;
  int index, a, b;
  if (RangeFrames(*l, &a, &b)) {
    for (int i = b; i >= a; --i) {
      RemoveFrame(s, i);
      --l->last;
    }
    index = a;
  } else {
    index = Timeline.position - l->first + (at == 0 ? 1 : 0);
  }
  index = std::clamp(index, 0, s->count);
  const int count = ClipCount();
  const bool linked =
      ClipSequence && ClipSequence->width == s->width && ClipSequence->height == s->height;
  BlockPtr image(linked ? nullptr : AllocBlock(s->width, s->height));
  bool ok = linked || image;
  for (int i = 0; ok && i < count; ++i) {
    if (linked)
      ok = LinkFrameFrom(ClipSequence, i, s, index + i - 1);
    else if (ClipSequence || i == 0)
      ok = LoadClipImage(image.get(), i) && AddFrame(s, image.get(), index + i - 1, 0);
    else
      ok = DuplicateFrame(s, index);  // the one image over each further position
    if (ok) ++l->last;
  }
  if (!ok) {
    Message("Paste error!");
    Revert();
    return 0;
  }
  Timeline.rangeCount = 0;
  ++Stamp;
  Reopen();
  return 1;
}

int ClearImages(Pixel fill) {
  Layer* l = CurrentLayer();
  if (!l || !Ws.page || !StoreOpenImage()) return 0;
  int a, b;
  if (RangeFrames(*l, &a, &b)) {
    MarkUndo(0, nullptr);
    SequenceRecord* r = KeepSequence(*l);
    BlockPtr filled(AllocBlock(Ws.page->width, Ws.page->height));
    if (!r || !filled) {
      if (r) kSequenceOps.drop(r);
      Message(" Not enough memory");
      return 0;
    }
    SetLayerUndo(1, "Clear selection", &kSequenceOps, r);
    FillBlock(filled.get(), fill);
    for (int i = a; i <= b; ++i) {
      if (!StoreFrame(l->sequence, filled.get(), i, 0)) {
        Revert();
        return 0;
      }
    }
    Reopen();
    return 1;
  }
  SaveUndo();
  FillBlock(Ws.page, fill);
  MarkChanged(0, 0, Ws.page->width - 1, Ws.page->height - 1);
  MarkUndo(0, "Clear");
  RebuildDisplay();
  return 1;
}

int RenameLayer(int index, const char* name) {
  Layer* l = LayerAt(index);
  if (!l) return 0;
  char asked[kLayerNameAsked + 1];
  if (!name) {
    std::snprintf(asked, sizeof asked, "%.*s", kLayerNameAsked, l->name);
    if (!AskText("New Name", asked, sizeof asked)) return 0;
    name = asked;
  }
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  auto* r = NewPlain(NameRecord{l->id, {}, CurrentMarks()});
  if (!r) {
    Message(" Not enough memory");
    return 0;
  }
  std::memcpy(r->name, l->name, sizeof r->name);
  SetName(*l, name);
  SetLayerUndo(7, "Rename Layer", &kNameOps, r);
  Reopen();
  return 1;
}

int MoveLayer(int from, int to) {
  if (!LayerAt(from) || !LayerAt(to)) return 0;
  if (from == to) return 1;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  const int currentId = CurrentLayer()->id;
  auto* r = NewPlain(MoveRecord{MoveKind::Index, LayerAt(from)->id, from, to, CurrentMarks()});
  if (!r) {
    Message(" Not enough memory");
    return 0;
  }
  MoveInArray(from, to);
  Timeline.current = LayerIndexOfId(currentId);
  SetLayerUndo(5, "Move Layer", &kMoveOps, r);
  Reopen();
  return 1;
}

int ShiftLayer(int index, int delta) {
  Layer* l = LayerAt(index);
  if (!l) return 0;
  // The layer's range stays on the time-line.
  delta = ClampPosition(int64_t{l->first} + delta) - l->first;
  delta = ClampPosition(int64_t{l->last} + delta) - l->last;
  if (delta == 0) return 1;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  auto* r = NewPlain(MoveRecord{MoveKind::Time, l->id, delta, 0, CurrentMarks()});
  if (!r) {
    Message(" Not enough memory");
    return 0;
  }
  l->first += delta;
  l->last += delta;
  SetLayerUndo(4, "Move Layer", &kMoveOps, r);
  Reopen();
  return 1;
}

int MoveImage(int from, int to) {
  Layer* l = CurrentLayer();
  if (!l || !l->sequence || from < 0 || to < 0 || from >= l->sequence->count ||
      to >= l->sequence->count)
    return 0;
  if (from == to) return 1;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  auto* r = NewPlain(MoveRecord{MoveKind::Image, l->id, from, to, CurrentMarks()});
  if (!r) {
    Message(" Not enough memory");
    return 0;
  }
  SetLayerUndo(10, "Move Layer", &kMoveOps, r);
  if (!MoveFrame(l->sequence, from, to)) {
    Revert();
    return 0;
  }
  Timeline.position = l->first + to;  // the moved image stays open
  Reopen();
  return 1;
}

int ResizeLayer(int index, int count, bool atStart, bool stretch) {
  Layer* l = LayerAt(index);
  if (!l || count < 1) return 0;
  if (count > kMaxLayerImages) {
    Message("Add Image failed!");
    return 0;
  }
  const int old = l->sequence ? l->sequence->count : 1;
  if (count == old && l->last - l->first + 1 == count) return 1;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  char name[kLayerNameSize + 20];
  std::snprintf(name, sizeof name, "Resize Layer \"%s\"", l->name);
  auto place = [&] {
    if (atStart)
      l->first = l->last - count + 1;
    else
      l->last = l->first + count - 1;
  };
  if (!l->sequence) {
    // A single image becomes a sequence of copies of it.
    ImageSequence* s = SequenceOfImage(*l, count);
    auto* r = s ? new (std::nothrow) SwapRecord{*l, CurrentMarks()} : nullptr;
    if (!r) {
      if (s) s->ops.Destroy(s);
      Message("Make Anim failed");
      return 0;
    }
    *l = BlankLike(*l);
    if (r->kept.thumbnail && l->thumbnail) CopyBlock(r->kept.thumbnail, l->thumbnail);
    l->sequence = s;
    l->last = l->first;
    place();
    SetLayerUndo(1, name, &kSwapOps, r);
  } else if (stretch) {
    ImageSequence* s = StretchSequence(l->sequence, count);
    auto* r = s ? new (std::nothrow)
                      SequenceRecord{l->id, l->sequence, l->first, l->last, CurrentMarks()}
                : nullptr;
    if (!r) {
      if (s) s->ops.Destroy(s);
      Message("Error stretch anim");
      return 0;
    }
    l->sequence = s;
    place();
    SetLayerUndo(8, "Stretch Sequence", &kSequenceOps, r);
  } else {
    SequenceRecord* r = KeepSequence(*l);
    if (!r) {
      Message(" Not enough memory");
      return 0;
    }
    SetLayerUndo(1, name, &kSequenceOps, r);
    ImageSequence* s = l->sequence;
    bool ok = true;
    while (ok && s->count > count) ok = RemoveFrame(s, atStart ? 0 : s->count - 1);
    while (ok && s->count < count && !BreakFlag) ok = DuplicateFrame(s, atStart ? 0 : s->count - 1);
    // A stopped resize is no resize: the range never runs past the images.
    if (!ok || s->count != count) {
      Revert();
      return 0;
    }
    place();
  }
  Reopen();
  return 1;
}

int MergeLayer(int index) {
  Layer* upper = LayerAt(index);
  Layer* lower = LayerAt(index + 1);
  if (!upper || !lower || !Ws.page || !StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  const Marks before = CurrentMarks();
  const int first = std::min(upper->first, lower->first);
  const int last = std::max(upper->last, lower->last);
  Layer merged = MakeLayer(upper->name, first);
  merged.last = last;
  BlockPtr work(AllocBlock(Ws.page->width, Ws.page->height));
  auto compose = [&](int p) {
    FillBlock(work.get(), 0);
    for (const Layer* l : {lower, upper})
      if (p >= l->first && p <= l->last && !BlendLayerImage(l, work.get(), p)) return false;
    return true;
  };
  bool ok = work != nullptr;
  if (ok && !upper->sequence && !lower->sequence && upper->first == lower->first &&
      upper->last == lower->last) {
    ok = compose(first) && PackInto(merged, work.get());  // one pass for two single images
  } else if (ok) {
    merged.sequence = CreateSequence(upper->name, Ws.page->width, Ws.page->height);
    ok = merged.sequence != nullptr;
    OpenGauge("Merge layers in progress");
    for (int p = first; ok && p <= last; ++p) {
      GaugeUpdate(p - first, last - first + 1);
      ok = !GaugeStopped() && compose(p) && AddFrame(merged.sequence, work.get(), p - first - 1, 0);
    }
    CloseGauge();
  }
  auto* r = ok ? new (std::nothrow) MergeRecord{*upper, *lower, merged, true, before} : nullptr;
  if (!r) {
    FreeLayerData(merged);
    if (!GaugeStopped()) Message("Layer merge failed");
    SetGaugeStop(false);
    return 0;
  }
  LayerArray[index] = merged;
  LayerArray.erase(LayerArray.begin() + index + 1);
  SetLayerUndo(2, "Merge Layer", &kMergeOps, r);
  OpenAt(index, Timeline.position, false);
  return 1;
}

int MergeDisplay() {
  if (LayerArray.empty() || !Ws.page) return 0;
  if (Ask("Do you really want to merge the display?", " Yes ", " No ") != 1) return 0;
  if (!StoreOpenImage()) return 0;
  MarkUndo(0, nullptr);
  const Marks before = CurrentMarks();
  const int first = LayerArray[0].first, last = LayerArray[0].last;
  Layer merged = MakeLayer("Display", first);
  merged.last = last;
  BlockPtr work(AllocBlock(Ws.page->width, Ws.page->height));
  bool ok = work != nullptr;
  if (ok && first == last) {
    ok = ComposeDisplayAt(work.get(), first) && PackInto(merged, work.get());
  } else if (ok) {
    merged.sequence = CreateSequence(merged.name, Ws.page->width, Ws.page->height);
    ok = merged.sequence != nullptr;
    OpenGauge("Merging display in progress");
    for (int p = first; ok && p <= last && !GaugeStopped(); ++p) {
      GaugeUpdate(p - first, last - first + 1);
      ok = ComposeDisplayAt(work.get(), p) &&
           AddFrame(merged.sequence, work.get(), p - first - 1, 0);
    }
    CloseGauge();
    ok = ok && !GaugeStopped();
  }
  PresenceRecord* r = nullptr;
  if (ok && InsertLayer(0, merged)) {
    r = new (std::nothrow) PresenceRecord{merged, 0, true, before};
    if (!r) LayerArray.erase(LayerArray.begin());
  }
  if (!r) {
    FreeLayerData(merged);
    if (!GaugeStopped()) Message(" Not enough memory");
    SetGaugeStop(false);
    return 0;
  }
  SetLayerUndo(6, "Display", &kPresenceOps, r);
  OpenAt(0, Timeline.position, false);
  return 1;
}

int OpacityFromPercent(int percent) {
  return (std::clamp(percent, 0, 100) * 255 + 50) / 100;
}

int PercentFromOpacity(int opacity) {
  return (std::clamp(opacity, 0, 255) * 100 + 128) / 255;
}

int SetLayerOpacity(int index, int opacity) {
  Layer* l = LayerAt(index);
  if (!l) return -1;
  const int old = l->opacity;
  opacity = std::clamp(opacity, 0, 255);
  if (opacity == old) return old;
  DropLayerRecord();
  l->opacity = opacity;
  if (index == Timeline.current) Ws.opacity = opacity;
  RebuildDisplay();
  return old;
}

int SetLayerHidden(int index, bool hidden) {
  Layer* l = LayerAt(index);
  if (!l) return -1;
  if (hidden != ((l->flags & kLayerHidden) != 0)) {
    DropLayerRecord();
    l->flags ^= kLayerHidden;
    RebuildDisplay();
  }
  return hidden ? 1 : 0;
}

void SetLightTable(int before, int after) {
  Layer* l = CurrentLayer();
  if (!l) return;
  DropLayerRecord();
  l->lightBefore = std::min(before, 0);
  l->lightAfter = std::max(after, 0);
  RebuildDisplay();
}

void LayerTogglePelureMode() {
  Timeline.lightSide ^= 1;
  RebuildDisplay();
}

void SetTimelineScale(int scale) {
  LayerSet.scale = std::clamp(scale, 1, 100);
}

void UserChangeFrameRate() {
  char text[16];
  std::snprintf(text, sizeof text, "%d", static_cast<int>(std::lround(Ws.frameRate)));
  if (!AskText("Frame Rate", text, sizeof text)) return;
  const int rate = std::atoi(text);
  if (rate < 1 || rate > 100) return;
  ChangeFrameRate(rate, Ask("Use time stretching?", " Yes ", " No ") == 1);
}

}  // namespace vela

namespace vela {

namespace {

void DuplicateImageAction() {
  DuplicateImage();
}
void ClearAction() {
  ClearImages(0);
}
void CutAction() {
  CutLayer();
}
void CopyAction() {
  CopyLayer();
}
void PasteAction() {
  PasteLayer(0);
}
void SelectAllAction() {
  if (const Layer* l = CurrentLayer()) SetRange(l->first, l->last - l->first + 1);
}
void DuplicateLayerAction() {
  DuplicateLayer(nullptr);
}
void RenameAction() {
  RenameLayer(Timeline.current, nullptr);
}
void MergeDisplayAction() {
  MergeDisplay();
}
void NewLayerAction() {
  UserNewLayer(nullptr);
}
void InsertImageAction() {
  InsertImage(1, false);
}
void StepLayer(int delta) {
  const int to = Timeline.current + delta;
  if (LayerAt(to)) SelectLayer(to, Timeline.position, false);
}
void StepImage(int delta) {
  if (const Layer* l = CurrentLayer()) {
    const int to = std::clamp(Timeline.position + delta, l->first, l->last);
    if (to != Timeline.position) GotoPosition(to, 0);
  }
}
void FirstImageAction() {
  if (const Layer* l = CurrentLayer()) GotoPosition(l->first, 0);
}
void LastImageAction() {
  if (const Layer* l = CurrentLayer()) GotoPosition(l->last, 0);
}
void MakeAnimAction() {
  MakeAnim(0);
}
void DeleteLayerAction() {
  DeleteLayer(Timeline.current);
}
void DisplayAllAction() {
  Timeline.showMode = Timeline.showMode == 1 ? 0 : 1;
  RebuildDisplay();
}
void BackgroundAction() {
  SetBackgroundMode((BackgroundMode() + 1) % 3);
  RebuildDisplay();
}
void NewProjectAction() {
  NewProject();
}

const ActionRow kLayerOpsActions[] = {
    {"DuplicateImage", DuplicateImageAction},
    {"Clear", ClearAction},
    {"LayerCut", CutAction},
    {"LayerCopy", CopyAction},
    {"LayerPaste", PasteAction},
    {"LayerSelectAll", SelectAllAction},
    {"LayerDuplicate", DuplicateLayerAction},
    {"LayerRename", RenameAction},
    {"LayerMergeDisplay", MergeDisplayAction},
    {"NewLayer", NewLayerAction},
    {"InsertImage", InsertImageAction},
    {"PrevLayer", [] { StepLayer(-1); }},
    {"NextLayer", [] { StepLayer(1); }},
    {"LayerPrevImage", [] { StepImage(-1); }},
    {"LayerNextImage", [] { StepImage(1); }},
    {"LayerFirstImage", FirstImageAction},
    {"LayerLastImage", LastImageAction},
    {"LayerMakeAnim", MakeAnimAction},
    {"LayerDelete", DeleteLayerAction},
    {"DisplayAllLayer", DisplayAllAction},
    {"ToggleBackgroundMode", BackgroundAction},
    {"NewProject", NewProjectAction},
    {"LayerTogglePelureMode", LayerTogglePelureMode},
    {"LayerReverseSelection", LayerReverseSelection},
    {"UserChangeFrameRate", UserChangeFrameRate},
};

}  // namespace

std::span<const ActionRow> LayerOpsActions() {
  return kLayerOpsActions;
}

}  // namespace vela
