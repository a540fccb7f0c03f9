#include "platform/odbc/OdbcSafety.h"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/FileKind.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcDriverLists.h"
#include "runtime/Error.h"

namespace platform {
namespace {

using Keys = std::span<const std::string_view>;

constexpr std::string_view kDriverManagerKeys[] = {"DSN", "DRIVER", "UID", "PWD"};

// The connect keys the SQLite3 ODBC driver documents, less TraceFile.
constexpr std::string_view kSqliteKeys[] = {
    "Database",  "Timeout",    "StepAPI",   "SyncPragma",  "NoTXN", "NoWCHAR", "NoCreat",
    "LongNames", "ShortNames", "FKSupport", "JournalMode", "OEMCP", "BigInt",  "JDConv"};

// The keys psqlODBC documents, then those with an abbreviation each followed by it, less
// Pqopt (D5) and ConnSettings (A6).
// clang-format off
constexpr std::string_view kPostgresKeys[] = {
    "Server", "Servername", "Database", "Port", "Username", "Password", "Description", "UniqueIndex",
    "BI", "AB", "CX",
    "SSLmode", "CA", "ReadOnly", "A0", "Protocol", "A1", "FakeOidIndex", "A2",
    "ShowOidColumn", "A3", "RowVersioning", "A4", "ShowSystemTables", "A5", "Fetch", "A7",
    "Socket", "A8", "UnknownSizes", "A9", "MaxVarcharSize", "B0", "MaxLongVarcharSize", "B1",
    "Debug", "B2", "CommLog", "B3", "Optimizer", "B4", "Ksqo", "B5", "UseDeclareFetch", "B6",
    "TextAsLongVarchar", "B7", "UnknownsAsLongVarchar", "B8", "BoolsAsChar", "B9", "Parse", "C0",
    "ExtraSysTablePrefixes", "C2", "UpdatableCursors", "C4", "LFConversion", "C5",
    "TrueIsMinus1", "C6", "ByteaAsLongVarBinary", "C7", "UseServerSidePrepare", "C8",
    "LowerCaseIdentifier", "C9", "KeepaliveTime", "D1", "KeepaliveInterval", "D2",
    "NumericAS", "D6", "OptionalErrors", "D7", "BatchSize", "D8", "IgnoreTimeout", "D9"};
// clang-format on

struct Dangerous {
  std::string_view key, why;
};

constexpr Dangerous kDangerous[] = {
    {"DMEnvAttr", "makes the driver manager set environment variables of this process"},
    {"DMConnAttr", "makes the driver manager set connection attributes in the driver"},
    {"DMStmtAttr", "makes the driver manager set statement attributes in the driver"},
    {"FILEDSN", "reads a file data source, which can name a driver file"},
    {"SAVEFILE", "makes the driver manager write a file data source"},
    {"LoadExt", "loads SQLite extension libraries into this process"},
    {"TraceFile", "makes the driver write to a file it names"},
    {"Pqopt", "passes options to libpq, whose SSL key engines and service files load code"},
    {"D5", "passes options to libpq, whose SSL key engines and service files load code"},
    {"ConnSettings", "runs its SQL on every connect"},
    {"A6", "runs its SQL on every connect"},
};

// Values the SQLite3 ODBC driver writes into a PRAGMA statement.
constexpr std::string_view kPastedIntoSql[] = {"SyncPragma", "JournalMode"};

bool IsOneOf(std::string_view key, Keys keys) {
  return std::any_of(keys.begin(), keys.end(),
                     [&](std::string_view known) { return SameOdbcName(key, known); });
}

std::string_view TrimWhiteSpace(std::string_view text) {
  constexpr std::string_view kWhite = " \t\r\n\v\f";
  const size_t first = text.find_first_not_of(kWhite);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhite) - first + 1);
}

// The pairs as a driver that cuts the string at every ';' sees them (the SQLite3 ODBC
// driver reads its keys so), trimmed as a lenient driver would.
std::vector<ConnectionKey> SplitAtEverySemicolon(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  std::vector<ConnectionKey> pairs;
  size_t start = 0;
  while (start <= text.size()) {
    const size_t end = std::min(text.find(';', start), text.size());
    const std::string_view part = text.substr(start, end - start);
    const size_t equals = part.find('=');
    if (equals != std::string_view::npos) {
      pairs.push_back({std::string(TrimWhiteSpace(part.substr(0, equals))),
                       std::string(TrimWhiteSpace(part.substr(equals + 1)))});
    }
    start = end + 1;
  }
  return pairs;
}

