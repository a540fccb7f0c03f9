#include "platform/odbc/OdbcStatement.h"

#include <utility>

#include "platform/odbc/OdbcParameters.h"

namespace platform {

OdbcStatement::OdbcStatement(std::shared_ptr<OdbcSession> session, std::string sql)
    : session_(std::move(session)), sql_(std::move(sql)), statement_(session_->Prepared(sql_)) {}

OdbcStatement::~OdbcStatement() {
  session_->Keep(sql_, std::move(statement_));
}

int64_t OdbcStatement::Execute(const std::vector<runtime::Variant>& parameters) {
  OdbcParameters bound(statement_, parameters);
  SQLRETURN rc = session_->Run(
      statement_, [&] { return SQLExecute(statement_.get()); }, "SQLExecute");
  SQLLEN rows = 0;
  if (rc != SQL_NO_DATA) statement_.Check(SQLRowCount(statement_.get(), &rows), "SQLRowCount");
  statement_.Check(SQLFreeStmt(statement_.get(), SQL_CLOSE), "SQLFreeStmt");
  return rows;
}

}  // namespace platform
