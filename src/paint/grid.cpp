#include "paint/grid.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "paint/brush.h"
#include "start/config_store.h"
#include "start/main_loop.h"
#include "start/settings.h"

namespace vela {

GridSettings Grid;

namespace {

int Pitch(int v) {
  return v <= 0 ? 1 : v > 999 ? 999 : v;
}

double SnapAxis(double p, int w, int o) {
  double v = p + std::copysign(w / 2.0, p) - o;
  return v - std::fmod(v, w) + o;
}

int32_t SnapFixed(int32_t f, int w, int o) {
  int r = static_cast<int>(SnapAxis(f >> 16, w, o));
  return static_cast<int32_t>((static_cast<uint32_t>(r) << 16) + 0x7FFF);
}

}  // namespace

void ActiveGrid() {
  GridOn = !GridOn;
}

void SnapPagePosition(int32_t* x, int32_t* y) {
  if (!GridOn) return;
  *x = SnapFixed(*x, Grid.width, Grid.x);
  *y = SnapFixed(*y, Grid.height, Grid.y);
}

void SnapSize(int32_t* x, int32_t* y) {
  if (!GridOn) return;
  int32_t v = *x + (Grid.width >> 1);
  *x = v - v % Grid.width;
  v = *y + (Grid.height >> 1);
  *y = v - v % Grid.height;
}

void SnapPoint(double* x, double* y) {
  if (!GridOn) return;
  *x = SnapAxis(*x, Grid.width, Grid.x);
  *y = SnapAxis(*y, Grid.height, Grid.y);
}

void SetGrid(int on, int width, int height, int x, int y, int count) {
  if ((on != 0) != (GridOn != 0)) ActiveGrid();
  if (count >= 1) Grid.width = Pitch(width);
  if (count >= 2) Grid.height = Pitch(height);
  Grid.x = count < 3 ? Grid.x % Grid.width : std::abs(x % Grid.width);
  Grid.y = count < 4 ? Grid.y % Grid.height : std::abs(y % Grid.height);
}

void GridFromBrushSize(int width, int height) {
  Grid.width = Pitch(width < 2 ? 1 : width);
  Grid.height = Pitch(height < 2 ? 1 : height);
  Grid.x %= Grid.width;
  Grid.y %= Grid.height;
}

void SetPanto(int x, int y) {
  Draw.pantoX = x;
  Draw.pantoY = y;
}

void LoadGridSettings() {
  Grid.width = Pitch(ConfigGetInt("Grid", "W", 1));
  Grid.height = Pitch(ConfigGetInt("Grid", "H", 1));
  Grid.x = std::abs(ConfigGetInt("Grid", "X", 0) % Grid.width);
  Grid.y = std::abs(ConfigGetInt("Grid", "Y", 0) % Grid.height);
  SetPanto(ConfigGetInt("Settings", "PantoX", 0), ConfigGetInt("Settings", "PantoY", 0));
}

void SaveGridSettings() {
  ConfigPutInt("Grid", "W", Grid.width);
  ConfigPutInt("Grid", "H", Grid.height);
  ConfigPutInt("Grid", "X", Grid.x);
  ConfigPutInt("Grid", "Y", Grid.y);
  ConfigPutInt("Settings", "PantoX", Draw.pantoX);
  ConfigPutInt("Settings", "PantoY", Draw.pantoY);
}

}  // namespace vela
