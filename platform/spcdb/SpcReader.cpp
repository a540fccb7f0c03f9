#include "platform/spcdb/SpcReader.h"

#include <string>
#include <unordered_map>

#include "runtime/Variant.h"

namespace platform {
namespace {

constexpr char kSubgroups[] =
    "SELECT s.id, s.subgroup_time, s.size, s.session_number, s.configuration_name,"
    " pg.name AS part_group, p.name AS part, rg.name AS process_group, r.name AS process,"
    " jg.name AS job_group, j.name AS job, hg.name AS shift_group, h.name AS shift,"
    " l.name AS lot"
    " FROM subgroups s"
    " LEFT JOIN parts p ON p.id = s.part_id LEFT JOIN part_groups pg ON pg.id = p.group_id"
    " LEFT JOIN processes r ON r.id = s.process_id"
    " LEFT JOIN process_groups rg ON rg.id = r.group_id"
    " LEFT JOIN jobs j ON j.id = s.job_id LEFT JOIN job_groups jg ON jg.id = j.group_id"
    " LEFT JOIN shifts h ON h.id = s.shift_id LEFT JOIN shift_groups hg ON hg.id = h.group_id"
    " LEFT JOIN lots l ON l.id = s.lot_id"
    " WHERE s.id BETWEEN CAST(? AS BIGINT) AND CAST(? AS BIGINT) ORDER BY s.id";
constexpr char kDescriptors[] =
    "SELECT sd.subgroup_id, g.name AS group_name, d.name"
    " FROM subgroup_descriptors sd JOIN descriptors d ON d.id = sd.descriptor_id"
    " JOIN descriptor_groups g ON g.id = d.group_id"
    " WHERE sd.subgroup_id BETWEEN CAST(? AS BIGINT) AND CAST(? AS BIGINT)"
    " ORDER BY sd.subgroup_id, sd.ordinal";
std::string ReadingsQuery(const SpcDialect& dialect) {
  return "SELECT r.subgroup_id, g.name AS group_name, t.name, r.sample, " +
         dialect.ExactDouble("r.value") +
         " AS value, r.serial_number, r.defect_code"
         " FROM readings r JOIN tests t ON t.id = r.test_id JOIN test_groups g ON g.id = t.group_id"
         " WHERE r.subgroup_id BETWEEN CAST(? AS BIGINT) AND CAST(? AS BIGINT)"
         " ORDER BY r.subgroup_id, r.ordinal";
}

std::string Text(const host::Recordset& rows, std::string_view field) {
  return runtime::ToText(rows.Field(field));
}

std::optional<SpcName> Named(const host::Recordset& rows, const char* groupField,
                             const char* nameField) {
  if (rows.Field(nameField).IsNull()) return std::nullopt;
  return SpcName{Text(rows, groupField), Text(rows, nameField)};
}

std::vector<SpcSubgroupData> ReadRange(SpcLink& link, SpcSubgroupId first, SpcSubgroupId last) {
  OdbcConnection& connection = link.Connection();
  std::vector<SpcSubgroupData> subgroups;
  const std::vector<runtime::Variant> range{SubgroupIdParameter(first), SubgroupIdParameter(last)};

  // Another session may commit a subgroup inside the range between the queries below;
  // its rows are left out.
  std::unordered_map<SpcSubgroupId, size_t> byId;
  auto of = [&](const host::Recordset& rows) -> SpcSubgroupData* {
    auto it = byId.find(SubgroupIdOf(rows.Field("subgroup_id")));
    return it == byId.end() ? nullptr : &subgroups[it->second];
  };
  for (auto rows = connection.Execute(kSubgroups, range); !rows->Eof(); rows->MoveNext()) {
    SpcSubgroupData& s = subgroups.emplace_back();
    s.id = SubgroupIdOf(rows->Field("id"));
    s.time = runtime::ToDate(rows->Field("subgroup_time"));
    s.size = runtime::ToLong(rows->Field("size"));
    s.sessionNumber = runtime::ToLong(rows->Field("session_number"));
    if (!rows->Field("configuration_name").IsNull()) {
      s.configuration = Text(*rows, "configuration_name");
    }
    s.part = Named(*rows, "part_group", "part");
    s.process = Named(*rows, "process_group", "process");
    s.job = Named(*rows, "job_group", "job");
    s.shift = Named(*rows, "shift_group", "shift");
    if (!rows->Field("lot").IsNull()) s.lot = Text(*rows, "lot");
    byId[s.id] = subgroups.size() - 1;
  }
  for (auto rows = connection.Execute(kDescriptors, range); !rows->Eof(); rows->MoveNext()) {
    if (SpcSubgroupData* s = of(*rows)) {
      s->descriptors.push_back({Text(*rows, "group_name"), Text(*rows, "name")});
    }
  }
  for (auto rows = connection.Execute(ReadingsQuery(link.Dialect()), range); !rows->Eof();
       rows->MoveNext()) {
    if (SpcSubgroupData* s = of(*rows)) {
      s->readings.push_back({Text(*rows, "group_name"), Text(*rows, "name"),
                             runtime::ToLong(rows->Field("sample")),
                             SpcDialect::StoredDouble(rows->Field("value")),
                             Text(*rows, "serial_number"), Text(*rows, "defect_code")});
    }
  }
  return subgroups;
}

}  // namespace

std::vector<SpcSubgroupData> ReadSubgroups(SpcSession& session, int32_t count) {
  std::vector<SpcSubgroupData> subgroups;
  if (count < 1) return subgroups;
  session.Use([&](SpcLink& link) {
    auto ids = link.Connection().Execute("SELECT id FROM subgroups ORDER BY id DESC LIMIT ?",
                                         std::vector<runtime::Variant>{count});
    if (ids->Eof()) return;
    const SpcSubgroupId last = SubgroupIdOf(ids->Field("id"));
    SpcSubgroupId first = last;
    for (; !ids->Eof(); ids->MoveNext()) first = SubgroupIdOf(ids->Field("id"));
    subgroups = ReadRange(link, first, last);
  });
  return subgroups;
}

std::vector<SpcSubgroupData> ReadSubgroupRange(SpcSession& session, SpcSubgroupId first,
                                               SpcSubgroupId last) {
  std::vector<SpcSubgroupData> subgroups;
  if (first > last) return subgroups;
  session.Use([&](SpcLink& link) { subgroups = ReadRange(link, first, last); });
  return subgroups;
}

std::vector<SpcSubgroupId> SubgroupIdsAfter(SpcSession& session, SpcSubgroupId after,
                                            int32_t limit) {
  std::vector<SpcSubgroupId> ids;
  session.Use([&](SpcLink& link) {
    ids.clear();
    for (auto rows = link.Connection().Execute(
             "SELECT id FROM subgroups WHERE id > CAST(? AS BIGINT) ORDER BY id LIMIT ?",
             std::vector<runtime::Variant>{SubgroupIdParameter(after), limit});
         !rows->Eof(); rows->MoveNext()) {
      ids.push_back(SubgroupIdOf(rows->Field("id")));
    }
  });
  return ids;
}

SpcSubgroupId LastSubgroupId(SpcSession& session) {
  SpcSubgroupId id = 0;
  session.Use([&](SpcLink& link) {
    const runtime::Variant last =
        link.Connection().Execute("SELECT MAX(id) AS id FROM subgroups")->Field("id");
    id = last.IsNull() ? 0 : SubgroupIdOf(last);
  });
  return id;
}

}  // namespace platform
