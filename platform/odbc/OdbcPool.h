// The physical connections kept between a Close and the next Open of the same connection
// string under the same policy: a host that opens its historian every cycle connects once.
// A connection comes back when its last user (connection object, recordset, prepared
// statement) lets go, with any open transaction rolled back; it is dropped instead when it
// failed with a connection-class error or the driver reports it dead, and disconnected
// after the policy's idle time. A pool outlives the connections it hands out.
//
// Many lines of one host read one historian at the same moments. While kMaxInUse
// connections of one connection string are in use, TakeKept waits up to kWaitForKept for
// one of them to come back rather than take one kept idle or have a new one made, so that
// a plant of hundreds of lines holds a few connections instead of one a line (those a
// peak left idle, such as the data link tests of a start, go after the idle time); a
// connection that does not come back in time (a hanging query) costs the wait and no more.
// Those whose idle time ran out are disconnected one at a time, kBetweenDisconnects apart.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
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
  using Clock = std::chrono::steady_clock;
  // Where the pool reads the time that idle times run on: the steady clock, or a test's.
  using TimeSource = std::function<Clock::time_point()>;

  // The process's pool. It is never destroyed: a program calls Close before it exits, so
  // that no driver is called from a static destructor, where a broken one crashes the exit.
  static OdbcPool& Instance();

  explicit OdbcPool(TimeSource now = Clock::now);
  // Closes.
  ~OdbcPool();
  OdbcPool(const OdbcPool&) = delete;
  OdbcPool& operator=(const OdbcPool&) = delete;

  static constexpr size_t kMaxInUse = 16;
  static constexpr std::chrono::milliseconds kWaitForKept{100};
  // Between two connections the pool's thread disconnects as their idle time runs out.
  static constexpr std::chrono::milliseconds kBetweenDisconnects{100};

  // A connection kept for `connectionString` and `policy`, now waiting for locks as
  // `policy` says, or null when there is none.
  std::shared_ptr<OdbcSession> TakeKept(const std::string& connectionString,
                                        const OdbcPolicy& policy);
  // A new connection (see OdbcSession), kept here once let go.
  std::shared_ptr<OdbcSession> Connect(const std::string& connectionString,
                                       const OdbcPolicy& policy);
  // Connections now kept, not in use.
  size_t IdleCount();
  // Disconnects every kept connection whose idle time has run out, at once. The pool's
  // own thread disconnects them as the time source's time passes, a pause apart.
  void DisconnectExpired();
  // Disconnects every kept connection.
  void Clear();
  // Clears the pool and keeps nothing from now on: a connection let go disconnects at once.
  void Close();

 private:
  struct Idle {
    std::string key;
    std::unique_ptr<OdbcSession> session;
    Clock::time_point expires;
  };
  // The connections of one key handed out and not yet back, and those waiting for one.
  struct InUse {
    size_t count = 0;
    std::condition_variable returned;
  };

  std::shared_ptr<OdbcSession> Held(const std::string& key, int32_t idleSeconds,
                                    std::unique_ptr<OdbcSession> session);
  void Return(const std::string& key, int32_t idleSeconds, OdbcSession* session) noexcept;
  // Moves up to `most` expired connections out, those expired first, to be disconnected
  // without the lock held.
  std::vector<Idle> TakeExpired(size_t most);
  // The reaper thread: disconnects connections as their idle time runs out.
  void Reap();

  TimeSource now_;
  std::mutex mutex_;
  std::condition_variable wake_;
  std::vector<Idle> idle_;
  std::map<std::string, InUse> inUse_;
  std::thread reaper_;
  // When the reaper wakes next: a connection returned to expire later needs no wake-up,
  // which keeps an open and close every cycle from switching threads.
  Clock::time_point reaperWakesAt_ = Clock::time_point::max();
  bool closed_ = false;
};

}  // namespace platform
