#include "platform/odbc/OdbcSession.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>

#include "platform/odbc/HostTimeZone.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "platform/odbc/OdbcDiagnostics.h"
#include "platform/odbc/OdbcDriverLists.h"
#include "platform/odbc/OdbcParameters.h"
#include "platform/odbc/OdbcSafety.h"
#include "runtime/Error.h"

namespace platform {
namespace {

// Milliseconds one try of an SQLite statement waits for a lock: how late a cancel or the
// query timeout can be noticed.
constexpr int kSqliteLockWait = 100;
// Rows psqlODBC fetches per round trip through its cursor.
constexpr char kPostgresFetchRows[] = "4096";
// Prepared statements a session keeps: a collection or a save runs fewer than this.
constexpr size_t kMostKeptStatements = 32;
// The SQLSTATE of a statement cancelled under its running call.
constexpr char kCancelledState[] = "HY008";

// Made once and kept for the life of the process: the driver manager resolves a driver
// once per environment. Never freed, so that no static destructor calls into drivers.
std::shared_ptr<const OdbcHandle> SharedEnvironment() {
  static const auto* const shared = new std::shared_ptr<const OdbcHandle>([] {
    auto made = std::make_shared<OdbcHandle>(SQL_HANDLE_ENV, nullptr);
    made->Check(SQLSetEnvAttr(made->get(), SQL_ATTR_ODBC_VERSION,
                              reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
                "SQLSetEnvAttr");
    return made;
  }());
  return *shared;
}

// The SQLite ODBC driver keeps the connections of an environment in one list, which it
// changes without a lock as a connection is made or ended: on SQLite those two take turns
// across the process. Both are short there (a file opens or closes); other drivers make
// their connections side by side, so that a server that does not answer holds up no other.
std::unique_lock<std::mutex> TurnToConnect(bool sqliteDriver) {
  static std::mutex turns;
  return sqliteDriver ? std::unique_lock(turns) : std::unique_lock<std::mutex>();
}

// The SQLite3 ODBC driver says only "connect failed" when it cannot open or make its file.
std::string WhySqliteFileCannotOpen(const std::string& connectionString) {
  const std::optional<std::string> named = ConnectionValue(connectionString, "Database");
  if (!named) return {};
  const std::filesystem::path file = *named;
  const int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd >= 0) {
    close(fd);
    return {};
  }
  if (errno != ENOENT) return "cannot open " + *named + ": " + std::strerror(errno);
  const std::string folder = file.has_parent_path() ? file.parent_path().string() : ".";
  if (access(folder.c_str(), W_OK | X_OK) != 0) {
    return "cannot make " + *named + ": its folder " + folder + ": " + std::strerror(errno);
  }
  return "there is no file " + *named;
}

bool ConnectionFailed(const OdbcHandle& handle) {
  const std::optional<OdbcDiagnostic> first = Diagnostic(handle.type(), handle.get());
  return first && IsConnectionLost(first->state);
}

bool FoundLocked(const OdbcHandle& handle) {
  const std::optional<OdbcDiagnostic> first = Diagnostic(handle.type(), handle.get());
  return first && IsSqliteLocked(first->native);
}

// A driver without the timeout ("optional feature not implemented") still connects and
// runs statements, bounded by its own waits.
void SetTimeout(const OdbcHandle& handle, SQLRETURN rc, const char* call) {
  if (rc == SQL_ERROR) {
    const std::optional<OdbcDiagnostic> first = Diagnostic(handle.type(), handle.get());
    if (first && first->state == "HYC00") return;
  }
  handle.Check(rc, call);
}

}  // namespace

OdbcSession::OdbcSession(const std::string& connectionString, const OdbcPolicy& policy)
    : environment_(SharedEnvironment()),
      connection_(SQL_HANDLE_DBC, environment_.get()),
      queryTimeout_(policy.queryTimeout),
      lockWait_(LockWaitSeconds(policy)) {
  const OdbcDriverLists& drivers = OdbcDriverLists::Installed(*environment_);
  if (!policy.allowDriverPaths) RefuseUnsafeConnectionString(connectionString, drivers);
  RefuseSqliteWithoutFile(connectionString, drivers);
  std::string text = connectionString;
  const std::string library = drivers.LibraryFor(text);
  if (!HasConnectionKey(text, "Timeout") && IsSqliteDriver(library)) {
    AppendConnectionKey(text, "Timeout", std::to_string(kSqliteLockWait));
    repeatsLockWaits_ = true;
  }
  // psqlODBC otherwise reads a whole result into memory before the first row is seen: a
  // check that opens an unfiltered history table would pull millions of rows.
  if (!HasConnectionKey(text, "UseDeclareFetch") && IsPostgresDriver(library)) {
    AppendConnectionKey(text, "UseDeclareFetch", "1");
    if (!HasConnectionKey(text, "Fetch")) AppendConnectionKey(text, "Fetch", kPostgresFetchRows);
  }
  if (policy.loginTimeout > 0) {
    SetTimeout(
        connection_,
        SQLSetConnectAttr(connection_.get(), SQL_ATTR_LOGIN_TIMEOUT,
                          reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(policy.loginTimeout)),
                          SQL_IS_UINTEGER),
        "SQLSetConnectAttr");
  }
  sqliteDriver_ = IsSqliteDriver(library);
  try {
    const std::unique_lock turn = TurnToConnect(sqliteDriver_);
    connection_.Check(
        SQLDriverConnect(connection_.get(), nullptr, reinterpret_cast<SQLCHAR*>(text.data()),
                         static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr,
                         SQL_DRIVER_NOPROMPT),
        "SQLDriverConnect");
  } catch (const runtime::Error& e) {
    const std::string why = sqliteDriver_ ? WhySqliteFileCannotOpen(text) : std::string();
    if (why.empty()) throw;
    throw runtime::Error(e.Number(), e.Description() + " (" + why + ")", e.Source(), e.SqlState());
  }
  if (IsPostgresDriver(library) && std::getenv("PGTZ") == nullptr) {
    try {
      UseHostTimeZone();
    } catch (...) {
      SQLDisconnect(connection_.get());
      throw;
    }
  }
  if (sqliteDriver_) {
    typedPerRow_ = true;
    try {
      NoteSqliteFile();
    } catch (const runtime::Error&) {
      // Usable now, but not worth keeping: nobody could tell whether its file moved.
      broken_ = true;
    }
  }
}

