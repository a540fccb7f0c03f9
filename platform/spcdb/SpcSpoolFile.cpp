#include "platform/spcdb/SpcSpoolFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>

#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Conversions.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

using Parameters = std::vector<runtime::Variant>;

const char* const kTables[] = {
    "CREATE TABLE IF NOT EXISTS spooled (id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " idempotency_key TEXT NOT NULL UNIQUE, time_serial REAL NOT NULL, size INTEGER NOT NULL,"
    " session_number INTEGER NOT NULL, part_group TEXT, part TEXT, process_group TEXT,"
    " process TEXT, job_group TEXT, job TEXT, shift_group TEXT, shift TEXT, lot TEXT,"
    " refused TEXT, configuration_name TEXT, forwarded INTEGER NOT NULL DEFAULT 0,"
    " spc_database TEXT)",
    "CREATE TABLE IF NOT EXISTS spooled_descriptors ("
    "spool_id INTEGER NOT NULL REFERENCES spooled (id) ON DELETE CASCADE,"
    " ordinal INTEGER NOT NULL, group_name TEXT NOT NULL, name TEXT NOT NULL,"
    " PRIMARY KEY (spool_id, ordinal))",
    "CREATE TABLE IF NOT EXISTS spooled_readings ("
    "spool_id INTEGER NOT NULL REFERENCES spooled (id) ON DELETE CASCADE,"
    " ordinal INTEGER NOT NULL, test_group TEXT NOT NULL, test TEXT NOT NULL,"
    " sample INTEGER NOT NULL, value REAL NOT NULL, serial_number TEXT NOT NULL,"
    " defect_code TEXT NOT NULL, value_text TEXT, PRIMARY KEY (spool_id, ordinal))",
};

// The SQLite ODBC driver reads a REAL back to 15 digits only: a reading is also kept as the
// shortest text that gives its double back, so that it is forwarded unchanged.
double ExactValue(const host::Recordset& rows) {
  const runtime::Variant text = rows.Field("value_text");
  if (text.IsNull()) return runtime::ToDouble(rows.Field("value"));
  const std::string exact = runtime::ToText(text);
  double value = 0;
  const auto [end, error] = std::from_chars(exact.data(), exact.data() + exact.size(), value);
  return error == std::errc() ? value : runtime::ToDouble(rows.Field("value"));
}

runtime::Variant GroupOf(const std::optional<SpcName>& name) {
  return name ? runtime::Variant(name->group) : runtime::Variant(runtime::Null);
}

runtime::Variant NameOf(const std::optional<SpcName>& name) {
  return name ? runtime::Variant(name->name) : runtime::Variant(runtime::Null);
}

std::string Text(const host::Recordset& rows, std::string_view field) {
  return runtime::ToText(rows.Field(field));
}

std::optional<SpcName> Named(const host::Recordset& rows, const char* group, const char* name) {
  if (rows.Field(name).IsNull()) return std::nullopt;
  return SpcName{Text(rows, group), Text(rows, name)};
}

int64_t Number(OdbcConnection& connection, const std::string& sql,
               const Parameters& parameters = {}) {
  return runtime::ToLong(connection.Execute(sql, parameters)->Field("n"));
}

// The rows of `database`: those kept for it, and those kept by versions that did not say
// which database they were for. "" takes every row.
const char* const kFor = " AND (spc_database IS NULL OR spc_database = ? OR ? = '')";

Parameters For(const std::string& database) {
  return {database, database};
}

runtime::Variant NullIfEmpty(const std::string& text) {
  return text.empty() ? runtime::Variant(runtime::Null) : runtime::Variant(text);
}

}  // namespace

SpcSpoolFile::SpcSpoolFile(const std::string& path) {
  std::string connection = "Driver=SQLite3;Timeout=5000";
  AppendConnectionKey(connection, "Database", path);
  connection_.Open(connection, "", "");
  file_ = SpcFile::Opened(connection_);
  connection_.Execute("PRAGMA busy_timeout=5000");
  // Takes effect only in a new file, before its first table.
  connection_.Execute("PRAGMA auto_vacuum=INCREMENTAL");
  // Spools of earlier versions are in WAL mode, whose log cannot be reused on a full disk
  // until a checkpoint has grown the file. They change over when opened while no one else
  // has them open (the change is refused otherwise) and work on as they are until then.
  try {
    connection_.Execute("PRAGMA journal_mode=PERSIST");
  } catch (const runtime::Error&) {
  }
  connection_.Execute("PRAGMA synchronous=FULL");
  connection_.Execute("PRAGMA foreign_keys=ON");
  for (const char* table : kTables) connection_.Execute(table);
  // Spools of earlier versions lack the later columns; what they hold has neither.
  const auto addColumn = [&](const std::string& table, const std::string& column,
                             const std::string& declaration) {
    for (auto found = connection_.Execute("PRAGMA table_info(" + table + ")"); !found->Eof();
         found->MoveNext()) {
      if (Text(*found, "name") == column) return;
    }
    connection_.Execute("ALTER TABLE " + table + " ADD COLUMN " + column + " " + declaration);
  };
  addColumn("spooled", "configuration_name", "TEXT");
  addColumn("spooled", "forwarded", "INTEGER NOT NULL DEFAULT 0");
  addColumn("spooled_readings", "value_text", "TEXT");
  addColumn("spooled", "spc_database", "TEXT");
}

