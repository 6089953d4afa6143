#include "start/run_paths.h"

#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>

namespace vela {

RunPaths& Paths() {
  static RunPaths paths;
  return paths;
}

std::string JoinPath(const std::string& dir, const std::string& name) {
  if (dir.empty()) return name;
  char last = dir.back();
  if (last == '/' || last == '\\') return dir + name;
  return dir + "/" + name;
}

std::string FindFileAnyCase(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0) return path;
  size_t cut = path.find_last_of("/\\");
  std::string dir = cut == std::string::npos ? "." : path.substr(0, cut);
  std::string name = cut == std::string::npos ? path : path.substr(cut + 1);
  if (dir.empty()) dir = "/";
  DIR* d = opendir(dir.c_str());
  if (!d) return {};
  std::string found;
  while (dirent* e = readdir(d)) {
    if (strcasecmp(e->d_name, name.c_str()) == 0) {
      found = JoinPath(cut == std::string::npos ? "" : dir, e->d_name);
      break;
    }
  }
  closedir(d);
  return found;
}

}  // namespace vela
