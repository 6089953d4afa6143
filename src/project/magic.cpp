#include "project/magic.h"

#include <chrono>
#include <cstdio>

#include "pixels/disk_cache.h"
#include "project/page.h"
#include "start/ask.h"
#include "start/message.h"
#include "start/parallel.h"
#include "start/settings.h"

namespace vela {

namespace {

void CacheSize() {
  int mb = -1;
  if (AskNumber("Cache size (MB)", &mb, -1, 2047) == 0)
    CacheSetLimit(mb < 0 ? -1 : int64_t{mb} << 20);
}

void Processors() {
  int n = 0;
  if (AskNumber("Processor", &n, 0, 64) == 0) SetWorkerCount(n);
}

void PreviewSpeed() {
  int kb = MainSet.previewQuality;
  if (AskNumber("Preview speed (Kbytes)", &kb, 0, 99999) == 0) MainSet.previewQuality = kb;
}

void Position() {
  int type = MainSet.screenOffsetType;
  if (AskNumber("position", &type, 0, 4) == 0) MainSet.screenOffsetType = type;
}

void TimedRedraw() {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  int frames = 0;
  while (frames < 1000 && Clock::now() - start < std::chrono::seconds(1)) {
    RedrawAll();
    ++frames;
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  char text[64];
  std::snprintf(text, sizeof text, "redraw screen %3f screen/s",
                frames / (seconds > 0 ? seconds : 1));
  Message(text);
}

struct Code {
  int number;
  void (*run)();
};
const Code kCodes[] = {
    {1024, CacheSize}, {1025, Processors},  {1026, PreviewSpeed},
    {1027, Position},  {1028, TimedRedraw},
};

const ActionRow kRows[] = {{"MagicNumber", MagicNumber}};

}  // namespace

void MagicNumber() {
  int number = 0;
  if (AskNumber("Magic Number", &number, 0, 2147483647) != 0) return;
  for (const Code& c : kCodes)
    if (c.number == number) c.run();
}

std::span<const ActionRow> MagicNumberActions() {
  return kRows;
}

}  // namespace vela
