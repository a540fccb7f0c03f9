// Each step's expected and unexpected failures: their three texts in the status record and
// in the collection log, and the log file's form.
#include <filesystem>
#include <fstream>

#include "runtime/Error.h"
#include "tests/engine/EngineFixture.h"
#include "tests/support/Historian.h"

namespace enginetest {
namespace {

class FailureTest : public EngineTest {
 protected:
  // Runs one due collection and returns the log lines it added, time stripped.
  std::vector<std::string> Cycle() {
    const size_t before = LogLines().size();
    TickDue();
    std::vector<std::string> added;
    const std::vector<std::string> lines = LogLines();
    for (size_t i = before; i < lines.size(); ++i) added.push_back(WithoutTime(lines[i]));
    return added;
  }
  // The status record's texts joined as the log joins them.
  std::string Status() const {
    return "Line 1|" + engine.LastErrorDescription() + "|" + engine.LastErrorDetail() + "|" +
           engine.LastErrorExtended();
  }
};

TEST_F(FailureTest, TheQueryReportsAMissingOrBrokenLinkAndEmptyResults) {
  Load({"TEST=G\tI\t%TAG(FIC101.PV)\t%TAG(TI-20)"});
  configuration->SetDataLink("");
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Unable to Access Database|"
                            "No Database Connection Specified|"}));
  EXPECT_EQ(Status(), "Line 1|Unable to Access Database|No Database Connection Specified|");

  configuration->SetDataLink("Driver=NoSuchDriver");
  const std::vector<std::string> broken = Cycle();
  ASSERT_EQ(broken.size(), 1u);
  EXPECT_EQ(broken[0].rfind("Line 1|Unable to Access Database|", 0), 0u) << broken[0];
  EXPECT_NE(broken[0].find("NoSuchDriver"), std::string::npos) << broken[0];
  EXPECT_EQ(engine.LastErrorExtended(), "Unable to make the Database Connection");

  configuration->SetDataLink(historian);
  const std::string sql =
      "SELECT Tagname, TimeStamp, Value FROM ihRawData WHERE (SamplingMode='CurrentValue') AND "
      "(Tagname='FIC101.PV' OR Tagname='TI-20')";
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Unable to get record set.|"
                            "No records were returned by the query.|" +
                            sql}));
  EXPECT_EQ(events.back(), "CollectionTimeSet");
}

TEST_F(FailureTest, ATimestampWithoutValueFailsTheRecordProcessing) {
  Load({"TEST=G\tI\t%TAG(FIC101)\t"});
  SetValue("FIC101", "1", "2024-05-01 10:00:00");
  Start();
  testsupport::CreateSqliteDatabase(historianPath, {"UPDATE ihRawData SET TimeStamp=NULL"});
  EXPECT_EQ(Cycle(), (Lines{"Line 1|94 - Invalid use of Null|An unexpected error occurred|"
                            "Function: Engine1.ProcessRecordSet generated an unexpected "
                            "error."}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);
}

TEST_F(FailureTest, ANullValueOrAnUnknownTagResolvesToNothing) {
  SetValue("FIC101", std::nullopt, "2024-05-01 10:00:00");
  Load({"TEST=G\tI\tValue %TAG(FIC101)\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|94 - Invalid use of Null|An unexpected error occurred|"
                            "Function: Engine1.ResolveItem generated an unexpected error.",
                            "Line 1|Invalid Characteristic|Unable to resolve Characteristic|"
                            "Value: Value %TAG(FIC101)"}));
  EXPECT_EQ(configuration->GetTestItem(1)->ResolvedValue(1), "");

  // An edit through the shared configuration is seen at once; its tag is not collected.
  SetValue("FIC101", "1", "2024-05-01 10:15:00");
  configuration->GetTestItem(1)->SetDefect("%TAG(Date, TI20)");
  EXPECT_EQ(Cycle(), (Lines{"Line 1|5 - Invalid procedure call or argument|"
                            "An unexpected error occurred|"
                            "Function: Engine1.ResolveItem generated an unexpected error.",
                            "Line 1|Invalid Characteristic|Unable to resolve Characteristic|"
                            "Defect: %TAG(Date, TI20)"}));
  EXPECT_EQ(Status(),
            "Line 1|Invalid Characteristic|Unable to resolve Characteristic|"
            "Defect: %TAG(Date, TI20)")
      << "of two errors in one cycle the status keeps the second";
}

