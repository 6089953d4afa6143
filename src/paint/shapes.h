// The shape tools: small state machines that the main loop steps once per event, turning the
// pointer into strokes (a stamp per click, freehand, lines, splines and figures).
#pragma once

#include <cstdint>
#include <vector>

#include "pixels/block.h"

namespace vela {

// ---- Settings and state ------------------------------------------------------------------------
struct ShapeSettings {
  int32_t dottedSingle = 0;  // Point: 0 "Continue" (while held), 1 "Single" (only at the click)
  int32_t circle3 = 0;       // Circle: 0 "Center", 1 "3 Points"
  int32_t lineStart = 255;   // line pressure at the two ends of a line or spline, 0..255
  int32_t lineEnd = 255;
  int32_t tension = 100;  // spline tension in percent
};
extern ShapeSettings Shapes;

struct Fixed16 {
  int32_t x, y;  // 16.16 page position
};

struct ShapeState {
  int32_t phase = 0;   // 0 idle, 1 first press, 2 under way, 3 spline held by the constrain key
  int32_t button = 0;  // 1 left, 2 right: the button of the press
  Fixed16 start{};     // anchor, corner, centre, first end
  Fixed16 last{};      // freehand p0, spline second end
  Fixed16 control{};   // freehand c
  int32_t size0 = 0, opacity0 = 255;  // freehand values at p0
  int32_t sizeC = 0, opacityC = 255;  // and at c
  bool firstMark = false;
  int32_t clicks = 0;           // three-point circle: points given so far
  Fixed16 rim[3]{};             // its points
  std::vector<Fixed16> points;  // filled freehand
  bool filled[64] = {};         // per tool number: outline or filled form
};
extern ShapeState Shape;

// The filled flag of a tool toggles on a second click of its gadget.
bool ShapeFilled(int tool);
void ToggleShapeFilled(int tool);

// ---- The pointer filter -------------------------------------------------------------------------
// With the constrain key held, the first move of 16 pixels from the anchor fixes a direction:
// horizontal, vertical or one of the diagonals, kept until the key goes up.
enum ConstrainDirection : int32_t {
  ConstrainNone = 0,
  ConstrainHorizontal,
  ConstrainVertical,
  ConstrainDiagonalDown,  // x - y constant
  ConstrainDiagonalUp,    // x + y constant
};
struct ConstrainState {
  bool held = false;
  Fixed16 anchor{};
  int32_t direction = ConstrainNone;
};
extern ConstrainState Constrain;
// Moves a 16.16 pointer onto the held direction; held is the constrain key of this event.
void ConstrainPointer(bool held, int32_t* x, int32_t* y);
// A press starts the filter again from the press point.
void ConstrainAnchor(int32_t x, int32_t y);

// ---- Steps --------------------------------------------------------------------------------------
void PointToolStep();      // 3
void FreehandToolStep();   // 7
void LineToolStep();       // 21
void CircleToolStep();     // 24
void RectangleToolStep();  // 29
void SplineToolStep();     // 30
void EllipseToolStep();    // 46
// Clears what the tool shows on the display and ends its pending state; a spline in progress is
// drawn as it stands.
void EndShapeTool(int tool);
// Loop().endTool: ends the current tool.
void EndCurrentShapeTool();

// ---- Rubber bands: on the display only, never on the page
// ----------------------------------------
void DrawLineOverlay(int x0, int y0, int x1, int y1);
void DrawRectangleOverlay(int x0, int y0, int x1, int y1);
void DrawCircleOverlay(int cx, int cy, int rx, int ry);
void DrawSplineOverlay(Fixed16 a, Fixed16 m, Fixed16 e);
void RemoveOverlay();
// The page pixels the overlay shows now.
const std::vector<std::pair<int, int>>& OverlayPixels();

// ---- Figures ------------------------------------------------------------------------------------
// Each step of the rim in one quadrant after another: the pixel chosen (offsets from the centre),
// its neighbour across the rim, and the neighbour's coverage 0..255.
using RimSink = void (*)(int x, int y, int nx, int ny, int coverage, void* user);
void WalkEllipse(int a, int b, RimSink sink, void* user);

// Outline of the ellipse of whole radii around the page pixel (cx, cy) with the current brush.
void DrawEllipseOutline(int cx, int cy, int a, int b, Pixel colour, bool erase);
// The four sides through whole-pixel corners, in any order.
void DrawRectangleOutline(int x0, int y0, int x1, int y1, Pixel colour, bool erase);
// The spline through a (first end), m (the point it passes) and e (second end), 16.16, with the
// current tension; sizes and opacities run from the start level to the end level.
void DrawSpline(Fixed16 a, Fixed16 m, Fixed16 e, Pixel colour, bool erase, int size0, int size1,
                int opacity0, int opacity1);
// The two cubic pieces of that spline in 16.16: a, a, m - t/3, m and m, m + t/3, e, e.
struct SplinePieces {
  Fixed16 p[2][4];
};
SplinePieces SplineControls(Fixed16 a, Fixed16 m, Fixed16 e, int tension);
// The circle through three points; false when they lie on one line.
bool CircleThrough(double x0, double y0, double x1, double y1, double x2, double y2, double* cx,
                   double* cy, double* r);

// ---- Point list --------------------------------------------------------------------------------
// The area points of qd_areamove and the filled freehand.
extern std::vector<Fixed16> AreaPoints;
// With two points a straight piece; with more, quadratic pieces between the midpoints of
// successive points, each point their control, from the first point to the last.
void DrawPointList(const std::vector<Fixed16>& points, Pixel colour, bool erase, int size0,
                   int size1, int opacity0, int opacity1);

// ---- Filled forms ------------------------------------------------------------------------------
struct FillRegion {
  enum Kind { Polygon, Rectangle, Ellipse } kind = Polygon;
  std::vector<Fixed16> points;             // Polygon
  int32_t x0 = 0, y0 = 0, x1 = 0, y1 = 0;  // Rectangle, whole pixels, ordered
  int32_t cx = 0, cy = 0, rx = 0, ry = 0;  // Ellipse, whole pixels
  int32_t g = 0, t = 0;                    // a script's gradient pair, handed on to the fills
};
// The fill operations install themselves here.
extern int (*RegionFill)(const FillRegion& region, Pixel colour, bool erase);
// Every filled form reaches the fills through this one call; until a fill is installed the
// region is filled solid, or outlined in a mode without a span loop.
void FillShapeRegion(const FillRegion& region, Pixel colour, bool erase);
// The region in colour (or erased) through the draw mode's span loop at full coverage; -1 when
// the mode has none.
int SolidFillRegion(const FillRegion& region, Pixel colour, bool erase);

// ---- Settings ----------------------------------------------------------------------------------
// "Dotted freehand", "Circle" and "Line pressure" in section "Settings".
void LoadShapeSettings();
void SaveShapeSettings();
// The settings of a shape tool, as its right click opens them.
void OpenShapeSettings(int tool);

}  // namespace vela
