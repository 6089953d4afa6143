// Undo, pixels, layers and the time-line as scripts reach them.
#pragma once

#include "script/dispatcher.h"

namespace vela {

void CmdUndo(CommandRecord* r, const char* args);
void CmdRedo(CommandRecord* r, const char* args);
void CmdUpdateUndo(CommandRecord* r, const char* args);
void CmdGetPixel(CommandRecord* r, const char* args);
void CmdWritePixel(CommandRecord* r, const char* args);
void CmdGetPixelLayer(CommandRecord* r, const char* args);
void CmdLayerCreate(CommandRecord* r, const char* args);
void CmdLayerSet(CommandRecord* r, const char* args);
void CmdLayerKill(CommandRecord* r, const char* args);
void CmdLayerGetId(CommandRecord* r, const char* args);
void CmdLayerGetPos(CommandRecord* r, const char* args);
void CmdLayerCurrentId(CommandRecord* r, const char* args);
void CmdLayerImage(CommandRecord* r, const char* args);
void CmdLayerGetImage(CommandRecord* r, const char* args);
void CmdLayerInfo(CommandRecord* r, const char* args);
void CmdFirstImage(CommandRecord* r, const char* args);
void CmdLastImage(CommandRecord* r, const char* args);
void CmdFrameRate(CommandRecord* r, const char* args);
void CmdGetPixelDisplay(CommandRecord* r, const char* args);
void CmdDisplay(CommandRecord* r, const char* args);
void CmdBackground(CommandRecord* r, const char* args);
void CmdLayerAnim(CommandRecord* r, const char* args);
void CmdLayerInsertImage(CommandRecord* r, const char* args);

}  // namespace vela
