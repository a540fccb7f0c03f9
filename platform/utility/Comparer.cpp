#include "platform/utility/Comparer.h"

#include <compare>

#include "common/Evaluation.h"

namespace platform {
namespace {

bool IsNumber(const runtime::Variant& value) {
  using Kind = runtime::Variant::Kind;
  const Kind kind = value.kind();
  return kind == Kind::Long || kind == Kind::Double || kind == Kind::Date;
}

double NumberOf(const runtime::Variant& value) {
  using Kind = runtime::Variant::Kind;
  switch (value.kind()) {
    case Kind::Long:
      return value.AsLong();
    case Kind::Date:
      return value.AsDate().serial;
    default:
      return value.AsDouble();
  }
}

}  // namespace

bool Comparer::CompareValues(const runtime::Variant& value1, int32_t evaluation,
                             const runtime::Variant& value2) const {
  std::partial_ordering order = std::partial_ordering::unordered;
  if (IsNumber(value1) && IsNumber(value2)) {
    order = NumberOf(value1) <=> NumberOf(value2);
  } else {
    // std::string compares as unsigned bytes, which is the byte order we want.
    order = runtime::ToText(value1).compare(runtime::ToText(value2)) <=> 0;
  }
  switch (evaluation) {
    case common::kEqual:
      return order == 0;
    case common::kGreater:
      return order > 0;
    case common::kGreaterOrEqual:
      return order >= 0;
    case common::kLess:
      return order < 0;
    case common::kLessOrEqual:
      return order <= 0;
    case common::kNotEqual:
      return order != 0;
    default:
      return false;
  }
}

}  // namespace platform
