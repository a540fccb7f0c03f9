#include "platform/odbc/OdbcRecordset.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "platform/odbc/OdbcValue.h"
#include "runtime/Error.h"

namespace platform {
namespace {

constexpr size_t kLongestName = std::numeric_limits<SQLSMALLINT>::max();

runtime::Error NoCurrentRecord(const char* location) {
  return runtime::Error(runtime::kNoCurrentRecord,
                        "Either BOF or EOF is True, or the current record has been deleted. "
                        "Requested operation requires a current record.",
                        location);
}

std::string ColumnName(const OdbcHandle& statement, SQLUSMALLINT column, SQLSMALLINT& type) {
  std::string name(256, '\0');
  auto describe = [&] {
    SQLSMALLINT length = 0;
    SQLULEN size = 0;
    SQLSMALLINT digits = 0;
    SQLSMALLINT nullable = 0;
    statement.Check(SQLDescribeCol(statement.get(), column, reinterpret_cast<SQLCHAR*>(name.data()),
                                   static_cast<SQLSMALLINT>(name.size()), &length, &type, &size,
                                   &digits, &nullable),
                    "SQLDescribeCol");
    return static_cast<size_t>(std::max<SQLSMALLINT>(length, 0));
  };
  // A buffer filled up may hold a cut name: some drivers report the cut length.
  size_t length = describe();
  while (length + 1 >= name.size() && name.size() < kLongestName) {
    name.assign(std::min(std::max(length + 1, name.size() * 4), kLongestName), '\0');
    length = describe();
  }
  name.resize(std::min(length, name.size() - 1));
  return name;
}

}  // namespace

OdbcRecordset::OdbcRecordset(std::shared_ptr<OdbcSession> session, OdbcHandle statement,
                             std::string sql)
    : session_(std::move(session)), statement_(std::move(statement)), sql_(std::move(sql)) {
  SQLSMALLINT count = 0;
  statement_.Check(SQLNumResultCols(statement_.get(), &count), "SQLNumResultCols");
  columnTypes_.resize(count);
  for (SQLSMALLINT i = 0; i < count; ++i) {
    std::string name = ColumnName(statement_, static_cast<SQLUSMALLINT>(i + 1), columnTypes_[i]);
    // The first of several columns with one name is the one found by name.
    columns_.emplace(std::move(name), i);
  }
  if (count > 0) Fetch();
}

OdbcRecordset::~OdbcRecordset() {
  session_->Keep(sql_, std::move(statement_));
}

void OdbcRecordset::MoveNext() {
  if (eof_) throw NoCurrentRecord("OdbcRecordset.MoveNext");
  Fetch();
}

runtime::Variant OdbcRecordset::Field(std::string_view name) const {
  auto found = columns_.find(name);
  if (found == columns_.end()) {
    throw runtime::Error(runtime::kItemNotFound,
                         "Item cannot be found in the collection corresponding to the requested "
                         "name or ordinal.",
                         "OdbcRecordset.Field");
  }
  if (eof_) throw NoCurrentRecord("OdbcRecordset.Field");
  return row_[found->second];
}

void OdbcRecordset::Fetch() {
  eof_ = true;
  row_.clear();
  if (session_->Run(
          statement_, [&] { return SQLFetch(statement_.get()); }, "SQLFetch") == SQL_NO_DATA) {
    // Releases the cursor now, so that the database is not kept locked by a finished read.
    statement_.Check(SQLFreeStmt(statement_.get(), SQL_CLOSE), "SQLFreeStmt");
    return;
  }
  row_.reserve(columnTypes_.size());
  const bool typedPerRow = session_->TypedPerRow();
  for (size_t i = 0; i < columnTypes_.size(); ++i) {
    row_.push_back(
        ReadOdbcColumn(statement_, static_cast<SQLUSMALLINT>(i + 1), columnTypes_[i], typedPerRow));
  }
  eof_ = false;
}

}  // namespace platform
