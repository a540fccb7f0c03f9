#include <gtest/gtest.h>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSchema.h"
#include "tests/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

class SpcSchemaTest : public SpcFixture {
 protected:
  void Execute(const std::string& sql) {
    platform::OdbcConnection connection;
    connection.Open(database_->ConnectionString(), "", "");
    connection.Execute(sql);
  }

  // Every row of schema_version, as "v1,v2".
  std::string StoredVersions() {
    platform::OdbcConnection connection;
    connection.Open(database_->ConnectionString(), "", "");
    std::string versions;
    for (auto rows = connection.Execute("SELECT version FROM schema_version"); !rows->Eof();
         rows->MoveNext()) {
      versions += (versions.empty() ? "" : ",") + runtime::ToText(rows->Field("version"));
    }
    return versions;
  }
};

INSTANTIATE_SPC_SUITE(SpcSchemaTest);

const std::string kCurrent = std::to_string(platform::kSpcSchemaVersion);

TEST_P(SpcSchemaTest, CreatedOnFirstOpenAndKeptWithItsDataOnReopen) {
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(StoredVersions(), kCurrent);

  auto again = OpenSession();
  EXPECT_EQ(StoredVersions(), kCurrent);
  auto subgroups = platform::ReadSubgroups(*again, 10);
  ASSERT_EQ(subgroups.size(), 1u);
  EXPECT_EQ(subgroups[0].readings.size(), 4u);
}

TEST_P(SpcSchemaTest, UpgradesAnEmptyDatabaseAndRefusesANewerSchema) {
  // A database whose version table exists but holds version 0: nothing else created yet.
  Execute("CREATE TABLE schema_version (version INTEGER NOT NULL)");
  Execute("INSERT INTO schema_version (version) VALUES (0)");
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(StoredVersions(), kCurrent);

  Execute("UPDATE schema_version SET version = 99");
  runtime::Error error = ErrorOf([&] { OpenSession(); });
  EXPECT_EQ(error.Number(), platform::kSpcSchemaMismatch);
  EXPECT_NE(error.Description().find("schema version 99"), std::string::npos)
      << error.Description();
  EXPECT_EQ(StoredVersions(), "99");
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
