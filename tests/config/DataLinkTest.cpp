#include <regex>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"

namespace {

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
}

}  // namespace
