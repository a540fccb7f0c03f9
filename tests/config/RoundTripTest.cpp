#include <limits>
#include <random>

#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;

// Builds configurations with every kind of item from pieces users type: "=" and ";" as in
// connection strings, UTF-8 letters, tag references whole and broken, and blanks inside.
class Generator {
 public:
  explicit Generator(uint32_t seed) : random_(seed) {}

  std::string Text() {
    static const char* const kPieces[] = {"a",
                                          "Z",
                                          "=",
                                          ";",
                                          " ",
                                          "ü",
                                          "Ω",
                                          "日本",
                                          "%TAG(",
                                          ")",
                                          "(",
                                          ",",
                                          "%TAG(A)",
                                          "%TAG(Date, Line3.Lot)",
                                          "0",
                                          "-7.5",
                                          "\xe2\x82\xac",
                                          "Driver=NoSuchDriver",
                                          "\r",
                                          "\n"};
    std::string text;
    const int count = Pick(0, 6);
    for (int i = 0; i < count; ++i) text += kPieces[Pick(0, std::size(kPieces) - 1)];
    // The reader trims the whole text, so the last field of the last line must not end
    // in a blank; inside it and elsewhere blanks survive.
    if (!text.empty() && text.back() == ' ') text += "x";
    // A CR followed by an LF would split the line.
    for (size_t at; (at = text.find("\r\n")) != std::string::npos;) text.erase(at, 1);
    return text;
  }

  int32_t Number() {
    switch (Pick(0, 3)) {
      case 0:
        return std::numeric_limits<int32_t>::min();
      case 1:
        return std::numeric_limits<int32_t>::max();
      default:
        return std::uniform_int_distribution<int32_t>(-100000, 100000)(random_);
    }
  }

  void Fill(Configuration1& configuration) {
    configuration.SetConfigurationName(Text());
    configuration.SetActive(Pick(0, 1) == 1);
    configuration.SetDataLink(Text());
    configuration.SetSyncTime(Number());
    configuration.SetSubgroupInterval(Number());
    configuration.SetSubgroupUnit(Pick(0, 3));
    configuration.SetRetryInterval(Number());
    configuration.SetRetryUnit(Number());
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::DescriptorItem>();
      item->SetDescriptorType(Pick(0, 10));
      item->SetGroup(Text());
      item->SetItem(Text());
      configuration.AddDescriptor(item);
    }
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::TestItem>();
      item->SetGroup(Text());
      item->SetItem(Text());
      item->SetValue(Text());
      item->SetDefect(Text());
      configuration.AddTest(item);
    }
    for (int i = Pick(0, 4); i > 0; --i) {
      auto item = std::make_shared<config::ConditionItem>();
      item->SetDataType(Number());
      item->SetValue1(Text());
      item->SetEvaluation(Pick(0, 6));
      item->SetValue2(Text());
      configuration.AddCondition(item);
    }
  }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  std::mt19937 random_;
};

// Every field and item of the definitions, read through the getters.
std::vector<std::string> Fields(const Configuration1& c) {
  std::vector<std::string> fields = {
      c.ConfigurationName(),
      std::to_string(c.Active()),
      c.DataLink(),
      std::to_string(c.SyncTime()),
      std::to_string(c.SubgroupInterval()),
      std::to_string(c.SubgroupUnit()),
      std::to_string(c.RetryInterval()),
      std::to_string(c.RetryUnit()),
  };
  for (int32_t i = 1; i <= c.DescriptorCount(); ++i) {
    const auto item = c.GetDescriptorItem(i);
    fields.insert(fields.end(),
                  {std::to_string(item->DescriptorType()), item->Group(), item->Item()});
  }
  for (int32_t i = 1; i <= c.TestCount(); ++i) {
    const auto item = c.GetTestItem(i);
    fields.insert(fields.end(), {item->Group(), item->Item(), item->Value(), item->Defect()});
  }
  for (int32_t i = 1; i <= c.ConditionCount(); ++i) {
    const auto item = c.GetConditionItem(i);
    fields.insert(fields.end(), {std::to_string(item->DataType()), item->Value1(),
                                 std::to_string(item->Evaluation()), item->Value2()});
  }
  return fields;
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
