// dam-gui: dam with its windows. dam hands it the command lines that show windows or draw
// pictures (apps/dam/WindowsSide.h); it runs every other command as dam does.
#include "apps/dam/DamCommandLine.h"
#include "apps/dam/windows/QtWindowsSide.h"
#include "platform/odbc/OdbcPool.h"

int main(int argc, char** argv) {
  dam::QtWindowsSide windows;
  const int status = dam::Main(std::vector<std::string>(argv + 1, argv + argc), &windows);
  // While every library is still whole: a driver called from a static destructor may crash.
  platform::OdbcPool::Instance().Close();
  return status;
}
