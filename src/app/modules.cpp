#include "app/modules.h"

#include <algorithm>

#include "formats/file_commands.h"
#include "formats/file_actions.h"
#include "formats/formats.h"
#include "formats/image_files.h"
#include "formats/project_file.h"
#include "paint/draw_modes.h"
#include "paint/grid.h"
#include "paint/point_step.h"
#include "paint/pressure.h"
#include "paint/shapes.h"
#include "paint/stroke.h"
#include "paint/tools.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "pixels/display.h"
#include "project/layer_ops.h"
#include "project/magic.h"
#include "project/layers.h"
#include "project/page.h"
#include "project/undo.h"
#include "script/command_file.h"
#include "script/external.h"
#include "script/project_commands.h"
#include "start/actions.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/key_map.h"
#include "start/message.h"
#include "start/settings.h"
#include "start/workspace.h"
#include "windows/keymap_window.h"
#include "windows/layers_window.h"
#include "windows/pressure_grid_windows.h"
#include "windows/menu.h"
#include "windows/requester.h"
#include "windows/system.h"
#include "windows/toolbar.h"
#include "windows/tools_window.h"
#include "windows/window.h"

namespace vela {

namespace {

// The key of an action as the menus show it, for the help bubbles.
const char* ShortcutOf(const char* action) {
  static std::string key;
  key = MenuShortcut(action);
  return key.c_str();
}

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

bool StartStrokes() {
  ResetStrokeContext();
  return UseDefaultBrush() == 0;
}

// The wheel sizes the current tool, one step a notch.
void WheelTool(int steps) {
  ChangeToolSize(steps);
}

// The page, then the Windows over it.
void RedrawAllWindows() {
  RedrawAll();
  RepaintScreen();
}

// A path from the command line or dropped on the window: a project, else a picture.
void OpenPath(const char* path) {
  int w, h;
  if (ProjectInfo(path, &w, &h))
    LoadProject(path, true, false, true);
  else
    LoadImage(path);
}

void StopStrokes() {
  SetCurrentBrush(nullptr);
}

// The pens live in Main; the paint engine keeps them in its draw context.
void LoadPens() {
  SetAPen(MainSet.aPen);
  Draw.BPen = MainSet.bPen;
  LoadPensSettings();
}
void SavePens() {
  MainSet.aPen = Draw.APen;
  MainSet.bPen = Draw.BPen;
  SavePensSettings();
}

const InitStep kInit[] = {
    {"pixel tables", BuildPixelTables},
    {"brush", StartStrokes},
    {"commands", StartCommands},
    {"file commands", AddFileCommands},
    {"interface font", OpenInterfaceFont},
};

// Each module reads its own section, in this order.
const SettingsStep kLoad[] = {
    {"Main", LoadMainSettings},         {"Keyboard", BuildActionTable},
    {"Pens", LoadPens},                 {"Pens", LoadToolsWindowSettings},
    {"System", LoadSystemSettings},
    {"Pressure", LoadPressureSettings}, {"Grid", LoadGridSettings},
    {"Grid", LoadPressureGridWindows},
    {"MLayers", LoadLayerSettings},
    {"MLayers", LoadMixerSettings},
    {"IO", LoadSaveSettings},
    {"MainMenu", LoadMainMenuSettings},
    {"Main", LoadToolbarSettings},
};

const SettingsStep kSave[] = {
    {"Keyboard", SaveKeyboardSettings},
    {"Pens", SavePens},
    {"Pens", SaveToolsWindowSettings},
    {"Main", SaveToolbarSettings},
    {"Main", SaveMainSettings},
    {"System", SaveSystemSettings},
    {"Pressure", SavePressureSettings},
    {"Grid", SaveGridSettings},
    {"Grid", SavePressureGridWindows},
    {"MLayers", SaveLayerSettings},
    {"MLayers", SaveMixerSettings},
    {"IO", StoreSaveSettings},
    {"MainMenu", SaveMainMenuSettings},
};

const SettingsStep kRelease[] = {
    {"windows", ReleaseWindowSystem},
    {"brush", StopStrokes},
    {"layer clipboard", FreeLayerClipboard},
    {"project", ReleaseProject},
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
    h.redrawAll = RedrawAllWindows;
    h.beforeLoop = [] { StartProject(); };
    h.load = kLoad;
    h.save = kSave;
    h.release = kRelease;
    h.savePagePng = SavePage;
    h.runCommandFile = RunCommandFile;
    h.isProject = [](const char* path) {
      int w, hh;
      return ProjectInfo(path, &w, &hh) || FileType(path, &w, &hh) >= 0;
    };
    h.openProject = OpenPath;
    Input().dropFile = OpenPath;
    SetProjectFileOps({SaveProject,
                       [](const char* path) { return LoadProject(path, true, false, true); },
                       [] { return ProjectFileName().c_str(); }});
    SetPointStep(PointStep);
    PointSegment = StrokeSegment;
    PointHover = StrokeHover;
    Loop().speedPressure = StrokeSpeedPressure;
    Input().snapToGrid = SnapPagePosition;
    Input().wheelTool = WheelTool;
    Loop().pressUndo = PressToolUndo;
    SetToolHandler(kToolPoint, PointToolStep);
    SetToolHandler(kToolDraw, FreehandToolStep);
    SetToolHandler(kToolLine, LineToolStep);
    SetToolHandler(kToolCircle, CircleToolStep);
    SetToolHandler(kToolRectangle, RectangleToolStep);
    SetToolHandler(kToolSpline, SplineToolStep);
    SetToolHandler(kToolEllipse, EllipseToolStep);
    Loop().endTool = EndCurrentShapeTool;
    Loop().selectDrawingTool = ToolbarDrawingTool;
    AddActions(ToolActions());
    Loop().refreshThumbnail = RefreshThumbnail;
    AddActions(UndoActions());
    AddActions(LayerOpsActions());
    AddActions(MixerActions());
    AddActions(ToolsWindowActions());
    AddActions(PressureGridActions());
    AddActions(MagicNumberActions());
    AddMainMenuActions();
    AddActions(LoopActions());
    AddActions(FileActions());
    AddActions(KeymapActions());
    Input().keyMap = KeyMapEvent;
    Loop().cacheWriteOne = [] { return CacheWriteOne() != 0; };
    InstallWindowSystem();
    InstallToolbar();
    InstallRequesters();
    ActionKeyName = ShortcutOf;
    return h;
  }();
  return hooks;
}

}  // namespace vela
