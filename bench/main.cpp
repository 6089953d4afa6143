#include <benchmark/benchmark.h>

#include "pixels/block.h"

int main(int argc, char** argv) {
  vela::BuildPixelTables();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
