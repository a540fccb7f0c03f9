#include "platform/odbc/OdbcSession.h"

namespace platform {
namespace {

OdbcHandle NewEnvironment() {
  OdbcHandle environment(SQL_HANDLE_ENV, nullptr);
  environment.Check(SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION,
                                  reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
                    "SQLSetEnvAttr");
  return environment;
}

}  // namespace

OdbcSession::OdbcSession(const std::string& connectionString)
    : environment_(NewEnvironment()), connection_(SQL_HANDLE_DBC, &environment_) {
  std::string text = connectionString;
  connection_.Check(
      SQLDriverConnect(connection_.get(), nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                       static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr,
                       SQL_DRIVER_NOPROMPT),
      "SQLDriverConnect");
}

OdbcSession::~OdbcSession() {
  if (manualCommit_) SQLEndTran(SQL_HANDLE_DBC, connection_.get(), SQL_ROLLBACK);
  SQLDisconnect(connection_.get());
}

void OdbcSession::BeginTransaction() {
  SetAutoCommit(false);
  manualCommit_ = true;
}

void OdbcSession::EndTransaction(bool commit) {
  connection_.Check(
      SQLEndTran(SQL_HANDLE_DBC, connection_.get(), commit ? SQL_COMMIT : SQL_ROLLBACK),
      "SQLEndTran");
  SetAutoCommit(true);
  manualCommit_ = false;
}

void OdbcSession::SetAutoCommit(bool on) {
  connection_.Check(
      SQLSetConnectAttr(connection_.get(), SQL_ATTR_AUTOCOMMIT,
                        reinterpret_cast<SQLPOINTER>(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF),
                        SQL_IS_UINTEGER),
      "SQLSetConnectAttr");
}

}  // namespace platform
