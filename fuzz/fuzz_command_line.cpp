// fuzz-deps: vela_start
// Arbitrary words on the command line: parsing must refuse or accept, never crash.
#include <cstdint>
#include <string>
#include <vector>

#include "start/command_line.h"
#include "start/options.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<std::string> words{"vela"};
  std::string cur;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] == 0) {
      words.push_back(cur);
      cur.clear();
    } else {
      cur += static_cast<char>(data[i]);
    }
  }
  words.push_back(cur);
  std::vector<const char*> argv;
  for (auto& w : words) argv.push_back(w.c_str());
  vela::CommandLineFeatures all{true, true, true};
  vela::CommandLine cl;
  std::string error;
  vela::ParseCommandLine(static_cast<int>(argv.size()), argv.data(), all, &cl, &error);
  vela::ParseOptions(static_cast<int>(argv.size()), argv.data());
  return 0;
}
