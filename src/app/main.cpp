// The vela program: the modules' parts of the run, in their order, handed to the start-up code.
#include "app/modules.h"
#include "start/run.h"

int main(int argc, char** argv) {
  vela::SetSeedDataDir(VELA_DATA_DIR);
  return vela::VelaMain(argc, argv, vela::ProgramHooks());
}
