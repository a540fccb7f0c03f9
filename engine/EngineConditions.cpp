#include "common/Evaluation.h"
#include "common/TagExpressions.h"
#include "common/TypeTables.h"
#include "engine/Engine1.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Variant.h"

namespace engine {

bool Engine1::ProcessRecordSet(std::unique_ptr<host::Recordset> rs) {
  return Trapped("ProcessRecordSet", [&] {
    config::TagItems& tags = Configuration().TagItems();
    for (; !rs->Eof(); rs->MoveNext()) {
      config::TagItem& tag = tags.Item(runtime::ToText(rs->Field(common::kTagnameField)));
      const runtime::Date timeStamp = runtime::ToDate(rs->Field(common::kTimeStampField));
      // Only a later whole second counts: historians stamp a changed value anew.
      if (tag.IsEmpty || runtime::DateDiffSeconds(tag.TimeStamp, timeStamp) > 0) {
        tag.IsEmpty = false;
        tag.IsNew = true;
        tag.TimeStamp = timeStamp;
        tag.TagValue = rs->Field(common::kValueField);
      } else {
        tag.IsNew = false;
      }
    }
    rs.reset();
    TagsRefreshed.Raise();
    return true;
  });
}

bool Engine1::ResolveCondition() {
  return Trapped("ResolveCondition", [&] {
    const config::Configuration1& configuration = Configuration();
    for (int32_t i = 1; i <= configuration.ConditionCount(); ++i) {
      const std::shared_ptr<config::ConditionItem> condition = configuration.GetConditionItem(i);
      condition->SetIsValid(false);
      condition->SetResolvedValue1(ResolveItem(condition->Value1()));
      // A fault in the evaluation only leaves this condition not valid.
      try {
        EvaluateCondition(*condition);
      } catch (...) {
      }
    }
    ConditionsRefreshed.Raise();
    return true;
  });
}

// The kind of comparison follows from the resolved first value: a number, a date, or text.
void Engine1::EvaluateCondition(config::ConditionItem& condition) {
  if (condition.Evaluation() == common::kIsNew) {
    std::vector<std::string> tokens, tagNames, fields;
    if (!common::GetTagArrays(condition.Value1(), tokens, tagNames, fields)) return;
    const config::TagItems& tags = Configuration().TagItems();
    for (const std::string& name : tagNames) {
      const config::TagItem* tag = tags.Find(name);
      if (!tag || !tag->IsNew) return;
    }
    condition.SetIsValid(true);
    return;
  }

  condition.SetResolvedValue2(ResolveItem(condition.Value2()));
  const std::string text1 = runtime::ToText(condition.ResolvedValue1());
  const std::string text2 = runtime::ToText(condition.ResolvedValue2());
  host::HostComparer& comparer = components_.Comparer();
  bool valid = false;
  if (runtime::IsNumericText(text1)) {
    valid = comparer.CompareValues(runtime::LeadingNumber(text1), condition.Evaluation(),
                                   runtime::LeadingNumber(text2));
  } else if (const auto date1 = runtime::ParseDate(text1)) {
    const auto date2 = runtime::ParseDate(text2);
    if (!date2) return;
    // Whole seconds, as serial times count, but in a range that holds every date.
    valid = comparer.CompareValues(static_cast<double>(runtime::EpochSeconds(*date1)),
                                   condition.Evaluation(),
                                   static_cast<double>(runtime::EpochSeconds(*date2)));
  } else {
    valid = comparer.CompareValues(text1, condition.Evaluation(), text2);
  }
  condition.SetIsValid(valid);
}

bool Engine1::ConditionsSatisfied() {
  const config::Configuration1& configuration = Configuration();
  for (int32_t i = 1; i <= configuration.ConditionCount(); ++i) {
    if (!configuration.GetConditionItem(i)->IsValid()) return false;
  }
  return true;
}

}  // namespace engine
