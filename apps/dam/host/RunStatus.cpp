#include "apps/dam/host/RunStatus.h"

#include <filesystem>
#include <fstream>

#include "common/Module.h"
#include "host/DriverState.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {
namespace {

uintmax_t FileSize(const std::string& path) {
  std::error_code error;
  const uintmax_t size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

}  // namespace

RunStatus::RunStatus(platform::PlatformComponents& components,
                     const config::Configuration1& configuration)
    : components_(components),
      configuration_(configuration),
      firstCount_(components.Saves().Count()) {
  host::HostFileSystem& files = components.FileSystem();
  logPath_ = files.JoinPath(files.LogFolder(), std::string(common::kModuleName) + ".LOG");
  logOffset_ = FileSize(logPath_);
  shownErrors_ = components.Shown().Last().count;
}

int32_t RunStatus::SavedSubgroups() const {
  return static_cast<int32_t>(components_.Saves().Count() - firstCount_);
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

std::string RunStatus::LastError() {
  NewErrors();
  return lastError_;
}

std::vector<RunError> RunStatus::NewErrors() {
  std::vector<RunError> errors = ReadNewLogLines();
  // What the log could not take went to the host's error display instead.
  const platform::ShownError shown = components_.Shown().Last();
  if (shown.count != shownErrors_) {
    shownErrors_ = shown.count;
    errors.push_back({platform::MaskConnectionSecrets(shown.text), shown.number, shown.source});
  }
  if (!errors.empty()) lastError_ = errors.back().message;
  return errors;
}

std::vector<RunError> RunStatus::ReadNewLogLines() {
  std::vector<RunError> errors;
  if (FileSize(logPath_) <= logOffset_) return errors;
  std::ifstream log(logPath_, std::ios::binary);
  log.seekg(static_cast<std::streamoff>(logOffset_));
  std::string line;
  while (std::getline(log, line)) {
    if (!line.ends_with('\r')) break;  // a line still being written
    logOffset_ += line.size() + 1;
    line.pop_back();
    const auto fields = runtime::Split(line, "\t");
    if (fields.size() >= 4 && fields[0] == configuration_.ConfigurationName()) {
      errors.push_back(
          {platform::MaskConnectionSecrets(fields[2] + ": " + fields[3]), 0, "collection log"});
      ++errorCounts_[platform::MaskConnectionSecrets(fields[2])];
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
