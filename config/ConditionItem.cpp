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
  read.dataType_ = fields.Number(0);
  read.value1_ = fields.Text(1);
  read.evaluation_ = fields.Number(2);
  read.value2_ = fields.Text(3);
  *this = std::move(read);
}

}  // namespace config
