#include "app/modules.h"

#include "pixels/block.h"
#include "pixels/display.h"
#include "project/page.h"
#include "project/point_step.h"
#include "start/main_loop.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

namespace {

bool SavePage(const char* path, std::string* error) {
  return WriteBlockPng(Ws.page, path, error);
}

const InitStep kInit[] = {
    {"pixel tables", BuildPixelTables},
};

// Each module reads its own section, in this order.
const SettingsStep kLoad[] = {
    {"Main", LoadMainSettings},
    {"System", LoadSystemSettings},
};

const SettingsStep kSave[] = {
    {"Main", SaveMainSettings},
    {"System", SaveSystemSettings},
};

const SettingsStep kRelease[] = {
    {"page", ReleasePage},
    {"pixel tables", FreePixelTables},
};

}  // namespace

const RunHooks& ProgramHooks() {
  static const RunHooks hooks = [] {
    RunHooks h;
    h.init = kInit;
    h.openGraphics = OpenGraphicsBlocks;
    h.makePage = MakePage;
    h.redrawAll = RedrawAll;
    h.beforeLoop = SnapshotUndo;
    h.load = kLoad;
    h.save = kSave;
    h.release = kRelease;
    h.savePagePng = SavePage;
    SetPointStep(PointStep);
    Loop().saveUndo = SnapshotUndo;
    return h;
  }();
  return hooks;
}

}  // namespace vela
