// The host timer on a real event loop: ticks at its interval, or asleep until the time it
// is armed for, woken early where the local offset changes. Setting the system clock, the
// other early wake, is not for a test to do to its machine: tried by hand, the kernel woke
// the sleeping timer at once (its read failed with ECANCELED), and it took the same way.
#include "platform/utility/QtHostTimer.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "platform/utility/OffsetChange.h"
#include "runtime/Clock.h"

namespace {

using namespace std::chrono_literals;

QCoreApplication& Application() {
  static int argc = 1;
  static char name[] = "test_platform_utility";
  static char* argv[] = {name, nullptr};
  static QCoreApplication application(argc, argv);
  return application;
}

// Runs the event loop until `ticks` ticks came or the limit passed; the wall clock (local)
// at each tick.
std::vector<runtime::Date> Ticks(platform::QtHostTimer& timer, size_t ticks,
                                 int limitMilliseconds = 5000) {
  std::vector<runtime::Date> at;
  QCoreApplication& app = Application();
  runtime::Subscription subscription = timer.OnTimer.Subscribe([&] {
    at.push_back(runtime::Now());
    if (at.size() == ticks) app.quit();
  });
  QTimer limit;
  QObject::connect(&limit, &QTimer::timeout, &app, &QCoreApplication::quit);
  limit.start(limitMilliseconds);
  app.exec();
  return at;
}

// An interval far longer than the test: every tick before it comes from the armed time.
// Ticks arrive on the owning thread's event loop.
TEST(QtHostTimerTest, ArmedItSleepsUntilJustAfterTheTimeThenTicksAtTheInterval) {
  const QThread* owner = Application().thread();
  platform::QtHostTimer timer;
  bool onOwner = true;
  runtime::Subscription subscription =
      timer.OnTimer.Subscribe([&] { onOwner = onOwner && QThread::currentThread() == owner; });
  timer.ArmFor(runtime::Shifted(runtime::Now(), 50ms));
  timer.StartTimer(60'000);
  const runtime::Date due = runtime::Shifted(runtime::Now(), 200ms);
  timer.ArmFor(runtime::Shifted(runtime::Now(), 1h));
  timer.ArmFor(due);
  const std::vector<runtime::Date> first = Ticks(timer, 1);
  ASSERT_EQ(first.size(), 1u) << "the last time armed for, not the interval";
  EXPECT_GT(first[0], due) << "the first tick strictly after the time";

  timer.StartTimer(20);
  EXPECT_EQ(Ticks(timer, 3).size(), 3u) << "past the time: ticks at the interval";
  timer.ArmFor(runtime::Date{runtime::Now().serial + 1e13});
  EXPECT_TRUE(Ticks(timer, 1, 300).empty()) << "a time beyond any clock";
  timer.ArmFor(runtime::Shifted(runtime::Now(), 100ms));
  timer.StopTimer();
  timer.ArmFor(runtime::Shifted(runtime::Now(), 100ms));
  EXPECT_TRUE(Ticks(timer, 1, 300).empty()) << "a stopped timer ignores the time";
  EXPECT_TRUE(onOwner);
}

// A zone whose summer time (+1 h) begins within two seconds: a timer armed for two hours
// later wakes there, ticks once and sleeps again until the time, an hour closer now.
TEST(QtHostTimerTest, ALocalOffsetChangeWakesItAndItSleepsAgain) {
  const std::string zone = std::getenv("TZ") ? std::getenv("TZ") : "";
  const std::time_t change = std::time(nullptr) + 2;
  std::tm start{};
  gmtime_r(&change, &start);
  char rule[64];
  std::snprintf(rule, sizeof rule, "AAA0BBB-1,%d/%02d:%02d:%02d,%d", start.tm_yday, start.tm_hour,
                start.tm_min, start.tm_sec, (start.tm_yday + 180) % 365);
  setenv("TZ", rule, 1);
  tzset();
  EXPECT_EQ(platform::NextOffsetChange(change - 10, change + 10), change);

  Application();
  platform::QtHostTimer timer;
  timer.StartTimer(60'000);
  const runtime::Date armed = runtime::Now();
  timer.ArmFor(runtime::Shifted(armed, 2h));
  const std::vector<runtime::Date> ticks = Ticks(timer, 2, 3000);
  setenv("TZ", zone.c_str(), 1);
  tzset();
  ASSERT_EQ(ticks.size(), 1u);
  EXPECT_GE(runtime::Between(armed, ticks[0]), 1h) << "after the change";
}

TEST(OffsetChangeTest, TheFirstSecondInTheNewOffsetAcrossDaysAndYears) {
  const auto utc = [](int year, int month, int day, int hour) {
    std::tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    return timegm(&time);
  };
  // Europe/Berlin (the tests' zone): summer time from 2026-03-29 01:00 UTC to 2026-10-25
  // 01:00 UTC.
  const std::time_t spring = utc(2026, 3, 29, 1), autumn = utc(2026, 10, 25, 1);
  // From, until, the change between.
  const std::tuple<std::time_t, std::time_t, std::optional<std::time_t>> cases[] = {
      {utc(2026, 10, 24, 12), utc(2026, 10, 25, 12), autumn},
      {utc(2026, 1, 1, 0), utc(2027, 1, 1, 0), spring},
      {spring, autumn - 1, std::nullopt},
      {spring - 1, spring, spring},
      {spring - 1, spring - 1, std::nullopt},
  };
  for (const auto& [from, until, change] : cases)
    EXPECT_EQ(platform::NextOffsetChange(from, until), change);
}

}  // namespace
