// dam-gui: dam with its windows. dam hands it the command lines that show windows or draw
// pictures (apps/dam/WindowsSide.h); it runs every other command as dam does.
#include "apps/dam/DamProcess.h"
#include "apps/dam/windows/QtWindowsSide.h"

int main(int argc, char** argv) {
  dam::QtWindowsSide windows;
  return dam::RunProcess(argc, argv, &windows);
}
