// The one global record of the run.
#pragma once

#include <cstdint>

namespace vela {

struct Block;
struct Window;
struct Gadget;
struct Brush;

using Pixel = uint32_t;

// The host window as the rest of the system sees it.
struct ScreenRecord {
  int32_t width;
  int32_t height;
  int32_t displayWidth;
  int32_t displayHeight;
  int32_t reserved;
  int32_t depth;
  int32_t iconic;
  int32_t dither;
  int32_t fullScreen;  // 0 windowed, 1 from a normal window, 2 from a maximised one
};

// Interface colours, in the order of their keys in section SysColors.
enum SysColor : int {
  INFOAREACOLOR,
  INFOAREATEXTCOLOR,
  BACKGROUNDCOLOR,
  DRAGBUTTONCOLOR,
  DRAGBUTTONSELECTCOLOR,
  STATBUTTONCOLOR,
  STATBUTTONSELECTCOLOR,
  ACTIONBUTTONCOLOR,
  ACTIONBUTTONSELECTCOLOR,
  DIALOGBUTTONCOLOR,
  DIALOGBUTTONSELECTCOLOR,
  TITLEBARCOLOR,
  SYSBUTTONCOLOR,
  COLORPENTEXTBOXCOLOR,
  kSysColorCount
};
extern const char* const kSysColorKeys[kSysColorCount];
extern const Pixel kDefaultSysColors[kSysColorCount];

struct Workspace {
  ScreenRecord* screen;
  Block* page;
  void* cursorState;
  void* lineState;
  Brush* brush;
  Window* frontWindow;
  Window* backWindow;
  Window* hotWindow;
  Gadget* activeGadget;
  Window* activeGadgetWindow;
  Block* undo;
  Block* spare;
  Block* frontMerge;
  Block* pageStore;
  Block* backMerge;
  Pixel background;
  Pixel secondBackground;
  uint8_t* mask;
  uint8_t* strokeBuffer;
  int32_t pageWidth;
  int32_t pageHeight;
  int32_t zoom;
  uint32_t displayFlags;
  int32_t drawMode;
  int32_t pageX;
  int32_t pageY;
  int32_t noPage;
  Window* modalWindow;
  int32_t busy;
  int32_t displayLocked;
  int32_t waitNesting;
  int32_t undoMode;
  int32_t opacity;
  double frameRate;
  int32_t processors;
  int64_t blockBytes;
  Pixel sysColors[kSysColorCount];
  Pixel sysWhite;  // the further interface word, 0xFFFFFFFF
};

extern Workspace Ws;

}  // namespace vela
