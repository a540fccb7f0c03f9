// Reading one column of a fetched row as a runtime::Variant chosen by the column's SQL
// type: timestamps, dates and times as Date, integers as Long (Double beyond 32 bits),
// other numbers as Double, BIT as Boolean, anything else as UTF-8 text, NULL as Null.
#pragma once

#include "platform/odbc/OdbcHandle.h"
#include "runtime/Variant.h"

namespace platform {

// Reads `column` (1-based) of the current row of `statement`. A column can be read only
// once per row.
runtime::Variant ReadOdbcColumn(const OdbcHandle& statement, SQLUSMALLINT column,
                                SQLSMALLINT sqlType);

}  // namespace platform
