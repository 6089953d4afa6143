// The help bubble: a small Window with a gadget's help text near the pointer.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "host/font.h"
#include "host/host.h"
#include "pixels/primitives.h"
#include "start/settings.h"
#include "windows/window.h"

namespace vela {

namespace {

Window* g_bubble = nullptr;
uint32_t g_bubbleSerial = 0;
const Gadget* g_bubbleGadget = nullptr;

constexpr char kSection = '\xA7';  // the mark between a help's name and its body, CP1252

const char* FrameHelp(int id) {
  switch (id) {
    case kGadMaximize:
    case kGadMinimize:
      return "Maximize/minimize button\xA7\n\nClick to enlarge the menu\nto its maximum size or "
             "to\n"
             "reduce it to its minimum\nsize.";
    case kGadResize:
      return "Resize button\xA7\n\nClick and drag to change\nmenu size.";
    case kGadClose:
      return "Close button\xA7\n\nClick to close the menu.";
    case kGadTitle:
      return "Title bar\xA7\n\nContains the menu title.\n\nClick and drag on this bar\nto move the "
             "menu.";
    case kGadDepth:
      return "Depth button\xA7\n\nClick to bring the menu\nin front of or behind the\nother opened "
             "menus.";
    default:
      return nullptr;
  }
}

}  // namespace

int BubbleText(const Gadget* g, int mode, char* out, int capacity) {
  if (capacity <= 0) return 0;
  out[0] = 0;
  if (!g || mode <= 0) return 0;
  constexpr uint32_t kNone = kGadInert | kGadHidden | kGadNoBubble;
  if ((g->flags & kNone) == kNone) return 0;
  const char* help = g->help ? g->help : FrameHelp(g->id);
  if (!help) return 0;
  std::string text = help;
  size_t mark = text.find(kSection);
  if (mode == 1) {
    if (mark != std::string::npos) text.erase(mark);
  } else {
    if (mark != std::string::npos) text.erase(mark, 1);
    const char* action = g->keyAction ? g->keyAction : g->action;
    const char* key = action && ActionKeyName ? ActionKeyName(action) : nullptr;
    if (key && *key) text += std::string("\n\nKeyboard shortcut: ") + key;
  }
  std::snprintf(out, capacity, "%s", text.c_str());
  return static_cast<int>(std::strlen(out));
}

Window* BubbleWindow() {
  return WindowAlive(g_bubble, g_bubbleSerial) ? g_bubble : nullptr;
}
const Gadget* BubbleGadget() {
  return BubbleWindow() ? g_bubbleGadget : nullptr;
}

void CloseBubble() {
  Window* b = g_bubble;
  g_bubble = nullptr;
  g_bubbleGadget = nullptr;
  if (WindowAlive(b, g_bubbleSerial)) DeleteWindow(b);
}

void OpenBubble(Window* window, Gadget* gadget, int px, int py) {
  CloseBubble();
  char text[2048];
  if (!BubbleText(gadget, SystemSet.bulle, text, sizeof text)) return;
  std::vector<std::string> lines;
  for (const char* p = text;;) {
    const char* e = std::strchr(p, '\n');
    lines.emplace_back(p, e ? e - p : std::strlen(p));
    if (!e) break;
    p = e + 1;
  }
  int widest = 0;
  for (const std::string& l : lines) widest = std::max(widest, TextWidth(l.c_str()));
  int w = widest + 10, h = kFontLineHeight * static_cast<int>(lines.size()) + 8;
  Window* b = CreateWindow(w, h, kWinKeepTextField | kWinToFront);
  if (!b) return;
  Block* pic = b->picture;
  FillBlock(pic, 0xFFFFFFDC);
  FillRect(pic, 0, 0, w - 1, 0, 0xFFFFFFFF);
  FillRect(pic, 0, 0, 0, h - 1, 0xFFFFFFFF);
  FillRect(pic, 0, h - 1, w - 1, h - 1, 0xFF000000);
  FillRect(pic, w - 1, 0, w - 1, h - 1, 0xFF000000);
  for (size_t i = 0; i < lines.size(); ++i)
    DrawText(pic, 5, 6 + kFontLineHeight * static_cast<int>(i), lines[i].c_str(), 0xFF000000, 1, 1,
             w - 1, h - 1);
  HostScreen s = HostFramebuffer();
  int left = std::max(0, std::min(px, s.width - w));
  int top = py + 16;
  if (top + h > s.height) top = py - h - 10;
  MoveWindow(b, left, top);
  g_bubble = b;
  g_bubbleSerial = b->serial;
  g_bubbleGadget = gadget;
  (void)window;
  ShowWindow(b);
}

}  // namespace vela
