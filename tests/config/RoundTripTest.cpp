#include <random>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "runtime/Text.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;

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
