#include "platform/odbc/OdbcValue.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "runtime/Conversions.h"
#include "runtime/Date.h"

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

// Nothing for NULL.
std::optional<std::string> ReadText(const OdbcHandle& statement, SQLUSMALLINT column) {
  std::string text;
  char chunk[4096];
  for (;;) {
    SQLLEN indicator = 0;
    SQLRETURN rc = statement.Check(
        SQLGetData(statement.get(), column, SQL_C_CHAR, chunk, sizeof chunk, &indicator),
        "SQLGetData");
    if (rc == SQL_NO_DATA) break;
    if (indicator == SQL_NULL_DATA) return std::nullopt;
    // A part that did not fit fills the chunk but for its terminating zero.
    bool partial = indicator == SQL_NO_TOTAL || indicator >= static_cast<SQLLEN>(sizeof chunk);
    text.append(chunk, partial ? sizeof chunk - 1 : static_cast<size_t>(indicator));
    if (rc == SQL_SUCCESS || !partial) break;
  }
  return text;
}

std::optional<double> ExactNumber(const std::string& text) {
  double value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

// The number whose own text `text` is; any other text as it is.
runtime::Variant NumberOrText(std::string text) {
  if (text.empty() || (text[0] != '-' && (text[0] < '0' || text[0] > '9'))) return text;
  const std::optional<double> value = ExactNumber(text);
  if (!value || runtime::NumberToText(*value) != text) return text;
  if (*value == std::trunc(*value) && *value >= std::numeric_limits<int32_t>::min() &&
      *value <= std::numeric_limits<int32_t>::max()) {
    return static_cast<int32_t>(*value);
  }
  return *value;
}

// The number, when its 15-digit text reads back as the same number; otherwise the shortest
// text that does.
template <typename T>
runtime::Variant BinaryNumber(T value) {
  char text[48];
  const std::string exact(text, std::to_chars(text, text + sizeof text, value).ptr);
  const std::optional<double> number = ExactNumber(exact);
  if (number && ExactNumber(runtime::NumberToText(*number)) == number) return *number;
  return exact;
}

runtime::Variant ReadByColumn(const OdbcHandle& statement, SQLUSMALLINT column,
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
    case SQL_REAL: {
      float value = 0;
      if (!ReadFixed(statement, column, SQL_C_FLOAT, value)) return runtime::Null;
      return BinaryNumber(value);
    }
    case SQL_FLOAT:
    case SQL_DOUBLE: {
      double value = 0;
      if (!ReadFixed(statement, column, SQL_C_DOUBLE, value)) return runtime::Null;
      return BinaryNumber(value);
    }
    case SQL_BIT: {
      unsigned char value = 0;
      if (!ReadFixed(statement, column, SQL_C_BIT, value)) return runtime::Null;
      return value != 0;
    }
    default:
      break;
  }
  std::optional<std::string> text = ReadText(statement, column);
  if (!text) return runtime::Null;
  switch (sqlType) {
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT:
    case SQL_NUMERIC:
    case SQL_DECIMAL:
      return NumberOrText(std::move(*text));
    default:
      return std::move(*text);
  }
}

runtime::Variant ReadByRow(const OdbcHandle& statement, SQLUSMALLINT column, SQLSMALLINT sqlType) {
  std::optional<std::string> text = ReadText(statement, column);
  if (!text) return runtime::Null;
  switch (sqlType) {
    case SQL_TYPE_TIMESTAMP:
    case SQL_TIMESTAMP:
    case SQL_TYPE_DATE:
    case SQL_DATE:
    case SQL_TYPE_TIME:
    case SQL_TIME:
      if (const std::optional<runtime::Date> date = runtime::ParseDate(*text)) return *date;
      break;
    default:
      break;
  }
  return NumberOrText(std::move(*text));
}

}  // namespace

runtime::Variant ReadOdbcColumn(const OdbcHandle& statement, SQLUSMALLINT column,
                                SQLSMALLINT sqlType, bool typedPerRow) {
  return typedPerRow ? ReadByRow(statement, column, sqlType)
                     : ReadByColumn(statement, column, sqlType);
}

}  // namespace platform
