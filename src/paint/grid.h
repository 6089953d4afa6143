// The grid that page positions snap to, and the pantograph offset.
#pragma once

#include <cstdint>

namespace vela {

// Whether snapping is on is the toolbar's GridOn (main loop); ActiveGrid toggles it.
struct GridSettings {
  int32_t width = 1;  // 1..999
  int32_t height = 1;
  int32_t x = 0;  // 0 .. width - 1
  int32_t y = 0;
};
extern GridSettings Grid;

void ActiveGrid();
// 16.16 page position in place, as the input update hands it.
void SnapPagePosition(int32_t* x, int32_t* y);
void SnapSize(int32_t* x, int32_t* y);
void SnapPoint(double* x, double* y);
void SetGrid(int on, int width, int height, int x, int y, int count);
// "Use Brush Size": the pitch becomes the brush's size (below 2 counts as 1).
void GridFromBrushSize(int width, int height);

void SetPanto(int x, int y);

// Sections Grid and the pantograph keys of Settings.
void LoadGridSettings();
void SaveGridSettings();

}  // namespace vela
