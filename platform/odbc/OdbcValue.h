// Reading one column of a fetched row as a runtime::Variant, with no digit or character of
// the value lost or changed on the way. NULL reads as Null.
//
// Where every row has the column's type, that type decides: timestamps, dates and times
// read as Date, BIT as Boolean, other non-numbers as UTF-8 text. Where each row's value has
// a type of its own (SQLite), the row's text decides: a date column's text that reads as a
// date is a Date, anything else a number or text as below. A column declared BOOLEAN or BIT
// there holds integers like any other, so its 1 and 0 stay numbers.
//
// A number reads as Long (whole, 32 bits) or Double only when the 15-digit text of that
// number gives it back exactly; otherwise it reads as its exact text: more digits than 15,
// the trailing zeros of a decimal (12.50), SQLite's 7.0 and 1.0e+20, a text that merely
// holds digits (007).
#pragma once

#include "platform/odbc/OdbcHandle.h"
#include "runtime/Variant.h"

namespace platform {

// Reads `column` (1-based) of the current row of `statement`, whose column type is
// `sqlType`; `typedPerRow` where each row's value has a type of its own. A column can be
// read only once per row.
runtime::Variant ReadOdbcColumn(const OdbcHandle& statement, SQLUSMALLINT column,
                                SQLSMALLINT sqlType, bool typedPerRow);

}  // namespace platform
