// The one display of long work. Loops call GaugeUpdate every few units and test GaugeStopped()
// between them; the window system installs the drawn gauge through SetGaugeHandlers.
#pragma once

namespace vela {

struct GaugeHandlers {
  void (*open)(const char* title);
  // Polls the user's events (Space, Delete, Escape or " Stop " set the stop flag) and draws.
  void (*update)(int done, int total);
  void (*close)();
};

// 0 with the start-up word NOGAUGE or after qd_gauge off: OpenGauge does nothing, not even
// clear the stop flag; the updates still poll.
extern int GaugeEnabled;

void OpenGauge(const char* title);
void GaugeUpdate(int done, int total);
void CloseGauge();
// A nesting counter for work of several steps under one gauge: while held, the three above do
// nothing.
void HoldGauge();
void ReleaseGauge();
bool GaugeHeld();
// A nesting counter that switches the gauge's event polling off (idle work, nested gauges).
void HoldPolling();
void ReleasePolling();
bool PollingHeld();
// The stop flag; OpenGauge clears it.
bool GaugeStopped();
void SetGaugeStop(bool stop);
// Returns the previous handlers; null restores the silent gauge.
const GaugeHandlers* SetGaugeHandlers(const GaugeHandlers* handlers);

}  // namespace vela
