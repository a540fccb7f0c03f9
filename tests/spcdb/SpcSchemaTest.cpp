#include <gtest/gtest.h>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSchema.h"
#include "tests/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

const std::string kCurrent = std::to_string(platform::kSpcSchemaVersion);
const char* const kVersions = "SELECT version FROM schema_version";

// Runs `sql` on a connection of its own; gives the version of every row, as "v1,v2".
std::string Query(const TestDatabase& database, const std::string& sql) {
  platform::OdbcConnection connection;
  connection.Open(database.ConnectionString(), "", "");
  std::string values;
  for (auto rows = connection.Execute(sql); !rows->Eof(); rows->MoveNext()) {
    values += (values.empty() ? "" : ",") + runtime::ToText(rows->Field("version"));
  }
  return values;
}

TEST_P(SpcDatabaseTest, SchemaIsCreatedOnFirstOpenKeptOnReopenAndUpgradedFromEmpty) {
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);
  auto subgroups = platform::ReadSubgroups(*OpenSession(), 10);
  ASSERT_EQ(subgroups.size(), 1u);
  EXPECT_EQ(subgroups[0].readings.size(), 4u);
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);

  // A database whose version table exists but holds version 0: nothing else created yet.
  database_ = MakeTestDatabase(GetParam());
  Query(*database_, "CREATE TABLE schema_version (version INTEGER NOT NULL)");
  Query(*database_, "INSERT INTO schema_version (version) VALUES (0)");
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);

  Query(*database_, "UPDATE schema_version SET version = 99");
  runtime::Error error = ErrorOf([&] { OpenSession(); });
  EXPECT_EQ(error.Number(), platform::kSpcSchemaMismatch);
  EXPECT_NE(error.Description().find("schema version 99"), std::string::npos)
      << error.Description();
  EXPECT_EQ(Query(*database_, kVersions), "99");
}

TEST(SpcSessionTest, SessionWithoutDatabaseFailsClearly) {
  platform::SpcSession unopened;
  unopened.Settings().SetConnection("Driver=SQLite3;Database=/tmp/never-opened.db");
  EXPECT_EQ(ErrorOf([&] { platform::ReadSubgroups(unopened, 1); }).Number(),
            platform::kSpcSessionClosed);

  platform::SpcSession unset;
  runtime::Error error = ErrorOf([&] { unset.Open(1, 0); });
  EXPECT_EQ(error.Number(), platform::kSpcSessionClosed);
  EXPECT_EQ(error.Description(),
            "No SPC database is set: the session's connection setting is empty");

  platform::SpcSession unreachable;
  unreachable.Settings().SetConnection("Driver=SQLite3;Database=/nonexistent/folder/spc.db");
  EXPECT_NE(ErrorOf([&] { unreachable.Open(1, 0); }).Description(), "");
}

}  // namespace
}  // namespace spcdbtest
