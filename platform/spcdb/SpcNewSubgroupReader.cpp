#include "platform/spcdb/SpcNewSubgroupReader.h"

#include "platform/spcdb/SpcReader.h"

namespace platform {
namespace {

// Identifiers looked at per call: a reader that fell behind catches up in steps.
constexpr int32_t kBatch = 1000;

}  // namespace

SpcNewSubgroupReader::SpcNewSubgroupReader(SpcSession& session, int32_t after,
                                           std::chrono::milliseconds holeWait)
    : session_(session), last_(after), holeWait_(holeWait) {}

std::vector<SpcSubgroupData> SpcNewSubgroupReader::Poll(Clock::time_point now) {
  int32_t ready = last_;
  for (const int32_t id : SubgroupIdsAfter(session_, last_, kBatch)) {
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
  std::vector<SpcSubgroupData> subgroups = ReadSubgroupRange(session_, last_ + 1, ready);
  last_ = ready;
  return subgroups;
}

}  // namespace platform
