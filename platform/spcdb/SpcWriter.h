// Storing one subgroup: its names resolved to identifiers (created on first use), then
// the subgroup row, its descriptors and its readings.
#pragma once

#include <cstdint>
#include <string>

#include "platform/spcdb/SpcLink.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcSubgroupId.h"
#include "platform/spcdb/SpcTables.h"
#include "runtime/Error.h"

namespace platform {

struct SpcWritten {
  SpcSubgroupId id = 0;
  // A subgroup with the key was there already: nothing was written.
  bool existed = false;
};

// Stores `subgroup` inside the transaction the caller holds on `link` and gives the new
// subgroup's identifier (`subgroup.id` is not used). With `strictTests`, a test the
// database does not know is an error instead of being created. A non-empty `key` is stored
// with the subgroup; when a subgroup with that key is there already, nothing is written and
// its identifier is given.
SpcWritten WriteSubgroup(SpcLink& link, const SpcSubgroupData& subgroup, bool strictTests,
                         const std::string& key = {});

// The error of a name the database does not know where it is not created.
runtime::Error UnknownName(const SpcTable& table, const std::string& name);

}  // namespace platform
