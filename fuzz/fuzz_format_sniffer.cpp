// fuzz-deps: vela_formats
// Any bytes under a name whose extension the first byte picks: the sniffer and the loader's
// dispatch (every reader, the PNG, JPEG and TIFF glue and the IFF route) must stay inside the
// bytes and agree on sizes a Block of at most 256 x 256 can take.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "formats/registry.h"
#include "start/message.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool quiet = (vela::SetMessageSink(+[](const char*) {}), true);
  (void)quiet;
  if (size < 1) return 0;
  static const char* const kNames[] = {"x.tga", "x.vst", "x.pcx", "x.ppm", "x.dat"};
  const char* name = kNames[data[0] % 5];
  const std::vector<uint8_t> input(data + 1, data + size);
  int w = 0, h = 0;
  if (vela::FileTypeOfBytes(input, name, &w, &h) < 0) return 0;
  vela::BlockPtr b(vela::NewBlock(std::clamp(w, 1, 256), std::clamp(h, 1, 256)));
  vela::LoadBytesIntoBlock(input, name, b.get(), -1);
  return 0;
}
