#include <gtest/gtest.h>

#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcRecord.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/TestClock.h"

namespace spcdbtest {
namespace {

using host::DescriptorKind;
using host::RecordKind;
using platform::ListRecords;
using platform::ReadSubgroups;
using platform::SpcSubgroupData;

class SpcSaveTest : public SpcFixture {};

INSTANTIATE_SPC_SUITE(SpcSaveTest);

std::vector<std::string> Names(platform::SpcSession& session, RecordKind kind) {
  std::vector<std::string> names;
  for (const auto& record : ListRecords(session, kind)) names.push_back(record.Name());
  return names;
}

TEST_P(SpcSaveTest, SavedSubgroupsReadBackExactly) {
  auto session = OpenSession();
  SpcSubgroupData first = SampleSubgroup(1);
  SpcSubgroupData second = SampleSubgroup(2);
  first.id = SaveSubgroup(session, first);
  second.id = SaveSubgroup(session, second);
  EXPECT_GT(second.id, first.id);

  EXPECT_EQ(ReadSubgroups(*session, 10), (std::vector<SpcSubgroupData>{first, second}));
  EXPECT_EQ(ReadSubgroups(*session, 1), (std::vector<SpcSubgroupData>{second}));
  EXPECT_EQ(ReadSubgroups(*session, 0).size(), 0u);

  // Names were created once, on first use.
  using List = std::vector<std::string>;
  EXPECT_EQ(Names(*session, RecordKind::Part), (List{"O'Brien \"Ä€\" 7"}));
  EXPECT_EQ(Names(*session, RecordKind::Test), (List{"Höhe", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::Descriptor), (List{"Anna", "M1'); DROP TABLE parts;--"}));
  EXPECT_EQ(Names(*session, RecordKind::ShiftGroup), (List{"Shifts"}));
}

TEST_P(SpcSaveTest, ExistingRecordsAreUsedWhateverGroupTheSubgroupNames) {
  auto session = OpenSession();
  SaveSubgroup(session, SampleSubgroup(1));
  SpcSubgroupData moved = SampleSubgroup(2);
  moved.part->group = "Elsewhere";
  moved.readings[0].testGroup = "Elsewhere";
  SaveSubgroup(session, moved);

  SpcSubgroupData stored = ReadSubgroups(*session, 1).at(0);
  EXPECT_EQ(stored.part->group, "Gehäuse");
  EXPECT_EQ(stored.readings[0].testGroup, "Dimensions");
  EXPECT_EQ(Names(*session, RecordKind::PartGroup), (std::vector<std::string>{"Gehäuse"}));

  // A descriptor name is its own record in every group.
  SpcSubgroupData renamed = SampleSubgroup(3);
  renamed.descriptors = {{"Machines", "Anna"}};
  SaveSubgroup(session, renamed);
  EXPECT_EQ(ReadSubgroups(*session, 1).at(0).descriptors, renamed.descriptors);
  EXPECT_EQ(Names(*session, RecordKind::Descriptor).size(), 3u);
}

TEST_P(SpcSaveTest, TimeAndSizeDefaultAndAnEmptySubgroupIsSaved) {
  testsupport::TestClock clock(runtime::MakeDate({2024, 5, 6, 7, 8, 9}));
  auto session = OpenSession(7);
  platform::SpcSubgroup subgroup;
  subgroup.SetFlag(true);
  subgroup.SetDatabase(session);
  subgroup.LookupTestGroup("G");
  subgroup.LookupTest("T");
  subgroup.AddReading(1, 3, 0, "", "");
  subgroup.AddReading(2, 1, 0, "", "");
  subgroup.Save(0);
  subgroup.Clear();
  subgroup.Save(0);

  auto stored = ReadSubgroups(*session, 2);
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(stored[0].time, clock.Now());
  EXPECT_EQ(stored[0].size, 3);
  EXPECT_EQ(stored[0].sessionNumber, 7);
  EXPECT_FALSE(stored[0].part.has_value());
  EXPECT_FALSE(stored[0].lot.has_value());
  EXPECT_EQ(stored[1].size, 0);
  EXPECT_TRUE(stored[1].readings.empty());
}

TEST_P(SpcSaveTest, StrictTestsRefuseUnknownTestGroupsAndTests) {
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  auto strict = OpenSession(42, true);
  platform::SpcSubgroup subgroup;
  subgroup.SetDatabase(strict);

  runtime::Error group = ErrorOf([&] { subgroup.LookupTestGroup("Acoustics"); });
  EXPECT_EQ(group.Number(), platform::kSpcUnknownName);
  EXPECT_EQ(group.Description(), "The test group \"Acoustics\" is not in the SPC database");
  subgroup.LookupTestGroup("Dimensions");
  runtime::Error test = ErrorOf([&] { subgroup.LookupTest("Depth"); });
  EXPECT_EQ(test.Number(), platform::kSpcUnknownName);
  EXPECT_EQ(test.Description(), "The test \"Depth\" is not in the SPC database");

  // Known tests save; other names are still created on first use.
  SpcSubgroupData known = SampleSubgroup(2);
  known.part = platform::SpcName{"New parts", "P-2"};
  SaveSubgroup(strict, known);
  EXPECT_EQ(ReadSubgroups(*strict, 1).at(0).part, known.part);
  EXPECT_EQ(Names(*strict, RecordKind::TestGroup),
            (std::vector<std::string>{"Dimensions", "Visual"}));
  EXPECT_EQ(Names(*strict, RecordKind::Test).size(), 3u);
}

TEST_P(SpcSaveTest, BadInputFailsClearlyAndStoresNothing) {
  auto session = OpenSession();
  platform::SpcSubgroup subgroup;
  EXPECT_EQ(ErrorOf([&] { subgroup.Save(0); }).Number(), runtime::kObjectNotSet);
  EXPECT_EQ(ErrorOf([&] { subgroup.SetDatabase(std::make_shared<ForeignSession>()); }).Number(),
            runtime::kTypeMismatch);
  subgroup.SetDatabase(session);
  EXPECT_EQ(ErrorOf([&] { subgroup.AddReading(1, 1, 0, "", ""); }).Number(),
            runtime::kInvalidProcedureCall);
  subgroup.LookupTest("T");
  EXPECT_EQ(ErrorOf([&] { subgroup.AddReading(1, 0, 0, "", ""); }).Number(),
            runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorOf([&] { subgroup.SetSize(-1); }).Number(), runtime::kInvalidProcedureCall);

  // A new part needs a group to be created in; the whole subgroup fails.
  subgroup.SetName(DescriptorKind::Part, "Orphan");
  subgroup.AddReading(1, 1, 0, "", "");
  runtime::Error orphan = ErrorOf([&] { subgroup.Save(0); });
  EXPECT_EQ(orphan.Description(),
            "The subgroup was not saved: The part \"Orphan\" is not in the SPC database and no "
            "part group was given to create it in");
  EXPECT_EQ(orphan.Source(), "SpcSubgroup.Save");

  subgroup.Clear();
  subgroup.LookupTestGroup("G");
  subgroup.LookupTest("");
  subgroup.AddReading(1, 1, 0, "", "");
  EXPECT_EQ(ErrorOf([&] { subgroup.Save(0); }).Description(),
            "The subgroup was not saved: The test name is empty");

  EXPECT_TRUE(ReadSubgroups(*session, 10).empty());
  EXPECT_TRUE(Names(*session, RecordKind::Test).empty());
  EXPECT_TRUE(Names(*session, RecordKind::TestGroup).empty());
}

}  // namespace
}  // namespace spcdbtest
