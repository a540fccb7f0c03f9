// The HTTP server behind dam::MetricsServer, in a library of its own (dam-metrics.so): Qt
// Network and the libraries it needs cost every process their loading, and only a run that
// serves metrics needs them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "apps/dam/host/MetricsBoard.h"

namespace dam {

class MetricsHttp {
 public:
  virtual ~MetricsHttp() = default;
  // As MetricsServer::Listen.
  virtual uint16_t Listen(const std::string& address, const std::string& setting) = 0;
};

// The function the library exports, of type MetricsHttpExport: a server answering /metrics
// with `render` and /healthz with `check`, on the thread that calls it.
inline constexpr char kMetricsHttpExportName[] = "DamMetricsHttp";
using MetricsHttpExport = MetricsHttp* (*)(std::function<std::string()> render,
                                           std::function<Health()> check);

}  // namespace dam
