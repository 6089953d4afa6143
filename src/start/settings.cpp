#include "start/settings.h"

#include <strings.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/profile.h"
#include "start/config_store.h"
#include "start/run_paths.h"

namespace vela {

MainSettings MainSet;
SystemSettings SystemSet;

namespace {

constexpr int kValueCapacity = 4095;
constexpr int kPathCapacity = 199;  // Spare and Project

std::string Get(const char* section, const char* key, const char* def,
                int capacity = kValueCapacity) {
  return ConfigString(section, key, def, capacity);
}

int GetInt(const char* section, const char* key, int def) {
  return ConfigGetInt(section, key, def);
}
void PutInt(const char* section, const char* key, int value) {
  ConfigPutInt(section, key, value);
}

bool StartsWith(const std::string& value, const char* word, bool anyCase) {
  size_t n = std::strlen(word);
  return anyCase ? strncasecmp(value.c_str(), word, n) == 0
                 : std::strncmp(value.c_str(), word, n) == 0;
}

std::string IniString(const char* key) {
  char buf[kValueCapacity + 1];
  GetPrivateProfileString("Startup", key, "", buf, sizeof buf, Paths().iniPath.c_str());
  return buf;
}

std::string DefaultTemp() {
  std::string ini = IniString("temp");
  if (!ini.empty()) return ini;
  for (const char* name : {"tmp", "temp", "TMPDIR"})
    if (const char* v = std::getenv(name); v && *v) return v;
  return "/tmp/";
}

int Clamp(int v, int lo, int hi) {
  return v < lo ? lo : v > hi ? hi : v;
}

}  // namespace

std::string ConfigString(const char* section, const char* key, const char* def, int capacity) {
  char buf[kValueCapacity + 1];
  int n = ConfigGet(section, key, buf, def, std::min(capacity, kValueCapacity));
  buf[n] = 0;
  return buf;
}

int ConfigGetInt(const char* section, const char* key, int def) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", def);
  return ParseInt(ConfigString(section, key, text).c_str());
}

void ConfigPutInt(const char* section, const char* key, int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%d", value);
  ConfigPut(section, key, text);
}

int ParseInt(const char* text) {
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(text, &end, 10);
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}

double ParseDecimal(const char* text) {
  const char* p = text;
  while (*p == ' ' || *p == '\t') ++p;
  std::string num;
  if (*p == '+' || *p == '-') num += *p++;
  size_t digits = 0;
  for (; *p >= '0' && *p <= '9'; ++p, ++digits) num += *p;
  if (*p == '.') {
    num += *p++;
    for (; *p >= '0' && *p <= '9'; ++p, ++digits) num += *p;
  }
  if (digits == 0) return 0.0;
  if ((*p == 'e' || *p == 'E')) {
    const char* q = p + 1;
    if (*q == '+' || *q == '-') ++q;
    if (*q >= '0' && *q <= '9') {
      num.append(p, q);
      for (; *q >= '0' && *q <= '9'; ++q) num += *q;
    }
  }
  double v = std::strtod(num.c_str(), nullptr);
  return std::isfinite(v) ? v : 0.0;
}

Pixel ParseRgb(const char* text, Pixel def) {
  int c[3] = {static_cast<int>((def >> 16) & 255), static_cast<int>((def >> 8) & 255),
              static_cast<int>(def & 255)};
  const char* p = text;
  for (int& component : c) {
    char* end = nullptr;
    long v = std::strtol(p, &end, 10);
    if (end == p) break;
    component = v < 0 ? 0 : v > 255 ? 255 : static_cast<int>(v);
    p = end;
  }
  return 0xFF000000u | static_cast<Pixel>(c[0]) << 16 | static_cast<Pixel>(c[1]) << 8 |
         static_cast<Pixel>(c[2]);
}

std::string FormatRgb(Pixel p) {
  char text[32];
  std::snprintf(text, sizeof text, "%d %d %d", static_cast<int>((p >> 16) & 255),
                static_cast<int>((p >> 8) & 255), static_cast<int>(p & 255));
  return text;
}

void ScreenSize(int* width, int* height) {
  *width = Ws.screen ? Ws.screen->width : 1280;
  *height = Ws.screen ? Ws.screen->height : 800;
}

int ClampWindowCoord(int pos, int size, int screenSize) {
  if (pos < 0) pos = 0;
  if (static_cast<long long>(pos) + size > screenSize) pos = screenSize - size;
  return pos;
}

bool ConfigGetDisplay(const char* section, bool def) {
  return Get(section, "Display", def ? "ON" : "OFF") == "ON";
}

void ConfigPutDisplay(const char* section, bool open) {
  ConfigPut(section, "Display", open ? "ON" : "OFF");
}

void ConfigGetWindowPos(const char* section, int defX, int defY, int width, int height, int* x,
                        int* y) {
  int sw, sh;
  ScreenSize(&sw, &sh);
  *x = ClampWindowCoord(GetInt(section, "WIN_X", defX), width, sw);
  *y = ClampWindowCoord(GetInt(section, "WIN_Y", defY), height, sh);
}

void ConfigPutWindowPos(const char* section, int x, int y) {
  PutInt(section, "WIN_X", x);
  PutInt(section, "WIN_Y", y);
}

