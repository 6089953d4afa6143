#include "start/gauge.h"

#include "start/input.h"

namespace vela {

namespace {
void SilentOpen(const char*) {}
void SilentUpdate(int, int) {}
void SilentClose() {}

const GaugeHandlers kSilent = {SilentOpen, SilentUpdate, SilentClose};
const GaugeHandlers* g_gauge = &kSilent;
int g_held = 0;
int g_pollHeld = 0;
}  // namespace

int GaugeEnabled = 1;

void OpenGauge(const char* title) {
  if (g_held > 0 || !GaugeEnabled) return;
  BreakFlag = 0;
  g_gauge->open(title ? title : "");
}

void GaugeUpdate(int done, int total) {
  if (g_held > 0) return;
  g_gauge->update(done, total);
}

void CloseGauge() {
  if (g_held > 0) return;
  g_gauge->close();
}

void HoldGauge() {
  ++g_held;
}
void ReleaseGauge() {
  if (g_held > 0) --g_held;
}
bool GaugeHeld() {
  return g_held > 0;
}

void HoldPolling() {
  ++g_pollHeld;
}
void ReleasePolling() {
  if (g_pollHeld > 0) --g_pollHeld;
}
bool PollingHeld() {
  return g_pollHeld > 0;
}

bool GaugeStopped() {
  return BreakFlag != 0;
}
void SetGaugeStop(bool stop) {
  BreakFlag = stop ? 1 : 0;
}

const GaugeHandlers* SetGaugeHandlers(const GaugeHandlers* handlers) {
  const GaugeHandlers* old = g_gauge;
  g_gauge = handlers ? handlers : &kSilent;
  return old;
}

}  // namespace vela
