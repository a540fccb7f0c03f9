#include <gtest/gtest.h>

#include "config/Configuration1.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;
using config::DescriptorItem;

class FixedClock : public runtime::Clock {
 public:
  runtime::Date Now() const override { return runtime::MakeDate({2024, 3, 31, 23, 59, 58}); }
};

std::shared_ptr<DescriptorItem> Descriptor(int32_t type, std::string item) {
  auto descriptor = std::make_shared<DescriptorItem>();
  descriptor->SetDescriptorType(type);
  descriptor->SetItem(std::move(item));
  return descriptor;
}

TEST(ConfigurationRecord, NewAndClearedConfigurationsHaveTheDefaults) {
  testsupport::FakeComponents components;
  const FixedClock clock;
  runtime::ScopedClock scoped(clock);
  Configuration1 configuration(components);
  // Today at eight in the morning (the day summer time starts in Berlin).
  EXPECT_EQ(
      runtime::FormatGeneralDate(components.DateMath().SerialToDate(configuration.SyncTime())),
      "2024-03-31 08:00:00");

  configuration.SetConfigurationName("Line 3");
  configuration.SetActive(true);
  configuration.SetSyncTime(12);
  configuration.SetSubgroupInterval(5);
  configuration.SetRetryUnit(config::kDays);
  configuration.AddDescriptor(Descriptor(1, "I"));
  configuration.AddTest(std::make_shared<config::TestItem>());
  configuration.AddCondition(std::make_shared<config::ConditionItem>());
  configuration.ClearData();

  EXPECT_EQ(configuration.GetData(),
            "NAME=\r\nACTIVE=0\r\nDATALINK=\r\nSYNCTIME=" +
                std::to_string(runtime::DateToSerialTime(runtime::MakeDate({2024, 3, 31, 8}))) +
                "\r\nSUBGROUPINTERVAL=15\r\nSUBGROUPUNIT=1\r\nRETRYINTERVAL=1\r\nRETRYUNIT=1");
  EXPECT_EQ(configuration.DataLinkState(), 0);
  EXPECT_EQ(configuration.DataLinkError(), "");
  EXPECT_FALSE(configuration.RealDateField());
  EXPECT_EQ(configuration.TagItems().Count(), 0);
}

TEST(ConfigurationRecord, ListsAreOneBasedInInsertionOrder) {
  testsupport::FakeComponents components;
  Configuration1 configuration(components);
  auto first = Descriptor(5, "A"), second = Descriptor(5, "B"), third = Descriptor(1, "P");
  for (const auto& item : {first, second, third}) configuration.AddDescriptor(item);

  EXPECT_EQ(configuration.GetDescriptorItem(0), nullptr);
  EXPECT_EQ(configuration.GetDescriptorItem(4), nullptr);
  EXPECT_EQ(configuration.GetDescriptorItem(3), third);
  EXPECT_EQ(configuration.GetDescriptorType(5), first);
  EXPECT_EQ(configuration.GetDescriptorType(4), nullptr);
  EXPECT_FALSE(configuration.RemoveDescriptorItem(0));
  EXPECT_FALSE(configuration.RemoveDescriptorItem(4));
  EXPECT_TRUE(configuration.RemoveDescriptorItem(1));
  EXPECT_EQ(configuration.DescriptorCount(), 2);
  EXPECT_EQ(configuration.GetDescriptorItem(1), second);
  EXPECT_EQ(configuration.GetDescriptorType(5), second);

  configuration.AddTest(std::make_shared<config::TestItem>());
  EXPECT_FALSE(configuration.RemoveTestItem(0));
  EXPECT_EQ(configuration.GetTestItem(2), nullptr);
  EXPECT_TRUE(configuration.RemoveTestItem(1));
  configuration.AddCondition(std::make_shared<config::ConditionItem>());
  EXPECT_FALSE(configuration.RemoveConditionItem(2));
  EXPECT_NE(configuration.GetConditionItem(1), nullptr);
}

TEST(ConfigurationRecord, ResolvedListsGrowOnWriteAndReadEmptyOutside) {
  DescriptorItem descriptor;
  descriptor.SetResolvedItem(5, "five");
  for (int32_t i : {0, 1, 4, 6}) EXPECT_EQ(descriptor.ResolvedItem(i), "") << i;
  EXPECT_EQ(descriptor.ResolvedItem(5), "five");
  EXPECT_THROW(descriptor.SetResolvedItem(0, "x"), runtime::Error);
  descriptor.ClearResolvedValues();
  EXPECT_EQ(descriptor.ResolvedItem(5), "");

  config::TestItem test;
  test.SetResolvedDefect(3, "d");
  test.SetResolvedValue(1, "v");
  EXPECT_EQ(test.ResolvedValue(1) + test.ResolvedDefect(3) + test.ResolvedGroup(3), "vd");
  try {
    test.SetResolvedGroup(-1, "g");
    FAIL() << "index -1 was written";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), runtime::kSubscriptOutOfRange);
  }
}

TEST(ConfigurationRecord, GrouplessDescriptorTypesHideTheirStoredGroup) {
  for (int32_t type = 0; type <= 10; ++type) {
    DescriptorItem descriptor;
    descriptor.SetDescriptorType(type);
    descriptor.SetGroup("Stored");
    descriptor.SetResolvedGroup(1, "Resolved");
    const bool groupless = type == 4 || type == 6 || type == 8 || type == 9;
    EXPECT_EQ(descriptor.Group(), groupless ? "" : "Stored") << type;
    EXPECT_EQ(descriptor.ResolvedGroup(1), groupless ? "" : "Resolved") << type;
    EXPECT_EQ(descriptor.GetData(), std::to_string(type) + "\tStored\t") << type;
  }
}

TEST(ConfigurationRecord, ConditionTurnsInvalidWhenResolvedValuesChangeOrItIsRead) {
  config::ConditionItem condition;
  condition.SetIsValid(true);
  condition.SetResolvedValue1(runtime::Variant(3.5));
  EXPECT_FALSE(condition.IsValid());
  condition.SetIsValid(true);
  condition.SetResolvedValue2(runtime::Variant("x"));
  EXPECT_FALSE(condition.IsValid());
  condition.SetIsValid(true);
  condition.SetData("1\tA\t2\tB");
  EXPECT_FALSE(condition.IsValid());
  EXPECT_TRUE(condition.ResolvedValue1().IsEmpty());
}

TEST(ConfigurationRecord, TagItemsAreKeyedWithoutRegardToCase) {
  config::TagItems items;
  auto a = std::make_shared<config::TagItem>();
  items.Add(a, "Line3.Weight");
  EXPECT_EQ(&items.Item("LINE3.WEIGHT"), a.get());
  EXPECT_EQ(items.Find("Line3.Weigh"), nullptr);
  EXPECT_TRUE(a->IsEmpty);
  try {
    items.Add(std::make_shared<config::TagItem>(), "line3.weight");
    FAIL() << "a key was added twice";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), 457);
  }
  EXPECT_THROW(items.Item("missing"), runtime::Error);
  EXPECT_THROW(items.Item(2), runtime::Error);
  EXPECT_EQ(items.Count(), 1);
}

}  // namespace
