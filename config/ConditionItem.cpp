#include "config/ConditionItem.h"

#include "config/ItemFields.h"

namespace config {

void ConditionItem::SetResolvedValue1(runtime::Variant value) {
  resolvedValue1_ = std::move(value);
  isValid_ = false;
}

void ConditionItem::SetResolvedValue2(runtime::Variant value) {
  resolvedValue2_ = std::move(value);
  isValid_ = false;
}

std::string ConditionItem::GetData() const {
  return std::to_string(dataType_) + '\t' + value1_ + '\t' + std::to_string(evaluation_) + '\t' +
         value2_;
}

void ConditionItem::SetData(const std::string& body) {
  const ItemFields fields(body);
  ConditionItem read;
  read.dataType_ = fields.Number(kDataTypeField);
  read.value1_ = fields.Text(kValue1Field);
  read.evaluation_ = fields.Number(kEvaluationField);
  read.value2_ = fields.Text(kValue2Field);
  *this = std::move(read);
}

}  // namespace config
