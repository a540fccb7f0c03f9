#include "platform/odbc/OdbcParameters.h"

#include <algorithm>
#include <cmath>

namespace platform {
namespace {

constexpr double kMillisecondsPerDay = 86400.0 * 1000.0;

// Whole seconds from the date, the rest as the fraction (milliseconds are what a date
// serial holds reliably). Serials before 1899-12-30 are not linear in time; they keep
// whole seconds only.
SQL_TIMESTAMP_STRUCT ToTimestamp(runtime::Date date) {
  runtime::DateParts parts = runtime::SplitDate(date);
  runtime::Date whole = runtime::MakeDate(parts);
  long long milliseconds =
      date.serial >= 0 ? std::llround((date.serial - whole.serial) * kMillisecondsPerDay) : 0;
  if (milliseconds < 0) {
    // The nearest second lies after the date: count from the second before.
    parts = runtime::SplitDate(runtime::Date{whole.serial - 1.0 / 86400.0});
    milliseconds += 1000;
  }
  milliseconds = std::clamp(milliseconds, 0LL, 999LL);
  SQL_TIMESTAMP_STRUCT timestamp{};
  timestamp.year = static_cast<SQLSMALLINT>(parts.year);
  timestamp.month = static_cast<SQLUSMALLINT>(parts.month);
  timestamp.day = static_cast<SQLUSMALLINT>(parts.day);
  timestamp.hour = static_cast<SQLUSMALLINT>(parts.hour);
  timestamp.minute = static_cast<SQLUSMALLINT>(parts.minute);
  timestamp.second = static_cast<SQLUSMALLINT>(parts.second);
  timestamp.fraction = static_cast<SQLUINTEGER>(milliseconds * 1000000);
  return timestamp;
}

}  // namespace

OdbcParameters::OdbcParameters(const OdbcHandle& statement,
                               const std::vector<runtime::Variant>& values)
    : statement_(statement), bound_(values.size()) {
  for (size_t i = 0; i < values.size(); ++i) {
    Bind(static_cast<SQLUSMALLINT>(i + 1), values[i], bound_[i]);
  }
}

OdbcParameters::~OdbcParameters() {
  SQLFreeStmt(statement_.get(), SQL_RESET_PARAMS);
}

void OdbcParameters::Bind(SQLUSMALLINT position, const runtime::Variant& value, Bound& bound) {
  SQLSMALLINT cType = SQL_C_CHAR;
  SQLSMALLINT sqlType = SQL_VARCHAR;
  SQLULEN size = 1;
  SQLSMALLINT digits = 0;
  SQLPOINTER data = nullptr;
  SQLLEN length = 0;
  switch (value.kind()) {
    case runtime::Variant::Kind::Empty:
    case runtime::Variant::Kind::Null:
      bound.indicator = SQL_NULL_DATA;
      break;
    case runtime::Variant::Kind::Boolean:
      bound.bit = value.AsBoolean() ? 1 : 0;
      cType = SQL_C_BIT;
      sqlType = SQL_BIT;
      data = &bound.bit;
      break;
    case runtime::Variant::Kind::Long:
      bound.integer = value.AsLong();
      cType = SQL_C_SLONG;
      sqlType = SQL_INTEGER;
      size = 10;
      data = &bound.integer;
      break;
    case runtime::Variant::Kind::Double:
      bound.number = value.AsDouble();
      cType = SQL_C_DOUBLE;
      sqlType = SQL_DOUBLE;
      size = 15;
      data = &bound.number;
      break;
    case runtime::Variant::Kind::String:
      bound.text = value.AsString();
      size = std::max<SQLULEN>(bound.text.size(), 1);
      data = bound.text.data();
      length = static_cast<SQLLEN>(bound.text.size());
      bound.indicator = length;
      break;
    case runtime::Variant::Kind::Date:
      bound.timestamp = ToTimestamp(value.AsDate());
      cType = SQL_C_TYPE_TIMESTAMP;
      sqlType = SQL_TYPE_TIMESTAMP;
      size = 23;
      digits = 3;
      data = &bound.timestamp;
      break;
  }
  statement_.Check(SQLBindParameter(statement_.get(), position, SQL_PARAM_INPUT, cType, sqlType,
                                    size, digits, data, length, &bound.indicator),
                   "SQLBindParameter");
}

}  // namespace platform
