#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "config/Configuration1.h"
#include "host/ComponentsWrapper.h"
#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "tests/support/TestClock.h"

namespace {

using config::Configuration1;
using config::DescriptorItem;

TEST(ConfigurationRecord, NewAndClearedConfigurationsHaveTheDefaults) {
  testsupport::FakeComponents components;
  testsupport::TestClock clock(runtime::Date{});
  // Today at eight in the morning: past 2038, and on the day summer time starts in Berlin.
  for (const auto& [now, eight] :
       {std::pair{runtime::MakeDate({2038, 1, 20, 1}), "2038-01-20 08:00:00"},
        std::pair{runtime::MakeDate({2099, 12, 31, 23, 59, 59}), "2099-12-31 08:00:00"},
        std::pair{runtime::MakeDate({2024, 3, 31, 23, 59, 58}), "2024-03-31 08:00:00"}}) {
    clock.Set(now);
    EXPECT_EQ(runtime::FormatGeneralDate(
                  components.DateMath().SerialToDate(Configuration1(components).SyncTime())),
              eight);
  }
  Configuration1 configuration(components);
  configuration.SetData(
      "NAME=Line 3\r\nACTIVE=1\r\nSYNCTIME=12\r\nSUBGROUPINTERVAL=5\r\nRETRYUNIT=3\r\n"
      "DESCRIPTOR=1\tG\tI\r\nTEST=T\r\nCONDITION=1\tA\t1\t1");
  configuration.ClearData();
  EXPECT_EQ(configuration.GetData(),
            "NAME=\r\nACTIVE=0\r\nDATALINK=\r\nSYNCTIME=" +
                std::to_string(runtime::DateToSerialTime(runtime::MakeDate({2024, 3, 31, 8}))) +
                "\r\nSUBGROUPINTERVAL=15\r\nSUBGROUPUNIT=1\r\nRETRYINTERVAL=1\r\nRETRYUNIT=1");
}

TEST(ConfigurationRecord, ListsAreOneBasedInInsertionOrder) {
  testsupport::FakeComponents components;
  Configuration1 configuration(components);
  configuration.SetData(
      "DESCRIPTOR=5\t\tA\r\nDESCRIPTOR=5\t\tB\r\nDESCRIPTOR=1\t\tP\r\nTEST=G\tT1\r\nTEST=G\tT2\r\n"
      "TEST=G\tT3\r\nCONDITION=1\t%TAG(A)\t1\t1\r\nCONDITION=0\tB\t0\t\r\nCONDITION=0\tC\t0\t");
  for (int32_t outside : {-1, 0, 4}) {
    EXPECT_FALSE(configuration.GetDescriptorItem(outside) || configuration.GetTestItem(outside) ||
                 configuration.GetConditionItem(outside))
        << outside;
    EXPECT_FALSE(configuration.RemoveDescriptorItem(outside) ||
                 configuration.RemoveTestItem(outside) ||
                 configuration.RemoveConditionItem(outside))
        << outside;
  }
  EXPECT_EQ(configuration.GetDescriptorItem(3)->Item(), "P");
  EXPECT_EQ(configuration.GetTestItem(2)->Item(), "T2");
  EXPECT_EQ(configuration.GetDescriptorType(5)->Item(), "A");
  EXPECT_EQ(configuration.GetDescriptorType(4), nullptr);
  EXPECT_TRUE(configuration.RemoveDescriptorItem(1));
  EXPECT_EQ(configuration.GetDescriptorItem(1)->Item(), "B");
  EXPECT_EQ(configuration.GetDescriptorType(5)->Item(), "B");

  // A null item never gets in, so nothing walking the lists trips over it later.
  EXPECT_EQ(ErrorOf([&] { configuration.AddDescriptor(nullptr); }), runtime::kObjectNotSet);
  EXPECT_EQ(ErrorOf([&] { configuration.AddTest(nullptr); }), runtime::kObjectNotSet);
  EXPECT_EQ(ErrorOf([&] { configuration.AddCondition(nullptr); }), runtime::kObjectNotSet);
  std::vector<std::string> names;
  EXPECT_TRUE(configuration.GetUniqueTagNames(names));
  EXPECT_EQ(names, std::vector<std::string>{"A"});
}

TEST(ConfigurationRecord, ResolvedListsGrowOnWriteAndReadEmptyOutside) {
  DescriptorItem descriptor;
  descriptor.SetResolvedItem(5, "five");
  for (int32_t i : {0, 1, 4, 6}) EXPECT_EQ(descriptor.ResolvedItem(i), "") << i;
  EXPECT_EQ(descriptor.ResolvedItem(5), "five");
  EXPECT_EQ(ErrorOf([&] { descriptor.SetResolvedItem(0, "x"); }), runtime::kSubscriptOutOfRange);
  descriptor.ClearResolvedValues();
  EXPECT_EQ(descriptor.ResolvedItem(5), "");

  config::TestItem test;
  test.SetResolvedDefect(3, "d");
  test.SetResolvedValue(1, "v");
  EXPECT_EQ(test.ResolvedValue(1) + test.ResolvedDefect(3) + test.ResolvedGroup(3), "vd");
  EXPECT_EQ(ErrorOf([&] { test.SetResolvedGroup(-1, "g"); }), runtime::kSubscriptOutOfRange);
}

TEST(ConfigurationRecord, GrouplessDescriptorTypesHideTheirStoredGroup) {
  for (int32_t type = 0; type <= 10; ++type) {
    DescriptorItem descriptor;
    descriptor.SetDescriptorType(type);
    descriptor.SetGroup("Stored");
    descriptor.SetResolvedGroup(1, "Resolved");
    const bool groupless = type == 4 || type == 6 || type == 8 || type == 9;
    EXPECT_EQ(descriptor.Group(), groupless ? "" : "Stored") << type;
    EXPECT_EQ(descriptor.ResolvedGroup(1), groupless ? "" : "Resolved") << type;
    EXPECT_EQ(descriptor.GetData(), std::to_string(type) + "\tStored\t") << type;
  }
}

TEST(ConfigurationRecord, ConditionTurnsInvalidWhenResolvedValuesChangeOrItIsRead) {
  config::ConditionItem condition;
  for (const auto& change : std::vector<std::function<void()>>{
           [&] { condition.SetResolvedValue1(runtime::Variant(3.5)); },
           [&] { condition.SetResolvedValue2(runtime::Variant("x")); },
           [&] { condition.SetData("1\tA\t2\tB"); }}) {
    condition.SetIsValid(true);
    change();
    EXPECT_FALSE(condition.IsValid());
  }
  EXPECT_TRUE(condition.ResolvedValue1().IsEmpty());
}

TEST(ConfigurationRecord, TagItemsAreKeyedWithoutRegardToCase) {
  config::TagItems items;
  items.Add(std::make_shared<config::TagItem>(), "Line3.Weight");
  EXPECT_EQ(items.Find("Line3.Weigh"), nullptr);
  EXPECT_EQ(ErrorOf([&] { items.Add(std::make_shared<config::TagItem>(), "line3.weight"); }), 457);
  EXPECT_EQ(ErrorOf([&] { items.Item("missing"); }), 5);
  EXPECT_EQ(ErrorOf([&] { items.Item(2); }), runtime::kSubscriptOutOfRange);
  EXPECT_EQ(items.Count(), 1);
}

using testsupport::kHistorianTables;

// Each failure sets a text of its own, "number - description" of the data access error;
// a later success or a blank link keeps it.
TEST(DataLink, EachMissingPieceHasItsStateAndItsFailureTextStays) {
  testsupport::FakeComponents components;
  config::Configuration1 configuration(components);
  const std::string ready =
      testsupport::CreateSqliteDatabase(components.Root().File("ready.db"), kHistorianTables);
  configuration.SetDataLink(ready);
  EXPECT_EQ(configuration.DataLinkState(), 6);
  EXPECT_EQ(configuration.DataLinkError(), "");
  const std::pair<std::vector<std::string>, int32_t> cases[] = {
      {{}, 2},                                                        // no tables
      {{"CREATE TABLE ihTags (Name TEXT)", kHistorianTables[1]}, 2},  // no Tagname
      {{kHistorianTables[0]}, 3},                                     // no ihRawData
      {{kHistorianTables[0],
        "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, SamplingMode TEXT)"},
       5},  // no Value
      // A folder that does not exist cannot hold the database.
      {{"/nonexistent/dir/x.db"}, 1},
  };
  for (const auto& [statements, state] : cases) {
    const std::string before = configuration.DataLinkError();
    const std::string file = std::to_string(state) + std::to_string(statements.size()) + ".db";
    configuration.SetDataLink(
        state == 1 ? testsupport::SqliteLink(statements[0])
                   : testsupport::CreateSqliteDatabase(components.Root().File(file), statements));
    EXPECT_EQ(configuration.DataLinkState(), state);
    EXPECT_NE(configuration.DataLinkError(), before);
    EXPECT_TRUE(std::regex_match(configuration.DataLinkError(), std::regex("-?[0-9]+ - .+")))
        << configuration.DataLinkError();
  }
  const std::string failure = configuration.DataLinkError();
  configuration.SetDataLink(ready);
  EXPECT_EQ(configuration.DataLinkState(), 6);
  EXPECT_EQ(configuration.DataLinkError(), failure);
  const int connections = components.connectionsCreated;
  configuration.SetDataLink("   ");
  EXPECT_EQ(components.connectionsCreated, connections) << "a blank link is not tried";
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.DataLinkError(), failure);

  // A test the host shares is taken as it stands, without a connection; another link is tried.
  struct Sharing : host::ComponentsWrapper {
    using ComponentsWrapper::ComponentsWrapper;
    std::optional<host::DataLinkTest> SharedDataLinkTest(const std::string& link) override {
      if (link == "Driver=Shared") return host::DataLinkTest{3, "7 - shared"};
      return std::nullopt;
    }
  } sharing(components);
  config::Configuration1 started(sharing);
  started.SetData("DATALINK=Driver=Shared");
  EXPECT_EQ(components.connectionsCreated, connections);
  EXPECT_EQ(started.DataLinkState(), 3);
  EXPECT_EQ(started.DataLinkError(), "7 - shared");
  started.SetDataLink(ready);
  EXPECT_EQ(started.DataLinkState(), 6);
  EXPECT_EQ(components.connectionsCreated, connections + 1);
}

}  // namespace
