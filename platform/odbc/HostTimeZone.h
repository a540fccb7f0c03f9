// This host's local time zone, spelled so that a PostgreSQL server reads it as the C library
// here does: PostgreSQL knows the same zone names and reads the same POSIX rules.
#pragma once

#include <string>

namespace platform {

// From TZ as the C library reads it: a zone name ("Europe/Berlin", ":Europe/Berlin"), a zone
// file's path, a POSIX rule ("CET-1CEST,M3.5.0,M10.5.0/3"), empty for UTC. Without TZ, from
// /etc/localtime: the name of the zone it links to, else the rule a zone file ends with (that
// of its latest times), and UTC when there is none.
std::string HostTimeZone();

}  // namespace platform
