#include "platform/odbc/OdbcConnectionString.h"

#include <gtest/gtest.h>

namespace {

using platform::AppendConnectionKey;
using platform::HasConnectionKey;

TEST(OdbcConnectionString, FindsKeysOutsideValuesAndBracesValuesThatWouldBreakTheSyntax) {
  EXPECT_TRUE(HasConnectionKey("Driver=x;uid=me;Database=d", "UID"));
  EXPECT_TRUE(HasConnectionKey(" Pwd =secret", "PWD"));
  EXPECT_FALSE(HasConnectionKey("Driver=x;Database=UID=me", "UID"));
  EXPECT_FALSE(HasConnectionKey("Driver={a;UID=b}}c};Database=d", "UID"));
  EXPECT_TRUE(HasConnectionKey("Driver={a;b}}};UID=me", "UID"));
  EXPECT_FALSE(HasConnectionKey("", "UID"));

  std::string text = "Driver=x";
  AppendConnectionKey(text, "UID", "me");
  AppendConnectionKey(text, "PWD", "a;b}c");
  EXPECT_EQ(text, "Driver=x;UID=me;PWD={a;b}}c}");
  std::string ended = "Driver=x;";
  AppendConnectionKey(ended, "PWD", " padded ");
  EXPECT_EQ(ended, "Driver=x;PWD={ padded }");
}

}  // namespace
