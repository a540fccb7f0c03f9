#include "platform/spcdb/SpcNewSubgroupReader.h"

#include <algorithm>

#include "platform/spcdb/SpcReader.h"

namespace platform {
namespace {

// Identifiers looked at per call: a reader that fell behind catches up in steps.
constexpr int32_t kBatch = 1000;

}  // namespace

SpcNewSubgroupReader::SpcNewSubgroupReader(SpcSession& session, SpcSubgroupId after,
                                           std::chrono::milliseconds holeWait)
    : session_(session), last_(after), holeWait_(holeWait) {}

std::vector<SpcSubgroupData> SpcNewSubgroupReader::Poll(Clock::time_point now) {
  std::vector<SpcSubgroupId> ids = SubgroupIdsAfter(session_, last_, kBatch);
  // Newer than the newest the database holds: it is another one (a file replaced at its path,
  // a database made anew), whose identifiers start again.
  if (ids.empty() && last_ > 0 && LastSubgroupId(session_) < last_) {
    ids = SubgroupIdsAfter(session_, 0, kBatch);
    last_ = 0;
    seen_.clear();
  }
  if (ids.empty()) return {};
  // A full batch hides the gaps above it, which are as old as the newest identifier.
  const SpcSubgroupId newest = ids.size() < static_cast<size_t>(kBatch)
                                   ? ids.back()
                                   : std::max(ids.back(), LastSubgroupId(session_));
  if (seen_.empty() || seen_.back().newest < newest) seen_.push_back({newest, now});
  SpcSubgroupId ready = last_;
  for (const SpcSubgroupId id : ids) {
    if (id != ready + 1) {
      const auto since =
          std::ranges::find_if(seen_, [&](const Seen& seen) { return seen.newest > ready + 1; });
      if (now - since->at < holeWait_) break;
    }
    ready = id;
  }
  if (ready == last_) return {};
  std::vector<SpcSubgroupData> subgroups = ReadSubgroupRange(session_, last_ + 1, ready);
  last_ = ready;
  while (!seen_.empty() && seen_.front().newest <= last_) seen_.pop_front();
  return subgroups;
}

}  // namespace platform
