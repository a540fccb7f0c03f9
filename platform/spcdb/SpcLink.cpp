#include "platform/spcdb/SpcLink.h"

#include "platform/spcdb/SpcSchema.h"

namespace platform {
namespace {

SpcDialect Connect(OdbcConnection& connection, const std::string& connectionString) {
  connection.Open(connectionString, "", "");
  SpcDialect dialect = SpcDialect::For(connection);
  dialect.Configure(connection);
  UpgradeSchema(connection, dialect);
  return dialect;
}

}  // namespace

SpcLink::SpcLink(const std::string& connectionString, const OdbcPolicy& policy)
    : connection_(policy),
      dialect_(Connect(connection_, connectionString)),
      catalog_(connection_) {}

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
