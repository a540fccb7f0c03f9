#include "platform/spcdb/SpcUnavailable.h"

#include <string>
#include <string_view>

#include "platform/odbc/OdbcDiagnostics.h"
#include "platform/spcdb/SpcErrors.h"
#include "runtime/Text.h"

namespace platform {
namespace {

bool UnavailableState(std::string_view state) {
  if (state.starts_with("08")) return true;
  for (std::string_view code :
       {"HYT00", "HYT01", "57P01", "57P02", "57P03", "53100", "53200", "53300", "58030", "40001",
        "40P01", "42501", "25006", "57014", "55P03"}) {
    if (state == code) return true;
  }
  return false;
}

// Drivers do not always give these their own SQLSTATE: psqlODBC reports a server that
// went away mid-statement as a general error, and the SQLite driver a locked, read-only,
// full or failing file.
constexpr std::string_view kUnavailableTexts[] = {
    "database is locked",
    "database table is locked",
    "database is busy",
    "attempt to write a readonly database",
    "database or disk is full",
    "disk i/o error",
    "server closed the connection",
    "could not connect to server",
    "connection refused",
    "no connection to the server",
    "terminating connection due to administrator command",
    "the database system is starting up",
    "the database system is shutting down",
    "too many clients already",
    "could not send query",
    "connection to server",
};

// psqlODBC gives every failed connection SQLSTATE 08001, also those the server refused
// for the settings it was given: waiting would not help them.
constexpr std::string_view kSettingTexts[] = {
    "password authentication failed",
    "authentication failed",
    "no pg_hba.conf entry",
    "does not exist",
};

}  // namespace

bool IsUnopenedFile(const runtime::Error& error) {
  if (error.Number() == kSpcOtherDatabase) return true;
  const std::string folded = runtime::FoldCase(error.Description());
  for (std::string_view phrase : {"unable to open database file", "[sqlite]connect failed",
                                  "file is not a database", "database disk image is malformed"}) {
    if (folded.find(phrase) != std::string::npos) return true;
  }
  return false;
}

bool IsUnavailable(const runtime::Error& error) {
  if (IsUnopenedFile(error)) return true;
  const std::string folded = runtime::FoldCase(error.Description());
  for (std::string_view phrase : kSettingTexts) {
    if (folded.find(phrase) != std::string::npos) return false;
  }
  if (UnavailableState(error.SqlState())) return true;
  for (std::string_view phrase : kUnavailableTexts) {
    if (folded.find(phrase) != std::string::npos) return true;
  }
  return false;
}

bool Answers(OdbcConnection& connection) noexcept {
  try {
    connection.Execute("SELECT 1");
    return true;
  } catch (...) {
    return false;
  }
}

void RethrowLost(bool lost) {
  if (!lost) throw;
  const runtime::Error error = runtime::ToError(std::current_exception());
  if (IsConnectionLost(error.SqlState())) throw;
  throw runtime::Error(error.Number(), error.Description(), error.Source(), kConnectionLostState);
}

}  // namespace platform
