#include "project/page.h"

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

size_t MaskBytes(int w, int h) { return (static_cast<size_t>(h) + 2) * w + 2; }

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

bool MakePage(int width, int height) {
  FreePageBlocks();
  bool ok = AllocPageBlocks(width, height);
  if (!ok) {
    Message(" Not enough memory");
    FreePageBlocks();
    if (!AllocPageBlocks(32, 32)) return false;
  }
  Ws.noPage = 0;
  RecenterPage();
  RedrawAll();
  return ok;
}

namespace {
int g_laidWidth = 0, g_laidHeight = 0;  // the screen size the page was centred for
}

void RecenterPage() {
  HostScreen s = HostFramebuffer();
  Ws.pageX = (s.width - Ws.pageWidth) / 2;
  Ws.pageY = (s.height - Ws.pageHeight) / 2;
  g_laidWidth = s.width;
  g_laidHeight = s.height;
}

void RedrawAll() {
  HostScreen s = HostFramebuffer();
  if (!s.pixels || DisplayLocked) return;
  // A window that changed size lays the page out again.
  if (s.width != g_laidWidth || s.height != g_laidHeight) RecenterPage();
  Pixel bg = Ws.sysColors[BACKGROUNDCOLOR] ? Ws.sysColors[BACKGROUNDCOLOR] : kDefaultSysColors[BACKGROUNDCOLOR];
  for (int y = 0; y < s.height; ++y) {
    uint32_t* row = s.pixels + static_cast<size_t>(y) * s.stride;
    for (int x = 0; x < s.width; ++x) row[x] = bg;
  }
  HostPresent(0, 0, s.width, s.height);
  if (Ws.page && !Ws.noPage) ShowPage(0, 0, Ws.page->width, Ws.page->height);
}

void ReleasePage() {
  FreePageBlocks();
  std::free(Ws.strokeBuffer);
  Ws.strokeBuffer = nullptr;
}

}  // namespace vela
