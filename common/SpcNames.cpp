#include "common/SpcNames.h"

#include <functional>

#include "runtime/Error.h"

namespace common {
namespace {

using host::RecordKind;

// Creates a record of `kind`, sets its keys and loads it. The load's own result is not
// examined: the caller reads the identifier.
RecordPtr Resolve(host::Components& components, const DatabasePtr& database, RecordKind kind,
                  const std::function<void(host::HostRecord&)>& setKeys) {
  RecordPtr record;
  try {
    record = components.CreateRecord(kind);
    setKeys(*record);
    if (!database) throw runtime::Error(runtime::kObjectNotSet);
    record->Load(*database, 0);
  } catch (...) {
    // The record stays as it is, unloaded or missing: both read as "not found".
  }
  return record;
}

RecordPtr ByName(host::Components& components, const DatabasePtr& database, RecordKind kind,
                 const std::string& name) {
  return Resolve(components, database, kind, [&](host::HostRecord& record) {
    record.SetName(name);
    record.SetNameKey(1);
  });
}

RecordPtr ById(host::Components& components, const DatabasePtr& database, RecordKind kind,
               int32_t id) {
  return Resolve(components, database, kind, [&](host::HostRecord& record) {
    record.SetId(id);
    record.SetIdKey(1);
  });
}

}  // namespace

RecordPtr ResolvePartName(host::Components& components, const DatabasePtr& database,
                          const std::string& name) {
  return ByName(components, database, RecordKind::Part, name);
}

RecordPtr ResolvePartGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name) {
  return ByName(components, database, RecordKind::PartGroup, name);
}

RecordPtr ResolvePrcsName(host::Components& components, const DatabasePtr& database,
                          const std::string& name) {
  return ByName(components, database, RecordKind::Process, name);
}

RecordPtr ResolvePrcsGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name) {
  return ByName(components, database, RecordKind::ProcessGroup, name);
}

RecordPtr ResolveTestName(host::Components& components, const DatabasePtr& database,
                          const std::string& name) {
  return ByName(components, database, RecordKind::Test, name);
}

RecordPtr ResolveTestGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name) {
  return ByName(components, database, RecordKind::TestGroup, name);
}

RecordPtr ResolveJobName(host::Components& components, const DatabasePtr& database,
                         const std::string& name) {
  return ByName(components, database, RecordKind::Job, name);
}

RecordPtr ResolveJobGroupName(host::Components& components, const DatabasePtr& database,
                              const std::string& name) {
  return ByName(components, database, RecordKind::JobGroup, name);
}

RecordPtr ResolveShftName(host::Components& components, const DatabasePtr& database,
                          const std::string& name) {
  return ByName(components, database, RecordKind::Shift, name);
}

RecordPtr ResolveShftGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name) {
  return ByName(components, database, RecordKind::ShiftGroup, name);
}

RecordPtr ResolveDescName(host::Components& components, const DatabasePtr& database,
                          const std::string& name, int32_t groupId) {
  return Resolve(components, database, RecordKind::Descriptor, [&](host::HostRecord& record) {
    record.SetName(name);
    record.SetNameKey(1);
    record.SetGroupId(groupId);
    record.SetGroupIdKey(1);
  });
}

RecordPtr ResolveDescGroupName(host::Components& components, const DatabasePtr& database,
                               const std::string& name) {
  return ByName(components, database, RecordKind::DescriptorGroup, name);
}

RecordPtr ResolvePartGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId) {
  return ById(components, database, RecordKind::PartGroup, groupId);
}

RecordPtr ResolvePrcsGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId) {
  return ById(components, database, RecordKind::ProcessGroup, groupId);
}

RecordPtr ResolveTestGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId) {
  return ById(components, database, RecordKind::TestGroup, groupId);
}

RecordPtr ResolveJobGroupID(host::Components& components, const DatabasePtr& database,
                            int32_t groupId) {
  return ById(components, database, RecordKind::JobGroup, groupId);
}

RecordPtr ResolveShftGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId) {
  return ById(components, database, RecordKind::ShiftGroup, groupId);
}

RecordPtr ResolveDescGroupID(host::Components& components, const DatabasePtr& database,
                             int32_t groupId) {
  return ById(components, database, RecordKind::DescriptorGroup, groupId);
}

}  // namespace common
