// Collection against a real SQLite historian file through the "SQLite3" ODBC driver.
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Text.h"
#include "tests/engine/EngineFixture.h"
#include "tests/support/Historian.h"

namespace enginetest {
namespace {

class HistorianTest : public EngineTest {
 protected:
  const config::TagItem& Tag(const char* name) { return configuration->TagItems().Item(name); }
};

TEST_F(HistorianTest, AValueIsNewWhenItsTimestampCrossesASecond) {
  SetValue("A", "1.5", "2024-05-01 10:00:00.000");
  Load({"TEST=G\tI\t%TAG(A)\t%TAG(Missing)", "CONDITION=0\t%TAG(A)\t0\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Invalid Characteristic|Unable to resolve Characteristic|"
                            "Defect: %TAG(Missing)"}));
  EXPECT_TRUE(Tag("Missing").IsEmpty) << "the historian does not have it";
  EXPECT_TRUE(Tag("A").IsNew);
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "1.5");
  configuration->GetTestItem(1)->SetDefect("");

  TickDue();
  EXPECT_FALSE(Tag("A").IsNew) << "the same timestamp";
  SetValue("A", "2.5", "2024-05-01 10:00:00.400");
  TickDue();
  EXPECT_FALSE(Tag("A").IsNew) << "0.4 s later within the same second";
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "1.5");
  EXPECT_EQ(engine.SavedSubgroups(), 0);

  SetValue("A", "3.5", "2024-05-01 10:00:01.100");
  EXPECT_TRUE(Cycle().empty());
  EXPECT_TRUE(Tag("A").IsNew);
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "3.5");
  EXPECT_NEAR(Tag("A").TimeStamp.serial, At("2024-05-01 10:00:01.1").serial, 0.001 / 86400)
      << "the driver keeps the fraction of a second";
  EXPECT_EQ(engine.SavedSubgroups(), 1);
}

// A tag name is a value bound to the statement, never SQL: names that would end the
// string, end the statement, comment out the rest, load code or break an array value are
// ordinary names, on SQLite and on PostgreSQL alike, in a short query and in one of more
// tags than a statement binds one by one. Those many are read in one collection, in parts
// read as one on SQLite, whose limit on expression depth does not apply to an IN-list.
TEST_F(HistorianTest, TagNamesAreBoundValuesOnEveryHistorian) {
  const Lines names = {"O'Brien",
                       "a;b",
                       "x--y",
                       "x' OR load_extension('/tmp/evil.so') OR Tagname='y",
                       "'; DROP TABLE ihTags; --",
                       "He said \"hi\"",
                       "C:\\tags\\\"",
                       "{x}",
                       "NULL"};
  const std::string absent = "nothing' OR '1'='1";
  std::vector<std::pair<std::string, std::string>> historians = {{"SQLite", historian}};
  if (const char* pg = std::getenv("DAM_TEST_PG_CONNECTION"))
    historians.emplace_back("PostgreSQL", pg);
  for (const auto& [product, link] : historians) {
    for (int padding : {0, 50000}) {
      SCOPED_TRACE(product + " with " + std::to_string(padding) + " more tags");
      platform::OdbcConnection connection;
      connection.Open(link, "", "");
      for (const char* table : {"ihRawData", "ihTags"}) {
        connection.Execute(std::string("DROP TABLE IF EXISTS ") + table);
      }
      for (const std::string& statement : testsupport::kHistorianTables)
        connection.Execute(statement);
      Lines templates;
      for (size_t i = 0; i < names.size(); ++i) {
        connection.Execute("INSERT INTO ihTags VALUES (?)",
                           std::vector<runtime::Variant>{names[i]});
        connection.Execute("INSERT INTO ihRawData VALUES (?, ?, ?, 'CurrentValue')",
                           {names[i], At("2024-05-01 10:00:00"), std::to_string(i + 1)});
        templates.push_back("TEST=G\tI " + std::to_string(i) + "\t%TAG(" + names[i] + ")\t");
      }
      connection.Execute(
          "INSERT INTO ihRawData WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
          "WHERE i < ?) SELECT 'P' || i, '2024-05-01 10:00:00', i, 'CurrentValue' FROM n "
          "WHERE i <= ?",
          {padding, padding});
      // Holds when every padding tag was read.
      std::string padded;
      for (int i = 1; i <= padding; ++i) padded += "%TAG(P" + std::to_string(i) + ")";
      if (padding > 0) templates.push_back("CONDITION=0\t" + padded + "\t0\t");
      templates.push_back("DESCRIPTOR=7\tNote\tmissing %TAG(" + absent + ")");
      historian = link;
      Load(templates);
      Start();
      EXPECT_TRUE(Cycle().empty());
      EXPECT_EQ(engine.SavedSubgroups(), 1) << engine.LastErrorDetail();
      for (size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(runtime::ToText(Tag(names[i].c_str()).TagValue), std::to_string(i + 1))
            << names[i];
      }
      if (padding > 0) {
        EXPECT_EQ(runtime::ToText(Tag("P1000").TagValue), "1000");
      }
      EXPECT_TRUE(Tag(absent.c_str()).IsEmpty) << "matched no other tag's row";
      auto count = connection.Execute("SELECT COUNT(*) AS n FROM ihTags");
      EXPECT_EQ(runtime::ToText(count->Field("n")), std::to_string(names.size()));
      count = connection.Execute("SELECT COUNT(*) AS n FROM ihRawData");
      EXPECT_EQ(runtime::ToText(count->Field("n")), std::to_string(names.size() + padding));
    }
  }
}

}  // namespace
}  // namespace enginetest
