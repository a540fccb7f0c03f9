// The forwards from one spool file into one SPC database, shared by every spool object of the
// process that forwards there (a host gives each configuration's driver a spool of its own on
// the one file). One forwards at a time: two would write the same kept subgroups, and on a
// server each write that the unique key refuses uses up an identifier for nothing. Another
// database's forwards have a lane of their own, so that one that does not answer holds up no
// other.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace platform {

struct SpcSpoolLane {
  // Held by the forward under way; the others try it and do not wait.
  std::mutex forwarding;
  // Kept subgroups the forwards of this lane wrote into the database.
  std::atomic<int64_t> forwarded{0};
};

// The lane of the spool file at `path` into the database `database` (SpcSpool::DatabaseId),
// the same for every spool object of the process while one holds it.
std::shared_ptr<SpcSpoolLane> SpcSpoolLaneOf(const std::string& path, const std::string& database);

}  // namespace platform
