// A real SQLite SPC database holding one name of each kind, for the "Select from
// Database..." buttons and the selection dialogs.
#pragma once

#include <memory>
#include <string>

#include "platform/spcdb/SpcRecord.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Date.h"
#include "tests/support/Historian.h"

namespace uitest {

// Part "Gear" in "Gears", process "Milling" in "Line 1", descriptor "Anna" in "Operators",
// test "Width" in "Dimensions".
inline std::shared_ptr<platform::SpcSession> CreateSpcDatabase(const std::string& file) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Initialize(1);
  session->Settings().SetConnection(testsupport::SqliteLink(file));
  session->Open(1, 0);
  platform::SpcSubgroup subgroup;
  subgroup.SetDatabase(session);
  const struct {
    host::DescriptorKind kind;
    const char *group, *name;
  } names[] = {{host::DescriptorKind::Part, "Gears", "Gear"},
               {host::DescriptorKind::Process, "Line 1", "Milling"},
               {host::DescriptorKind::UserDefined, "Operators", "Anna"}};
  for (const auto& name : names) {
    subgroup.SetGroup(name.kind, name.group);
    subgroup.SetName(name.kind, name.name);
  }
  subgroup.SetSize(1);
  subgroup.SetTime(runtime::MakeDate({.year = 2024, .month = 5, .day = 1}));
  subgroup.LookupTestGroup("Dimensions");
  subgroup.LookupTest("Width");
  subgroup.AddReading(1.5, 1, 0, "", "");
  subgroup.Save(0);
  return session;
}

// The record `name` of `kind`, as loaded from `session`.
inline platform::SpcRecord LoadRecord(platform::SpcSession& session, host::RecordKind kind,
                                      const std::string& name) {
  platform::SpcRecord record(kind);
  record.SetName(name);
  record.SetNameKey(1);
  record.Load(session, 0);
  return record;
}

}  // namespace uitest
