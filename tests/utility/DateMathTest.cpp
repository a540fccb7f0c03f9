#include "platform/utility/DateMath.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "runtime/Error.h"

namespace {

runtime::Date At(const char* text) {
  return runtime::ParseDate(text).value();
}

class DateMathTest : public ::testing::Test {
 protected:
  std::string Next(const char* base, const char* now, int32_t unit, int32_t interval) {
    return runtime::FormatGeneralDate(math.NextPeriodTime(At(base), At(now), unit, interval));
  }
  platform::DateMath math;
};

TEST_F(DateMathTest, SerialTimesCountSecondsSince1970OnTheWallClock) {
  EXPECT_EQ(runtime::FormatGeneralDate(math.SerialToDate(0)), "1970-01-01");
  EXPECT_EQ(runtime::FormatGeneralDate(math.SerialToDate(2147483647)), "2038-01-19 03:14:07");
  EXPECT_EQ(math.DateToSerial(At("2024-03-31 02:30:00")), 1711852200) << "a skipped wall time too";
  EXPECT_EQ(math.DateToSerial(math.SerialToDate(-2147483647 - 1)), -2147483647 - 1);
}

TEST_F(DateMathTest, TheNextPointLiesStrictlyAfterNowOnTheGridThroughBase) {
  const char* now = "2024-05-01 10:07:30";
  EXPECT_EQ(Next("2024-01-01 08:00:00", now, 1, 15), "2024-05-01 10:15:00");
  EXPECT_EQ(Next("2030-01-01 08:00:00", now, 1, 15), "2024-05-01 10:15:00") << "base after now";
  EXPECT_EQ(Next("2024-05-01 10:07:30", now, 0, 1), "2024-05-01 10:07:31") << "now is base";
  EXPECT_EQ(Next("2024-01-01 08:00:00", "2024-05-01 10:15:00", 1, 15), "2024-05-01 10:30:00");
  EXPECT_EQ(Next("2024-01-01 08:00:00", "2024-05-01 10:14:59.999", 1, 15), "2024-05-01 10:15:00");
  EXPECT_EQ(Next("2024-01-01 08:00:00", "2024-05-01 10:15:00.001", 1, 15), "2024-05-01 10:30:00");
  EXPECT_EQ(Next("2024-01-01 08:20:00", now, 2, 3), "2024-05-01 11:20:00");
  EXPECT_EQ(Next("2024-01-01 08:00:00", now, 3, 7), "2024-05-06 08:00:00");
  EXPECT_EQ(Next("2024-01-01 08:00:00", "2023-12-31 09:00:00", 3, 2), "2024-01-01 08:00:00");
}

TEST_F(DateMathTest, ABaseFiftyYearsAwayGivesTheExactGridPoint) {
  // On the grid, after now, and at most one step after now: exactly the next point.
  const runtime::Date now = At("2024-05-01 10:07:30.5");
  for (const char* base : {"1974-05-01 10:07:30", "2074-05-01 10:07:30"}) {
    const runtime::Date next = math.NextPeriodTime(At(base), now, 0, 7);
    const int64_t fromBase = runtime::DateDiffSeconds(At(base), next);
    EXPECT_EQ(fromBase % 7, 0) << base;
    EXPECT_GT(next, now) << base;
    EXPECT_LE(runtime::DateDiffSeconds(now, next), 7) << base;
  }
  EXPECT_EQ(Next("1901-12-14 00:00:00", "2038-01-18 23:59:59", 3, 1), "2038-01-19");
}

// The grid is one of wall-clock times, so daylight saving moves nothing, whatever TZ says.
TEST_F(DateMathTest, DaylightSavingChangesKeepTheWallClockGrid) {
  const std::string saved = std::getenv("TZ") ? std::getenv("TZ") : "";
  for (const char* zone : {"Europe/Berlin", "America/New_York", "UTC"}) {
    setenv("TZ", zone, 1);
    tzset();
    // Berlin skips 02:00-03:00 on 2024-03-31 and repeats 02:00-03:00 on 2024-10-27.
    EXPECT_EQ(Next("2024-03-01 08:00:00", "2024-03-31 07:59:59", 3, 1), "2024-03-31 08:00:00");
    EXPECT_EQ(Next("2024-03-01 08:00:00", "2024-03-31 08:00:00", 3, 1), "2024-04-01 08:00:00");
    EXPECT_EQ(Next("2024-10-01 08:00:00", "2024-10-27 08:30:00", 3, 1), "2024-10-28 08:00:00");
    EXPECT_EQ(Next("2024-01-01 00:00:00", "2024-03-31 01:30:00", 2, 1), "2024-03-31 02:00:00")
        << "the skipped hour's point: the first tick after the gap collects";
    EXPECT_EQ(Next("2024-01-01 00:00:00", "2024-03-31 03:00:00.1", 2, 1), "2024-03-31 04:00:00");
    EXPECT_EQ(Next("2024-01-01 00:00:00", "2024-10-27 02:30:00", 2, 1), "2024-10-27 03:00:00");
    EXPECT_EQ(Next("2024-01-01 00:00:00", "2024-10-27 02:59:00", 1, 30), "2024-10-27 03:00:00");
  }
  saved.empty() ? unsetenv("TZ") : setenv("TZ", saved.c_str(), 1);
  tzset();
}

TEST_F(DateMathTest, IntervalsBelowOneAndBadUnitsNeitherHangNorDivideByZero) {
  const char* base = "2024-01-01 08:00:00";
  const char* now = "2024-05-01 10:07:30";
  EXPECT_EQ(Next(base, now, 1, 0), "2024-05-01 10:08:00") << "zero counts as one";
  EXPECT_EQ(Next(base, now, 1, -15), "2024-05-01 10:15:00") << "the same grid as 15";
  const runtime::Date widest = math.NextPeriodTime(At(base), At(now), 0, -2147483647 - 1);
  EXPECT_EQ(runtime::DateDiffSeconds(At(base), widest), 2147483648LL);
  for (int32_t unit : {-1, 4}) {
    try {
      math.NextPeriodTime(At(base), At(now), unit, 1);
      ADD_FAILURE() << "unit " << unit;
    } catch (const runtime::Error& e) {
      EXPECT_EQ(e.Number(), runtime::kInvalidProcedureCall);
    }
  }
  try {
    math.NextPeriodTime(At("9999-12-31 08:00:00"), At("9999-12-31 09:00:00"), 3, 1);
    ADD_FAILURE() << "beyond the year 9999";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), runtime::kOverflow);
  }
}

}  // namespace