TEST_F(FailureTest, EveryUnresolvedFieldIsNamedByItsTemplate) {
  SetValue("FIC101", "", "2024-05-01 10:00:00");
  Load({"DESCRIPTOR=1\tParts\tP-100", "DESCRIPTOR=7\t%TAG(FIC101)\tOperator",
        "TEST=%TAG(FIC101)\tI\t1\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Invalid Descriptor|Unable to resolve User-Defined|"
                            "Group: %TAG(FIC101)"}));

  configuration->GetDescriptorItem(2)->SetGroup("Crew");
  configuration->GetDescriptorItem(1)->SetItem("%TAG(FIC101)");
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Invalid Descriptor|Unable to resolve Part|False"}));

  configuration->GetDescriptorItem(1)->SetItem("P-100");
  EXPECT_EQ(Cycle(), (Lines{"Line 1|Invalid Characteristic|"
                            "Unable to resolve Characteristic|Group: %TAG(FIC101)"}));
  const std::pair<const char*, const char*> fields[] = {
      {"I", "Item: %TAG(FIC101)"}, {"V", "Value: %TAG(FIC101)"}, {"D", "Defect: %TAG(FIC101)"}};
  auto& test = *configuration->GetTestItem(1);
  test.SetGroup("G");
  for (const auto& [field, message] : fields) {
    test.SetItem(field[0] == 'I' ? "%TAG(FIC101)" : "I");
    test.SetValue(field[0] == 'V' ? "%TAG(FIC101)" : "1");
    test.SetDefect(field[0] == 'D' ? "%TAG(FIC101)" : "");
    EXPECT_EQ(Cycle(), (Lines{std::string("Line 1|Invalid Characteristic|"
                                          "Unable to resolve Characteristic|") +
                              message}));
  }
  EXPECT_EQ(engine.SavedSubgroups(), 0);
}

TEST_F(FailureTest, HostFailuresDuringTheSaveAreSubgroupSaveErrors) {
  SetValue("FIC101", "abc", "2024-05-01 10:00:00");
  Load({"DESCRIPTOR=8\t\t%TAG(FIC101)", "TEST=G\tI\t1\t"});
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|13 - Type mismatch|Subgroup Save Error|"}));

  configuration->GetDescriptorItem(1)->SetItem("5");
  subgroup->check = [](const std::string& line) {
    if (line == "LookupTest I") throw runtime::Error(1001, "Test I does not exist");
  };
  EXPECT_EQ(Cycle(), (Lines{"Line 1|1001 - Test I does not exist|Subgroup Save Error|"}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);
}

TEST_F(FailureTest, ASubgroupThatCannotBeCreatedIsReportedUnderStopEngine) {
  SetValue("FIC101", "1", "2024-05-01 10:00:00");
  Load({"TEST=G\tI\t%TAG(FIC101)\t"});
  components.subgroupFactory = nullptr;
  Start();
  EXPECT_EQ(Cycle(), (Lines{"Line 1|429 - ActiveX component can't create object|"
                            "An unexpected error occurred|"
                            "Function: Engine1.StopEngine generated an unexpected error.",
                            "Line 1|91 - Object variable or With block variable not set|"
                            "Subgroup Save Error|"}));
}

TEST_F(FailureTest, TheLogIsAppendedLineByLineAndWritesTextsUnchanged) {
  const std::string path =
      components.FileSystem().JoinPath(components.FileSystem().LogFolder(), "oxaGEPDAD6.LOG");
  std::ofstream(path, std::ios::binary) << "earlier line\r\n";
  Load({"TEST=G\tI\t%TAG(FIC101)\t"});
  configuration->SetConfigurationName("");
  configuration->SetDataLink("");
  Start();
  TickAt(At("2024-05-01 10:15:00.2"));
  configuration->SetConfigurationName("Tab\tand\r\nbreak");
  TickAt(At("2024-05-01 10:16:00.2"));

  std::ifstream file(path, std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  EXPECT_EQ(
      text,
      "earlier line\r\n"
      "\t2024-05-01 10:15:00\tUnable to Access Database\tNo Database Connection "
      "Specified\t\r\n"
      "Tab\tand\r\nbreak\t2024-05-01 10:16:00\tUnable to Access Database\tNo Database Connection "
      "Specified\t\r\n");
}

TEST_F(FailureTest, ALogThatCannotBeWrittenDoesNotStopTheEngine) {
  Load({"TEST=G\tI\t%TAG(FIC101)\t"});
  configuration->SetDataLink("");
  const std::string path =
      components.FileSystem().JoinPath(components.FileSystem().LogFolder(), "oxaGEPDAD6.LOG");
  std::filesystem::create_directory(path);  // a folder where the file should be
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
