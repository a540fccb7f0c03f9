#include "apps/dam/host/MetricsServer.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "apps/shared/Failures.h"
#include "runtime/Clock.h"
#include "runtime/TrustedFile.h"

namespace dam {
namespace {

MetricsHttpExport Load() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::canonical("/proc/self/exe", error);
  const std::string file =
      (program.parent_path() / DAM_METRICS_LIBRARY_FROM_BIN).lexically_normal().string();
  // Its code runs as this user, as the program's does: no other user may be able to replace it.
  const std::string why = runtime::WhyOthersCouldChange(file);
  if (!why.empty()) {
    throw apps::Failure(apps::kExitFailure,
                        "refusing to load the metrics server " + file + ": " + why);
  }
  // Never unloaded: Qt keeps pointers into the code that made its objects.
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) {
    throw apps::Failure(apps::kExitFailure,
                        std::string("cannot load the metrics server: ") + dlerror());
  }
  const auto make = reinterpret_cast<MetricsHttpExport>(dlsym(library, kMetricsHttpExportName));
  if (make == nullptr) {
    throw apps::Failure(apps::kExitFailure, file + " is no metrics library: it does not export " +
                                                kMetricsHttpExportName);
  }
  return make;
}

}  // namespace

MetricsServer::MetricsServer(const MetricsBoard& board) {
  static const MetricsHttpExport make = Load();
  http_.reset(
      make([&board] { return board.Render(); }, [&board] { return board.Check(runtime::Now()); }));
}

uint16_t MetricsServer::Listen(const std::string& address, const std::string& setting) {
  return http_->Listen(address, setting);
}

}  // namespace dam
