// The operations of the Layers window on layers and their images. Each stores the open image,
// drops what the undo slot held, keeps what its own undo needs, changes the model and opens the
// current layer again, so the display follows.
#pragma once

#include <cstdint>
#include <span>

#include "pixels/block.h"
#include "pixels/tile_store.h"
#include "project/layers.h"
#include "start/actions.h"

namespace vela {

// The layer clipboard: frames of a sequence, or one packed image with the positions it was cut
// from. At most one of the two is set; both outlive project changes.
extern ImageSequence* ClipSequence;
extern Layer* ClipLayer;
void FreeLayerClipboard();

// The positions of the range selection, inclusive; false when there is none. A count n above 0
// covers in .. in + n - 1, below 0 in + n .. in.
bool RangeBounds(int* lo, int* hi);
void SetRange(int in, int count);
// The two ends of the range change places ("Invert Selection").
void LayerReverseSelection();

// A copy of the current layer behind it, named name or after the original; images are shared,
// not copied. The new index, or -1.
int DuplicateLayer(const char* name);
// The current image once more behind itself.
int DuplicateImage();

// The images of the range to the clipboard; 0 with no range, or on failure.
int CopyLayer();
// As copy, and the images leave the layer; a layer that loses all of them goes.
int CutLayer();
// The clipboard into the current layer: at the current image (at non-zero) or behind it, or over
// the range when one is selected. 0 with an empty clipboard.
int PasteLayer(int at);
// The current image, or every image of the range, filled with fill.
int ClearImages(Pixel fill);

// Null name asks for one.
int RenameLayer(int index, const char* name);
// The layer at from goes to index to; the current layer stays current.
int MoveLayer(int from, int to);
// The layer moves in time by delta images.
int ShiftLayer(int index, int delta);
// Image from of the current layer goes to index to of its sequence.
int MoveImage(int from, int to);

// The layer gets count images, its start (atStart) or its end staying where it is. Fewer drop
// images at the moving end, more repeat the image there; with stretch the images are spread over
// the new count instead.
int ResizeLayer(int index, int count, bool atStart, bool stretch);

// The layer at index and the one behind it become one, named after the front one, and current.
int MergeLayer(int index);
// The composed view at every position of the front layer's range becomes a new layer in front
// of all, after the user agrees; undo takes it away. 1 when made.
int MergeDisplay();

// Opacity 0..255; the menu and gadget speak percent.
int SetLayerOpacity(int index, int opacity);
int OpacityFromPercent(int percent);
int PercentFromOpacity(int opacity);
// Bit 0 of flags; returns the new hidden state, or -1 without such a layer.
int SetLayerHidden(int index, bool hidden);

// Light table of the current layer: images shown before (0 or negative) and after it.
void SetLightTable(int before, int after);
void LayerTogglePelureMode();
// Time-line zoom, 1..100.
void SetTimelineScale(int scale);

// The Change Frame Rate dialog: asks the rate and whether to stretch.
void UserChangeFrameRate();

// The actions of these operations for the key map and menus.
std::span<const ActionRow> LayerOpsActions();

}  // namespace vela
