// The number a new SPC database session identifies itself with (DatabaseSession::Initialize):
// whole minutes since 1980-01-01 00:00 of the local wall clock, now.
#pragma once

#include <cstdint>

namespace host {

int32_t SessionNumber();

}  // namespace host
