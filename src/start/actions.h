// Handlers of named actions. Modules above this one bring the rows of the names they own; the
// action table (key_map.h) lists every name and binds keys to them.
#pragma once

#include <cstddef>
#include <span>

namespace vela {

struct ActionRow {
  const char* name;
  void (*handler)();
};

// Adds rows (kept by pointer: static tables only). BuildActionTable picks them up. A name in
// two tables runs the later one's handler, until RemoveActions takes that table away.
void AddActions(std::span<const ActionRow> rows);
void RemoveActions(std::span<const ActionRow> rows);
const ActionRow* FindRegisteredAction(const char* name, size_t len);
// Runs a comma separated list of action names; an unknown name prints "function %s not found\n",
// a known one without a handler says that it is not available yet.
void RunActions(const char* list);
// The key map's entry for a key event: host key number and the qualifiers of the moment.
void KeyMapEvent(int code, int character);

}  // namespace vela
