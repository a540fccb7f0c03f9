#include "platform/spcdb/SpcWriter.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

#include "platform/spcdb/SpcErrors.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

using host::RecordKind;

constexpr char kInsertSubgroup[] =
    "INSERT INTO subgroups (subgroup_time, size, part_id, process_id, job_id, shift_id, lot_id,"
    " session_number, idempotency_key, configuration_name) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)";
constexpr char kFindKey[] = "SELECT id FROM subgroups WHERE idempotency_key = ?";
constexpr char kInsertDescriptors[] =
    "INSERT INTO subgroup_descriptors (subgroup_id, ordinal, descriptor_id) VALUES ";
constexpr char kDescriptorRow[] = "(CAST(? AS BIGINT), ?, ?)";
constexpr char kInsertReadings[] =
    "INSERT INTO readings (subgroup_id, ordinal, test_id, sample, value, serial_number,"
    " defect_code) VALUES ";
constexpr char kReadingRow[] = "(CAST(? AS BIGINT), ?, ?, ?, ?, ?, ?)";

// Rows per INSERT: powers of two up to this, so that a connection keeps at most eight
// prepared statements per table, and 128 rows of 7 values stay under SQLite's 999 parameters.
constexpr size_t kMostRowsPerInsert = 128;

std::string MultiRowInsert(const char* head, const char* row, size_t rows) {
  std::string sql = head;
  for (size_t i = 0; i < rows; ++i) sql += std::string(i == 0 ? "" : ", ") + row;
  return sql;
}

// Inserts `rows` rows of `columns` values each, as `row` places them, `appendRow(i, values)`
// giving row i's, in as few statements as the batch sizes allow, each prepared once per
// connection. Only one batch of values is held at a time: a subgroup of 50,000 readings would
// need 350,000.
template <typename AppendRow>
void InsertRows(SpcLink& link, const char* head, const char* row, size_t columns, size_t rows,
                const AppendRow& appendRow) {
  std::vector<runtime::Variant> batch;
  batch.reserve(std::min(rows, kMostRowsPerInsert) * columns);
  for (size_t done = 0; done < rows;) {
    size_t count = kMostRowsPerInsert;
    while (count > rows - done) count /= 2;
    batch.clear();
    for (size_t i = done; i < done + count; ++i) appendRow(i, batch);
    link.Connection()
        .Prepare(link.Dialect().RepeatedInsert(MultiRowInsert(head, row, count)))
        ->Execute(batch);
    done += count;
  }
}

runtime::Variant IdOf(SpcCatalog& catalog, RecordKind kind, const std::optional<SpcName>& name) {
  if (!name) return runtime::Null;
  return catalog.FindOrCreate(TableOf(kind), name->name, name->group);
}

runtime::Variant LotId(SpcCatalog& catalog, const std::optional<std::string>& lot) {
  if (!lot) return runtime::Null;
  return catalog.FindOrCreate(LotTable(), *lot);
}

int32_t TestId(SpcCatalog& catalog, const std::string& test, const std::string& group,
               bool strictTests) {
  const SpcTable& tests = TableOf(RecordKind::Test);
  if (!strictTests) return catalog.FindOrCreate(tests, test, group);
  int32_t id = catalog.Find(tests, test);
  if (id == 0) throw UnknownName(tests, test);
  return id;
}

}  // namespace

SpcWritten WriteSubgroup(SpcLink& link, const SpcSubgroupData& subgroup, bool strictTests,
                         const std::string& key) {
  if (!key.empty()) {
    auto found = link.Connection().Execute(kFindKey, std::vector<runtime::Variant>{key});
    if (!found->Eof()) return {SubgroupIdOf(found->Field("id")), true};
  }
  SpcCatalog& catalog = link.Catalog();
  link.Connection()
      .Prepare(link.Dialect().RepeatedInsert(kInsertSubgroup))
      ->Execute({subgroup.time, subgroup.size, IdOf(catalog, RecordKind::Part, subgroup.part),
                 IdOf(catalog, RecordKind::Process, subgroup.process),
                 IdOf(catalog, RecordKind::Job, subgroup.job),
                 IdOf(catalog, RecordKind::Shift, subgroup.shift), LotId(catalog, subgroup.lot),
                 subgroup.sessionNumber, key.empty() ? runtime::Null : runtime::Variant(key),
                 subgroup.configuration ? runtime::Variant(*subgroup.configuration)
                                        : runtime::Variant(runtime::Null)});
  const SpcSubgroupId id =
      SubgroupIdOf(link.Connection().Execute(link.Dialect().LastIdQuery())->Field("id"));
  const runtime::Variant idParameter = SubgroupIdParameter(id);

  InsertRows(link, kInsertDescriptors, kDescriptorRow, 3, subgroup.descriptors.size(),
             [&](size_t row, std::vector<runtime::Variant>& values) {
               const SpcName& descriptor = subgroup.descriptors[row];
               values.insert(values.end(),
                             {idParameter, static_cast<int32_t>(row + 1),
                              catalog.FindOrCreate(TableOf(RecordKind::Descriptor), descriptor.name,
                                                   descriptor.group)});
             });
  InsertRows(link, kInsertReadings, kReadingRow, 7, subgroup.readings.size(),
             [&](size_t row, std::vector<runtime::Variant>& values) {
               const SpcReadings& readings = subgroup.readings;
               values.insert(values.end(), {idParameter, static_cast<int32_t>(row + 1),
                                            TestId(catalog, readings.Test(row),
                                                   readings.TestGroup(row), strictTests),
                                            readings.Sample(row), readings.Value(row),
                                            readings.SerialNumber(row), readings.Defect(row)});
             });
  return {id, false};
}

runtime::Error UnknownName(const SpcTable& table, const std::string& name) {
  return runtime::Error(
      kSpcUnknownName,
      std::string("The ") + table.label + " \"" + name + "\" is not in the SPC database",
      "SpcSubgroup");
}

}  // namespace platform