void SpcSpoolFile::CopyTo(const std::string& path) {
  // VACUUM INTO takes an empty file as new: made here, owner-only.
  const int created = open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600);
  if (created < 0) {
    throw runtime::Error(runtime::kPathFileAccessError, "Cannot create " + path, "SpcSpoolFile");
  }
  close(created);
  try {
    connection_.Execute("VACUUM INTO ?", Parameters{path});
  } catch (...) {
    unlink(path.c_str());
    throw;
  }
}

template <typename Body>
void SpcSpoolFile::Transact(Body&& body) {
  connection_.Execute("BEGIN IMMEDIATE");
  try {
    body();
  } catch (...) {
    try {
      connection_.Execute("ROLLBACK");
    } catch (...) {
    }
    throw;
  }
  connection_.Execute("COMMIT");
}

void SpcSpoolFile::Append(const SpcSubgroupData& s, const std::string& key,
                          const std::string& database) {
  Transact([&] {
    connection_.Execute(
        "INSERT INTO spooled (idempotency_key, time_serial, size, session_number, part_group,"
        " part, process_group, process, job_group, job, shift_group, shift, lot,"
        " configuration_name, spc_database) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
        Parameters{
            key, s.time.serial, s.size, s.sessionNumber, GroupOf(s.part), NameOf(s.part),
            GroupOf(s.process), NameOf(s.process), GroupOf(s.job), NameOf(s.job), GroupOf(s.shift),
            NameOf(s.shift), s.lot ? runtime::Variant(*s.lot) : runtime::Variant(runtime::Null),
            s.configuration ? runtime::Variant(*s.configuration) : runtime::Variant(runtime::Null),
            NullIfEmpty(database)});
    const runtime::Variant id =
        connection_.Execute("SELECT last_insert_rowid() AS id")->Field("id");
    auto descriptor = connection_.Prepare(
        "INSERT INTO spooled_descriptors (spool_id, ordinal, group_name, name)"
        " VALUES (?, ?, ?, ?)");
    int32_t ordinal = 0;
    for (const SpcName& name : s.descriptors) {
      descriptor->Execute({id, ++ordinal, name.group, name.name});
    }
    auto reading = connection_.Prepare(
        "INSERT INTO spooled_readings (spool_id, ordinal, test_group, test, sample, value,"
        " serial_number, defect_code, value_text) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
    ordinal = 0;
    for (const SpcReading& r : s.readings) {
      reading->Execute({id, ++ordinal, r.testGroup, r.test, r.sample, r.value, r.serialNumber,
                        r.defect, runtime::ExactNumberText(r.value)});
    }
  });
}

std::vector<SpooledSubgroup> SpcSpoolFile::Oldest(const std::string& database, size_t most,
                                                  size_t mostReadings) {
  std::vector<SpooledSubgroup> oldest;
  const Parameters parameters{database, database, static_cast<int32_t>(most)};
  size_t readings = 0;
  for (auto row = connection_.Execute(
           std::string("SELECT s.*, (SELECT COUNT(*) FROM spooled_readings r"
                       " WHERE r.spool_id = s.id) AS reading_count FROM spooled s"
                       " WHERE refused IS NULL AND forwarded = 0") +
               kFor + " ORDER BY id LIMIT ?",
           parameters);
       !row->Eof(); row->MoveNext()) {
    readings += runtime::ToLong(row->Field("reading_count"));
    if (!oldest.empty() && readings > mostReadings) break;
    SpooledSubgroup& spooled = oldest.emplace_back();
    spooled.id = runtime::ToLong(row->Field("id"));
    spooled.key = Text(*row, "idempotency_key");
    SpcSubgroupData& s = spooled.data;
    s.time = runtime::Date{runtime::ToDouble(row->Field("time_serial"))};
    s.size = runtime::ToLong(row->Field("size"));
    s.sessionNumber = runtime::ToLong(row->Field("session_number"));
    s.part = Named(*row, "part_group", "part");
    s.process = Named(*row, "process_group", "process");
    s.job = Named(*row, "job_group", "job");
    s.shift = Named(*row, "shift_group", "shift");
    if (!row->Field("lot").IsNull()) s.lot = Text(*row, "lot");
    if (!row->Field("configuration_name").IsNull()) {
      s.configuration = Text(*row, "configuration_name");
    }
  }
  for (SpooledSubgroup& spooled : oldest) {
    SpcSubgroupData& s = spooled.data;
    const Parameters id{spooled.id};
    for (auto d = connection_.Execute(
             "SELECT group_name, name FROM spooled_descriptors WHERE spool_id = ? ORDER BY ordinal",
             id);
         !d->Eof(); d->MoveNext()) {
      s.descriptors.push_back({Text(*d, "group_name"), Text(*d, "name")});
    }
    for (auto r = connection_.Execute(
             "SELECT * FROM spooled_readings WHERE spool_id = ? ORDER BY ordinal", id);
         !r->Eof(); r->MoveNext()) {
      s.readings.push_back({Text(*r, "test_group"), Text(*r, "test"),
                            runtime::ToLong(r->Field("sample")), ExactValue(*r),
                            Text(*r, "serial_number"), Text(*r, "defect_code")});
    }
  }
  return oldest;
}

void SpcSpoolFile::MarkForwarded(const std::vector<int32_t>& ids) {
  // 0 and 1 take no bytes in a row: the row keeps its size and its page.
  Transact([&] {
    auto mark = connection_.Prepare("UPDATE spooled SET forwarded = 1 WHERE id = ?");
    for (int32_t id : ids) mark->Execute({id});
  });
}

void SpcSpoolFile::DeleteForwarded() {
  if (Number(connection_, "SELECT COUNT(*) AS n FROM spooled WHERE forwarded = 1") == 0) return;
  try {
    Transact([&] { connection_.Execute("DELETE FROM spooled WHERE forwarded = 1"); });
  } catch (const runtime::Error&) {
    // On a disk too full for all at once, a few readings at a time: each step gives its pages
    // back before the next needs room, and journals few enough pages to fit in the journal
    // the earlier writes left (a whole large subgroup may not). The first that does not fit
    // ends it.
    for (;;) {
      auto oldest = connection_.Execute("SELECT MIN(id) AS id FROM spooled WHERE forwarded = 1");
      const runtime::Variant id = oldest->Field("id");
      if (id.IsNull()) break;
      for (int64_t deleted = 1; deleted > 0;) {
        Transact([&] {
          deleted = connection_
                        .Prepare(
                            "DELETE FROM spooled_readings WHERE rowid IN (SELECT rowid FROM "
                            "spooled_readings WHERE spool_id = ? ORDER BY ordinal LIMIT 16)")
                        ->Execute({id});
        });
        FreePages();
      }
      Transact([&] { connection_.Execute("DELETE FROM spooled WHERE id = ?", Parameters{id}); });
      FreePages();
    }
  }
  FreePages();
}

void SpcSpoolFile::FreePages() {
  // One page a row.
  for (auto freed = connection_.Execute("PRAGMA incremental_vacuum"); !freed->Eof();)
    freed->MoveNext();
}

int64_t SpcSpoolFile::UsedBytes() {
  return (Number(connection_, "SELECT page_count AS n FROM pragma_page_count") -
          Number(connection_, "SELECT freelist_count AS n FROM pragma_freelist_count")) *
         Number(connection_, "SELECT page_size AS n FROM pragma_page_size");
}

void SpcSpoolFile::Refuse(int32_t id, const std::string& reason) {
  Transact([&] {
    connection_.Execute("UPDATE spooled SET refused = ? WHERE id = ?", Parameters{reason, id});
  });
}

void SpcSpoolFile::ClearRefusals(const std::string& database) {
  // Only those: a row written again needs room that a full disk does not have.
  Transact([&] {
    connection_.Execute(
        std::string("UPDATE spooled SET refused = NULL WHERE refused IS NOT NULL") + kFor,
        For(database));
  });
}

int64_t SpcSpoolFile::Count(const std::string& database) {
  return Number(connection_,
                std::string("SELECT COUNT(*) AS n FROM spooled WHERE forwarded = 0") + kFor,
                For(database));
}

int64_t SpcSpoolFile::Waiting(const std::string& database) {
  return Number(
      connection_,
      std::string("SELECT COUNT(*) AS n FROM spooled WHERE refused IS NULL AND forwarded = 0") +
          kFor,
      For(database));
}

std::vector<SpoolEntry> SpcSpoolFile::List() {
  std::vector<SpoolEntry> entries;
  for (auto row = connection_.Execute(
           "SELECT s.id, s.time_serial, s.session_number, s.refused, s.spc_database,"
           " (SELECT COUNT(*) FROM spooled_readings r WHERE r.spool_id = s.id) AS readings"
           " FROM spooled s WHERE s.forwarded = 0 ORDER BY s.id");
       !row->Eof(); row->MoveNext()) {
    entries.push_back({runtime::ToLong(row->Field("id")),
                       runtime::Date{runtime::ToDouble(row->Field("time_serial"))},
                       runtime::ToLong(row->Field("session_number")),
                       runtime::ToLong(row->Field("readings")),
                       row->Field("refused").IsNull() ? "" : Text(*row, "refused"),
                       row->Field("spc_database").IsNull() ? "" : Text(*row, "spc_database")});
  }
  return entries;
}

int64_t SpcSpoolFile::CountBefore(runtime::Date time) {
  return runtime::ToLong(
      connection_
          .Execute("SELECT COUNT(*) AS n FROM spooled WHERE time_serial < ? AND forwarded = 0",
                   Parameters{time.serial})
          ->Field("n"));
}

int64_t SpcSpoolFile::RemoveBefore(runtime::Date time) {
  int64_t removed = 0;
  Transact([&] {
    removed = CountBefore(time);
    connection_.Execute("DELETE FROM spooled WHERE time_serial < ?", Parameters{time.serial});
  });
  return removed;
}

}  // namespace platform
