// Reading saved subgroups back, with the names of their records, for people who look at
// what was collected (the host program's "subgroups" command) and for tests.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupData.h"

namespace platform {

// The last `count` subgroups saved into the database, oldest first, each with its
// descriptors and readings in the order they were saved. A part, process, job or shift
// reads with the group it belongs to in the database.
std::vector<SpcSubgroupData> ReadSubgroups(SpcSession& session, int32_t count);

}  // namespace platform
