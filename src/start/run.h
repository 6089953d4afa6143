// The spine of a run: from the program entry through the ini file and a configuration to the
// first page on screen, the main loop, and back out in a fixed order.
#pragma once

#include <cstdio>
#include <span>
#include <string>

#include "start/command_line.h"

namespace vela {

// A module's part in the run. The lists are ordered tables; later modules slot into them.
struct InitStep {
  const char* name;
  bool (*run)();  // false: the run cannot start
};
struct SettingsStep {
  const char* name;
  void (*run)();
};

// What the modules above this one lend to the run. Any hook may be null.
struct RunHooks {
  std::span<const InitStep> init;   // tables and defaults, before the first page
  int (*openGraphics)() = nullptr;  // page, mask, undo: 0 or -1
  bool (*makePage)(int width, int height) = nullptr;
  bool (*startCache)() = nullptr;
  void (*redrawAll)() = nullptr;
  void (*beforeLoop)() = nullptr;         // e.g. the undo Block takes the first page
  std::span<const SettingsStep> load;     // each module reads its section, in order
  std::span<const SettingsStep> save;     // and writes it back at the end
  std::span<const SettingsStep> release;  // ReleaseAll, in order
  // The page as straight-alpha PNG, for --save-page.
  bool (*savePagePng)(const char* path, std::string* error) = nullptr;
  // The command file of --script: each result a line on out; -1 when it cannot be read.
  int (*runCommandFile)(const char* path, std::FILE* out) = nullptr;
  // The project named on the command line: recognised before the page is made, opened at the
  // head of the main loop.
  bool (*isProject)(const char* path) = nullptr;
  void (*openProject)(const char* path) = nullptr;
};

// Values read from the machine-wide ini file at the start of a run.
struct IniSettings {
  int forceTablet = 0;
  int tabletOff = 0;
  std::string tabletDrv = "tablet.dll";
  int popX = 0;
  int popY = 0;
  int dibPatch = 1;
  int zoomAutoCenter = 0;
};
IniSettings& Ini();

// Runs the program with the command line of main(); returns the exit status.
int VelaMain(int argc, const char* const* argv, const RunHooks& hooks);

// The platform entry with the project path as its command line; returns the run's status.
int ProgramMain(const char* commandLine);
// Brings the modules up, runs the main loop, saves and releases. 0 after an orderly end, 1 when
// the run could not start.
int RunProgram(int argc, const char* const* argv);

// A modal loop that meets the end of a headless feed keeps the screen as it stands then for
// --screenshot: its own answer would take the question away before the run ends.
void KeepScreenAtFeedEnd();

int OpenGraphics(int width, int height);
void SaveAllSettings();
void ReleaseAll();

// The folder of seed data (configs, datas, plugins) copied into a new HomeDir.
void SetSeedDataDir(const std::string& dir);

}  // namespace vela
