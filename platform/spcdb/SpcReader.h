// Reading saved subgroups back, with the names of their records, for people who look at
// what was collected (the host program's "subgroups" command) and for tests.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcSubgroupId.h"

namespace platform {

// The last `count` subgroups saved into the database, oldest first, each with its
// descriptors and readings in the order they were saved. A part, process, job or shift
// reads with the group it belongs to in the database.
std::vector<SpcSubgroupData> ReadSubgroups(SpcSession& session, int32_t count);

// The subgroups with identifiers from `first` to `last`, in identifier order, read as
// ReadSubgroups reads them.
std::vector<SpcSubgroupData> ReadSubgroupRange(SpcSession& session, SpcSubgroupId first,
                                               SpcSubgroupId last);

// Up to `limit` identifiers above `after`, ascending: a cheap look for new subgroups.
std::vector<SpcSubgroupId> SubgroupIdsAfter(SpcSession& session, SpcSubgroupId after,
                                            int32_t limit);

// The highest identifier saved; 0 for an empty database.
SpcSubgroupId LastSubgroupId(SpcSession& session);

}  // namespace platform
