#include <regex>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"

namespace {

using config::Configuration1;
using testsupport::CreateSqliteDatabase;

// "number - description" of a data access error.
const std::regex kErrorText("-?[0-9]+ - .+");

class DataLink : public ::testing::Test {
 protected:
  std::string Historian(const std::string& name, const std::vector<std::string>& statements) {
    return CreateSqliteDatabase(folder.File(name), statements);
  }

  testsupport::TempFolder folder;
  testsupport::FakeComponents components;
  Configuration1 configuration{components};
};

TEST_F(DataLink, BlankLinkIsNoConnection) {
  configuration.SetDataLink("Driver=NoSuchDriver");
  ASSERT_EQ(configuration.DataLinkState(), 1);
  const std::string failure = configuration.DataLinkError();
  configuration.SetDataLink("   ");
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.DataLinkError(), failure);
}

TEST_F(DataLink, EachMissingPieceHasItsState) {
  struct Case {
    const char* what;
    std::vector<std::string> statements;
    int32_t state;
  };
  const std::vector<Case> cases = {
      {"no tables", {}, 2},
      {"ihTags without Tagname",
       {"CREATE TABLE ihTags (Name TEXT)", testsupport::kHistorianTables[1]},
       2},
      {"no ihRawData", {testsupport::kHistorianTables[0]}, 3},
      {"ihRawData without Value",
       {testsupport::kHistorianTables[0],
        "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, SamplingMode TEXT)"},
       5},
      {"ready", testsupport::kHistorianTables, 6},
  };
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Configuration1 fresh(components);
    fresh.SetDataLink(Historian("h" + std::to_string(++n) + ".db", c.statements));
    EXPECT_EQ(fresh.DataLinkState(), c.state);
    if (c.state == 6) {
      EXPECT_EQ(fresh.DataLinkError(), "");
    } else {
      EXPECT_TRUE(std::regex_match(fresh.DataLinkError(), kErrorText)) << fresh.DataLinkError();
    }
  }
}

TEST_F(DataLink, FailureTextStaysAfterALaterSuccess) {
  const std::string good = Historian("ready.db", testsupport::kHistorianTables);
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

  // Reading a configuration starts from a clear record, so the old text goes.
  configuration.SetData("DATALINK=" + good);
  EXPECT_EQ(configuration.DataLinkState(), 6);
  EXPECT_EQ(configuration.DataLinkError(), "");
}

}  // namespace
