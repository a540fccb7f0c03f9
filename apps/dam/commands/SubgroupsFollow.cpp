#include "apps/dam/commands/SubgroupsFollow.h"

#include "apps/dam/host/MissingSpcFile.h"
#include "apps/dam/output/JsonOutput.h"
#include "apps/dam/output/SubgroupJson.h"
#include "apps/shared/Failures.h"
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

int WriteSubgroupsAsSaved(platform::SpcSession& session, const std::string& connection,
                          int32_t last, std::ostream& out, std::ostream& errors, FollowStop& stop,
                          std::chrono::milliseconds interval) {
  const std::vector<platform::SpcSubgroupData> newest = platform::ReadSubgroups(session, last);
  if (!Write(out, newest)) return 1;
  const platform::SpcSubgroupId after = last == kEverySubgroup ? 0
                                        : newest.empty()       ? platform::LastSubgroupId(session)
                                                               : newest.back().id;
  platform::SpcNewSubgroupReader saved(session, after);
  bool away = false;
  while (!stop.WaitFor(interval)) {
    // The session opens a file found deleted at its path again, which makes an empty SPC
    // database there: a follower only reads, so it waits for the file instead.
    if (const std::string file = MissingSpcFile(connection); !file.empty()) {
      if (!away) {
        errors << "dam subgroups: there is no SPC database at " << file
               << " any more, waiting for it" << std::endl;
      }
      away = true;
      continue;
    }
    try {
      const platform::SpcSubgroupId printed = saved.Last();
      const std::vector<platform::SpcSubgroupData> subgroups =
          saved.Poll(platform::SpcNewSubgroupReader::Clock::now());
      if (saved.Last() < printed) {
        errors << "dam subgroups: the SPC database no longer holds the subgroups printed (it was "
                  "replaced or made anew): following it from its first subgroup"
               << std::endl;
      }
      if (!Write(out, subgroups)) return 1;
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

std::unique_ptr<DamHost> WaitForSpc(host::Components& components, const std::string& connection,
                                    std::ostream& errors, FollowStop& stop,
                                    std::chrono::milliseconds interval) {
  for (bool said = false;; said = true) {
    std::string waiting;
    if (const std::string file = MissingSpcFile(connection); !file.empty()) {
      waiting = "there is no SPC database at " + file + " yet, waiting for it";
    } else {
      try {
        auto host = std::make_unique<DamHost>(components, connection);
        // A session opens while its database is away (the spool would take the saves):
        // one question tells whether it answers.
        platform::LastSubgroupId(dynamic_cast<platform::SpcSession&>(*host->Session()));
        if (said) errors << "dam subgroups: the SPC database answers, following it" << std::endl;
        return host;
      } catch (const runtime::Error& error) {
        if (!platform::IsUnavailable(error)) {
          std::throw_with_nested(
              apps::Failure(apps::kExitUnreachable, "cannot open the SPC database"));
        }
        waiting = "the SPC database does not answer, asking again: " +
                  platform::MaskConnectionSecrets(error.NumberAndDescription());
      }
    }
    if (!said) errors << "dam subgroups: " << waiting << std::endl;
    if (stop.WaitFor(interval)) return nullptr;
  }
}

}  // namespace dam
