#include <regex>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"

namespace {

using config::Configuration1;
using testsupport::kHistorianTables;

// "number - description" of a data access error.
const std::regex kErrorText("-?[0-9]+ - .+");

TEST(DataLink, EachMissingPieceHasItsState) {
  testsupport::FakeComponents components;
  struct Case {
    const char* what;
    std::vector<std::string> statements;
    int32_t state;
  };
  const Case cases[] = {
      {"no tables", {}, 2},
      {"ihTags without Tagname", {"CREATE TABLE ihTags (Name TEXT)", kHistorianTables[1]}, 2},
      {"no ihRawData", {kHistorianTables[0]}, 3},
      {"ihRawData without Value",
       {kHistorianTables[0],
        "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, SamplingMode TEXT)"},
       5},
      {"ready", kHistorianTables, 6},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Configuration1 fresh(components);
    fresh.SetDataLink(testsupport::CreateSqliteDatabase(
        components.Root().File(std::to_string(&c - cases) + ".db"), c.statements));
    EXPECT_EQ(fresh.DataLinkState(), c.state);
    if (c.state == 6) {
      EXPECT_EQ(fresh.DataLinkError(), "");
    } else {
      EXPECT_TRUE(std::regex_match(fresh.DataLinkError(), kErrorText)) << fresh.DataLinkError();
    }
  }
}

TEST(DataLink, FailureTextStaysAfterALaterSuccessOrABlankLink) {
  testsupport::FakeComponents components;
  Configuration1 configuration(components);
  const std::string good =
      testsupport::CreateSqliteDatabase(components.Root().File("ready.db"), kHistorianTables);
  configuration.SetDataLink(good);
  ASSERT_EQ(configuration.DataLinkState(), 6);

  // A folder that does not exist cannot hold the database.
  configuration.SetDataLink("Driver=SQLite3;Database=/nonexistent/dir/x.db");
  EXPECT_EQ(configuration.DataLinkState(), 1);
  const std::string failure = configuration.DataLinkError();
  EXPECT_TRUE(std::regex_match(failure, kErrorText)) << failure;

  configuration.SetDataLink(good);
  EXPECT_EQ(configuration.DataLinkState(), 6);
  EXPECT_EQ(configuration.DataLinkError(), failure);
  const int connections = components.connectionsCreated;
  configuration.SetDataLink("   ");
  EXPECT_EQ(components.connectionsCreated, connections) << "a blank link is not tried";
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.DataLinkError(), failure);
}

}  // namespace
