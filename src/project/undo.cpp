#include "project/undo.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "pixels/block.h"
#include "pixels/primitives.h"
#include "project/compose.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

UndoState Undo;
void (*UndoLabelChanged)(const char* label) = nullptr;
int (*RefillZone)(int right) = nullptr;
uint32_t ThumbnailCounter = 0;

namespace {

void SetLabel(const char* text) {
  if (std::strcmp(Undo.label, text) == 0) return;
  std::snprintf(Undo.label, sizeof Undo.label, "%s", text);
  if (UndoLabelChanged) UndoLabelChanged(Undo.label);
}

// The slot is taken by another step: what the layer record kept goes.
void DropLayerRecord() {
  const LayerUndoOps* ops = Undo.layerOps;
  void* data = Undo.layerData;
  Undo.layerOps = nullptr;
  Undo.layerData = nullptr;
  if (ops && ops->drop) ops->drop(data);
}

bool PageAndUndoMatch() {
  return Ws.undo && Ws.page && Ws.undo->width == Ws.page->width &&
         Ws.undo->height == Ws.page->height;
}

// The rectangle cut to the page; false when nothing is left.
bool ClipToPage(UndoRect r, UndoRect* out) {
  r.x0 = std::max(r.x0, 0);
  r.y0 = std::max(r.y0, 0);
  r.x1 = std::min(r.x1, Ws.page->width - 1);
  r.y1 = std::min(r.y1, Ws.page->height - 1);
  if (r.x0 > r.x1 || r.y0 > r.y1) return false;
  *out = r;
  return true;
}

void CollapseToPointer() {
  Undo.rect = {In.pageX, In.pageX, In.pageY, In.pageY};
  Undo.dirty = 0;
}

}  // namespace

void MarkUndo(int kind, const char* name) {
  ++Stamp;
  if (kind == 0 && Undo.layerOps) DropLayerRecord();
  Undo.kind = kind;
  if (name) {
    char text[sizeof Undo.label];
    std::snprintf(text, sizeof text, "Undo %s", name);
    SetLabel(text);
  } else {
    SetLabel("Undo");
  }
}

void MarkChanged(int x0, int y0, int x1, int y1) {
  if (x0 > x1) std::swap(x0, x1);
  if (y0 > y1) std::swap(y0, y1);
  UndoRect& r = Undo.rect;
  if (!Undo.dirty) {
    r = {x0, x1, y0, y1};
    Undo.dirty = 1;
  } else {
    r.x0 = std::min(r.x0, x0), r.x1 = std::max(r.x1, x1);
    r.y0 = std::min(r.y0, y0), r.y1 = std::max(r.y1, y1);
  }
  MarkUndo(0, nullptr);
}

void SaveUndo() {
  if (Undo.dirty && PageAndUndoMatch()) {
    UndoRect r = Undo.rect;
    r.x0 -= 1, r.y0 -= 1, r.x1 += 1, r.y1 += 1;
    UndoRect c;
    if (ClipToPage(r, &c))
      CopyRect(Ws.page, c.x0, c.y0, Ws.undo, c.x0, c.y0, c.x1 - c.x0 + 1, c.y1 - c.y0 + 1);
    const ToolHook* hook = CurrentToolHook();
    if (hook && hook->undo) hook->undo();
  }
  CollapseToPointer();
  MarkUndo(0, nullptr);
}

void PressUndo(bool left, bool right) {
  if (Ws.undoMode == 2 || !Undo.captureAllowed) return;
  if (!right && !(left && (Ws.drawMode == 13 || Ws.undoMode == 0 || Undo.ready))) return;
  SaveUndo();
  Undo.ready = right;
}

void ResetUndo() {
  if (PageAndUndoMatch())
    std::memcpy(Ws.undo->data, Ws.page->data,
                static_cast<size_t>(Ws.page->width) * Ws.page->height * sizeof(Pixel));
  CollapseToPointer();
  ++ThumbnailCounter;
}

void UndoStep() {
  if (!Ws.undo) return;  // mode 2, or no memory for the Block: nothing to exchange
  if (Undo.kind == 0) {
    UndoRect c;
    if (PageAndUndoMatch() && ClipToPage(Undo.rect, &c)) {
      int w = c.x1 - c.x0 + 1, h = c.y1 - c.y0 + 1;
      SwapRect(Ws.undo, c.x0, c.y0, Ws.page, c.x0, c.y0, w, h);
      ShowPage(c.x0, c.y0, w, h);
    }
    const ToolHook* hook = CurrentToolHook();
    if (hook && hook->redo) hook->redo();
  } else if (Undo.layerOps && Undo.layerOps->run) {
    if (!Undo.layerOps->run(Undo.layerData)) return;  // the store failed: nothing was exchanged
  }
  ++Stamp;
  ++ThumbnailCounter;
  char text[sizeof Undo.label];
  std::memcpy(text, Undo.label, sizeof text);
  if (std::strncmp(text, "Undo", 4) == 0)
    std::memcpy(text, "Redo", 4);
  else if (std::strncmp(text, "Redo", 4) == 0)
    std::memcpy(text, "Undo", 4);
  SetLabel(text);
}

void UpdateUndo() {
  if (Ws.undoMode == 1) Undo.ready = 1;
  if (Ws.undoMode == 2) return;
  SaveUndo();
}

void SetLayerUndo(int kind, const char* name, const LayerUndoOps* ops, void* data) {
  DropLayerRecord();
  MarkUndo(kind, name);
  Undo.layerOps = ops;
  Undo.layerData = data;
}

int Refill(int right) {
  if (!right && Ws.undoMode == 0) SaveUndo();
  if (!RefillZone) {
    Message("Nothing to refill!");
    return -1;
  }
  return RefillZone(right);
}

}  // namespace vela

namespace vela {

namespace {
void UndoAction() {
  Undo.ready = 1;
  UndoStep();
}
void RefillAction() {
  Refill(0);
}
void ResetUndoAction() {
  ResetUndo();
}

const ActionRow kUndoActions[] = {
    {"Undo", UndoAction},
    {"Refill", RefillAction},
    {"ResetUndo", ResetUndoAction},
};
}  // namespace

std::span<const ActionRow> UndoActions() {
  return kUndoActions;
}

}  // namespace vela
