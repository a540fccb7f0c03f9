// What one collection reads from a real historian, how conditions and templates resolve,
// and what the saved subgroup carries.
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/IntervalUnit.h"
#include "platform/odbc/OdbcConnection.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"
#include "tests/engine/EngineFixture.h"
#include "tests/support/TestDatabases.h"

namespace enginetest {
namespace {

TEST_F(EngineTest, ConditionsCompareAsNumbersDatesOrTextByTheFirstValue) {
  SetValue("A", "12.5", "2024-05-01 10:00:00");
  SetValue("B", "abc", "2024-05-01 10:00:00");
  SetValue("D", "2024-05-01 09:00:00", "2024-05-01 10:00:00");
  Load({"CONDITION=0\t%TAG(A)\t2\t%TAG(B)",              // 12.5 > 0
        "CONDITION=0\t%TAG(B)\t4\tABD",                  // byte-wise, "a" comes after "A"
        "CONDITION=0\tABC\t4\t%TAG(B)",                  //
        "CONDITION=0\t%TAG(D)\t2\t5",                    // a date against a number
        "CONDITION=0\t%TAG(D)\t2\t2024-05-01 08:59:59",  // dates by serial time
        "CONDITION=0\tFIC101\t0\t",                      // IS NEW without reference
        "CONDITION=0\t%TAG(A) %TAG(B)\t0\tkept",         // IS NEW over every tag
        "CONDITION=0\t%TAG(A)\t1\t12.50 units"});        // leading number of value 2
  Start();
  TickDue();
  std::vector<std::string> results;
  for (int32_t i = 1; i <= configuration->ConditionCount(); ++i) {
    const auto& condition = *configuration->GetConditionItem(i);
    results.push_back(runtime::ToText(condition.ResolvedValue1()) + " | " +
                      runtime::ToText(condition.ResolvedValue2()) + " | " +
                      (condition.IsValid() ? "valid" : "not valid"));
  }
  EXPECT_EQ(results,
            (Lines{"12.5 | abc | valid", "abc | ABD | not valid", "ABC | abc | valid",
                   "2024-05-01 09:00:00 | 5 | not valid",
                   "2024-05-01 09:00:00 | 2024-05-01 08:59:59 | valid", "FIC101 |  | not valid",
                   "12.5 abc |  | valid", "12.5 | 12.50 units | valid"}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);

  SetValue("A", "13", "2024-05-01 10:01:00");
  TickDue();
  EXPECT_FALSE(configuration->GetConditionItem(7)->IsValid()) << "B has no new value";
}

TEST_F(EngineTest, TemplatesResolveEveryReferenceAndTheSubgroupGetsThemInOrder) {
  SetValue("LOT", "L-7", "2024-05-01 09:30:00");
  SetValue("PART", "P-100", "2024-05-01 09:30:00");
  SetValue("W", "2.5", "2024-05-01 09:30:15");
  Load({"DESCRIPTOR=4\t%TAG(LOT)\tLot %TAG(Value, LOT) at %TAG(Date, lot)",
        "DESCRIPTOR=1\tParts\t  %TAG(PART)  ", "DESCRIPTOR=6\t\tSN-%TAG(part)", "DESCRIPTOR=8\t\t3",
        "DESCRIPTOR=9\t\t%TAG(DATE, W)", "DESCRIPTOR=7\tCrew\t%TAG(Value, LOT)/%tag(value, LOT)",
        "DESCRIPTOR=7\tShiftLead\tB", "TEST=Dims\tWidth\t%TAG(W)\t",
        "TEST=Dims\tWIDTH\t%TAG(W) \tscratch", "TEST=Dims\tHeight\t%TAG(W)\t",
        "TEST=Dims\twidth\t1E1\t"});
  Start();
  TickDue();

  EXPECT_EQ(configuration->GetDescriptorItem(2)->ResolvedItem(1), "P-100");
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  // Lot after every other descriptor; repeated tests numbered regardless of case.
  EXPECT_EQ(runtime::Join(hostCalls, "; "),
            "SetFlag true; SetDatabase none; Clear; SetGroup Part Parts; SetName Part P-100; "
            "SetSize 3; SetTime 2024-05-01 09:30:15; SetGroup UserDefined Crew; "
            "SetName UserDefined L-7/L-7; SetGroup UserDefined ShiftLead; SetName UserDefined B; "
            "SetLot Lot L-7 at 2024-05-01 09:30:00; "
            "LookupTestGroup Dims; LookupTest Width; AddReading 2.5 1 0 [SN-P-100] []; "
            "LookupTestGroup Dims; LookupTest WIDTH; AddReading 2.5 2 0 [SN-P-100] [scratch]; "
            "LookupTestGroup Dims; LookupTest Height; AddReading 2.5 1 0 [SN-P-100] []; "
            "LookupTestGroup Dims; LookupTest width; AddReading 10 3 0 [SN-P-100] []; Save 0");
}

// Resolution takes one pass over a template: a value is never expanded again.
TEST_F(EngineTest, ResolutionPutsEachValueInPlaceOnce) {
  SetValue("A", "a1", "2024-05-01 09:30:00");
  SetValue("B", "%TAG(C)", "2024-05-01 09:30:00");
  SetValue("C", "c3", "2024-05-01 09:30:00");
  const std::pair<std::string, std::string> cases[] = {
      {"%TAG(A)%TAG(A)%tag(a) x %TAG( A )", "a1a1a1 x a1"},
      {"%TAG(Date, A)|%TAG(date,a)|%TAG(Value, A)|%TAG(A)",
       "2024-05-01 09:30:00|2024-05-01 09:30:00|a1|a1"},
      {"((%TAG(A)))%TAG(C)", "((a1))c3"},
      {"%TAG(x %TAG(A))", "%TAG(x a1)"},
      {"  %TAG(A  ", "%TAG(A"},
      {"%TAG(B) and %TAG(C)", "%TAG(C) and c3"},
  };
  Lines definitions;
  for (const auto& [text, resolved] : cases) definitions.push_back("DESCRIPTOR=7\tG\t" + text);
  Load(definitions);
  Start();
  TickDue();
  ASSERT_EQ(engine.SavedSubgroups(), 1) << engine.LastErrorDetail();
  for (int32_t i = 1; i <= configuration->DescriptorCount(); ++i) {
    EXPECT_EQ(configuration->GetDescriptorItem(i)->ResolvedItem(1), cases[i - 1].second)
        << cases[i - 1].first;
  }
}

// One current value in a historian: its tag, the type the historian stores it as, its
// text there (none: NULL), and what a descriptor and a characteristic make of it ("": not
// used as one; neither: only an IS NEW condition names it).
struct Held {
  std::string tag, type;
  std::optional<std::string> value;
  std::string text, reading;
};

class HistorianTest : public EngineTest {
 protected:
  const config::TagItem& Tag(const char* name) { return configuration->TagItems().Item(name); }

  // Fills the historian at `link`, whose Value column is declared `column`, with `values`,
  // starting at `first`; collects once with `conditions` and checks what reached the
  // subgroup. Gives the log lines of the collection.
  Lines Collect(const std::string& link, const std::string& column, const std::vector<Held>& values,
                size_t first = 0, const Lines& conditions = {}) {
    platform::OdbcConnection connection;
    connection.Open(link, "", "");
    connection.Execute("DROP TABLE IF EXISTS ihRawData");
    connection.Execute("CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value " +
                       column + ", SamplingMode TEXT)");
    Lines templates = conditions;
    Lines expected = {"SetDatabase none", "Clear"};
    for (size_t i = 0; i < values.size(); ++i) {
      const Held& held = values[(first + i) % values.size()];
      connection.Execute(
          "INSERT INTO ihRawData VALUES (?, ?, CAST(? AS " + held.type + "), 'CurrentValue')",
          {held.tag, At("2024-05-01 10:00:00"),
           held.value ? runtime::Variant(*held.value) : runtime::Variant(runtime::Null)});
    }
    for (const Held& held : values) {
      const std::string reference = "%TAG(" + held.tag + ")";
      if (!held.text.empty()) {
        templates.push_back("DESCRIPTOR=7\t" + held.tag + "\t" + reference);
        expected.insert(expected.end(),
                        {"SetGroup UserDefined " + held.tag, "SetName UserDefined " + held.text});
      }
      if (held.text.empty() && held.reading.empty()) {
        templates.push_back("CONDITION=0\t" + reference + "\t0\t");
      }
    }
    for (const Held& held : values) {
      if (held.reading.empty()) continue;
      templates.push_back("TEST=G\t" + held.tag + "\t%TAG(" + held.tag + ")\t");
      expected.insert(expected.end(), {"LookupTestGroup G", "LookupTest " + held.tag,
                                       "AddReading " + held.reading + " 1 0 [] []"});
    }
    expected.push_back("Save 0");
    historian = link;
    Load(templates);
    Start();
    hostCalls.clear();
    const Lines logged = Cycle();
    std::erase(hostCalls, "SetFlag true");  // only when the subgroup object is made
    EXPECT_EQ(hostCalls, expected) << engine.LastErrorDetail();
    return logged;
  }
};

TEST_F(HistorianTest, AValueIsNewWhenItsTimestampCrossesASecond) {
  SetValue("A", "1.5", "2024-05-01 10:00:00.000");
  Load({"TEST=G\tI\t%TAG(A)\t%TAG(Missing)", "CONDITION=0\t%TAG(A)\t0\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Invalid Characteristic|Unable to resolve Characteristic|"
                            "Defect: %TAG(Missing)"}));
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
      UseHistorian(link);
      platform::OdbcConnection connection;
      connection.Open(link, "", "");
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

// Each row's value is read by its own type: an SQLite column without a declared type holds
// integers, reals, texts and NULL side by side, whatever the first row is, and one declared
// BOOLEAN holds integers; a typed
// PostgreSQL column gives every digit it holds. Texts stay exactly as they are, and a
// reading saves the number the historian holds.
TEST_F(HistorianTest, EveryValueReachesTheSubgroupAsTheHistorianHoldsIt) {
  const std::vector<Held> mixed = {
      {"R", "REAL", "12.5", "12.5", "12.5"},
      {"I", "INTEGER", "7", "7", "7"},
      {"T", "TEXT", "12.75", "12.75", "12.75"},
      {"P", "TEXT", "P-1", "P-1", ""},
      {"N", "TEXT", std::nullopt, "", ""},
      {"W", "REAL", "7", "7.0", "7"},  // the driver's text of a real
      {"E", "REAL", "1e20", "1.0e+20", "1e+20"},
      {"Z", "TEXT", "007", "007", "7"},
      {"G", "INTEGER", "12345678901234567", "12345678901234567", ""},
      {"D", "TEXT", "2024-05-01 09:00:00", "2024-05-01 09:00:00", ""},
  };
  const Lines conditions = {"CONDITION=0\t%TAG(P)\t1\tP-1", "CONDITION=0\t%TAG(T)\t2\t12.7",
                            "CONDITION=0\t%TAG(D)\t2\t2024-05-01 08:59:59"};
  // First a real, an integer, a text, a NULL.
  for (size_t first : {0, 1, 3, 4}) {
    SCOPED_TRACE("SQLite, first row " + mixed[first].tag);
    EXPECT_EQ(Collect(historian, "", mixed, first, conditions),
              Lines{"Line 1|" + Unexpected("94 - Invalid use of Null", "ResolveItem")});
    EXPECT_TRUE(Tag("N").TagValue.IsNull());
  }
  // A declared BOOLEAN or BIT keeps integers: 1 and 0 are numbers.
  for (const char* declared : {"BOOLEAN", "BIT"}) {
    SCOPED_TRACE(std::string("SQLite ") + declared);
    EXPECT_TRUE(Collect(historian, declared,
                        {{"B1", "INTEGER", "1", "1", "1"}, {"B0", "INTEGER", "0", "0", "0"}})
                    .empty());
  }

  const auto postgres = spcdbtest::MakeTestDatabase(spcdbtest::Backend::PostgreSQL);
  if (!postgres) return;
  // One historian table per type.
  const std::vector<std::vector<Held>> typed = {
      {{"D1", "double precision", "0.30000000000000004", "0.30000000000000004",
        "0.30000000000000004"},
       {"D2", "double precision", "-12.5", "-12.5", "-12.5"},
       {"D3", "double precision", "1e20", "1E+20", "1e+20"},
       {"D4", "double precision", "1.2345678901234566e-7", "1.2345678901234566e-07",
        "1.2345678901234566e-07"}},
      {{"F1", "real", "1.1", "1.1", "1.1"}},
      {{"N1", "numeric", "123456789012345678.123456789", "123456789012345678.123456789",
        "123456789012345680"},
       {"N2", "numeric", "12.50", "12.50", "12.5"},
       {"N3", "numeric", "0.1", "0.1", "0.1"}},
      {{"I1", "integer", "7", "7", "7"},
       {"I2", "integer", "-2147483648", "-2147483648", "-2147483648"}},
      {{"B1", "bigint", "12345678901234567", "12345678901234567", ""}},
      {{"V1", "varchar(40)", "P-1", "P-1", ""},
       {"V2", "varchar(40)", "12.75", "12.75", "12.75"},
       {"V3", "varchar(40)", "007", "007", ""},
       {"V4", "varchar(40)", "Gr\xC3\xBC\xC3\x9F\xE2\x82\xAC", "Gr\xC3\xBC\xC3\x9F\xE2\x82\xAC",
        ""}},
      {{"T1", "timestamp", "2024-05-01 09:00:00.123456", "2024-05-01 09:00:00", ""}},
      // An instant, in this host's zone (Europe/Berlin), whatever the server's is.
      {{"Z1", "timestamptz", "2024-05-01 07:00:00+00", "2024-05-01 09:00:00", ""}},
      // psqlODBC hands booleans over as 1 and 0 unless the data link says BoolsAsChar=0.
      {{"L1", "boolean", "true", "1", "1"}, {"L0", "boolean", "false", "0", "0"}},
  };
  for (const std::vector<Held>& values : typed) {
    SCOPED_TRACE("PostgreSQL " + values.front().type);
    EXPECT_TRUE(Collect(postgres->ConnectionString(), values.front().type, values).empty());
  }
}

// A historian server restarted between two collections of a 1-second grid: the connection
// the pool kept fails once and is replaced in the same collection, so none is lost. While
// the server is away each collection logs one failure.
TEST_F(HistorianTest, ARestartedHistorianCostsNoCollection) {
  const auto server = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!server) GTEST_SKIP() << "no PostgreSQL server of its own";
  UseHistorian(server->ConnectionString());
  SetValue("A", "1.5", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(A)\t"});
  configuration->SetSubgroupInterval(1);
  configuration->SetSubgroupUnit(common::kSeconds);
  Start();
  for (int cycle = 1; cycle <= 6; ++cycle) {
    if (cycle == 4) {
      ASSERT_TRUE(server->TakeAway());
      server->GiveBack();
    }
    EXPECT_EQ(Cycle(), Lines{}) << "cycle " << cycle;
  }
  EXPECT_EQ(engine.SavedSubgroups(), 6);

  ASSERT_TRUE(server->TakeAway());
  const Lines away = Cycle();
  EXPECT_EQ(away.size(), 1u) << runtime::Join(away, "\n");
  server->GiveBack();
  EXPECT_EQ(Cycle(), Lines{});
  EXPECT_EQ(engine.SavedSubgroups(), 7);
}

}  // namespace
}  // namespace enginetest
