// dam: the standalone host of data acquisition drivers. Registers driver modules, runs a
// driver on a configuration file, and checks and shows configurations and saved subgroups.
#include "apps/dam/DamCommandLine.h"

int main(int argc, char** argv) {
  return dam::Main(std::vector<std::string>(argv + 1, argv + argc));
}
