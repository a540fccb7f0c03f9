#include "host/SessionNumber.h"

#include "runtime/Clock.h"
#include "runtime/Date.h"

namespace host {

int32_t SessionNumber() {
  const runtime::Date since = runtime::MakeDate({.year = 1980, .month = 1, .day = 1});
  return static_cast<int32_t>(runtime::DateDiffMinutes(since, runtime::Now()));
}

}  // namespace host
