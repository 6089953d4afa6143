#include "start/actions.h"

#include <strings.h>

#include <cstring>
#include <vector>

#include "start/key_map.h"

namespace vela {

namespace {
std::vector<std::span<const ActionRow>>& Tables() {
  static std::vector<std::span<const ActionRow>> tables;
  return tables;
}
}  // namespace

void AddActions(std::span<const ActionRow> rows) {
  Tables().insert(Tables().begin(), rows);
}

void RemoveActions(std::span<const ActionRow> rows) {
  std::erase_if(Tables(), [&](std::span<const ActionRow> t) { return t.data() == rows.data(); });
}

const ActionRow* FindRegisteredAction(const char* name, size_t len) {
  for (auto table : Tables())
    for (const ActionRow& row : table)
      if (std::strlen(row.name) == len && strncasecmp(row.name, name, len) == 0) return &row;
  return nullptr;
}

void KeyMapEvent(int code, int character) {
  KeyPressed(code, character);
}

}  // namespace vela
