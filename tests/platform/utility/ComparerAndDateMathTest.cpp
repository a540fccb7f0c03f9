#include "platform/utility/Comparer.h"
#include "platform/utility/DateMath.h"

#include <gtest/gtest.h>

#include <string>

#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"

namespace {

using runtime::Variant;

TEST(ComparerTest, CodesOneToSixRelateTheFirstValueToTheSecond) {
  platform::Comparer comparer;
  // a, b, and for codes 1 to 6 (= > >= < <= <>) whether a relates so to b.
  const std::tuple<Variant, Variant, const char*> cases[] = {
      {3.0, 5, "FFFTTT"},
      {5, 5.0, "TFTFTF"},  // a Long and a Double compare by value
      {int32_t{200}, int32_t{100}, "FTTFFT"},
      {runtime::Date{2.5}, runtime::Date{2.5}, "TFTFTF"},
      {"abc", "ABD", "FTTFFT"},  // byte-wise: lower case after upper case
      {"abc", "abc", "TFTFTF"},
      {"abc", "abcd", "FFFTTT"},
      {"\xC3\xA9", "z", "FTTFFT"},  // bytes compare unsigned: UTF-8 after ASCII
      {"10", 9, "FFFTTT"},          // text against a number compares texts
  };
  for (const auto& [a, b, expected] : cases) {
    std::string results;
    for (int32_t code = 1; code <= 6; ++code)
      results += comparer.CompareValues(a, code, b) ? 'T' : 'F';
    EXPECT_EQ(results, expected) << runtime::ToText(a) << " vs " << runtime::ToText(b);
  }
  for (int32_t code : {0, 7, -1}) EXPECT_FALSE(comparer.CompareValues(1, code, 1)) << code;
  EXPECT_EQ(ErrorOf([&] { comparer.CompareValues(runtime::Null, 1, "x"); }),
            runtime::kInvalidUseOfNull);
}

runtime::Date At(const char* text) {
  return runtime::ParseDate(text).value();
}

// The grid is one of wall-clock times, so daylight saving moves nothing.
TEST(DateMathTest, TheNextPointLiesStrictlyAfterNowOnTheGridThroughBaseUpTo9999) {
  const char* now = "2024-05-01 10:07:30";
  // The grid's base, now, unit, interval, and the next point.
  const std::tuple<const char*, const char*, int32_t, int32_t, const char*> cases[] = {
      {"2024-01-01 08:00:00", now, 1, 15, "2024-05-01 10:15:00"},
      {"2030-01-01 08:00:00", now, 1, 15, "2024-05-01 10:15:00"},  // base after now
      {now, now, 0, 1, "2024-05-01 10:07:31"},
      {"2024-01-01 08:00:00", "2024-05-01 10:15:00", 1, 15, "2024-05-01 10:30:00"},
      {"2024-01-01 08:00:00", "2024-05-01 10:14:59.999", 1, 15, "2024-05-01 10:15:00"},
      {"2024-01-01 08:00:00", "2024-05-01 10:15:00.001", 1, 15, "2024-05-01 10:30:00"},
      {"2024-01-01 08:20:00", now, 2, 3, "2024-05-01 11:20:00"},
      {"2024-01-01 08:00:00", now, 3, 7, "2024-05-06 08:00:00"},
      {"2024-01-01 08:00:00", "2023-12-31 09:00:00", 3, 2, "2024-01-01 08:00:00"},
      {"2024-01-01 08:00:00", now, 1, 0, "2024-05-01 10:08:00"},    // zero counts as one
      {"2024-01-01 08:00:00", now, 1, -15, "2024-05-01 10:15:00"},  // the grid of 15
      {"2024-01-01 08:00:00", now, 0, -2147483647 - 1, "2092-01-19 11:14:08"},
      // Fifty years away, computed exactly.
      {"1974-05-01 10:07:30", "2024-05-01 10:07:30.5", 0, 7, "2024-05-01 10:07:37"},
      {"2074-05-01 10:07:30", "2024-05-01 10:07:30.5", 0, 7, "2024-05-01 10:07:31"},
      {"1901-12-14 00:00:00", "2038-01-18 23:59:59", 3, 1, "2038-01-19"},
      // Berlin skips 02:00-03:00 on 2024-03-31 and repeats 02:00-03:00 on 2024-10-27.
      {"2024-03-01 08:00:00", "2024-03-31 08:00:00", 3, 1, "2024-04-01 08:00:00"},
      {"2024-10-01 08:00:00", "2024-10-27 08:30:00", 3, 1, "2024-10-28 08:00:00"},
      {"2024-01-01 00:00:00", "2024-03-31 01:30:00", 2, 1, "2024-03-31 02:00:00"},
      {"2024-01-01 00:00:00", "2024-10-27 02:30:00", 2, 1, "2024-10-27 03:00:00"},
  };
  platform::DateMath math;
  for (const auto& [base, at, unit, interval, next] : cases) {
    EXPECT_EQ(runtime::FormatGeneralDate(math.NextPeriodTime(At(base), At(at), unit, interval)),
              next)
        << base << " " << at << " " << unit << " " << interval;
  }
  // Bad units, and results past 9999.
  const runtime::Date base = At("2024-01-01 08:00:00"), late = At("9999-12-31 09:00:00");
  for (int32_t unit : {-1, 4}) {
    EXPECT_EQ(ErrorOf([&] { math.NextPeriodTime(base, late, unit, 1); }),
              runtime::kInvalidProcedureCall);
  }
  EXPECT_EQ(ErrorOf([&] { math.NextPeriodTime(At("9999-12-31 08:00:00"), late, 3, 1); }),
            runtime::kOverflow);
}

}  // namespace
