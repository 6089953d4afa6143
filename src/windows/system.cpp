// The window system's place in the run: the interface font, the hooks through which the main
// loop asks the Windows first and hands them the keys the map leaves, and the actions on all
// Windows at once.
#include "windows/system.h"

#include <cstdio>
#include <string>
#include <vector>

#include "host/font.h"
#include "host/host.h"
#include "project/compose.h"
#include "project/page.h"
#include "start/actions.h"
#include "start/input.h"
#include "start/key_map.h"
#include "start/main_loop.h"
#include "windows/demo.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kKeyF12 = 123;

void (*g_keyMap)(int code, int character) = nullptr;

void TextFieldFirst(int code, int character) {
  if (TextFieldKey(code, character)) return;
  if (g_keyMap) g_keyMap(code, character);
}

Window* FrontWindow() {
  for (Window* w = Ws.frontWindow; w; w = w->previous)
    if (w->shown && w != BubbleWindow()) return w;
  return nullptr;
}

// A key the map does not take. Ctrl Shift F12, while no row holds it, is the developers' way to
// the gadget demo.
void KeyToFrontWindow(int code, int character) {
  if (code == kKeyF12 && In.control && In.shift && !In.alt) {
    if (DemoWindowOpen())
      CloseDemoWindow();
    else
      OpenDemoWindow();
    return;
  }
  Window* w = FrontWindow();
  if (!w || !w->onKey) return;
  const bool typed = code == kCharacterCode;
  char text[2] = {typed ? static_cast<char>(character) : '\0', '\0'};
  const uint32_t mods = (In.shift ? uint32_t{kQualShift} : 0u) |
                        (In.control ? uint32_t{kQualControl} : 0u) |
                        (In.alt ? uint32_t{kQualAlt} : 0u);
  w->onKey(text, typed ? 1 : 0, 0, w, code, static_cast<int>(mods));
}

// The Windows that HideShowWindows took off the screen, to come back in their stacking order.
struct WindowRef {
  Window* window;
  uint32_t serial;
};
std::vector<WindowRef> g_hidden;

bool WasHidden(const Window* w) {
  for (const WindowRef& h : g_hidden)
    if (h.window == w && h.serial == w->serial) return true;
  return false;
}

void HideShowWindows() {
  if (FrontWindow()) {
    for (Window* w = Ws.frontWindow; w;) {
      Window* behind = w->previous;
      if (w->shown && w != BubbleWindow()) {
        g_hidden.push_back({w, w->serial});
        HideWindow(w);
      }
      w = behind;
    }
    return;
  }
  std::vector<Window*> back;
  for (Window* w = Ws.backWindow; w; w = w->next)
    if (WasHidden(w)) back.push_back(w);
  g_hidden.clear();
  for (Window* w : back) ShowWindow(w);
}

// Each Window goes as its close button would take it; one without a close button stays.
void CloseWindows() {
  std::vector<WindowRef> all;
  for (Window* w = Ws.frontWindow; w; w = w->previous) all.push_back({w, w->serial});
  for (const WindowRef& h : all) {
    if (!WindowAlive(h.window, h.serial)) continue;
    if (h.window->onCloseOther)
      h.window->onCloseOther(h.window);
    else if (h.window->onClose)
      h.window->onClose(h.window);
  }
}

const ActionRow kActions[] = {
    {"HideShowWindows", HideShowWindows},
    {"CloseAllWindows", CloseWindows},
};

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
  AfterRedrawAll = RestoreWindows;
  // The page is clipped to the Windows, but the brush cursor, rubber bands and a full redraw
  // still write over them.
  Loop().afterToolStep = RestoreWindows;
  if (Input().keyMap != TextFieldFirst) g_keyMap = Input().keyMap;
  Input().keyMap = TextFieldFirst;
  UnboundKeyHook = KeyToFrontWindow;
  RemoveActions(kActions);
  AddActions(kActions);
}

void ReleaseWindowSystem() {
  CloseAllWindows();
  g_hidden.clear();
  RemoveActions(kActions);
  if (UnboundKeyHook == KeyToFrontWindow) UnboundKeyHook = nullptr;
  if (PageCoversHook == WindowCovers) PageCoversHook = nullptr;
  if (AfterRedrawAll == RestoreWindows) AfterRedrawAll = nullptr;
}

}  // namespace vela
