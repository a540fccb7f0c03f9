// Looking up a part, process, test, job, shift or descriptor, or a group of one of them,
// in the host SPC database by name or group identifier, for the dialogs that let a user
// type a fixed name. Each call creates a new host record object, loads it and hands it
// to the caller, who reads its identifier (0: not found) and name. A fault ends the
// look-up early: the result is then no object or a record that was never loaded, and
// the caller treats both like a name that was not found.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/Components.h"

namespace common {

using RecordPtr = std::unique_ptr<host::HostRecord>;
using DatabasePtr = std::shared_ptr<host::DatabaseSession>;

RecordPtr ResolvePartName(host::Components& components, const DatabasePtr& database,
                          const std::string& name);
RecordPtr ResolvePartGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name);
RecordPtr ResolvePrcsName(host::Components& components, const DatabasePtr& database,
                          const std::string& name);
RecordPtr ResolvePrcsGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name);
RecordPtr ResolveTestName(host::Components& components, const DatabasePtr& database,
                          const std::string& name);
RecordPtr ResolveTestGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name);
RecordPtr ResolveJobName(host::Components& components, const DatabasePtr& database,
                         const std::string& name);
RecordPtr ResolveJobGroupName(host::Components& components, const DatabasePtr& database,
                              const std::string& name);
RecordPtr ResolveShftName(host::Components& components, const DatabasePtr& database,
                          const std::string& name);
RecordPtr ResolveShftGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name);
// A descriptor is found only within the descriptor group `groupId`.
RecordPtr ResolveDescName(host::Components& components, const DatabasePtr& database,
                          const std::string& name, int32_t groupId);
RecordPtr ResolveDescGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name);

RecordPtr ResolvePartGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId);
RecordPtr ResolvePrcsGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId);
RecordPtr ResolveTestGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId);
RecordPtr ResolveJobGroupID(host::Components& components, const DatabasePtr& database,
                            int32_t groupId);
RecordPtr ResolveShftGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId);
RecordPtr ResolveDescGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId);

}  // namespace common
