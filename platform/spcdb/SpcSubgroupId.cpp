#include "platform/spcdb/SpcSubgroupId.h"

#include <cmath>
#include <limits>

#include "runtime/Error.h"

namespace platform {
namespace {

// Every integer up to here is a double of its own.
constexpr double kMostExact = 9007199254740992.0;

}  // namespace

SpcSubgroupId SubgroupIdOf(const runtime::Variant& field) {
  if (field.kind() == runtime::Variant::Kind::Long) return field.AsLong();
  const double id = runtime::ToDouble(field);
  if (id != std::trunc(id) || std::fabs(id) > kMostExact) {
    throw runtime::Error(runtime::kOverflow);
  }
  return static_cast<SpcSubgroupId>(id);
}

runtime::Variant SubgroupIdParameter(SpcSubgroupId id) {
  if (id >= std::numeric_limits<int32_t>::min() && id <= std::numeric_limits<int32_t>::max()) {
    return static_cast<int32_t>(id);
  }
  if (std::fabs(static_cast<double>(id)) > kMostExact) {
    throw runtime::Error(runtime::kOverflow);
  }
  return static_cast<double>(id);
}

}  // namespace platform
