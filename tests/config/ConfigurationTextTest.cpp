#include <fstream>
#include <tuple>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;

std::string Lines(std::vector<std::string> lines) {
  return runtime::Join(lines, "\r\n");
}

class ConfigurationText : public ::testing::Test {
 protected:
  testsupport::FakeComponents components;
  Configuration1 configuration{components};
};

TEST_F(ConfigurationText, ReaderTakesKeysCaseBlindValuesAsWrittenAndBlankAsDefaults) {
  configuration.SetData(
      Lines({"name=  Lower case key  ", "NAME =ignored: the key keeps its blank", " ACTIVE=0",
             "DATALINK=Driver=NoSuchDriver;Database=a==b", "Unknown=1", "NOEQUALS",
             "=starts with equals", "SubGroupInterval=2.5", "SUBGROUPUNIT=3.5",
             "RETRYINTERVAL=minutes", "RETRYUNIT=10 minutes", "SYNCTIME=  -42.5e0", "ACTIVE=-1"}));
  EXPECT_EQ(configuration.ConfigurationName(), "  Lower case key  ");
  EXPECT_TRUE(configuration.Active());
  EXPECT_EQ(configuration.DataLink(), "Driver=NoSuchDriver;Database=a==b");
  EXPECT_EQ(configuration.DataLinkState(), 1);
  EXPECT_EQ(configuration.SubgroupInterval(), 2);
  EXPECT_EQ(configuration.SubgroupUnit(), 4);
  EXPECT_EQ(configuration.RetryInterval(), 0);
  EXPECT_EQ(configuration.RetryUnit(), 10);
  EXPECT_EQ(configuration.SyncTime(), -42);

  // Blank text gives the defaults, the data link's failure text included.
  configuration.SetData("    ");
  EXPECT_EQ(configuration.GetData(), Configuration1(components).GetData());
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.DataLinkError(), "");
}

TEST_F(ConfigurationText, ItemsAreReadByPositionAndWrittenAfterTheScalarsByKind) {
  configuration.SetData(
      Lines({"CONDITION=", "CONDITION=2.5\t%TAG(T)\t6\t10", "TEST=Only group", "TEST=G\tI\tV\tD\tE",
             "DESCRIPTOR=5", "DESCRIPTOR=7\tUser\t%TAG(A)\textra\tfields", "DESCRIPTOR=x\t\tItem",
             "SYNCTIME=-1234567", "ACTIVE=True"}));
  EXPECT_EQ(configuration.GetData(),
            // The serial's 32 bits read as unsigned: a negative one is written as such.
            Lines({"NAME=", "ACTIVE=1", "DATALINK=", "SYNCTIME=4293732729", "SUBGROUPINTERVAL=15",
                   "SUBGROUPUNIT=1", "RETRYINTERVAL=1", "RETRYUNIT=1", "DESCRIPTOR=5\t\t",
                   "DESCRIPTOR=7\tUser\t%TAG(A)", "DESCRIPTOR=0\t\tItem", "TEST=Only group\t\t\t",
                   "TEST=G\tI\tV\tD", "CONDITION=0\t\t0\t", "CONDITION=2\t%TAG(T)\t6\t10"}));
  EXPECT_EQ(configuration.GetTestItem(2)->Defect(), "D");
  const auto compare = configuration.GetConditionItem(2);
  EXPECT_EQ(
      std::tuple(compare->DataType(), compare->Value1(), compare->Evaluation(), compare->Value2()),
      std::tuple(2, "%TAG(T)", 6, "10"));
}

TEST_F(ConfigurationText, UnreadableLinesRaiseNamingTheReaderAndKeepWhatWasRead) {
  // An empty line, as a trailing line break leaves, cannot be read either.
  const std::pair<int32_t, std::vector<std::string>> cases[] = {
      {runtime::kSubscriptOutOfRange, {"", "name"}},
      {runtime::kTypeMismatch, {"ACTIVE=yes", "ACTIVE="}},
      {runtime::kOverflow,
       {"SUBGROUPINTERVAL=2147483648", "SYNCTIME=4294967296", "RETRYUNIT=1e999",
        "DESCRIPTOR=99999999999\tG\tI", "CONDITION=1\tA\t3e10\tB"}}};
  for (const auto& [number, badLines] : cases) {
    for (const std::string& badLine : badLines) {
      const runtime::Error error = ErrorFrom([&] {
        configuration.SetData(
            "NAME=Before\r\nDATALINK=Driver=NoSuchDriver\r\nTEST=\t\t%TAG(A)\r\n" +
            (badLine.empty() ? "" : badLine + "\r\nNAME=After"));
      });
      EXPECT_EQ(error.Number(), number) << badLine;
      // Number and description as raised; the line is named in the source.
      EXPECT_EQ(error.Source(), "Configuration1.SetData, line 4 of the configuration text");
      EXPECT_TRUE(error.Description().starts_with(runtime::StandardDescription(number)) &&
                  error.Description().find("line 4") == std::string::npos)
          << error.Description();
      EXPECT_EQ(configuration.ConfigurationName(), "Before") << badLine;
      EXPECT_EQ(configuration.TestCount(), 1) << badLine;
      EXPECT_EQ(configuration.DescriptorCount() + configuration.ConditionCount(), 0) << badLine;
      // Neither the data link test nor the tag items ran.
      EXPECT_EQ(configuration.DataLinkState(), 0) << badLine;
      EXPECT_EQ(configuration.TagItems().Count(), 0) << badLine;
    }
  }
  configuration.SetData("SYNCTIME=4294967295");
  EXPECT_EQ(configuration.SyncTime(), -1) << "2106, the last serial";
}

TEST_F(ConfigurationText, RealDateFieldComesFromTheTableDefinitionFile) {
  const std::string ini = components.FileSystem().ComponentFolder() + "/oxaGEPDAD.INI";
  const std::pair<const char*, bool> cases[] = {
      {"[TABLE DEFINITIONS]\r\nRealDateField=0\r\n", false},
      {"[TABLE DEFINITIONS]\r\nRealDateField=-3\r\n", true},
      {"[OTHER]\r\nRealDateField=1\r\n", false}};
  for (const auto& [content, real] : cases) {
    std::ofstream(ini, std::ios::binary) << content;
    configuration.SetData("NAME=x");
    EXPECT_EQ(configuration.RealDateField(), real) << content;
    // Clearing the record does not reset it; only reading the file again does.
    EXPECT_THROW(configuration.SetData("NAME"), runtime::Error);
    EXPECT_EQ(configuration.RealDateField(), real) << content;
  }
  std::remove(ini.c_str());
  configuration.SetData("");
  EXPECT_FALSE(configuration.RealDateField());
}

}  // namespace