// psqlODBC hands a timestamptz over as the wall clock of the session's zone, the server's
// unless set, and a bound timestamp meets one in that zone too: in this host's zone both are
// this host's local time. PGTZ, which libpq sends as the session starts, is the user's choice.
void OdbcSession::UseHostTimeZone() {
  const std::string zone = HostTimeZone();
  OdbcHandle statement = NewStatement();
  const OdbcParameters bound(statement, {runtime::Variant(zone)});
  std::string sql = "SELECT set_config('TimeZone', ?, false)";
  try {
    statement.Check(SQLExecDirect(statement.get(), reinterpret_cast<SQLCHAR*>(sql.data()),
                                  static_cast<SQLINTEGER>(sql.size())),
                    "SQLExecDirect");
  } catch (const runtime::Error& e) {
    // invalid_parameter_value: a zone the server does not know.
    if (e.SqlState() != "22023") throw;
    throw runtime::Error(e.Number(),
                         "The PostgreSQL server does not take this host's time zone \"" + zone +
                             "\" (PGTZ may name one it knows): " + e.Description(),
                         e.Source(), e.SqlState());
  }
  zone_ = zone;
}

void OdbcSession::NoteSqliteFile() {
  OdbcHandle statement(SQL_HANDLE_STMT, &connection_);
  std::string sql = "PRAGMA database_list";
  statement.Check(SQLExecDirect(statement.get(), reinterpret_cast<SQLCHAR*>(sql.data()),
                                static_cast<SQLINTEGER>(sql.size())),
                  "SQLExecDirect");
  while (SQL_SUCCEEDED(statement.Check(SQLFetch(statement.get()), "SQLFetch"))) {
    char name[256] = {};
    char file[4096] = {};
    SQLLEN length = 0;
    statement.Check(SQLGetData(statement.get(), 2, SQL_C_CHAR, name, sizeof name, &length),
                    "SQLGetData");
    if (std::string_view(name) != "main") continue;
    statement.Check(SQLGetData(statement.get(), 3, SQL_C_CHAR, file, sizeof file, &length),
                    "SQLGetData");
    struct stat info {};
    if (length > 0 && stat(file, &info) == 0) {
      sqliteFile_ = file;
      sqliteDevice_ = info.st_dev;
      sqliteInode_ = info.st_ino;
    }
  }
}

bool OdbcSession::SqliteFileMoved() const {
  if (sqliteFile_.empty()) return false;
  struct stat info {};
  return stat(sqliteFile_.c_str(), &info) != 0 || info.st_dev != sqliteDevice_ ||
         info.st_ino != sqliteInode_;
}

OdbcSession::~OdbcSession() {
  kept_.clear();
  if (manualCommit_) SQLEndTran(SQL_HANDLE_DBC, connection_.get(), SQL_ROLLBACK);
  const std::unique_lock turn = TurnToConnect(sqliteDriver_);
  SQLDisconnect(connection_.get());
}

OdbcHandle OdbcSession::NewStatement() const {
  OdbcHandle statement(SQL_HANDLE_STMT, &connection_);
  if (queryTimeout_ > 0) {
    SetTimeout(statement,
               SQLSetStmtAttr(statement.get(), SQL_ATTR_QUERY_TIMEOUT,
                              reinterpret_cast<SQLPOINTER>(static_cast<SQLULEN>(queryTimeout_)),
                              SQL_IS_UINTEGER),
               "SQLSetStmtAttr");
  }
  return statement;
}

