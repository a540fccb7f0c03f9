#include <fstream>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "runtime/Error.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;

std::string Lines(std::initializer_list<std::string> lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "\r\n") + line;
  return text;
}

// The error SetData raised, or a default one when it raised none.
runtime::Error SetDataError(Configuration1& configuration, const std::string& text) {
  try {
    configuration.SetData(text);
  } catch (const runtime::Error& e) {
    return e;
  }
  return runtime::Error(0, "nothing raised");
}

class ConfigurationText : public ::testing::Test {
 protected:
  testsupport::FakeComponents components;
  Configuration1 configuration{components};
};

TEST_F(ConfigurationText, WriterEmitsScalarsThenDescriptorsTestsAndConditions) {
  configuration.SetData(
      "CONDITION=1\t%TAG(Line3.Running)\t1\t1\r\nTEST=Fill\tNet\t%TAG(W)\r\n"
      "DESCRIPTOR=4\tLot group\t%TAG(Line3.Lot)\r\nSYNCTIME=-1234567\r\nACTIVE=True");
  EXPECT_EQ(configuration.GetData(),
            Lines({"NAME=", "ACTIVE=1", "DATALINK=", "SYNCTIME=-1234567", "SUBGROUPINTERVAL=15",
                   "SUBGROUPUNIT=1", "RETRYINTERVAL=1", "RETRYUNIT=1",
                   "DESCRIPTOR=4\tLot group\t%TAG(Line3.Lot)", "TEST=Fill\tNet\t%TAG(W)\t",
                   "CONDITION=1\t%TAG(Line3.Running)\t1\t1"}));
}

TEST_F(ConfigurationText, ReaderTakesKeysCaseBlindAndValuesAsWritten) {
  configuration.SetData(Lines({
      "name=  Lower case key  ",
      "NAME =ignored: the key keeps its blank",
      " ACTIVE=0",
      "DATALINK=Driver=NoSuchDriver;Database=a==b",
      "Unknown=1",
      "NOEQUALS",
      "=starts with equals",
      "SubGroupInterval=2.5",
      "SUBGROUPUNIT=3.5",
      "RETRYINTERVAL=minutes",
      "RETRYUNIT=10 minutes",
      "SYNCTIME=  -42.5e0",
      "ACTIVE=-1",
  }));
  EXPECT_EQ(configuration.ConfigurationName(), "  Lower case key  ");
  EXPECT_TRUE(configuration.Active());
  EXPECT_EQ(configuration.DataLink(), "Driver=NoSuchDriver;Database=a==b");
  EXPECT_EQ(configuration.DataLinkState(), 1);
  EXPECT_EQ(configuration.SubgroupInterval(), 2);
  EXPECT_EQ(configuration.SubgroupUnit(), 4);
  EXPECT_EQ(configuration.RetryInterval(), 0);
  EXPECT_EQ(configuration.RetryUnit(), 10);
  EXPECT_EQ(configuration.SyncTime(), -42);

  // Later lines overwrite earlier ones; a unit code out of range is kept as it is.
  configuration.SetData("RETRYUNIT=1\r\nSUBGROUPUNIT=7\r\nRETRYUNIT=3");
  EXPECT_EQ(configuration.RetryUnit(), 3);
  EXPECT_EQ(configuration.SubgroupUnit(), 7);
  EXPECT_EQ(configuration.ConfigurationName(), "");
}

TEST_F(ConfigurationText, ActiveTakesNumbersAndTrueFalseText) {
  for (const char* value : {"-1", "2", "True", "true", " TRUE ", "0.5"}) {
    configuration.SetData(std::string("ACTIVE=") + value);
    EXPECT_TRUE(configuration.Active()) << value;
  }
  for (const char* value : {"0", "False", "fALSE", " 0 "}) {
    configuration.SetData(std::string("ACTIVE=1\r\nACTIVE=") + value);
    EXPECT_FALSE(configuration.Active()) << value;
  }
}

TEST_F(ConfigurationText, EmptyOrBlankTextGivesTheDefaults) {
  for (const char* text : {"", "    "}) {
    configuration.SetDataLink("Driver=NoSuchDriver");
    configuration.SetData("NAME=x\r\nACTIVE=1\r\nTEST=a");
    configuration.SetData(text);
    EXPECT_EQ(configuration.GetData(), Configuration1(components).GetData());
    EXPECT_EQ(configuration.DataLinkState(), 0);
    EXPECT_EQ(configuration.DataLinkError(), "");
  }
  // Only spaces are trimmed: a tab is a line of its own, an unknown key.
  configuration.SetData(" \tNAME=x ");
  EXPECT_EQ(configuration.ConfigurationName(), "");
}

