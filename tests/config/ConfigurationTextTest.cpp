#include <fstream>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "config/MergedNames.h"
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

TEST_F(ConfigurationText, ReaderTakesKeysCaseBlindValuesAsWrittenItemsByPositionBlankAsDefaults) {
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

  // Items are read by position and written after the scalars, by kind.
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
}

TEST_F(ConfigurationText, UnreadableLinesRaiseNamingTheReaderAndKeepWhatWasRead) {
  // An empty line, as a trailing line break leaves, cannot be read either. What is wrong
  // with a line, when it is more than the number says, follows its place in the source.
  const std::map<std::string, std::string> detail = {{"", ": an empty line"},
                                                     {"name", ": NAME without \"=\""}};
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
      EXPECT_EQ(error.Source(), "Configuration1.SetData, line 4 of the configuration text" +
                                    (detail.contains(badLine) ? detail.at(badLine) : ""));
      EXPECT_EQ(error.Description(), runtime::StandardDescription(number));
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

using Strings = std::vector<std::string>;

Strings TagItemNames(const Configuration1& configuration) {
  Strings names;
  for (const auto& item : configuration.TagItems()) names.push_back(item->TagName);
  return names;
}

class TagNames : public ConfigurationText {};

TEST_F(TagNames, GatheredOncePerTagInOrderOfFirstReferenceOrNotAtAll) {
  // Test value A and condition a give the one item A; the Lot group is not a field.
  configuration.SetData(
      "CONDITION=1\t%TAG(a)\t1\t%TAG(Date, Cond.Only)\r\n"
      "TEST=%TAG(B)\tNet\t%TAG(Value, A)\t\r\n"
      "DESCRIPTOR=4\t%TAG(Lot.Group)\t%TAG(Lot.Item)\r\n"
      "DESCRIPTOR=1\t%TAG(Part.Group)\t%TAG(b)");
  const Strings expected = {"Lot.Item", "Part.Group", "b", "A", "Cond.Only"};
  Strings names = {"untouched"};
  ASSERT_TRUE(configuration.GetUniqueTagNames(names));
  EXPECT_EQ(names, expected);
  EXPECT_EQ(TagItemNames(configuration), expected);
  EXPECT_EQ(configuration.TagItems().Item("cond.only").TagName, "Cond.Only");
  EXPECT_TRUE(components.shownErrors.empty());

  // The merge keeps a name repeated inside one template; the tag items hold it once.
  configuration.SetData("TEST=%TAG(X) and %TAG(Date, x)\r\nDESCRIPTOR=1\tG\t%TAG(Y)%TAG(y)%TAG(X)");
  ASSERT_TRUE(configuration.GetUniqueTagNames(names));
  EXPECT_EQ(names, (Strings{"Y", "y", "X"}));
  EXPECT_EQ(TagItemNames(configuration), (Strings{"Y", "X"}));

  // Case is folded in every alphabet, not A-Z only; bytes that are no UTF-8 stay apart.
  configuration.SetData(
      "TEST=G\tI\t%TAG(Füll.Gewicht) %TAG(FÜLL.GEWICHT)\t\r\n"
      "DESCRIPTOR=1\tG\t%TAG(\xff\xfe\x41) %TAG(\xff\xfe\x61) %TAG(\xfe\xff\x61)");
  EXPECT_EQ(TagItemNames(configuration), (Strings{"\xff\xfe\x41", "\xfe\xff\x61", "Füll.Gewicht"}));
  EXPECT_EQ(configuration.TagItems().Item("FÜLL.GEWICHT").TagName, "Füll.Gewicht");

  // No reference at all: false, the names untouched, no tag item left from before.
  configuration.SetData("TEST=G\tI\t12.5\t%tag(lower case is text)");
  names = {"untouched"};
  EXPECT_FALSE(configuration.GetUniqueTagNames(names));
  EXPECT_EQ(names, Strings{"untouched"});
  EXPECT_EQ(configuration.TagItems().Count(), 0);
}

Strings Merged(const std::vector<Strings>& lists) {
  config::MergedNames merged;
  for (const Strings& list : lists) merged.Merge(list);
  return merged.Names();
}

TEST(MergedNames, KeepsTheQuirksOfTheJoinedForm) {
  EXPECT_EQ(Merged({{"A", "b"}}), (Strings{"A", "b"}));
  EXPECT_EQ(Merged({{"A"}, {"a", "B", "b"}}), (Strings{"A", "B", "b"}))
      << "only what was held before the list is searched";
  EXPECT_EQ(Merged({{"A"}, {"X", "X"}}), (Strings{"A", "X", "X"}));
  EXPECT_EQ(Merged({{"A", "A"}}), (Strings{"A", "A"}));
  EXPECT_EQ(Merged({{"A"}, {"B\r\nC"}}), (Strings{"A", "B", "C"}));
  EXPECT_EQ(Merged({{""}, {"A"}}), (Strings{"A"})) << "one empty name joins to nothing";
  EXPECT_EQ(Merged({{"A"}, {""}}), (Strings{"A", ""}));
  EXPECT_EQ(Merged({{"Füll"}, {"FÜLL", "füll"}}), (Strings{"Füll"}));
}

// Configurations with every kind of item, filled from pieces users type: "=" and ";" as in
// connection strings, UTF-8 letters, tag references whole and broken, and blanks inside.
class Generator {
 public:
  explicit Generator(uint32_t seed) : random_(seed) {}

  std::string Text() {
    static const std::vector<std::string> kPieces = runtime::Split(
        "a|Z|=|;| |ü|Ω|日本|%TAG(|)|(|,|%TAG(A)|%TAG(Date, Line3.Lot)|0|-7.5|"
        "€|Driver=NoSuchDriver|\r|\n",
        "|");
    std::string text;
    for (int i = Pick(0, 6); i > 0; --i) text += kPieces[Pick(0, kPieces.size() - 1)];
    // The reader trims the whole text, so the last field of the last line must not end
    // in a blank; a CR followed by an LF would split the line.
    if (!text.empty() && text.back() == ' ') text += "x";
    for (size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
    return text;
  }

  int32_t Number() {
    if (Pick(0, 1) == 0) return Pick(0, 1) == 0 ? INT32_MIN : INT32_MAX;
    return Pick(-100000, 100000);
  }

  void Fill(Configuration1& c) {
    c.SetConfigurationName(Text());
    c.SetActive(Pick(0, 1) == 1);
    c.SetDataLink(Text());
    c.SetSyncTime(Number());
    c.SetSubgroupInterval(Number());
    c.SetSubgroupUnit(Pick(0, 3));
    c.SetRetryInterval(Number());
    c.SetRetryUnit(Number());
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::DescriptorItem>();
      item->SetDescriptorType(Pick(0, 10));
      item->SetGroup(Text());
      item->SetItem(Text());
      c.AddDescriptor(item);
    }
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::TestItem>();
      item->SetGroup(Text());
      item->SetItem(Text());
      item->SetValue(Text());
      item->SetDefect(Text());
      c.AddTest(item);
    }
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::ConditionItem>();
      item->SetDataType(Number());
      item->SetValue1(Text());
      item->SetEvaluation(Pick(0, 6));
      item->SetValue2(Text());
      c.AddCondition(item);
    }
  }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  std::mt19937 random_;
};

