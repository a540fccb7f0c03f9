#include "platform/spcdb/SpcCatalog.h"

#include <vector>

#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

std::string Key(const SpcTable& table, const std::string& name, int32_t groupId) {
  return std::string(table.name) + '\x1f' + std::to_string(groupId) + '\x1f' +
         runtime::FoldCase(name);
}

void RequireName(const SpcTable& table, const std::string& name) {
  if (name.empty()) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         std::string("The ") + table.label + " name is empty", "SpcCatalog");
  }
}

}  // namespace

int32_t SpcCatalog::Find(const SpcTable& table, const std::string& name, int32_t groupId) {
  if (!table.namedWithinGroup) groupId = 0;
  std::string key = Key(table, name, groupId);
  if (auto it = known_.find(key); it != known_.end()) return it->second;
  if (auto it = pending_.find(key); it != pending_.end()) return it->second;
  int32_t id = Query(table, name, groupId);
  if (id != 0) (inTransaction_ ? pending_ : known_).emplace(std::move(key), id);
  return id;
}

int32_t SpcCatalog::FindOrCreate(const SpcTable& table, const std::string& name,
                                 const std::string& group) {
  RequireName(table, name);
  int32_t groupId = 0;
  if (table.namedWithinGroup) groupId = FindOrCreate(*table.group, group);
  int32_t id = Find(table, name, groupId);
  if (id != 0) return id;
  Create(table, name, group);
  id = Find(table, name, groupId);
  if (id == 0) {
    throw runtime::Error(
        runtime::kInvalidProcedureCall,
        std::string("The ") + table.label + " \"" + name + "\" could not be created", "SpcCatalog");
  }
  return id;
}

void SpcCatalog::BeginTransaction() {
  pending_.clear();
  inTransaction_ = true;
}

void SpcCatalog::Commit() {
  known_.merge(pending_);
  pending_.clear();
  inTransaction_ = false;
}

void SpcCatalog::Discard() {
  pending_.clear();
  inTransaction_ = false;
}

int32_t SpcCatalog::Query(const SpcTable& table, const std::string& name, int32_t groupId) {
  std::string sql = std::string("SELECT id FROM ") + table.name + " WHERE name_key = ?";
  std::vector<runtime::Variant> parameters{runtime::FoldCase(name)};
  if (table.namedWithinGroup) {
    sql += " AND group_id = ?";
    parameters.emplace_back(groupId);
  }
  auto rows = connection_.Execute(sql, parameters);
  return rows->Eof() ? 0 : runtime::ToLong(rows->Field("id"));
}

void SpcCatalog::Create(const SpcTable& table, const std::string& name, const std::string& group) {
  // ON CONFLICT: another session may create the same name at the same time.
  if (!table.group) {
    connection_.Execute(std::string("INSERT INTO ") + table.name +
                            " (name, name_key) VALUES (?, ?) ON CONFLICT DO NOTHING",
                        std::vector<runtime::Variant>{name, runtime::FoldCase(name)});
    return;
  }
  if (group.empty()) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         std::string("The ") + table.label + " \"" + name +
                             "\" is not in the SPC database and no " + table.group->label +
                             " was given to create it in",
                         "SpcCatalog");
  }
  int32_t groupId = FindOrCreate(*table.group, group);
  connection_.Execute(std::string("INSERT INTO ") + table.name +
                          " (name, name_key, group_id) VALUES (?, ?, ?) ON CONFLICT DO NOTHING",
                      std::vector<runtime::Variant>{name, runtime::FoldCase(name), groupId});
}

}  // namespace platform
