// What the sessions sharing this object have saved: how many subgroups, and the last one's
// identifier. A host counts its own saves here instead of asking the database, which other
// hosts write to as well; reading it costs nothing, so a status line may ask at any rate.
// Sessions on other threads may add while the host reads.
#pragma once

#include <atomic>
#include <cstdint>

namespace platform {

class SpcSaveCount {
 public:
  // After the commit of the subgroup `id`.
  void Add(int32_t id);
  // A subgroup kept in the spool: saved for this host, without an identifier yet.
  void AddKept();
  int64_t Count() const { return count_.load(); }
  // 0 before the first save.
  int32_t LastId() const { return lastId_.load(); }

 private:
  std::atomic<int64_t> count_{0};
  std::atomic<int32_t> lastId_{0};
};

}  // namespace platform
