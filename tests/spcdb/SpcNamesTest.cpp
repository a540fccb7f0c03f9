#include <gtest/gtest.h>

#include "common/SpcNames.h"
#include "platform/spcdb/SpcRecord.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/FakeComponents.h"

namespace spcdbtest {
namespace {

using host::RecordKind;
using platform::ListRecords;

class SpcNamesTest : public SpcFixture {
 protected:
  void SetUp() override {
    SpcFixture::SetUp();
    if (IsSkipped()) return;
    session_ = OpenSession();
    SaveSubgroup(session_, SampleSubgroup(1));
    components_.recordFactory = [](RecordKind kind) {
      return std::make_unique<platform::SpcRecord>(kind);
    };
  }

  testsupport::FakeComponents components_;
  std::shared_ptr<platform::SpcSession> session_;
};

INSTANTIATE_SPC_SUITE(SpcNamesTest);

using ByName = common::RecordPtr (*)(host::Components&, const common::DatabasePtr&,
                                     const std::string&);
using ById = common::RecordPtr (*)(host::Components&, const common::DatabasePtr&, int32_t);

struct Family {
  ByName name;
  ByName groupName;
  ById groupId;
  const char* groupField;
  std::string group, item;
};

TEST_P(SpcNamesTest, FindsRecordsAndGroupsByNameAndGroupsById) {
  const Family families[] = {
      {common::ResolvePartName, common::ResolvePartGroupName, common::ResolvePartGroupID, "Ptgp",
       "Gehäuse", "O'Brien \"Ä€\" 7"},
      {common::ResolvePrcsName, common::ResolvePrcsGroupName, common::ResolvePrcsGroupID, "Prgp",
       "Line 1", "Milling"},
      {common::ResolveTestName, common::ResolveTestGroupName, common::ResolveTestGroupID, "Tsgp",
       "Dimensions", "Höhe"},
      {common::ResolveJobName, common::ResolveJobGroupName, common::ResolveJobGroupID, "Jbgp",
       "Jobs", "J-1"},
      {common::ResolveShftName, common::ResolveShftGroupName, common::ResolveShftGroupID, "Shgp",
       "Shifts", "Früh"},
  };
  for (const Family& family : families) {
    SCOPED_TRACE(family.item);
    auto record = family.name(components_, session_, family.item);
    ASSERT_NE(record, nullptr);
    EXPECT_NE(record->Id(), 0);
    EXPECT_EQ(record->Name(), family.item);
    EXPECT_EQ(runtime::ToText(record->Field("Name")), family.item);

    auto group = family.groupName(components_, session_, family.group);
    ASSERT_NE(group, nullptr);
    EXPECT_NE(group->Id(), 0);
    EXPECT_EQ(runtime::ToLong(record->Field(family.groupField)), group->Id());
    EXPECT_EQ(family.groupId(components_, session_, group->Id())->Name(), family.group);

    EXPECT_EQ(family.name(components_, session_, family.item + " ")->Id(), 0);
    EXPECT_EQ(family.name(components_, session_, family.group)->Id(), 0);
    EXPECT_EQ(family.groupName(components_, session_, family.item)->Id(), 0);
    auto missing = family.groupId(components_, session_, 999999);
    EXPECT_EQ(missing->Id(), 0);
    EXPECT_EQ(missing->Name(), "");
  }
}

TEST_P(SpcNamesTest, FindsADescriptorOnlyWithinItsGroup) {
  int32_t operators = common::ResolveDescGroupName(components_, session_, "Operators")->Id();
  int32_t machines = common::ResolveDescGroupName(components_, session_, "Machines")->Id();
  ASSERT_NE(operators, 0);
  ASSERT_NE(machines, 0);
  EXPECT_EQ(common::ResolveDescGroupID(components_, session_, machines)->Name(), "Machines");

  auto anna = common::ResolveDescName(components_, session_, "Anna", operators);
  EXPECT_NE(anna->Id(), 0);
  EXPECT_EQ(runtime::ToLong(anna->Field("Dsgp")), operators);
  EXPECT_EQ(common::ResolveDescName(components_, session_, "Anna", machines)->Id(), 0);
  EXPECT_EQ(common::ResolveDescName(components_, session_, "Anna", 0)->Id(), 0);
  EXPECT_NE(
      common::ResolveDescName(components_, session_, "M1'); DROP TABLE parts;--", machines)->Id(),
      0);
}

// The dialogs treat both results of a fault like a name that is not there.
TEST_P(SpcNamesTest, FaultsEndTheLookUpAsNotFound) {
  auto unloaded = common::ResolvePartName(components_, nullptr, "O'Brien \"Ä€\" 7");
  ASSERT_NE(unloaded, nullptr);
  EXPECT_EQ(unloaded->Id(), 0);

  auto foreign = common::ResolveJobName(components_, std::make_shared<ForeignSession>(), "J-1");
  ASSERT_NE(foreign, nullptr);
  EXPECT_EQ(foreign->Id(), 0);

  components_.recordFactory = nullptr;
  EXPECT_EQ(common::ResolveShftName(components_, session_, "Früh"), nullptr);
}

TEST_P(SpcNamesTest, ListsRecordsOfAKindOptionallyWithinAGroup) {
  platform::SpcSubgroupData more = SampleSubgroup(2);
  more.readings = {{"Visual", "Dents", 1, 1, "", ""}, {"Electrical", "Ohm", 1, 5, "", ""}};
  SaveSubgroup(session_, more);

  auto names = [](const std::vector<platform::SpcRecord>& records) {
    std::vector<std::string> names;
    for (const auto& record : records) names.push_back(record.Name());
    return names;
  };
  using Names = std::vector<std::string>;
  EXPECT_EQ(names(ListRecords(*session_, RecordKind::Test)),
            (Names{"Dents", "Höhe", "Ohm", "Scratches", "Width"}));
  EXPECT_EQ(names(ListRecords(*session_, RecordKind::TestGroup)),
            (Names{"Dimensions", "Electrical", "Visual"}));

  int32_t visual = common::ResolveTestGroupName(components_, session_, "Visual")->Id();
  auto inVisual = ListRecords(*session_, RecordKind::Test, visual);
  EXPECT_EQ(names(inVisual), (Names{"Dents", "Scratches"}));
  EXPECT_EQ(runtime::ToLong(inVisual[0].Field("Tsgp")), visual);
  EXPECT_EQ(ListRecords(*session_, RecordKind::Part, 999999).size(), 0u);

  EXPECT_EQ(ErrorOf([&] { ListRecords(*session_, RecordKind::PartGroup, visual); }).Number(),
            runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorOf([&] { inVisual[0].Field("Ptgp"); }).Number(), 3265);
}

TEST_P(SpcNamesTest, RecordKeysAreCheckedBeforeLoading) {
  platform::SpcRecord record(RecordKind::Part);
  EXPECT_EQ(ErrorOf([&] { record.Load(*session_, 0); }).Number(), runtime::kInvalidProcedureCall);
  EXPECT_EQ(ErrorOf([&] { record.SetNameKey(2); }).Number(), runtime::kInvalidProcedureCall);
  platform::SpcRecord group(RecordKind::PartGroup);
  EXPECT_EQ(ErrorOf([&] { group.SetGroupIdKey(1); }).Number(), runtime::kInvalidProcedureCall);

  // Keys combine: a part by name and the wrong group is not found.
  record.SetName("Milling");
  record.SetNameKey(1);
  EXPECT_FALSE(record.Load(*session_, 0));
  platform::SpcRecord process(RecordKind::Process);
  process.SetName("Milling");
  process.SetNameKey(1);
  process.SetGroupId(999999);
  process.SetGroupIdKey(1);
  EXPECT_FALSE(process.Load(*session_, 0));
  process.SetGroupIdKey(0);
  EXPECT_TRUE(process.Load(*session_, 0));
  EXPECT_EQ(process.Name(), "Milling");
}

}  // namespace
}  // namespace spcdbtest
