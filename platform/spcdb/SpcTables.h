// Where each kind of named record lives: its table, the table of its groups, and the
// field name under which the host's dialogs read its group identifier.
#pragma once

#include <vector>

#include "host/HostRecord.h"

namespace platform {

struct SpcTable {
  const char* name;
  // What a record is called in messages ("part group").
  const char* label;
  // The table of the groups the records belong to; null for groups and lots.
  const SpcTable* group;
  // The group identifier's field name ("Ptgp"); null without a group.
  const char* groupField;
  // Descriptor names are unique within their group; all other names in their table. Names
  // are unique and found without regard to case, through their folded key (name_key).
  bool namedWithinGroup;
};

const SpcTable& TableOf(host::RecordKind kind);
const SpcTable& LotTable();
// Every table of named records: the groups first, then their records, then lots.
const std::vector<const SpcTable*>& NamedTables();

}  // namespace platform