OdbcHandle OdbcSession::Prepared(const std::string& sql) {
  {
    std::lock_guard lock(keptMutex_);
    for (auto kept = kept_.rbegin(); kept != kept_.rend(); ++kept) {
      if (kept->sql != sql) continue;
      OdbcHandle statement = std::move(kept->statement);
      kept_.erase(std::next(kept).base());
      return statement;
    }
  }
  OdbcHandle statement = NewStatement();
  std::string text = sql;
  Run(
      statement,
      [&] {
        return SQLPrepare(statement.get(), reinterpret_cast<SQLCHAR*>(text.data()),
                          static_cast<SQLINTEGER>(text.size()));
      },
      "SQLPrepare");
  return statement;
}

void OdbcSession::Keep(const std::string& sql, OdbcHandle statement) noexcept {
  try {
    if (!SQL_SUCCEEDED(SQLFreeStmt(statement.get(), SQL_CLOSE))) return;
    std::lock_guard lock(keptMutex_);
    const size_t hash = std::hash<std::string>{}(sql);
    if (std::find(ran_.begin(), ran_.end(), hash) == ran_.end()) {
      ran_.push_back(hash);
      if (ran_.size() > kMostKeptStatements) ran_.pop_front();
      return;
    }
    kept_.push_back({sql, std::move(statement)});
    if (kept_.size() > kMostKeptStatements) kept_.pop_front();
  } catch (...) {
    // Not kept: the statement is freed, and the next run of its text prepares it again.
  }
}

SQLRETURN OdbcSession::Run(const OdbcHandle& statement, const std::function<SQLRETURN()>& call,
                           const char* name) const {
  RunningStatement running(statement.get(), !repeatsLockWaits_);
  return Repeat(statement, call, name, &running);
}

SQLRETURN OdbcSession::Repeat(const OdbcHandle& handle, const std::function<SQLRETURN()>& call,
                              const char* name, const RunningStatement* running) const {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point deadline = Clock::now() + std::chrono::seconds(lockWait_);
  auto cancelled = [&] { return running != nullptr && running->Cancelled(); };
  for (;;) {
    SQLRETURN rc = cancelled() ? SQL_ERROR : call();
    if (rc != SQL_ERROR) return Check(handle, rc, name);
    if (cancelled()) {
      std::string cause;
      try {
        handle.Check(rc, name);
      } catch (const runtime::Error& e) {
        cause = ": " + e.Description();
      }
      throw runtime::Error(
          kUnspecifiedOdbcError,
          DescribedWithState({kCancelledState, 0, "The statement was cancelled"}) + cause, "ODBC",
          kCancelledState);
    }
    bool again =
        repeatsLockWaits_ && FoundLocked(handle) && (lockWait_ == 0 || Clock::now() < deadline);
    if (!again) return Check(handle, rc, name);
  }
}

SQLRETURN OdbcSession::Check(const OdbcHandle& handle, SQLRETURN rc, const char* name) const {
  if (rc == SQL_ERROR && ConnectionFailed(handle)) broken_ = true;
  return handle.Check(rc, name);
}

bool OdbcSession::Reset() noexcept {
  if (manualCommit_) {
    try {
      EndTransaction(false);
    } catch (...) {
      return false;
    }
  }
  return !broken_ && !SqliteFileMoved() && InHostTimeZone() && !Dead();
}

bool OdbcSession::InHostTimeZone() const noexcept {
  try {
    return zone_.empty() || zone_ == HostTimeZone();
  } catch (...) {
    return false;
  }
}

bool OdbcSession::Dead() const noexcept {
  SQLUINTEGER dead = SQL_CD_FALSE;
  return SQL_SUCCEEDED(
             SQLGetConnectAttr(connection_.get(), SQL_ATTR_CONNECTION_DEAD, &dead, 0, nullptr)) &&
         dead == SQL_CD_TRUE;
}

void OdbcSession::BeginTransaction() {
  SetAutoCommit(false);
  manualCommit_ = true;
}

void OdbcSession::EndTransaction(bool commit) {
  Repeat(
      connection_,
      [&] {
        return SQLEndTran(SQL_HANDLE_DBC, connection_.get(), commit ? SQL_COMMIT : SQL_ROLLBACK);
      },
      "SQLEndTran", nullptr);
  // psqlODBC skips the COMMIT, and reports success, when a call before it (closing a
  // cursor, dropping a prepared plan, also inside SQLEndTran) found the server gone.
  if (commit && Dead()) {
    broken_ = true;
    throw runtime::Error(kUnspecifiedOdbcError,
                         DescribedWithState({kConnectionLostState, 0,
                                             "The connection was lost while committing: the "
                                             "changes may or may not have been saved"}),
                         "ODBC", kConnectionLostState);
  }
  SetAutoCommit(true);
  manualCommit_ = false;
}

void OdbcSession::SetAutoCommit(bool on) {
  Check(connection_,
        SQLSetConnectAttr(connection_.get(), SQL_ATTR_AUTOCOMMIT,
                          reinterpret_cast<SQLPOINTER>(on ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF),
                          SQL_IS_UINTEGER),
        "SQLSetConnectAttr");
}

}  // namespace platform
