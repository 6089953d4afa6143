#include "host/profile.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace vela {

namespace {

// An ini file is small; anything larger is refused rather than read and then cut short by a write.
constexpr size_t kMaxIniBytes = 4 << 20;

constexpr std::string_view kBlanks = " \t\r\v\f";

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameText(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (Lower(a[i]) != Lower(b[i])) return false;
  return true;
}

std::string_view Trim(std::string_view s) {
  size_t b = s.find_first_not_of(kBlanks);
  if (b == std::string_view::npos) return {};
  size_t e = s.find_last_not_of(kBlanks);
  return s.substr(b, e - b + 1);
}

// Names and values are single lines; a line break would change the structure of the file.
std::string_view OneLine(const char* s) {
  std::string_view v(s);
  return v.substr(0, v.find_first_of("\r\n"));
}

// Section and key names as the file can hold them: blanks around a name do not survive a read.
std::string_view Name(const char* s) {
  return Trim(OneLine(s));
}

bool IsBlank(std::string_view line) {
  return Trim(line).empty();
}

bool SectionOf(std::string_view line, std::string_view* name) {
  std::string_view t = Trim(line);
  if (t.empty() || t[0] != '[') return false;
  size_t close = t.find(']');
  if (close == std::string_view::npos) return false;
  *name = Trim(t.substr(1, close - 1));
  return true;
}

bool EntryOf(std::string_view line, std::string_view* key, std::string_view* value) {
  std::string_view t = Trim(line);
  if (t.empty() || t[0] == ';' || t[0] == '#' || t[0] == '[') return false;
  size_t eq = t.find('=');
  if (eq == std::string_view::npos) return false;
  *key = Trim(t.substr(0, eq));
  if (key->empty()) return false;
  std::string_view v = Trim(t.substr(eq + 1));
  if (v.size() >= 2 && (v[0] == '"' || v[0] == '\'') && v.back() == v[0])
    v = v.substr(1, v.size() - 2);
  *value = v;
  return true;
}

enum class Load { kOk, kMissing, kError };

struct IniFile {
  std::vector<std::string> lines;
  bool crlf = false;

  Load Read(const char* path) {
    if (!path || !*path) return Load::kMissing;
    std::string data;
    if (!ReadWholeFile(path, kMaxIniBytes, &data)) {
      struct stat st;
      return stat(path, &st) != 0 && errno == ENOENT ? Load::kMissing : Load::kError;
    }
    size_t pos = 0;
    while (pos < data.size()) {
      size_t nl = data.find('\n', pos);
      size_t end = nl == std::string::npos ? data.size() : nl;
      std::string_view line(data.data() + pos, end - pos);
      if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
        crlf = true;
      }
      lines.emplace_back(line);
      pos = end + 1;
    }
    return Load::kOk;
  }

  std::string Text() const {
    std::string out;
    const char* eol = crlf ? "\r\n" : "\n";
    for (const std::string& l : lines) out.append(l).append(eol);
    return out;
  }

  // Section bodies as [first, end) line ranges, header excluded, for every header of that name.
  struct Range {
    size_t header, first, end;
  };
  std::vector<Range> Sections(std::string_view want) const {
    std::vector<Range> found;
    std::string_view name;
    for (size_t i = 0; i < lines.size(); ++i) {
      if (!SectionOf(lines[i], &name)) continue;
      if (!found.empty() && found.back().end == lines.size()) found.back().end = i;
      if (SameText(name, want)) found.push_back({i, i + 1, lines.size()});
    }
    return found;
  }

  // Line index of the first entry of that key in the sections, or npos.
  size_t FindKey(const std::vector<Range>& sections, std::string_view want,
                 std::string_view* value) const {
    std::string_view key, v;
    for (const Range& r : sections)
      for (size_t i = r.first; i < r.end; ++i)
        if (EntryOf(lines[i], &key, &v) && SameText(key, want)) {
          if (value) *value = v;
          return i;
        }
    return std::string::npos;
  }
};

int CopyOut(std::string_view s, char* dest, int capacity) {
  size_t n = std::min(s.size(), static_cast<size_t>(capacity - 1));
  if (n > 0) std::memmove(dest, s.data(), n);
  dest[n] = 0;
  return static_cast<int>(n);
}

// Zero-separated list closed by a second zero; a list that does not fit is cut and still closed.
int CopyList(const std::vector<std::string_view>& items, char* dest, int capacity) {
  if (capacity < 2) {
    dest[0] = 0;
    return 0;
  }
  size_t cap = static_cast<size_t>(capacity);
  size_t pos = 0;
  for (std::string_view item : items) {
    if (pos + item.size() + 2 > cap) {
      size_t room = cap - 2 - pos;
      if (room > 0) std::memcpy(dest + pos, item.data(), room);
      dest[cap - 2] = 0;
      dest[cap - 1] = 0;
      return capacity - 2;
    }
    if (!item.empty()) std::memcpy(dest + pos, item.data(), item.size());
    pos += item.size();
    dest[pos++] = 0;
  }
  dest[pos] = 0;
  if (pos == 0) dest[1] = 0;  // an empty list is still closed by two zeros
  return static_cast<int>(pos);
}

bool MakeDirs(const std::string& dir) {
  if (dir.empty()) return true;
  struct stat st;
  if (stat(dir.c_str(), &st) == 0) return S_ISDIR(st.st_mode);
  size_t cut = dir.find_last_of('/');
  if (cut != std::string::npos && cut > 0 && !MakeDirs(dir.substr(0, cut))) return false;
  return mkdir(dir.c_str(), 0755) == 0 || errno == EEXIST;
}

}  // namespace

