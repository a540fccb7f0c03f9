#include "platform/odbc/OdbcConnection.h"

#include <utility>

#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcDiagnostics.h"
#include "platform/odbc/OdbcParameters.h"
#include "platform/odbc/OdbcRecordset.h"
#include "runtime/Error.h"

namespace platform {
namespace {

std::unique_ptr<host::Recordset> Run(const std::shared_ptr<OdbcSession>& session,
                                     const std::string& sql,
                                     const std::vector<runtime::Variant>& parameters) {
  OdbcHandle statement = session->Prepared(sql);
  {
    OdbcParameters bound(statement, parameters);
    session->Run(
        statement, [&] { return SQLExecute(statement.get()); }, "SQLExecute");
  }
  return std::make_unique<OdbcRecordset>(session, std::move(statement), sql);
}

}  // namespace

void OdbcConnection::Open(const std::string& connectionString, const std::string& user,
                          const std::string& password, int32_t) {
  Close();
  std::string text = connectionString;
  if (!user.empty() && !HasConnectionKey(text, "UID")) AppendConnectionKey(text, "UID", user);
  if (!password.empty() && !HasConnectionKey(text, "PWD")) {
    AppendConnectionKey(text, "PWD", password);
  }
  session_ = pool_->TakeKept(text, policy_);
  kept_ = session_ != nullptr;
  if (!session_) session_ = pool_->Connect(text, policy_);
  connectionString_ = std::move(text);
}

std::unique_ptr<host::Recordset> OdbcConnection::Execute(const std::string& sql, int32_t) {
  return Execute(sql, std::vector<runtime::Variant>{});
}

void OdbcConnection::Close() {
  session_.reset();
  kept_ = false;
}

std::unique_ptr<host::Recordset> OdbcConnection::Execute(
    const std::string& sql, const std::vector<runtime::Variant>& parameters) {
  if (!std::exchange(kept_, false)) return Run(Session(), sql, parameters);
  try {
    return Run(Session(), sql, parameters);
  } catch (const runtime::Error& e) {
    if (!IsConnectionLost(e.SqlState())) throw;
  }
  session_ = pool_->Connect(connectionString_, policy_);
  return Run(session_, sql, parameters);
}

std::unique_ptr<OdbcStatement> OdbcConnection::Prepare(const std::string& sql) {
  kept_ = false;
  return std::make_unique<OdbcStatement>(Session(), sql);
}

void OdbcConnection::BeginTransaction() {
  // A statement of a transaction never runs twice.
  kept_ = false;
  Session()->BeginTransaction();
}

void OdbcConnection::Commit() {
  Session()->EndTransaction(true);
}

void OdbcConnection::Rollback() {
  Session()->EndTransaction(false);
}

std::string OdbcConnection::DbmsName() const {
  const OdbcHandle& connection = Session()->connection();
  char name[256] = {};
  SQLSMALLINT length = 0;
  connection.Check(SQLGetInfo(connection.get(), SQL_DBMS_NAME, name, sizeof name, &length),
                   "SQLGetInfo");
  return name;
}

const std::shared_ptr<OdbcSession>& OdbcConnection::Session() const {
  if (!session_) {
    throw runtime::Error(runtime::kConnectionClosed,
                         "The connection cannot be used to perform this operation. It is "
                         "either closed or invalid in this context.",
                         "OdbcConnection");
  }
  return session_;
}

}  // namespace platform
