// dam: the standalone host of data acquisition drivers. Registers driver modules, runs a
// driver on a configuration file, and checks and shows configurations and saved subgroups.
#include "apps/dam/DamCommandLine.h"
#include "apps/dam/host/DescriptorLimit.h"
#include "platform/odbc/OdbcPool.h"
#include "platform/odbc/SqliteLibrary.h"

int main(int argc, char** argv) {
  platform::TuneSqliteForManyConnections();
  dam::RaiseDescriptorLimit();
  const int status = dam::Main(std::vector<std::string>(argv + 1, argv + argc), nullptr);
  // While every library is still whole: a driver called from a static destructor may crash.
  platform::OdbcPool::Instance().Close();
  return status;
}
