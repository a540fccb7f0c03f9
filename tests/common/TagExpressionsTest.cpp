#include "common/TagExpressions.h"

#include <gtest/gtest.h>

#include <random>

#include "runtime/Text.h"

namespace {

using Strings = std::vector<std::string>;

struct Found {
  bool any;
  Strings tokens, names, fields;
};

Found Parse(const std::string& text) {
  Found f;
  f.any = common::GetTagArrays(text, f.tokens, f.names, f.fields);
  return f;
}

TEST(GetTagArrays, FindsReferencesByTheRules) {
  EXPECT_FALSE(Parse("").any);
  EXPECT_FALSE(Parse("   ").any);
  EXPECT_FALSE(Parse("plain text").any);
  EXPECT_FALSE(Parse("%tag(Value, A)").any) << "the marker is case-sensitive";
  EXPECT_FALSE(Parse("%TAG(Value, A").any) << "no balancing parenthesis";

  Found f = Parse("Lot %TAG(Value, LINE1.LOT) at %TAG(Date, LINE1.LOT) %TAG(open");
  ASSERT_TRUE(f.any);
  EXPECT_EQ(f.tokens, (Strings{"%TAG(Value, LINE1.LOT)", "%TAG(Date, LINE1.LOT)"}));
  EXPECT_EQ(f.names, (Strings{"LINE1.LOT", "LINE1.LOT"}));
  EXPECT_EQ(f.fields, (Strings{"Value", "Date"}));

  f = Parse("%TAG(f(1), T)");
  ASSERT_TRUE(f.any);
  EXPECT_EQ(f.tokens, Strings{"%TAG(f(1), T)"});
  EXPECT_EQ(f.fields, Strings{"f(1)"});
  EXPECT_EQ(f.names, Strings{"T"});

  f = Parse("x%TAG(Value, A,B)y");
  EXPECT_EQ(f.names, Strings{"A,B"}) << "only the first comma splits";

  f = Parse("%TAG(  Line3.PartNo  )");
  EXPECT_EQ(f.fields, Strings{"Value"});
  EXPECT_EQ(f.names, Strings{"Line3.PartNo"});
  EXPECT_EQ(f.tokens, Strings{"%TAG(  Line3.PartNo  )"});

  f = Parse("%TAG()");
  ASSERT_TRUE(f.any) << "an empty body is still a reference";
  EXPECT_EQ(f.names, Strings{""});
}

TEST(GetTagArrays, LeavesOutputsUntouchedWhenNothingFound) {
  Strings tokens{"keep"}, names{"keep"}, fields{"keep"};
  EXPECT_FALSE(common::GetTagArrays("%TAG(never closed", tokens, names, fields));
  EXPECT_EQ(tokens, Strings{"keep"});
  EXPECT_EQ(names, Strings{"keep"});
  EXPECT_EQ(fields, Strings{"keep"});
}

Strings Merge(Strings target, const Strings& source) {
  common::MergeStringArrays(target, source);
  return target;
}

// The merge as first described: join, search the entry target for each source element,
// split again. Quadratic, kept here to check the fast merge against.
Strings ReferenceMerge(const Strings& target, const Strings& source) {
  std::string joined = runtime::Join(target, "\r\n");
  if (joined.empty()) {
    joined = runtime::Join(source, "\r\n");
  } else {
    for (const auto& s : source) {
      bool held = false;
      for (const auto& t : target) held = held || runtime::EqualsNoCase(t, s);
      if (!held) joined += "\r\n" + s;
    }
  }
  return joined.empty() ? target : runtime::Split(joined, "\r\n");
}

TEST(MergeStringArrays, KeepsTheQuirksOfTheJoinedForm) {
  EXPECT_EQ(Merge({}, {"A", "b"}), (Strings{"A", "b"}));
  EXPECT_EQ(Merge({"A"}, {"a", "B", "b"}), (Strings{"A", "B", "b"}))
      << "only the entry state of the target is searched";
  EXPECT_EQ(Merge({"A"}, {"X", "X"}), (Strings{"A", "X", "X"}));
  EXPECT_EQ(Merge({}, {"A", "A"}), (Strings{"A", "A"}));
  EXPECT_EQ(Merge({"A"}, {"B\r\nC"}), (Strings{"A", "B", "C"}));
  EXPECT_EQ(Merge({""}, {"A"}), (Strings{"A"})) << "an empty joined target takes the source";
  EXPECT_EQ(Merge({""}, {}), (Strings{""}));
  EXPECT_EQ(Merge({"A"}, {""}), (Strings{"A", ""}));
}

TEST(MergeStringArrays, MatchesTheQuadraticDescription) {
  std::mt19937 random(7);
  const Strings alphabet = {"a", "A", "b", "B", "tag.1", "TAG.1", "", "x\r\ny", "Ä", "ä"};
  for (int round = 0; round < 2000; ++round) {
    Strings target, source;
    for (int i = random() % 5; i > 0; --i) target.push_back(alphabet[random() % alphabet.size()]);
    for (int i = random() % 6; i > 0; --i) source.push_back(alphabet[random() % alphabet.size()]);
    ASSERT_EQ(Merge(target, source), ReferenceMerge(target, source))
        << "target " << runtime::Join(target, "|") << " source " << runtime::Join(source, "|");
  }
}

}  // namespace
