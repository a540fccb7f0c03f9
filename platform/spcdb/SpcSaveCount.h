// How many subgroups the sessions sharing this object have saved. A host counts its own
// saves here instead of asking the database, which other hosts write to as well; reading
// it costs nothing, so a status line may ask at any rate. Sessions on other threads may
// add while the host reads.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform {

class SpcSaveCount {
 public:
  // After a subgroup's commit, or once it is kept in the spool.
  void Add() { count_.fetch_add(1); }
  int64_t Count() const { return count_.load(); }

 private:
  std::atomic<int64_t> count_{0};
};

}  // namespace platform
