// One open connection to the SPC database and what lives as long as it: the database's
// dialect, the catalog of names already looked up, and the statements prepared for
// saving subgroups. A session drops its link after any failure and opens a new one.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>

#include "platform/odbc/OdbcConnection.h"
#include "platform/odbc/OdbcPolicy.h"
#include "platform/odbc/OdbcStatement.h"
#include "platform/spcdb/SpcCatalog.h"
#include "platform/spcdb/SpcDialect.h"

namespace platform {

class SpcLink {
 public:
  // Connects under `policy`, sets the connection up and brings the schema up to date.
  SpcLink(const std::string& connectionString, const OdbcPolicy& policy);
  SpcLink(const SpcLink&) = delete;
  SpcLink& operator=(const SpcLink&) = delete;

  OdbcConnection& Connection() { return connection_; }
  const SpcDialect& Dialect() const { return dialect_; }
  SpcCatalog& Catalog() { return catalog_; }

  // `sql` prepared once for this connection.
  OdbcStatement& Prepared(const std::string& sql);

  void Begin();
  void Commit();
  // Never fails (see SpcDialect::Rollback).
  void Rollback() noexcept;

 private:
  OdbcConnection connection_;
  SpcDialect dialect_;
  SpcCatalog catalog_;
  std::unordered_map<std::string, std::unique_ptr<OdbcStatement>> prepared_;
};

}  // namespace platform