bool ReadWholeFile(const char* path, size_t limit, std::string* out) {
  out->clear();
  FILE* f = std::fopen(path, "rb");
  if (!f) return false;
  char buf[16384];
  bool ok = true;
  while (size_t n = std::fread(buf, 1, sizeof buf, f)) {
    if (out->size() + n > limit) {
      ok = false;
      break;
    }
    out->append(buf, n);
  }
  if (std::ferror(f)) ok = false;
  std::fclose(f);
  if (!ok) out->clear();
  return ok;
}

bool WriteFileAtomic(const char* path, std::string_view data) {
  std::string target(path);
  size_t cut = target.find_last_of('/');
  if (cut != std::string::npos && cut > 0 && !MakeDirs(target.substr(0, cut))) return false;
  std::string tmp = target + ".XXXXXX";
  int fd = mkstemp(tmp.data());
  if (fd < 0) return false;
  struct stat st;
  fchmod(fd, stat(path, &st) == 0 ? (st.st_mode & 07777) : 0644);
  bool ok = true;
  const char* p = data.data();
  size_t left = data.size();
  while (ok && left > 0) {
    ssize_t n = write(fd, p, left);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0)
      ok = false;
    else {
      p += n;
      left -= static_cast<size_t>(n);
    }
  }
  // The data must be on disk before the name points at it.
  if (ok && fsync(fd) != 0) ok = false;
  if (close(fd) != 0) ok = false;
  if (ok && std::rename(tmp.c_str(), path) != 0) ok = false;
  if (!ok) unlink(tmp.c_str());
  return ok;
}

int GetPrivateProfileString(const char* section, const char* key, const char* def, char* dest,
                            int capacity, const char* file) {
  if (!dest || capacity <= 0) return 0;
  IniFile ini;
  ini.Read(file);
  std::string_view name;
  if (!section) {
    std::vector<std::string_view> names;
    for (const std::string& line : ini.lines)
      if (SectionOf(line, &name)) names.push_back(name);
    return CopyList(names, dest, capacity);
  }
  auto sections = ini.Sections(Name(section));
  if (!key) {
    std::vector<std::string_view> keys;
    std::string_view k, v;
    for (const auto& r : sections)
      for (size_t i = r.first; i < r.end; ++i)
        if (EntryOf(ini.lines[i], &k, &v)) keys.push_back(k);
    return CopyList(keys, dest, capacity);
  }
  std::string_view value;
  if (ini.FindKey(sections, Name(key), &value) != std::string::npos)
    return CopyOut(value, dest, capacity);
  return CopyOut(def ? std::string_view(def) : std::string_view(), dest, capacity);
}

int GetPrivateProfileInt(const char* section, const char* key, int def, const char* file) {
  char buf[64];
  if (GetPrivateProfileString(section, key, "", buf, sizeof buf, file) == 0) return def;
  char* end = nullptr;
  errno = 0;
  long v = std::strtol(buf, &end, 10);
  if (end == buf) return 0;
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}

bool WritePrivateProfileString(const char* section, const char* key, const char* value,
                               const char* file) {
  if (!section || !file || !*file) return false;
  IniFile ini;
  if (ini.Read(file) == Load::kError) return false;
  std::string_view name = Name(section);
  auto sections = ini.Sections(name);
  auto& lines = ini.lines;

  if (!key) {
    if (sections.empty()) return true;
    for (size_t s = sections.size(); s-- > 0;)
      lines.erase(lines.begin() + sections[s].header, lines.begin() + sections[s].end);
    return WriteFileAtomic(file, ini.Text());
  }

  std::string_view k = Name(key);
  if (!value) {
    bool removed = false;
    for (size_t line; (line = ini.FindKey(sections, k, nullptr)) != std::string::npos;) {
      lines.erase(lines.begin() + line);
      sections = ini.Sections(name);
      removed = true;
    }
    return removed ? WriteFileAtomic(file, ini.Text()) : true;
  }

  std::string entry = std::string(k) + "=" + std::string(OneLine(value));
  size_t at = ini.FindKey(sections, k, nullptr);
  if (at != std::string::npos) {
    // The key keeps the spelling it has in the file.
    std::string_view oldKey, oldValue;
    EntryOf(lines[at], &oldKey, &oldValue);
    lines[at] = std::string(oldKey) + "=" + std::string(OneLine(value));
  } else if (!sections.empty()) {
    // After the last written line of the section, so blank separators stay before the next one.
    const auto& r = sections.front();
    size_t pos = r.end;
    while (pos > r.first && IsBlank(lines[pos - 1])) --pos;
    lines.insert(lines.begin() + pos, entry);
  } else {
    if (!lines.empty() && !IsBlank(lines.back())) lines.emplace_back();
    lines.push_back("[" + std::string(name) + "]");
    lines.push_back(entry);
  }
  return WriteFileAtomic(file, ini.Text());
}

std::string DefaultIniPath() {
  std::string dir;
  const char* xdg = std::getenv("XDG_CONFIG_HOME");
  if (xdg && xdg[0] == '/') {
    dir = xdg;
  } else {
    const char* home = std::getenv("HOME");
    if (!home || !*home) {
      const passwd* pw = getpwuid(getuid());
      home = pw && pw->pw_dir ? pw->pw_dir : ".";
    }
    dir = std::string(home) + "/.config";
  }
  dir += "/vela";
  std::string path = dir + "/Vela.INI";
  struct stat st;
  if (stat(path.c_str(), &st) == 0) return path;
  if (DIR* d = opendir(dir.c_str())) {
    while (dirent* e = readdir(d)) {
      if (SameText(e->d_name, "Vela.INI")) {
        path = dir + "/" + e->d_name;
        break;
      }
    }
    closedir(d);
  }
  return path;
}

}  // namespace vela
