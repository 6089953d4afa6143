// host.h comes first: the X11 headers define macros (None) that its names would collide with.
#include "host/host.h"
#include "host/tablet_xi.h"

#include <SDL.h>
#include <SDL_syswm.h>

#include <cstring>

#ifdef VELA_HAVE_XI
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#endif

namespace vela {

#ifdef VELA_HAVE_XI
namespace {
struct XiState {
  Display* display = nullptr;
  int opcode = 0;
  int pressureAxis = -1;
  double pressureMin = 0, pressureMax = 1;
  int deviceId = -1;
  uint32_t buttons = 0;
};
XiState g_xi;

// The first device with a pressure axis is taken as the pen.
bool FindPen() {
  int n = 0;
  XIDeviceInfo* devices = XIQueryDevice(g_xi.display, XIAllDevices, &n);
  if (!devices) return false;
  Atom pressureAtom = XInternAtom(g_xi.display, "Abs Pressure", True);
  for (int i = 0; i < n && g_xi.deviceId < 0; ++i) {
    if (devices[i].use != XISlavePointer) continue;
    for (int c = 0; c < devices[i].num_classes; ++c) {
      if (devices[i].classes[c]->type != XIValuatorClass) continue;
      auto* v = reinterpret_cast<XIValuatorClassInfo*>(devices[i].classes[c]);
      if (pressureAtom != None && v->label == pressureAtom && v->max > v->min) {
        g_xi.deviceId = devices[i].deviceid;
        g_xi.pressureAxis = v->number;
        g_xi.pressureMin = v->min;
        g_xi.pressureMax = v->max;
      }
    }
  }
  XIFreeDeviceInfo(devices);
  return g_xi.deviceId >= 0;
}
}  // namespace

void XiTabletOpen(SDL_Window* window) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window, &info) || info.subsystem != SDL_SYSWM_X11) return;
  g_xi.display = XOpenDisplay(nullptr);
  if (!g_xi.display) return;
  int event, error, major = 2, minor = 0;
  if (!XQueryExtension(g_xi.display, "XInputExtension", &g_xi.opcode, &event, &error) ||
      XIQueryVersion(g_xi.display, &major, &minor) != Success || !FindPen()) {
    XiTabletClose();
    return;
  }
  unsigned char mask[XIMaskLen(XI_LASTEVENT)] = {};
  XISetMask(mask, XI_Motion);
  XISetMask(mask, XI_ButtonPress);
  XISetMask(mask, XI_ButtonRelease);
  XIEventMask em{g_xi.deviceId, static_cast<int>(sizeof mask), mask};
  XISelectEvents(g_xi.display, info.info.x11.window, &em, 1);
  XFlush(g_xi.display);
}

void XiTabletClose() {
  if (g_xi.display) XCloseDisplay(g_xi.display);
  g_xi = XiState{};
}

bool XiTabletPresent() { return g_xi.display && g_xi.deviceId >= 0; }

int XiTabletPackets(HostTabletPacket* out, int max) {
  if (!XiTabletPresent()) return 0;
  int n = 0;
  while (XPending(g_xi.display)) {
    XEvent ev;
    XNextEvent(g_xi.display, &ev);
    if (ev.type != GenericEvent || ev.xcookie.extension != g_xi.opcode) continue;
    if (!XGetEventData(g_xi.display, &ev.xcookie)) continue;
    auto* d = static_cast<XIDeviceEvent*>(ev.xcookie.data);
    if (d->evtype == XI_ButtonPress) g_xi.buttons |= 1u << (d->detail - 1);
    if (d->evtype == XI_ButtonRelease) g_xi.buttons &= ~(1u << (d->detail - 1));
    double pressure = g_xi.pressureMin;
    const double* values = d->valuators.values;
    for (int i = 0; i < d->valuators.mask_len * 8; ++i) {
      if (!XIMaskIsSet(d->valuators.mask, i)) continue;
      if (i == g_xi.pressureAxis) pressure = *values;
      ++values;
    }
    HostTabletPacket p;
    p.x = static_cast<int32_t>(d->event_x * 65536.0);
    p.y = static_cast<int32_t>(d->event_y * 65536.0);
    p.pressure = static_cast<int>(pressure - g_xi.pressureMin);
    p.pressureMin = 0;
    p.pressureMax = static_cast<int>(g_xi.pressureMax - g_xi.pressureMin);
    p.buttons = g_xi.buttons;
    XFreeEventData(g_xi.display, &ev.xcookie);
    if (n < max) out[n++] = p;
    else std::memmove(out, out + 1, sizeof(*out) * (max - 1)), out[max - 1] = p;  // newest count
  }
  return n;
}
#else
void XiTabletOpen(SDL_Window*) {}
void XiTabletClose() {}
bool XiTabletPresent() { return false; }
int XiTabletPackets(HostTabletPacket*, int) { return 0; }
#endif

}  // namespace vela
