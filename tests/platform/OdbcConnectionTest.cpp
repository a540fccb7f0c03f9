#include "platform/odbc/OdbcConnection.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "runtime/Error.h"
#include "runtime/Text.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestDatabases.h"

namespace {

using runtime::Variant;
using Kind = runtime::Variant::Kind;

// The same bodies run on SQLite and, where the test script has started a private server
// (DAM_TEST_PG_CONNECTION), on PostgreSQL.
class OdbcConnectionTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    if (GetParam() == "SQLite") {
      link_ = testsupport::SqliteLink(folder_.File("test.db"));
    } else {
      // A database of its own: the test programs run side by side on one server.
      database_ = spcdbtest::MakeTestDatabase(spcdbtest::Backend::PostgreSQL);
      if (!database_) GTEST_SKIP() << "no PostgreSQL server";
      link_ = database_->ConnectionString() + ";BoolsAsChar=0";
    }
    connection_.Open(link_, "", "");
    for (const char* sql :
         {"DROP TABLE IF EXISTS samples",
          "CREATE TABLE samples (id INTEGER, big BIGINT, ratio REAL, name TEXT, "
          "taken TIMESTAMP, looksLikeDate TEXT, flag BOOLEAN)",
          "INSERT INTO samples VALUES (1, 5000000000, 2.5, 'first', '2024-01-01 10:00:00.250', "
          "'2024-01-01 10:00:00', TRUE)",
          "INSERT INTO samples VALUES (2, -7, NULL, NULL, NULL, NULL, FALSE)"}) {
      connection_.Execute(sql);
    }
  }

  int Count() {
    return connection_.Execute("SELECT count(*) AS n FROM samples")->Field("n").AsLong();
  }

  testsupport::TempFolder folder_;
  std::unique_ptr<spcdbtest::TestDatabase> database_;
  std::string link_;
  platform::OdbcConnection connection_;
};

INSTANTIATE_TEST_SUITE_P(Databases, OdbcConnectionTest, ::testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& info) { return info.param; });

TEST_P(OdbcConnectionTest, FieldsReadAsTheirColumnsType) {
  auto rows = connection_.Execute("SELECT * FROM samples ORDER BY id");
  ASSERT_FALSE(rows->Eof());
  EXPECT_EQ(rows->Field("ID"), Variant(1));
  EXPECT_EQ(rows->Field("big"), Variant(5000000000.0));
  EXPECT_EQ(rows->Field("Ratio"), Variant(2.5));
  EXPECT_EQ(rows->Field("name"), Variant("first"));
  Variant taken = rows->Field("taken");
  ASSERT_EQ(taken.kind(), Kind::Date);
  runtime::Date expected = runtime::MakeDate({2024, 1, 1, 10, 0, 0});
  EXPECT_NEAR(taken.AsDate().serial, expected.serial + 0.25 / 86400, 1e-9);
  EXPECT_EQ(rows->Field("looksLikeDate"), Variant("2024-01-01 10:00:00"));
  EXPECT_EQ(rows->Field("flag"), Variant(true));
  // Reading a field twice gives the same value: the row is read once at fetch.
  EXPECT_EQ(rows->Field("name"), Variant("first"));

  rows->MoveNext();
  ASSERT_FALSE(rows->Eof());
  EXPECT_EQ(rows->Field("big"), Variant(-7));
  for (const char* name : {"ratio", "name", "taken", "looksLikeDate"}) {
    EXPECT_TRUE(rows->Field(name).IsNull()) << name;
  }
  EXPECT_EQ(rows->Field("flag"), Variant(false));
  runtime::Error unknown = ErrorFrom([&] { rows->Field("nope"); });
  EXPECT_EQ(unknown.Number(), 3265);
  EXPECT_EQ(unknown.Description(),
            "Item cannot be found in the collection corresponding to the requested name or "
            "ordinal.");

  rows->MoveNext();
  EXPECT_TRUE(rows->Eof());
  EXPECT_EQ(ErrorFrom([&] { rows->Field("id"); }).Number(), 3021);
  EXPECT_EQ(ErrorFrom([&] { rows->MoveNext(); }).Number(), 3021);

  EXPECT_TRUE(connection_.Execute("SELECT * FROM samples WHERE id = 99")->Eof());
  EXPECT_TRUE(connection_.Execute("UPDATE samples SET id = 5 WHERE id = 99")->Eof());
  EXPECT_TRUE(connection_.Execute("CREATE TABLE other (x INTEGER)")->Eof());
}

