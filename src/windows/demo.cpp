// A Window that shows every kind of gadget, for a person to look at and for the tests.
#include "windows/demo.h"

#include <cstdio>
#include <cstring>

#include "pixels/primitives.h"
#include "start/message.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kDemoWidth = 392;
constexpr int kDemoHeight = 200;

char g_status[96] = "Press a gadget";
char g_count[16] = "0";
char g_name[32] = "Vela";
char g_fixed[32] = "read only";
TextField g_nameField{g_name, sizeof g_name, 0, 0};
TextField g_fixedField{g_fixed, sizeof g_fixed, 0, 0};
BlockPtr g_picture;

Window* g_demo = nullptr;
uint32_t g_demoSerial = 0;

// The picture of the image gadget: a small hue wheel drawn here.
const Block* Picture() {
  if (g_picture) return g_picture.get();
  g_picture.reset(NewBlock(22, 14));
  if (!g_picture) return nullptr;
  for (int y = 0; y < 14; ++y)
    for (int x = 0; x < 22; ++x) {
      int r = 255 * x / 21, g = 255 * y / 13, b = 255 - (r + g) / 2;
      bool edge = x == 0 || y == 0 || x == 21 || y == 13;
      PutPixel(g_picture.get(), x, y, edge ? 0xFF000000 : PenPixel(r, g, b));
    }
  return g_picture.get();
}

constexpr uint32_t kBox = kGadInert | kGadBox;

// Ids of the menu's own gadgets.
enum : int {
  kRelease = 1,
  kOnPress,
  kHighlight,
  kToggle,
  kSunk,
  kNoLook,
  kDimmed,
  kMinus,
  kPlus,
  kRed,
  kPair2,
  kPair3,
  kPair4,
  kRight,
  kName,
  kFixed,
  kSwitch,
  kImage,
  kHidden,
  kGroup,
  kRule,
  kRuleV,
  kStatus,
  kCount,
};

#define ROW(l, t, r, b, id, flags) l, t, r, b, id, flags
Gadget g_table[] = {
    {ROW(0, 0, -1, -1, kGadFrame, kBox)},
    {ROW(2, 2, 19, 19, kGadClose, 0)},
    {ROW(20, 2, -58, 19, kGadTitle, 0)},
    {ROW(kDemoWidth - 57, 2, -40, 19, kGadMinimize, 0)},
    {ROW(kDemoWidth - 39, 2, -22, 19, kGadMaximize, 0)},
    {ROW(kDemoWidth - 21, 2, -3, 19, kGadDepth, 0)},
    {ROW(8, 28, 96, 47, kRelease, 0), nullptr, nullptr, 0, nullptr,
     "Release\xA7\n\nActs when the button is\nreleased over it.", 0, 0, "Release", kLabelInside},
    {ROW(100, 28, 188, 47, kOnPress, kGadActOnPress), nullptr, nullptr, 0, nullptr,
     "On press\xA7\n\nActs at once, when the\nbutton goes down.", 0, 0, "On press", kLabelInside},
    {ROW(192, 28, 280, 47, kHighlight, kGadHighlight), nullptr, nullptr, 0, nullptr,
     "Highlight\xA7\n\nActs on press, in the\nhighlight colour.", 0, 0, "Highlight", kLabelInside},
    {ROW(284, 28, 383, 47, kToggle, kGadPair1 | kGadSelected), nullptr, nullptr, 0, nullptr,
     "Toggle\xA7\n\nClick to select or\nunselect it.", 0, 0, "Selected", kLabelInside},
    {ROW(8, 52, 96, 71, kSunk, kGadSunk), nullptr, nullptr, 0, nullptr,
     "Sunk\xA7\n\nA gadget with the sunk look.", 0, 0, "Sunk", kLabelInside},
    {ROW(100, 52, 188, 71, kNoLook, kGadNoPressLook), nullptr, nullptr, 0, nullptr,
     "No press look\xA7\n\nDoes not show the press.", 0, 0, "No look", kLabelInside},
    {ROW(192, 52, 280, 71, kDimmed, kGadDimmed), nullptr, nullptr, 0, nullptr,
     "Dimmed\xA7\n\nNot available now.", 0, 0, "Dimmed", kLabelInside},
    {ROW(284, 52, 383, 71, kRight, kGadRightButton | kGadPair4), nullptr, nullptr, 0, nullptr,
     "Both buttons\xA7\n\nAnswers the right button\nas well as the left.", 0, 0, "Right too",
     kLabelInside},
    {ROW(8, 80, 28, 99, kMinus, kGadRepeat), nullptr, nullptr, 0, nullptr,
     "Less\xA7\n\nRepeats while held.", 0, 0, "-", kLabelInside, "Less"},
    {ROW(30, 80, 70, 99, kCount, kGadInert | kGadColour), nullptr, nullptr, 0xFFFFFFFF, nullptr,
     nullptr, 0, 0, g_count, kLabelInside},
    {ROW(72, 80, 92, 99, kPlus, kGadRepeat), nullptr, nullptr, 0, nullptr,
     "More\xA7\n\nRepeats while held.", 0, 0, "+", kLabelInside, "More"},
    {ROW(104, 80, 134, 99, kRed, kGadColour), nullptr, nullptr, 0xFFD02020, nullptr,
     "Colour\xA7\n\nFilled with its own colour.", 0, 0, nullptr, 0},
    {ROW(138, 80, 168, 99, kPair2, kGadPair2), nullptr, nullptr, 0, nullptr,
     "Second pair\xA7\n\nFilled from the interface\ncolours.", 0, 0, nullptr, 0},
    {ROW(172, 80, 202, 99, kPair3, kGadPair3 | kGadSelected), nullptr, nullptr, 0, nullptr,
     "Third pair\xA7\n\nSelected: the second\ncolour of its pair.", 0, 0, nullptr, 0},
    {ROW(206, 80, 244, 99, kImage, kGadImage), nullptr, nullptr, 0, nullptr,
     "Picture\xA7\n\nFilled by a picture.", 0, 0, nullptr, 0},
    {ROW(256, 80, 383, 99, kHidden, kGadHidden), nullptr, nullptr, 0, nullptr,
     "Hidden\xA7\n\nNot drawn, yet it can\nbe hit.", 0, 0, nullptr, 0},
    {ROW(8, 104, 383, 104, kRule, kGadInert | kGadRuleH)},
    {ROW(54, 114, 250, 133, kName, kGadTextField), nullptr, &g_nameField, 0, nullptr,
     "Name\xA7\n\nClick and type; Return\nends the edit.", 0, 0, "Name", kLabelLeft},
    {ROW(262, 114, 383, 133, kFixed, kGadTextField | kGadSunk), nullptr, &g_fixedField, 0, nullptr,
     "Read only\xA7\n\nA field that cannot be\nedited.", 0, 0, nullptr, 0},
    {ROW(8, 142, 150, 161, kSwitch, kGadSwitchLabel | kGadNoPressLook), nullptr, nullptr, 0,
     nullptr, "Switch\xA7\n\nA label drawn as a switch.", 0, 0, "A switch", 0},
    {ROW(160, 140, 164, 190, kRuleV, kGadInert | kGadRuleV)},
    {ROW(172, 140, 364, 190, kGroup, kBox | kGadSunk)},
    {ROW(176, 146, 360, 184, kStatus, kGadInert), nullptr, nullptr, 0, nullptr, nullptr, 0, 0,
     g_status, kLabelInside},
    {ROW(kDemoWidth - 19, kDemoHeight - 19, -3, -3, kGadResize, 0)},
    {ROW(0, 0, 0, 0, 0, 0)},
};
#undef ROW

