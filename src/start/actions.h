// Named actions and the keys bound to them. Modules above this one bring their handlers; the
// default map binds keys to names, so a key reaches only what exists.
#pragma once

#include <span>

namespace vela {

struct ActionRow {
  const char* name;
  void (*handler)();
};

// Adds rows (kept by pointer: static tables only).
void AddActions(std::span<const ActionRow> rows);
// Runs a comma separated list of action names; unknown names print "function %s not found\n".
void RunActions(const char* list);
// The key map's entry for a key event: host key number and the qualifiers of the moment.
void KeyMapEvent(int code, int character);

}  // namespace vela
