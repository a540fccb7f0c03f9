#include "platform/spcdb/SpcNewSubgroupReader.h"

#include "platform/spcdb/SpcReader.h"

namespace dam {
namespace {

// Identifiers looked at per call: a follower that fell behind catches up in steps.
constexpr int32_t kBatch = 1000;

}  // namespace

SubgroupFollower::SubgroupFollower(platform::SpcSession& session, int32_t after,
                                   std::chrono::milliseconds holeWait)
    : session_(session), last_(after), holeWait_(holeWait) {}

std::vector<platform::SpcSubgroupData> SubgroupFollower::Poll(Clock::time_point now) {
  int32_t ready = last_;
  for (const int32_t id : platform::SubgroupIdsAfter(session_, last_, kBatch)) {
    if (id != ready + 1) {
      if (hole_ != ready + 1) {
        hole_ = ready + 1;
        holeSince_ = now;
      }
      if (now - holeSince_ < holeWait_) break;
    }
    ready = id;
  }
  if (ready == last_) return {};
  std::vector<platform::SpcSubgroupData> subgroups =
      platform::ReadSubgroupRange(session_, last_ + 1, ready);
  last_ = ready;
  return subgroups;
}

}  // namespace dam
