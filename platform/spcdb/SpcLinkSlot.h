// Where a session's link to the SPC database lives, with the lock that gives it to one
// thread at a time. A session on a server has a slot of its own. The sessions of one process
// on one SQLite file share a slot: SQLite lets one connection write at a time anyway, and
// connections of their own would wait for each other by polling the file's lock, each with
// its own copy of the schema and the pages, read again after every other one's write.
// Their transactions queue in the slot: the lines of a plant collect at the same moments,
// and one commit for those waiting costs a fraction of one each.
#pragma once

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "platform/spcdb/SpcLink.h"

namespace platform {

// One session's transaction, waiting in its slot's queue to be written.
struct SpcWrite {
  explicit SpcWrite(const std::function<void(SpcLink&)>& body) : body(body) {}

  const std::function<void(SpcLink&)>& body;
  // Its transaction was written, or it is its turn to write the queue.
  std::condition_variable turn;
  bool done = false;
  std::exception_ptr failure;
};

struct SpcLinkSlot {
  std::recursive_timed_mutex mutex;
  std::unique_ptr<SpcLink> link;
  // Set once the slot is the one its SQLite file's sessions share.
  bool shared = false;
  // The transactions waiting, and whether a session is writing some now.
  std::mutex queueMutex;
  std::deque<SpcWrite*> queue;
  bool writing = false;
};

// The slot the sessions of this process share for the SQLite database reached by `key`
// (its connection string and policy); null while no session holds one.
std::shared_ptr<SpcLinkSlot> FindSharedSpcLinkSlot(const std::string& key);
// Shares `slot`, whose link reaches an SQLite file, under `key`; gives the slot shared
// there already when another session came first (then `slot` stays unshared).
std::shared_ptr<SpcLinkSlot> ShareSpcLinkSlot(const std::string& key,
                                              std::shared_ptr<SpcLinkSlot> slot);

}  // namespace platform
