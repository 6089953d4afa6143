// fuzz-deps: vela_formats
// Any bytes as a project file, loaded twice: replacing the project at the file's size, and
// inserted into it stretched. Neither may crash, leak or allocate beyond what the bytes justify.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "formats/project_file.h"
#include "pixels/block.h"
#include "pixels/disk_cache.h"
#include "project/layers.h"
#include "project/page.h"
#include "start/message.h"
#include "start/run_paths.h"
#include "start/workspace.h"

namespace {

std::string Setup() {
  static std::string file;
  if (!file.empty()) return file;
  std::string dir =
      (std::filesystem::temp_directory_path() / ("vela-fuzz-project-" + std::to_string(getpid())))
          .string();
  std::filesystem::create_directories(dir);
  vela::Paths().tempDir = dir + "/";
  vela::SetMessageSink([](const char*) {});
  vela::BuildPixelTables();
  vela::CacheStartWithLimit(64 << 20);
  vela::Ws.undoMode = 2;
  vela::OpenGraphicsBlocks();
  file = dir + "/input.vel";
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = Setup();
  if (FILE* f = std::fopen(path.c_str(), "wb")) {
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  vela::MakePage(40, 30);
  vela::ClearProject();
  vela::LoadProject(path.c_str(), true, false, true);
  vela::MakePage(40, 30);
  vela::ClearProject();
  vela::LoadProject(path.c_str(), false, true, false);
  vela::ReleaseProject();
  return 0;
}
