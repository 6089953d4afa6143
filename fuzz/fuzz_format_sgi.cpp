// fuzz-deps: vela_formats
// Any bytes for the SGI module: offset tables and runs must stay inside the bytes and the row,
// and every pixel left must be well-formed (no colour above alpha).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (vela::SetMessageSink(+[](const char*) {}), true);
  (void)quiet;
  const std::vector<uint8_t> input(data, data + size);
  vela::ModuleContext context;
  context.module = &vela::kSgiModule;
  int w = 0, h = 0;
  if (vela::kSgiModule.Probe(&context, "x.rgb", input) != 0 ||
      vela::kSgiModule.Info(&context, input, &w, &h) != 0)
    return 0;
  vela::BlockPtr b(vela::NewBlock(std::clamp(w, 1, 256), std::clamp(h, 1, 256)));
  vela::kSgiModule.Load(&context, input, b.get());
  for (int y = 0; y < b->height; ++y)
    for (int x = 0; x < b->width; ++x) {
      const vela::Pixel p = b->Row(y)[x];
      if (std::max({vela::Red(p), vela::Green(p), vela::Blue(p)}) > vela::Alpha(p)) std::abort();
    }
  return 0;
}
