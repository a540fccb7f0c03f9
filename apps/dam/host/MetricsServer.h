// The HTTP face of a MetricsBoard for monitoring systems: GET /metrics gives the board in
// Prometheus text format, GET /healthz "ok" with 200 while the board is healthy, else 503
// with the reasons; anything else is 404. It serves on the thread that made it, which runs a
// Qt event loop, and only on the address it is given. The first server made loads the
// metrics library (apps/dam/metrics) from where the package puts it, as seen from the
// program's folder.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/metrics/MetricsHttp.h"

namespace dam {

class MetricsServer {
 public:
  // `board` outlives the server. Fails with an apps::Failure when the metrics library is not
  // installed, or another user could have replaced it.
  explicit MetricsServer(const MetricsBoard& board);

  // Listens on `address` ("127.0.0.1:9464", "[::1]:9464"; port 0 takes a free one). Gives
  // the port. Fails with an apps::Failure naming `setting` when the text is no address and
  // port, or the address cannot be listened on (taken, not this machine's).
  uint16_t Listen(const std::string& address, const std::string& setting);

 private:
  std::unique_ptr<MetricsHttp> http_;
};

}  // namespace dam
