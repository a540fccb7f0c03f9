// One collection condition: a tag expression compared with a value, or "IS NEW".
#pragma once

#include <cstdint>
#include <string>

#include "runtime/Variant.h"

namespace config {

class ConditionItem {
 public:
  int32_t DataType() const { return dataType_; }
  void SetDataType(int32_t type) { dataType_ = type; }
  // A code of common/Evaluation.h, or any other number as read.
  int32_t Evaluation() const { return evaluation_; }
  void SetEvaluation(int32_t evaluation) { evaluation_ = evaluation; }
  const std::string& Value1() const { return value1_; }
  void SetValue1(std::string value) { value1_ = std::move(value); }
  const std::string& Value2() const { return value2_; }
  void SetValue2(std::string value) { value2_ = std::move(value); }

  // Writing either resolved value makes the condition not valid until evaluated again.
  const runtime::Variant& ResolvedValue1() const { return resolvedValue1_; }
  void SetResolvedValue1(runtime::Variant value);
  const runtime::Variant& ResolvedValue2() const { return resolvedValue2_; }
  void SetResolvedValue2(runtime::Variant value);
  bool IsValid() const { return isValid_; }
  void SetIsValid(bool valid) { isValid_ = valid; }

  // The line body: data type, value 1, evaluation and value 2 joined by tabs.
  enum Field : size_t { kDataTypeField, kValue1Field, kEvaluationField, kValue2Field };
  std::string GetData() const;
  void SetData(const std::string& body);

 private:
  int32_t dataType_ = 0;
  int32_t evaluation_ = 0;
  std::string value1_, value2_;
  runtime::Variant resolvedValue1_, resolvedValue2_;
  bool isValid_ = false;
};

}  // namespace config
