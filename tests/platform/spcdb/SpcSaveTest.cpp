// Subgroups saved through the host interface and read back, and the names they create
// found again as the host looks them up.

#include "common/SpcNames.h"
#include "host/ComponentsWrapper.h"
#include "tests/platform/spcdb/SpcFixture.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/TestClock.h"

namespace spcdbtest {
namespace {

using host::DescriptorKind;
using host::RecordKind;
using platform::ListRecords;
using platform::ReadSubgroups;
using platform::SpcSubgroupData;
using List = std::vector<std::string>;

TEST_P(SpcDatabaseTest, SavedSubgroupsReadBackExactlyAndNamesAreCreatedOnce) {
  auto session = OpenSession();
  SpcSubgroupData first = SampleSubgroup(1);
  SpcSubgroupData second = SampleSubgroup(2);
  // Every bit of a double comes back, the largest one included.
  first.readings.push_back({"Dimensions", "Höhe", 2, 0.1 + 0.2, "", ""});
  first.readings.push_back({"Dimensions", "Höhe", 3, -std::numeric_limits<double>::max(), "", ""});
  second.readings.push_back({"Dimensions", "Höhe", 2, 9007199254740992.0, "", ""});
  second.readings.push_back(
      {"Dimensions", "Höhe", 3, std::numeric_limits<double>::denorm_min(), "", ""});
  // A local time the clock skips (Europe/Berlin), whatever zone a session is in.
  second.time = *runtime::ParseDate("2026-03-29 02:30:00.250");
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
  for (const auto& reading : stored.readings)
    tests.push_back(reading.testGroup + " " + reading.test + " " + std::to_string(reading.sample));
  EXPECT_EQ(tests,
            (List{"Dimensions Width 1", "Dimensions Width 2", "Maße Größe 1", "MASSE GRÖSSE 1"}));
  EXPECT_EQ(stored.descriptors, moved.descriptors);
  EXPECT_EQ(Names(*session, RecordKind::PartGroup), (List{"Gehäuse"}));
  EXPECT_EQ(Names(*session, RecordKind::Test),
            (List{"GRÖSSE", "Größe", "Höhe", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::Descriptor).size(), 3u);
}

// Rows go in by several rows to a statement: every count around the batch sizes keeps
// each row, its order and its values, subgroup after subgroup on the same statements. The
// subgroups' identifiers are past 32 bits, as in a database that took 2^31 of them.
TEST_P(SpcDatabaseTest, ManyReadingsAndDescriptorsKeepTheirOrderPast32BitIdentifiers) {
  auto session = OpenSession();
  StartSubgroupIdsPast32Bits(database_->ConnectionString());
  platform::SpcSubgroupId expectedId = kPlaceholderSubgroupId;
  for (int count : {1, 3, 127, 128, 129, 300, 1000}) {
    SpcSubgroupData subgroup = SampleSubgroup(count);
    subgroup.size = 5;
    subgroup.readings.clear();
    subgroup.descriptors.clear();
    std::vector<platform::SpcReading> added;
    for (int i = 0; i < count; ++i) {
      added.push_back({i % 7 < 4 ? "Dims" : "Size", "Width " + std::to_string(i % 7), i % 5 + 1,
                       i * 0.5, i % 2 ? "SN-" + std::to_string(i) : "", i % 3 ? "" : "D1"});
      subgroup.readings.push_back(added.back());
      if (i < 40) subgroup.descriptors.push_back({"Operators", "Op " + std::to_string(i)});
    }
    // Readings share their repeated texts: each still reads back as it was added.
    ASSERT_EQ(subgroup.readings.size(), added.size());
    for (size_t i = 0; i < added.size(); ++i) EXPECT_EQ(subgroup.readings[i], added[i]) << i;
    subgroup.id = SaveSubgroup(session, subgroup);
    EXPECT_EQ(subgroup.id, ++expectedId);
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
  // Saved, the object is empty again: the next save is of an empty subgroup.
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

TEST_P(SpcDatabaseTest, BadSubgroupsAndUnknownTestsUnderStrictTestsFailClearly) {
  auto session = OpenSession();
  platform::SpcSubgroup subgroup;
  EXPECT_EQ(ErrorFrom([&] { subgroup.Save(0); }).Number(), runtime::kObjectNotSet);
  EXPECT_EQ(ErrorFrom([&] { subgroup.SetDatabase(std::make_shared<ForeignSession>()); }).Number(),
            runtime::kTypeMismatch);
  subgroup.SetDatabase(session);
  EXPECT_EQ(ErrorFrom([&] { subgroup.AddReading(1, 1, 0, "", ""); }).Number(),
            runtime::kInvalidProcedureCall);
  subgroup.LookupTest("T");
  EXPECT_EQ(ErrorFrom([&] { subgroup.AddReading(1, 0, 0, "", ""); }).Number(),
            runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorFrom([&] { subgroup.SetSize(-1); }).Number(), runtime::kInvalidProcedureCall);

  // A new part needs a group to be created in; the whole subgroup fails.
  subgroup.SetName(DescriptorKind::Part, "Orphan");
  subgroup.AddReading(1, 1, 0, "", "");
  runtime::Error orphan = ErrorFrom([&] { subgroup.Save(0); });
  EXPECT_EQ(orphan.Description(),
            "The subgroup was not saved: The part \"Orphan\" is not in the SPC database and no "
            "part group was given to create it in");
  EXPECT_EQ(orphan.Source(), "SpcSubgroup.Save");

  subgroup.Clear();
  subgroup.LookupTestGroup("G");
  subgroup.LookupTest("");
  subgroup.AddReading(1, 1, 0, "", "");
  EXPECT_EQ(ErrorFrom([&] { subgroup.Save(0); }).Description(),
            "The subgroup was not saved: The test name is empty");
  EXPECT_TRUE(ReadSubgroups(*session, 10).empty());
  EXPECT_TRUE(Names(*session, RecordKind::Test).empty());
  EXPECT_TRUE(Names(*session, RecordKind::TestGroup).empty());

  // Strict tests refuse unknown test groups and tests.
  SaveSubgroup(OpenSession(), SampleSubgroup(1));
  auto strict = OpenSession(42, true);
  platform::SpcSubgroup checked;
  checked.SetDatabase(strict);
  runtime::Error group = ErrorFrom([&] { checked.LookupTestGroup("Acoustics"); });
  EXPECT_EQ(group.Number(), platform::kSpcUnknownName);
  EXPECT_EQ(group.Description(), "The test group \"Acoustics\" is not in the SPC database");
  checked.LookupTestGroup("Dimensions");
  runtime::Error test = ErrorFrom([&] { checked.LookupTest("Depth"); });
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

using ByName = common::RecordPtr (*)(host::Components&, const common::DatabasePtr&,
                                     const std::string&);
using ById = common::RecordPtr (*)(host::Components&, const common::DatabasePtr&, int32_t);

struct Family {
  ByName name;
  ByName groupName;
  ById groupId;
  const char* groupField;
  std::string group, item;
  // The same item and group spelt in another case.
  std::string otherGroup, otherItem;
};

// -1 when there is no record at all, to tell it from a record not found (0).
int32_t IdOf(const common::RecordPtr& record) {
  return record ? record->Id() : -1;
}

TEST_P(SpcDatabaseTest, ResolvesAndListsRecordsByNameAndGroupsByIdOnlyWhereTheyAre) {
  auto session = OpenSession();
  SaveSubgroup(session, SampleSubgroup(1));
  testsupport::FakeComponents components;
  components.recordFactory = [](RecordKind kind) {
    return std::make_unique<platform::SpcRecord>(kind);
  };
  const Family families[] = {
      {common::ResolvePartName, common::ResolvePartGroupName, common::ResolvePartGroupID, "Ptgp",
       "Gehäuse", "O'Brien \"Ä€\" 7", "GEHÄUSE", "o'brien \"ä€\" 7"},
      {common::ResolvePrcsName, common::ResolvePrcsGroupName, common::ResolvePrcsGroupID, "Prgp",
       "Line 1", "Milling", "LINE 1", "mILLING"},
      {common::ResolveTestName, common::ResolveTestGroupName, common::ResolveTestGroupID, "Tsgp",
       "Dimensions", "Höhe", "dimensions", "HÖHE"},
      {common::ResolveJobName, common::ResolveJobGroupName, common::ResolveJobGroupID, "Jbgp",
       "Jobs", "J-1", "JOBS", "j-1"},
      {common::ResolveShftName, common::ResolveShftGroupName, common::ResolveShftGroupID, "Shgp",
       "Shifts", "Früh", "sHIFTS", "FRÜH"},
  };
  for (const Family& family : families) {
    SCOPED_TRACE(family.item);
    auto record = family.name(components, session, family.item);
    ASSERT_GT(IdOf(record), 0);
    EXPECT_EQ(record->Name(), family.item);
    EXPECT_EQ(runtime::ToText(record->Field("Name")), family.item);
    auto group = family.groupName(components, session, family.group);
    ASSERT_GT(IdOf(group), 0);
    EXPECT_EQ(runtime::ToLong(record->Field(family.groupField)), group->Id());
    EXPECT_EQ(family.groupId(components, session, group->Id())->Name(), family.group);
    EXPECT_EQ(IdOf(family.name(components, session, family.otherItem)), record->Id());
    EXPECT_EQ(family.name(components, session, family.otherItem)->Name(), family.item);
    EXPECT_EQ(IdOf(family.groupName(components, session, family.otherGroup)), group->Id());

    EXPECT_EQ(IdOf(family.name(components, session, family.item + " ")), 0);
    EXPECT_EQ(IdOf(family.name(components, session, family.group)), 0);
    EXPECT_EQ(IdOf(family.groupName(components, session, family.item)), 0);
    auto missing = family.groupId(components, session, 999999);
    ASSERT_EQ(IdOf(missing), 0);
    EXPECT_EQ(missing->Name(), "");
  }

  // A descriptor is found only within its own group.
  int32_t operators = IdOf(common::ResolveDescGroupName(components, session, "Operators"));
  int32_t machines = IdOf(common::ResolveDescGroupName(components, session, "Machines"));
  ASSERT_GT(operators, 0);
  ASSERT_GT(machines, 0);
  EXPECT_EQ(common::ResolveDescGroupID(components, session, machines)->Name(), "Machines");
  auto anna = common::ResolveDescName(components, session, "Anna", operators);
  ASSERT_GT(IdOf(anna), 0);
  EXPECT_EQ(runtime::ToLong(anna->Field("Dsgp")), operators);
  EXPECT_EQ(IdOf(common::ResolveDescName(components, session, "Anna", machines)), 0);
  EXPECT_EQ(IdOf(common::ResolveDescName(components, session, "Anna", 0)), 0);
  EXPECT_GT(
      IdOf(common::ResolveDescName(components, session, "M1'); DROP TABLE parts;--", machines)), 0);

  // Faults end the look-up early: a record never loaded, or none at all.
  EXPECT_EQ(IdOf(common::ResolvePartName(components, nullptr, "O'Brien \"Ä€\" 7")), 0);
  EXPECT_EQ(IdOf(common::ResolveJobName(components, std::make_shared<ForeignSession>(), "J-1")), 0);
  struct NoRecords : host::ComponentsWrapper {
    using ComponentsWrapper::ComponentsWrapper;
    std::unique_ptr<host::HostRecord> CreateRecord(RecordKind) override {
      throw runtime::Error(runtime::kCannotCreateObject);
    }
  } noRecords(components);
  EXPECT_EQ(common::ResolveShftName(noRecords, session, "Früh"), nullptr);

  // Listed: the records of a kind, optionally within a group.
  SpcSubgroupData more = SampleSubgroup(2);
  more.readings = {{"Visual", "Dents", 1, 1, "", ""}, {"Electrical", "Ohm", 1, 5, "", ""}};
  SaveSubgroup(session, more);
  EXPECT_EQ(Names(*session, RecordKind::Test),
            (List{"Dents", "Höhe", "Ohm", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::TestGroup), (List{"Dimensions", "Electrical", "Visual"}));
  int32_t visual = ListRecords(*session, RecordKind::TestGroup).at(2).Id();
  auto inVisual = ListRecords(*session, RecordKind::Test, visual);
  EXPECT_EQ(Names(*session, RecordKind::Test, visual), (List{"Dents", "Scratches"}));
  EXPECT_EQ(runtime::ToLong(inVisual.at(0).Field("Tsgp")), visual);
  EXPECT_TRUE(ListRecords(*session, RecordKind::Part, 999999).empty());

  EXPECT_EQ(ErrorFrom([&] { ListRecords(*session, RecordKind::PartGroup, visual); }).Number(),
            runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorFrom([&] { inVisual[0].Field("Ptgp"); }).Number(), 3265);
  // Record keys are checked before anything is loaded.
  platform::SpcRecord record(RecordKind::Part);
  EXPECT_EQ(ErrorFrom([&] { record.Load(*session, 0); }).Number(), runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorFrom([&] { record.SetNameKey(2); }).Number(), runtime::kInvalidProcedureCall);
  platform::SpcRecord group(RecordKind::PartGroup);
  EXPECT_EQ(ErrorFrom([&] { group.SetGroupIdKey(1); }).Number(), runtime::kInvalidProcedureCall);
}

}  // namespace
}  // namespace spcdbtest
