#include "start/main_loop.h"

#include "host/host.h"

namespace vela {

int ExitFlag = 0;
int QuitRequest = 0;

namespace {
void (*g_redraw)() = nullptr;
}

void SetRedrawHook(void (*redraw)()) { g_redraw = redraw; }
void RedrawScreen() {
  if (g_redraw) g_redraw();
}

void MainLoop() {
  ExitFlag = 0;
  if (HostHeadless()) return;
  while (!ExitFlag && !QuitRequest) {
    HostWaitEvent(20);
    HostEvent e;
    while (HostPollEvent(&e)) {
      if (e.type == HostEventType::Quit) ExitFlag = 1;
      if (e.type == HostEventType::Expose || e.type == HostEventType::Resize) RedrawScreen();
    }
  }
}

}  // namespace vela