void LoadMainSettings() {
  MainSettings& m = MainSet;
  m.sysBar = !StartsWith(Get("Main", "SysBar", "yes"), "no", true);
  m.fullScreen = StartsWith(Get("Main", "FullScreen", "0"), "on", true);
  m.saveConfig = GetInt("Main", "SaveConfig", 1);
  m.temp = Get("Main", "temp", DefaultTemp().c_str());
  std::string zoomDefault = IniString("ZoomAutoCenter");
  m.zoomAutoCenter = ParseInt(
      Get("Main", "ZoomAutoCenter", zoomDefault.empty() ? "0" : zoomDefault.c_str()).c_str());
  m.mouse = Clamp(GetInt("Main", "Mouse", 0), 0, 3);

  std::string mode = Get("Main", "DisplayMode", "Test");
  m.displayMode = strcasecmp(mode.c_str(), "Best") == 0   ? DisplayMode::Best
                  : strcasecmp(mode.c_str(), "Test") == 0 ? DisplayMode::Test
                                                          : DisplayMode::Fast;
  m.screenOffsetX = GetInt("Main", "ScreenOffsetX", m.screenOffsetX);
  m.screenOffsetY = GetInt("Main", "ScreenOffsetY", m.screenOffsetY);
  m.screenOffsetType = GetInt("Main", "ScreenOffsetType", 1);
  m.frameRate = ParseDecimal(Get("Main", "FrameRate", "30.000000").c_str());
  m.edmund = Get("Main", "Edmund", m.edmund.c_str());
  m.gauge = GetInt("Main", "Gauge", m.gauge);
  m.border = GetInt("Main", "Border", m.border);
  m.zorro = GetInt("Main", "Zorro", m.zorro);
  m.spare = Get("Main", "Spare", m.spare.substr(0, kPathCapacity).c_str(), kPathCapacity);
  m.project = Get("Main", "Project", m.project.substr(0, kPathCapacity).c_str(), kPathCapacity);

  int sw, sh;
  ScreenSize(&sw, &sh);
  ConfigGetWindowPos("Main", (sw - kToolbarWidth) / 2, (sh - kToolbarHeight) / 2, kToolbarWidth,
                     kToolbarHeight, &m.winX, &m.winY);

  m.aPen = ParseRgb(Get("Main", "APen", "255 0 0").c_str(), 0xFF000000);
  m.bPen = ParseRgb(Get("Main", "BPen", "0 0 0").c_str(), 0xFF000000);
  m.displayBrushDraw = StartsWith(Get("Main", "DisplayBrushDraw", "off"), "on", false);
  m.magnet = StartsWith(Get("Main", "Magnet", "on"), "on", true);
  m.previewQuality = std::max(GetInt("Main", "PreviewQuality", 1536), 100);
  m.pageWidth = GetInt("Main", "PageWidth", 640);
  m.pageHeight = GetInt("Main", "PageHeight", 480);
}

void SaveMainSettings() {
  MainSettings& m = MainSet;
  if (Ws.screen) m.fullScreen = Ws.screen->fullScreen != 0;
  ConfigPut("Main", "SysBar", m.sysBar ? "yes" : "no");
  ConfigPut("Main", "FullScreen", m.fullScreen ? "on" : "off");
  PutInt("Main", "SaveConfig", m.saveConfig);
  if (m.tempChanged) ConfigPut("Main", "temp", m.temp.c_str());
  PutInt("Main", "Mouse", m.mouse);
  bool best = Ws.screen ? Ws.screen->dither != 0 : m.displayMode == DisplayMode::Best;
  ConfigPut("Main", "DisplayMode", best ? "Best" : "Fast");
  PutInt("Main", "ScreenOffsetType", m.screenOffsetType);
  char rate[512];
  std::snprintf(rate, sizeof rate, "%f", m.frameRate);
  ConfigPut("Main", "FrameRate", rate);
  ConfigPutWindowPos("Main", m.winX, m.winY);
  ConfigPut("Main", "APen", FormatRgb(m.aPen).c_str());
  ConfigPut("Main", "BPen", FormatRgb(m.bPen).c_str());
  ConfigPut("Main", "DisplayBrushDraw", m.displayBrushDraw ? "on" : "off");
  ConfigPut("Main", "Magnet", m.magnet ? "On" : "Off");
  PutInt("Main", "PreviewQuality", m.previewQuality);
  if (strcasecmp(Get("Main", "LockPageSize", "Off").c_str(), "On") != 0) {
    PutInt("Main", "PageWidth", m.pageWidth);
    PutInt("Main", "PageHeight", m.pageHeight);
  }
}

void LoadSystemSettings() {
  SystemSettings& s = SystemSet;
  s.customBrush = GetInt("System", "CustomBrush", 200000);
  s.bulle = Clamp(GetInt("System", "Bulle", 2), 0, 2);
  std::string mode = Get("System", "BrushMode", "");
  s.brushMode = strncasecmp(mode.c_str(), "Never", 5) == 0    ? kBrushModeNever
                : strncasecmp(mode.c_str(), "Always", 5) == 0 ? kBrushModeAlways
                                                              : kBrushModeCustom;
  s.systemBrowser = strcasecmp(Get("System", "Browser", "").c_str(), "System") == 0;
}

void SaveSystemSettings() {
  const SystemSettings& s = SystemSet;
  PutInt("System", "CustomBrush", s.customBrush);
  PutInt("System", "Bulle", s.bulle);
  ConfigPut("System", "BrushMode",
            s.brushMode == kBrushModeNever    ? "Never"
            : s.brushMode == kBrushModeAlways ? "Always"
                                              : "Custom");
  ConfigPut("System", "Browser", s.systemBrowser ? "System" : "Custom");
}

}  // namespace vela
