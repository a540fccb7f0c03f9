#include <random>

#include <gtest/gtest.h>

#include "common/TagExpressions.h"
#include "config/Configuration1.h"
#include "config/MergedNames.h"
#include "tests/support/FakeComponents.h"

namespace {

using config::Configuration1;
using Strings = std::vector<std::string>;

Strings TagItemNames(const Configuration1& configuration) {
  Strings names;
  for (const auto& item : configuration.TagItems()) names.push_back(item->TagName);
  return names;
}

class TagNames : public ::testing::Test {
 protected:
  testsupport::FakeComponents components;
  Configuration1 configuration{components};
};

TEST_F(TagNames, GatheredOncePerTagInOrderOfFirstReference) {
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
}

TEST_F(TagNames, NoTagExpressionGivesFalseAndNoTagItems) {
  configuration.SetData("TEST=%TAG(A)");
  ASSERT_EQ(configuration.TagItems().Count(), 1);
  configuration.SetData("TEST=G\tI\t12.5\t%tag(lower case is text)\r\nDESCRIPTOR=1\t%TAG(open");
  Strings names = {"untouched"};
  EXPECT_FALSE(configuration.GetUniqueTagNames(names));
  EXPECT_EQ(names, Strings{"untouched"});
  EXPECT_EQ(configuration.TagItems().Count(), 0);
}

// The linear merge must give exactly what merging each list into the target in turn gives.
TEST(MergedNames, MatchesMergingListByList) {
  const Strings kNames = {"", "a", "A", "b", "B", "a\r\nb", "c\r\n", "\r\n", "ä"};
  std::mt19937 random(7);
  auto pick = [&](int high) { return std::uniform_int_distribution<int>(0, high)(random); };
  for (int round = 0; round < 2000; ++round) {
    Strings expected;
    config::MergedNames merged;
    for (int list = pick(4); list >= 0; --list) {
      Strings source;
      for (int n = pick(3); n > 0; --n) source.push_back(kNames[pick(kNames.size() - 1)]);
      common::MergeStringArrays(expected, source);
      merged.Merge(source);
      ASSERT_EQ(merged.Names(), expected) << "round " << round;
    }
  }
}

}  // namespace
