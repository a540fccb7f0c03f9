// Starting, stopping and the timer-driven schedule.
#include "tests/engine/EngineFixture.h"

namespace enginetest {
namespace {

const std::vector<std::string> kOneTest = {"TEST=Weights\tNet\t%TAG(Value, FIC101)\t"};

TEST_F(EngineTest, StartPlansTheFirstCollectionAndRunsItOnTheFirstTickAfterIt) {
  SetValue("FIC101", "12.5", "2024-05-01 10:00:00");
  Load(kOneTest);
  ASSERT_TRUE(engine.StartEngine(configuration));
  EXPECT_EQ(events, (Lines{"CollectionTimeSet", "EngineStarted"}));
  EXPECT_TRUE(engine.IsRunning());
  EXPECT_TRUE(timer->running);
  EXPECT_EQ(timer->interval, 100);
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:15:00");
  events.clear();

  timer->Tick();
  TickAt(runtime::Date{engine.NextCollectionTime().serial - 0.1 / 86400});
  TickAt(engine.NextCollectionTime());
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(engine.SavedSubgroups(), 0);

  TickDue();
  EXPECT_EQ(events, (Lines{"TagsRefreshed", "ConditionsRefreshed", "DescriptorsRefreshed",
                           "TestsRefreshed", "SubgroupSaved", "CollectionTimeSet"}));
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  EXPECT_EQ(engine.LastSavedSubgroup(), clock.Now());
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:30:00");
  EXPECT_EQ(subgroup->SinceClear(), (Lines{"LookupTestGroup Weights", "LookupTest Net",
                                           "AddReading 12.5 1 0 [] []", "Save 0"}));
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(EngineTest, FailuresAndUnmetConditionsRetryOnTheRetryGrid) {
  SetValue("FIC101", "3", "2024-05-01 10:00:00");
  Load({kOneTest[0], "CONDITION=0\t%TAG(FIC101)\t2\t5"});
  Start();
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 0);
  EXPECT_FALSE(configuration->GetConditionItem(1)->IsValid());
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:16:00");
  EXPECT_TRUE(LogLines().empty()) << "an unmet condition is no error";

  SetValue("FIC101", "7", "2024-05-01 10:16:00");
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:30:00");

  configuration->GetTestItem(1)->SetValue("not a number");
  TickDue();
  EXPECT_EQ(engine.LastErrorDetail(), "Subgroup Save Error");
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:31:00");
}

TEST_F(EngineTest, RestartClearsCountersAndTheLastError) {
  SetValue("FIC101", "1", "2024-05-01 10:00:00");
  Load(kOneTest);
  Start();
  TickDue();
  SetValue("FIC101", "x", "2024-05-01 10:20:00");
  TickDue();
  ASSERT_EQ(engine.SavedSubgroups(), 1);
  ASSERT_EQ(engine.LastErrorDescription(), "13 - Type mismatch");

  EXPECT_TRUE(engine.StopEngine());
  EXPECT_FALSE(engine.IsRunning());
  EXPECT_FALSE(timer->running);
  EXPECT_EQ(events, (Lines{"TagsRefreshed", "ConditionsRefreshed", "DescriptorsRefreshed",
                           "TestsRefreshed", "SubgroupSaved", "CollectionTimeSet", "TagsRefreshed",
                           "ConditionsRefreshed", "DescriptorsRefreshed", "TestsRefreshed",
                           "CollectionError", "CollectionTimeSet", "EngineStopped"}));
  testsupport::ManualTimer* first = timer;
  ASSERT_TRUE(engine.StartEngine(configuration));
  EXPECT_EQ(timer, first) << "the timer is kept";
  EXPECT_TRUE(timer->running);
  EXPECT_EQ(engine.SavedSubgroups(), 0);
  EXPECT_EQ(engine.LastSavedSubgroup(), runtime::Date{});
  EXPECT_EQ(engine.LastErrorTime(), runtime::Date{});
  EXPECT_EQ(LastError(), (Lines{"", "", ""}));
  EXPECT_EQ(LogLines().size(), 1u) << "the log keeps its lines";
}

TEST_F(EngineTest, ATickDuringACollectionIsSkipped) {
  SetValue("FIC101", "1", "2024-05-01 10:00:00");
  Load(kOneTest);
  Start();
  int nested = 0;
  runtime::Subscription reenter = engine.TagsRefreshed.Subscribe([&] {
    ++nested;
    timer->Tick();
  });
  TickDue();
  EXPECT_EQ(nested, 1);
  EXPECT_EQ(engine.SavedSubgroups(), 1);
}

TEST_F(EngineTest, AnEngineWithoutConfigurationRecordsEachFailureAndKeepsTicking) {
  EXPECT_TRUE(engine.StartEngine(nullptr));
  EXPECT_EQ(engine.NextCollectionTime(), runtime::Date{});
  timer->Tick();
  timer->Tick();
  const std::string unset =
      "|91 - Object variable or With block variable not set|"
      "An unexpected error occurred|";
  std::vector<std::string> lines;
  for (const std::string& line : LogLines()) lines.push_back(WithoutTime(line));
  EXPECT_EQ(lines, (Lines{unset + "Function: Engine1.SetNextSubgroupPeriod generated an "
                                  "unexpected error.",
                          unset + "Function: Engine1.CollectSample generated an unexpected error.",
                          unset + "Function: Engine1.SetNextRetryPeriod generated an unexpected "
                                  "error.",
                          unset + "Function: Engine1.CollectSample generated an unexpected error.",
                          unset + "Function: Engine1.SetNextRetryPeriod generated an unexpected "
                                  "error."}));
}

TEST_F(EngineTest, ATimerThatCannotBeCreatedFailsTheStart) {
  components.timerFactory = nullptr;
  Load(kOneTest);
  EXPECT_FALSE(engine.StartEngine(configuration));
  EXPECT_EQ(LastError(),
            (Lines{"429 - ActiveX component can't create object", "An unexpected error occurred",
                   "Function: Engine1.StartEngine generated an unexpected error."}));
  EXPECT_TRUE(engine.StopEngine()) << "stopping an engine without a timer is harmless";
}

}  // namespace
}  // namespace enginetest
