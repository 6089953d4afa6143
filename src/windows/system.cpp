// The window system's place in the run: the interface font, and the hooks through which the main
// loop asks the Windows first.
#include "windows/system.h"

#include <cstdio>
#include <string>
#include <vector>

#include "host/font.h"
#include "project/compose.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "windows/demo.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kKeyF12 = 123;

void (*g_keyMap)(int code, int character) = nullptr;

void KeyMap(int code, int character) {
  if (TextFieldKey(code, character)) return;
  if (code == kKeyF12) {
    if (DemoWindowOpen())
      CloseDemoWindow();
    else
      OpenDemoWindow();
    return;
  }
  if (g_keyMap) g_keyMap(code, character);
}

// What the page's own output must leave alone: every Window on the screen, front first.
ScreenRects WindowCovers() {
  static std::vector<ScreenRect> rects;
  rects.clear();
  for (const Window* w = Ws.frontWindow; w; w = w->previous)
    if (w->shown) rects.push_back({w->left, w->top, w->width, w->height});
  return {rects.data(), static_cast<int>(rects.size())};
}

}  // namespace

bool OpenInterfaceFont() {
  std::string error;
  // Without a font the Windows still work; their texts are missing.
  if (!HostFontOpen(&error)) std::fprintf(stderr, "vela: interface font: %s\n", error.c_str());
  return true;
}

void InstallWindowSystem() {
  Loop().findGadgetPress = WindowsTakePress;
  Loop().bubbleTimer = WindowsBubbleTimer;
  Loop().closeBubble = CloseBubbleAndRest;
  Loop().windowTick = WindowsTick;
  PageCoversHook = WindowCovers;
  // The page is clipped to the Windows, but the brush cursor, rubber bands and a full redraw
  // still write over them.
  Loop().afterToolStep = RestoreWindows;
  if (Input().keyMap != KeyMap) g_keyMap = Input().keyMap;
  Input().keyMap = KeyMap;
}

void ReleaseWindowSystem() {
  CloseAllWindows();
  if (PageCoversHook == WindowCovers) PageCoversHook = nullptr;
}

}  // namespace vela
