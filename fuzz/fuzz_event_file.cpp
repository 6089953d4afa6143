// fuzz-deps: vela_start
// Random event files fed to the headless host and through the event path: refused or run, never
// a crash, and the run always ends.
#include <cstdint>
#include <string>

#include "host/host.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/tablet.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vela;
  HostConfig hc;
  hc.headless = true;
  hc.width = 64;
  hc.height = 48;
  std::string error;
  if (!HostOpen(hc, &error)) return 0;
  ResetInput();
  Tablet().open = true;
  Tablet().source = HostTabletPackets;
  std::string text(reinterpret_cast<const char*>(data), size);
  if (HostLoadEvents(text, &error)) {
    // Waits may add up to days of virtual time; the loop must still come to its end.
    MainLoop();
  }
  InputEvent e;
  while (PollEvent(1, &e))
    if (e.type == kEventDrop) std::free(e.payload);
  HostClose();
  return 0;
}
