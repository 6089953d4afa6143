#include "project/point_step.h"

#include "pixels/block.h"
#include "pixels/display.h"
#include "start/input.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

void PointStep() {
  if (!In.leftDown && !In.rightDown) return;
  Block* page = Ws.page;
  int x = In.pageX, y = In.pageY;
  if (!page || x < 0 || y < 0 || x >= page->width || y >= page->height) return;
  page->Row(y)[x] = In.rightDown ? MainSet.bPen : MainSet.aPen;
  ++Stamp;
  BlitBand(page, x, y, Ws.pageX + x, Ws.pageY + y, 1, 1);
}

}  // namespace vela
