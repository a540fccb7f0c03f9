// Identifiers of named records (parts, tests, groups, lots, ...) by name, created on
// first use where asked. Identifiers found once are kept for the life of the connection,
// since this system never renames or removes a record; those learned inside a
// transaction are kept only when it commits.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcTables.h"

namespace platform {

class SpcCatalog {
 public:
  explicit SpcCatalog(OdbcConnection& connection) : connection_(connection) {}

  // The identifier of `name` in `table`, within the group `groupId` where names are
  // unique only within their group; 0 when there is none.
  int32_t Find(const SpcTable& table, const std::string& name, int32_t groupId = 0);
  // Finds `name` or creates it, in the group named `group` (created too when missing). An
  // existing record is used as it is, whatever group it belongs to; descriptors are
  // looked for within `group`. Runs inside a transaction.
  int32_t FindOrCreate(const SpcTable& table, const std::string& name,
                       const std::string& group = {});

  void BeginTransaction();
  void Commit();
  // Forgets what the failed transaction taught.
  void Discard();
  // Forgets what the transaction taught so far, when a part of it was undone; it goes on.
  void DiscardPending();

 private:
  // Names are unique within a table, or within one group of it: a table's name and the
  // group's identifier (0 for the whole table). Identifiers there by folded name.
  using Scope = std::pair<std::string_view, int32_t>;
  using Ids = std::map<Scope, std::unordered_map<std::string, int32_t>>;

  static int32_t Known(const Ids& ids, const Scope& scope, const std::string& nameKey);
  int32_t Query(const SpcTable& table, const std::string& nameKey, int32_t groupId);
  void Create(const SpcTable& table, const std::string& name, const std::string& group);

  OdbcConnection& connection_;
  Ids known_;
  Ids pending_;
  bool inTransaction_ = false;
};

}  // namespace platform
