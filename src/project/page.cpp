#include "project/page.h"

#include <algorithm>
#include <cstdlib>

#include "host/host.h"
#include "pixels/block.h"
#include "pixels/display.h"
#include "project/compose.h"
#include "start/input.h"
#include "start/message.h"
#include "start/workspace.h"

namespace vela {

namespace {
constexpr size_t kStrokeBufferBytes = 320000;

size_t MaskBytes(int w, int h) {
  return (static_cast<size_t>(h) + 2) * w + 2;
}

void FreePageBlocks() {
  ReleaseDisplay();
  if (Ws.page == Ws.pageStore) Ws.page = nullptr;
  FreeBlock(Ws.pageStore);
  FreeBlock(Ws.page);
  FreeBlock(Ws.undo);
  Ws.pageStore = Ws.page = Ws.undo = nullptr;
  std::free(Ws.mask);
  Ws.mask = nullptr;
}

bool AllocPageBlocks(int w, int h) {
  Ws.pageStore = NewBlock(w, h);
  Ws.page = Ws.pageStore;
  Ws.mask = static_cast<uint8_t*>(std::calloc(MaskBytes(w, h), 1));
  if (!Ws.pageStore || !Ws.mask) return false;
  Ws.pageWidth = w;
  Ws.pageHeight = h;
  if (Ws.undoMode != 2) {
    Ws.undo = NewBlock(w, h);
    if (!Ws.undo) Message(" Not enough memory for Undo buffer!");
  }
  return true;
}
}  // namespace

int OpenGraphicsBlocks() {
  Ws.strokeBuffer = static_cast<uint8_t*>(std::calloc(kStrokeBufferBytes, 1));
  if (!Ws.strokeBuffer || !AllocPageBlocks(1, 1)) {
    Message(" Not enough memory");
    return -1;
  }
  return 0;
}

void PlacePageAtAreaOrigin();

bool MakePage(int width, int height) {
  FreePageBlocks();
  bool ok = AllocPageBlocks(width, height);
  if (!ok) {
    Message(" Not enough memory");
    FreePageBlocks();
    if (!AllocPageBlocks(32, 32)) return false;
  }
  Ws.noPage = 0;
  PlacePageAtAreaOrigin();  // a large new page starts at the area's top left
  RecenterPage();
  RedrawAll();
  return ok;
}

namespace {
int g_laidWidth = 0, g_laidHeight = 0;  // the screen size the page was laid out for
int g_marginLeft = 0, g_marginTop = 0, g_marginRight = 0, g_marginBottom = 0;

// One axis: centred when it fits with 20 pixels to spare on each side, else kept in view.
int PlaceAxis(int at, int size, int start, int room) {
  if (size < room - 40) return start + (room - size) / 2;
  constexpr int kKeep = 20;
  return std::clamp(at, start + std::min(room, kKeep) - size, start + room - std::min(size, kKeep));
}
}  // namespace

void PlacePageAtAreaOrigin() {
  Ws.pageX = g_marginLeft;
  Ws.pageY = g_marginTop;
}

bool RecenterPage() {
  HostScreen s = HostFramebuffer();
  g_laidWidth = s.width;
  g_laidHeight = s.height;
  const int x =
      PlaceAxis(Ws.pageX, Ws.pageWidth, g_marginLeft, s.width - g_marginLeft - g_marginRight);
  const int y =
      PlaceAxis(Ws.pageY, Ws.pageHeight, g_marginTop, s.height - g_marginTop - g_marginBottom);
  const bool moved = x != Ws.pageX || y != Ws.pageY;
  Ws.pageX = x;
  Ws.pageY = y;
  return moved;
}

void SetPageArea(int left, int top, int right, int bottom) {
  g_marginLeft = std::max(left, 0);
  g_marginTop = std::max(top, 0);
  g_marginRight = std::max(right, 0);
  g_marginBottom = std::max(bottom, 0);
}

void (*AfterRedrawAll)() = nullptr;

void RedrawAll() {
  HostScreen s = HostFramebuffer();
  if (!s.pixels || DisplayLocked) return;
  // A window that changed size lays the page out again.
  if (s.width != g_laidWidth || s.height != g_laidHeight) RecenterPage();
  Pixel bg = Ws.sysColors[BACKGROUNDCOLOR] ? Ws.sysColors[BACKGROUNDCOLOR]
                                           : kDefaultSysColors[BACKGROUNDCOLOR];
  for (int y = 0; y < s.height; ++y) {
    uint32_t* row = s.pixels + static_cast<size_t>(y) * s.stride;
    for (int x = 0; x < s.width; ++x) row[x] = bg;
  }
  HostPresent(0, 0, s.width, s.height);
  if (Ws.page && !Ws.noPage) ShowPage(0, 0, Ws.page->width, Ws.page->height);
  if (AfterRedrawAll) AfterRedrawAll();
}

void ReleasePage() {
  FreePageBlocks();
  std::free(Ws.strokeBuffer);
  Ws.strokeBuffer = nullptr;
}

}  // namespace vela
