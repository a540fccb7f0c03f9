#include <gtest/gtest.h>

#include "common/SpcNames.h"
#include "platform/spcdb/SpcRecord.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/FakeComponents.h"

namespace spcdbtest {
namespace {

using host::RecordKind;
using platform::ListRecords;

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

TEST_P(SpcDatabaseTest, ResolvesRecordsByNameAndGroupsByIdOnlyWhereTheyAre) {
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
  components.recordFactory = nullptr;
  EXPECT_EQ(common::ResolveShftName(components, session, "Früh"), nullptr);
}

TEST_P(SpcDatabaseTest, ListsRecordsOfAKindOptionallyWithinAGroup) {
  auto session = OpenSession();
  SaveSubgroup(session, SampleSubgroup(1));
  platform::SpcSubgroupData more = SampleSubgroup(2);
  more.readings = {{"Visual", "Dents", 1, 1, "", ""}, {"Electrical", "Ohm", 1, 5, "", ""}};
  SaveSubgroup(session, more);

  using List = std::vector<std::string>;
  EXPECT_EQ(Names(*session, RecordKind::Test),
            (List{"Dents", "Höhe", "Ohm", "Scratches", "Width"}));
  EXPECT_EQ(Names(*session, RecordKind::TestGroup), (List{"Dimensions", "Electrical", "Visual"}));
  int32_t visual = ListRecords(*session, RecordKind::TestGroup).at(2).Id();
  auto inVisual = ListRecords(*session, RecordKind::Test, visual);
  EXPECT_EQ(Names(*session, RecordKind::Test, visual), (List{"Dents", "Scratches"}));
  EXPECT_EQ(runtime::ToLong(inVisual.at(0).Field("Tsgp")), visual);
  EXPECT_TRUE(ListRecords(*session, RecordKind::Part, 999999).empty());

  EXPECT_EQ(ErrorOf([&] { ListRecords(*session, RecordKind::PartGroup, visual); }).Number(),
            runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorOf([&] { inVisual[0].Field("Ptgp"); }).Number(), 3265);
  // Record keys are checked before anything is loaded.
  platform::SpcRecord record(RecordKind::Part);
  EXPECT_EQ(ErrorOf([&] { record.Load(*session, 0); }).Number(), runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorOf([&] { record.SetNameKey(2); }).Number(), runtime::kInvalidProcedureCall);
  platform::SpcRecord group(RecordKind::PartGroup);
  EXPECT_EQ(ErrorOf([&] { group.SetGroupIdKey(1); }).Number(), runtime::kInvalidProcedureCall);
}

}  // namespace
}  // namespace spcdbtest
