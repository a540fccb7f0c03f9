// Starting, stopping and the timer-driven schedule.
#include <chrono>
#include <utility>

#include "runtime/Text.h"
#include "tests/engine/EngineFixture.h"

namespace enginetest {
namespace {

TEST_F(EngineTest, SuccessPlansOnTheSubgroupGridOtherwiseTheRetryGridAndRestartResets) {
  SetValue("FIC101", "12.5", "2024-05-01 10:00:00");
  Load({"TEST=Weights\tNet\t%TAG(Value, FIC101)\t", "CONDITION=0\t%TAG(FIC101)\t2\t5"});
  ASSERT_TRUE(engine.StartEngine(configuration));
  EXPECT_EQ(events, (Lines{"CollectionTimeSet", "EngineStarted"}));
  EXPECT_TRUE(engine.IsRunning() && timer->running);
  EXPECT_EQ(timer->interval, 100);
  ExpectArmed();
  EXPECT_EQ(Next(), "2024-05-01 10:15:00");
  events.clear();

  // The first tick strictly after the planned time collects; a tick during it is skipped.
  timer->Tick();
  TickAt(runtime::Date{engine.NextCollectionTime().serial - 0.1 / 86400});
  TickAt(engine.NextCollectionTime());
  EXPECT_TRUE(events.empty());
  int nested = 0;
  runtime::Subscription reenter = engine.TagsRefreshed.Subscribe([&] {
    ++nested;
    timer->Tick();
  });
  TickDue();
  EXPECT_EQ(nested, 1);
  const std::string refreshed =
      "TagsRefreshed ConditionsRefreshed DescriptorsRefreshed TestsRefreshed ";
  EXPECT_EQ(runtime::Join(events, " "), refreshed + "SubgroupSaved CollectionTimeSet");
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  EXPECT_EQ(engine.LastSavedSubgroup(), clock.Now());
  EXPECT_EQ(Next(), "2024-05-01 10:30:00");

  SetValue("FIC101", "3", "2024-05-01 10:20:00");
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  EXPECT_EQ(Next(), "2024-05-01 10:31:00");
  SetValue("FIC101", "7", "2024-05-01 10:30:30");
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(Next(), "2024-05-01 10:45:00");
  EXPECT_TRUE(Log().empty()) << "an unmet condition is no error";

  configuration->GetTestItem(1)->SetValue("not a number");
  events.clear();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|13 - Type mismatch|Subgroup Save Error|"}));
  EXPECT_EQ(Next(), "2024-05-01 10:46:00");

  EXPECT_TRUE(engine.StopEngine());
  EXPECT_FALSE(engine.IsRunning() || timer->running || timer->armedFor);
  EXPECT_EQ(runtime::Join(events, " "),
            refreshed + "CollectionError CollectionTimeSet EngineStopped");
  testsupport::ManualTimer* first = timer;
  ASSERT_TRUE(engine.StartEngine(configuration));
  EXPECT_EQ(timer, first) << "the timer is kept";
  EXPECT_TRUE(timer->running);
  ExpectArmed();
  EXPECT_EQ(engine.SavedSubgroups(), 0);
  EXPECT_EQ(engine.LastSavedSubgroup(), runtime::Date{});
  EXPECT_EQ(engine.LastErrorTime(), runtime::Date{});
  EXPECT_EQ(LastError(), (Lines{"", "", ""}));
  EXPECT_EQ(Log().size(), 1u) << "the log keeps its lines";
}

TEST_F(EngineTest, UnexpectedErrorsNameTheProcedureAndNothingToCollectIsQuiet) {
  const auto timers = std::exchange(components.timerFactory, nullptr);
  Load({});
  EXPECT_FALSE(engine.StartEngine(configuration));
  const std::string notSet = "91 - Object variable or With block variable not set";
  Lines expected = {"Line 1|" +
                    Unexpected("429 - ActiveX component can't create object", "StartEngine")};
  EXPECT_EQ("Line 1|" + runtime::Join(LastError(), "|"), expected[0]);
  EXPECT_FALSE(engine.StopEngine()) << "an engine without a timer has nothing to stop";
  expected.push_back("Line 1|" + Unexpected(notSet, "StopEngine"));

  components.timerFactory = timers;
  Start();
  const int connections = components.connectionsCreated;
  TickDue();
  EXPECT_EQ(events, (Lines{"CollectionTimeSet"})) << "no tags: no query, nothing recorded";
  EXPECT_EQ(components.connectionsCreated, connections);
  EXPECT_TRUE(engine.StopEngine());

  // Nothing can be planned without a configuration: the fallback, never at once.
  clock.Set(At("2024-05-01 10:07:30"));
  EXPECT_TRUE(engine.StartEngine(nullptr));
  EXPECT_EQ(Next(), "2024-05-01 10:08:30");
  timer->Tick();
  TickDue();
  for (const char* name :
       {"SetNextSubgroupPeriod", "SetNextRetryPeriod", "CollectSample", "SetNextRetryPeriod"}) {
    expected.push_back("|" + Unexpected(notSet, name));
  }
  EXPECT_EQ(Log(), expected);
  EXPECT_EQ(Next(), "2024-05-01 10:09:30");
}

// A unit code outside 0-3 (a hand-edited file) is reported and planned around, never by
// collecting on every tick.
TEST_F(EngineTest, UnitCodesOutsideTheTableAreReportedAndNeverCollectAtOnce) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  const std::string subgroup = "Line 1|Invalid Schedule|Subgroup unit ";
  const std::string retry = "Line 1|Invalid Schedule|Retry unit ";
  const std::string table = " is not one of 0 (Seconds), 1 (Minutes), 2 (Hours), 3 (Days)|";
  const std::string byRetry = "The next collection is planned by the retry settings.";
  const std::string fallback = "The next attempt is planned 60 seconds from now.";
  const struct {
    const char* units;
    Lines atStart;
    std::string next;
    int collections;  // in the 595 seconds after the first
  } cases[] = {
      {"SUBGROUPUNIT=4", {subgroup + "4" + table + byRetry}, "2024-05-01 10:08:00", 9},
      {"SUBGROUPUNIT=9\r\nRETRYUNIT=9",
       {subgroup + "9" + table + byRetry, retry + "9" + table + fallback},
       "2024-05-01 10:08:30",
       9},
      {"RETRYUNIT=4", {}, "2024-05-01 10:15:00", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.units);
    clock.Set(At("2024-05-01 10:07:30"));
    const size_t before = Log().size();
    Load({"TEST=G\tI\t%TAG(A)\t", c.units});
    Start();
    const Lines logged = Log();
    EXPECT_EQ(Lines(logged.begin() + before, logged.end()), c.atStart);
    EXPECT_EQ(Next(), c.next);

    // A tick every 100 ms for almost ten minutes after the first collection.
    TickDue();
    const int32_t first = engine.SavedSubgroups();
    const double from = clock.Now().serial;
    for (int tick = 1; tick <= 5950; ++tick) TickAt(runtime::Date{from + tick * 0.1 / 86400});
    EXPECT_EQ(engine.SavedSubgroups() - first, c.collections);
  }
  // A bad retry unit shows when a collection fails.
  configuration->SetDataLink("");
  const Lines failed = Cycle();
  ASSERT_EQ(failed.size(), 2u);
  EXPECT_EQ(failed[1], retry + "4" + table + fallback);
  EXPECT_EQ(engine.NextCollectionTime().serial, clock.Now().serial + 60.0 / 86400);
}

// Berlin's clocks go back from 03:00 summer time to 02:00 winter time on 2026-10-25 and
// forward from 02:00 to 03:00 on 2026-03-29. Real time passes in timer ticks: the first
// collection after the change is the next grid point the clock reaches, the start of the
// repeated hour included, and nothing is reported late.
TEST_F(EngineTest, DaylightSavingNightsKeepTheGridAndReportNothingLate) {
  SetValue("A", "1", "2026-01-01 00:00:00");
  const struct {
    int interval, unit;
    const char* start;
    int change, end;  // seconds of real time from the start
    int shift;        // hours
    const char* saved;
  } nights[] = {
      {10, 0, "2026-10-25 02:59:30", 30, 55, -1, "02:59:40 02:59:50 02:00:00 02:00:10 02:00:20"},
      {15, 1, "2026-10-25 02:20:00", 2400, 3360, -1, "02:30:00 02:45:00 02:00:00 02:15:00"},
      {10, 0, "2026-03-29 01:59:30", 30, 55, 1, "01:59:40 01:59:50 03:00:00 03:00:10 03:00:20"},
      {15, 1, "2026-03-29 01:20:00", 2400, 3360, 1, "01:30:00 01:45:00 03:00:00 03:15:00"},
  };
  for (const auto& night : nights) {
    SCOPED_TRACE(night.start);
    Load({"TEST=G\tI\t%TAG(A)\t", "SUBGROUPINTERVAL=" + std::to_string(night.interval),
          "SUBGROUPUNIT=" + std::to_string(night.unit)});
    const runtime::Date start = At(night.start);
    clock.Set(start);
    Start();
    Lines saved;
    runtime::Subscription record = engine.SubgroupSaved.Subscribe(
        [&] { saved.push_back(runtime::FormatLongTime(engine.LastSavedSubgroup())); });
    const size_t lines = Log().size();
    for (int tick = 1; tick <= night.end * 10; ++tick) {
      const auto real = std::chrono::milliseconds(tick * 100);
      const auto wall =
          real + std::chrono::hours(real.count() >= night.change * 1000 ? night.shift : 0);
      clock.Step(runtime::Shifted(start, wall), std::chrono::milliseconds(100));
      timer->Tick();
    }
    EXPECT_EQ(runtime::Join(saved, " "), night.saved);
    EXPECT_EQ(Log().size(), lines) << Log().back();
  }
}

// A clock set by hand or by an NTP step. Back: the plan is made again on the same grid and
// with the same settings for the time the clock now reads; forward: one collection and
// nothing reported missed, past 2038 too, where the grid (synchronised in 2038 here) and
// date conditions work as before.
TEST_F(EngineTest, ClockStepsReplanOnTheSameGrid) {
  SetValue("A", "1", "2024-10-27 00:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t", "CONDITION=0\t%TAG(Date, A)\t4\t2100-01-01",
        "CONDITION=0\t%TAG(Date, A)\t2\t1850-01-01"});
  configuration->SetSyncTime(runtime::DateToSerialTime(At("2038-06-01 08:00:00")));
  clock.Set(At("2024-10-27 10:20:00"));
  Start();
  timer->Tick();
  const auto stepTo = [&](const char* time) {
    clock.Step(At(time), std::chrono::milliseconds(100));
    timer->Tick();
    ExpectArmed();
  };
  stepTo("2024-10-27 10:00:00.05");
  EXPECT_EQ(engine.SavedSubgroups(), 1) << "the grid point the clock stepped back to";
  EXPECT_EQ(Next(), "2024-10-27 10:15:00");
  TickAt(At("2024-10-27 10:00:00"));
  EXPECT_EQ(Next(), "2024-10-27 10:15:00") << "less than a tick back is no step";

