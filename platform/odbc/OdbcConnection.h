// host::Connection over ODBC (unixODBC here, the driver manager on Windows). The
// connection string is an ODBC one ("Driver=SQLite3;Database=/path/file.db"). Beyond
// host::Connection it offers what the SPC database needs: transactions, prepared
// statements and the database product's name.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/Connection.h"
#include "platform/odbc/OdbcPolicy.h"
#include "platform/odbc/OdbcPool.h"
#include "platform/odbc/OdbcSession.h"
#include "platform/odbc/OdbcStatement.h"
#include "runtime/Variant.h"

namespace platform {

class OdbcConnection : public host::Connection {
 public:
  // Every connection this object opens follows `policy` (see OdbcSession) and is kept in
  // `pool` between uses.
  explicit OdbcConnection(const OdbcPolicy& policy = {}, OdbcPool& pool = OdbcPool::Instance())
      : policy_(policy), pool_(&pool) {}

  // Connects without prompting, closing an open connection first. A non-empty `user` or
  // `password` is added as UID or PWD unless the connection string names that key. A
  // connection string the policy refuses is an error before any driver is loaded. A
  // connection kept from an earlier Open of the same string is used again (see OdbcPool).
  // `options` is not used by ODBC.
  void Open(const std::string& connectionString, const std::string& user,
            const std::string& password, int32_t options = -1) override;
  // `options` is not used by ODBC. The first statement on a kept connection, outside a
  // transaction, that fails because the connection is gone (IsConnectionLost: the server
  // restarted meanwhile) runs once more on a new connection; any other failure, and a
  // failure on a new connection, is the caller's.
  std::unique_ptr<host::Recordset> Execute(const std::string& sql, int32_t options = -1) override;
  std::unique_ptr<host::Recordset> Execute(
      const std::string& sql, const std::vector<runtime::Variant>& parameters) override;
  // Releases this object's hold on the connection; recordsets and prepared statements
  // still alive keep it open until they are released. Then it goes back to the pool.
  void Close() override;

  std::unique_ptr<OdbcStatement> Prepare(const std::string& sql);

  // Changes from here on wait for Commit or Rollback; either returns to autocommit.
  // Closing the last hold on the connection rolls back open changes.
  void BeginTransaction();
  void Commit();
  void Rollback();

  std::string DbmsName() const override;

 private:
  // The open session; runtime::kConnectionClosed when the connection is closed.
  const std::shared_ptr<OdbcSession>& Session() const;

  OdbcPolicy policy_;
  OdbcPool* pool_;
  std::string connectionString_;
  std::shared_ptr<OdbcSession> session_;
  // The session came from the pool and has run no statement yet.
  bool kept_ = false;
};

}  // namespace platform
