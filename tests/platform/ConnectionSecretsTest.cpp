#include "platform/odbc/ConnectionSecrets.h"

#include <gtest/gtest.h>

namespace {

TEST(ConnectionSecrets, MasksEveryPasswordValueAndNothingElse) {
  const std::pair<std::string, std::string> cases[] = {
      {"DSN=Historian;UID=spc;PWD=secret", "DSN=Historian;UID=spc;PWD=***"},
      {"Driver={PostgreSQL Unicode};Server=s;Password={a;b}}c};Port=5432",
       "Driver={PostgreSQL Unicode};Server=s;Password=***;Port=5432"},
      {"MyPwd=x;DbPassword=y;pwdx=shown", "MyPwd=***;DbPassword=***;pwdx=shown"},
      {" pwd = spaced ;Server=s", " pwd =***;Server=s"},
      {"PASSWORD=last", "PASSWORD=***"},
      {"MyPwd=", "MyPwd=***"},
      {"Password={unclosed;Server=s", "Password=***"},
      {"Driver=SQLite3;Database=/srv/spc.db", "Driver=SQLite3;Database=/srv/spc.db"},
      {"Driver=x;Database=PWD=inside", "Driver=x;Database=PWD=inside"},
      {"Driver={a;PWD=b};UID=me", "Driver={a;PWD=b};UID=me"},
      {"", ""},
      // An error text that repeats a connection string.
      {"-1 - [unixODBC]cannot connect with Driver=x;PWD=secret;Server=s",
       "-1 - [unixODBC]cannot connect with Driver=x;PWD=***;Server=s"},
  };
  for (const auto& [text, masked] : cases) {
    EXPECT_EQ(platform::MaskConnectionSecrets(text), masked) << text;
  }

  EXPECT_TRUE(platform::HoldsConnectionSecret("Connection=Driver=x;Password={a;b}"));
  EXPECT_TRUE(platform::HoldsConnectionSecret("DSN=x; MyPwd = y"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("DSN=x;PWD=;Password= ;Pwd={}"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("Driver={a;PWD=b};Database=d"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("[Database]"));
}

}  // namespace