void Redraw(Gadget* g) {
  RedrawGadget(g, g_demo);
  BlitGadget(g_demo, g);
}

void SetStatus(const char* text) {
  std::snprintf(g_status, sizeof g_status, "%s", text);
  Redraw(FindGadget(kStatus, g_demo->gadgets));
}

void Count(int step) {
  Gadget* c = FindGadget(kCount, g_demo->gadgets);
  c->value += step;
  std::snprintf(g_count, sizeof g_count, "%d", c->value);
  Redraw(c);
}

void Handler(Window* w, Gadget* g, int code) {
  char text[96];
  if (!g) return;
  if (g->id == kGadTitle && code == kCodeDragEnd) {
    std::snprintf(text, sizeof text, "Moved to %d, %d", w->left, w->top);
    SetStatus(text);
    return;
  }
  if ((g->id == kMinus || g->id == kPlus) && code > 0) Count(g->id == kPlus ? 1 : -1);
  if ((g->id == kToggle || g->id == kSwitch) && code == kCodeLeftRelease) {
    g->flags ^= kGadSelected;
    Redraw(g);
  }
  if (g->id == kName && code == kCodeFieldDone) {
    std::snprintf(text, sizeof text, "Name: %s", g_name);
    SetStatus(text);
    return;
  }
  std::snprintf(text, sizeof text, "Gadget %d, code %d", g->id, code);
  SetStatus(text);
}

void OnMove(Window*, int*, int*) {}

void OnClose(Window* w) {
  if (w == g_demo) CloseDemoWindow();
}

}  // namespace

bool DemoWindowOpen() {
  return g_demo && WindowListed(g_demo) && g_demo->serial == g_demoSerial;
}

Window* OpenDemoWindow() {
  if (DemoWindowOpen()) {
    RaiseWindow(g_demo);
    return g_demo;
  }
  Window* w = CreateWindow(kDemoWidth, kDemoHeight, 0);
  if (!w) {
    Message(" Not enough memory");
    return nullptr;
  }
  g_demo = w;
  g_demoSerial = w->serial;
  w->title = "Gadgets";
  w->gadgets = g_table;
  w->handler = Handler;
  w->onClose = OnClose;
  w->onMove = OnMove;
  FindGadget(kImage, g_table)->image = Picture();
  DrawWindow(w);
  ShowWindow(w);
  return w;
}

void CloseDemoWindow() {
  if (!DemoWindowOpen()) return;
  DeleteWindow(g_demo);
  g_demo = nullptr;
}

}  // namespace vela
