// Shared inside the host module only.
#pragma once

#include <cstdint>
#include <vector>

#include "host/host.h"

namespace vela {

struct TimedEvent {
  int64_t time = 0;
  HostEvent event;
  int pressure = -1;   // the pen's pressure with this event, or -1 for a mouse
  uint32_t buttons = 0;
};

// Hands the headless host its feed; endTime is when the last wait runs out.
void SetTimedEvents(std::vector<TimedEvent> events, int64_t endTime);

}  // namespace vela
