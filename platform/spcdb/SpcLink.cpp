#include "platform/spcdb/SpcLink.h"

#include "platform/odbc/OdbcConnectionString.h"
#include "platform/spcdb/SpcSchema.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

// How long a save waits for another program's lock on an SQLite file before the database
// counts as not answering (and the subgroup goes to the spool).
constexpr char kSqliteLockWait[] = "5000";

SpcDialect Connect(OdbcConnection& connection, std::optional<SpcFile>& file,
                   const std::string& connectionString) {
  connection.Open(connectionString, "", "");
  SpcDialect dialect = SpcDialect::For(connection);
  // The SQLite driver waits for locks as long as its own Timeout key says (100 s unless
  // given), whatever busy_timeout the connection sets.
  if (dialect.IsSqlite() && !HasConnectionKey(connectionString, "Timeout")) {
    std::string bounded = connectionString;
    AppendConnectionKey(bounded, "Timeout", kSqliteLockWait);
    connection.Open(bounded, "", "");
  }
  if (dialect.IsSqlite()) file = SpcFile::Opened(connection);
  dialect.Configure(connection);
  UpgradeSchema(connection, dialect);
  return dialect;
}

}  // namespace

SpcLink::SpcLink(const std::string& connectionString)
    : dialect_(Connect(connection_, file_, connectionString)), catalog_(connection_) {}

void SpcLink::SettleMovedFile() {
  auto result = connection_.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  if (!result->Eof() && runtime::ToLong(result->Field("busy")) != 0) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "The SPC database file was deleted or replaced, and its write-ahead log "
                         "is still in use: the file at its path is opened once it is free",
                         "SpcLink");
  }
}

OdbcStatement& SpcLink::Prepared(const std::string& sql) {
  std::unique_ptr<OdbcStatement>& statement = prepared_[sql];
  if (!statement) statement = connection_.Prepare(sql);
  return *statement;
}

void SpcLink::Begin() {
  dialect_.Begin(connection_);
  catalog_.BeginTransaction();
}

void SpcLink::Commit() {
  dialect_.Commit(connection_);
  catalog_.Commit();
}

void SpcLink::Rollback() noexcept {
  dialect_.Rollback(connection_);
  catalog_.Discard();
}

}  // namespace platform
