// What every JSON output of dam shares, for the tools that read it: the version of the
// shape, the time format and one compact object per line.
#pragma once

#include <QJsonObject>
#include <chrono>
#include <string>

#include "runtime/Date.h"

namespace dam {

// Raised when a field changes meaning or goes away; new fields do not raise it.
inline constexpr int kJsonSchema = 1;

// ISO 8601 local time with its UTC offset, to the millisecond: "2026-11-23T09:15:02.000+01:00".
// A stored local time is written as stored. One the clock showed twice (the hour repeated as
// summer time ends) or skipped (as it begins) takes the offset in force before the change.
std::string IsoTime(runtime::Date time);
// The same for an instant: the local time it was, with the offset then in force.
std::string IsoTime(std::chrono::system_clock::time_point instant);
// Seconds since 1970-01-01 00:00 UTC, to the millisecond, as Prometheus keeps times; a
// stored local time counts with IsoTime's offset.
double UnixSeconds(runtime::Date time);

// The text JSON output gives the finite number `value`, the shortest that reads back as the
// same double; CSV writes numbers with it, so that both outputs agree.
std::string JsonNumber(double value);

// `object` compact, on one line ending in a newline.
std::string JsonLine(const QJsonObject& object);

}  // namespace dam
