#include "apps/dam/RunStatus.h"

#include <filesystem>
#include <fstream>

#include "common/Module.h"
#include "platform/components/ConsoleError.h"
#include "platform/spcdb/SpcReader.h"
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

RunStatus::RunStatus(host::Components& components, std::shared_ptr<host::DatabaseSession> spc,
                     const config::Configuration1& configuration)
    : components_(components), spc_(std::move(spc)), configuration_(configuration) {
  firstId_ = LastSubgroupId();
  host::HostFileSystem& files = components.FileSystem();
  logPath_ = files.JoinPath(files.LogFolder(), std::string(common::kModuleName) + ".LOG");
  logOffset_ = FileSize(logPath_);
  shownErrors_ = platform::LastShownError().count;
}

int32_t RunStatus::LastSubgroupId() {
  auto& session = dynamic_cast<platform::SpcSession&>(*spc_);
  const auto last = platform::ReadSubgroups(session, 1);
  return last.empty() ? 0 : last.back().id;
}

int32_t RunStatus::SavedSubgroups() {
  return LastSubgroupId() - firstId_;
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
  ReadNewLogLines();
  // What the log could not take went to the host's error display instead.
  const platform::ShownError shown = platform::LastShownError();
  if (shown.count != shownErrors_) {
    shownErrors_ = shown.count;
    lastError_ = shown.text;
  }
  return lastError_;
}

void RunStatus::ReadNewLogLines() {
  if (FileSize(logPath_) <= logOffset_) return;
  std::ifstream log(logPath_, std::ios::binary);
  log.seekg(static_cast<std::streamoff>(logOffset_));
  std::string line;
  while (std::getline(log, line)) {
    if (!line.ends_with('\r')) break;  // a line still being written
    logOffset_ += line.size() + 1;
    line.pop_back();
    const auto fields = runtime::Split(line, "\t");
    if (fields.size() >= 4 && fields[0] == configuration_.ConfigurationName()) {
      lastError_ = fields[2] + ": " + fields[3];
    }
  }
}

std::string RunStatus::StateName(int32_t state) {
  switch (state) {
    case 0:
      return "stopped";
    case 3:
      return "running";
    case 4:
      return "configuring";
    case 5:
      return "paused";
  }
  return "state " + std::to_string(state);
}

}  // namespace dam