TEST_P(OdbcConnectionTest, RecordsetsAndStatementsOutliveTheirConnection) {
  auto rows = connection_.Execute("SELECT id FROM samples ORDER BY id");
  auto insert = connection_.Prepare("INSERT INTO samples (id, name) VALUES (?, ?)");
  for (int32_t i = 100; i < 110; ++i) {
    EXPECT_EQ(insert->Execute({Variant(i), Variant("row " + std::to_string(i))}), 1);
  }
  auto update = connection_.Prepare("UPDATE samples SET name = ? WHERE id >= ?");
  EXPECT_EQ(update->Execute({Variant("late"), Variant(105)}), 5);
  EXPECT_EQ(update->Execute({Variant("none"), Variant(9999)}), 0);

  connection_.Close();
  rows->MoveNext();
  EXPECT_EQ(rows->Field("id"), Variant(2));
  EXPECT_EQ(insert->Execute({Variant(7), Variant(runtime::Null)}), 1);
  EXPECT_EQ(ErrorFrom([&] { connection_.Execute("SELECT 1"); }).Number(), 3709);
  connection_.Open(link_, "", "");
  EXPECT_EQ(Count(), 13);
}

TEST_P(OdbcConnectionTest, FailuresCarryTheSqlstateAndANonZeroNumber) {
  runtime::Error noTable = ErrorFrom([&] { connection_.Execute("SELECT * FROM ihTags"); });
  EXPECT_NE(noTable.Number(), 0);
  EXPECT_NE(noTable.Description().find("[SQLSTATE "), std::string::npos) << noTable.Description();
  EXPECT_NE(runtime::ToLower(noTable.Description()).find("ihtags"), std::string::npos);
  EXPECT_EQ(noTable.Source(), "ODBC");

  platform::OdbcConnection other;
  runtime::Error noDriver =
      ErrorFrom([&] { other.Open("Driver=NoSuchDriver;Database=x", "", ""); });
  EXPECT_NE(noDriver.Number(), 0);
  EXPECT_NE(noDriver.Description().find("NoSuchDriver"), std::string::npos)
      << noDriver.Description();
  EXPECT_EQ(ErrorFrom([&] { other.Execute("SELECT 1"); }).Number(), 3709);
  // A failed open leaves the connection usable for the next open.
  other.Open(link_, "", "");
  EXPECT_EQ(other.DbmsName(), GetParam());
}

TEST_P(OdbcConnectionTest, BoundParametersKeepTheirTypes) {
  runtime::Date when = runtime::MakeDate({2023, 6, 30, 23, 59, 58});
  // Nearer the next second than this one, so the fraction counts from the second before.
  when.serial += 0.75 / 86400;
  std::string text = std::string(20000, 'x') + " it's \xC3\xA4\xE2\x82\xAC";
  connection_.Execute(
      "INSERT INTO samples (id, big, ratio, name, taken, flag) VALUES (?, ?, ?, ?, ?, ?)",
      {Variant(10), Variant(runtime::Null), Variant(0.125), Variant(text), Variant(when),
       Variant(true)});
  // PostgreSQL cuts names at 63 bytes; SQLite keeps them whole.
  std::string longName = "c" + std::string(GetParam() == "SQLite" ? 300 : 62, 'n');
  auto rows = connection_.Execute("SELECT big, ratio, taken, flag, name AS " + longName +
                                      " FROM samples WHERE name = ? AND id = ?",
                                  {Variant(text), Variant(10)});
  ASSERT_FALSE(rows->Eof());
  EXPECT_TRUE(rows->Field("big").IsNull());
  EXPECT_EQ(rows->Field("ratio"), Variant(0.125));
  EXPECT_NEAR(rows->Field("taken").AsDate().serial, when.serial, 1e-9);
  EXPECT_EQ(rows->Field("flag"), Variant(true));
  EXPECT_EQ(rows->Field(longName), Variant(text));
}

TEST_P(OdbcConnectionTest, TransactionsCommitOrLeaveNothing) {
  connection_.BeginTransaction();
  connection_.Execute("INSERT INTO samples (id) VALUES (20), (21)");
  EXPECT_EQ(Count(), 4);
  connection_.Rollback();
  EXPECT_EQ(Count(), 2);

  connection_.BeginTransaction();
  connection_.Execute("INSERT INTO samples (id) VALUES (22)");
  connection_.Commit();
  // Back in autocommit: this insert stays although nothing commits it.
  connection_.Execute("INSERT INTO samples (id) VALUES (23)");
  connection_.Open(link_, "", "");
  EXPECT_EQ(Count(), 4);
}

}  // namespace
