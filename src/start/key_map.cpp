#include "start/key_map.h"

#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "host/profile.h"
#include "start/actions.h"
#include "start/config_store.h"
#include "start/input.h"
#include "start/main_loop.h"
#include "start/message.h"

namespace vela {

void (*RunFilterHook)(int number) = nullptr;
void (*UnboundKeyHook)(int code, int character) = nullptr;

namespace {

struct NameLabel {
  const char* name;
  const char* label;
};

// The fixed actions in their families; labels name the family and what the action does.
const NameLabel kActionNames[] = {
#include "start/action_names.inc"
};

struct DefaultPair {
  const char* key;
  const char* actions;
};

// Applied in order: a later pair for a key wins. Two names here are no actions (PreviousTools,
// OpenRexx) and one key is no row (shift F10); they are kept, as users' maps were made from them.
const DefaultPair kDefaultMap[] = {
#include "start/default_map.inc"
    {"ctrl n", "MagicNumber"},
};

std::vector<const char*> BuildKeyRows() {
  static std::vector<std::string> names;
  auto add = [](std::string s) { names.push_back(std::move(s)); };
  for (char c = 'a'; c <= 'z'; ++c) add(std::string(1, c));
  for (char c = 'A'; c <= 'Z'; ++c) add(std::string("Shift ") + c);
  for (char c = 'a'; c <= 'z'; ++c)
    if (c != 'h' && c != 'i' && c != 'm') add(std::string("Ctrl ") + c);  // Backspace, Tab, Return
  for (char c = '0'; c <= '9'; ++c) add(std::string(1, c));
  for (const char* p = "/*-+,;:!<>&~#'([|_\\)]}$\xA3%\xA7.=\"`@"; *p; ++p) add(std::string(1, *p));
  const char* prefixes[] = {"", "Ctrl ", "Shift ", "Ctrl Shift "};
  for (const char* pre : prefixes)
    for (int f = 1; f <= 12; ++f)
      if (f != 10) add(pre + std::string("F") + std::to_string(f));
  add("Space");
  const char* moves[] = {"Tab",  "Home", "End",   "Del",     "Insert",   "Up",
                         "Down", "Left", "Right", "Page Up", "Page Down"};
  for (const char* pre : prefixes)
    for (const char* m : moves) add(pre + std::string(m));
  add("Backspace");
  add("Shift Backspace");
  std::vector<const char*> out;
  for (const std::string& s : names) out.push_back(s.c_str());
  return out;
}

const std::vector<const char*>& Rows() {
  static const std::vector<const char*> rows = BuildKeyRows();
  return rows;
}

std::vector<ActionInfo>& Table() {
  static std::vector<ActionInfo> table;
  return table;
}

std::vector<ActionInfo>& Filters() {
  static std::vector<ActionInfo> filters;
  return filters;
}

// The file's key for a row: "=" and "[" cannot start a key of the file.
std::string StoredKey(const char* row) {
  if (std::strcmp(row, "=") == 0) return "equal";
  if (std::strcmp(row, "[") == 0) return "braquet";
  return row;
}

void NotAvailable(const ActionInfo& a) {
  char text[160];
  std::snprintf(text, sizeof text, "Not available yet:\n%s", a.label.c_str());
  Message(text);
}

void EnsureTable() {
  if (Table().empty()) BuildActionTable();
}

void RunOne(const char* name, size_t len) {
  // Handlers are looked up at the press: a module may bring its rows after the table was built.
  if (const ActionRow* r = FindRegisteredAction(name, len); r && r->handler) {
    r->handler();
    return;
  }
  std::string n(name, len);
  const ActionInfo* a = FindActionInfo(n.c_str());
  if (!a)
    std::fprintf(stderr, "function %s not found\n", n.c_str());
  else if (a->id >= 0x10000 && RunFilterHook)
    RunFilterHook(a->id & 0xFFFF);
  else
    NotAvailable(*a);
}

}  // namespace

void BuildActionTable() {
  std::vector<ActionInfo>& t = Table();
  t.clear();
  for (const NameLabel& n : kActionNames) t.push_back({n.name, n.label, 0});
  t.insert(t.end(), Filters().begin(), Filters().end());
  std::sort(t.begin(), t.end(), [](const ActionInfo& a, const ActionInfo& b) {
    return strcasecmp(a.name.c_str(), b.name.c_str()) < 0;
  });
  KeyMap& map = CurrentKeyMap();
  ClearMap(&map);
  ApplyDefaultMap(&map);
  LoadKeyboardSettings();
}

std::span<const ActionInfo> ActionTable() {
  EnsureTable();
  return Table();
}

bool ActionAvailable(const ActionInfo& a) {
  const ActionRow* r = FindRegisteredAction(a.name.c_str(), a.name.size());
  return (r && r->handler) || (a.id >= 0x10000 && RunFilterHook);
}

const ActionInfo* FindActionInfo(const char* name) {
  if (!name) return nullptr;
  EnsureTable();
  const std::vector<ActionInfo>& t = Table();
  auto it = std::lower_bound(t.begin(), t.end(), name, [](const ActionInfo& a, const char* n) {
    return strcasecmp(a.name.c_str(), n) < 0;
  });
  if (it != t.end() && strcasecmp(it->name.c_str(), name) == 0) return &*it;
  return nullptr;
}

void AddFilterAction(const char* filterName, int number) {
  Filters().push_back({std::string("Filter: ") + filterName, std::string("Filter: ") + filterName,
                       0x10000 + (number & 0xFFFF)});
}

void RunActions(const char* list) {
  for (const char* p = list; p && *p;) {
    while (*p == ' ' || *p == '\t') ++p;
    size_t len = std::strcspn(p, ",");
    size_t end = len;
    while (end > 0 && (p[end - 1] == ' ' || p[end - 1] == '\t')) --end;
    if (end > 0) RunOne(p, end);
    p += len;
    if (*p == ',') ++p;
  }
}

std::span<const char* const> KeyRows() {
  return Rows();
}

KeyMap& CurrentKeyMap() {
  static KeyMap map{std::vector<std::string>(Rows().size())};
  return map;
}

void ClearMap(KeyMap* map) {
  map->lists.assign(Rows().size(), std::string());
}

void ApplyDefaultMap(KeyMap* map) {
  for (const DefaultPair& p : kDefaultMap) SetKeyBinding(map, p.key, p.actions);
}

int FindKeyRow(const char* key) {
  const std::vector<const char*>& rows = Rows();
  for (size_t i = 0; key && i < rows.size(); ++i)
    if (strcasecmp(rows[i], key) == 0) return static_cast<int>(i);
  return -1;
}

bool SetKeyBinding(KeyMap* map, const char* key, const char* list) {
  const int row = FindKeyRow(key);
  if (row < 0) {
    std::fprintf(stderr, "key \"%s\" not found\n", key ? key : "");
    return false;
  }
  if (map->lists.size() != Rows().size()) map->lists.resize(Rows().size());
  map->lists[row] = list ? list : "";
  return true;
}

const std::string* KeyBinding(const KeyMap& map, const char* key) {
  const int row = FindKeyRow(key);
  return row < 0 || static_cast<size_t>(row) >= map.lists.size() ? nullptr : &map.lists[row];
}

namespace {
using Getter = int (*)(void* source, const char* key, char* dest, int capacity);

// The rows the source has a value for; "none", blanks around it or not, clears the row.
int ReadRows(KeyMap* map, Getter get, void* source) {
  if (map->lists.size() != Rows().size()) map->lists.resize(Rows().size());
  char value[1024];
  int found = 0;
  for (size_t i = 0; i < Rows().size(); ++i) {
    if (get(source, StoredKey(Rows()[i]).c_str(), value, sizeof value) <= 0) continue;
    value[sizeof value - 1] = 0;
    std::string v = value;
    v.erase(0, v.find_first_not_of(" \t"));
    v.erase(v.find_last_not_of(" \t") + 1);
    map->lists[i] = strcasecmp(v.c_str(), "none") == 0 ? "" : v;
    ++found;
  }
  return found;
}
}  // namespace

void LoadKeyboardSettings() {
  ReadRows(
      &CurrentKeyMap(),
      [](void*, const char* key, char* dest, int capacity) {
        return ConfigGet("Keyboard", key, dest, "", capacity - 1);
      },
      nullptr);
}

void SaveKeyboardSettings() {
  const KeyMap& map = CurrentKeyMap();
  for (size_t i = 0; i < Rows().size() && i < map.lists.size(); ++i)
    ConfigPut("Keyboard", StoredKey(Rows()[i]).c_str(),
              map.lists[i].empty() ? "none" : map.lists[i].c_str());
}

const char* LoadKeyMapFile(const char* path, KeyMap* map) {
  namespace fs = std::filesystem;
  std::error_code ec;
  const fs::file_status st = fs::status(path ? path : "", ec);
  if (!fs::exists(st)) return "File not found!";
  // A folder opens for reading and reads as nothing.
  if (!fs::is_regular_file(st)) return "Can't open file";
  ConfigSnapshot* snap = ConfigSnapshotRead(path);
  if (!snap) return "Can't open file";
  KeyMap read = *map;
  const int found = ReadRows(
      &read,
      [](void* s, const char* key, char* dest, int capacity) {
        return ConfigSnapshotGet(static_cast<ConfigSnapshot*>(s), "Keyboard", key, dest, "",
                                 capacity - 1);
      },
      snap);
  ConfigSnapshotWrite(snap);  // nothing was put: frees only
  if (found == 0) return "This is not a keyboard mapping file!";
  *map = std::move(read);
  return nullptr;
}

const char* SaveKeyMapFile(const char* path, const KeyMap& map) {
  namespace fs = std::filesystem;
  if (!path || !*path) return "Can't open file";
  // The file goes where the user said or nowhere: no folder is made for it.
  std::error_code ec;
  const fs::path target(path);
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  if (!fs::is_directory(folder, ec) || fs::is_directory(target, ec)) return "Can't open file";
  std::string text = "[Keyboard]\n";
  for (size_t i = 0; i < Rows().size() && i < map.lists.size(); ++i)
    text += StoredKey(Rows()[i]) + "=" + (map.lists[i].empty() ? "none" : map.lists[i]) + "\n";
  return WriteFileAtomic(path, text) ? nullptr : "Write error!";
}

std::string KeyName(int code, int character, int qualifiers) {
  if (code & kKeyRelease && code != kCharacterCode) return "";
  std::string pre;
  if (qualifiers & 4) pre += "alt ";
  if (qualifiers & 2) pre += "ctrl ";
  if (code == kCharacterCode) {
    // Letters, digits, blanks and control characters are named by their key; the rest by the
    // character, which already shows the shift.
    const int c = character & 255;
    if (c <= ' ' || c == 127 || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
        (c >= 'A' && c <= 'Z'))
      return "";
    return pre + static_cast<char>(c);
  }
  if (qualifiers & 1) pre += "shift ";
  if (code >= 'A' && code <= 'Z') return pre + static_cast<char>(code - 'A' + 'a');
  // The keypad's digits share the digit rows; their characters are dropped like the others.
  if (code >= 96 && code <= 105) code = '0' + (code - 96);
  if (code >= '0' && code <= '9') return (qualifiers & 1) ? "" : pre + static_cast<char>(code);
  if (code >= 112 && code <= 123) return pre + "F" + std::to_string(code - 111);
  switch (code) {
    case 27:
      return pre + "escape";
    case 8:
      return pre + "backspace";
    case 46:
      return pre + "del";
    case 9:
      return pre + "tab";
    case 32:
      return pre + "space";
    case 33:
      return pre + "Page Up";
    case 34:
      return pre + "Page Down";
    case 35:
      return pre + "end";
    case 36:
      return pre + "home";
    case 37:
      return pre + "left";
    case 38:
      return pre + "up";
    case 39:
      return pre + "right";
    case 40:
      return pre + "down";
    case 45:
      return pre + "insert";
    default:
      return "";
  }
}

void KeyPressed(int code, int character) {
  EnsureTable();
  const int q = (In.shift ? 1 : 0) | (In.control ? 2 : 0) | (In.alt ? 4 : 0);
  const std::string name = KeyName(code, character, q);
  auto passOn = [&] {
    if (UnboundKeyHook) UnboundKeyHook(code, character);
  };
  if (name.empty()) {
    // The character of a press its key has named: it follows the key (a bound key has dropped
    // it already).
    if (code == kCharacterCode) passOn();
    return;
  }
  if (name == "escape" && Loop().endTool) Loop().endTool();
  const std::string* list = KeyBinding(CurrentKeyMap(), name.c_str());
  if (!list || list->empty()) {
    passOn();
    return;
  }
  if (code != kCharacterCode) SwallowCharOfKey(code);
  RunActions(list->c_str());
}

}  // namespace vela
