#include "apps/dam/DamProcess.h"

#include <malloc.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstdlib>
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

// A file that would grow past the size limit (`ulimit -f`, systemd's LimitFSIZE=) fails that
// one write with EFBIG, reported and logged as any write that fails, instead of ending the
// process with SIGXFSZ before its drivers stop, and again at every restart.
void FailWritesPastTheFileSizeLimit() {
  signal(SIGXFSZ, SIG_IGN);
}

// Each line's thread would take a malloc arena of its own, up to eight a core, and every arena
// keeps what its busiest collection freed; four shared ones keep a run of many lines flat,
// under the service manager or not. MALLOC_ARENA_MAX, when set, still decides.
void ShareMemoryArenas() {
  if (std::getenv("MALLOC_ARENA_MAX") == nullptr) mallopt(M_ARENA_MAX, 4);
}

}  // namespace

int RunProcess(int argc, char** argv, WindowsSide* windows) {
  ShareMemoryArenas();
  platform::TuneSqliteForManyConnections();
  RaiseDescriptorLimit();
  FailWritesPastTheFileSizeLimit();
  const int status = Main(std::vector<std::string>(argv + 1, argv + argc), windows);
  platform::OdbcPool::Instance().Close();
  return status;
}

}  // namespace dam
