// Reading connection strings as the driver manager does, passwords masked, and only the keys
// the loaded driver documents let through.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include <sql.h>

#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcDriverLists.h"
#include "platform/odbc/OdbcSafety.h"
#include "runtime/Error.h"
#include "tests/support/TempFolder.h"

namespace {

using platform::AppendConnectionKey;
using platform::ConnectionKey;
using platform::HasConnectionKey;

// "key=value" for each pair, joined by ';' as the driver manager joins the pairs it keeps.
std::string Joined(const std::vector<ConnectionKey>& pairs) {
  std::string text;
  for (const ConnectionKey& pair : pairs)
    text += (text.empty() ? "" : ";") + pair.key + "=" + pair.value;
  return text;
}

TEST(OdbcConnectionString, ReadsPairsAsTheDriverManagerDoes) {
  const std::pair<std::string, std::string> cases[] = {
      {"Driver=x;uid=me;Database=d", "Driver=x;uid=me;Database=d"},
      {" \t;;Pwd = secret ;", "Pwd = secret "},
      {"Driver=x;Database=UID=me", "Driver=x;Database=UID=me"},
      {"Driver={a;UID=b}}c};Database=d", "Driver=a;UID=b}c;Database=d"},
      {"Database={x}Driver=/evil.so", "Database=x;Driver=/evil.so"},
      {"a={x} ;b=1;c; d=2;e", "a=x;b=1;c; d=2"},
      {"a= {x;y}", "a= {x"},
      {"a={unclosed;b=1", "a=unclosed;b=1"},
      {"a={x}}", "a=x}"},
      {std::string("a=1\0;b=2", 7), "a=1"},
      {"", ""},
  };
  for (const auto& [text, pairs] : cases)
    EXPECT_EQ(Joined(platform::ParseConnectionString(text)), pairs) << text;
  // The driver manager keeps each key once, where it first appears with its last value, and
  // drops a DSN after a DRIVER and a DRIVER after a DSN.
  EXPECT_EQ(Joined(platform::KeptConnectionKeys("X=1;Driver=a;y=2;x=3;DSN=d;DRIVER=b")),
            "X=3;Driver=b;y=2");
  EXPECT_EQ(platform::ConnectionValue("DSN=d;Driver=a", "DRIVER"), std::nullopt);

  EXPECT_TRUE(HasConnectionKey("Driver=x;uid=me;Database=d", "UID"));
  EXPECT_FALSE(HasConnectionKey("Pwd =secret", "PWD"));
  EXPECT_FALSE(HasConnectionKey("Driver={a;UID=b}}c};Database=d", "UID"));
  std::string text = "Driver=x";
  AppendConnectionKey(text, "UID", "me");
  AppendConnectionKey(text, "PWD", "a;b}c");
  EXPECT_EQ(text, "Driver=x;UID=me;PWD={a;b}}c}");
  std::string ended = "Driver=x;";
  AppendConnectionKey(ended, "PWD", " padded\t");
  EXPECT_EQ(ended, "Driver=x;PWD={ padded\t}");
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
  for (const auto& [text, masked] : cases)
    EXPECT_EQ(platform::MaskConnectionSecrets(text), masked) << text;

  EXPECT_TRUE(platform::HoldsConnectionSecret("Connection=Driver=x;Password={a;b}"));
  EXPECT_TRUE(platform::HoldsConnectionSecret("DSN=x; MyPwd = y"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("DSN=x;PWD=;Password= ;Pwd={}"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("Driver={a;PWD=b};Database=d"));
  EXPECT_FALSE(platform::HoldsConnectionSecret("[Database]"));
}

// What the check says: "" when it lets the string through, else the refusal's text after
// "Connection string refused: ".
std::string Refusal(const std::string& connectionString, const platform::OdbcDriverLists& lists) {
  try {
    platform::RefuseUnsafeConnectionString(connectionString, lists);
    return "";
  } catch (const runtime::Error& e) {
    EXPECT_EQ(e.Number(), runtime::kInvalidProcedureCall);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "AllowDriverPaths=1", e.Description());
    const std::string opening = "Connection string refused: ";
    EXPECT_TRUE(e.Description().starts_with(opening)) << e.Description();
    return e.Description().substr(opening.size());
  }
}

TEST(OdbcSafety, LetsThroughOnlyTheKeysTheLoadedDriverDocuments) {
  const platform::OdbcDriverLists lists({{"SQLite3", "libsqlite3odbc.so"},
                                         {"PostgreSQL Unicode", "psqlodbcw.so"},
                                         {"MySQL", "libmyodbc8w.so"}},
                                        {{"Historian", "PostgreSQL Unicode"}, {"Other", "MySQL"}});
  // Each string with the start of its refusal, "" for none.
  const std::pair<const char*, const char*> cases[] = {
      {"Driver=SQLite3;Database=/srv/historian.db;NoCreat=1;Timeout=2000;JournalMode=WAL", ""},
      {"driver={sqlite3};DATABASE={C:\\data\\x;y.db};SyncPragma=NORMAL", ""},
      {"Driver={PostgreSQL Unicode};Server=/run/postgresql;Database=spc;Username=u;B6=1", ""},
      {"Driver={PostgreSQL Unicode};Servername=h;Port=5432;SSLmode=require;UID=u;PWD={a;b}}c}", ""},
      {"DSN=Historian;UID=spc;PWD=secret;UseDeclareFetch=0;Fetch=100", ""},
      {"DSN=Other;UID=spc;PWD=secret", ""},
      // Strings that got through a check reading them differently from the driver manager.
      {"Driver=SQLite3;Database={x}Driver=/tmp/x/evil.so", "Driver=/tmp/x/evil.so is not"},
      {"Driver=SQLite3;Database={x}FILEDSN=/tmp/x/evil.dsn", "FILEDSN reads"},
      {"Driver={PostgreSQL Unicode};DMEnvAttr=SQL_ATTR_UNIXODBC_ENVATTR={PGSSLKEY=/e.so:k}",
       "DMEnvAttr makes"},
      {"Driver=SQLite3;DMConnAttr=SQL_ATTR_TRACE=1", "DMConnAttr makes"},
      {"Driver=SQLite3;dmstmtattr={SQL_ATTR_QUERY_TIMEOUT=0}", "dmstmtattr makes"},
      // Drivers named by anything but their registered name.
      {"Driver=/tmp/x/evil.so", "Driver=/tmp/x/evil.so is not the name of an installed"},
      {"Driver=libc.so.6", "Driver=libc.so.6 is not"},
      {"Driver= SQLite3", "Driver= SQLite3 is not"},
      {"Driver=", "Driver= is not"},
      {"DSN=Historian;Driver=evil.so", "Driver=evil.so is not"},
      {"Driver =SQLite3", "the key \"Driver \" is not one of the driver manager's"},
      // Keys that load code, touch files or run SQL, for every driver.
      {"FILEDSN=/tmp/historian.dsn", "FILEDSN reads"},
      {"Driver=SQLite3;SaveFile=/tmp/out.dsn", "SaveFile makes"},
      {"Driver=SQLite3;Database=d;LoadExt=/tmp/x/evil.so", "LoadExt loads"},
      {"Driver=SQLite3;Database=d; loadext =evil", "loadext loads"},
      {"Driver=SQLite3;Database={d;LoadExt=/tmp/x/evil.so;}", "LoadExt loads"},
      {"Driver=SQLite3;Database=d;TraceFile=/home/u/.profile", "TraceFile makes"},
      {"Driver=SQLite3;JournalMode={OFF;VACUUM}", "JournalMode=OFF;VACUUM is written into SQL"},
      {"Driver=SQLite3;SyncPragma=0 ", "SyncPragma=0  is written"},
      {"Driver={PostgreSQL Unicode};Pqopt={keepalives=1}", "Pqopt passes"},
      {"Driver={PostgreSQL Unicode};D5={sslkey=e:k}", "D5 passes"},
      {"DSN=Historian;ConnSettings={DROP TABLE subgroups}", "ConnSettings runs"},
      {"DSN=Historian;A6=x", "A6 runs"},
      // Keys the loaded driver does not document.
      {"Driver=SQLite3;Server=h", "the key \"Server\" is not one the SQLite3 ODBC driver"},
      {"DSN=Historian;NoCreat=1", "the key \"NoCreat\" is not one psqlODBC"},
      {"DSN=Other;Server=h", "the key \"Server\" is not one of the driver manager's"},
      {"DSN=Nowhere;Database=d", "the key \"Database\" is not one of the driver manager's"},
      {"Driver=SQLite3;Setup=/tmp/setup.so", "the key \"Setup\""},
  };
  for (const auto& [text, refusal] : cases) {
    EXPECT_TRUE(Refusal(text, lists).starts_with(refusal))
        << text << " -> " << Refusal(text, lists) << ", not " << refusal;
    EXPECT_EQ(Refusal(text, lists).empty(), std::string(refusal).empty()) << text;
  }

  // The SQLite3 ODBC driver would make a file named after a string that names none.
  for (const char* text : {"Driver=SQLite3;Database=", "Driver=SQLite3;Database=;Timeout=100",
                           "Driver=SQLite3;Database= ", "Driver=SQLite3;Timeout=100"}) {
    EXPECT_THROW(platform::RefuseSqliteWithoutFile(text, lists), runtime::Error) << text;
  }
  for (const char* text :
       {"Driver=SQLite3;Database=h.db", "DSN=Historian;Database=", "Driver=SQLite3;DSN=Local"}) {
    EXPECT_NO_THROW(platform::RefuseSqliteWithoutFile(text, lists)) << text;
  }
}

// Generated strings with what trips up readers of the syntax: braces, doubled braces, ';' in
// braces, text after a closing brace, blanks, case, repeated keys, DSN and DRIVER together.
std::vector<std::string> GeneratedStrings(size_t count) {
  const std::vector<std::string> keys = {"Driver",  "DRIVER",   "driver",   "Driver ", " Driver",
                                         "DSN",     "Database", "database", "Port",    "Timeout",
                                         "LoadExt", "k;Driver", "Server",   "NoCreat", "B6"};
  const std::vector<std::string> values = {"Recorder SQLite3",
                                           "recorder sqlite3",
                                           "{Recorder PostgreSQL}",
                                           "{Recorder SQLite3}",
                                           "Recorder PostgreSQL ",
                                           " Recorder SQLite3",
                                           "{Recorder}}SQLite3}",
                                           "{Recorder SQLite3}}}",
                                           "Recorded",
                                           "recorded",
                                           "{a;Driver=Recorder PostgreSQL}",
                                           "{x}}",
                                           "{unclosed",
                                           "a}b",
                                           "/tmp/evil.so",
                                           "v=w",
                                           "1"};
  const std::vector<std::string> ends = {";", "", " ;", ";;", " ", "\t;"};
  std::mt19937 random(20240521);
  auto any = [&](const std::vector<std::string>& from) {
    return from[std::uniform_int_distribution<size_t>(0, from.size() - 1)(random)];
  };
  std::vector<std::string> strings;
  while (strings.size() < count) {
    std::string text;
    for (int pairs = std::uniform_int_distribution(1, 4)(random); pairs > 0; --pairs)
      text += any(keys) + "=" + any(values) + any(ends);
    strings.push_back(text);
  }
  return strings;
}

// The driver manager's answer to each string, through the connect probe in a process whose
// lists are those in `folder`.
std::vector<std::string> Connect(const testsupport::TempFolder& folder,
                                 const std::vector<std::string>& strings) {
  {
    std::ofstream out(folder.File("strings"));
    for (const std::string& text : strings) out << text << "\n";
  }
  const std::string command = "ODBCSYSINI='" + folder.Path() + "' HOME='" + folder.Path() +
                              "' '" DAM_ODBC_CONNECT_PROBE "' <'" + folder.File("strings") +
                              "' >'" + folder.File("answers") + "'";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  std::vector<std::string> answers;
  std::ifstream in(folder.File("answers"));
  for (std::string line; std::getline(in, line);) answers.push_back(line);
  EXPECT_EQ(answers.size(), strings.size());
  answers.resize(strings.size());
  return answers;
}

// The driver manager and the check, given the same generated strings, agree on which
// driver is loaded and which keys and values it gets; whatever the check lets through loads
// the driver whose keys it judged, and no string naming a library file gets through.
TEST(OdbcConnectionString, ReadsGeneratedStringsAsTheDriverManagerDoes) {
  testsupport::TempFolder folder;
  const std::string sqlite = folder.File("recorder-sqlite3odbc.so");
  const std::string postgres = folder.File("recorder-psqlodbcw.so");
  for (const std::string& copy : {sqlite, postgres}) {
    std::filesystem::copy_file(DAM_RECORDING_ODBC_DRIVER, copy);
  }
  std::ofstream(folder.File("odbcinst.ini"))
      << "[Recorder SQLite3]\nDriver=" << sqlite << "\n[Recorder PostgreSQL]\nDriver=" << postgres
      << "\n";
  std::ofstream(folder.File("odbc.ini")) << "[Recorded]\nDriver=Recorder PostgreSQL\n";
  const std::string fileDsn = folder.File("recorded.dsn");
  std::ofstream(fileDsn) << "[ODBC]\nDRIVER=Recorder SQLite3\n";
  const platform::OdbcDriverLists lists(
      {{"Recorder SQLite3", sqlite}, {"Recorder PostgreSQL", postgres}},
      {{"Recorded", "Recorder PostgreSQL"}});

  const std::vector<std::string> strings = GeneratedStrings(800);
  // A file DSN makes the driver manager hand the driver the pairs it kept, not the string.
  std::vector<std::string> withFileDsn;
  for (const std::string& text : strings) withFileDsn.push_back("FILEDSN=" + fileDsn + ";" + text);
  const std::vector<std::string> loaded = Connect(folder, strings);
  const std::vector<std::string> kept = Connect(folder, withFileDsn);

  size_t accepted = 0, compared = 0;
  for (size_t i = 0; i < strings.size(); ++i) {
    const std::string& text = strings[i];
    SCOPED_TRACE("\"" + text + "\"");
    // Which driver our reading says the driver manager loads: the file's name, or its error.
    const std::string library = lists.LibraryFor(text);
    const std::string loads = std::filesystem::path(library).filename().string() + '\x1f';
    std::string expected = library.empty() ? "error IM002" : loads;
    if (auto driver = platform::ConnectionValue(text, "DRIVER")) {
      if (lists.RegisteredLibrary(*driver).empty())
        expected = "error 01000 [unixODBC][Driver Manager]Can't open lib '" + *driver + "'";
    } else if (platform::ConnectionValue(text, "DSN").value_or("").size() > SQL_MAX_DSN_LENGTH) {
      expected = "error IM012";
    }
    EXPECT_TRUE(loaded[i].starts_with(expected)) << loaded[i] << ", not " << expected;

    const size_t separator = kept[i].find('\x1f');
    if (separator != std::string::npos) {
      std::vector<ConnectionKey> pairs = platform::KeptConnectionKeys(withFileDsn[i]);
      pairs.erase(pairs.begin());  // FILEDSN, which the driver is not given
      std::string given = Joined(pairs);
      if (!platform::ConnectionValue(withFileDsn[i], "DRIVER"))
        given += (given.empty() ? "" : ";") + std::string("DRIVER=Recorder SQLite3");
      EXPECT_EQ(kept[i].substr(separator + 1), given);
      ++compared;
    }

    const std::string refusal = Refusal(text, lists);
    if (refusal.empty()) {
      ++accepted;
      EXPECT_TRUE(loaded[i].starts_with(library.empty() ? "error" : loads)) << loaded[i];
    }
    if (loaded[i].find("Can't open lib") != std::string::npos) {
      EXPECT_FALSE(refusal.empty()) << loaded[i];
    }
  }
  // Enough of both kinds to mean something.
  EXPECT_GT(accepted, strings.size() / 20);
  EXPECT_LT(accepted, strings.size() / 2);
  EXPECT_GT(compared, strings.size() / 2);
}

}  // namespace
