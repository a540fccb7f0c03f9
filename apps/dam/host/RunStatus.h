// What `dam run` shows of a running driver. The host sees a driver only through IDriver,
// so the rest comes from where the driver's work lands: subgroups saved by the sessions of
// this host's components (never the database, which other hosts may write to), the lines
// the driver wrote to the collection log through them (never the log, which every driver
// writes to, whatever its name), and the next collection from the configuration's schedule.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/Configuration1.h"
#include "platform/components/PlatformComponents.h"
#include "runtime/Event.h"

namespace dam {

// An error as a run reports it: "description: detail" of a collection log line (which keeps
// no error number: 0, source "collection log"), or what the host's error display showed.
struct RunError {
  std::string message;
  int32_t number = 0;
  std::string source;
};

class RunStatus {
 public:
  // `configuration` is the host's own reading of the driver's configuration text; what
  // `components` saved, showed and logged is the driver's. Made on the driver's thread.
  RunStatus(platform::PlatformComponents& components, const config::Configuration1& configuration);

  // Subgroups this host saved since this object was made.
  int64_t SavedSubgroups() const;
  // The next point of the subgroup schedule after now, as general date text; "none" and
  // the reason when the schedule cannot be computed.
  std::string NextCollection() const;
  // The errors since the last call (the first: since this object was made), oldest first: a
  // collection log line of the driver as "description: detail", or an error the host's
  // error display showed.
  std::vector<RunError> NewErrors();
  // The driver's collection log lines read so far by NewErrors, by description. A save
  // error's description is the database's own text, numbers and all: past kDistinctErrors
  // descriptions, new ones are counted together under kOtherErrors, so that a run of months
  // keeps a bounded set.
  const std::map<std::string, int64_t>& ErrorCounts() const { return errorCounts_; }
  static constexpr size_t kDistinctErrors = 32;
  static constexpr char kOtherErrors[] = "(other descriptions)";
  // Of those, the lines saying the historian could not be reached or queried.
  int64_t HistorianErrors() const { return historianErrors_; }

  // "stopped", "running", ... for the codes of host/DriverState.h; "state N" for another.
  static std::string StateName(int32_t state);

 private:
  // The driver's log lines written since the last call.
  std::vector<RunError> ReadNewLogLines();

  platform::PlatformComponents& components_;
  const config::Configuration1& configuration_;
  int64_t firstCount_ = 0;
  std::vector<std::string> logLines_;
  runtime::Subscription logged_;
  std::map<std::string, int64_t> errorCounts_;
  int64_t historianErrors_ = 0;
  uint64_t shownErrors_ = 0;
};

}  // namespace dam
