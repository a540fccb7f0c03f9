// host::HostDateMath on the local wall clock.
//
// Serial times are whole seconds since 1970-01-01 00:00:00 of the wall clock (runtime's
// serial times). NextPeriodTime works on a grid of wall-clock times: base + k x interval x
// unit for every whole k, before and after base. Because dates are wall-clock values,
// daylight-saving changes do not move the grid: a daily grid at 08:00 stays at 08:00, an
// hourly grid gives every wall-clock hour once. On the spring-forward day the point in the
// skipped hour (02:00 in Europe/Berlin) is returned as it is; the clock never shows it, so
// the collection falls on the first tick after the gap. On the fall-back day the repeated
// hour is not served a second time: its grid points already passed.
#pragma once

#include "host/HostDateMath.h"

namespace platform {

class DateMath : public host::HostDateMath {
 public:
  runtime::Date SerialToDate(int32_t serial) const override;
  int32_t DateToSerial(runtime::Date date) const override;
  // Computed in constant time however far `base` lies from `now`; `base` counts to the
  // whole second. A negative interval spans the same grid as its magnitude; a zero
  // interval counts as 1, so that a mistyped schedule never collects on every tick. A unit
  // outside 0-3 is error 5; a result outside the years 100-9999 is error 6.
  runtime::Date NextPeriodTime(runtime::Date base, runtime::Date now, int32_t unit,
                               int32_t interval) const override;
};

}  // namespace platform
