// fuzz-deps: vela_start
// Any bytes as a configuration file: reading must not crash, and a file the store wrote must
// read back to the same store (two writes reverse the order twice).
#include <stdlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "host/profile.h"
#include "start/config_store.h"
#include "start/run_paths.h"

namespace {

// Every write is synced to disk; on tmpfs that costs nothing, so runs stay fast.
std::filesystem::path TempRoot() {
  std::error_code ec;
  if (std::filesystem::is_directory("/dev/shm", ec)) return "/dev/shm";
  return std::filesystem::temp_directory_path();
}

// A folder of its own, removed when the process ends.
struct TempHome {
  std::string dir;
  TempHome() {
    dir = (TempRoot() / "vela-fuzz-XXXXXX").string();
    if (!mkdtemp(dir.data())) std::abort();
    std::filesystem::create_directories(dir + "/configs");
  }
  ~TempHome() { std::filesystem::remove_all(dir); }
};

const std::string& Home() {
  static TempHome home;
  return home.dir;
}

std::string Reopen() {
  vela::ConfigOpen(nullptr);
  vela::ConfigOpen("f");
  if (vela::ConfigFlush() != 1) std::abort();
  std::string text;
  vela::ReadWholeFile(vela::ConfigOpenPath().c_str(), 1 << 24, &text);
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vela::Paths().homeDir = Home();
  std::string input(reinterpret_cast<const char*>(data), size);
  std::string path = Home() + "/configs/f.ini";
  if (!vela::WriteFileAtomic(path.c_str(), input)) std::abort();

  vela::ConfigOpen(nullptr);
  vela::ConfigOpen("f");
  // Walk the keys of the first section the input names, with a small and a large capacity.
  std::string section;
  if (const char* open = static_cast<const char*>(std::memchr(input.data(), '[', size))) {
    const char* close = static_cast<const char*>(
        std::memchr(open, ']', size - static_cast<size_t>(open - input.data())));
    if (close) section.assign(open + 1, close);
  }
  char keys[8192];
  int n = vela::ConfigGet(section.c_str(), nullptr, keys, "", sizeof keys);
  if (n < 0 || n > static_cast<int>(sizeof keys) - 2 || keys[n] != 0) std::abort();
  for (int pos = 0; pos < n; pos += static_cast<int>(std::strlen(keys + pos)) + 1) {
    char value[8];
    int len = vela::ConfigGet(section.c_str(), keys + pos, value, "", sizeof value);
    if (len < 0 || len > static_cast<int>(sizeof value)) std::abort();
  }

  std::string first = Reopen();
  Reopen();
  std::string third = Reopen();
  // A carriage return at a line end is cut once per reading, so it may shift between writes.
  if (input.find('\r') == std::string::npos && first != third) std::abort();

  if (vela::ConfigSnapshot* s = vela::ConfigSnapshotRead(path.c_str())) {
    char value[16];
    vela::ConfigSnapshotGet(s, section.c_str(), "a", value, "", sizeof value);
    vela::ConfigSnapshotWrite(s);
  }
  vela::ConfigOpen(nullptr);
  return 0;
}
