#include "start/tablet.h"

#include <algorithm>

#include "host/host.h"

namespace vela {

uint8_t PressureCurve[256];

namespace {
struct CurveInit {
  CurveInit() { ResetPressureCurve(); }
} g_curveInit;
}  // namespace

void ResetPressureCurve() {
  for (int i = 0; i < 256; ++i) PressureCurve[i] = static_cast<uint8_t>(i);
}

TabletState& Tablet() {
  static TabletState state;
  return state;
}

bool TabletRead(InputEvent* ev) {
  TabletState& t = Tablet();
  ev->pressure = 255;
  ev->pressureLow = 0;
  ev->moved = t.forceMoved ? 1 : 0;
  if (!t.open || !t.source) return false;

  HostTabletPacket packets[32];
  int n = t.source(packets, 32);
  if (n <= 0) {
    // A pen that stops reporting keeps its pressure a little while, so a stroke doesn't flicker.
    if (t.holdLeft > 0) {
      --t.holdLeft;
      ev->pressure = ev->pressureLow = t.lastPressure;
    }
    return false;
  }
  const HostTabletPacket& p = packets[n - 1];
  int range = p.pressureMax - p.pressureMin;
  int pressure = range > 0 ? static_cast<int>((static_cast<int64_t>(p.pressure - p.pressureMin) * 255) / range)
                           : 255;
  pressure = PressureCurve[std::clamp(pressure, 0, 255)];
  t.lastPressure = pressure;
  t.lastCursor = p.cursor;
  t.holdLeft = kTabletHoldEvents;
  ev->pressure = ev->pressureLow = pressure;
  ev->x = p.x;
  ev->y = p.y;
  ev->moved = 1;
  t.lastRight = (p.buttons & ~1u) != 0;
  return t.lastRight;
}

}  // namespace vela
