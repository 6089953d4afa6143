// The command table: one row per name, in the order the dispatcher scans them. Later families
// add their rows here, or through AddCommands when their module lies above this one.
#include "script/commands.h"
#include "script/layer_commands.h"
#include "script/layer_ops_commands.h"
#include "script/project_commands.h"

namespace vela {

namespace {
const CommandRow kRows[] = {
    {"qd_setapen", CmdSetAPen},
    {"qd_setbpen", CmdSetBPen},
    {"qd_getapen", CmdGetAPen},
    {"qd_getbpen", CmdGetBPen},
    {"qd_getwidth", CmdGetWidth},
    {"qd_getheight", CmdGetHeight},
    {"qd_dot", CmdDot},
    {"qd_line", CmdLine},
    {"qd_zline", CmdZLine},
    {"qd_fastline", CmdFastLine},
    {"qd_nop", CmdNop},
    {"qd_version", CmdVersion},
    {"qd_quit", CmdQuit},
    {"qd_gauge", CmdGauge},
    {"qd_warn", CmdWarn},
    {"qd_request", CmdRequest},
    {"qd_lockuser", CmdLockUser},
    {"qd_unlockuser", CmdUnlockUser},
    {"qd_lockscreen", CmdLockDisplay},
    {"qd_lockdisplay", CmdLockDisplay},
    {"qd_unlockscreen", CmdUnlockDisplay},
    {"qd_unlockdisplay", CmdUnlockDisplay},
    {"qd_lockmouse", CmdLockMouse},
    {"qd_unlockmouse", CmdUnlockMouse},
    {"qd_undo", CmdUndo},
    {"qd_redo", CmdRedo},
    {"qd_updateundo", CmdUpdateUndo},
    {"qd_getpixel", CmdGetPixel},
    {"qd_writepixel", CmdWritePixel},
    {"qd_getpixellayer", CmdGetPixelLayer},
    {"qd_layercreate", CmdLayerCreate},
    {"qd_layerset", CmdLayerSet},
    {"qd_layerkill", CmdLayerKill},
    {"qd_layergetid", CmdLayerGetId},
    {"qd_layergetpos", CmdLayerGetPos},
    {"qd_layercurrentid", CmdLayerCurrentId},
    {"qd_layerimage", CmdLayerImage},
    {"qd_layergetimage", CmdLayerGetImage},
    {"qd_layerinfo", CmdLayerInfo},
    {"qd_firstimage", CmdFirstImage},
    {"qd_lastimage", CmdLastImage},
    {"qd_framerate", CmdFrameRate},
    {"qd_layeranim", CmdLayerAnim},
    {"qd_layerinsertimage", CmdLayerInsertImage},
    {"qd_getpixeldisplay", CmdGetPixelDisplay},
    {"qd_display", CmdDisplay},
    {"qd_background", CmdBackground},
    {"qd_layerduplicate", CmdLayerDuplicate},
    {"qd_layermerge", CmdLayerMerge},
    {"qd_layermove", CmdLayerMove},
    {"qd_layercut", CmdLayerCut},
    {"qd_layercopy", CmdLayerCopy},
    {"qd_layerpaste", CmdLayerPaste},
    {"qd_layerselect", CmdLayerSelect},
    {"qd_layerselectinfo", CmdLayerSelectInfo},
    {"qd_layershift", CmdLayerShift},
    {"qd_layerdensity", CmdLayerDensity},
    {"qd_layerdisplay", CmdLayerDisplay},
    {"qd_layerstretch", CmdLayerStretch},
    {"qd_saveproject", CmdSaveProject},
    {"qd_loadproject", CmdLoadProject},
    {"qd_getprojectname", CmdGetProjectName},
};
}  // namespace

std::span<const CommandRow> BaseCommands() {
  return kRows;
}

}  // namespace vela
