#include "start/actions.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "start/input.h"
#include "start/main_loop.h"

namespace vela {

namespace {

constexpr int kShift = 1, kControl = 2, kAlt = 4;

struct KeyBinding {
  int code;
  int qualifiers;
  const char* actions;
};

// The pairs of the default map whose actions exist; a later pair for a key wins.
const KeyBinding kDefaultMap[] = {
    // ctrl a is bound twice; the second name is no action, and it stands.
    {'A', kControl, "PreviousTool"},
    {'A', kControl, "PreviousTools"},
    {'A', 0, "NextTool"},
    {'C', 0, "SelectCircle"},
    {'D', 0, "SelectDraw"},
    {'E', 0, "SelectEllipse"},
    {'Q', 0, "SelectSpline"},
    {'R', 0, "SelectRectangle"},
    {'S', 0, "SelectPoint"},
    {'U', 0, "Undo"},
    {'U', kShift, "Refill"},
    {'Z', kControl, "Undo"},
    {'V', 0, "SelectLine"},
    {187, kShift, "IncreaseToolsSize"},  // + above =, and on the keypad
    {107, 0, "IncreaseToolsSize"},
    {189, 0, "DecreaseToolsSize"},  // -, and on the keypad
    {109, 0, "DecreaseToolsSize"},
    {8, 0, "ResetUndo"},               // Backspace
    {186, kShift, "ResetTool"},        // :
    {'7', kShift, "SelectAntiAlias"},  // &
};

std::vector<std::span<const ActionRow>>& Tables() {
  static std::vector<std::span<const ActionRow>> tables;
  return tables;
}

const ActionRow* FindAction(const char* name, size_t len) {
  for (auto table : Tables())
    for (const ActionRow& row : table)
      if (std::strlen(row.name) == len && strncasecmp(row.name, name, len) == 0) return &row;
  return nullptr;
}

}  // namespace

void AddActions(std::span<const ActionRow> rows) {
  Tables().push_back(rows);
}

void RunActions(const char* list) {
  for (const char* p = list; p && *p;) {
    while (*p == ' ' || *p == '\t') ++p;
    size_t len = std::strcspn(p, ",");
    size_t end = len;
    while (end > 0 && (p[end - 1] == ' ' || p[end - 1] == '\t')) --end;
    if (end > 0) {
      const ActionRow* row = FindAction(p, end);
      if (row && row->handler)
        row->handler();
      else
        std::fprintf(stderr, "function %s not found\n", std::string(p, end).c_str());
    }
    p += len;
    if (*p == ',') ++p;
  }
}

void KeyMapEvent(int code, int character) {
  if (code == kCharacterCode || (code & kKeyRelease)) return;
  // Escape ends what a tool is doing, whatever the map says.
  if (code == kKeyEscape && Loop().endTool) {
    Loop().endTool();
    return;
  }
  const int q = (In.shift ? kShift : 0) | (In.control ? kControl : 0) | (In.alt ? kAlt : 0);
  const char* actions = nullptr;
  for (const KeyBinding& b : kDefaultMap)
    if (b.code == code && b.qualifiers == q) actions = b.actions;
  if (actions) RunActions(actions);
}

}  // namespace vela
