#include "platform/spcdb/SpcSubgroup.h"

#include <algorithm>
#include <utility>

#include "platform/spcdb/SpcTables.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "platform/spcdb/SpcWriter.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace platform {
namespace {

runtime::Error InvalidArgument(const std::string& description) {
  return runtime::Error(runtime::kInvalidProcedureCall, description, "SpcSubgroup");
}

}  // namespace

void SpcSubgroup::SetDatabase(std::shared_ptr<host::DatabaseSession> database) {
  auto session = std::dynamic_pointer_cast<SpcSession>(database);
  if (database && !session) {
    throw runtime::Error(runtime::kTypeMismatch,
                         "The database is not a session of the SPC database", "SpcSubgroup");
  }
  session_ = std::move(session);
}

void SpcSubgroup::Clear() {
  data_ = {};
  groups_ = {};
  time_.reset();
  size_.reset();
  testGroup_.clear();
  test_.reset();
  namesUnchecked_ = false;
}

void SpcSubgroup::SetGroup(host::DescriptorKind kind, const std::string& group) {
  groups_.at(static_cast<size_t>(kind)) = group;
}

void SpcSubgroup::SetName(host::DescriptorKind kind, const std::string& name) {
  SpcName named{groups_.at(static_cast<size_t>(kind)), name};
  switch (kind) {
    case host::DescriptorKind::Part:
      data_.part = std::move(named);
      break;
    case host::DescriptorKind::Process:
      data_.process = std::move(named);
      break;
    case host::DescriptorKind::Job:
      data_.job = std::move(named);
      break;
    case host::DescriptorKind::Shift:
      data_.shift = std::move(named);
      break;
    case host::DescriptorKind::UserDefined:
      data_.descriptors.push_back(std::move(named));
      break;
  }
}

void SpcSubgroup::SetSize(int32_t size) {
  if (!host::IsSubgroupSize(size)) throw InvalidArgument("A subgroup size cannot be negative");
  size_ = size;
}

void SpcSubgroup::SetTime(runtime::Date time) {
  time_ = time;
}

void SpcSubgroup::SetLot(const std::string& lot) {
  data_.lot = lot;
}

void SpcSubgroup::LookupTestGroup(const std::string& group) {
  if (Session().Settings().StrictTests()) RequireKnown(host::RecordKind::TestGroup, group);
  testGroup_ = group;
  test_.reset();
}

void SpcSubgroup::LookupTest(const std::string& test) {
  if (Session().Settings().StrictTests()) RequireKnown(host::RecordKind::Test, test);
  test_ = test;
}

void SpcSubgroup::AddReading(double value, int16_t sample, int32_t, const std::string& serialNumber,
                             const std::string& defect) {
  if (!test_) throw InvalidArgument("A reading needs a test: no test was looked up");
  if (sample < 1) throw InvalidArgument("Sample numbers start at 1, not " + std::to_string(sample));
  data_.readings.Add(testGroup_, *test_, sample, value, serialNumber, defect);
}

void SpcSubgroup::Save(int32_t) {
  savedId_ = 0;
  Store();
  savedId_ = data_.id;
  // Not held until the next subgroup: a large one's readings are megabytes.
  Clear();
}

void SpcSubgroup::Store() {
  SpcSession& session = Session();
  data_.time = time_.value_or(runtime::Now());
  data_.size = size_.value_or(0);
  if (!size_) {
    for (size_t i = 0; i < data_.readings.size(); ++i)
      data_.size = std::max(data_.size, data_.readings.Sample(i));
  }
  data_.sessionNumber = session.SessionNumber();
  data_.configuration.reset();
  if (!session.ConfigurationName().empty()) data_.configuration = session.ConfigurationName();
  data_.id = 0;
  SpcSpool* spool = session.Spool();
  const std::string key = spool ? spool->NewKey(data_) : std::string();
  try {
    if (spool && spool->Holding()) {
      // Behind the subgroups kept before, so that the database receives them in order.
      try {
        spool->Keep(data_, key, std::nullopt);
        session.Saved();
        spool->ForwardSoon(session);
        return;
      } catch (const runtime::Error& refusal) {
        spool->SaveAhead(refusal);
      }
    }
    const bool strict = session.Settings().StrictTests();
    try {
      session.Transact(
          [&](SpcLink& link) { data_.id = WriteSubgroup(link, data_, strict, key).id; });
    } catch (const runtime::Error& error) {
      if (!spool || !IsUnavailable(error)) throw;
      data_.id = 0;
      spool->Keep(data_, key, error);
    }
  } catch (...) {
    runtime::Error cause = runtime::ToError(std::current_exception());
    throw runtime::Error(cause.Number(), "The subgroup was not saved: " + cause.Description(),
                         "SpcSubgroup.Save", cause.SqlState());
  }
  session.Saved();
}

SpcSession& SpcSubgroup::Session() const {
  if (!session_) {
    throw runtime::Error(runtime::kObjectNotSet, "The subgroup has no database", "SpcSubgroup");
  }
  return *session_;
}

void SpcSubgroup::RequireKnown(host::RecordKind kind, const std::string& name) {
  const SpcTable& table = TableOf(kind);
  // The names are checked when the kept subgroup is forwarded; one attempt per subgroup
  // is enough to know that the database is away.
  if (namesUnchecked_) return;
  int32_t id = 0;
  try {
    Session().Use([&](SpcLink& link) { id = link.Catalog().Find(table, name); });
  } catch (const runtime::Error& error) {
    if (!Session().Spool() || !IsUnavailable(error)) throw;
    namesUnchecked_ = true;
    return;
  }
  if (id == 0) throw UnknownName(table, name);
}

}  // namespace platform
