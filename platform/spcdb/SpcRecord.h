// A part, process, test, job, shift or descriptor record, or a group of one of them, as
// the host's record objects are used: set keys with their selectors, Load against a
// session, read the identifier (0 when not found), the name and the named fields.
// ListRecords gives the records a selection dialog offers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/HostRecord.h"

namespace platform {

class SpcSession;

class SpcRecord : public host::HostRecord {
 public:
  explicit SpcRecord(host::RecordKind kind) : kind_(kind) {}
  // A record as loaded.
  SpcRecord(host::RecordKind kind, int32_t id, std::string name, int32_t groupId);

  host::RecordKind Kind() const override { return kind_; }

  // A selector is 1 (the key takes part in the next Load) or 0; anything else is an
  // error. Groups have no group key.
  void SetName(const std::string& name) override { name_ = name; }
  void SetNameKey(int32_t selector) override;
  void SetId(int32_t id) override { id_ = id; }
  void SetIdKey(int32_t selector) override;
  void SetGroupId(int32_t groupId) override { groupId_ = groupId; }
  void SetGroupIdKey(int32_t selector) override;

  // Needs at least one key; `database` must be an SpcSession. `options` is not used.
  bool Load(host::DatabaseSession& database, int32_t options) override;

  int32_t Id() const override { return loadedId_; }
  std::string Name() const override { return loadedName_; }
  // "Name", "Id", and the group identifier field of the kind ("Ptgp" for parts),
  // without regard to case; any other name is runtime::kItemNotFound.
  runtime::Variant Field(std::string_view name) const override;

 private:
  // Takes the loaded values of `found`, keeping this record's keys.
  void Adopt(const SpcRecord& found);

  host::RecordKind kind_;
  std::string name_;
  int32_t id_ = 0;
  int32_t groupId_ = 0;
  bool nameKey_ = false, idKey_ = false, groupIdKey_ = false;

  int32_t loadedId_ = 0;
  std::string loadedName_;
  int32_t loadedGroupId_ = 0;
};

// The records of `kind` ordered by name, only those of the group `groupId` unless it is
// 0. Group kinds have no group: for them `groupId` must be 0.
std::vector<SpcRecord> ListRecords(SpcSession& session, host::RecordKind kind, int32_t groupId = 0);

}  // namespace platform
