#include "platform/spcdb/SpcRecord.h"

#include <utility>

#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcTables.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace platform {
namespace {

bool Selected(int32_t selector) {
  if (selector != 0 && selector != 1) {
    throw runtime::Error(
        runtime::kInvalidProcedureCall,
        "A key selector is 1 (look up by the key) or 0, not " + std::to_string(selector),
        "SpcRecord");
  }
  return selector == 1;
}

void RequireGroupKind(const SpcTable& table) {
  if (!table.group) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         std::string("A ") + table.label + " belongs to no group", "SpcRecord");
  }
}

SpcSession& AsSpcSession(host::DatabaseSession& database) {
  auto* session = dynamic_cast<SpcSession*>(&database);
  if (!session) {
    throw runtime::Error(runtime::kTypeMismatch,
                         "The database is not a session of the SPC database", "SpcRecord");
  }
  return *session;
}

std::string SelectFrom(const SpcTable& table) {
  return std::string("SELECT id, name") + (table.group ? ", group_id" : "") + " FROM " + table.name;
}

SpcRecord ReadRecord(host::RecordKind kind, const SpcTable& table, const host::Recordset& rows) {
  return SpcRecord(kind, runtime::ToLong(rows.Field("id")), runtime::ToText(rows.Field("name")),
                   table.group ? runtime::ToLong(rows.Field("group_id")) : 0);
}

}  // namespace

SpcRecord::SpcRecord(host::RecordKind kind, int32_t id, std::string name, int32_t groupId)
    : kind_(kind), loadedId_(id), loadedName_(std::move(name)), loadedGroupId_(groupId) {}

void SpcRecord::SetNameKey(int32_t selector) {
  nameKey_ = Selected(selector);
}

void SpcRecord::SetIdKey(int32_t selector) {
  idKey_ = Selected(selector);
}

void SpcRecord::SetGroupIdKey(int32_t selector) {
  if (Selected(selector)) RequireGroupKind(TableOf(kind_));
  groupIdKey_ = selector == 1;
}

bool SpcRecord::Load(host::DatabaseSession& database, int32_t) {
  const SpcTable& table = TableOf(kind_);
  std::string sql = SelectFrom(table);
  std::vector<runtime::Variant> parameters;
  auto addKey = [&](const char* condition, runtime::Variant value) {
    sql += parameters.empty() ? " WHERE " : " AND ";
    sql += condition;
    parameters.push_back(std::move(value));
  };
  if (nameKey_) addKey("name_key = ?", runtime::FoldCase(name_));
  if (idKey_) addKey("id = ?", id_);
  if (groupIdKey_) addKey("group_id = ?", groupId_);
  if (parameters.empty()) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "No key is selected for loading the " + std::string(table.label),
                         "SpcRecord.Load");
  }
  SpcSession& session = AsSpcSession(database);
  Adopt(SpcRecord(kind_));
  session.Use([&](SpcLink& link) {
    auto rows = link.Connection().Execute(sql, parameters);
    if (!rows->Eof()) Adopt(ReadRecord(kind_, table, *rows));
  });
  return loadedId_ != 0;
}

void SpcRecord::Adopt(const SpcRecord& found) {
  loadedId_ = found.loadedId_;
  loadedName_ = found.loadedName_;
  loadedGroupId_ = found.loadedGroupId_;
}

runtime::Variant SpcRecord::Field(std::string_view name) const {
  const SpcTable& table = TableOf(kind_);
  if (runtime::EqualsNoCase(name, "Name")) return loadedName_;
  if (runtime::EqualsNoCase(name, "Id")) return loadedId_;
  if (table.groupField && runtime::EqualsNoCase(name, table.groupField)) return loadedGroupId_;
  throw runtime::Error(
      runtime::kItemNotFound,
      "The " + std::string(table.label) + " record has no field \"" + std::string(name) + "\"",
      "SpcRecord.Field");
}

std::vector<SpcRecord> ListRecords(SpcSession& session, host::RecordKind kind, int32_t groupId) {
  const SpcTable& table = TableOf(kind);
  std::string sql = SelectFrom(table);
  std::vector<runtime::Variant> parameters;
  if (groupId != 0) {
    RequireGroupKind(table);
    sql += " WHERE group_id = ?";
    parameters.emplace_back(groupId);
  }
  sql += " ORDER BY name, id";
  std::vector<SpcRecord> records;
  session.Use([&](SpcLink& link) {
    records.clear();
    for (auto rows = link.Connection().Execute(sql, parameters); !rows->Eof(); rows->MoveNext()) {
      records.push_back(ReadRecord(kind, table, *rows));
    }
  });
  return records;
}

}  // namespace platform
