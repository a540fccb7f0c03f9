// Each step's expected and unexpected failures: their three texts in the status record and
// in the collection log, and the log file's form.
#include <filesystem>
#include <fstream>
#include <utility>

#include "tests/engine/EngineFixture.h"
#include "tests/support/Historian.h"

namespace enginetest {
namespace {

TEST_F(EngineTest, TheQueryReportsAMissingOrBrokenLinkEmptyResultsAndBadRecords) {
  std::ofstream(logPath, std::ios::binary) << "earlier line\r\n";
  Load({"TEST=G\tI\t%TAG(FIC101.PV)\t%TAG(TI-20)"});
  configuration->SetDataLink("");
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Unable to Access Database|"
                            "No Database Connection Specified|"}));
  EXPECT_EQ(LogText(),
            "earlier line\r\nLine 1\t2024-05-01 10:15:00\tUnable to Access Database\t"
            "No Database Connection Specified\t\r\n");

  configuration->SetDataLink("Driver=NoSuchDriver");
  EXPECT_EQ(Cycle().size(), 1u);
  EXPECT_EQ(LastError()[0], "Unable to Access Database");
  EXPECT_NE(LastError()[1].find("NoSuchDriver"), std::string::npos) << LastError()[1];
  EXPECT_EQ(LastError()[2], "Unable to make the Database Connection");

  configuration->SetDataLink(historian);
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Unable to get record set.|"
                            "No records were returned by the query.|"
                            "SELECT Tagname, TimeStamp, Value FROM ihRawData WHERE "
                            "(SamplingMode='CurrentValue') AND "
                            "(Tagname='FIC101.PV' OR Tagname='TI-20')"}));

  testsupport::CreateSqliteDatabase(
      historianPath, {"INSERT INTO ihRawData VALUES ('TI-20', NULL, 1, 'CurrentValue')"});
  EXPECT_EQ(Cycle(), (Lines{"Line 1|94 - Invalid use of Null|An unexpected error occurred|"
                            "Function: Engine1.ProcessRecordSet generated an unexpected "
                            "error."}));
}

TEST_F(EngineTest, EveryUnresolvedFieldIsNamedByItsTemplateAndSaveFailuresAreSaveErrors) {
  SetValue("E", "", "2024-05-01 10:00:00");
  SetValue("N", "1", "2024-05-01 10:00:00");
  SetValue("NUL", std::nullopt, "2024-05-01 10:00:00");
  const std::string characteristic = "Invalid Characteristic|Unable to resolve Characteristic|";
  const std::string unexpected =
      "|An unexpected error occurred|Function: Engine1.ResolveItem generated an unexpected error.";
  const struct {
    Lines definitions, logged;
  } cases[] = {
      {{"DESCRIPTOR=1\tParts\tP-100", "DESCRIPTOR=7\t%TAG(E)\tOperator"},
       {"Invalid Descriptor|Unable to resolve User-Defined|Group: %TAG(E)"}},
      {{"DESCRIPTOR=1\tParts\t%TAG(E)"}, {"Invalid Descriptor|Unable to resolve Part|False"}},
      {{"TEST=%TAG(E)\tI\t1\t"}, {characteristic + "Group: %TAG(E)"}},
      {{"TEST=G\t%TAG(E)\t1\t"}, {characteristic + "Item: %TAG(E)"}},
      {{"TEST=G\tI\t%TAG(E)\t"}, {characteristic + "Value: %TAG(E)"}},
      {{"TEST=G\tI\t1\t%TAG(E)"}, {characteristic + "Defect: %TAG(E)"}},
      {{"DESCRIPTOR=8\t\tabc", "TEST=G\tI\t%TAG(N)\t"},
       {"13 - Type mismatch|Subgroup Save Error|"}},
      // Of two errors in one cycle the status keeps the second (see Cycle).
      {{"TEST=G\tI\tValue %TAG(NUL)\t"},
       {"94 - Invalid use of Null" + unexpected, characteristic + "Value: Value %TAG(NUL)"}},
  };
  const auto factory = std::exchange(components.subgroupFactory, nullptr);
  Load({"TEST=G\tI\t%TAG(N)\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|429 - ActiveX component can't create object|"
                            "An unexpected error occurred|"
                            "Function: Engine1.StopEngine generated an unexpected error.",
                            "Line 1|91 - Object variable or With block variable not set|"
                            "Subgroup Save Error|"}));
  components.subgroupFactory = factory;
  for (const auto& c : cases) {
    Load(c.definitions);
    Lines logged;
    for (const std::string& line : c.logged) logged.push_back("Line 1|" + line);
    EXPECT_EQ(Cycle(), logged);
  }
  EXPECT_EQ(configuration->GetTestItem(1)->ResolvedValue(1), "") << "Null resolves to nothing";

  // An edit through the shared configuration is seen at once; its tag is not collected.
  Load({"TEST=G\tI\t%TAG(N)\t"});
  configuration->GetTestItem(1)->SetDefect("%TAG(Date, TI20)");
  EXPECT_EQ(Cycle(), (Lines{"Line 1|5 - Invalid procedure call or argument" + unexpected,
                            "Line 1|" + characteristic + "Defect: %TAG(Date, TI20)"}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);
}

TEST_F(EngineTest, ALogThatCannotBeWrittenDoesNotStopTheEngine) {
  Load({"TEST=G\tI\t%TAG(FIC101)\t"});
  configuration->SetDataLink("");
  std::filesystem::create_directory(logPath);  // a folder where the file should be
  Start();
  const runtime::Date planned = engine.NextCollectionTime();
  TickDue();
  EXPECT_EQ(LastError(),
            (Lines{"75 - Path/File access error", "An unexpected error occurred",
                   "Function: Engine1.moTimer_OnTimer generated an unexpected error."}));
  EXPECT_EQ(engine.NextCollectionTime(), planned) << "the failed tick planned nothing";
  events.clear();
  timer->Tick();
  EXPECT_EQ(events.front(), "CollectionError") << "so the next tick collects again";
}

}  // namespace
}  // namespace enginetest
