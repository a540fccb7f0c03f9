// Compares two values with one of the comparing evaluation codes ("=" to "<>", of
// common/Evaluation.h).
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
