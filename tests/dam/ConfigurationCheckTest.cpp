// dam check's reading of configuration texts against a real SQLite historian: every kind
// of mistake is found on its line with its severity, and the driver still loads what the
// check complains about unless its own reader stops.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "apps/dam/ConfigurationCheck.h"
#include "config/Configuration1.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
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
    for (const char* tag : {"LINE1.WEIGHT", "LINE1.PARTNO", "LINE1.COUNTER"}) {
      statements.push_back(std::string("INSERT INTO ihTags VALUES ('") + tag + "')");
    }
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

TEST_F(ConfigurationCheck, FindsEachMistakeOnItsLine) {
  const struct Case {
    std::vector<std::string> lines;  // from line 4
    std::vector<Expected> expected;
    bool driverLoads;
  } cases[] = {
      {{"SUBGROUPINTERVAL=15", "SUBGROUPUNIT=1", "DESCRIPTOR=1\tParts\t%TAG(LINE1.PARTNO)",
        "DESCRIPTOR=7\tOperators\tMiller", "DESCRIPTOR=7\tShifts\tDay",
        "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t",
        "CONDITION=0\t%TAG(Value, LINE1.COUNTER)\t2\t%TAG(Date,LINE1.COUNTER)"},
       {},
       true},
      {{"SUBGROUPINTRVAL=5", "NAME =Other", "Just a note"},
       {{4, "warning", "unknown key 'SUBGROUPINTRVAL'"},
        {5, "warning", "'NAME ' (blanks around the key)"},
        {6, "warning", "'Just a note' (a line without '=')"}},
       true},
      {{"SUBGROUPINTERVAL=ten", "RETRYINTERVAL=10 minutes", "SYNCTIME=now"},
       {{4, "error", "SUBGROUPINTERVAL 'ten' is not a number (the driver reads 0)"},
        {5, "error", "RETRYINTERVAL '10 minutes' is not a number (the driver reads 10)"},
        {6, "error", "SYNCTIME 'now' is not a number"}},
       true},
      {{"SUBGROUPUNIT=7", "RETRYUNIT=-1", "SUBGROUPINTERVAL=0", "RETRYUNIT=3"},
       {{4, "error", "SUBGROUPUNIT 7 is no unit"},
        {5, "error", "RETRYUNIT -1 is no unit"},
        {6, "error", "SUBGROUPINTERVAL 0 is not a positive interval"}},
       true},
      {{"DESCRIPTOR=0\tG\tI", "DESCRIPTOR=10\tG\tI", "DESCRIPTOR=Part\tG\tI", "DESCRIPTOR="},
       {{4, "error", "descriptor type 0 is outside 1-9"},
        {5, "error", "descriptor type 10 is outside 1-9"},
        {6, "error", "descriptor type 'Part' is not a number"},
        {7, "error", "descriptor type '' is not a number"}},
       true},
      {{"DESCRIPTOR=1\tParts\tA", "DESCRIPTOR=5\tShifts\tDay", "DESCRIPTOR=1\tParts\tB",
        "DESCRIPTOR=9\t\tnow", "DESCRIPTOR=9\t\tlater"},
       {{6, "error", "a second Part descriptor (the first is on line 4)"},
        {8, "error", "a second Time descriptor (the first is on line 7)"}},
       true},
      {{"CONDITION=0\t%TAG(LINE1.COUNTER)\t7\t1", "CONDITION=0\t%TAG(LINE1.COUNTER)\t-1\t1",
        "CONDITION=x\t%TAG(LINE1.COUNTER)\t0\t"},
       {{4, "error", "condition evaluation 7 is outside 0-6"},
        {5, "error", "condition evaluation -1 is outside 0-6"},
        {6, "error", "condition data type 'x' is not a number"}},
       true},
      {{"TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT", "DESCRIPTOR=1\t%TAG(LINE1.PARTNO\tx",
        "CONDITION=0\t%TAG(%TAG(LINE1.COUNTER)\t0\t"},
       {{4, "error", "test value: '%TAG(' without its ')'"},
        {5, "error", "descriptor group: '%TAG(' without its ')'"},
        {6, "error", "condition value 1: '%TAG(' without its ')'"}},
       true},
      {{"TEST=\tWeight\t1", "TEST=Fill\t \t1", "TEST=Fill\tWeight", "TEST="},
       {{4, "error", "a test without a group"},
        {5, "error", "a test without a name"},
        {6, "error", "a test without a value"},
        {7, "error", "a test without a group"},
        {7, "error", "a test without a name"},
        {7, "error", "a test without a value"}},
       true},
      {{"TEST=Fill\tWeight\t%TAG(LINE1.WEIGTH)", "CONDITION=0\t%TAG(LINE1.WEIGTH)\t0\t",
        "DESCRIPTOR=4\t\t%TAG(Date, LINE1.LOT)"},
       {{4, "warning", "the historian has no tag 'LINE1.WEIGTH' in ihTags"},
        {6, "warning", "the historian has no tag 'LINE1.LOT' in ihTags"}},
       true},
      // The driver's reader stops at these lines: nothing after them is read or reported.
      {{"ACTIVE=maybe", "SUBGROUPUNIT=7"},
       {{4, "error", "ACTIVE 'maybe' is neither a number nor True or False: the driver stops"}},
       false},
      {{"SUBGROUPINTERVAL=1", "", "UNKNOWN=1"}, {{5, "error", "an empty line"}}, false},
      {{"SUBGROUPUNIT"}, {{4, "error", "SUBGROUPUNIT without '='"}}, false},
      {{"SUBGROUPINTERVAL=3000000000"},
       {{4, "error", "SUBGROUPINTERVAL '3000000000' is too large"}},
       false},
      {{"DESCRIPTOR=1e10\tParts\tA"}, {{4, "error", "descriptor type '1e10' is too large"}}, false},
      {{"SYNCTIME=4294967295"}, {}, true},
  };
  for (const Case& c : cases) {
    const std::string text = Text(c.lines);
    SCOPED_TRACE(text);
    const std::vector<dam::CheckFinding> findings = dam::CheckConfiguration(components_, text);
    std::string shown;
    for (const auto& finding : findings) shown += dam::FormatFinding("f", finding) + "\n";
    ASSERT_EQ(findings.size(), c.expected.size()) << shown;
    for (size_t i = 0; i < findings.size(); ++i) {
      EXPECT_EQ(findings[i].line, c.expected[i].line) << shown;
      EXPECT_EQ(findings[i].error, std::string(c.expected[i].severity) == "error") << shown;
      EXPECT_NE(findings[i].text.find(c.expected[i].text), std::string::npos) << shown;
    }
    // The check reports; the driver's reading stays as lenient as it was.
    config::Configuration1 configuration(components_);
    bool loads = true;
    try {
      configuration.SetData(text);
    } catch (const runtime::Error&) {
      loads = false;
    }
    EXPECT_EQ(loads, c.driverLoads);
  }
}

