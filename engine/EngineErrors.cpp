#include <cstdio>

#include "common/Module.h"
#include "engine/CollectionLog.h"
#include "engine/Engine1.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace engine {

// The status record and CollectionError take the error first. A line the log cannot take
// goes to the host's error display with the line itself, so the error is not lost, and the
// caller goes on: a collection step still returns false and the retry is still planned.
void Engine1::LogError(const std::string& description, const std::string& detail,
                       const std::string& extended) {
  status_.lastErrorTime = runtime::Now();
  status_.lastErrorDescription = description;
  status_.lastErrorDetail = detail;
  status_.lastErrorExtended = extended;
  CollectionError.Raise();

  // An engine that never got a configuration still logs, with an empty name.
  const std::string name = configuration_ ? configuration_->ConfigurationName() : "";
  std::string line;
  try {
    line =
        LogLine({name, runtime::FormatGeneralDate(status_.lastErrorTime),
                 status_.lastErrorDescription, status_.lastErrorDetail, status_.lastErrorExtended});
    host::HostFileSystem& files = components_.FileSystem();
    AppendLogLine(
        files, files.JoinPath(files.LogFolder(), std::string(common::kModuleName) + ".LOG"), line);
  } catch (...) {
    const runtime::Error error = runtime::ToError(std::current_exception());
    ShowError(error,
              "The collection log could not be written (" + error.Description() +
                  "). The error it was to record: " + line,
              "LogError");
  }
}

void Engine1::LogUnexpected(const char* procedure, std::exception_ptr thrown) {
  const runtime::Error error = runtime::ToError(thrown);
  LogError(
      error.NumberAndDescription(), "An unexpected error occurred",
      std::string("Function: ") + "Engine1" + "." + procedure + " generated an unexpected error.");
}

void Engine1::ShowError(const runtime::Error& error, const std::string& description,
                        const char* procedure) noexcept {
  try {
    components_.CreateError()->Show(common::kModuleName, error.Source(), description,
                                    error.Number(), std::string("Engine1.") + procedure);
  } catch (...) {
    // A host without a working error display leaves only the process's error stream.
    std::fprintf(stderr, "%s: Engine1.%s: %s\n", common::kModuleName, procedure,
                 description.c_str());
  }
}

}  // namespace engine
