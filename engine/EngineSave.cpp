#include <cstdint>
#include <limits>
#include <optional>

#include "common/DescriptorType.h"
#include "common/TypeTables.h"
#include "engine/Engine1.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace engine {
namespace {

constexpr int32_t kSample = 1;

// The subgroup's descriptor kind of the types that carry a group and a name.
std::optional<host::DescriptorKind> KindOf(int32_t type) {
  switch (type) {
    case common::kPart:
      return host::DescriptorKind::Part;
    case common::kProcess:
      return host::DescriptorKind::Process;
    case common::kJob:
      return host::DescriptorKind::Job;
    case common::kShift:
      return host::DescriptorKind::Shift;
    case common::kUserDefined:
      return host::DescriptorKind::UserDefined;
    default:
      return std::nullopt;
  }
}

int16_t SampleNumber(int32_t occurrence) {
  if (occurrence > std::numeric_limits<int16_t>::max()) throw runtime::Error(runtime::kOverflow);
  return static_cast<int16_t>(occurrence);
}

}  // namespace

// Reports under "StopEngine", the name log readers know the save's preparation by. A
// failure here does not stop the save: it fails later on the missing subgroup object.
void Engine1::PrepareSubgroup() {
  Trapped("StopEngine", [&] {
    if (!subgroup_) {
      subgroup_ = components_.CreateSubgroup();
      if (!subgroup_) throw runtime::Error(runtime::kObjectNotSet);
      subgroup_->SetFlag(true);
    }
    subgroup_->SetDatabase(Configuration().Database());
    subgroup_->Clear();
  });
}

bool Engine1::SaveSubgroup() {
  return Trapped("SaveSubgroup", [&] {
    PrepareSubgroup();
    const config::Configuration1& configuration = Configuration();
    for (int32_t i = 1; i <= configuration.DescriptorCount(); ++i) {
      const config::DescriptorItem& descriptor = *configuration.GetDescriptorItem(i);
      const std::string message = InvalidDescriptor(descriptor);
      if (!message.empty()) {
        LogError("Invalid Descriptor",
                 "Unable to resolve " + common::GetDescriptorType(descriptor.DescriptorType()),
                 message);
        return false;
      }
    }
    for (int32_t i = 1; i <= configuration.TestCount(); ++i) {
      const std::string message = InvalidCharacteristic(*configuration.GetTestItem(i));
      if (!message.empty()) {
        LogError("Invalid Characteristic", "Unable to resolve Characteristic", message);
        return false;
      }
    }

    try {
      StoreSubgroup();
    } catch (...) {
      LogError(runtime::ToError(std::current_exception()).NumberAndDescription(),
               "Subgroup Save Error", "");
      return false;
    }
    return true;
  });
}

// An unresolved group names its template; an unresolved item is reported as "False", not
// by its template, which is the text the log has always carried for it.
std::string Engine1::InvalidDescriptor(const config::DescriptorItem& descriptor) const {
  if (common::HasGroup(descriptor.DescriptorType()) && descriptor.ResolvedGroup(kSample).empty()) {
    return "Group: " + descriptor.Group();
  }
  if (descriptor.ResolvedItem(kSample).empty()) return "False";
  return "";
}

// Only emptiness is checked; an empty defect template needs no defect.
std::string Engine1::InvalidCharacteristic(const config::TestItem& test) {
  if (test.ResolvedGroup(kSample).empty()) return "Group: " + test.Group();
  if (test.ResolvedItem(kSample).empty()) return "Item: " + test.Item();
  if (test.ResolvedValue(kSample).empty()) return "Value: " + test.Value();
  if (!test.Defect().empty() && test.ResolvedDefect(kSample).empty()) {
    return "Defect: " + test.Defect();
  }
  return "";
}

void Engine1::StoreSubgroup() {
  if (!subgroup_) throw runtime::Error(runtime::kObjectNotSet);
  host::HostSubgroup& subgroup = *subgroup_;
  const config::Configuration1& configuration = Configuration();

  std::string serialNumber;
  for (int32_t i = 1; i <= configuration.DescriptorCount(); ++i) {
    const config::DescriptorItem& descriptor = *configuration.GetDescriptorItem(i);
    const int32_t type = descriptor.DescriptorType();
    const std::string item = descriptor.ResolvedItem(kSample);
    if (const auto kind = KindOf(type)) {
      subgroup.SetGroup(*kind, descriptor.ResolvedGroup(kSample));
      subgroup.SetName(*kind, item);
    } else if (type == common::kSerialNumber) {
      serialNumber = item;
    } else if (type == common::kSize) {
      subgroup.SetSize(runtime::ToLong(item));
    } else if (type == common::kTime) {
      subgroup.SetTime(runtime::ToDate(item));
    }
  }
  // Lots go last, wherever they stand in the configuration.
  for (int32_t i = 1; i <= configuration.DescriptorCount(); ++i) {
    const config::DescriptorItem& descriptor = *configuration.GetDescriptorItem(i);
    if (descriptor.DescriptorType() == common::kLot) {
      subgroup.SetLot(descriptor.ResolvedItem(kSample));
    }
  }

  {
    // Gone before the save, which holds the readings once more. In blocks: one list of
    // 50,000 entries would need 2 MB in one piece, more than the heap has free between
    // what stays.
    std::deque<TestEntry> entries;
    for (int32_t i = 1; i <= configuration.TestCount(); ++i) {
      const config::TestItem& test = *configuration.GetTestItem(i);
      entries.push_back({test.ResolvedGroup(kSample), test.ResolvedItem(kSample),
                         runtime::ToDouble(test.ResolvedValue(kSample)),
                         test.ResolvedDefect(kSample)});
    }
    ProcessTestItems(entries);
    for (const TestEntry& entry : entries) {
      subgroup.LookupTestGroup(entry.group);
      subgroup.LookupTest(entry.item);
      subgroup.AddReading(entry.value, SampleNumber(entry.occurrence), 0, serialNumber,
                          entry.defect);
    }
  }
  subgroup.Save(0);

  if (status_.savedSubgroups == std::numeric_limits<int32_t>::max()) {
    throw runtime::Error(runtime::kOverflow);
  }
  ++status_.savedSubgroups;
  status_.lastSavedSubgroup = runtime::Now();
  SubgroupSaved.Raise();
}

}  // namespace engine
