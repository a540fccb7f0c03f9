#include <gtest/gtest.h>

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

}  // namespace
