// Collection against a real SQLite historian file through the "SQLite3" ODBC driver.
#include <filesystem>

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

TEST_F(HistorianTest, CollectionResumesWhenTheHistorianFileComesBack) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t"});
  Start();
  TickDue();
  ASSERT_EQ(engine.SavedSubgroups(), 1);

  const std::string aside = historianPath + ".aside";
  std::filesystem::rename(historianPath, aside);
  // The driver creates an empty database for a missing file, so the query fails.
  const Lines logged = Cycle();
  ASSERT_EQ(logged.size(), 1u);
  EXPECT_EQ(logged[0].rfind("Line 1|Unable to get record set|", 0), 0u) << logged[0];

  std::filesystem::remove(historianPath);
  std::filesystem::rename(aside, historianPath);
  SetValue("A", "2", "2024-05-01 10:30:30");
  EXPECT_TRUE(Cycle().empty());
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(Next(), "2024-05-01 10:45:00");
}

// SQLite refuses expressions deeper than 1000: an OR-list of 999 tag names is too deep.
TEST_F(HistorianTest, StatementsSqliteRefusesAreReportedWithTheStatement) {
  testsupport::CreateSqliteDatabase(
      historianPath, {"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n "
                      "WHERE i < 999) INSERT INTO ihRawData SELECT 'T' || i, "
                      "'2024-05-01 10:00:00', i, 'CurrentValue' FROM n"});
  std::string names;  // a condition that holds when every tag has a new value
  for (int i = 1; i <= 998; ++i) names += "%TAG(T" + std::to_string(i) + ")";
  Load({"CONDITION=0\t" + names + "\t0\t"});
  Start();
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 1) << engine.LastErrorDetail();

  Load({"CONDITION=0\t" + names + "%TAG(T999)\t0\t"});
  for (int cycle = 0; cycle < 2; ++cycle) EXPECT_EQ(Cycle().size(), 1u) << "every cycle fails";
  EXPECT_EQ(LastError()[0], "Unable to get record set");
  EXPECT_NE(LastError()[1].find("Expression tree is too large (maximum depth 1000)"),
            std::string::npos)
      << LastError()[1];

  Load({"TEST=G\tI\t%TAG(O'Brien)\t"});
  EXPECT_EQ(Cycle().size(), 1u);
  EXPECT_EQ(LastError()[0], "Unable to get record set");
  EXPECT_NE(LastError()[1].find("syntax error"), std::string::npos) << LastError()[1];
  EXPECT_EQ(LastError()[2],
            "SELECT Tagname, TimeStamp, Value FROM ihRawData WHERE "
            "(SamplingMode='CurrentValue') AND (Tagname='O'Brien')");
}

}  // namespace
}  // namespace enginetest
