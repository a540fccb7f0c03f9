#include "platform/spcdb/SpcWriter.h"

#include <vector>

#include "platform/spcdb/SpcErrors.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

using host::RecordKind;

constexpr char kInsertSubgroup[] =
    "INSERT INTO subgroups (subgroup_time, size, part_id, process_id, job_id, shift_id, lot_id,"
    " session_number, idempotency_key) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr char kFindKey[] = "SELECT id FROM subgroups WHERE idempotency_key = ?";
constexpr char kInsertDescriptor[] =
    "INSERT INTO subgroup_descriptors (subgroup_id, ordinal, descriptor_id) VALUES (?, ?, ?)";
constexpr char kInsertReading[] =
    "INSERT INTO readings (subgroup_id, ordinal, test_id, sample, value, serial_number,"
    " defect_code) VALUES (?, ?, ?, ?, ?, ?, ?)";

runtime::Variant IdOf(SpcCatalog& catalog, RecordKind kind, const std::optional<SpcName>& name) {
  if (!name) return runtime::Null;
  return catalog.FindOrCreate(TableOf(kind), name->name, name->group);
}

runtime::Variant LotId(SpcCatalog& catalog, const std::optional<std::string>& lot) {
  if (!lot) return runtime::Null;
  return catalog.FindOrCreate(LotTable(), *lot);
}

int32_t TestId(SpcCatalog& catalog, const SpcReading& reading, bool strictTests) {
  const SpcTable& tests = TableOf(RecordKind::Test);
  if (!strictTests) return catalog.FindOrCreate(tests, reading.test, reading.testGroup);
  int32_t id = catalog.Find(tests, reading.test);
  if (id == 0) throw UnknownName(tests, reading.test);
  return id;
}

}  // namespace

int32_t WriteSubgroup(SpcLink& link, const SpcSubgroupData& subgroup, bool strictTests,
                      const std::string& key) {
  if (!key.empty()) {
    auto found = link.Connection().Execute(kFindKey, std::vector<runtime::Variant>{key});
    if (!found->Eof()) return runtime::ToLong(found->Field("id"));
  }
  SpcCatalog& catalog = link.Catalog();
  link.Prepared(kInsertSubgroup)
      .Execute({subgroup.time, subgroup.size, IdOf(catalog, RecordKind::Part, subgroup.part),
                IdOf(catalog, RecordKind::Process, subgroup.process),
                IdOf(catalog, RecordKind::Job, subgroup.job),
                IdOf(catalog, RecordKind::Shift, subgroup.shift), LotId(catalog, subgroup.lot),
                subgroup.sessionNumber, key.empty() ? runtime::Null : runtime::Variant(key)});
  int32_t id =
      runtime::ToLong(link.Connection().Execute(link.Dialect().LastIdQuery())->Field("id"));

  OdbcStatement& insertDescriptor = link.Prepared(kInsertDescriptor);
  int32_t ordinal = 0;
  for (const SpcName& descriptor : subgroup.descriptors) {
    int32_t descriptorId =
        catalog.FindOrCreate(TableOf(RecordKind::Descriptor), descriptor.name, descriptor.group);
    insertDescriptor.Execute({id, ++ordinal, descriptorId});
  }

  OdbcStatement& insertReading = link.Prepared(kInsertReading);
  ordinal = 0;
  for (const SpcReading& reading : subgroup.readings) {
    insertReading.Execute({id, ++ordinal, TestId(catalog, reading, strictTests), reading.sample,
                           reading.value, reading.serialNumber, reading.defect});
  }
  return id;
}

runtime::Error UnknownName(const SpcTable& table, const std::string& name) {
  return runtime::Error(
      kSpcUnknownName,
      std::string("The ") + table.label + " \"" + name + "\" is not in the SPC database",
      "SpcSubgroup");
}

}  // namespace platform
