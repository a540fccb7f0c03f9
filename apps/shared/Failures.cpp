#include "apps/shared/Failures.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "apps/shared/CommandLine.h"
#include "apps/shared/TerminalText.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcDiagnostics.h"
#include "runtime/Error.h"

namespace apps {
namespace {

// The error as people read it: its description without the SQLSTATE codes, or with
// `verbose` its number, description and source as the log would record them.
std::string Reason(std::exception_ptr thrown, bool verbose) {
  const runtime::Error error = runtime::ToError(thrown);
  if (verbose) {
    return error.NumberAndDescription() +
           (error.Source().empty() ? "" : " (" + error.Source() + ")");
  }
  return platform::WithoutSqlStates(error.Description());
}

std::exception_ptr Cause(const Failure& failure) {
  if (const auto* nested = dynamic_cast<const std::nested_exception*>(&failure)) {
    return nested->nested_ptr();
  }
  return nullptr;
}

}  // namespace

std::string FailureText(std::exception_ptr failure, bool verbose) {
  try {
    std::rethrow_exception(failure);
  } catch (const UsageError& e) {
    return e.what();
  } catch (const Failure& e) {
    const std::exception_ptr cause = Cause(e);
    return cause ? e.what() + (": " + Reason(cause, verbose)) : e.what();
  } catch (...) {
    return Reason(std::current_exception(), verbose);
  }
}

void CheckOutputWritten() {
  std::cout.flush();
  errno = 0;
  const bool flushed = std::fflush(stdout) == 0;
  const int error = errno;
  if (flushed && !std::ferror(stdout) && std::cout) return;
  throw Failure(kExitFailure, "cannot write the output" +
                                  (error != 0 ? ": " + std::string(std::strerror(error)) : ""));
}

int ReportFailure(const std::string& invocation, std::exception_ptr failure, bool verbose) {
  std::string message = invocation + ": " + FailureText(failure, verbose);
  ExitCode code = kExitFailure;
  try {
    std::rethrow_exception(failure);
  } catch (const UsageError& e) {
    message = e.what();
    code = kExitUsage;
  } catch (const Failure& e) {
    code = e.Code();
  } catch (...) {
  }
  // Errors may repeat a connection string, with its password, or a configuration's text.
  std::cerr << Printable(platform::MaskConnectionSecrets(message)) << std::endl;
  return code;
}

}  // namespace apps
