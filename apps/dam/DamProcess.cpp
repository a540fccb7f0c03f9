#include "apps/dam/DamProcess.h"

#include <sys/resource.h>

#include <string>
#include <vector>

#include "apps/dam/DamCommandLine.h"
#include "platform/odbc/OdbcPool.h"
#include "platform/odbc/SqliteLibrary.h"

namespace dam {
namespace {

void RaiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int RunProcess(int argc, char** argv, WindowsSide* windows) {
  platform::TuneSqliteForManyConnections();
  RaiseDescriptorLimit();
  const int status = Main(std::vector<std::string>(argv + 1, argv + argc), windows);
  platform::OdbcPool::Instance().Close();
  return status;
}

}  // namespace dam
