#include "apps/dam/commands/SubgroupsFollow.h"

#include "apps/dam/output/JsonOutput.h"
#include "apps/dam/output/SubgroupJson.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcCancel.h"
#include "platform/spcdb/SpcNewSubgroupReader.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcUnavailable.h"
#include "runtime/Error.h"

namespace dam {
namespace {

bool Write(std::ostream& out, const std::vector<platform::SpcSubgroupData>& subgroups) {
  for (const platform::SpcSubgroupData& subgroup : subgroups) {
    out << JsonLine(SubgroupJson(subgroup)) << std::flush;
  }
  return static_cast<bool>(out);
}

}  // namespace

FollowStop::FollowStop()
    : signals_(
          [this] {
            {
              std::lock_guard lock(mutex_);
              stop_ = true;
            }
            asked_.notify_all();
          },
          [] { platform::CancelRunningStatements(); }) {}

bool FollowStop::WaitFor(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return asked_.wait_for(lock, time, [this] { return stop_; });
}

int WriteSubgroupsAsSaved(platform::SpcSession& session, int32_t last, std::ostream& out,
                          std::ostream& errors, FollowStop& stop,
                          std::chrono::milliseconds interval) {
  const std::vector<platform::SpcSubgroupData> newest = platform::ReadSubgroups(session, last);
  if (!Write(out, newest)) return 1;
  platform::SpcNewSubgroupReader saved(
      session, newest.empty() ? platform::LastSubgroupId(session) : newest.back().id);
  bool away = false;
  while (!stop.WaitFor(interval)) {
    try {
      if (!Write(out, saved.Poll(platform::SpcNewSubgroupReader::Clock::now()))) return 1;
      if (away) errors << "dam subgroups: the SPC database answers again" << std::endl;
      away = false;
    } catch (const runtime::Error& error) {
      // A query cancelled by the stop ends the follow, not an error.
      if (stop.Requested()) break;
      if (!platform::IsUnavailable(error)) throw;
      if (!away) {
        errors << "dam subgroups: the SPC database does not answer, asking again: "
               << platform::MaskConnectionSecrets(error.NumberAndDescription()) << std::endl;
      }
      away = true;
    }
  }
  return 0;
}

}  // namespace dam
