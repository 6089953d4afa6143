// Path and name values of the run, with the capacities the file formats and commands rely on.
#pragma once

#include <string>

namespace vela {

struct RunPaths {
  std::string iniPath;       // machine-wide "Vela.INI" (the profile file)
  std::string homeDir;       // holds configs, datas, plugins; no trailing slash
  std::string configName;    // stem of the configuration file
  std::string projectPath;   // project or image to open at start
  std::string sparePath;     // image for the Spare at start
  std::string tempDir;       // ends in a slash once set; holds the scratch file of the cache
  std::string fastSavePath;  // Hold and Fetch
  std::string scriptDir;     // EDMUNDDIR
  std::string monitorFile;   // MONITOR
};

constexpr size_t kIniPathCapacity = 1024;
constexpr size_t kHomeDirCapacity = 4096;
constexpr size_t kConfigNameCapacity = 256;
constexpr size_t kProjectPathCapacity = 2048;
constexpr size_t kTempDirCapacity = 4096;

RunPaths& Paths();

// Joins with "/"; a path read from a file or a command may use either separator.
std::string JoinPath(const std::string& dir, const std::string& name);

// Finds a file as spelled, else case-insensitively in its folder; empty if neither exists.
std::string FindFileAnyCase(const std::string& path);

}  // namespace vela
