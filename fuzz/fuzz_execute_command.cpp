// fuzz-deps: vela_script
// Any command line, on a small page with the default Pen: the dispatcher and its handlers must
// answer within the result buffer and never touch memory they do not own.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "paint/stroke.h"
#include "pixels/block.h"
#include "script/dispatcher.h"
#include "start/main_loop.h"
#include "start/message.h"
#include "start/workspace.h"

namespace {
bool Setup() {
  vela::SetMessageSink([](const char*) {});
  if (!vela::BuildPixelTables()) std::abort();
  vela::Ws.page = vela::NewBlock(48, 32);
  vela::Ws.pageWidth = 48;
  vela::Ws.pageHeight = 32;
  vela::ResetStrokeContext();
  vela::UseDefaultBrush();
  return true;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static bool ready = Setup();
  (void)ready;
  std::string line(reinterpret_cast<const char*>(data), size);
  vela::CommandRecord r{};
  r.command = line.c_str();
  vela::ExecuteCommand(&r);
  if (strnlen(r.result, vela::kResultSize) >= vela::kResultSize) std::abort();
  if (r.found != 0 && r.found != 1) std::abort();
  char result[vela::kResultSize];
  int n = vela::ExecuteCallbackCommand(line.c_str(), result);
  if (n < 1 || n > static_cast<int>(vela::kResultSize) || result[n - 1] != 0) std::abort();
  vela::ExitFlag = 0;
  return 0;
}
