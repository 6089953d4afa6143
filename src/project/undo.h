// One level of undo. The undo Block holds the page as it was before the last operation; the
// dirty rectangle says where the two differ, and undo swaps that rectangle, so a second undo is
// the redo. Layer operations keep a record of their own in the same single slot.
#pragma once

#include <cstdint>

namespace vela {

struct UndoRect {
  int32_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;  // inclusive
};

// A layer operation's record: run(data) undoes and, run again, redoes; drop(data) frees what
// the record keeps when the slot is taken by another step.
struct LayerUndoOps {
  bool (*run)(void* data);  // false when nothing changed
  void (*drop)(void* data);
};

struct UndoState {
  UndoRect rect;      // kept up to date by every primitive that draws
  int32_t dirty = 0;  // something was drawn since the last commit
  int32_t kind = 0;   // 0 pixels, else the layer kind of the record
  int32_t ready = 0;  // the next press opens a step (manual mode)
  int32_t captureAllowed = 1;
  char label[96] = "Undo";
  const LayerUndoOps* layerOps = nullptr;
  void* layerData = nullptr;
};
extern UndoState Undo;

// The toolbar hears of every new label here.
extern void (*UndoLabelChanged)(const char* label);

// Stamp + 1 and the kind; a name makes the label "Undo <name>", none keeps "Undo".
void MarkUndo(int kind, const char* name);
// Extends the dirty rectangle (page pixels, any order) and marks a pixel step.
void MarkChanged(int x0, int y0, int x1, int y1);
// The commit at the press: the dirty rectangle, grown by one and clipped, goes to the undo Block.
void SaveUndo();
// The press of the tool step: opens a step when the undo mode, the draw mode or undo-ready say
// so. A right press opens one in every mode but 2, and readies the next.
void PressUndo(bool left, bool right);
// The whole page into the undo Block, at a change of layer or image.
void ResetUndo();
// Undo, or the redo after an undo.
void UndoStep();
// qd_updateundo: commits as a press does; in manual mode it first sets undo-ready.
void UpdateUndo();
// Puts a layer record in the slot (the previous one is dropped) with kind and label name.
void SetLayerUndo(int kind, const char* name, const LayerUndoOps* ops, void* data);
// Refill of the last filled zone; -1 with "Nothing to refill!" when there is none.
int Refill(int right);
// The fill module's zone, when it has one: fills it with the pen and returns 0.
extern int (*RefillZone)(int right);

// Thumbnails listen to this count: it grows at every ResetUndo and undo.
extern uint32_t ThumbnailCounter;

}  // namespace vela

#include <span>

#include "start/actions.h"

namespace vela {
// Undo, Refill and ResetUndo for the key map.
std::span<const ActionRow> UndoActions();
}  // namespace vela
