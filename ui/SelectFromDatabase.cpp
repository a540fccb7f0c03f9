#include "ui/SelectFromDatabase.h"

#include "common/SpcNames.h"
#include "runtime/Conversions.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace ui {
namespace {

using common::DatabasePtr;
using common::RecordPtr;
using NameLookup = RecordPtr (*)(host::Components&, const DatabasePtr&, const std::string&);
using IdLookup = RecordPtr (*)(host::Components&, const DatabasePtr&, int32_t);

struct Lookups {
  NameLookup name;
  NameLookup groupName;
  IdLookup groupId;
  const char* groupField;
};

Lookups LookupsOf(host::SelectionKind kind) {
  switch (kind) {
    case host::SelectionKind::Part:
      return {common::ResolvePartName, common::ResolvePartGroupName, common::ResolvePartGroupID,
              "Ptgp"};
    case host::SelectionKind::Process:
      return {common::ResolvePrcsName, common::ResolvePrcsGroupName, common::ResolvePrcsGroupID,
              "Prgp"};
    case host::SelectionKind::Job:
      return {common::ResolveJobName, common::ResolveJobGroupName, common::ResolveJobGroupID,
              "Jbgp"};
    case host::SelectionKind::Shift:
      return {common::ResolveShftName, common::ResolveShftGroupName, common::ResolveShftGroupID,
              "Shgp"};
    case host::SelectionKind::Test:
      return {common::ResolveTestName, common::ResolveTestGroupName, common::ResolveTestGroupID,
              "Tsgp"};
    case host::SelectionKind::Descriptor:
      return {nullptr, common::ResolveDescGroupName, common::ResolveDescGroupID, "Dsgp"};
  }
  throw runtime::Error(runtime::kInvalidProcedureCall);
}

int32_t IdOf(const RecordPtr& record) {
  return record ? record->Id() : 0;
}

}  // namespace

bool SelectFromDatabase(host::Components& components, const config::Configuration1& configuration,
                        host::SelectionKind kind, std::string& group, std::string& item) {
  const DatabasePtr& database = configuration.Database();
  if (!database) throw runtime::Error(runtime::kObjectNotSet);
  const Lookups lookups = LookupsOf(kind);
  int32_t id = 0;
  int32_t groupId = 0;
  if (kind == host::SelectionKind::Descriptor) {
    groupId = IdOf(lookups.groupName(components, database, group));
    if (groupId != 0) id = IdOf(common::ResolveDescName(components, database, item, groupId));
  } else {
    id = IdOf(lookups.name(components, database, item));
    if (id == 0) groupId = IdOf(lookups.groupName(components, database, group));
  }
  const std::unique_ptr<host::SelectionDialog> dialog = components.CreateSelectionDialog(kind);
  if (!dialog->Run(*database, id, groupId)) return false;
  const host::HostRecord& chosen = dialog->Chosen();
  const std::string name = runtime::ToText(chosen.Field("Name"));
  const RecordPtr chosenGroup =
      lookups.groupId(components, database, runtime::ToLong(chosen.Field(lookups.groupField)));
  item = name;
  group = chosenGroup ? chosenGroup->Name() : "";
  return true;
}

}  // namespace ui
