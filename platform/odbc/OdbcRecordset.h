// The rows of one executed ODBC statement, read forward. Each row's values are read once
// when the row is fetched (a driver hands out a column only once per row) and kept until
// the next row. The recordset shares its connection's session, so it stays readable
// after the connection object is closed or destroyed.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/Connection.h"
#include "platform/odbc/OdbcHandle.h"
#include "platform/odbc/OdbcSession.h"
#include "runtime/Text.h"

namespace platform {

class OdbcRecordset : public host::Recordset {
 public:
  // Takes `statement`, prepared with `sql`, right after it was executed and fetches the
  // first row. A statement without a result set gives a recordset at its end.
  OdbcRecordset(std::shared_ptr<OdbcSession> session, OdbcHandle statement, std::string sql);
  // Gives the statement back to the session for the next run of its text.
  ~OdbcRecordset() override;
  OdbcRecordset(const OdbcRecordset&) = delete;
  OdbcRecordset& operator=(const OdbcRecordset&) = delete;

  bool Eof() const override { return eof_; }
  // At the end, runtime::kNoCurrentRecord.
  void MoveNext() override;
  // An unknown name is runtime::kItemNotFound; at the end, runtime::kNoCurrentRecord.
  runtime::Variant Field(std::string_view name) const override;

 private:
  void Fetch();

  // Declared before the statement so that the statement is freed first.
  std::shared_ptr<OdbcSession> session_;
  OdbcHandle statement_;
  std::string sql_;
  std::vector<SQLSMALLINT> columnTypes_;
  std::unordered_map<std::string, size_t, runtime::NoCaseHash, runtime::NoCaseEqual> columns_;
  std::vector<runtime::Variant> row_;
  bool eof_ = true;
};

}  // namespace platform
