#include "common/TagExpressions.h"

#include <gtest/gtest.h>

#include <tuple>

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

}  // namespace
