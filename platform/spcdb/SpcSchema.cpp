#include "platform/spcdb/SpcSchema.h"

#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcTables.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

// "{id}" and "{subgroup id}" stand for the dialect's generated identifier columns. Subgroup
// identifiers are 64-bit; PostgreSQL tables made while they were 32-bit keep their columns:
// widening them rewrites the largest tables, far too long for a start (see README).
// Version 1: named records in groups, lots, subgroups with their descriptors and readings.
const std::vector<const char*> kVersion1 = {
    "CREATE TABLE part_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE process_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE test_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE job_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE shift_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE descriptor_groups (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE parts (id {id}, name TEXT NOT NULL UNIQUE,"
    " group_id INTEGER NOT NULL REFERENCES part_groups (id))",
    "CREATE TABLE processes (id {id}, name TEXT NOT NULL UNIQUE,"
    " group_id INTEGER NOT NULL REFERENCES process_groups (id))",
    "CREATE TABLE tests (id {id}, name TEXT NOT NULL UNIQUE,"
    " group_id INTEGER NOT NULL REFERENCES test_groups (id))",
    "CREATE TABLE jobs (id {id}, name TEXT NOT NULL UNIQUE,"
    " group_id INTEGER NOT NULL REFERENCES job_groups (id))",
    "CREATE TABLE shifts (id {id}, name TEXT NOT NULL UNIQUE,"
    " group_id INTEGER NOT NULL REFERENCES shift_groups (id))",
    "CREATE TABLE descriptors (id {id}, name TEXT NOT NULL,"
    " group_id INTEGER NOT NULL REFERENCES descriptor_groups (id), UNIQUE (group_id, name))",
    "CREATE TABLE lots (id {id}, name TEXT NOT NULL UNIQUE)",
    "CREATE TABLE subgroups (id {subgroup id}, subgroup_time TIMESTAMP NOT NULL,"
    " size INTEGER NOT NULL, part_id INTEGER REFERENCES parts (id),"
    " process_id INTEGER REFERENCES processes (id), job_id INTEGER REFERENCES jobs (id),"
    " shift_id INTEGER REFERENCES shifts (id), lot_id INTEGER REFERENCES lots (id),"
    " session_number INTEGER NOT NULL)",
    "CREATE TABLE subgroup_descriptors ("
    "subgroup_id BIGINT NOT NULL REFERENCES subgroups (id), ordinal INTEGER NOT NULL,"
    " descriptor_id INTEGER NOT NULL REFERENCES descriptors (id),"
    " PRIMARY KEY (subgroup_id, ordinal))",
    "CREATE TABLE readings ("
    "subgroup_id BIGINT NOT NULL REFERENCES subgroups (id), ordinal INTEGER NOT NULL,"
    " test_id INTEGER NOT NULL REFERENCES tests (id), sample INTEGER NOT NULL,"
    " value DOUBLE PRECISION NOT NULL, serial_number TEXT NOT NULL,"
    " defect_code TEXT NOT NULL, PRIMARY KEY (subgroup_id, ordinal))",
};

void CreateTables(OdbcConnection& connection, const SpcDialect& dialect) {
  for (const char* statement : kVersion1) {
    connection.Execute(runtime::ReplaceNoCase(
        runtime::ReplaceNoCase(statement, "{subgroup id}", dialect.SubgroupIdColumn()), "{id}",
        dialect.IdColumn()));
  }
}

// Version 2: names are unique without regard to case. Each named table gains the folded
// name, filled from the names it holds; two names that fold alike are never merged
// silently: the upgrade stops and names them.
void AddNameKeys(OdbcConnection& connection, const SpcDialect&) {
  std::vector<std::string> clashes;
  for (const SpcTable* table : NamedTables()) {
    const std::string name = table->name;
    connection.Execute("ALTER TABLE " + name + " ADD COLUMN name_key TEXT");
    struct Row {
      int32_t id;
      std::string key;
    };
    std::vector<Row> rows;
    std::map<std::pair<int32_t, std::string>, std::string> first;
    const std::string select = "SELECT id, name" +
                               std::string(table->namedWithinGroup ? ", group_id" : "") + " FROM " +
                               name + " ORDER BY id";
    for (auto found = connection.Execute(select); !found->Eof(); found->MoveNext()) {
      const std::string text = runtime::ToText(found->Field("name"));
      const int32_t group = table->namedWithinGroup ? runtime::ToLong(found->Field("group_id")) : 0;
      Row row{runtime::ToLong(found->Field("id")), runtime::FoldCase(text)};
      const auto [at, added] = first.try_emplace({group, row.key}, text);
      if (!added) {
        clashes.push_back(std::string(table->label) + " \"" + at->second + "\" and \"" + text +
                          "\"");
      }
      rows.push_back(std::move(row));
    }
    std::unique_ptr<OdbcStatement> update =
        connection.Prepare("UPDATE " + name + " SET name_key = ? WHERE id = ?");
    for (const Row& row : rows) update->Execute({row.key, row.id});
    if (clashes.empty()) {
      connection.Execute("CREATE UNIQUE INDEX " + name + "_folded_name ON " + name + " (" +
                         (table->namedWithinGroup ? "group_id, " : "") + "name_key)");
    }
  }
  if (!clashes.empty()) {
    throw runtime::Error(kSpcSchemaMismatch,
                         "The SPC database holds names that differ only in case, which are one "
                         "name from this version on: " +
                             runtime::Join(clashes, "; ") +
                             ". Rename or merge them, then open the database again",
                         "UpgradeSchema");
  }
}

