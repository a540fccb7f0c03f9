#include "common/TypeTables.h"

#include <gtest/gtest.h>

namespace {

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
      {common::GetDataLinkStatus(-1) + common::GetDataLinkStatus(7), ""}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
}

}  // namespace
