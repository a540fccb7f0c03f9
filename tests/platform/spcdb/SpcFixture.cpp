#include "tests/platform/spcdb/SpcFixture.h"

namespace spcdbtest {

using host::DescriptorKind;
using platform::SpcName;
using platform::SpcSubgroupData;

INSTANTIATE_TEST_SUITE_P(Databases, SpcDatabaseTest,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

void SpcDatabaseTest::SetUp() {
  database_ = MakeTestDatabase(GetParam());
  if (!database_)
    GTEST_SKIP() << "no PostgreSQL server (run the tests under scripts/with-postgres)";
}

std::shared_ptr<platform::SpcSession> SpcDatabaseTest::OpenSession(int32_t sessionNumber,
                                                                   bool strictTests) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Initialize(sessionNumber);
  session->Settings().SetConnection(database_->ConnectionString());
  session->Settings().SetStrictTests(strictTests);
  session->Open(1, 0);
  return session;
}

SpcSubgroupData SampleSubgroup(int n) {
  SpcSubgroupData subgroup;
  subgroup.time = runtime::MakeDate({2024, 3, 1, 10, n / 60 % 60, n % 60});
  subgroup.size = 2;
  subgroup.sessionNumber = 42;
  subgroup.part = SpcName{"Gehäuse", "O'Brien \"Ä€\" 7"};
  subgroup.process = SpcName{"Line 1", "Milling"};
  subgroup.job = SpcName{"Jobs", "J-1"};
  subgroup.shift = SpcName{"Shifts", "Früh"};
  subgroup.lot = "Lot '" + std::to_string(n);
  subgroup.descriptors = {{"Operators", "Anna"}, {"Machines", "M1'); DROP TABLE parts;--"}};
  // A repeated test: samples 1 and 2 of Width.
  subgroup.readings = {
      {"Dimensions", "Width", 1, 10.25 + n, "SN-" + std::to_string(n), ""},
      {"Dimensions", "Width", 2, 10.5, "SN-" + std::to_string(n), ""},
      {"Dimensions", "Höhe", 1, -0.125, "", ""},
      {"Visual", "Scratches", 1, 0, "SN-" + std::to_string(n), "D17"},
  };
  return subgroup;
}

platform::SpcSubgroupId SaveSubgroup(const std::shared_ptr<platform::SpcSession>& session,
                                     const SpcSubgroupData& subgroup) {
  platform::SpcSubgroup target;
  target.SetDatabase(session);
  auto set = [&](DescriptorKind kind, const std::optional<SpcName>& name) {
    if (!name) return;
    target.SetGroup(kind, name->group);
    target.SetName(kind, name->name);
  };
  set(DescriptorKind::Part, subgroup.part);
  set(DescriptorKind::Process, subgroup.process);
  set(DescriptorKind::Job, subgroup.job);
  set(DescriptorKind::Shift, subgroup.shift);
  for (const SpcName& descriptor : subgroup.descriptors)
    set(DescriptorKind::UserDefined, descriptor);
  target.SetSize(subgroup.size);
  target.SetTime(subgroup.time);
  if (subgroup.lot) target.SetLot(*subgroup.lot);
  for (const platform::SpcReading& reading : subgroup.readings) {
    target.LookupTestGroup(reading.testGroup);
    target.LookupTest(reading.test);
    target.AddReading(reading.value, static_cast<int16_t>(reading.sample), 0, reading.serialNumber,
                      reading.defect);
  }
  target.Save(0);
  return target.SavedId();
}

std::vector<std::string> Names(platform::SpcSession& session, host::RecordKind kind,
                               int32_t groupId) {
  std::vector<std::string> names;
  for (const auto& record : platform::ListRecords(session, kind, groupId))
    names.push_back(record.Name());
  return names;
}

}  // namespace spcdbtest
