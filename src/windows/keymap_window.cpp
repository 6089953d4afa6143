// The two lists are painted here over two plain boxes; a press in a box picks the row under the
// pointer. The buttons are ordinary gadgets.
#include "windows/keymap_window.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "pixels/primitives.h"
#include "start/ask.h"
#include "start/input.h"
#include "start/key_map.h"
#include "start/message.h"
#include "windows/window.h"

namespace vela {

namespace {

constexpr int kWidth = 600, kHeight = 44 + 21 * 14 + 40;
constexpr int kRowH = 14, kRows = 21;
constexpr int kListTop = 44, kListBottom = kListTop + kRows * kRowH;
constexpr int kKeysX0 = 8, kKeysX1 = 300, kActsX0 = 322, kActsX1 = 572;
constexpr Pixel kInk = 0xFF000000, kPaper = 0xFFFFFFFF, kPick = 0xFFB8CCF0, kGrey = 0xFF707070;

enum : int {
  kKeys = 1,
  kActs,
  kKeysUp,
  kKeysDown,
  kActsUp,
  kActsDown,
  kAssign = 10,
  kUnassign,
  kClear,
  kDefault,
  kLoad,
  kSave,
  kOk,
  kCancel,
};

struct State {
  Window* window = nullptr;
  uint32_t serial = 0;
  KeyMap copy;
  int key = 0, action = 0;            // selected rows
  int firstKey = 0, firstAction = 0;  // top rows in view
};
State g;

constexpr uint32_t kBox = kGadInert | kGadBox;
#define ROW(l, t, r, b, id, flags) l, t, r, b, id, flags
constexpr int kButtonsTop = kListBottom + 10;
Gadget g_table[] = {
    {ROW(0, 0, -1, -1, kGadFrame, kBox)},
    {ROW(2, 2, 19, 19, kGadClose, 0)},
    {ROW(20, 2, -22, 19, kGadTitle, 0)},
    {ROW(kWidth - 21, 2, -3, 19, kGadDepth, 0)},
    {ROW(kKeysX0, kListTop, kKeysX1, kListBottom, kKeys, kGadNoPressLook | kGadSunk), nullptr,
     nullptr, 0, nullptr, "Keys\xA7\n\nEach key and the actions it\nruns. Click to choose one."},
    {ROW(kKeysX1 + 2, kListTop, kKeysX1 + 18, kListTop + 40, kKeysUp, kGadRepeat), nullptr, nullptr,
     0, nullptr, "Scroll up", 0, 0, "^", kLabelInside},
    {ROW(kKeysX1 + 2, kListBottom - 40, kKeysX1 + 18, kListBottom, kKeysDown, kGadRepeat), nullptr,
     nullptr, 0, nullptr, "Scroll down", 0, 0, "v", kLabelInside},
    {ROW(kActsX0, kListTop, kActsX1, kListBottom, kActs, kGadNoPressLook | kGadSunk), nullptr,
     nullptr, 0, nullptr, "Actions\xA7\n\nEvery function of Vela.\nClick to choose one."},
    {ROW(kActsX1 + 2, kListTop, kActsX1 + 18, kListTop + 40, kActsUp, kGadRepeat), nullptr, nullptr,
     0, nullptr, "Scroll up", 0, 0, "^", kLabelInside},
    {ROW(kActsX1 + 2, kListBottom - 40, kActsX1 + 18, kListBottom, kActsDown, kGadRepeat), nullptr,
     nullptr, 0, nullptr, "Scroll down", 0, 0, "v", kLabelInside},
    {ROW(8, kButtonsTop, 78, kButtonsTop + 19, kAssign, 0), nullptr, nullptr, 0, nullptr,
     "Assign\xA7\n\nAdds the chosen action to\nthe chosen key.", 0, 0, "Assign", kLabelInside},
    {ROW(82, kButtonsTop, 160, kButtonsTop + 19, kUnassign, 0), nullptr, nullptr, 0, nullptr,
     "Unassign\xA7\n\nTakes the chosen action off\nthe chosen key.", 0, 0, "Unassign",
     kLabelInside},
    {ROW(164, kButtonsTop, 238, kButtonsTop + 19, kClear, 0), nullptr, nullptr, 0, nullptr,
     "Clear Map\xA7\n\nEvery key runs nothing.", 0, 0, "Clear Map", kLabelInside},
    {ROW(242, kButtonsTop, 308, kButtonsTop + 19, kDefault, 0), nullptr, nullptr, 0, nullptr,
     "Default\xA7\n\nThe keys as Vela comes.", 0, 0, "Default", kLabelInside},
    {ROW(312, kButtonsTop, 366, kButtonsTop + 19, kLoad, 0), nullptr, nullptr, 0, nullptr,
     "Load\xA7\n\nReads a .cfg key map file.", 0, 0, "Load", kLabelInside},
    {ROW(370, kButtonsTop, 424, kButtonsTop + 19, kSave, 0), nullptr, nullptr, 0, nullptr,
     "Save\xA7\n\nWrites the map to a .cfg file.", 0, 0, "Save", kLabelInside},
    {ROW(460, kButtonsTop, 520, kButtonsTop + 19, kOk, 0), nullptr, nullptr, 0, nullptr,
     "OK\xA7\n\nThe keys work as shown.", 0, 0, " OK ", kLabelInside},
    {ROW(524, kButtonsTop, 592, kButtonsTop + 19, kCancel, 0), nullptr, nullptr, 0, nullptr,
     "Cancel\xA7\n\nThe keys stay as they were.", 0, 0, "Cancel", kLabelInside},
    {ROW(0, 0, 0, 0, 0, 0)},
};
#undef ROW

int KeyCount() {
  return static_cast<int>(KeyRows().size());
}
int ActionCount() {
  return static_cast<int>(ActionTable().size());
}

void PaintList(bool keys) {
  Block* b = g.window->picture;
  const int x0 = keys ? kKeysX0 : kActsX0, x1 = keys ? kKeysX1 : kActsX1;
  FillRect(b, x0 + 1, kListTop + 1, x1 - 1, kListBottom - 1, kPaper);
  const int first = keys ? g.firstKey : g.firstAction;
  const int count = keys ? KeyCount() : ActionCount();
  for (int r = 0; r < kRows && first + r < count; ++r) {
    const int i = first + r, y = kListTop + 1 + r * kRowH;
    if (i == (keys ? g.key : g.action)) FillRect(b, x0 + 1, y, x1 - 1, y + kRowH - 1, kPick);
    if (keys) {
      DrawText(b, x0 + 4, y, KeyRows()[i], kInk, x0 + 1, y, x0 + 110, y + kRowH);
      const std::string& list = g.copy.lists[i];
      DrawText(b, x0 + 112, y, list.empty() ? "none" : list.c_str(), list.empty() ? kGrey : kInk,
               x0 + 112, y, x1 - 1, y + kRowH);
    } else {
      const ActionInfo& a = ActionTable()[i];
      DrawText(b, x0 + 4, y, a.label.c_str(), ActionAvailable(a) ? kInk : kGrey, x0 + 1, y, x1 - 1,
               y + kRowH);
    }
  }
  Gadget* gad = FindGadget(keys ? kKeys : kActs, g.window->gadgets);
  BlitGadget(g.window, gad);
}

void PaintLists() {
  PaintList(true);
  PaintList(false);
}

void Scroll(bool keys, int delta) {
  int& first = keys ? g.firstKey : g.firstAction;
  const int count = keys ? KeyCount() : ActionCount();
  first = std::clamp(first + delta, 0, std::max(0, count - kRows));
  PaintList(keys);
}

void Pick(bool keys) {
  const int row = (In.winY - g.window->top - kListTop - 1) / kRowH;
  const int first = keys ? g.firstKey : g.firstAction;
  const int count = keys ? KeyCount() : ActionCount();
  if (row < 0 || row >= kRows || first + row >= count) return;
  (keys ? g.key : g.action) = first + row;
  PaintList(keys);
}

// The list of a key without one name; false when it was not there.
bool RemoveName(std::string* list, const std::string& name) {
  std::string out;
  bool found = false;
  size_t start = 0;
  while (start <= list->size()) {
    size_t comma = list->find(',', start);
    if (comma == std::string::npos) comma = list->size();
    std::string item = list->substr(start, comma - start);
    while (!item.empty() && item.front() == ' ') item.erase(item.begin());
    while (!item.empty() && item.back() == ' ') item.pop_back();
    if (!item.empty()) {
      if (!found && item == name)
        found = true;
      else
        out += (out.empty() ? "" : ",") + item;
    }
    start = comma + 1;
  }
  *list = out;
  return found;
}

// Save names the file .cfg unless it says so already, in any case; Load takes the name as typed.
std::string AskFile(const char* title, bool addCfg) {
  char path[1024] = "";
  if (!AskText(title, path, sizeof path) || !path[0]) return {};
  std::string p = path;
  // A folder's name stays one, and its save says it cannot be a file.
  const bool folder = p.back() == '/' || p.back() == '\\';
  if (addCfg && !folder && (p.size() < 4 || strcasecmp(p.c_str() + p.size() - 4, ".cfg") != 0))
    p += ".cfg";
  return p;
}

void Report(const std::string& path, const char* error) {
  if (error) Message((path + "\n" + error).c_str());
}

void Handler(Window*, Gadget* gad, int code) {
  if (!gad) return;
  const bool press = code > 0;
  switch (gad->id) {
    case kKeys:
    case kActs:
      if (code == kCodeLeftPress || code == kCodeLeftRelease) Pick(gad->id == kKeys);
      return;
    case kKeysUp:
    case kKeysDown:
    case kActsUp:
    case kActsDown:
      if (press) Scroll(gad->id <= kKeysDown, gad->id == kKeysUp || gad->id == kActsUp ? -1 : 1);
      return;
    default:
      break;
  }
  if (code != kCodeLeftRelease) return;
  std::string& list = g.copy.lists[g.key];
  const std::string& name = ActionTable()[g.action].name;
  switch (gad->id) {
    case kAssign:
      list += (list.empty() ? "" : ",") + name;
      break;
    case kUnassign:
      RemoveName(&list, name);
      break;
    case kClear:
      ClearMap(&g.copy);
      break;
    case kDefault:
      ClearMap(&g.copy);
      ApplyDefaultMap(&g.copy);
      break;
    case kLoad: {
      const std::string path = AskFile("Load Keyboard mapping", false);
      if (!path.empty()) Report(path, LoadKeyMapFile(path.c_str(), &g.copy));
      break;
    }
    case kSave: {
      const std::string path = AskFile("Save Keyboard mapping", true);
      if (!path.empty()) Report(path, SaveKeyMapFile(path.c_str(), g.copy));
      break;
    }
    case kOk:
      CurrentKeyMap() = g.copy;
      CloseKeymapWindow();
      return;
    case kCancel:
      CloseKeymapWindow();
      return;
    default:
      return;
  }
  PaintList(true);
}

void OnClose(Window* w) {
  if (w == g.window) CloseKeymapWindow();
}

const ActionRow kRows_[] = {{"ConfigureKeyboard", [] { OpenKeymapWindow(); }}};

}  // namespace

bool KeymapWindowOpen() {
  return g.window && WindowAlive(g.window, g.serial);
}

Window* OpenKeymapWindow() {
  if (KeymapWindowOpen()) {
    RaiseWindow(g.window);
    return g.window;
  }
  Window* w = CreateWindow(kWidth, kHeight, 0);
  if (!w) {
    Message(" Not enough memory");
    return nullptr;
  }
  g.window = w;
  g.serial = w->serial;
  g.copy = CurrentKeyMap();
  if (g.copy.lists.size() != KeyRows().size()) g.copy.lists.resize(KeyRows().size());
  g.key = g.action = g.firstKey = g.firstAction = 0;
  w->title = "Edit Keyboard Mapping";
  w->gadgets = g_table;
  w->handler = Handler;
  w->onClose = OnClose;
  DrawWindow(w);
  Block* b = w->picture;
  DrawText(b, kKeysX0 + 4, 26, "Key", kInk, 0, 0, kWidth, kHeight);
  DrawText(b, kKeysX0 + 112, 26, "Actions", kInk, 0, 0, kWidth, kHeight);
  DrawText(b, kActsX0 + 4, 26, "Function", kInk, 0, 0, kWidth, kHeight);
  PaintLists();
  ShowWindow(w);
  return w;
}

void CloseKeymapWindow() {
  if (KeymapWindowOpen()) DeleteWindow(g.window);
  g.window = nullptr;
}

void KeymapSelect(int keyRow, int actionRow) {
  if (!KeymapWindowOpen()) return;
  g.key = std::clamp(keyRow, 0, KeyCount() - 1);
  g.action = std::clamp(actionRow, 0, ActionCount() - 1);
  PaintLists();
}

std::span<const ActionRow> KeymapActions() {
  return kRows_;
}

}  // namespace vela