  // A retry follows the clock by the retry grid.
  configuration->SetDataLink("");
  TickAt(At("2024-10-27 10:15:00.1"));
  EXPECT_EQ(Next(), "2024-10-27 10:16:00");
  TickAt(At("2024-10-27 10:10:00"));
  EXPECT_EQ(Next(), "2024-10-27 10:11:00");

  configuration->SetDataLink(historian);
  const Lines lines = Log();
  stepTo("2024-10-27 15:00:00.1");
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(Next(), "2024-10-27 15:15:00");
  SetValue("A", "1", "2099-03-01 00:00:00");
  stepTo("2099-03-01 10:07:30");
  EXPECT_EQ(engine.SavedSubgroups(), 3);
  EXPECT_EQ(Next(), "2099-03-01 10:15:00");
  EXPECT_EQ(Log(), lines);
}

// A collection that starts more than one subgroup period after the first collection time it
// could serve says what it missed and why, once; the schedule itself does not catch up.
TEST_F(EngineTest, ALateStartRecordsTheCollectionTimesItMissed) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t"});
  Start();
  const auto late = [](const char* missed, const char* planned, const char* by,
                       const std::string& why) {
    return std::string("Line 1|Collection Started Late|") + missed +
           " collection times missed: the collection planned for 2024-05-01 " + planned +
           " started " + by + " late (subgroup period 15 min 0 s)|" + why;
  };
  const std::string noTick = "timer tick came in time (the host was blocked or suspended)";
  TickAt(At("2024-05-01 10:30:00.5"));  // 10:30 passed before this start, by half a second
  EXPECT_EQ(Log(), Lines{"Line 1|Collection Started Late|1 collection time missed: the "
                         "collection planned for 2024-05-01 10:15:00 started 15 min 0 s late "
                         "(subgroup period 15 min 0 s)|No " +
                         noTick + "; no collection ran before it since the engine started."});
  EXPECT_EQ(Next(), "2024-05-01 10:45:00");

  TickAt(At("2024-05-01 11:32:10"));
  EXPECT_EQ(Log().back(), late("3", "10:45:00", "47 min 10 s",
                               "No " + noTick + "; the previous collection took 0 s."));
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(Next(), "2024-05-01 11:45:00");

  // A collection held up inside (a step waiting on a lock) for 40 minutes: the collection
  // times that passed meanwhile are missed, whether the next tick comes in time or not.
  const auto stuck = [&] {
    runtime::Subscription held = engine.TagsRefreshed.Subscribe(
        [&] { clock.Set(runtime::Date{clock.Now().serial + 40.0 / 1440}); });
    TickDue();
  };
  const std::string ranLong =
      "The previous collection itself ran long: 40 min 0 s, past the "
      "collection times that fell due meanwhile";
  stuck();
  EXPECT_EQ(Next(), "2024-05-01 12:30:00");
  TickDue();
  EXPECT_EQ(Log().back(), late("2", "12:00:00", "30 min 0 s", ranLong + "."));
  stuck();
  TickAt(At("2024-05-01 14:00:00"));
  EXPECT_EQ(Log().back(),
            late("4", "13:00:00", "1 h 0 min 0 s", ranLong + "; then no " + noTick + "."));
  EXPECT_EQ(Log().size(), 4u) << "one line per late start";

  // A restart forgets the collection times that passed while the last collection ran.
  stuck();
  Start();
  TickAt(At("2024-05-01 15:35:00"));
  EXPECT_EQ(Log().back(), late("2", "15:00:00", "35 min 0 s",
                               "No " + noTick +
                                   "; no collection ran before it since the "
                                   "engine started."));
}

}  // namespace
}  // namespace enginetest
