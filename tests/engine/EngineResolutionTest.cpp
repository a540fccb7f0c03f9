// Conditions, template resolution and what one saved subgroup carries.
#include "runtime/Text.h"
#include "runtime/Variant.h"
#include "tests/engine/EngineFixture.h"

namespace enginetest {
namespace {

TEST_F(EngineTest, ConditionsCompareAsNumbersDatesOrTextByTheFirstValue) {
  SetValue("A", "12.5", "2024-05-01 10:00:00");
  SetValue("B", "abc", "2024-05-01 10:00:00");
  SetValue("D", "2024-05-01 09:00:00", "2024-05-01 10:00:00");
  Load({"CONDITION=0\t%TAG(A)\t2\t%TAG(B)",              // 12.5 > 0
        "CONDITION=0\t%TAG(B)\t4\tABD",                  // byte-wise, "a" comes after "A"
        "CONDITION=0\tABC\t4\t%TAG(B)",                  //
        "CONDITION=0\t%TAG(D)\t2\t5",                    // a date against a number
        "CONDITION=0\t%TAG(D)\t2\t2024-05-01 08:59:59",  // dates by serial time
        "CONDITION=0\tFIC101\t0\t",                      // IS NEW without reference
        "CONDITION=0\t%TAG(A) %TAG(B)\t0\tkept",         // IS NEW over every tag
        "CONDITION=0\t%TAG(A)\t1\t12.50 units"});        // leading number of value 2
  Start();
  TickDue();
  std::vector<std::string> results;
  for (int32_t i = 1; i <= configuration->ConditionCount(); ++i) {
    const auto& condition = *configuration->GetConditionItem(i);
    results.push_back(runtime::ToText(condition.ResolvedValue1()) + " | " +
                      runtime::ToText(condition.ResolvedValue2()) + " | " +
                      (condition.IsValid() ? "valid" : "not valid"));
  }
  EXPECT_EQ(results,
            (Lines{"12.5 | abc | valid", "abc | ABD | not valid", "ABC | abc | valid",
                   "2024-05-01 09:00:00 | 5 | not valid",
                   "2024-05-01 09:00:00 | 2024-05-01 08:59:59 | valid", "FIC101 |  | not valid",
                   "12.5 abc |  | valid", "12.5 | 12.50 units | valid"}));
  EXPECT_EQ(engine.SavedSubgroups(), 0);

  SetValue("A", "13", "2024-05-01 10:01:00");
  TickDue();
  EXPECT_FALSE(configuration->GetConditionItem(7)->IsValid()) << "B has no new value";
}

TEST_F(EngineTest, TemplatesResolveEveryReferenceAndTheSubgroupGetsThemInOrder) {
  SetValue("LOT", "L-7", "2024-05-01 09:30:00");
  SetValue("PART", "P-100", "2024-05-01 09:30:00");
  SetValue("W", "2.5", "2024-05-01 09:30:15");
  Load({"DESCRIPTOR=4\t%TAG(LOT)\tLot %TAG(Value, LOT) at %TAG(Date, lot)",
        "DESCRIPTOR=1\tParts\t  %TAG(PART)  ", "DESCRIPTOR=6\t\tSN-%TAG(part)", "DESCRIPTOR=8\t\t3",
        "DESCRIPTOR=9\t\t%TAG(DATE, W)", "DESCRIPTOR=7\tCrew\t%TAG(Value, LOT)/%tag(value, LOT)",
        "DESCRIPTOR=7\tShiftLead\tB", "TEST=Dims\tWidth\t%TAG(W)\t",
        "TEST=Dims\tWIDTH\t%TAG(W) \tscratch", "TEST=Dims\tHeight\t%TAG(W)\t",
        "TEST=Dims\twidth\t1E1\t"});
  Start();
  TickDue();

  EXPECT_EQ(configuration->GetDescriptorItem(2)->ResolvedItem(1), "P-100");
  EXPECT_EQ(engine.SavedSubgroups(), 1);
  // Lot after every other descriptor; repeated tests numbered regardless of case.
  EXPECT_EQ(runtime::Join(hostCalls, "; "),
            "SetFlag true; SetDatabase none; Clear; SetGroup Part Parts; SetName Part P-100; "
            "SetSize 3; SetTime 2024-05-01 09:30:15; SetGroup UserDefined Crew; "
            "SetName UserDefined L-7/L-7; SetGroup UserDefined ShiftLead; SetName UserDefined B; "
            "SetLot Lot L-7 at 2024-05-01 09:30:00; "
            "LookupTestGroup Dims; LookupTest Width; AddReading 2.5 1 0 [SN-P-100] []; "
            "LookupTestGroup Dims; LookupTest WIDTH; AddReading 2.5 2 0 [SN-P-100] [scratch]; "
            "LookupTestGroup Dims; LookupTest Height; AddReading 2.5 1 0 [SN-P-100] []; "
            "LookupTestGroup Dims; LookupTest width; AddReading 10 3 0 [SN-P-100] []; Save 0");
}

// Resolution takes one pass over a template: a value is never expanded again.
TEST_F(EngineTest, ResolutionPutsEachValueInPlaceOnce) {
  SetValue("A", "a1", "2024-05-01 09:30:00");
  SetValue("B", "%TAG(C)", "2024-05-01 09:30:00");
  SetValue("C", "c3", "2024-05-01 09:30:00");
  const std::pair<std::string, std::string> cases[] = {
      {"%TAG(A)%TAG(A)%tag(a) x %TAG( A )", "a1a1a1 x a1"},
      {"%TAG(Date, A)|%TAG(date,a)|%TAG(Value, A)|%TAG(A)",
       "2024-05-01 09:30:00|2024-05-01 09:30:00|a1|a1"},
      {"((%TAG(A)))%TAG(C)", "((a1))c3"},
      {"%TAG(x %TAG(A))", "%TAG(x a1)"},
      {"  %TAG(A  ", "%TAG(A"},
      {"%TAG(B) and %TAG(C)", "%TAG(C) and c3"},
  };
  Lines definitions;
  for (const auto& [text, resolved] : cases) definitions.push_back("DESCRIPTOR=7\tG\t" + text);
  Load(definitions);
  Start();
  TickDue();
  ASSERT_EQ(engine.SavedSubgroups(), 1) << engine.LastErrorDetail();
  for (int32_t i = 1; i <= configuration->DescriptorCount(); ++i) {
    EXPECT_EQ(configuration->GetDescriptorItem(i)->ResolvedItem(1), cases[i - 1].second)
        << cases[i - 1].first;
  }
}

}  // namespace
}  // namespace enginetest