TEST_F(ConfigurationCheck, AHistorianAwayIsAWarningOnTheDataLinkLine) {
  const std::string away =
      "Driver=SQLite3;Database=" + components_.Root().Path() + "/none.db;NoCreat=1";
  const struct {
    std::vector<std::string> lines;
    Expected expected;
  } cases[] = {
      {{"NAME=Line", "DATALINK=" + away, "TEST=Fill\tWeight\t%TAG(LINE1.MISSING)"},
       {2, "warning", "the historian cannot be reached now: Unable to Connect ("}},
      {{"NAME=Line", "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)"},
       {0, "warning", "no DATALINK: the driver has no historian to read"}},
  };
  for (const auto& c : cases) {
    const std::vector<dam::CheckFinding> findings =
        dam::CheckConfiguration(components_, runtime::Join(c.lines, "\r\n"));
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_EQ(findings[0].line, c.expected.line);
    EXPECT_FALSE(findings[0].error);
    EXPECT_NE(findings[0].text.find(c.expected.text), std::string::npos) << findings[0].text;
    EXPECT_EQ(findings[0].text.find("SQLSTATE"), std::string::npos) << findings[0].text;
  }
  EXPECT_EQ(dam::FormatFinding("a.cfg", {2, false, "x"}), "a.cfg:2: warning: x");
  EXPECT_EQ(dam::FormatFinding("a.cfg", {0, true, "x"}), "a.cfg: error: x");
}

TEST_F(ConfigurationCheck, ATagNamedLikeSqlIsOnlyAName) {
  const std::string text =
      Text({"TEST=Fill\tWeight\t%TAG(x' OR '1'='1)", "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)"});
  const std::vector<dam::CheckFinding> findings = dam::CheckConfiguration(components_, text);
  ASSERT_EQ(findings.size(), 1u);
  EXPECT_EQ(findings[0].line, 4);
  EXPECT_NE(findings[0].text.find("no tag 'x' OR '1'='1'"), std::string::npos) << findings[0].text;
}

}  // namespace
