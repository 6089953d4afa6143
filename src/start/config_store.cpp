#include "start/config_store.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/profile.h"
#include "start/run_paths.h"

namespace vela {

namespace {

constexpr int kLineCapacity = 4096;         // lines of at most 4095 characters
constexpr int kLinesBeforeSection = 21;     // a file that starts otherwise is not a configuration
constexpr size_t kMaxFileBytes = 16 << 20;  // guard against feeding a huge file into memory

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::string Folded(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = Lower(c);
  return out;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

struct ConfigEntry {
  std::string key;
  std::string value;
};

// Lists keep the oldest first; a file is written newest first, so it comes out reversed.
struct ConfigSection {
  std::string name;  // with its brackets, "[Main]"
  std::vector<ConfigEntry> entries;
  std::unordered_map<std::string, size_t> index;  // folded key
};

struct ConfigSections {
  std::vector<ConfigSection> list;
  std::unordered_map<std::string, size_t> index;  // folded bracketed name

  void Clear() {
    list.clear();
    index.clear();
  }

  const ConfigSection* Find(const char* section) const {
    auto it = index.find(Folded("[" + std::string(section) + "]"));
    return it == index.end() ? nullptr : &list[it->second];
  }

  ConfigSection& SectionBracketed(std::string_view name) {
    std::string folded = Folded(name);
    auto s = index.find(folded);
    if (s == index.end()) {
      list.push_back({std::string(name), {}, {}});
      s = index.emplace(std::move(folded), list.size() - 1).first;
    }
    return list[s->second];
  }

  bool PutBracketed(std::string_view name, std::string_view key, std::string_view value) {
    try {
      ConfigSection& sec = SectionBracketed(name);
      std::string fk = Folded(key);
      auto e = sec.index.find(fk);
      if (e != sec.index.end()) {
        sec.entries[e->second].value.assign(value);
        return true;
      }
      sec.entries.push_back({std::string(key), std::string(value)});
      sec.index.emplace(std::move(fk), sec.entries.size() - 1);
      return true;
    } catch (const std::bad_alloc&) {
      return false;  // the entry in hand is dropped
    }
  }

  bool Put(const char* section, const char* key, const char* value) {
    if (!section || !key || !value) return false;
    return PutBracketed("[" + std::string(section) + "]", key, value);
  }

  std::string Text() const {
    std::string out;
    // A line break inside a name or value would split it into lines of another meaning.
    auto line = [](const std::string& s) { return std::string_view(s).substr(0, s.find('\n')); };
    for (size_t s = list.size(); s-- > 0;) {
      const ConfigSection& sec = list[s];
      out.append(line(sec.name)).append("\n");
      for (size_t e = sec.entries.size(); e-- > 0;) {
        const ConfigEntry& entry = sec.entries[e];
        if (entry.value.empty()) continue;
        out.append(line(entry.key)).append("=").append(line(entry.value)).append("\n");
      }
      out.append("\n");
    }
    return out;
  }
};

void ReadSections(FILE* f, ConfigSections* sections) {
  char line[kLineCapacity];
  std::string current;
  int linesRead = 0;
  size_t bytes = 0;
  for (;;) {
    if (current.empty() && linesRead >= kLinesBeforeSection) return;
    if (!std::fgets(line, sizeof line, f)) return;
    ++linesRead;
    size_t n = std::strlen(line);
    bytes += n;
    if (bytes > kMaxFileBytes) return;
    if (n > 0 && line[n - 1] == '\n') line[--n] = 0;
    if (n > 0 && line[n - 1] == '\r') line[--n] = 0;
    const char* p = line;
    while (IsBlank(*p)) ++p;
    if (!*p) continue;
    if (*p == '[') {
      if (!std::strchr(p, ']')) return;
      current = p;
      sections->SectionBracketed(current);  // kept even while it holds nothing to write
      continue;
    }
    if (current.empty()) return;
    const char* eq = std::strchr(p, '=');
    if (!eq) {
      sections->PutBracketed(current, p, "");
      continue;
    }
    const char* v = eq + 1;
    while (IsBlank(*v)) ++v;
    sections->PutBracketed(current, std::string_view(p, eq - p), v);
  }
}

bool ReadFile(const char* path, ConfigSections* sections) {
  FILE* f = std::fopen(path, "rb");
  if (!f) return false;
  try {
    ReadSections(f, sections);
  } catch (const std::bad_alloc&) {
    // keep what was read
  }
  std::fclose(f);
  return true;
}

// Cut to capacity without a terminator beyond it; memmove because def may be dest itself.
int CopyCut(const char* src, char* dest, int capacity) {
  size_t n = std::strlen(src);
  size_t cap = static_cast<size_t>(capacity);
  if (n < cap) {
    std::memmove(dest, src, n + 1);
    return static_cast<int>(n);
  }
  std::memmove(dest, src, cap);
  return capacity;
}

int CopyKeys(const ConfigSection* sec, char* dest, int capacity) {
  if (capacity < 2) {
    dest[0] = 0;
    return 0;
  }
  size_t cap = static_cast<size_t>(capacity);
  size_t pos = 0;
  if (sec) {
    for (size_t e = sec->entries.size(); e-- > 0;) {
      const std::string& key = sec->entries[e].key;
      if (pos + key.size() + 2 > cap) {
        std::memcpy(dest + pos, key.data(), cap - 2 - pos);
        dest[cap - 2] = 0;
        dest[cap - 1] = 0;
        return capacity - 2;
      }
      std::memcpy(dest + pos, key.data(), key.size());
      pos += key.size();
      dest[pos++] = 0;
    }
  }
  dest[pos] = 0;
  if (pos == 0) dest[1] = 0;  // an empty list is still closed by two zeros
  return static_cast<int>(pos);
}

int GetFrom(const ConfigSections* sections, const char* section, const char* key, char* dest,
            const char* def, int capacity) {
  if (!dest || capacity <= 0) return 0;
  const ConfigSection* sec = sections && section ? sections->Find(section) : nullptr;
  if (!key)
    return sections ? CopyKeys(sec, dest, capacity) : CopyCut(def ? def : "", dest, capacity);
  if (sec) {
    auto e = sec->index.find(Folded(key));
    if (e != sec->index.end())
      return CopyCut(sec->entries[e->second].value.c_str(), dest, capacity);
  }
  return CopyCut(def ? def : "", dest, capacity);
}

struct ConfigStore {
  std::string path;  // empty while no file is open
  std::string name;
  ConfigSections sections;
};

ConfigStore& Store() {
  static ConfigStore store;
  return store;
}

}  // namespace

struct ConfigSnapshot {
  std::string path;
  ConfigSections sections;
  int changes = 0;
};

std::string ConfigPath(const char* name) {
  return JoinPath(JoinPath(Paths().homeDir, "configs"), std::string(name ? name : "") + ".ini");
}

const std::string& ConfigOpenPath() {
  return Store().path;
}

void ConfigOpen(const char* name) {
  ConfigStore& store = Store();
  if (!name || !*name) {
    store.sections.Clear();
    store.path.clear();
    store.name.clear();
    return;
  }
  std::string path = ConfigPath(name);
  if (path == store.path) return;
  store.name = name;
  store.sections.Clear();
  store.path = std::move(path);
  ReadFile(store.path.c_str(), &store.sections);
}

int ConfigGet(const char* section, const char* key, char* dest, const char* def, int capacity) {
  const ConfigStore& store = Store();
  return GetFrom(store.path.empty() ? nullptr : &store.sections, section, key, dest, def, capacity);
}

int ConfigPut(const char* section, const char* key, const char* value) {
  ConfigStore& store = Store();
  if (store.path.empty()) return 0;
  return store.sections.Put(section, key, value) ? 1 : 0;
}

const char* ConfigName() {
  return Store().name.c_str();
}

int ConfigFlush() {
  const ConfigStore& store = Store();
  if (store.path.empty()) return 0;
  return WriteFileAtomic(store.path.c_str(), store.sections.Text()) ? 1 : 0;
}

int ConfigCopyTo(const char* name) {
  const ConfigStore& store = Store();
  if (store.path.empty()) return 1;
  if (!name || !*name) return 0;
  std::string target = ConfigPath(name);
  if (target == store.path) return 1;
  std::string bytes;
  if (!ReadWholeFile(store.path.c_str(), kMaxFileBytes, &bytes)) return 0;
  return WriteFileAtomic(target.c_str(), bytes) ? 1 : 0;
}

int ConfigGetFrom(const char* path, const char* section, const char* key, char* dest,
                  const char* def, int capacity) {
  ConfigSections other;
  if (path) ReadFile(path, &other);
  return GetFrom(&other, section, key, dest, def, capacity);
}

ConfigSnapshot* ConfigSnapshotRead(const char* path) {
  if (!path) return nullptr;
  auto snapshot = std::make_unique<ConfigSnapshot>();
  snapshot->path = path;
  if (!ReadFile(path, &snapshot->sections)) return nullptr;
  return snapshot.release();
}

int ConfigSnapshotGet(ConfigSnapshot* snapshot, const char* section, const char* key, char* dest,
                      const char* def, int capacity) {
  return GetFrom(snapshot ? &snapshot->sections : nullptr, section, key, dest, def, capacity);
}

int ConfigSnapshotPut(ConfigSnapshot* snapshot, const char* section, const char* key,
                      const char* value) {
  if (!snapshot || !snapshot->sections.Put(section, key, value)) return 0;
  ++snapshot->changes;
  return 1;
}

void ConfigSnapshotWrite(ConfigSnapshot* snapshot) {
  std::unique_ptr<ConfigSnapshot> owned(snapshot);
  if (owned && owned->changes > 0) WriteFileAtomic(owned->path.c_str(), owned->sections.Text());
}

}  // namespace vela
