// Settings of sections Main and System, and the keys every floating window keeps in its own
// section (Display, WIN_X, WIN_Y).
#pragma once

#include <string>

#include "start/workspace.h"

namespace vela {

// The window opens at start-up when Display holds "ON".
bool ConfigGetDisplay(const char* section, bool def);
void ConfigPutDisplay(const char* section, bool open);
// WIN_X and WIN_Y with the module's built-in position as default, kept on the screen for a
// window of that size.
void ConfigGetWindowPos(const char* section, int defX, int defY, int width, int height, int* x,
                        int* y);
void ConfigPutWindowPos(const char* section, int x, int y);
// Negative becomes 0; a window reaching past the screen edge is moved back to touch it.
int ClampWindowCoord(int pos, int size, int screenSize);
// Ws.screen's size, or 1280 by 800 before there is a screen.
void ScreenSize(int* width, int* height);

enum class DisplayMode { Test, Best, Fast };
enum BrushModeValue { kBrushModeAlways = 0, kBrushModeCustom = 1, kBrushModeNever = 2 };

constexpr int kToolbarWidth = 128;
constexpr int kToolbarHeight = 385;

// Fields marked "from the ini" start from what the start-up code read from the machine-wide ini
// file; the key in Main, when present, overrides them.
struct MainSettings {
  bool sysBar = true;
  bool fullScreen = false;  // written from Ws.screen when there is one
  int saveConfig = 1;
  std::string temp;          // the temp directory, or the cache size in bytes
  bool tempChanged = false;  // temp is written only after the user changed it
  int zoomAutoCenter = 0;    // never written
  int mouse = 0;             // 0..3
  DisplayMode displayMode = DisplayMode::Test;
  int screenOffsetX = 32767;  // from the ini
  int screenOffsetY = 32767;  // from the ini
  int screenOffsetType = 1;
  double frameRate = 30.0;
  std::string edmund = "command.vec";  // script command list; from the options
  int gauge = 1;                       // from the ini
  int border = 1;                      // from the ini
  int zorro = 0;                       // from the ini (stored there inverted)
  std::string spare;                   // from the ini
  std::string project;                 // from the ini
  int winX = 0;
  int winY = 0;
  Pixel aPen = 0xFFFF0000;
  Pixel bPen = 0xFF000000;
  bool displayBrushDraw = false;
  bool magnet = true;
  int previewQuality = 1536;  // kilobytes, at least 100
  int pageWidth = 640;
  int pageHeight = 480;
};

struct SystemSettings {
  int customBrush = 200000;
  int bulle = 2;  // 0..2
  int brushMode = kBrushModeCustom;
  bool systemBrowser = false;
};

extern MainSettings MainSet;
extern SystemSettings SystemSet;

void LoadMainSettings();
void SaveMainSettings();
void LoadSystemSettings();
void SaveSystemSettings();

// A value of the open configuration as a string, cut to capacity characters.
std::string ConfigString(const char* section, const char* key, const char* def,
                         int capacity = 4095);
int ConfigGetInt(const char* section, const char* key, int def);
void ConfigPutInt(const char* section, const char* key, int value);

// Reads a config value the way every load function converts it. ParseDecimal takes decimal
// numbers only ("0x10" is 0, as are "inf" and "nan").
int ParseInt(const char* text);
double ParseDecimal(const char* text);
// "%d %d %d" red, green, blue, each limited to 0..255; unread components keep those of def.
Pixel ParseRgb(const char* text, Pixel def);
std::string FormatRgb(Pixel p);

}  // namespace vela
