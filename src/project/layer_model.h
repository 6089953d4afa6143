// Inside the project model: the layer array and the undo records that layer operations share.
// Only the project's own files include this.
#pragma once

#include <vector>

#include "project/layers.h"
#include "project/undo.h"

namespace vela::layer_model {

constexpr size_t kLayerGrowth = 8;
extern std::vector<Layer> LayerArray;

void FreeLayerData(Layer& l);
void SetName(Layer& l, const char* name);
// A fresh single-image layer of the page size with a new id and a blank thumbnail.
Layer MakeLayer(const char* name, int position);
bool InsertLayer(int index, const Layer& l);  // false when the array cannot grow
// The page shows the layer at the position; nothing is stored first.
void OpenAt(int index, int position, bool quiet);

// The selection of the time-line on the other side of an undo.
struct Marks {
  int32_t layerId, position, rangeIn, rangeCount;
};
Marks CurrentMarks();
// Puts back the other side's selection and keeps `now` (taken before the change) for the next run.
void ExchangeMarks(Marks* m, const Marks& now);

// A layer that one side of the undo has and the other has not (kinds 3 and 6).
struct PresenceRecord {
  Layer layer;  // owned while absent
  int32_t index;
  bool present;
  Marks marks;
};
extern const LayerUndoOps kPresenceOps;

// The whole record of a layer before the change, exchanged with the live one (kind 2).
struct SwapRecord {
  Layer kept;
  Marks marks;
};
extern const LayerUndoOps kSwapOps;

// The sequence of a layer before its images changed, every frame linked (kind 1).
struct SequenceRecord {
  int32_t layerId;
  ImageSequence* kept;
  int32_t first, last;
  Marks marks;
};
extern const LayerUndoOps kSequenceOps;

// A new sequence with every frame of s linked: no pixels copied.
ImageSequence* LinkedCopy(ImageSequence* s);
// The current layer becomes a sequence of its stored image and extra copies; the record of the
// single image is returned for undo, or null after the failure's message.
SwapRecord* ConvertToSequence(int extraFrames);

}  // namespace vela::layer_model
