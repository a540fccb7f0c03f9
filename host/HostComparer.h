// Compares two values with an evaluation code: 1 "=", 2 ">", 3 ">=", 4 "<", 5 "<=", 6 "<>".
#pragma once

#include <cstdint>

#include "runtime/Variant.h"

namespace host {

class HostComparer {
 public:
  virtual ~HostComparer() = default;
  virtual bool CompareValues(const runtime::Variant& value1, int32_t evaluation,
                             const runtime::Variant& value2) const = 0;
};

}  // namespace host
