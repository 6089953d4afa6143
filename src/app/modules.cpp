#include "app/modules.h"

#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/display.h"
#include "project/page.h"
#include "project/point_step.h"
#include "start/main_loop.h"
#include "start/settings.h"
#include "start/workspace.h"

namespace vela {

namespace {

bool StartCache() {
  if (!CacheStart()) return false;
  SetAllocTrimHook(CacheTrim);
  return true;
}

void StopCache() {
  SetAllocTrimHook(nullptr);
  CacheStop();
}

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
    {"cache", StopCache},
    {"pixel tables", FreePixelTables},
};

}  // namespace

const RunHooks& ProgramHooks() {
  static const RunHooks hooks = [] {
    RunHooks h;
    h.init = kInit;
    h.openGraphics = OpenGraphicsBlocks;
    h.startCache = StartCache;
    h.makePage = MakePage;
    h.redrawAll = RedrawAll;
    h.beforeLoop = SnapshotUndo;
    h.load = kLoad;
    h.save = kSave;
    h.release = kRelease;
    h.savePagePng = SavePage;
    SetPointStep(PointStep);
    Loop().saveUndo = SnapshotUndo;
    Loop().cacheWriteOne = [] { return CacheWriteOne() != 0; };
    return h;
  }();
  return hooks;
}

}  // namespace vela
