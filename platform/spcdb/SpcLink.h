// One open connection to the SPC database and what lives as long as it: the database's
// dialect and the catalog of names already looked up (the statements prepared for saving
// subgroups are kept by the connection's session). A session drops its link after any
// failure and opens a new one.
#pragma once

#include <optional>
#include <string>

#include "platform/odbc/OdbcConnection.h"
#include "platform/odbc/OdbcPolicy.h"
#include "platform/spcdb/SpcCatalog.h"
#include "platform/spcdb/SpcDialect.h"
#include "platform/spcdb/SpcFile.h"

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

  // True for an SQLite database in a file.
  bool IsFile() const { return file_.has_value(); }
  // False when the database is an SQLite file that was deleted or replaced at its path
  // since this link opened it: the link must not be used any more.
  bool StillAtItsPath() const { return !file_ || file_->StillAtItsPath(); }
  // Before a link whose file moved is dropped: writes what the write-ahead log holds into
  // the file this link has open and empties the log. SQLite finds the log by the path, and
  // leaves it there when the file moved; a new file at the path would take it for its own.
  // Fails while another connection keeps the log busy.
  void SettleMovedFile();

  void Begin();
  void Commit();
  // Never fails (see SpcDialect::Rollback).
  void Rollback() noexcept;
  // One part of the open transaction, to be undone alone: one session's work among the
  // others' in a transaction they share (see SpcSession::Transact).
  void BeginPart();
  void EndPart();
  // Undoes the part begun last. False when the transaction itself is gone with it (the
  // database rolled it back on a full disk, or the connection broke).
  bool UndoPart() noexcept;

 private:
  OdbcConnection connection_;
  // Set while connecting, before the dialect: declared first so that it is built first.
  std::optional<SpcFile> file_;
  SpcDialect dialect_;
  SpcCatalog catalog_;
};

}  // namespace platform
