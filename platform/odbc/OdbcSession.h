// The environment and connection handles of one open ODBC connection. The connection
// object, its recordsets and its prepared statements share one session, so whichever of
// them is released last disconnects.
#pragma once

#include <string>

#include "platform/odbc/OdbcHandle.h"

namespace platform {

class OdbcSession {
 public:
  // Connects with SQLDriverConnect, without prompting. Failing is a runtime::Error.
  explicit OdbcSession(const std::string& connectionString);
  // Rolls back a transaction left open, then disconnects.
  ~OdbcSession();
  OdbcSession(const OdbcSession&) = delete;
  OdbcSession& operator=(const OdbcSession&) = delete;

  const OdbcHandle& connection() const { return connection_; }

  // Manual commit from here until EndTransaction.
  void BeginTransaction();
  // Commits (or rolls back) the open work and returns to autocommit.
  void EndTransaction(bool commit);

 private:
  void SetAutoCommit(bool on);

  OdbcHandle environment_;
  OdbcHandle connection_;
  bool manualCommit_ = false;
};

}  // namespace platform
