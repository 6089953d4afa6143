// The action table and the keyboard map. Every single-key function is a named action; modules
// bring the handlers of the names they own (AddActions), a name without one reports that the
// function is not there yet. Keys are bound by name to comma separated lists of action names.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace vela {

struct ActionInfo {
  std::string name;
  std::string label;  // for the editor: "Family: what it does"
  int id;             // 0x10000 + number for a filter
};

// The fixed names, then one row per filter, sorted by name. Applies the default map and the
// Keyboard section to the current map. Built on first use if start-up has not done it.
void BuildActionTable();
std::span<const ActionInfo> ActionTable();
const ActionInfo* FindActionInfo(const char* name);
// A handler or a filter runs it; else it reports that it is not available yet.
bool ActionAvailable(const ActionInfo& action);
// Filters bring a row each; the id is 0x10000 + number. Runs them through this hook.
void AddFilterAction(const char* filterName, int number);
extern void (*RunFilterHook)(int number);

// A key map: one action list per fixed key row, empty for none.
struct KeyMap {
  std::vector<std::string> lists;
};
std::span<const char* const> KeyRows();
KeyMap& CurrentKeyMap();
void ClearMap(KeyMap* map);
void ApplyDefaultMap(KeyMap* map);
// The row of a key name, compared without case; -1 when there is none.
int FindKeyRow(const char* key);
// Binds a list to a key; false (and the console line) when no row has that name.
bool SetKeyBinding(KeyMap* map, const char* key, const char* list);
const std::string* KeyBinding(const KeyMap& map, const char* key);

// Section Keyboard of the configuration; a row stored as "none" is cleared.
void LoadKeyboardSettings();
void SaveKeyboardSettings();
// Key map files (*.cfg): a Keyboard section of key=value lines. Null when done, else the words
// for the user ("File not found!", "Can't open file", ...); a failed load leaves the map as it was,
// and a save never makes a missing folder.
const char* LoadKeyMapFile(const char* path, KeyMap* map);
const char* SaveKeyMapFile(const char* path, const KeyMap& map);

// The name of a key event as the rows spell it ("shift a", "ctrl F9", "+"); empty when the
// event has none. Qualifiers: 1 shift, 2 control, 4 alt.
std::string KeyName(int code, int character, int qualifiers);
// A key from the main loop: Escape ends a tool; a bound key runs its list; any other key, and
// the character of its press, goes on through this hook (the front Window).
void KeyPressed(int code, int character);
extern void (*UnboundKeyHook)(int code, int character);

}  // namespace vela
