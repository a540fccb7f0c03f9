// The check of configuration texts against a real SQLite historian: every kind of mistake
// is found on its line, and the reader still loads what the check complains about unless
// it stops.
#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "config/ConfigurationCheck.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"

namespace {

struct Expected {
  int line;
  const char* severity;
  const char* text;  // a part of the finding's text
};

class ConfigurationCheck : public ::testing::Test {
 protected:
  ConfigurationCheck() {
    std::vector<std::string> statements = testsupport::kHistorianTables;
    statements.push_back(
        "INSERT INTO ihTags VALUES ('LINE1.WEIGHT'), ('LINE1.PARTNO'), ('LINE1.COUNTER')");
    link_ =
        testsupport::CreateSqliteDatabase(components_.Root().Path() + "/historian.db", statements) +
        ";NoCreat=1";
  }

  // A configuration on the historian: its first three lines, then `lines`.
  std::string Text(const std::vector<std::string>& lines) const {
    std::vector<std::string> all = {"NAME=Line", "ACTIVE=1", "DATALINK=" + link_};
    all.insert(all.end(), lines.begin(), lines.end());
    return runtime::Join(all, "\r\n");
  }

  testsupport::FakeComponents components_;
  std::string link_;
};

struct Case {
  std::vector<std::string> lines;  // from line 4
  std::vector<Expected> expected;
};

// A configuration that reads no tag never collects.
const Expected kNoTag = {0, "warning", "no %TAG(...) anywhere: the driver reads no tag"};

TEST_F(ConfigurationCheck, FindsEachMistakeOnItsLine) {
  const std::vector<Case> loaded = {
      {{"SUBGROUPINTERVAL=15", "SUBGROUPUNIT=1", "DESCRIPTOR=1\tParts\t%TAG(LINE1.PARTNO)",
        "DESCRIPTOR=7\tOperators\tMiller", "DESCRIPTOR=7\tShifts\tDay",
        "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t",
        "CONDITION=0\t%TAG(Value, LINE1.COUNTER)\t2\t%TAG(Date,LINE1.COUNTER)"},
       {}},
      {{"SUBGROUPINTRVAL=5", "NAME =Other", "Just a note"},
       {kNoTag,
        {4, "warning", "unknown key 'SUBGROUPINTRVAL'"},
        {5, "warning", "'NAME ' (blanks around the key)"},
        {6, "warning", "'Just a note' (a line without '=')"}}},
      {{"SUBGROUPINTERVAL=ten", "RETRYINTERVAL=10 minutes", "SYNCTIME=now"},
       {kNoTag,
        {4, "error", "SUBGROUPINTERVAL 'ten' is not a number (the driver reads 0)"},
        {5, "error", "RETRYINTERVAL '10 minutes' is not a number (the driver reads 10)"},
        {6, "error", "SYNCTIME 'now' is not a number"}}},
      {{"SUBGROUPUNIT=7", "RETRYUNIT=-1", "SUBGROUPINTERVAL=0", "RETRYUNIT=3", "RETRYINTERVAL=2.5"},
       {kNoTag,
        {4, "error", "SUBGROUPUNIT 7 is no unit"},
        {5, "error", "RETRYUNIT -1 is no unit"},
        {6, "error", "SUBGROUPINTERVAL 0 is not a positive interval"},
        {8, "warning", "RETRYINTERVAL '2.5' is not a whole number: the driver reads 2"}}},
      {{"DESCRIPTOR=0\tG\tI", "DESCRIPTOR=10\tG\tI", "DESCRIPTOR=Part\tG\tI", "DESCRIPTOR="},
       {kNoTag,
        {4, "error", "descriptor type 0 is outside 1-9"},
        {5, "error", "descriptor type 10 is outside 1-9"},
        {6, "error", "descriptor type 'Part' is not a number"},
        {7, "error", "descriptor type '' is not a number"}}},
      {{"DESCRIPTOR=1\tParts\tA", "DESCRIPTOR=5\tShifts\tDay", "DESCRIPTOR=1\tParts\tB",
        "DESCRIPTOR=9\t\t2026-11-26 06:00", "DESCRIPTOR=9\t\t11/26/2026 6:00 AM"},
       {kNoTag,
        {6, "error",
         "a second Part descriptor (the first is on line 4): the driver saves the last one's "
         "group and name, and each must resolve"},
        {8, "error",
         "a second Time descriptor (the first is on line 7): the driver saves the last "
         "one's value"}}},
      // Fixed texts the save refuses at every collection; templates wait for the run.
      {{"DESCRIPTOR=1\t\tP-1", "DESCRIPTOR=7", "DESCRIPTOR=4\t\t ", "DESCRIPTOR=5\t \tDay",
        "DESCRIPTOR=8\t\tabc", "DESCRIPTOR=9\t\tnot a date",
        "DESCRIPTOR=2\t%TAG(LINE1.PARTNO)\t%TAG(LINE1.COUNTER)",
        "DESCRIPTOR=6\t\t%TAG(LINE1.PARTNO)"},
       {{4, "error",
         "a Part descriptor without a group: the driver saves no subgroup (\"Invalid "
         "Descriptor\")"},
        {5, "error", "a User-Defined descriptor without a group"},
        {5, "error", "a User-Defined descriptor without a name"},
        {6, "error", "a Lot descriptor without a value"},
        {7, "error", "a Shift descriptor without a group"},
        {8, "error",
         "Size 'abc' cannot be saved (13 - Type mismatch): the driver saves no subgroup "
         "(\"Subgroup Save Error\")"},
        {9, "error", "Time 'not a date' cannot be saved (13 - Type mismatch)"}}},
      {{"DESCRIPTOR=8\t\t-1"},
       {kNoTag, {4, "error", "Size '-1' is negative: the driver saves no"}}},
      {{"DESCRIPTOR=8\t\t99999999999"},
       {kNoTag, {4, "error", "Size '99999999999' cannot be saved (6 - Overflow)"}}},
      {{"CONDITION=0\t%TAG(LINE1.COUNTER)\t7\t1", "CONDITION=0\t%TAG(LINE1.COUNTER)\t-1\t1",
        "CONDITION=x\t%TAG(LINE1.COUNTER)\t0\t"},
       {{4, "error", "condition evaluation 7 is outside 0-6"},
        {5, "error", "condition evaluation -1 is outside 0-6"},
        {6, "error", "condition data type 'x' is not a number"}}},
      {{"TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT", "DESCRIPTOR=1\t%TAG(LINE1.PARTNO\tx",
        "CONDITION=0\t%TAG(%TAG(LINE1.COUNTER)\t0\t"},
       {{4, "error", "test value: '%TAG(' without its ')'"},
        {5, "error", "descriptor group: '%TAG(' without its ')'"},
        {6, "error", "condition value 1: '%TAG(' without its ')'"}}},
      {{"TEST=\tWeight\t1", "TEST=Fill\t \t1", "TEST=Fill\tWeight", "TEST="},
       {kNoTag,
        {4, "error", "a test without a group"},
        {5, "error", "a test without a name"},
        {6, "error", "a test without a value"},
        {7, "error", "a test without a group"},
        {7, "error", "a test without a name"},
        {7, "error", "a test without a value"}}},
      {{"TEST=Fill\tWeight\t%TAG(LINE1.WEIGTH)", "CONDITION=0\t%TAG(LINE1.WEIGTH)\t0\t",
        "DESCRIPTOR=4\t\t%TAG(Date, LINE1.LOT)"},
       {{4, "warning", "the historian has no tag 'LINE1.WEIGTH' in ihTags"},
        {6, "warning", "the historian has no tag 'LINE1.LOT' in ihTags"}}},
      // A tag named like SQL is only a name; a single tag is looked up too.
      {{"TEST=Fill\tWeight\t%TAG(x' OR '1'='1)"}, {{4, "warning", "no tag 'x' OR '1'='1'"}}},
      {{"SYNCTIME=4294967295"}, {kNoTag}},
      // Read as the unsigned serials they are; what is left disabled is not started.
      {{"SYNCTIME=-900", "ACTIVE=0"},
       {kNoTag,
        {4, "warning",
         "SYNCTIME -900 is negative: the driver reads it as 4294966396, 2106-02-07 06:13:16"},
        {5, "warning", "ACTIVE '0' disables the configuration: the driver does not start it"}}},
  };
  // The driver's reader stops at these lines: nothing after them is read or reported.
  const std::vector<Case> stopping = {
      {{"ACTIVE=maybe", "SUBGROUPUNIT=7"},
       {{4, "error", "ACTIVE 'maybe' is neither a number nor True or False: the driver stops"}}},
      {{"SUBGROUPINTERVAL=1", "", "UNKNOWN=1"}, {{5, "error", "an empty line"}}},
      {{"SUBGROUPUNIT"}, {{4, "error", "SUBGROUPUNIT without '='"}}},
      {{"SUBGROUPINTERVAL=3000000000"},
       {{4, "error", "SUBGROUPINTERVAL '3000000000' is too large"}}},
      {{"DESCRIPTOR=1e10\tParts\tA"}, {{4, "error", "descriptor type '1e10' is too large"}}},
      // Too large exactly where the reader says so.
      {{"SYNCTIME=2147483647.5"}, {{4, "error", "SYNCTIME '2147483647.5' is too large"}}},
      {{"SYNCTIME=4294967296"}, {{4, "error", "SYNCTIME '4294967296' is too large"}}},
      {{"CONDITION=1\tx\t1e400"}, {{4, "error", "condition evaluation '1e400' is too large"}}},
  };
  for (const auto& [cases, loads] : {std::pair(&loaded, true), std::pair(&stopping, false)}) {
    for (const Case& c : *cases) {
      const std::string text = Text(c.lines);
      SCOPED_TRACE(text);
      const std::vector<host::CheckFinding> findings =
          config::CheckConfiguration(components_, text);
      std::string shown;
      for (const auto& finding : findings) {
        shown += std::to_string(finding.line) + (finding.error ? " error: " : " warning: ") +
                 finding.text + "\n";
      }
      ASSERT_EQ(findings.size(), c.expected.size()) << shown;
      for (size_t i = 0; i < findings.size(); ++i) {
        EXPECT_EQ(findings[i].line, c.expected[i].line) << shown;
        EXPECT_EQ(findings[i].error, std::string(c.expected[i].severity) == "error") << shown;
        EXPECT_NE(findings[i].text.find(c.expected[i].text), std::string::npos) << shown;
      }
      // The check reports; the driver's reading stays as lenient as it was.
      config::Configuration1 configuration(components_);
      EXPECT_EQ(ErrorOf([&] { configuration.SetData(text); }) == 0, loads);
    }
  }
}

}  // namespace
