#include "paint/pressure.h"

#include <algorithm>
#include <cstdio>

#include "start/config_store.h"
#include "start/settings.h"
#include "start/tablet.h"

namespace vela {

CurveSettings Curves;
uint8_t SpeedCurve[256];
int32_t PressureScale = 0;
int32_t SpeedScale = 35;

namespace {

void FillGap(uint8_t* t, int a, int b) {
  if (b - a < 2) return;
  int m = (a + b) / 2;
  t[m] = static_cast<uint8_t>((t[a] + t[b]) / 2);
  FillGap(t, a, m);
  FillGap(t, m, b);
}

int Handle(int v) {
  return std::clamp(v, 0, 252) & ~3;
}

struct WindowKeys {
  char x[32] = "", y[32] = "", display[32] = "";
} g_window;

}  // namespace

void BuildCurve(int x, int y, uint8_t table[256]) {
  const double sx = 2.0 * x, sy = 2.0 * y;
  const double ex = 2.0 * (255 - x), ey = 2.0 * (255 - y);
  table[0] = 0;
  table[255] = 255;
  int last = 0, highest = 0;
  for (double t = 0; t < 1.0; t += 0.01) {
    double t2 = t * t, t3 = t2 * t;
    int cx =
        static_cast<int>((2 * (0 - 255) + sx + ex) * t3 + (3 * 255 - 2 * sx - ex) * t2 + sx * t);
    int cy =
        static_cast<int>((2 * (0 - 255) + sy + ey) * t3 + (3 * 255 - 2 * sy - ey) * t2 + sy * t);
    cx = std::clamp(cx, 0, 255);
    cy = std::clamp(cy, 0, 255);
    table[cx] = static_cast<uint8_t>(cy);
    FillGap(table, std::min(last, cx), std::max(last, cx));
    last = cx;
    highest = std::max(highest, cx);
  }
  if (highest != 255) FillGap(table, last, 255);
  table[255] = static_cast<uint8_t>(std::clamp(2 * table[254] - table[253], 0, 255));
}

void SetPressureCurve(int x, int y, int scale) {
  Curves.pressureX = Handle(x);
  Curves.pressureY = Handle(y);
  PressureScale = scale;
  BuildCurve(Curves.pressureX, Curves.pressureY, PressureCurve);
}

void SetSpeedCurve(int x, int y, int scale) {
  Curves.speedX = Handle(x);
  Curves.speedY = Handle(y);
  SpeedScale = scale;
  BuildCurve(Curves.speedX, Curves.speedY, SpeedCurve);
}

void LoadPressureSettings() {
  const char* s = "Pressure";
  SetPressureCurve(ConfigGetInt(s, "PressureX", 0), ConfigGetInt(s, "PressureY", 0), PressureScale);
  // The speed scale starts at 35; tools set their own when selected.
  SetSpeedCurve(ConfigGetInt(s, "SpeedX", 0), ConfigGetInt(s, "SpeedY", 0), 35);
  // The window belongs to the window system; its keys are kept as they were.
  ConfigGet(s, "WIN_X", g_window.x, "", sizeof g_window.x);
  ConfigGet(s, "WIN_Y", g_window.y, "", sizeof g_window.y);
  ConfigGet(s, "Display", g_window.display, "", sizeof g_window.display);
}

void SavePressureSettings() {
  const char* s = "Pressure";
  ConfigPutInt(s, "PressureX", Curves.pressureX);
  ConfigPutInt(s, "PressureY", Curves.pressureY);
  ConfigPutInt(s, "SpeedX", Curves.speedX);
  ConfigPutInt(s, "SpeedY", Curves.speedY);
  if (*g_window.x) ConfigPut(s, "WIN_X", g_window.x);
  if (*g_window.y) ConfigPut(s, "WIN_Y", g_window.y);
  if (*g_window.display) ConfigPut(s, "Display", g_window.display);
}

}  // namespace vela
