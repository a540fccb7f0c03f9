#include "platform/odbc/OdbcValue.h"

#include <limits>
#include <string>

namespace platform {
namespace {

constexpr double kNanosecondsPerDay = 86400.0 * 1e9;

template <typename T>
bool ReadFixed(const OdbcHandle& statement, SQLUSMALLINT column, SQLSMALLINT cType, T& value) {
  SQLLEN indicator = 0;
  statement.Check(SQLGetData(statement.get(), column, cType, &value, sizeof value, &indicator),
                  "SQLGetData");
  return indicator != SQL_NULL_DATA;
}

runtime::Variant ReadTimestamp(const OdbcHandle& statement, SQLUSMALLINT column) {
  SQL_TIMESTAMP_STRUCT value{};
  if (!ReadFixed(statement, column, SQL_C_TYPE_TIMESTAMP, value)) return runtime::Null;
  runtime::Date date = runtime::MakeDate(
      {value.year, value.month, value.day, value.hour, value.minute, value.second});
  // Serials before 1899-12-30 are not linear in time; they keep whole seconds.
  if (date.serial >= 0) date.serial += value.fraction / kNanosecondsPerDay;
  return date;
}

// A time alone keeps the zero date; converting it to a timestamp would add today's date.
runtime::Variant ReadTime(const OdbcHandle& statement, SQLUSMALLINT column) {
  SQL_TIME_STRUCT value{};
  if (!ReadFixed(statement, column, SQL_C_TYPE_TIME, value)) return runtime::Null;
  runtime::DateParts parts;
  parts.hour = value.hour;
  parts.minute = value.minute;
  parts.second = value.second;
  return runtime::MakeDate(parts);
}

runtime::Variant ReadInteger(const OdbcHandle& statement, SQLUSMALLINT column) {
  SQLBIGINT value = 0;
  if (!ReadFixed(statement, column, SQL_C_SBIGINT, value)) return runtime::Null;
  if (value >= std::numeric_limits<int32_t>::min() &&
      value <= std::numeric_limits<int32_t>::max()) {
    return static_cast<int32_t>(value);
  }
  return static_cast<double>(value);
}

runtime::Variant ReadText(const OdbcHandle& statement, SQLUSMALLINT column) {
  std::string text;
  char chunk[4096];
  for (;;) {
    SQLLEN indicator = 0;
    SQLRETURN rc = statement.Check(
        SQLGetData(statement.get(), column, SQL_C_CHAR, chunk, sizeof chunk, &indicator),
        "SQLGetData");
    if (rc == SQL_NO_DATA) break;
    if (indicator == SQL_NULL_DATA) return runtime::Null;
    // A part that did not fit fills the chunk but for its terminating zero.
    bool partial = indicator == SQL_NO_TOTAL || indicator >= static_cast<SQLLEN>(sizeof chunk);
    text.append(chunk, partial ? sizeof chunk - 1 : static_cast<size_t>(indicator));
    if (rc == SQL_SUCCESS || !partial) break;
  }
  return text;
}

}  // namespace

runtime::Variant ReadOdbcColumn(const OdbcHandle& statement, SQLUSMALLINT column,
                                SQLSMALLINT sqlType) {
  switch (sqlType) {
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_DATE:
      return ReadTimestamp(statement, column);
    case SQL_TYPE_TIME:
    case SQL_TIME:
      return ReadTime(statement, column);
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
      return ReadInteger(statement, column);
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE:
    case SQL_NUMERIC:
    case SQL_DECIMAL: {
      double value = 0;
      if (!ReadFixed(statement, column, SQL_C_DOUBLE, value)) return runtime::Null;
      return value;
    }
    case SQL_BIT: {
      unsigned char value = 0;
      if (!ReadFixed(statement, column, SQL_C_BIT, value)) return runtime::Null;
      return value != 0;
    }
    default:
      return ReadText(statement, column);
  }
}

}  // namespace platform
