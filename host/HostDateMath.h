// Schedule arithmetic and serial times (whole seconds since 1970-01-01 00:00:00 of the
// local wall clock, 32 bits).
#pragma once

#include <cstdint>

#include "runtime/Date.h"

namespace host {

class HostDateMath {
 public:
  virtual ~HostDateMath() = default;
  virtual runtime::Date SerialToDate(int32_t serial) const = 0;
  virtual int32_t DateToSerial(runtime::Date date) const = 0;
  // The first point strictly after `now` of the grid base + k x interval x unit, with the
  // interval unit codes of common/IntervalUnit.h.
  virtual runtime::Date NextPeriodTime(runtime::Date base, runtime::Date now, int32_t unit,
                                       int32_t interval) const = 0;
};

}  // namespace host
