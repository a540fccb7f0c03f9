// Starting, stopping and the timer-driven schedule.
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
  const Lines refreshed = {"TagsRefreshed", "ConditionsRefreshed", "DescriptorsRefreshed",
                           "TestsRefreshed"};
  Lines expected = refreshed;
  expected.insert(expected.end(), {"SubgroupSaved", "CollectionTimeSet"});
  EXPECT_EQ(events, expected);
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
  EXPECT_FALSE(engine.IsRunning() || timer->running);
  expected = refreshed;
  expected.insert(expected.end(), {"CollectionError", "CollectionTimeSet", "EngineStopped"});
  EXPECT_EQ(events, expected);
  testsupport::ManualTimer* first = timer;
  ASSERT_TRUE(engine.StartEngine(configuration));
  EXPECT_EQ(timer, first) << "the timer is kept";
  EXPECT_TRUE(timer->running);
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
  EXPECT_EQ(LastError(),
            (Lines{"429 - ActiveX component can't create object", "An unexpected error occurred",
                   "Function: Engine1.StartEngine generated an unexpected error."}));
  EXPECT_TRUE(engine.StopEngine()) << "stopping an engine without a timer is harmless";
  Lines expected = {"Line 1|" + runtime::Join(LastError(), "|")};

  components.timerFactory = timers;
  Start();
  TickDue();
  EXPECT_EQ(events, (Lines{"CollectionTimeSet"})) << "no tags: no query, nothing recorded";
  EXPECT_TRUE(engine.StopEngine());

  EXPECT_TRUE(engine.StartEngine(nullptr));
  EXPECT_EQ(engine.NextCollectionTime(), runtime::Date{});
  timer->Tick();
  timer->Tick();
  for (const char* name : {"SetNextSubgroupPeriod", "CollectSample", "SetNextRetryPeriod",
                           "CollectSample", "SetNextRetryPeriod"}) {
    expected.push_back(std::string("|91 - Object variable or With block variable not set|"
                                   "An unexpected error occurred|Function: Engine1.") +
                       name + " generated an unexpected error.");
  }
  EXPECT_EQ(Log(), expected);
}

}  // namespace
}  // namespace enginetest
