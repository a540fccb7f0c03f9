#include "common/TagExpressions.h"
#include "common/TypeTables.h"

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
    // Only the first text leaves a marker open.
    EXPECT_EQ(common::HasUnbalancedMarker(c.text), &c == &cases[0]) << c.text;
  }
  // The marker is case-sensitive and needs its balancing parenthesis; without a reference
  // the outputs stay as they were.
  for (const char* text : {"", "   ", "plain text", "%tag(Value, A)", "%TAG(Value, A"}) {
    const Strings keep{"keep"};
    Strings tokens = keep, names = keep, fields = keep;
    EXPECT_FALSE(common::GetTagArrays(text, tokens, names, fields)) << text;
    EXPECT_EQ(std::tuple(tokens, names, fields), std::tuple(keep, keep, keep)) << text;
    EXPECT_EQ(common::HasUnbalancedMarker(text), std::string(text) == "%TAG(Value, A") << text;
  }
}

// The texts the windows show for stored codes, and nothing for codes outside the tables.
TEST(TypeTables, KnownCodesAndFallbacks) {
  const std::pair<std::string, const char*> cases[] = {
      {common::GetDescriptorType(1), "Part"},
      {common::GetDescriptorType(9), "Time"},
      {common::GetDescriptorType(0) + common::GetDescriptorType(10), ""},
      {common::GetEvaluationType(0, false), "IS NEW"},
      {common::GetEvaluationType(6, true), "<> (Tag Value <> Compare Value)"},
      {common::GetEvaluationType(7, true), " ()"},
      {common::GetEvaluationType(7, false) + common::GetEvaluationType(-1, false), ""},
      {common::GetDataLinkStatus(0), "No Connection"},
      {common::GetDataLinkStatus(5), "Unable to access Field in Table: ihRawData"},
      {common::GetDataLinkStatus(6), "Connection Ready"},
      {common::GetDataLinkStatus(-1) + common::GetDataLinkStatus(7), ""},
      {common::GetUnitName(0) + common::GetUnitName(3), "SecondsDays"},
      {common::GetUnitName(-1) + common::GetUnitName(4), ""}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
}

}  // namespace
