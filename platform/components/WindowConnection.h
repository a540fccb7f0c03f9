// A historian connection for a window, where a user waits for every statement: a statement
// that finds an SQLite database locked gives up after kSpcLockWaitSeconds, or QueryTimeout
// when that is shorter. Once one has, the statements of the same components on that
// database try once for as long again, and tell the lock at once: the steps that fill a
// window (the data link test, then the tag list) make its user wait for one lock once. A
// retry after that waits again, in case a writer was only slow.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/Connection.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/odbc/OdbcPolicy.h"

namespace platform {

// The databases windows found locked lately, by connection string. Used on one thread.
class WindowLocks {
 public:
  using Clock = std::chrono::steady_clock;

  // A statement on `link` gave up on a lock at `now`.
  void Told(const std::string& link, Clock::time_point now);
  // A statement on `link` gave up on a lock within kSpcLockWaitSeconds before `now`.
  bool ToldLately(const std::string& link, Clock::time_point now) const;

 private:
  std::map<std::string, Clock::time_point> told_;
};

class WindowConnection : public host::Connection {
 public:
  // `policy` is the host's; `locks` outlives the connection.
  WindowConnection(const OdbcPolicy& policy, WindowLocks& locks);

  void Open(const std::string& connectionString, const std::string& user,
            const std::string& password, int32_t options = -1) override;
  std::unique_ptr<host::Recordset> Execute(const std::string& sql, int32_t options = -1) override;
  std::unique_ptr<host::Recordset> Execute(
      const std::string& sql, const std::vector<runtime::Variant>& parameters) override;
  void Close() override;
  std::string DbmsName() const override;

 private:
  OdbcPolicy policy_;
  WindowLocks& locks_;
  OdbcConnection connection_;
  std::string link_;
  // This Open's statements wait for a lock, and so tell the next ones when they gave up.
  bool waits_ = true;
};

}  // namespace platform
