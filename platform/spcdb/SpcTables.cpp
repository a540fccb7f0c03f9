#include "platform/spcdb/SpcTables.h"

namespace platform {
namespace {

constexpr SpcTable kPartGroups{"part_groups", "part group", nullptr, nullptr, false};
constexpr SpcTable kProcessGroups{"process_groups", "process group", nullptr, nullptr, false};
constexpr SpcTable kTestGroups{"test_groups", "test group", nullptr, nullptr, false};
constexpr SpcTable kJobGroups{"job_groups", "job group", nullptr, nullptr, false};
constexpr SpcTable kShiftGroups{"shift_groups", "shift group", nullptr, nullptr, false};
constexpr SpcTable kDescriptorGroups{"descriptor_groups", "descriptor group", nullptr, nullptr,
                                     false};

constexpr SpcTable kParts{"parts", "part", &kPartGroups, "Ptgp", false};
constexpr SpcTable kProcesses{"processes", "process", &kProcessGroups, "Prgp", false};
constexpr SpcTable kTests{"tests", "test", &kTestGroups, "Tsgp", false};
constexpr SpcTable kJobs{"jobs", "job", &kJobGroups, "Jbgp", false};
constexpr SpcTable kShifts{"shifts", "shift", &kShiftGroups, "Shgp", false};
constexpr SpcTable kDescriptors{"descriptors", "descriptor", &kDescriptorGroups, "Dsgp", true};

constexpr SpcTable kLots{"lots", "lot", nullptr, nullptr, false};

}  // namespace

const SpcTable& TableOf(host::RecordKind kind) {
  using host::RecordKind;
  switch (kind) {
    case RecordKind::Part:
      return kParts;
    case RecordKind::PartGroup:
      return kPartGroups;
    case RecordKind::Process:
      return kProcesses;
    case RecordKind::ProcessGroup:
      return kProcessGroups;
    case RecordKind::Test:
      return kTests;
    case RecordKind::TestGroup:
      return kTestGroups;
    case RecordKind::Job:
      return kJobs;
    case RecordKind::JobGroup:
      return kJobGroups;
    case RecordKind::Shift:
      return kShifts;
    case RecordKind::ShiftGroup:
      return kShiftGroups;
    case RecordKind::Descriptor:
      return kDescriptors;
    case RecordKind::DescriptorGroup:
      break;
  }
  return kDescriptorGroups;
}

const SpcTable& LotTable() {
  return kLots;
}

const std::vector<const SpcTable*>& NamedTables() {
  static const std::vector<const SpcTable*> tables = {
      &kPartGroups,       &kProcessGroups, &kTestGroups, &kJobGroups, &kShiftGroups,
      &kDescriptorGroups, &kParts,         &kProcesses,  &kTests,     &kJobs,
      &kShifts,           &kDescriptors,   &kLots};
  return tables;
}

}  // namespace platform
