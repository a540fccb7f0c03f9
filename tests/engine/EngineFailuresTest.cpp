// Each step's expected and unexpected failures: their three texts in the status record and
// in the collection log, and the log file's form.
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>

#include "tests/engine/EngineFixture.h"

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
                            "(SamplingMode='CurrentValue') AND (Tagname IN (?, ?))"}));

  testsupport::CreateSqliteDatabase(
      historianPath, {"INSERT INTO ihRawData VALUES ('TI-20', NULL, 1, 'CurrentValue')"});
  EXPECT_EQ(Cycle(), Lines{"Line 1|" + Unexpected("94 - Invalid use of Null", "ProcessRecordSet")});
}

// A configuration with nothing but a condition still collects: an empty subgroup is saved
// and counted, every list is refreshed, and a tag the historian did not return keeps what
// it had. A nameless configuration's log lines begin with a tab.
TEST_F(EngineTest, AnEmptySubgroupIsSavedAndTagsWithoutARowKeepTheirState) {
  SetValue("A", "1", "2024-05-01 10:00:00");
  Load({"CONDITION=0\t%TAG(A) %TAG(Gone)\t2\t0"});
  config::TagItem& gone = configuration->TagItems().Item("Gone");
  gone.IsNew = true;
  Start();
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  EXPECT_TRUE(configuration->TagItems().Item("A").IsNew);
  EXPECT_TRUE(gone.IsNew) << "no row, no change";

  // A Lot has no group: its stored group is neither resolved nor cleared.
  auto lot = std::make_shared<config::DescriptorItem>();
  lot->SetData("4\t%TAG(A)\tLot 7");
  lot->SetResolvedGroup(1, "before");
  configuration->AddDescriptor(lot);
  TickDue();
  EXPECT_EQ(engine.SavedSubgroups(), 2);
  EXPECT_EQ(lot->ResolvedItem(1), "Lot 7");
  lot->SetDescriptorType(1);
  EXPECT_EQ(lot->ResolvedGroup(1), "before");

  configuration->SetConfigurationName("");
  configuration->SetDataLink("");
  TickDue();
  EXPECT_EQ(LogText().substr(0, 1), "\t");
}

TEST_F(EngineTest, EveryUnresolvedFieldIsNamedByItsTemplateAndSaveFailuresAreSaveErrors) {
  SetValue("E", "", "2024-05-01 10:00:00");
  SetValue("N", "1", "2024-05-01 10:00:00");
  SetValue("NUL", std::nullopt, "2024-05-01 10:00:00");
  const std::string characteristic = "Invalid Characteristic|Unable to resolve Characteristic|";
  const struct {
    Lines definitions, logged;
  } cases[] = {
      {{"DESCRIPTOR=1\tParts\tP-100", "DESCRIPTOR=7\t%TAG(E)\tOperator"},
       {"Invalid Descriptor|Unable to resolve User-Defined|Group: %TAG(E)"}},
      {{"DESCRIPTOR=1\tParts\t%TAG(E)"}, {"Invalid Descriptor|Unable to resolve Part|False"}},
      // A code outside the table resolves nothing, so its item stays unresolved.
      {{"DESCRIPTOR=10\tParts\t%TAG(N)"}, {"Invalid Descriptor|Unable to resolve |False"}},
      {{"TEST=%TAG(E)\tI\t1\t"}, {characteristic + "Group: %TAG(E)"}},
      {{"TEST=G\t%TAG(E)\t1\t"}, {characteristic + "Item: %TAG(E)"}},
      {{"TEST=G\tI\t%TAG(E)\t"}, {characteristic + "Value: %TAG(E)"}},
      {{"TEST=G\tI\t1\t%TAG(E)"}, {characteristic + "Defect: %TAG(E)"}},
      {{"DESCRIPTOR=8\t\tabc", "TEST=G\tI\t%TAG(N)\t"},
       {"13 - Type mismatch|Subgroup Save Error|"}},
      // Of two errors in one cycle the status keeps the second (see Cycle).
      {{"TEST=G\tI\tValue %TAG(NUL)\t"},
       {Unexpected("94 - Invalid use of Null", "ResolveItem"),
        characteristic + "Value: Value %TAG(NUL)"}},
  };
  const auto factory = std::exchange(components.subgroupFactory, nullptr);
  Load({"TEST=G\tI\t%TAG(N)\t"});
  Start();
  EXPECT_EQ(
      Cycle(),
      (Lines{"Line 1|" + Unexpected("429 - ActiveX component can't create object", "StopEngine"),
             "Line 1|91 - Object variable or With block variable not set|Subgroup Save Error|"}));
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
  EXPECT_EQ(Cycle(),
            (Lines{"Line 1|" + Unexpected("5 - Invalid procedure call or argument", "ResolveItem"),
                   "Line 1|" + characteristic + "Defect: %TAG(Date, TI20)"}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);
}

// A log that cannot take a line still loses nothing: the host's error display gets the
// line, and the failed collection still plans its retry instead of running on every tick.
TEST_F(EngineTest, ALogThatCannotBeWrittenShowsTheErrorAndTheRetryIsStillPlanned) {
  const std::string logFolder = components.FileSystem().LogFolder();
  for (const bool diskFull : {false, true}) {
    SCOPED_TRACE(diskFull ? "the disk is full" : "the log folder is a file");
    clock.Set(At("2024-05-01 10:07:30"));
    std::filesystem::remove_all(logFolder);
    if (diskFull) {
      std::filesystem::create_directory(logFolder);
      std::filesystem::create_symlink("/dev/full", logPath);
    } else {
      std::ofstream(logFolder) << "";
    }
    components.shownErrors.clear();
    Load({"TEST=G\tI\t%TAG(FIC101)\t"});
    configuration->SetDataLink("");
    Start();
    TickDue();
    EXPECT_EQ(LastError(),
              (Lines{"Unable to Access Database", "No Database Connection Specified", ""}));
    EXPECT_EQ(Next(), "2024-05-01 10:16:00") << "planned by the retry settings";
    ASSERT_EQ(components.shownErrors.size(), 1u);
    const testsupport::ShownError& shown = components.shownErrors[0];
    EXPECT_EQ(shown.module + " " + std::to_string(shown.number) + " " + shown.location,
              "oxaGEPDAD6 75 Engine1.LogError");
    EXPECT_EQ(shown.description,
              "The collection log could not be written (Path/File access error: " +
                  (diskFull ? "cannot write " + logPath + ": No space left on device"
                            : "cannot open " + logPath + ": Not a directory") +
                  "). The error it was to record: Line 1\t2024-05-01 10:15:00\t"
                  "Unable to Access Database\tNo Database Connection Specified\t");
    events.clear();
    TickAt(At("2024-05-01 10:15:30"));
    EXPECT_TRUE(events.empty()) << "nothing runs before the retry time";
  }
}

}  // namespace
}  // namespace enginetest
