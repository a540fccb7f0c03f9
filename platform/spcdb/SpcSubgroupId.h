// The identifier of a saved subgroup, and how it travels through SQL. It is 64-bit: a plant's
// database takes more subgroups in its life than 32 bits count (200 lines saving every second
// pass 2^31 in 124 days). Identifiers of named records stay 32-bit: they cross the host
// interface and grow only with new names.
#pragma once

#include <cstdint>

#include "runtime/Variant.h"

namespace platform {

using SpcSubgroupId = int64_t;

// The identifier in a fetched field. Variant has no 64-bit integer: one beyond 32 bits comes
// as an integral Double. Fails with Overflow for a Double that is no identifier.
SpcSubgroupId SubgroupIdOf(const runtime::Variant& field);

// The parameter that binds `id`: a Double beyond 32 bits, exact up to 2^53. The SQL takes it as
// CAST(? AS BIGINT): PostgreSQL compares a bigint column with a double without its index.
runtime::Variant SubgroupIdParameter(SpcSubgroupId id);

}  // namespace platform
