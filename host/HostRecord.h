// A record of the SPC database looked up by one or two keys: part, process, test, job,
// shift and descriptor records and their groups.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/Variant.h"

namespace host {

class DatabaseSession;

enum class RecordKind {
  Part,
  PartGroup,
  Process,
  ProcessGroup,
  Test,
  TestGroup,
  Job,
  JobGroup,
  Shift,
  ShiftGroup,
  Descriptor,
  DescriptorGroup,
};

class HostRecord {
 public:
  virtual ~HostRecord() = default;
  virtual RecordKind Kind() const = 0;

  // Keys; a selector of 1 makes its key part of the next Load, 0 leaves it out.
  virtual void SetName(const std::string& name) = 0;
  virtual void SetNameKey(int32_t selector) = 0;
  virtual void SetId(int32_t id) = 0;
  virtual void SetIdKey(int32_t selector) = 0;
  // The group a record belongs to (a descriptor is looked up within its group).
  virtual void SetGroupId(int32_t groupId) = 0;
  virtual void SetGroupIdKey(int32_t selector) = 0;

  // Looks the record up by the selected keys; true when found. Not found leaves Id 0.
  virtual bool Load(DatabaseSession& database, int32_t options) = 0;

  virtual int32_t Id() const = 0;
  virtual std::string Name() const = 0;
  // A field by the name the host's dialogs use: "Name", and the group identifier fields
  // "Ptgp", "Prgp", "Tsgp", "Jbgp", "Shgp", "Dsgp". An unknown field is an error.
  virtual runtime::Variant Field(std::string_view name) const = 0;
};

}  // namespace host
