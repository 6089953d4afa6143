// Runs every file of a corpus folder through the fuzz entry, so kept inputs stay regression tests.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  int files = 0;
  for (int i = 1; i < argc; ++i) {
    std::filesystem::path p(argv[i]);
    std::vector<std::filesystem::path> inputs;
    if (std::filesystem::is_directory(p)) {
      for (auto& e : std::filesystem::recursive_directory_iterator(p))
        if (e.is_regular_file()) inputs.push_back(e.path());
    } else if (std::filesystem::exists(p)) {
      inputs.push_back(p);
    }
    for (auto& f : inputs) {
      std::ifstream in(f, std::ios::binary);
      std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
      LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
      ++files;
    }
  }
  // An empty input always runs, so a target with no corpus yet is still exercised once.
  LLVMFuzzerTestOneInput(nullptr, 0);
  std::printf("replayed %d inputs\n", files);
  return 0;
}