// Why a key is refused whatever driver reads it, or nothing.
std::optional<std::string> Dangers(const ConnectionKey& pair) {
  for (const Dangerous& dangerous : kDangerous) {
    if (SameOdbcName(pair.key, dangerous.key)) return pair.key + " " + std::string(dangerous.why);
  }
  const bool word = std::all_of(pair.value.begin(), pair.value.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
  });
  if (IsOneOf(pair.key, kPastedIntoSql) && !word) {
    return pair.key + "=" + pair.value +
           " is written into SQL by the SQLite3 ODBC driver; give a mode name such as WAL or "
           "NORMAL";
  }
  return std::nullopt;
}

bool NamesRegisteredDriver(const ConnectionKey& pair, const OdbcDriverLists& drivers) {
  return !SameOdbcName(pair.key, "DRIVER") || !drivers.RegisteredLibrary(pair.value).empty();
}

// Why a key the driver manager reads is not one for the driver `library`, or nothing.
std::optional<std::string> Undocumented(std::string_view key, const std::string& library) {
  if (IsOneOf(key, kDriverManagerKeys)) return std::nullopt;
  const std::string named = "the key \"" + std::string(key) + "\"";
  if (IsSqliteDriver(library)) {
    if (IsOneOf(key, kSqliteKeys)) return std::nullopt;
    return named + " is not one the SQLite3 ODBC driver documents";
  }
  if (IsPostgresDriver(library)) {
    if (IsOneOf(key, kPostgresKeys)) return std::nullopt;
    return named + " is not one psqlODBC documents";
  }
  return named + " is not one of the driver manager's (DSN, DRIVER, UID, PWD), and the keys of " +
         (library.empty() ? std::string("the driver of this string") : library) +
         " are not known here";
}

// The first refusal, worst first: what loads code or touches files wherever a driver finds
// it, then drivers named by anything but their registered name, then keys the driver does
// not document.
std::optional<std::string> Refusal(std::string_view connectionString,
                                   const OdbcDriverLists& drivers) {
  const std::vector<ConnectionKey> pairs = ParseConnectionString(connectionString);
  for (const auto& read : {pairs, SplitAtEverySemicolon(connectionString)}) {
    for (const ConnectionKey& pair : read) {
      if (auto why = Dangers(pair)) return why;
    }
  }
  for (const ConnectionKey& pair : pairs) {
    if (!NamesRegisteredDriver(pair, drivers)) {
      return pair.key + "=" + pair.value +
             " is not the name of an installed ODBC driver, so the driver manager would load "
             "it as a library file; name a driver by its registered name (Driver=SQLite3, "
             "Driver={PostgreSQL Unicode})";
    }
  }
  const std::string library = drivers.LibraryFor(connectionString);
  for (const ConnectionKey& pair : pairs) {
    if (auto why = Undocumented(pair.key, library)) return why;
  }
  return std::nullopt;
}

}  // namespace

void RefuseUnsafeConnectionString(std::string_view connectionString,
                                  const OdbcDriverLists& drivers) {
  const std::optional<std::string> why = Refusal(connectionString, drivers);
  if (!why) return;
  throw runtime::Error(runtime::kInvalidProcedureCall,
                       "Connection string refused: " + *why +
                           ". Only the host setting AllowDriverPaths=1 in the [Security] section "
                           "of dam.ini allows it.",
                       "ODBC");
}

void RefuseSqliteWithoutFile(std::string_view connectionString, const OdbcDriverLists& drivers) {
  if (!IsSqliteDriver(drivers.LibraryFor(connectionString))) return;
  const std::optional<std::string> file = ConnectionValue(connectionString, "Database");
  if (!(file ? !TrimWhiteSpace(*file).empty() : HasConnectionKey(connectionString, "DSN"))) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "The SQLite3 connection string names no database file; give one as "
                         "Database=/path/to/file.db",
                         "ODBC");
  }
  struct stat status {};
  if (file && stat(file->c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "The SQLite3 database " + *file + " is " + host::FileKind(status.st_mode) +
                             ", not a database file",
                         "ODBC");
  }
}

}  // namespace platform
