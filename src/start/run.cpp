#include "start/run.h"

#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <vector>

#include "host/channel.h"
#include "host/host.h"
#include "host/profile.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/options.h"
#include "start/random.h"
#include "start/run_paths.h"
#include "start/settings.h"
#include "start/tablet.h"
#include "start/workspace.h"

namespace vela {

namespace {

struct RunState {
  const RunHooks* hooks = nullptr;
  CommandLine commandLine;
  std::string seedDir;
  int saveConfig = 1;
  ScreenRecord screen{};
  bool screenOpen = false;
  int endStatus = 0;
  void (*beginLoop)() = nullptr;  // the modules' own head of the loop
};
RunState g_run;

const RunHooks& Hooks() {
  static const RunHooks none{};
  return g_run.hooks ? *g_run.hooks : none;
}

std::string IniString(const char* key, const char* def) {
  char buf[4096];
  GetPrivateProfileString("STARTUP", key, def, buf, sizeof buf, Paths().iniPath.c_str());
  return buf;
}
int IniInt(const char* key, int def) {
  return GetPrivateProfileInt("STARTUP", key, def, Paths().iniPath.c_str());
}

std::string Absolute(const std::string& p) {
  if (p.empty() || p == "-" || p[0] == '/') return p;
  std::error_code ec;
  auto abs = std::filesystem::absolute(p, ec);
  return ec ? p : abs.string();
}

std::string DefaultHomeDir() {
  const char* xdg = std::getenv("XDG_DATA_HOME");
  if (xdg && *xdg) return JoinPath(xdg, "vela");
  const char* home = std::getenv("HOME");
  return JoinPath(home && *home ? home : ".", ".local/share/vela");
}

// Copies the seed data into HomeDir where a file is missing, so a new home works at once and an
// old one keeps the user's changes.
void SeedHome(const std::string& home) {
  namespace fs = std::filesystem;
  std::error_code ec;
  fs::create_directories(home, ec);
  for (const char* sub : {"configs", "datas", "plugins"})
    fs::create_directories(JoinPath(home, sub), ec);
  if (g_run.seedDir.empty() || !fs::is_directory(g_run.seedDir, ec)) return;
  for (auto it = fs::recursive_directory_iterator(g_run.seedDir, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    fs::path rel = fs::relative(it->path(), g_run.seedDir, ec);
    if (ec) break;
    fs::path dst = fs::path(home) / rel;
    if (it->is_directory()) {
      fs::create_directories(dst, ec);
    } else if (!fs::exists(dst, ec) && rel.filename() != ".keep") {
      fs::copy_file(it->path(), dst, ec);
    }
    ec.clear();
  }
}

void CutTrailingSlash(std::string* s) {
  if (s->size() > 1 && (s->back() == '/' || s->back() == '\\')) s->pop_back();
}

// ForceTablet: the word "yes" or a non-zero number.
bool ForceTabletValue(const std::string& v) {
  return strcasecmp(v.c_str(), "yes") == 0 || std::atoi(v.c_str()) != 0;
}

// Values of options that change this run only; the configuration keeps its own for saving.
void ApplyRunOptions() {
  const RunOptions& o = Options();
  if (o.screenOffsetX != kOptionNotGiven) MainSet.screenOffsetX = o.screenOffsetX;
  if (o.screenOffsetY != kOptionNotGiven) MainSet.screenOffsetY = o.screenOffsetY;
  if (o.screenOffsetType != kOptionNotGiven) MainSet.screenOffsetType = o.screenOffsetType;
}

void ReadSysColors() {
  for (int i = 0; i < kSysColorCount; ++i)
    Ws.sysColors[i] = ParseRgb(
        ConfigString("SysColors", kSysColorKeys[i], FormatRgb(kDefaultSysColors[i]).c_str())
            .c_str(),
        kDefaultSysColors[i]);
}

void WriteSysColors() {
  for (int i = 0; i < kSysColorCount; ++i)
    ConfigPut("SysColors", kSysColorKeys[i], FormatRgb(Ws.sysColors[i]).c_str());
}

ScreenRecord* OpenDisplay() {
  HostConfig hc;
  hc.headless = g_run.commandLine.headless;
  hc.width = g_run.commandLine.width;
  hc.height = g_run.commandLine.height;
  hc.title = "Vela";
  std::string error;
  if (!HostOpen(hc, &error)) {
    std::fprintf(stderr, "vela: %s\n", error.c_str());
    return nullptr;
  }
  HostScreen fb = HostFramebuffer();
  ScreenRecord& s = g_run.screen;
  s = {};
  s.width = fb.width;
  s.height = fb.height;
  HostDesktopSize(&s.displayWidth, &s.displayHeight);
  s.depth = 32;
  g_run.screenOpen = true;
  return &s;
}

void CloseDisplay() {
  if (!g_run.screenOpen) return;
  HostClose();
  g_run.screenOpen = false;
  Ws.screen = nullptr;
}

// Until the Requesters exist, the start dialog is answered " OK " with the configuration's size.
int StartDialog() {
  std::string name = Paths().configName.empty() ? "Standard" : Paths().configName;
  Paths().configName = name;
  ConfigOpen(name.c_str());
  int w = std::atoi(ConfigString("Main", "PageWidth", "640").c_str());
  int h = std::atoi(ConfigString("Main", "PageHeight", "480").c_str());
  if (Options().pageWidth > 0) w = Options().pageWidth;
  if (Options().pageHeight > 0) h = Options().pageHeight;
  if (w < 1 || h < 1 || w > 16384 || h > 16384) {
    MessageF("Page size %d x %d is out of range; using 640 x 480", w, h);
    w = 640;
    h = 480;
  }
  if (Hooks().makePage && !Hooks().makePage(w, h)) return 0;
  return 1;
}

void SetTempDirectory() {
  std::string t;
  for (const char* var : {"tmp", "temp", "TMPDIR"}) {
    const char* v = std::getenv(var);
    if (v && *v) {
      t = v;
      break;
    }
  }
  if (t.empty()) t = "/tmp/";
  std::string ini = IniString("temp", "");
  if (!ini.empty()) t = ini;
  std::string cfg = ConfigString("Main", "temp", "");
  if (!cfg.empty()) t = cfg;
  if (!t.empty() && t.back() != '/' && t.back() != '\\') t += '/';
  Paths().tempDir = t.substr(0, kTempDirCapacity - 1);
}

struct KeptScreen {
  std::vector<uint32_t> pixels;
  int width = 0, height = 0;
};
KeptScreen g_kept;

void EndOfRunOutputs() {
  const CommandLine& cl = g_run.commandLine;
  if (!cl.screenshot.empty()) {
    // Events of a feed come back to back; the Windows get the idle moment a person would see.
    if (g_kept.pixels.empty() && Loop().windowTick) Loop().windowTick();
    HostScreen s = HostFramebuffer();
    if (!g_kept.pixels.empty())
      s = {g_kept.width, g_kept.height, g_kept.width, g_kept.pixels.data()};
    std::string error;
    if (!HostWritePng(cl.screenshot.c_str(), s.pixels, s.width, s.height, s.stride, false,
                      &error)) {
      std::fprintf(stderr, "vela: cannot write %s: %s\n", cl.screenshot.c_str(), error.c_str());
      g_run.endStatus = 1;
    }
  }
  if (!cl.savePage.empty()) {
    std::string error = "no page";
    if (!Hooks().savePagePng || !Hooks().savePagePng(cl.savePage.c_str(), &error)) {
      std::fprintf(stderr, "vela: cannot write %s: %s\n", cl.savePage.c_str(), error.c_str());
      g_run.endStatus = 1;
    }
  }
}

// The head of the main loop: the modules' start, then the command file. qd_quit in the file
// ends the run before the first turn.
void BeginLoop() {
  if (g_run.beginLoop) g_run.beginLoop();
  if (!Paths().projectPath.empty() && Hooks().openProject)
    Hooks().openProject(Paths().projectPath.c_str());
  const std::string& script = g_run.commandLine.script;
  if (script.empty() || !Hooks().runCommandFile) return;
  if (Hooks().runCommandFile(script.c_str(), stdout) < 0) {
    g_run.endStatus = 1;
    ExitFlag = 1;
  }
}

// The external channel: always with a window, and headless only when --serve asks for it.
bool OpenChannel() {
  bool serve = g_run.commandLine.serve;
  if (!serve && HostHeadless()) return true;
  std::string path = ChannelDefaultPath(), error;
  if (ChannelOpen(path, &error)) {
    if (serve) HostHoldOpen(true);
    return true;
  }
  std::fprintf(stderr, "vela: no external channel: %s\n", error.c_str());
  return !serve;
}

// Requests that came too late are refused, then the socket goes.
void CloseChannel() {
  ChannelPump(0);
  DrainInjected(nullptr);
  ChannelClose();
  HostHoldOpen(false);
}

}  // namespace

void KeepScreenAtFeedEnd() {
  // Without an event file there is no feed to end: a script's questions pass, its picture stays.
  const CommandLine& cl = g_run.commandLine;
  if (cl.screenshot.empty() || cl.events.empty() || !g_kept.pixels.empty()) return;
  HostScreen s = HostFramebuffer();
  if (!s.pixels || s.width < 1 || s.height < 1) return;
  g_kept.width = s.width, g_kept.height = s.height;
  g_kept.pixels.resize(static_cast<size_t>(s.width) * s.height);
  for (int y = 0; y < s.height; ++y)
    std::copy_n(s.pixels + static_cast<size_t>(y) * s.stride, s.width,
                g_kept.pixels.begin() + static_cast<ptrdiff_t>(y) * s.width);
}

IniSettings& Ini() {
  static IniSettings ini;
  return ini;
}

void SetSeedDataDir(const std::string& dir) {
  g_run.seedDir = dir;
}

int OpenGraphics(int width, int height) {
  (void)width;
  (void)height;
  ScreenRecord* s = OpenDisplay();
  if (!s) {
    Message(" Can't open graphic screen! ");
    return -1;
  }
  Ws.screen = s;
  Ws.pageX = -1000;
  Ws.pageY = -1000;
  Ws.pageWidth = 1;
  Ws.pageHeight = 1;
  Ws.displayFlags = 0x21;
  Ws.background = 0xFF005F9F;
  Ws.frameRate = 30.0;
  Ws.opacity = 255;
  Ws.noPage = 1;
  if (Hooks().openGraphics && Hooks().openGraphics() != 0) return -1;
  return 0;
}

void SaveAllSettings() {
  for (const SettingsStep& s : Hooks().save)
    if (s.run) s.run();
}

void ReleaseAll() {
  for (const SettingsStep& s : Hooks().release)
    if (s.run) s.run();
  CloseDisplay();
}

int RunProgram(int argc, const char* const* argv) {
  // Headless runs repeat exactly, so their random effects start from a fixed seed.
  bool headless = g_run.commandLine.headless || !HostHasDisplay();
  SeedRandom(headless ? 1u : static_cast<uint32_t>(std::time(nullptr)));
  ResetInput();
  Ws = Workspace{};
  Ws.undoMode = 0;
  Options() = RunOptions{};
  ParseOptions(argc, argv);
  if (Options().undoMode >= 0) Ws.undoMode = Options().undoMode;
  MainSet.edmund = Options().configRexx;
  if (Options().noGauge) MainSet.gauge = 0;
  if (Options().noBorder) MainSet.border = 0;
  if (Options().noEraseAlert) MainSet.zorro = 1;

  if (OpenGraphics(740, 576) != 0) {
    ReleaseAll();
    return 1;
  }
  if (!g_run.commandLine.events.empty()) {
    std::string error;
    if (!HostLoadEventFile(g_run.commandLine.events, &error)) {
      std::fprintf(stderr, "vela: %s\n", error.c_str());
      ReleaseAll();
      return 1;
    }
  }
  for (int i = 0; i < kSysColorCount; ++i) Ws.sysColors[i] = kDefaultSysColors[i];
  Ws.sysWhite = 0xFFFFFFFF;
  ReadSysColors();

  for (const InitStep& step : Hooks().init) {
    if (step.run && !step.run()) {
      Message(" Not enough memory");
      ReleaseAll();
      return 1;
    }
  }

  std::string project = Paths().projectPath;
  if (!project.empty() && !(Hooks().isProject && Hooks().isProject(project.c_str()))) {
    struct stat st;
    if (stat(project.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
      MessageF("%s\nFile not found!", project.c_str());
    else
      MessageF("%s\nUnknown file format", project.c_str());
    Paths().projectPath.clear();
  }
  if (StartDialog() < 1) {
    ReleaseAll();
    return 1;
  }
  if (strncasecmp(ConfigString("Main", "FullScreen", "0").c_str(), "on", 2) == 0 &&
      HostSetFullScreen(true))
    Ws.screen->fullScreen = 1;

  SetTempDirectory();
  if (Hooks().startCache && !Hooks().startCache()) {
    ReleaseAll();
    return 1;
  }
  g_run.saveConfig = std::atoi(ConfigString("Main", "SaveConfig", "1").c_str());

  MainSet.aPen = 0xFFFF0000;
  SelectTool(kToolDraw);
  In.clickX = In.clickY = -100;
  for (const SettingsStep& s : Hooks().load)
    if (s.run) s.run();
  const int configuredOffsetType = MainSet.screenOffsetType;
  ApplyRunOptions();
  if (Hooks().beforeLoop) Hooks().beforeLoop();

  SetRedrawHook(Hooks().redrawAll);
  RedrawScreen();
  if (!OpenChannel()) {
    ReleaseAll();
    return 1;
  }
  g_run.beginLoop = Loop().beginLoop;
  Loop().beginLoop = BeginLoop;
  MainLoop();
  Loop().beginLoop = g_run.beginLoop;
  CloseChannel();

  EndOfRunOutputs();
  if (MainSet.screenOffsetType == Options().screenOffsetType)
    MainSet.screenOffsetType = configuredOffsetType;
  if (g_run.saveConfig) SaveAllSettings();
  ConfigPut("Main", "SaveConfig", std::to_string(g_run.saveConfig).c_str());

  ReleaseAll();
  WriteSysColors();
  ConfigFlush();
  return 0;
}

int ProgramMain(const char* commandLine) {
  // A relative path on the command line names a file where the program was started.
  std::error_code ec;
  const std::filesystem::path startDir = std::filesystem::current_path(ec);
  RunPaths& p = Paths();
  const char* ini = p.iniPath.c_str();
  std::string home = g_run.commandLine.home;
  if (home.empty()) home = IniString("HomeDir", "");
  if (home.empty()) home = DefaultHomeDir();
  CutTrailingSlash(&home);
  p.homeDir = home.substr(0, kHomeDirCapacity - 1);
  SeedHome(p.homeDir);
  if (chdir(p.homeDir.c_str()) != 0) {
    std::fprintf(stderr, "vela: cannot enter %s\n", p.homeDir.c_str());
    return 1;
  }

  IniSettings& s = Ini();
  s.forceTablet = ForceTabletValue(IniString("ForceTablet", ""));
  s.tabletOff = strcasecmp(IniString("Tablet", "").c_str(), "no") == 0;
  Tablet().forceMoved = s.forceTablet;
  Tablet().open = !s.tabletOff;
  Tablet().source = HostTabletPackets;
  s.tabletDrv = IniString("TabletDrv", "tablet.dll");
  p.monitorFile = IniString("MONITOR", "");
  p.scriptDir = IniString("EDMUNDDIR", "edmund");
  // These start the read-only keys of Main, which a configuration may still override.
  MainSettings& m = MainSet;
  m.gauge = IniInt("GAUGE", 1);
  m.border = IniInt("BORDER", 1);
  m.zorro = !IniInt("ZORRO", !m.zorro);  // stored inverted in the ini
  m.screenOffsetX = IniInt("ScreenOffsetX", 32767);
  m.screenOffsetY = IniInt("ScreenOffsetY", 32767);
  m.spare = p.sparePath = IniString("SPARE", "");
  m.project = p.projectPath = IniString("PROJECT", "");
  std::string fast = IniString("TEMP", "");
  if (!fast.empty()) p.fastSavePath = fast;
  if (p.fastSavePath.empty()) p.fastSavePath = "Quadrel.tmp";
  s.popX = IniInt("POPX", 0);
  s.popY = IniInt("POPY", 0);
  s.dibPatch = IniInt("DIBPatch", 1);
  p.configName = IniString("Last_Config", "").substr(0, kConfigNameCapacity - 1);

  if (commandLine && *commandLine) {
    std::string path = commandLine;
    if (path.front() == '"') path.erase(0, 1);
    if (!path.empty() && path.back() == '"') path.pop_back();
    if (!path.empty() && path[0] != '/' && !startDir.empty()) path = (startDir / path).string();
    p.projectPath = path.substr(0, kProjectPathCapacity - 1);
  }

  std::vector<const char*> argv{"vela"};
  for (const std::string& o : g_run.commandLine.options) argv.push_back(o.c_str());
  int status = RunProgram(static_cast<int>(argv.size()), argv.data());

  if (!WritePrivateProfileString("STARTUP", "Last_Config", p.configName.c_str(), ini))
    std::fprintf(stderr, "vela: cannot write %s\n", ini);
  return status;
}

int VelaMain(int argc, const char* const* argv, const RunHooks& hooks) {
  CommandLineFeatures features;
  features.events = true;
  features.script = hooks.runCommandFile != nullptr;
  features.serve = true;
  CommandLine cl;
  std::string error;
  if (!ParseCommandLine(argc, argv, features, &cl, &error)) {
    std::fprintf(stderr, "vela: %s\n%s", error.c_str(), UsageText(features).c_str());
    return 2;
  }
  if (cl.help) {
    std::printf("Vela, a paint and animation system.\n%s", UsageText(features).c_str());
    return 0;
  }
  if (cl.version) {
    std::printf("Vela %s\n", VELA_VERSION_STRING);
    return 0;
  }
  // The PATH keeps its form: ProgramMain takes its quotes off before it is resolved.
  for (std::string* s : {&cl.screenshot, &cl.savePage, &cl.home, &cl.ini, &cl.script, &cl.events})
    *s = Absolute(*s);
  if (!cl.events.empty()) cl.headless = true;  // an event file is headless input
  g_run.commandLine = cl;
  g_run.hooks = &hooks;
  g_run.endStatus = 0;

  Paths().iniPath = (cl.ini.empty() ? DefaultIniPath() : cl.ini).substr(0, kIniPathCapacity - 1);
  std::error_code ec;
  std::filesystem::create_directories(std::filesystem::path(Paths().iniPath).parent_path(), ec);

  int status = ProgramMain(cl.path.c_str());
  g_run.hooks = nullptr;
  return status != 0 ? status : g_run.endStatus;
}

}  // namespace vela
