#include "common/TypeTables.h"

#include <gtest/gtest.h>

namespace {

TEST(TypeTables, KnownCodesAndFallbacks) {
  EXPECT_EQ(common::GetDescriptorType(1), "Part");
  EXPECT_EQ(common::GetDescriptorType(6), "Serial Number");
  EXPECT_EQ(common::GetDescriptorType(9), "Time");
  EXPECT_EQ(common::GetDescriptorType(0), "");
  EXPECT_EQ(common::GetDescriptorType(10), "");

  EXPECT_EQ(common::GetEvaluationType(0, false), "IS NEW");
  EXPECT_EQ(common::GetEvaluationType(1, true), "= (Tag Value = Compare Value)");
  EXPECT_EQ(common::GetEvaluationType(6, true), "<> (Tag Value <> Compare Value)");
  EXPECT_EQ(common::GetEvaluationType(7, true), " ()");
  EXPECT_EQ(common::GetEvaluationType(7, false), "");
  EXPECT_EQ(common::GetEvaluationType(-1, false), "");

  EXPECT_EQ(common::GetDataLinkStatus(0), "No Connection");
  EXPECT_EQ(common::GetDataLinkStatus(2), "Unable to access Table: ihTags");
  EXPECT_EQ(common::GetDataLinkStatus(4), "Unable to access Field in Table: ihTags");
  EXPECT_EQ(common::GetDataLinkStatus(5), "Unable to access Field in Table: ihRawData");
  EXPECT_EQ(common::GetDataLinkStatus(6), "Connection Ready");
  EXPECT_EQ(common::GetDataLinkStatus(-1), "");
  EXPECT_EQ(common::GetDataLinkStatus(7), "");
}

}  // namespace
