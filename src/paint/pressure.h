// The pressure and speed curves: two 256-byte tables shaped by one handle each.
#pragma once

#include <cstdint>

namespace vela {

struct CurveSettings {
  int32_t pressureX = 0, pressureY = 0;  // 0..252 in steps of 4
  int32_t speedX = 0, speedY = 0;
};
extern CurveSettings Curves;
extern uint8_t SpeedCurve[256];
extern int32_t PressureScale;
extern int32_t SpeedScale;

// A cubic Hermite from (0, 0) to (255, 255) whose tangents come from the handle (x, y).
void BuildCurve(int x, int y, uint8_t table[256]);
void SetPressureCurve(int x, int y, int scale);
void SetSpeedCurve(int x, int y, int scale);

// Section Pressure.
void LoadPressureSettings();
void SavePressureSettings();

}  // namespace vela
