// Reading connection strings as the ODBC syntax does: keys outside values and braces,
// passwords masked, and keys that would load code refused.
#include <gtest/gtest.h>

#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcSafety.h"
#include "runtime/Error.h"

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

// The key named in the refusal, or "" when the string is accepted.
std::string RefusedKey(const std::string& connectionString) {
  try {
    platform::RefuseUnsafeConnectionString(connectionString);
    return "";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), runtime::kInvalidProcedureCall);
    EXPECT_NE(e.Description().find("AllowDriverPaths=1"), std::string::npos) << e.Description();
    const std::string& text = e.Description();
    const size_t key = text.find("refused: ") + 9;
    return text.substr(key, text.find_first_of("= ", key) - key);
  }
}

TEST(OdbcSafety, RefusesDriverFilesAndKeysThatLoadCodeHoweverTheyAreWritten) {
  const std::pair<const char*, const char*> cases[] = {
      {"Driver=SQLite3;Database=/srv/historian.db;NoCreat=1", ""},
      {"Driver={PostgreSQL Unicode};Server=/run/postgresql;Database=spc", ""},
      {"DSN=Historian;UID=spc;PWD={a;b}}c}", ""},
      {"Driver=SQLite3;Database=C:\\data\\x.db;Timeout=2000", ""},
      {"Driver={SQLite3};Database=/x.so", ""},
      {"Driver={Driver 2.0};Pqopt={keepalives=1}", ""},
      {"Driver=/tmp/x/evil.so", "Driver"},
      {"driver = {/tmp/x/evil.so};Database=d", "driver"},
      {"Driver=SQLite3;Database=d;DRIVER=evil.so", "DRIVER"},
      {"Driver=libc.so.6", "Driver"},
      {"Driver={EVIL.DLL}", "Driver"},
      {"Driver=..\\evil", "Driver"},
      {"Driver=SQLite3;Setup=/tmp/setup.so", "Setup"},
      {"FILEDSN=/tmp/historian.dsn", "FILEDSN"},
      {"Driver=SQLite3;SaveFile=/tmp/out.dsn", "SaveFile"},
      {"Driver=SQLite3;Database=d;LoadExt=/tmp/x/evil.so", "LoadExt"},
      {"Driver=SQLite3;Database=d; loadext =evil", "loadext"},
      {"Driver=SQLite3;Database=d;\tLoadExt\t=evil", "LoadExt"},
      {"Driver=\tevil.so\n;Database=d", "Driver"},
      {"Driver=SQLite3;Database={d;LoadExt=/tmp/x/evil.so;}", "LoadExt"},
      {"Driver=SQLite3;Database=d;TraceFile=/home/u/.profile", "TraceFile"},
      {"Driver={PostgreSQL Unicode};Pqopt={sslkey=evil:key}", "Pqopt"},
      {"Driver={PostgreSQL Unicode};D5={SSLKEY=e:k}", "D5"},
  };
  for (const auto& [text, refused] : cases) EXPECT_EQ(RefusedKey(text), refused) << text;
}

}  // namespace
