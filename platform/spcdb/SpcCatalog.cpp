#include "platform/spcdb/SpcCatalog.h"

#include <vector>

#include "runtime/Error.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

void RequireName(const SpcTable& table, const std::string& name) {
  if (name.empty()) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         std::string("The ") + table.label + " name is empty", "SpcCatalog");
  }
}

}  // namespace

int32_t SpcCatalog::Find(const SpcTable& table, const std::string& name, int32_t groupId) {
  if (!table.namedWithinGroup) groupId = 0;
  const Scope scope{table.name, groupId};
  std::string key = runtime::FoldCase(name);
  if (int32_t id = Known(known_, scope, key)) return id;
  if (int32_t id = Known(pending_, scope, key)) return id;
  int32_t id = Query(table, key, groupId);
  if (id != 0) (inTransaction_ ? pending_ : known_)[scope].emplace(std::move(key), id);
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
  for (auto& [scope, ids] : pending_) known_[scope].merge(ids);
  pending_.clear();
  inTransaction_ = false;
}

void SpcCatalog::Discard() {
  pending_.clear();
  inTransaction_ = false;
}

void SpcCatalog::DiscardPending() {
  pending_.clear();
}

int32_t SpcCatalog::Known(const Ids& ids, const Scope& scope, const std::string& nameKey) {
  auto names = ids.find(scope);
  if (names == ids.end()) return 0;
  auto it = names->second.find(nameKey);
  return it == names->second.end() ? 0 : it->second;
}

int32_t SpcCatalog::Query(const SpcTable& table, const std::string& nameKey, int32_t groupId) {
  std::string sql = std::string("SELECT id FROM ") + table.name + " WHERE name_key = ?";
  std::vector<runtime::Variant> parameters{nameKey};
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
