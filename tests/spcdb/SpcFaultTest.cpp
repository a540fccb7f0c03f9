#include <gtest/gtest.h>

#include <future>
#include <set>

#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcRecord.h"
#include "tests/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

using platform::ReadSubgroups;
using platform::SpcSubgroupData;

TEST_P(SpcDatabaseTest, DatabaseAwayBetweenSavesLosesOnlyTheFailedSubgroup) {
  database_ = MakeStoppableDatabase(GetParam());
  if (!database_) GTEST_SKIP() << "no server of its own can be made here";
  auto session = OpenSession();
  SpcSubgroupData first = SampleSubgroup(1);
  first.id = SaveSubgroup(session, first);

  if (!database_->TakeAway()) GTEST_SKIP() << "cannot make the database unwritable here";
  SpcSubgroupData lost = SampleSubgroup(2);
  lost.part = platform::SpcName{"Lost", "Lost part"};
  runtime::Error error = ErrorOf([&] { SaveSubgroup(session, lost); });
  database_->GiveBack();
  const std::string prefix = "The subgroup was not saved: ";
  EXPECT_TRUE(error.Description().starts_with(prefix)) << error.Description();
  EXPECT_GT(error.Description().size(), prefix.size());

  SpcSubgroupData recovered = SampleSubgroup(3);
  recovered.id = SaveSubgroup(session, recovered);
  auto reader = OpenSession();
  EXPECT_EQ(ReadSubgroups(*reader, 10), (std::vector<SpcSubgroupData>{first, recovered}));
  EXPECT_EQ(platform::ListRecords(*reader, host::RecordKind::Part).size(), 1u);
  EXPECT_EQ(platform::ListRecords(*reader, host::RecordKind::PartGroup).size(), 1u);
}

TEST_P(SpcDatabaseTest, TwoSessionsSavingAtOnceLoseNothing) {
  constexpr int kPerSession = 25;
  auto writer = [&](int32_t sessionNumber) {
    auto session = OpenSession(sessionNumber);
    for (int i = 0; i < kPerSession; ++i) {
      SpcSubgroupData subgroup = SampleSubgroup(i);
      // Both sessions create the same new names at the same time.
      subgroup.part->name = "Part " + std::to_string(i);
      subgroup.readings[2].test = "Test " + std::to_string(i);
      SaveSubgroup(session, subgroup);
    }
  };
  auto one = std::async(std::launch::async, writer, 1);
  auto two = std::async(std::launch::async, writer, 2);
  one.get();
  two.get();

  auto stored = ReadSubgroups(*OpenSession(), 3 * kPerSession);
  ASSERT_EQ(stored.size(), 2u * kPerSession);
  std::set<std::pair<int32_t, std::string>> saved;
  for (const SpcSubgroupData& subgroup : stored) {
    EXPECT_EQ(subgroup.readings.size(), 4u);
    EXPECT_EQ(subgroup.descriptors.size(), 2u);
    saved.emplace(subgroup.sessionNumber, subgroup.part->name);
  }
  EXPECT_EQ(saved.size(), 2u * kPerSession);
}

}  // namespace
}  // namespace spcdbtest
