#include <gtest/gtest.h>

#include "platform/spcdb/SpcErrors.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/TestClock.h"

namespace spcdbtest {
namespace {

using host::DescriptorKind;
using host::RecordKind;
using platform::ReadSubgroups;
using platform::SpcSubgroupData;
using List = std::vector<std::string>;

TEST_P(SpcDatabaseTest, SavedSubgroupsReadBackExactlyAndNamesAreCreatedOnce) {
  auto session = OpenSession();
  SpcSubgroupData first = SampleSubgroup(1);
  SpcSubgroupData second = SampleSubgroup(2);
  first.id = SaveSubgroup(session, first);
  second.id = SaveSubgroup(session, second);
  EXPECT_GT(second.id, first.id);
  EXPECT_EQ(ReadSubgroups(*session, 10), (std::vector<SpcSubgroupData>{first, second}));
  EXPECT_EQ(ReadSubgroups(*session, 1), (std::vector<SpcSubgroupData>{second}));
  EXPECT_EQ(ReadSubgroups(*session, 0).size(), 0u);
  EXPECT_EQ(Names(*session, RecordKind::Part), (List{"O'Brien \"Ä€\" 7"}));
  EXPECT_EQ(Names(*session, RecordKind::Test), (List{"Höhe", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::Descriptor), (List{"Anna", "M1'); DROP TABLE parts;--"}));
  EXPECT_EQ(Names(*session, RecordKind::ShiftGroup), (List{"Shifts"}));

  // Existing records are used whatever group and case the subgroup names ("ß" folds to
  // itself, so "SS" is another name); a descriptor name is a record of its own in every group.
  SpcSubgroupData moved = SampleSubgroup(3);
  moved.part = platform::SpcName{"Elsewhere", "o'brien \"ä€\" 7"};
  moved.readings = {{"Elsewhere", "WIDTH", 1, 1.5, "", ""},
                    {"dimensions", "width", 2, 2.5, "", ""},
                    {"Maße", "Größe", 1, 4.5, "", ""},
                    {"MASSE", "GRÖSSE", 1, 5.5, "", ""}};
  moved.descriptors = {{"Machines", "Anna"}};
  SaveSubgroup(session, moved);
  SpcSubgroupData stored = ReadSubgroups(*session, 1).at(0);
  EXPECT_EQ(stored.part, first.part);
  List tests;
  for (const auto& reading : stored.readings) {
    tests.push_back(reading.testGroup + " " + reading.test + " " + std::to_string(reading.sample));
  }
  EXPECT_EQ(tests,
            (List{"Dimensions Width 1", "Dimensions Width 2", "Maße Größe 1", "MASSE GRÖSSE 1"}));
  EXPECT_EQ(stored.descriptors, moved.descriptors);
  EXPECT_EQ(Names(*session, RecordKind::PartGroup), (List{"Gehäuse"}));
  EXPECT_EQ(Names(*session, RecordKind::Test),
            (List{"GRÖSSE", "Größe", "Höhe", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::Descriptor).size(), 3u);
}

// Rows go in by several rows to a statement: every count around the batch sizes keeps
// each row, its order and its values, subgroup after subgroup on the same statements.
TEST_P(SpcDatabaseTest, ManyReadingsAndDescriptorsKeepTheirOrder) {
  auto session = OpenSession();
  for (int count : {1, 3, 127, 128, 129, 300, 1000}) {
    SpcSubgroupData subgroup = SampleSubgroup(count);
    subgroup.size = 5;
    subgroup.readings.clear();
    subgroup.descriptors.clear();
    for (int i = 0; i < count; ++i) {
      subgroup.readings.push_back({"Dims", "Width " + std::to_string(i % 7), i % 5 + 1, i * 0.5,
                                   i % 2 ? "SN-" + std::to_string(i) : "", i % 3 ? "" : "D1"});
      if (i < 40) subgroup.descriptors.push_back({"Operators", "Op " + std::to_string(i)});
    }
    subgroup.id = SaveSubgroup(session, subgroup);
    EXPECT_EQ(ReadSubgroups(*session, 1), (std::vector<SpcSubgroupData>{subgroup})) << count;
  }
}

TEST_P(SpcDatabaseTest, TimeAndSizeDefaultAndAnEmptySubgroupIsSaved) {
  testsupport::TestClock clock(runtime::MakeDate({2024, 5, 6, 7, 8, 9}));
  auto session = OpenSession(7);
  platform::SpcSubgroup subgroup;
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
  SpcSubgroupData expected;
  expected.id = stored[1].id;
  expected.time = clock.Now();
  expected.sessionNumber = 7;
  EXPECT_EQ(stored[1], expected);
  expected.id = stored[0].id;
  expected.size = 3;
  expected.readings = {{"G", "T", 3, 1, "", ""}, {"G", "T", 1, 2, "", ""}};
  EXPECT_EQ(stored[0], expected);
}

TEST_P(SpcDatabaseTest, StrictTestsRefuseUnknownTestGroupsAndTests) {
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
  EXPECT_EQ(Names(*strict, RecordKind::TestGroup), (List{"Dimensions", "Visual"}));
  EXPECT_EQ(Names(*strict, RecordKind::Test).size(), 3u);
}

TEST_P(SpcDatabaseTest, BadSubgroupsFailClearlyAndStoreNothing) {
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
