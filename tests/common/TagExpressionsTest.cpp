#include "common/TagExpressions.h"

#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "runtime/Text.h"

namespace {

using Strings = std::vector<std::string>;

TEST(GetTagArrays, FindsReferencesByTheRules) {
  struct Case {
    const char* text;
    Strings tokens, names, fields;
  };
  const Case cases[] = {
      {"Lot %TAG(Value, LINE1.LOT) at %TAG(Date, LINE1.LOT) %TAG(open",
       {"%TAG(Value, LINE1.LOT)", "%TAG(Date, LINE1.LOT)"},
       {"LINE1.LOT", "LINE1.LOT"},
       {"Value", "Date"}},
      {"%TAG(f(1), T)", {"%TAG(f(1), T)"}, {"T"}, {"f(1)"}},
      // Only the first comma splits.
      {"x%TAG( Date ,A,B)y", {"%TAG( Date ,A,B)"}, {"A,B"}, {"Date"}},
      {"%TAG(  Line3.PartNo  )", {"%TAG(  Line3.PartNo  )"}, {"Line3.PartNo"}, {"Value"}},
      {"%TAG()", {"%TAG()"}, {""}, {"Value"}},
  };
  for (const Case& c : cases) {
    Strings tokens{"old"}, names{"old"}, fields{"old"};
    EXPECT_TRUE(common::GetTagArrays(c.text, tokens, names, fields)) << c.text;
    EXPECT_EQ(std::tuple(tokens, names, fields), std::tuple(c.tokens, c.names, c.fields)) << c.text;
  }
  // The marker is case-sensitive and needs its balancing parenthesis; without a reference
  // the outputs stay as they were.
  for (const char* text : {"", "   ", "plain text", "%tag(Value, A)", "%TAG(Value, A"}) {
    const Strings keep{"keep"};
    Strings tokens = keep, names = keep, fields = keep;
    EXPECT_FALSE(common::GetTagArrays(text, tokens, names, fields)) << text;
    EXPECT_EQ(std::tuple(tokens, names, fields), std::tuple(keep, keep, keep)) << text;
  }
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
