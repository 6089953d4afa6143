#include "paint/point_step.h"

#include "start/input.h"

namespace vela {

PointSegmentFn PointSegment = nullptr;
PointHoverFn PointHover = nullptr;

namespace {
int32_t g_lastX = 0, g_lastY = 0;
}

void PointStep() {
  if (!In.leftDown && !In.rightDown) {
    // A release that came with moves in its batch still owes the stroke its last piece; the
    // release itself ends the stroke.
    bool released = In.clickState == -1 || In.clickState == -2;
    if (released && PointSegment)
      PointSegment(g_lastX, g_lastY, In.pageXF, In.pageYF, false, In.clickState == -2, true);
    g_lastX = In.pageXF;
    g_lastY = In.pageYF;
    if (PointHover) PointHover(In.pageX, In.pageY);
    return;
  }
  bool first = In.leftEdge || In.rightEdge;
  if (first) g_lastX = In.pageXF, g_lastY = In.pageYF;
  if (PointSegment)
    PointSegment(g_lastX, g_lastY, In.pageXF, In.pageYF, first, In.rightDown != 0, false);
  g_lastX = In.pageXF;
  g_lastY = In.pageYF;
}

}  // namespace vela
