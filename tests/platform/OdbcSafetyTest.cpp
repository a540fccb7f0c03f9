#include "platform/odbc/OdbcSafety.h"

#include <gtest/gtest.h>

#include "runtime/Error.h"

namespace {

// The key named in the refusal, or "" when the string is accepted.
std::string RefusedKey(const std::string& connectionString) {
  try {
    platform::RefuseUnsafeConnectionString(connectionString);
    return "";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), runtime::kInvalidProcedureCall);
    EXPECT_NE(e.Description().find("AllowDriverPaths=1"), std::string::npos) << e.Description();
    const std::string& text = e.Description();
    return text.substr(0, text.find_first_of("= ", sizeof "Connection string refused:"));
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
      {"Driver=/tmp/x/evil.so", "Connection string refused: Driver"},
      {"driver = {/tmp/x/evil.so};Database=d", "Connection string refused: driver"},
      {"Driver=SQLite3;Database=d;DRIVER=evil.so", "Connection string refused: DRIVER"},
      {"Driver=libc.so.6", "Connection string refused: Driver"},
      {"Driver={EVIL.DLL}", "Connection string refused: Driver"},
      {"Driver=..\\evil", "Connection string refused: Driver"},
      {"Driver=SQLite3;Setup=/tmp/setup.so", "Connection string refused: Setup"},
      {"FILEDSN=/tmp/historian.dsn", "Connection string refused: FILEDSN"},
      {"Driver=SQLite3;SaveFile=/tmp/out.dsn", "Connection string refused: SaveFile"},
      {"Driver=SQLite3;Database=d;LoadExt=/tmp/x/evil.so", "Connection string refused: LoadExt"},
      {"Driver=SQLite3;Database=d; loadext =evil", "Connection string refused: loadext"},
      {"Driver=SQLite3;Database=d;\tLoadExt\t=evil", "Connection string refused: LoadExt"},
      {"Driver=\tevil.so\n;Database=d", "Connection string refused: Driver"},
      {"Driver=SQLite3;Database={d;LoadExt=/tmp/x/evil.so;}", "Connection string refused: LoadExt"},
      {"Driver=SQLite3;Database=d;TraceFile=/home/u/.profile",
       "Connection string refused: TraceFile"},
      {"Driver={PostgreSQL Unicode};Pqopt={sslkey=evil:key}", "Connection string refused: Pqopt"},
      {"Driver={PostgreSQL Unicode};D5={SSLKEY=e:k}", "Connection string refused: D5"},
  };
  for (const auto& [text, refused] : cases) {
    EXPECT_EQ(RefusedKey(text), refused) << text;
  }
}

}  // namespace
