// The layer operations as scripts reach them: duplicate, merge, moves, clipboard, selection,
// opacity, visibility and stretching. Layers are named by their id.
#pragma once

#include "script/dispatcher.h"

namespace vela {

void CmdLayerDuplicate(CommandRecord* r, const char* args);
void CmdLayerMerge(CommandRecord* r, const char* args);
void CmdLayerMove(CommandRecord* r, const char* args);
void CmdLayerCut(CommandRecord* r, const char* args);
void CmdLayerCopy(CommandRecord* r, const char* args);
void CmdLayerPaste(CommandRecord* r, const char* args);
void CmdLayerSelect(CommandRecord* r, const char* args);
void CmdLayerSelectInfo(CommandRecord* r, const char* args);
void CmdLayerShift(CommandRecord* r, const char* args);
void CmdLayerDensity(CommandRecord* r, const char* args);
void CmdLayerDisplay(CommandRecord* r, const char* args);
void CmdLayerStretch(CommandRecord* r, const char* args);

}  // namespace vela
