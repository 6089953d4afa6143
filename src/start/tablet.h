// The tablet read: every event's position and pressure pass through it.
#pragma once

#include <cstdint>

#include "start/input.h"

namespace vela {

struct HostTabletPacket;

// Packets come from here; tests give their own.
using TabletSource = int (*)(HostTabletPacket* out, int max);

struct TabletState {
  bool open = false;
  int holdLeft = 0;  // events for which the last pressure is still kept
  int lastPressure = 255;
  int lastCursor = -1;
  bool lastRight = false;
  int32_t lastX = 0, lastY = 0;
  bool forceMoved = false;  // ForceTablet: every event counts as a new tablet position
  TabletSource source = nullptr;
};

TabletState& Tablet();

// Sets pressure, pressure low, position and moved of the event from the tablet packets.
// Returns true when the packets say a button other than the tip is down (a right press).
bool TabletRead(InputEvent* event);

// The 256-byte pressure curve; a straight line until the pressure settings fill it.
extern uint8_t PressureCurve[256];
void ResetPressureCurve();

constexpr int kTabletHoldEvents = 10;

}  // namespace vela