// Version 3: subgroups forwarded from a host's spool carry the key the host gave them, so
// that a forward repeated after an unacknowledged commit finds the subgroup already there.
void AddIdempotencyKeys(OdbcConnection& connection, const SpcDialect&) {
  connection.Execute("ALTER TABLE subgroups ADD COLUMN idempotency_key TEXT");
  connection.Execute(
      "CREATE UNIQUE INDEX subgroups_idempotency_key ON subgroups (idempotency_key)");
}

// Version 4: a subgroup names the configuration that collected it, so that readers can tell
// the lines of a plant apart. Subgroups saved before have none.
void AddConfigurationNames(OdbcConnection& connection, const SpcDialect&) {
  connection.Execute("ALTER TABLE subgroups ADD COLUMN configuration_name TEXT");
}

using Step = void (*)(OdbcConnection&, const SpcDialect&);
// Step n turns version n - 1 into version n.
const Step kSteps[] = {CreateTables, AddNameKeys, AddIdempotencyKeys, AddConfigurationNames};
static_assert(std::size(kSteps) == kSpcSchemaVersion);

int32_t ReadVersion(OdbcConnection& connection) {
  auto rows = connection.Execute("SELECT version FROM schema_version");
  if (rows->Eof()) {
    connection.Execute("INSERT INTO schema_version (version) VALUES (0)");
    return 0;
  }
  return runtime::ToLong(rows->Field("version"));
}

void Upgrade(OdbcConnection& connection, const SpcDialect& dialect) {
  dialect.LockSchema(connection);
  connection.Execute("CREATE TABLE IF NOT EXISTS schema_version (version INTEGER NOT NULL)");
  int32_t version = ReadVersion(connection);
  if (version > kSpcSchemaVersion) {
    throw runtime::Error(kSpcSchemaMismatch,
                         "The SPC database has schema version " + std::to_string(version) +
                             "; this program knows versions up to " +
                             std::to_string(kSpcSchemaVersion),
                         "UpgradeSchema");
  }
  for (int32_t next = version + 1; next <= kSpcSchemaVersion; ++next) {
    kSteps[next - 1](connection, dialect);
  }
  if (version < kSpcSchemaVersion) {
    connection.Execute("UPDATE schema_version SET version = ?",
                       std::vector<runtime::Variant>{kSpcSchemaVersion});
  }
}

// The version the tables have; nothing when there is no version to read (no tables yet,
// or an SPC database this role cannot read, which the upgrade then reports).
std::optional<int32_t> CurrentVersion(OdbcConnection& connection) {
  try {
    auto rows = connection.Execute("SELECT version FROM schema_version");
    if (!rows->Eof()) return runtime::ToLong(rows->Field("version"));
  } catch (const runtime::Error&) {
  }
  return std::nullopt;
}

}  // namespace

void RefuseOtherSqliteDatabase(OdbcConnection& connection) {
  std::string tables;
  for (auto rows = connection.Execute(
           "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite^_%' "
           "ESCAPE '^' ORDER BY name");
       !rows->Eof(); rows->MoveNext()) {
    const std::string name = runtime::ToText(rows->Field("name"));
    if (name == "schema_version") return;
    tables += (tables.empty() ? "" : ", ") + name;
  }
  if (tables.empty()) return;
  throw runtime::Error(kSpcOtherDatabase,
                       "The SQLite file holds the tables of another database (" + tables +
                           "), not those of an SPC database: nothing is added to it",
                       "UpgradeSchema");
}

void UpgradeSchema(OdbcConnection& connection, const SpcDialect& dialect) {
  // Without the transaction and its DDL: a role that may only read and write runs too.
  if (CurrentVersion(connection) == kSpcSchemaVersion) return;
  dialect.Begin(connection);
  try {
    Upgrade(connection, dialect);
  } catch (...) {
    dialect.Rollback(connection);
    throw;
  }
  dialect.Commit(connection);
}

}  // namespace platform
