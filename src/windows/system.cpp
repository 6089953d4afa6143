// The window system's place in the run: the interface font, and the hooks through which the main
// loop asks the Windows first.
#include "windows/system.h"

#include <cstdio>
#include <string>

#include "host/font.h"
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
  Loop().afterToolStep = RestoreWindows;
  if (Input().keyMap != KeyMap) g_keyMap = Input().keyMap;
  Input().keyMap = KeyMap;
}

void ReleaseWindowSystem() {
  CloseAllWindows();
}

}  // namespace vela
