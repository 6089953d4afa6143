// fuzz-deps: vela_formats
// Any bytes as a file for the Sun reader: the header's size goes to a Block of at most
// 256 x 256, the load must stay inside its bytes, and every pixel it leaves must be well-formed
// (no colour above alpha).
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "formats/coders.h"
#include "start/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (vela::SetMessageSink(+[](const char*) {}), true);
  (void)quiet;
  // An exact copy, so that any read past the end is caught.
  const std::vector<uint8_t> input(data, data + size);
  int w = 0, h = 0;
  if (!vela::ProbeSun(input, "a.ras") || !vela::InfoSun(input, &w, &h)) return 0;
  vela::BlockPtr b(vela::NewBlock(std::clamp(w, 1, 256), std::clamp(h, 1, 256)));
  vela::LoadSun(input, b.get());
  for (int y = 0; y < b->height; ++y)
    for (int x = 0; x < b->width; ++x) {
      const vela::Pixel p = b->Row(y)[x];
      if (std::max({vela::Red(p), vela::Green(p), vela::Blue(p)}) > vela::Alpha(p)) std::abort();
    }
  return 0;
}
