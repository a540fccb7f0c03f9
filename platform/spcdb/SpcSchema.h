// The SPC database's tables, created on first open and upgraded in place. The table
// schema_version holds the version the tables have; every version is a step that turns
// the version before it into this one, so a later version adds its columns or tables
// with one more step.
#pragma once

#include <cstdint>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcDialect.h"

namespace platform {

inline constexpr int32_t kSpcSchemaVersion = 4;

// An SQLite file that holds tables but not those of an SPC database is another program's
// (a historian named by mistake): an error, before the SPC tables are added to it or its
// journal changed. A new or empty file, or one with the SPC tables, passes.
void RefuseOtherSqliteDatabase(OdbcConnection& connection);

// Brings the database to kSpcSchemaVersion in one transaction, serialised against other
// sessions doing the same; a database at that version already is only read. A database of
// a newer version is an error and stays as it is.
void UpgradeSchema(OdbcConnection& connection, const SpcDialect& dialect);

}  // namespace platform
