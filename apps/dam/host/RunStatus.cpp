#include "apps/dam/host/RunStatus.h"

#include <optional>
#include <utility>

#include "host/DriverState.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Clock.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {
namespace {

// "description: detail" of a collection log line: the name of the driver's configuration, the
// time, the description, the detail and the extended detail, joined by tabs. A name may hold
// tabs, a time cannot: the fields are counted from the first that is a time as the log writes
// it. The extended detail is the last field, so a detail keeps its own tabs.
std::optional<std::pair<std::string, std::string>> DescriptionAndDetail(const std::string& line) {
  const std::vector<std::string> fields = runtime::Split(line, "\t");
  for (size_t at = 1; at + 3 < fields.size(); ++at) {
    const std::optional<runtime::Date> time = runtime::ParseDate(fields[at]);
    if (!time || runtime::FormatGeneralDate(*time) != fields[at]) continue;
    std::vector<std::string> detail(fields.begin() + static_cast<ptrdiff_t>(at) + 2,
                                    fields.end() - 1);
    return std::pair(fields[at + 1], runtime::Join(detail, "\t"));
  }
  return std::nullopt;
}

}  // namespace

RunStatus::RunStatus(platform::PlatformComponents& components,
                     const config::Configuration1& configuration)
    : components_(components),
      configuration_(configuration),
      firstCount_(components.Saves().Count()),
      logged_(components.FileSystem().CollectionLogLine.Subscribe(
          [this](const std::string& line) { logLines_.push_back(line); })),
      shownErrors_(components.Shown().Last().count) {}

int64_t RunStatus::SavedSubgroups() const {
  return components_.Saves().Count() - firstCount_;
}

std::string RunStatus::NextCollection() const {
  host::HostDateMath& math = components_.DateMath();
  try {
    return runtime::FormatGeneralDate(
        math.NextPeriodTime(math.SerialToDate(configuration_.SyncTime()), runtime::Now(),
                            configuration_.SubgroupUnit(), configuration_.SubgroupInterval()));
  } catch (const runtime::Error& e) {
    return "none (" + e.Description() + ")";
  }
}

std::vector<RunError> RunStatus::NewErrors() {
  std::vector<RunError> errors = ReadNewLogLines();
  // What the log could not take went to the host's error display instead.
  const platform::ShownError shown = components_.Shown().Last();
  if (shown.count != shownErrors_) {
    shownErrors_ = shown.count;
    errors.push_back({platform::MaskConnectionSecrets(shown.text), shown.number, shown.source});
  }
  return errors;
}

std::vector<RunError> RunStatus::ReadNewLogLines() {
  std::vector<RunError> errors;
  for (const std::string& line : std::exchange(logLines_, {})) {
    if (const auto read = DescriptionAndDetail(line)) {
      errors.push_back({platform::MaskConnectionSecrets(read->first + ": " + read->second), 0,
                        "collection log"});
      std::string description = platform::MaskConnectionSecrets(read->first);
      if (description == "Unable to Access Database" || description == "Unable to get record set") {
        ++historianErrors_;
      }
      if (errorCounts_.size() >= kDistinctErrors && !errorCounts_.contains(description)) {
        description = kOtherErrors;
      }
      ++errorCounts_[description];
    }
  }
  return errors;
}

std::string RunStatus::StateName(int32_t state) {
  switch (state) {
    case host::kDriverStopped:
      return "stopped";
    case host::kDriverRunning:
      return "running";
    case host::kDriverConfiguring:
      return "configuring";
    case host::kDriverPaused:
      return "paused";
  }
  return "state " + std::to_string(state);
}

}  // namespace dam
