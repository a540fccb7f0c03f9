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
