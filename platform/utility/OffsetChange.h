// When the local wall clock next steps against real time: a change of its offset from UTC
// (daylight saving, a new rule of the time zone). A timer that sleeps until a wall-clock
// time wakes there to look again, as it does when the clock itself is set.
#pragma once

#include <ctime>
#include <optional>

namespace platform {

// The first second after `from`, up to `until`, at which the local offset differs from
// the one at `from`; none when it stays the same. Changes are looked for a day apart, as
// time zones make them.
std::optional<std::time_t> NextOffsetChange(std::time_t from, std::time_t until);

}  // namespace platform
