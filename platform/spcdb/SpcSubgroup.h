// The host's subgroup object on the SPC database: descriptors and readings are collected
// in memory, and Save stores them in one transaction (the whole subgroup with all its
// readings, or nothing). Names the database does not know are created then; with the
// session's strict tests setting, LookupTestGroup and LookupTest refuse unknown names
// at once instead (while the database cannot be reached, a spooled subgroup's names are
// checked when it is forwarded).
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "host/HostSubgroup.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcSubgroupId.h"

namespace platform {

class SpcSubgroup : public host::HostSubgroup {
 public:
  // The flag means nothing to this database.
  void SetFlag(bool) override {}
  // `database` must be an SpcSession (or null).
  void SetDatabase(std::shared_ptr<host::DatabaseSession> database) override;
  void Clear() override;

  void SetGroup(host::DescriptorKind kind, const std::string& group) override;
  void SetName(host::DescriptorKind kind, const std::string& name) override;
  // Not set: the largest sample number of the readings (0 without readings).
  void SetSize(int32_t size) override;
  // Not set: the time of Save.
  void SetTime(runtime::Date time) override;
  void SetLot(const std::string& lot) override;

  void LookupTestGroup(const std::string& group) override;
  void LookupTest(const std::string& test) override;
  // Samples are numbered from 1; `reserved` is not used.
  void AddReading(double value, int16_t sample, int32_t reserved, const std::string& serialNumber,
                  const std::string& defect) override;

  // `options` is not used. A failure names the cause and leaves the database as it was.
  // With a spool on the session, a subgroup the database cannot take now (see
  // IsUnavailable), or that must queue behind subgroups kept before, is kept there and
  // the save succeeds; one the spool cannot keep goes to the database directly, and fails
  // (lost, see SpcSpool) only when the database does not take it either. A failure of the
  // subgroup itself stays an error. A saved subgroup leaves the object empty, as Clear
  // does; a failed one stays as it was.
  void Save(int32_t options) override;

  // The identifier of the subgroup the last Save stored; 0 before, and when it was kept.
  SpcSubgroupId SavedId() const { return savedId_; }

 private:
  void Store();
  SpcSession& Session() const;
  // Fails with kSpcUnknownName when the database has no `name` of `kind`.
  void RequireKnown(host::RecordKind kind, const std::string& name);

  std::shared_ptr<SpcSession> session_;
  SpcSubgroupData data_;
  SpcSubgroupId savedId_ = 0;
  std::array<std::string, 5> groups_;
  std::optional<runtime::Date> time_;
  std::optional<int32_t> size_;
  std::string testGroup_;
  std::optional<std::string> test_;
  // Set when strict tests could not look a name up for want of the database.
  bool namesUnchecked_ = false;
};

}  // namespace platform
