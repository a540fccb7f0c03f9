#include "runtime/Date.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <string>
#include <tuple>

#include "runtime/Clock.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/TestClock.h"

using namespace runtime;

namespace {

Date At(int y, int mo, int d, int h = 0, int mi = 0, int s = 0, double ms = 0) {
  return Date{MakeDate({y, mo, d, h, mi, s}).serial + ms / 86400000.0};
}

}  // namespace

TEST(Date, SerialsCountDaysFrom1899AndKeepTheNegativeConventionInEveryForm) {
  EXPECT_EQ(MakeDate({2000, 3, 1, 12}).serial, 36586.5);
  EXPECT_EQ(MakeDate({1899, 12, 29, 6}).serial, -1.25);
  const DateParts p = SplitDate(Date{-1.25});
  EXPECT_EQ((std::tuple(p.year, p.month, p.day, p.hour)), std::tuple(1899, 12, 29, 6));
  // The general text drops a midnight time and the zero date; it rounds to the second.
  EXPECT_EQ(FormatGeneralDate(Date{-0.5}), "12:00:00");
  EXPECT_EQ(FormatGeneralDate(At(1999, 12, 31, 23, 59, 59, 600)), "2000-01-01");
  EXPECT_EQ(FormatShortDate(At(812, 5, 6, 7, 8, 9)), "0812-05-06");
  EXPECT_EQ(FormatLongTime(At(812, 5, 6, 7, 8, 9)), "07:08:09");
  // Carry-over of out-of-range parts.
  EXPECT_EQ(MakeDate({2023, 14, 1}), MakeDate({2024, 2, 1}));
  EXPECT_EQ(MakeDate({2024, 3, 1, 0, 0, -1}), MakeDate({2024, 2, 29, 23, 59, 59}));
  EXPECT_EQ(ErrorOf([] { MakeDate({10000, 1, 1}); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { SplitDate(Date{1e300}); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { FormatGeneralDate(Date{std::nan("")}); }), kOverflow);
}

TEST(Date, ParseAndFormatRoundTrip) {
  const std::pair<const char*, const char*> cases[] = {
      {"2024-02-29", "2024-02-29"},
      {" 2000-02-29 00:00:00 ", "2000-02-29"},
      {"1999-12-31 23:59", "1999-12-31 23:59:00"},
      {"2024-02-29T13:45:10.250", "2024-02-29 13:45:10"},
      {"12/31/1999 11:59:59 PM", "1999-12-31 23:59:59"},
      {"1/2/2003 12:05 am", "2003-01-02 00:05:00"},
      {"1/2/2003 12:05PM", "2003-01-02 12:05:00"},
      {"7/4/1776 9:30", "1776-07-04 09:30:00"},
      {"3/1/0100", "0100-03-01"},
      {"13:45", "13:45:00"},
      {"\t07:08:09", "07:08:09"},
  };
  for (const auto& [text, general] : cases) {
    const std::optional<Date> date = ParseDate(text);
    ASSERT_TRUE(date) << text;
    EXPECT_EQ(FormatGeneralDate(*date), general) << text;
    EXPECT_EQ(ParseDate(FormatGeneralDate(*date)), MakeDate(SplitDate(*date))) << text;
  }
  EXPECT_NEAR(ParseDate("2024-02-29T13:45:10.250")->serial, At(2024, 2, 29, 13, 45, 10, 250).serial,
              1e-9);
  EXPECT_FALSE(ParseDate(""));
  for (const char* text : {"2023-02-29", "2024-13-01", "2024-00-10", "2024-04-31", "1900-02-29",
                           "0099-12-31", "2024-01-05X", "2024-01-05 24:00", "2024-01-05 10:60",
                           "2024-01-05T", "2024-01-05 10:00:00.", "2/30/2024", "12.31.1999",
                           "2024-1-5", "10:00:60", "13:00 PM", "0:30 AM", "1/2/03", "noon"}) {
    EXPECT_FALSE(ParseDate(text)) << text;
  }
}

TEST(Date, DiffCountsBoundaries) {
  EXPECT_EQ(DateDiffSeconds(At(2024, 5, 1, 12, 0, 0, 100), At(2024, 5, 1, 12, 0, 0, 500)), 0);
  EXPECT_EQ(DateDiffSeconds(At(2024, 5, 1, 12, 0, 0, 900), At(2024, 5, 1, 12, 0, 1, 100)), 1);
  EXPECT_EQ(DateDiffSeconds(At(2024, 5, 1, 12, 0, 1, 100), At(2024, 5, 1, 12, 0, 0, 900)), -1);
  EXPECT_EQ(DateDiffSeconds(Date{-1.25}, Date{0}), 18 * 3600);
  EXPECT_EQ(DateDiffMinutes(At(2024, 5, 1, 11, 59, 59), At(2024, 5, 1, 12)), 1);
  EXPECT_EQ(DateDiffMinutes(At(2024, 5, 1, 12), At(2024, 5, 1, 12, 0, 59)), 0);
  EXPECT_EQ(DateDiffMinutes(At(2024, 5, 1, 12), At(2024, 5, 1, 11, 0, 30)), -60);
}

// Past 2038 the 32 bits read as unsigned, so every serial written before keeps its date;
// the seconds are counted on the wall clock, a time that daylight saving skips included.
TEST(Date, SerialTimeCountsSecondsSince1970UnsignedTo2106) {
  const std::pair<const char*, int32_t> cases[] = {{"1970-01-01", 0},
                                                   {"1970-01-01 00:00:01", 1},
                                                   {"2023-11-14 22:13:20", 1700000000},
                                                   {"2024-03-31 02:30:00", 1711852200},
                                                   {"2038-01-19 03:14:07", 2147483647},
                                                   {"2038-01-19 03:14:08", -2147483647 - 1},
                                                   {"2106-02-07 06:28:15", -1}};
  for (const auto& [text, serial] : cases) {
    EXPECT_EQ(DateToSerialTime(*ParseDate(text)), serial) << text;
    EXPECT_EQ(FormatGeneralDate(SerialTimeToDate(serial)), text) << serial;
  }
  EXPECT_EQ(ErrorOf([] { DateToSerialTime(At(2106, 2, 7, 6, 28, 16)); }), kOverflow);
  EXPECT_EQ(ErrorOf([] { DateToSerialTime(At(1969, 12, 31, 23, 59, 59)); }), kOverflow);
  // Whole seconds for any date, far past both ends of the serial range.
  EXPECT_EQ(EpochSeconds(At(1969, 12, 31, 23, 59, 59)), -1);
  EXPECT_EQ(EpochSeconds(At(2500, 1, 1)) - EpochSeconds(At(2499, 12, 31)), 86400);
  EXPECT_EQ(EpochSeconds(At(1800, 1, 1, 0, 0, 1)) - EpochSeconds(At(1800, 1, 1)), 1);
}

TEST(Clock, ScopedClockStandsInForTheLocalWallClockWhileItLives) {
  {
    testsupport::TestClock fixed(At(2024, 5, 1, 13, 30, 15, 250));
    EXPECT_EQ(Today(), At(2024, 5, 1));
  }
  const std::time_t seconds = std::time(nullptr);
  std::tm local{};
  localtime_r(&seconds, &local);
  const Date wall = MakeDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                              local.tm_min, local.tm_sec});
  EXPECT_LE(std::abs(DateDiffSeconds(Now(), wall)), 2);
  // The host's zone changed while it runs: the next reading is in the new one.
  const char* const zone = std::getenv("TZ");
  const std::string before = zone != nullptr ? zone : "";
  setenv("TZ", "UTC0", 1);
  const Date utc = Now();
  setenv("TZ", "JST-9", 1);
  EXPECT_NEAR(DateDiffSeconds(utc, Now()), 9 * 3600, 2);
  zone != nullptr ? setenv("TZ", before.c_str(), 1) : unsetenv("TZ");
  tzset();
  const std::chrono::nanoseconds monotonic = Monotonic();
  EXPECT_GT(monotonic.count(), 0);
  EXPECT_LE(monotonic, Monotonic());
}