TEST_F(ConfigurationText, ItemBodiesAreReadByPosition) {
  configuration.SetData(Lines({
      "DESCRIPTOR=5",
      "DESCRIPTOR=7\tUser\t%TAG(A)\textra\tfields",
      "DESCRIPTOR=x\t\tItem",
      "TEST=Only group",
      "TEST=G\tI\tV\tD\tE",
      "CONDITION=",
      "CONDITION=2.5\t%TAG(T)\t6\t10",
  }));
  auto shift = configuration.GetDescriptorItem(1);
  EXPECT_EQ(shift->DescriptorType(), 5);
  EXPECT_EQ(shift->Group() + shift->Item(), "");
  EXPECT_EQ(configuration.GetDescriptorItem(2)->GetData(), "7\tUser\t%TAG(A)");
  EXPECT_EQ(configuration.GetDescriptorItem(3)->GetData(), "0\t\tItem");
  EXPECT_EQ(configuration.GetTestItem(1)->Group(), "Only group");
  EXPECT_EQ(configuration.GetTestItem(1)->GetData(), "Only group\t\t\t");
  EXPECT_EQ(configuration.GetTestItem(2)->Defect(), "D");
  EXPECT_EQ(configuration.GetConditionItem(1)->GetData(), "0\t\t0\t");
  auto compare = configuration.GetConditionItem(2);
  EXPECT_EQ(compare->DataType(), 2);
  EXPECT_EQ(compare->Value1(), "%TAG(T)");
  EXPECT_EQ(compare->Evaluation(), 6);
  EXPECT_EQ(compare->Value2(), "10");
}

TEST_F(ConfigurationText, TrailingLineBreakStopsAtTheEmptyLine) {
  const std::string text =
      Lines({"NAME=Kept", "DATALINK=Driver=NoSuchDriver", "TEST=\t\t%TAG(A)", "", "NAME=Lost"});
  const runtime::Error error = SetDataError(configuration, text);
  EXPECT_EQ(error.Number(), runtime::kSubscriptOutOfRange);
  EXPECT_EQ(error.Source(), "Configuration1.SetData");
  EXPECT_NE(error.Description().find("line 4"), std::string::npos) << error.Description();
  EXPECT_EQ(configuration.ConfigurationName(), "Kept");
  EXPECT_EQ(configuration.TestCount(), 1);
  // Neither the data link test nor the tag items ran.
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.TagItems().Count(), 0);

  EXPECT_EQ(SetDataError(configuration, "NAME=A\r\nACTIVE=1\r\n").Number(),
            runtime::kSubscriptOutOfRange);
  EXPECT_EQ(configuration.ConfigurationName(), "A");
  EXPECT_TRUE(configuration.Active());
}

TEST_F(ConfigurationText, UnreadableLinesRaiseNamingTheReader) {
  struct Case {
    std::string badLine;
    int32_t number;
  };
  const Case cases[] = {
      {"ACTIVE=yes", runtime::kTypeMismatch},
      {"ACTIVE=", runtime::kTypeMismatch},
      {"name", runtime::kSubscriptOutOfRange},
      {"SUBGROUPINTERVAL=2147483648", runtime::kOverflow},
      {"SYNCTIME=-2147483649", runtime::kOverflow},
      {"RETRYUNIT=1e999", runtime::kOverflow},
      {"DESCRIPTOR=99999999999\tG\tI", runtime::kOverflow},
      {"CONDITION=1\tA\t3e10\tB", runtime::kOverflow},
  };
  for (const Case& c : cases) {
    const runtime::Error error =
        SetDataError(configuration, Lines({"NAME=Before", "TEST=T", c.badLine, "NAME=After"}));
    EXPECT_EQ(error.Number(), c.number) << c.badLine;
    EXPECT_EQ(error.Source(), "Configuration1.SetData") << c.badLine;
    EXPECT_NE(error.Description().find("line 3"), std::string::npos) << error.Description();
    EXPECT_EQ(configuration.ConfigurationName(), "Before") << c.badLine;
    EXPECT_EQ(configuration.TestCount(), 1) << c.badLine;
    EXPECT_EQ(configuration.DescriptorCount() + configuration.ConditionCount(), 0) << c.badLine;
  }
  // The largest values still fit.
  configuration.SetData("SYNCTIME=2147483647\r\nRETRYINTERVAL=-2147483648.4");
  EXPECT_EQ(configuration.SyncTime(), 2147483647);
  EXPECT_EQ(configuration.RetryInterval(), -2147483647 - 1);
}

TEST_F(ConfigurationText, RealDateFieldComesFromTheTableDefinitionFile) {
  const std::string ini = components.FileSystem().ComponentFolder() + "/oxaGEPDAD.INI";
  auto write = [&](const std::string& content) { std::ofstream(ini, std::ios::binary) << content; };

  write("[TABLE DEFINITIONS]\r\nRealDateField=1\r\n");
  configuration.SetData("NAME=x");
  EXPECT_TRUE(configuration.RealDateField());

  // Not reset by the reader's first step, only by reading the file again.
  EXPECT_THROW(configuration.SetData("NAME"), runtime::Error);
  EXPECT_TRUE(configuration.RealDateField());

  write("[table definitions]\r\nrealdatefield=0\r\n");
  configuration.SetData("");
  EXPECT_FALSE(configuration.RealDateField());

  write("[TABLE DEFINITIONS]\r\nRealDateField=-3\r\n");
  configuration.SetData("");
  EXPECT_TRUE(configuration.RealDateField());

  write("[TABLE DEFINITIONS]\r\nOtherKey=1\r\n[OTHER]\r\nRealDateField=1\r\n");
  configuration.SetData("");
  EXPECT_FALSE(configuration.RealDateField());

  std::remove(ini.c_str());
  configuration.SetData("");
  EXPECT_FALSE(configuration.RealDateField());
}

}  // namespace
