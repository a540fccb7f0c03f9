// Where a session's link to the SPC database lives, with the lock that gives it to one
// thread at a time. A session on a server has a slot of its own. The sessions of one process
// on one SQLite file share a slot: SQLite lets one connection write at a time anyway, and
// connections of their own would wait for each other by polling the file's lock, each with
// its own copy of the schema and the pages, read again after every other one's write.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "platform/spcdb/SpcLink.h"

namespace platform {

struct SpcLinkSlot {
  std::recursive_timed_mutex mutex;
  std::unique_ptr<SpcLink> link;
  // Set once the slot is the one its SQLite file's sessions share.
  bool shared = false;
};

// The slot the sessions of this process share for the SQLite database reached by `key`
// (its connection string and policy); null while no session holds one.
std::shared_ptr<SpcLinkSlot> FindSharedSpcLinkSlot(const std::string& key);
// Shares `slot`, whose link reaches an SQLite file, under `key`; gives the slot shared
// there already when another session came first (then `slot` stays unshared).
std::shared_ptr<SpcLinkSlot> ShareSpcLinkSlot(const std::string& key,
                                              std::shared_ptr<SpcLinkSlot> slot);

}  // namespace platform
