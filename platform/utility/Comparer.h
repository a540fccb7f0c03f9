// host::HostComparer: two numbers (Long, Double or Date serials) compare by value; any
// other pair compares as text, byte by byte and case-sensitively ("abc" < "abd" < "b",
// "B" < "a"). Any code but the comparing evaluations (common::kEqual to kNotEqual) is false.
// Null has no text: comparing it is error 94.
#pragma once

#include "host/HostComparer.h"

namespace platform {

class Comparer : public host::HostComparer {
 public:
  bool CompareValues(const runtime::Variant& value1, int32_t evaluation,
                     const runtime::Variant& value2) const override;
};

}  // namespace platform
