// The stroke engine: the current Brush, the stroke context, and the ways a path becomes paint.
#pragma once

#include <cstdint>

#include "paint/brush.h"
#include "pixels/block.h"

namespace vela {

// ---- Brush lifetime --------------------------------------------------------------------------
// A Brush with its mask, scratch and under planes; pixels as well when withPixels (filled with
// BPen). Null after " Not enough memory".
Brush* NewBrush(int width, int height, bool withPixels);
void FreeBrush(Brush* brush);  // null is a no-op
// The Brush the tools and commands stamp with; the engine owns it.
Brush* CurrentBrush();
// Makes brush current, freeing the one before (unless it is the same).
void SetCurrentBrush(Brush* brush);
// Pen of radius 3, reaching radius 3 at full pressure: the brush of a fresh run. 0, or -1.
int UseDefaultBrush();
// The hard disc of a BrushKindPen Brush; radius held within 0..100.
Brush* MakePenBrush(int radius);
// Fills mask (side 2·radius + 1, radius 0..100) with the midpoint disc.
void FillPenDisc(uint8_t* mask, int radius);

// ---- Stroke context --------------------------------------------------------------------------
enum DrawTool : int32_t {
  ToolPen = 0,
  ToolPropellingPencil = 1,
  ToolPencil = 2,
  ToolChalk = 3,
  ToolAirbrush = 4,
  ToolWaterColor = 5,
  ToolOil = 6,
  ToolGouache = 7,
  ToolCustomBrush = 8,
  ToolTextBrush = 9,
};

struct StrokeContext {
  int32_t tool = ToolPen;
  int32_t penRadius = 3;     // 0..100
  int32_t targetRadius = 3;  // the Pen radius at full pressure
  int32_t dabRadius = 3;
  int32_t step = 0;         // pixels between stamps along the major axis; 0 is every pixel
  int32_t stepCounter = 0;  // carried from one segment to the next
  bool pressureOn = true;
  bool speedOn = false;
  bool speedInvert = false;
  bool keepWet = false;
  uint8_t profile[64] = {};  // dab profile: 0 rim .. 63 centre
};
extern StrokeContext StrokeCtx;
void ResetStrokeContext();  // defaults, profile byte i = 4·i

// The stroke inputs of the last event.
struct StrokeInputs {
  int32_t size = 0;       // 0..255
  int32_t opacity = 255;  // 0..255
  int32_t shown = 255;    // the value the Pressure window shows
};
extern StrokeInputs Inputs;

// The speed input. Call once per event with the time in seconds and the page pixel position.
struct SpeedState {
  bool started = false;
  double lastTime = 0;  // centiseconds
  int32_t lastX = 0, lastY = 0;
  int32_t kept = 0;  // curve output of the last computation
  int32_t stillEvents = 0;
};
extern SpeedState Speed;
int SpeedInput(double seconds, int x, int y);
// Derives size and opacity inputs from pressure (-1 without) and the speed of this event.
void UpdateStrokeInputs(int pressure, int speed);

// ---- Drawing ---------------------------------------------------------------------------------
// Straight segment of the hot spot, 16.16 page coordinates. Sizes: below 0 scale the Pen radius
// (−255 is the radius itself), 0..255 pull it towards the target radius. 0, or -1.
int StrokeLine(Brush* brush, int32_t x0, int32_t y0, int32_t x1, int32_t y1, Pixel colour,
               int erase, int first, int size0, int size1, int opacity0, int opacity1);
// Quadratic piece in 24.8, values at both ends and at the control.
int StrokeCurve(Brush* brush, int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1,
                int32_t y1, Pixel colour, int erase, int first, int size0, int sizeC, int size1,
                int opacity0, int opacityC, int opacity1);
// Cubic piece in 24.8 with two controls; values at the two ends only.
int StrokeCubic(Brush* brush, int32_t x0, int32_t y0, int32_t c0x, int32_t c0y, int32_t c1x,
                int32_t c1y, int32_t x1, int32_t y1, Pixel colour, int erase, int first, int size0,
                int size1, int opacity0, int opacity1);
// One StampPass with the brush's top-left at (x, y), and the display over it.
int StampOnce(Brush* brush, Block* page, int x, int y, Pixel colour, int erase, int opacity);
// The stepped stamping loop over whole pixels of the brush's top-left.
int StampAlong(Brush* brush, int x0, int y0, int x1, int y1, Block* page, bool display,
               Pixel colour, int erase, int first, int opacity0, int opacity1);

// The straight pieces a curve flattens into, in drawing order (24.8 ends). precise: the Pen's
// flatness test in doubles at pixel scale.
struct CurvePiece {
  int32_t x0, y0, x1, y1;
  int size0, size1, opacity0, opacity1;
  bool first;
};
using PieceSink = void (*)(const CurvePiece& piece, void* user);
void FlattenQuadratic(int32_t x0, int32_t y0, int32_t cx, int32_t cy, int32_t x1, int32_t y1,
                      int size0, int sizeC, int size1, int opacity0, int opacityC, int opacity1,
                      bool first, bool precise, PieceSink sink, void* user);
void FlattenCubic(int32_t x0, int32_t y0, int32_t c0x, int32_t c0y, int32_t c1x, int32_t c1y,
                  int32_t x1, int32_t y1, int size0, int size1, int opacity0, int opacity1,
                  bool first, bool precise, PieceSink sink, void* user);

// ---- Capsule rasteriser ----------------------------------------------------------------------
// Coverage of the convex hull of two discs (centres and radii in page pixels), handed row by row
// to sink; a row may reach kCoverageLead pixels past either page edge. -1 on break, or after
// " Not enough memory" for the row.
using CoverageSink = void (*)(int x, int y, int length, const uint8_t* coverage, void* user);
// Rows go top down, or bottom up when upward.
int RasteriseCapsule(double x0, double y0, double r0, double x1, double y1, double r1,
                     int pageWidth, int pageHeight, CoverageSink sink, void* user,
                     bool upward = false);
constexpr int kCoverageLead = 68;
constexpr int kCoverageSlack = 128;

// ---- Dabs ------------------------------------------------------------------------------------
// out[0..r] from the 64-byte profile: out[d] is the height at distance d from the centre.
void ResampleProfile(const uint8_t profile[64], int r, int power, uint8_t* out);
// Fills the mask of a dab of side 2·max(radius,1)+1.
void FillDabMask(uint8_t* mask, int side, const uint8_t profile[64], int power);
// Replaces the current brush by a new dab. 0, or -1 when only a 1×1 brush could be had.
int RebuildDab(int radius, int power, const uint8_t profile[64]);

// ---- Dirty rectangle and undo label ----------------------------------------------------------
struct DirtyRect {
  int32_t x0 = 0, x1 = 0, y0 = 0, y1 = 0;  // inclusive
  bool set = false;
};
extern DirtyRect Dirty;
void MarkDirty(int x0, int y0, int x1, int y1);
void ClearDirty();
// Undo listens here: called with the operation's name after each change.
extern void (*UndoLabelHook)(const char* name);
// Sends a rectangle of the page to the display.
void FillToDisplay(int x, int y, int width, int height);

// ---- Cursor ----------------------------------------------------------------------------------
enum CursorFlag : int32_t {
  CursorShown = 1,
  CursorOutlineRect = 2,
  CursorPantoMarker = 4,
  CursorOutlineCircle = 16,
};
extern int DisplayBrushMode;     // 0 automatic, 1 full, 2 outline
extern int32_t CursorAreaLimit;  // width·height above which mode 0 shows the outline
void CycleDisplayBrushMode();
// Page positions of the hot spot.
void BeginCursor(Brush* brush, int x, int y);
void MoveCursor(Brush* brush, int x, int y);
void HideCursor(Brush* brush);

// ---- Main loop ------------------------------------------------------------------------------
// Loop().speedPressure: reads this event's speed and pressure into Inputs; the tool pressure
// when speed drives it, else -1.
int StrokeSpeedPressure();
// The current brush, made when missing, its cursor hidden, the draw context following the user's
// switches: what the pointer and the drawing commands stroke with. Null without memory.
Brush* DrawingBrush();
// The stroke is over: its state goes, and the WetMap's paint unless it is kept wet.
void EndStroke();
// One plain segment of the drawing step (16.16 page positions of the hot spot) with the current
// brush in APen, or erasing for the right button; the first segment of a press sets first, the
// release sets last and ends the stroke.
void StrokeSegment(int32_t x0, int32_t y0, int32_t x1, int32_t y1, bool first, bool right,
                   bool last);
// The brush under the pointer while no button is down (page pixels of the hot spot).
void StrokeHover(int x, int y);

}  // namespace vela
