// The physical connections the process keeps between a Close and the next Open of the
// same connection string under the same policy: a host that opens its historian every
// cycle connects once. A connection comes back when its last user (connection object,
// recordset, prepared statement) lets go, with any open transaction rolled back; it is
// dropped instead when it failed with a connection-class error or the driver reports it
// dead, and disconnected after the policy's idle time.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/odbc/OdbcPolicy.h"
#include "platform/odbc/OdbcSession.h"

namespace platform {

class OdbcPool {
 public:
  static OdbcPool& Instance();
  ~OdbcPool();
  OdbcPool(const OdbcPool&) = delete;
  OdbcPool& operator=(const OdbcPool&) = delete;

  // A kept connection for `connectionString` and `policy`, or a new one (see OdbcSession).
  std::shared_ptr<OdbcSession> Connect(const std::string& connectionString,
                                       const OdbcPolicy& policy);
  // Connections now kept, not in use.
  size_t IdleCount();
  // Disconnects every kept connection.
  void Clear();

 private:
  using Clock = std::chrono::steady_clock;
  struct Idle {
    std::string key;
    std::unique_ptr<OdbcSession> session;
    Clock::time_point expires;
  };

  OdbcPool();
  void Return(const std::string& key, int32_t idleSeconds, OdbcSession* session) noexcept;
  // Moves the expired connections out, to be disconnected without the lock held.
  std::vector<Idle> TakeExpired();
  // The reaper thread: disconnects connections as their idle time runs out.
  void Reap();

  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Idle> idle_;
  std::thread reaper_;
  // When the reaper wakes next: a connection returned to expire later needs no wake-up,
  // which keeps an open and close every cycle from switching threads.
  Clock::time_point reaperWakesAt_ = Clock::time_point::max();
  bool stopping_ = false;
};

}  // namespace platform
