// The stamp a StampPass lays down, and the draw context its loops read.
#pragma once

#include <cstdint>

#include "pixels/block.h"

namespace vela {

enum BrushKind : int32_t {
  BrushKindPen = 1,         // mask only: a hard disc
  BrushKindImage = 3,       // pixels and mask; always at full opacity
  BrushKindDab = 4,         // mask only: a soft profile
  BrushKindImageFaded = 5,  // pixels and mask; opacity and pressure apply
};

enum DabTexture : int32_t {
  DabTextureNone = 0,
  DabTextureChalk = 1,
  DabTexturePencil = 2,
};

// One record; the stroke engine owns the planes and Blocks it points at.
struct Brush {
  Block* pixels = nullptr;  // image brushes only
  Block* under = nullptr;   // same size: Shift carry, Smooth and Blur scratch
  int32_t handleX = 0;
  int32_t handleY = 0;
  int32_t kind = BrushKindDab;
  int32_t width = 0;
  int32_t height = 0;
  int32_t cursorX = 0;
  int32_t cursorY = 0;
  int32_t cursorFlags = 0;
  int32_t radius = 0;
  uint8_t* mask = nullptr;     // width * height coverage bytes
  uint8_t* scratch = nullptr;  // width * height, the texture loops' own plane
};

// Globals of the paint engine that the loops read.
struct DrawContext {
  Pixel APen = 0xFFFF0000;
  Pixel BPen = 0xFF000000;
  int32_t antialias = 0;
  DabTexture dabTexture = DabTextureNone;
  int32_t power = 255;  // the tool's global opacity
  int32_t pantoX = 0;   // pantograph offsets: the source of (x, y) is (x + pantoX, y + pantoY)
  int32_t pantoY = 0;
  // Called for every rectangle the span and thin-line loops change, so that the display follows.
  void (*showRect)(int x, int y, int width, int height) = nullptr;
};
extern DrawContext Draw;

// What lives from the first pass of a stroke to its end.
struct StrokeState {
  bool shiftStarted = false;
  bool impressValid = false;
  Pixel impressColour = 0;
  bool lineSmearValid = false;  // thin line: the pixel dragged along
  Pixel lineSmear = 0;
  bool lineShiftValid = false;  // thin line: the pixel the previous plot replaced
  Pixel lineShift = 0;
};
extern StrokeState Stroke;

void ResetStrokeState();  // at the beginning and the end of every stroke

}  // namespace vela
