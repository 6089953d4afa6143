#include "host/host.h"

#include <cstdlib>

namespace vela {

bool HostHasDisplay() {
  const char* x = std::getenv("DISPLAY");
  const char* w = std::getenv("WAYLAND_DISPLAY");
  return (x && *x) || (w && *w);
}

}  // namespace vela