// Every field and item of the definitions, read through the getters.
std::vector<std::string> Fields(const Configuration1& c) {
  std::vector<std::string> f = {c.ConfigurationName(), c.DataLink()};
  for (int32_t n : {int32_t{c.Active()}, c.SyncTime(), c.SubgroupInterval(), c.SubgroupUnit(),
                    c.RetryInterval(), c.RetryUnit()}) {
    f.push_back(std::to_string(n));
  }
  for (int32_t i = 1; i <= c.DescriptorCount(); ++i) {
    const auto d = c.GetDescriptorItem(i);
    f.insert(f.end(), {std::to_string(d->DescriptorType()), d->Group(), d->Item()});
  }
  for (int32_t i = 1; i <= c.TestCount(); ++i) {
    const auto t = c.GetTestItem(i);
    f.insert(f.end(), {t->Group(), t->Item(), t->Value(), t->Defect()});
  }
  for (int32_t i = 1; i <= c.ConditionCount(); ++i) {
    const auto k = c.GetConditionItem(i);
    f.insert(f.end(), {std::to_string(k->DataType()), k->Value1(), std::to_string(k->Evaluation()),
                       k->Value2()});
  }
  return f;
}

TEST(ConfigurationRoundTrip, ReadingTheWrittenTextReproducesEveryFieldAndItem) {
  testsupport::FakeComponents components;
  Generator generator(20240531);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    Configuration1 original(components);
    generator.Fill(original);
    const std::string text = original.GetData();
    Configuration1 copy(components);
    copy.SetData(text);
    ASSERT_EQ(Fields(copy), Fields(original));
    ASSERT_EQ(copy.GetData(), text);
  }
}

}  // namespace
