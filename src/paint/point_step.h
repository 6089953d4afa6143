#pragma once

#include <cstdint>

namespace vela {

// Draws one segment between two 16.16 page positions; first is set for the press, last for the
// release, which ends the stroke.
using PointSegmentFn = void (*)(int32_t x0, int32_t y0, int32_t x1, int32_t y1, bool first,
                                bool right, bool last);
extern PointSegmentFn PointSegment;
// Shows the brush at the pointer (page pixels) while no button is down.
using PointHoverFn = void (*)(int x, int y);
extern PointHoverFn PointHover;

// The step of the drawing tools until the freehand shape arrives: a plain segment from the last
// pointer position to the new one (erasing with the right button).
void PointStep();

}  // namespace vela
