// The project: layers on one time-line, one image of one layer open as the page.
//
// Index 0 is the front layer. A layer holds one image packed in the cache, or a sequence of
// images from first to last on the time-line. Moving to another layer or image first stores the
// page; when the store fails, nothing moves, so no work is lost.
#pragma once

#include <cstdint>

#include "pixels/block.h"
#include "pixels/tile_store.h"

namespace vela {

constexpr uint32_t kLayerHidden = 1;
// Time-line positions and image counts stay within these, so that no sum of two overflows and a
// script cannot ask for unbounded memory: over two hours at 30 images a second.
constexpr int kTimelineLimit = 1 << 24;
constexpr int kMaxLayerImages = 1 << 18;
inline int ClampPosition(int64_t p) {
  return static_cast<int>(p < -kTimelineLimit  ? -kTimelineLimit
                          : p > kTimelineLimit ? kTimelineLimit
                                               : p);
}
constexpr int kLayerNameSize = 128;
constexpr int kLayerNameAsked = 64;  // what the name Requester takes

struct Layer {
  int32_t lastUse;
  int32_t packedSize;  // 0: an empty image, nothing in the cache
  int32_t packedKey;
  int32_t width, height;
  int32_t opacity;  // 0..255
  int32_t id;
  Block* thumbnail;
  uint32_t flags;
  char name[kLayerNameSize];
  ImageSequence* sequence;  // null for a single-image layer
  intptr_t reserved;
  int32_t first, last;  // time-line positions, inclusive
  int32_t current;      // index of the open image in the sequence
  int32_t lightBefore;  // 0 or negative
  int32_t lightAfter;
};

struct TimelineState {
  int32_t current = 0;   // index of the current layer
  int32_t position = 0;  // frame number; may lie outside a layer's range
  Layer* videoLayer = nullptr;
  int32_t rangeIn = 0, rangeCount = 0;  // count 0: no selection; negative runs backward
  int32_t showMode = 1;                 // 0 current layer only, 1 all
  int32_t lightSide = 0;                // 0 behind, 1 in front
  uint32_t storedStamp = 0;             // Stamp when the page last matched its layer
  uint32_t positionCounter = 0;
};
extern TimelineState Timeline;

struct LayerSettings {
  int iconRatio = 1;  // 1..4
  int modeTimeCode = 0;
  int scale = 1;  // 1..100
  Pixel backgroundColor = 0xFF000000, secondBackgroundColor = 0xFFFFFFFF;
  int background = 0;  // 0 none, 1 colour, 2 check
};
extern LayerSettings LayerSet;

int LayerCount();
Layer* LayerAt(int index);  // null outside 0..count-1
Layer* CurrentLayer();
int LayerIndexOfId(int id);  // -1 when no layer has it

// A new layer at the current position; null name asks for one. Returns its index, or -1
// (cancelled, or "error: Can't create a new layer").
int NewLayer(const char* name, bool before, bool select, int position, bool quiet);
int SelectLayer(int index, int position, bool quiet);  // 1, or 0 when the store failed
int GotoPosition(int position, int flags);             // bit 0 of flags: no display rebuild
int StoreOpenImage();                                  // 1, or 0 and nothing may move
int LoadLayerImage(Block* block, const Layer* layer, int position);
int BlendLayerImage(const Layer* layer, Block* block, int position);

// The operations with their undo records.
int UserNewLayer(const char* name);            // "New Layer": index, or -1
int DeleteLayer(int index);                    // 1, or 0
int MakeAnim(int extraFrames);                 // the current layer becomes a sequence; 1, or 0
int InsertImage(int count, bool copyCurrent);  // frames after the current one; 1, or 0

// A new sequence of count frames in the same time (null on failure or a stop). With antialias
// on, frames between two old ones are their blend.
ImageSequence* StretchSequence(ImageSequence* s, int count, const char* title = nullptr);
// Sets the frame rate; with stretch every sequence keeps its duration in seconds.
void ChangeFrameRate(double rate, bool stretch);

// First and last image of the whole project.
int ProjectFirstImage();
int ProjectLastImage();

// The thumbnail of the current layer from the page.
void RebuildThumbnail();
// Idle work: the thumbnail follows the page.
void RefreshThumbnail();
// Merges the layers in front of and behind the current one again, and shows the page.
void RebuildDisplay(bool redraw = true);

// "12", or with the time code "1:02:05" (minutes only when there are any).
void FormatTimeCode(int position, char* out, int capacity);

// Takes these records as the whole project (the old layers are freed, the undo slot is
// emptied) and opens the layer at index current at the position. False, with nothing changed,
// when the list is empty or cannot be held.
bool ReplaceLayers(const Layer* layers, int count, int current, int position);

// Start and end of a run: one empty layer named "Untitled".
bool StartProject();
void ReleaseProject();
// The whole project goes; one empty layer is left.
void ClearProject();
// The same after the user's yes; 1 when the project went.
int NewProject();

void LoadLayerSettings();
void SaveLayerSettings();

}  // namespace vela
