#include "platform/spcdb/SpcSchema.h"
#include "platform/spcdb/SpcTables.h"
#include "tests/platform/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

const std::string kCurrent = std::to_string(platform::kSpcSchemaVersion);
const char* const kVersions = "SELECT version FROM schema_version";

// Runs `sql` on a connection of its own; gives the version of every row, as "v1,v2".
std::string Query(const TestDatabase& database, const std::string& sql) {
  platform::OdbcConnection connection;
  connection.Open(database.ConnectionString(), "", "");
  std::string values;
  for (auto rows = connection.Execute(sql); !rows->Eof(); rows->MoveNext())
    values += (values.empty() ? "" : ",") + runtime::ToText(rows->Field("version"));
  return values;
}

TEST_P(SpcDatabaseTest, SchemaIsCreatedOnFirstOpenKeptOnReopenAndUpgradedFromEmpty) {
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);
  EXPECT_EQ(platform::ReadSubgroups(*OpenSession(), 10).size(), 1u);
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);

  // A database whose version table exists but holds version 0: nothing else created yet.
  database_ = MakeTestDatabase(GetParam());
  Query(*database_, "CREATE TABLE schema_version (version INTEGER NOT NULL)");
  Query(*database_, "INSERT INTO schema_version (version) VALUES (0)");
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);

  Query(*database_, "UPDATE schema_version SET version = 99");
  runtime::Error error = ErrorFrom([&] { OpenSession(); });
  EXPECT_EQ(error.Number(), platform::kSpcSchemaMismatch);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "schema version 99", error.Description());
  EXPECT_EQ(Query(*database_, kVersions), "99");

  // Another program's SQLite file, a historian named by mistake, is left as it was.
  if (GetParam() != Backend::SQLite) return;
  database_ = MakeTestDatabase(GetParam());
  Query(*database_, "CREATE TABLE ihRawData (Tagname TEXT)");
  error = ErrorFrom([&] { OpenSession(); });
  EXPECT_EQ(error.Number(), platform::kSpcOtherDatabase);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "another database (ihRawData)", error.Description());
  EXPECT_EQ(Query(*database_, "SELECT count(*) AS version FROM sqlite_master"), "1");
}

// Names are one without regard to case (SpcSaveTest): a database of the first version
// upgrades unless two names differ only in case. Its 32-bit subgroup identifiers on
// PostgreSQL stay as they are, and serve.
TEST_P(SpcDatabaseTest, OldDatabasesUpgradeToNamesWithoutCaseAndToConfigurationsOrSayWhyNot) {
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  const std::string kSubgroupIdTypes =
      "SELECT data_type AS version FROM information_schema.columns WHERE (table_name ="
      " 'subgroups' AND column_name = 'id') OR column_name = 'subgroup_id' ORDER BY table_name";
  if (GetParam() == Backend::PostgreSQL) {
    EXPECT_EQ(Query(*database_, kSubgroupIdTypes), "bigint,bigint,bigint");
    for (const char* column :
         {"readings ALTER COLUMN subgroup_id", "subgroup_descriptors ALTER COLUMN subgroup_id",
          "subgroups ALTER COLUMN id"})
      Query(*database_, std::string("ALTER TABLE ") + column + " TYPE INTEGER");
  }
  // Back to the first version's tables, with two tests that differ only in case.
  for (const platform::SpcTable* table : platform::NamedTables()) {
    const std::string name = table->name;
    Query(*database_, "DROP INDEX " + name + "_folded_name");
    Query(*database_, "ALTER TABLE " + name + " DROP COLUMN name_key");
  }
  Query(*database_, "DROP INDEX subgroups_idempotency_key");
  Query(*database_, "ALTER TABLE subgroups DROP COLUMN idempotency_key");
  Query(*database_, "ALTER TABLE subgroups DROP COLUMN configuration_name");
  Query(*database_, "UPDATE schema_version SET version = 1");
  Query(*database_,
        "INSERT INTO tests (name, group_id) SELECT 'wIDTH', group_id FROM tests WHERE name = "
        "'Width'");
  runtime::Error error = ErrorFrom([&] { OpenSession(); });
  EXPECT_EQ(error.Number(), platform::kSpcSchemaMismatch);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "test \"Width\" and \"wIDTH\"", error.Description());
  EXPECT_EQ(Query(*database_, kVersions), "1") << "nothing merged, nothing changed";

  Query(*database_, "DELETE FROM tests WHERE name = 'wIDTH'");
  auto session = OpenSession();
  EXPECT_EQ(Query(*database_, kVersions), kCurrent);
  platform::SpcRecord record(host::RecordKind::Test);
  record.SetName("WIDTH");
  record.SetNameKey(1);
  ASSERT_TRUE(record.Load(*session, 0));
  EXPECT_EQ(runtime::ToText(record.Field("Name")), "Width");

  // Subgroups now name their configuration; the one saved before keeps its row.
  session->SetConfigurationName("Linie 3 \"Füller\"; DROP TABLE subgroups");
  SaveSubgroup(session, SampleSubgroup(2));
  const auto subgroups = platform::ReadSubgroups(*OpenSession(), 10);
  ASSERT_EQ(subgroups.size(), 2u);
  EXPECT_EQ(subgroups[0].configuration, std::nullopt) << "saved before the upgrade";
  EXPECT_EQ(subgroups[0].readings.size(), 4u) << "the old row keeps its readings";
  EXPECT_EQ(subgroups[0].time, SampleSubgroup(1).time);
  EXPECT_EQ(subgroups[1].configuration, "Linie 3 \"Füller\"; DROP TABLE subgroups");
  EXPECT_EQ(subgroups[1].readings, SampleSubgroup(2).readings);
  EXPECT_EQ(platform::ReadSubgroupRange(*session, subgroups[1].id, subgroups[1].id).size(), 1u);
  if (GetParam() == Backend::PostgreSQL) {
    EXPECT_EQ(Query(*database_, kSubgroupIdTypes), "integer,integer,integer");
  }
}

TEST(SpcSessionTest, SessionWithoutDatabaseFailsClearly) {
  platform::SpcSession unopened;
  unopened.Settings().SetConnection("Driver=SQLite3;Database=/tmp/never-opened.db");
  EXPECT_EQ(ErrorFrom([&] { platform::ReadSubgroups(unopened, 1); }).Number(),
            runtime::kConnectionClosed);

  platform::SpcSession unset;
  runtime::Error error = ErrorFrom([&] { unset.Open(1, 0); });
  EXPECT_EQ(error.Number(), runtime::kConnectionClosed);
  EXPECT_EQ(error.Description(),
            "No SPC database is set: the session's connection setting is empty");
}

}  // namespace
}  // namespace spcdbtest
