// The local wall clock's offset from UTC, and when it next steps against real time: a
// change of that offset (daylight saving, a new rule of the time zone). A timer that sleeps
// until a wall-clock time wakes there to look again, as it does when the clock itself is set.
#pragma once

#include <ctime>
#include <optional>

namespace platform {

// Seconds east of UTC at `time`.
long LocalOffset(std::time_t time);

// The offset of the local wall-clock time `wall` (seconds since 1970-01-01 00:00 of that
// wall clock). A time the clock showed twice (the hour repeated as summer time ends) cannot
// be told apart by its wall-clock reading, and one it skipped (as summer time begins) was
// never shown: both take the offset in force before the change.
long WallClockOffset(std::time_t wall);

// The first second after `from`, up to `until`, at which the local offset differs from
// the one at `from`; none when it stays the same. Changes are looked for a day apart, as
// time zones make them.
std::optional<std::time_t> NextOffsetChange(std::time_t from, std::time_t until);

}  // namespace platform
