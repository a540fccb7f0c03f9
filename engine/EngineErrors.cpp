#include "common/Module.h"
#include "engine/CollectionLog.h"
#include "engine/Engine1.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace engine {

// Without a handler of its own: a log that cannot be written fails the caller, after the
// status record and CollectionError already told the error.
void Engine1::LogError(const std::string& description, const std::string& detail,
                       const std::string& extended) {
  status_.lastErrorTime = runtime::Now();
  status_.lastErrorDescription = description;
  status_.lastErrorDetail = detail;
  status_.lastErrorExtended = extended;
  CollectionError.Raise();

  host::HostFileSystem& files = components_.FileSystem();
  const std::string path =
      files.JoinPath(files.LogFolder(), std::string(common::kModuleName) + ".LOG");
  // An engine that never got a configuration still logs, with an empty name.
  const std::string name = configuration_ ? configuration_->ConfigurationName() : "";
  AppendLogLine(
      path, {name, runtime::FormatGeneralDate(status_.lastErrorTime), status_.lastErrorDescription,
             status_.lastErrorDetail, status_.lastErrorExtended});
}

void Engine1::LogUnexpected(const char* procedure, std::exception_ptr thrown) {
  const runtime::Error error = runtime::ToError(thrown);
  LogError(
      error.NumberAndDescription(), "An unexpected error occurred",
      std::string("Function: ") + "Engine1" + "." + procedure + " generated an unexpected error.");
}

}  // namespace engine
