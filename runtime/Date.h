// Dates as the system keeps them: days since 1899-12-30 00:00 as a double, in local
// wall-clock time. The fraction is the time of day. Text forms and arithmetic on dates
// live here so that every part of the system formats and parses dates the same way.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace runtime {

struct Date {
  double serial = 0.0;
  friend bool operator==(Date, Date) = default;
  friend auto operator<=>(Date, Date) = default;
};

struct DateParts {
  int year = 1899, month = 12, day = 30;
  int hour = 0, minute = 0, second = 0;
};

// Whole seconds: the time of day is rounded to the nearest second, as shown in text.
DateParts SplitDate(Date date);
Date MakeDate(const DateParts& parts);

// "yyyy-MM-dd HH:mm:ss"; only the date at midnight, only the time for a zero date part.
std::string FormatGeneralDate(Date date);
// "yyyy-MM-dd"
std::string FormatShortDate(Date date);
// "HH:mm:ss"
std::string FormatLongTime(Date date);

// Accepts the general form (with a blank or "T" between date and time, and fractions of
// a second), a date alone, a time alone, and "M/d/yyyy [h:mm[:ss] [AM|PM]]", with
// surrounding blanks. Nothing else is a date.
std::optional<Date> ParseDate(std::string_view text);

// The number of second boundaries crossed from `from` to `to` (negative backwards).
int64_t DateDiffSeconds(Date from, Date to);
// The number of minute boundaries crossed from `from` to `to`.
int64_t DateDiffMinutes(Date from, Date to);

// Whole seconds since 1970-01-01 00:00:00 of the same wall clock, rounded, for any date.
int64_t EpochSeconds(Date date);
// The same in milliseconds.
int64_t EpochMilliseconds(Date date);

// Serial time: EpochSeconds kept in 32 bits and read as unsigned, so 1970 to 2106. Out of
// that range is error 6.
int32_t DateToSerialTime(Date date);
Date SerialTimeToDate(int32_t serial);

}  // namespace runtime
