#include "start/actions.h"

#include <strings.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "start/input.h"

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
    {'U', 0, "Undo"},
    {'U', kShift, "Refill"},
    {'Z', kControl, "Undo"},
    {8, 0, "ResetUndo"},  // Backspace
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
  const int q = (In.shift ? kShift : 0) | (In.control ? kControl : 0) | (In.alt ? kAlt : 0);
  const char* actions = nullptr;
  for (const KeyBinding& b : kDefaultMap)
    if (b.code == code && b.qualifiers == q) actions = b.actions;
  if (actions) RunActions(actions);
}

}  // namespace vela
