// dam: the standalone host of data acquisition drivers. Registers driver modules, runs a
// driver on a configuration file, and checks and shows configurations and saved subgroups.
#include "apps/dam/DamProcess.h"

int main(int argc, char** argv) {
  return dam::RunProcess(argc, argv, nullptr);
}
