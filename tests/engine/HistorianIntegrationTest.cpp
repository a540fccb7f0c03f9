// Collection against a real SQLite historian file through the "SQLite3" ODBC driver.
#include <cmath>
#include <filesystem>

#include "runtime/Text.h"
#include "tests/engine/EngineFixture.h"
#include "tests/support/Historian.h"

namespace enginetest {
namespace {

class HistorianTest : public EngineTest {
 protected:
  const config::TagItem& Tag(const char* name) { return configuration->TagItems().Item(name); }
  // Fills the historian with the tags T1 to T`count`, each with a current value.
  void AddTags(int count) {
    testsupport::CreateSqliteDatabase(
        historianPath,
        {"WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
         std::to_string(count) +
         ") INSERT INTO ihRawData SELECT 'T' || i, '2024-05-01 10:00:00', i, "
         "'CurrentValue' FROM n"});
  }
  // A condition that holds when every one of T1 to T`count` has a new value.
  void LoadTags(int count) {
    std::string names;
    for (int i = 1; i <= count; ++i) names += "%TAG(T" + std::to_string(i) + ")";
    Load({"CONDITION=0\t" + names + "\t0\t"});
  }
};

TEST_F(HistorianTest, AValueIsNewWhenItsTimestampCrossesASecond) {
  SetValue("A", "1.5", "2024-05-01 10:00:00.000");
  SetValue("B", "on", "2024-05-01 10:00:00.000");
  Load({"TEST=G\tI\t%TAG(A)\t", "CONDITION=0\t%TAG(A)\t0\t", "DESCRIPTOR=7\tState\t%TAG(B)"});
  Start();
  TickDue();
  EXPECT_TRUE(Tag("A").IsNew);
  EXPECT_FALSE(Tag("A").IsEmpty);
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "1.5");
  EXPECT_EQ(runtime::ToText(Tag("b").TagValue), "on");
  EXPECT_EQ(engine.SavedSubgroups(), 1);

  TickDue();
  EXPECT_FALSE(Tag("A").IsNew) << "the same timestamp";
  EXPECT_EQ(engine.SavedSubgroups(), 1);

  SetValue("A", "2.5", "2024-05-01 10:00:00.400");
  TickDue();
  EXPECT_FALSE(Tag("A").IsNew) << "0.4 s later within the same second";
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "1.5");

  SetValue("A", "3.5", "2024-05-01 10:00:01.100");
  TickDue();
  EXPECT_TRUE(Tag("A").IsNew);
  EXPECT_EQ(runtime::ToText(Tag("A").TagValue), "3.5");
  EXPECT_NEAR(Tag("A").TimeStamp.serial, At("2024-05-01 10:00:01.1").serial, 0.001 / 86400)
      << "the driver keeps the fraction of a second";
  EXPECT_FALSE(Tag("B").IsNew);
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(subgroup->SinceClear().back(), "Save 0");
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(HistorianTest, ATagTheHistorianDoesNotHaveStaysEmpty) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t%TAG(Missing)"});
  Start();
  TickDue();
  EXPECT_TRUE(Tag("A").IsNew);
  EXPECT_TRUE(Tag("Missing").IsEmpty);
  EXPECT_EQ(LastError(), (Lines{"Invalid Characteristic", "Unable to resolve Characteristic",
                                "Defect: %TAG(Missing)"}));
}

TEST_F(HistorianTest, AnApostropheInATagNameBreaksTheStatement) {
  SetValue("O'Brien", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(O'Brien)\t"});
  Start();
  TickDue();
  EXPECT_EQ(engine.LastErrorDescription(), "Unable to get record set");
  EXPECT_NE(engine.LastErrorDetail().find("syntax error"), std::string::npos)
      << engine.LastErrorDetail();
  EXPECT_EQ(engine.LastErrorExtended(),
            "SELECT Tagname, TimeStamp, Value FROM ihRawData WHERE "
            "(SamplingMode='CurrentValue') AND (Tagname='O'Brien')");
}

TEST_F(HistorianTest, CollectionResumesWhenTheHistorianFileComesBack) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t"});
  Start();
  TickDue();
  ASSERT_EQ(engine.SavedSubgroups(), 1);

  const std::string aside = historianPath + ".aside";
  std::filesystem::rename(historianPath, aside);
  TickDue();
  TickDue();
  const Lines lines = LogLines();
  ASSERT_EQ(lines.size(), 2u) << "each failed cycle is recorded";
  for (const std::string& line : lines) {
    // The driver creates an empty database for a missing file, so the query fails.
    EXPECT_EQ(runtime::Split(line, "\t")[2], "Unable to get record set") << line;
  }
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:32:00");

  std::filesystem::remove(historianPath);
  std::filesystem::rename(aside, historianPath);
  SetValue("A", "2", "2024-05-01 10:31:00");
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(LogLines().size(), 2u);
  EXPECT_EQ(runtime::FormatGeneralDate(engine.NextCollectionTime()), "2024-05-01 10:45:00");
}

// SQLite refuses expressions deeper than 1000: an OR-list of 999 tag names is too deep.
TEST_F(HistorianTest, SqliteTakesAtMost998TagsInOneQuery) {
  AddTags(999);
  LoadTags(998);
  Start();
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 1) << engine.LastErrorDetail();

  LoadTags(999);
  TickDue();
  TickDue();
  EXPECT_EQ(LogLines().size(), 2u) << "every cycle fails";
  EXPECT_EQ(engine.LastErrorDescription(), "Unable to get record set");
  EXPECT_NE(engine.LastErrorDetail().find("Expression tree is too large (maximum depth 1000)"),
            std::string::npos)
      << engine.LastErrorDetail();
}

}  // namespace
}  // namespace enginetest
