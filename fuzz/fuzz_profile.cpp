// fuzz-deps: vela_host
// Any bytes as the ini file: reading must not crash, and a key written into any section the
// file has must read back, and be gone again after its deletion.
#include <stdlib.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "host/profile.h"

namespace {

// Every write is synced to disk; on tmpfs that costs nothing, so runs stay fast.
std::filesystem::path TempRoot() {
  std::error_code ec;
  if (std::filesystem::is_directory("/dev/shm", ec)) return "/dev/shm";
  return std::filesystem::temp_directory_path();
}

// A folder of its own, removed when the process ends.
struct TempDir {
  std::string dir;
  std::string ini;
  TempDir() {
    dir = (TempRoot() / "vela-fuzz-XXXXXX").string();
    if (!mkdtemp(dir.data())) std::abort();
    ini = dir + "/Vela.INI";
  }
  ~TempDir() { std::filesystem::remove_all(dir); }
};

const std::string& IniPath() {
  static TempDir temp;
  return temp.ini;
}

void CheckList(const char* list, int n, int capacity) {
  if (n < 0 || n > capacity - 2 || list[n] != 0) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const char* ini = IniPath().c_str();
  if (!vela::WriteFileAtomic(ini, std::string_view(reinterpret_cast<const char*>(data), size)))
    std::abort();

  char sections[4096];
  int n = vela::GetPrivateProfileString(nullptr, nullptr, "", sections, sizeof sections, ini);
  CheckList(sections, n, sizeof sections);
  std::string section = n > 0 ? sections : "Fresh";

  char keys[4096];
  n = vela::GetPrivateProfileString(section.c_str(), nullptr, "", keys, sizeof keys, ini);
  CheckList(keys, n, sizeof keys);
  for (int pos = 0; pos < n; pos += static_cast<int>(std::strlen(keys + pos)) + 1) {
    char value[8];
    int len =
        vela::GetPrivateProfileString(section.c_str(), keys + pos, "", value, sizeof value, ini);
    if (len < 0 || len > 7 || value[len] != 0) std::abort();
    vela::GetPrivateProfileInt(section.c_str(), keys + pos, 0, ini);
  }

  char back[64];
  if (!vela::WritePrivateProfileString(section.c_str(), "FuzzKey", "written", ini)) std::abort();
  vela::GetPrivateProfileString(section.c_str(), "fuzzkey", "", back, sizeof back, ini);
  if (std::strcmp(back, "written") != 0) std::abort();
  if (!vela::WritePrivateProfileString(section.c_str(), "FUZZKEY", nullptr, ini)) std::abort();
  vela::GetPrivateProfileString(section.c_str(), "FuzzKey", "gone", back, sizeof back, ini);
  if (std::strcmp(back, "gone") != 0) std::abort();
  if (!vela::WritePrivateProfileString(section.c_str(), nullptr, nullptr, ini)) std::abort();
  n = vela::GetPrivateProfileString(section.c_str(), nullptr, "", keys, sizeof keys, ini);
  if (n != 0) std::abort();
  return 0;
}
