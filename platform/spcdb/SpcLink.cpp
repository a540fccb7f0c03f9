#include "platform/spcdb/SpcLink.h"

#include "platform/spcdb/SpcSchema.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

SpcDialect Connect(OdbcConnection& connection, std::optional<SpcFile>& file,
                   const std::string& connectionString, OdbcPolicy policy) {
  connection.Open(connectionString, "", "");
  SpcDialect dialect = SpcDialect::For(connection);
  if (dialect.IsSqlite()) {
    // On SQLite the query timeout bounds the lock waits and nothing else (see
    // OdbcSession): connected again under the shorter bound.
    if (const int32_t wait = SqliteLockWaitSeconds(policy); wait != policy.queryTimeout) {
      policy.queryTimeout = wait;
      connection = OdbcConnection(policy);
      connection.Open(connectionString, "", "");
    }
    file = SpcFile::Opened(connection);
  }
  try {
    if (dialect.IsSqlite()) RefuseOtherSqliteDatabase(connection);
    dialect.Configure(connection);
    UpgradeSchema(connection, dialect);
  } catch (...) {
    // A server that ends the connection while it is set up is away as much as later.
    RethrowLost(!Answers(connection));
  }
  return dialect;
}

// The link itself lives across saves; a kept connection could outlive a replaced file and
// carries the settings Configure made.
OdbcPolicy Unpooled(OdbcPolicy policy) {
  policy.poolIdleSeconds = 0;
  return policy;
}

}  // namespace

SpcLink::SpcLink(const std::string& connectionString, const OdbcPolicy& policy)
    : connection_(Unpooled(policy)),
      dialect_(Connect(connection_, file_, connectionString, Unpooled(policy))),
      catalog_(connection_) {}

void SpcLink::SettleMovedFile() {
  auto result = connection_.Execute("PRAGMA wal_checkpoint(TRUNCATE)");
  if (!result->Eof() && runtime::ToLong(result->Field("busy")) != 0) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "The SPC database file was deleted or replaced, and its write-ahead log "
                         "is still in use: the file at its path is opened once it is free",
                         "SpcLink");
  }
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

void SpcLink::BeginPart() {
  connection_.Execute("SAVEPOINT part");
}

void SpcLink::EndPart() {
  connection_.Execute("RELEASE SAVEPOINT part");
}

bool SpcLink::UndoPart() noexcept {
  // Names the part created are forgotten with the ones the parts before it found.
  catalog_.DiscardPending();
  try {
    connection_.Execute("ROLLBACK TO SAVEPOINT part");
    connection_.Execute("RELEASE SAVEPOINT part");
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace platform
