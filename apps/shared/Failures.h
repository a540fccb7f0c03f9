// What a command reports when it fails: one plain sentence on stderr and the exit status
// that tells why. This is the one place failures become exit statuses.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

#include "apps/shared/ExitCodes.h"

namespace apps {

// A failure with the exit status it calls for and what was being done ("cannot open the
// SPC database"); the error that caused it is the nested exception.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& doing) : std::runtime_error(doing), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

// Runs `body`; an error it raises becomes a Failure with `code` that says `doing`, and
// keeps the error as its cause.
template <typename Body>
decltype(auto) Doing(ExitCode code, const std::string& doing, Body&& body) {
  try {
    return body();
  } catch (const Failure&) {
    throw;
  } catch (...) {
    std::throw_with_nested(Failure(code, doing));
  }
}

// "what failed: why" for a Failure with a cause, else the error's own description (a usage
// error's text as it is). Error numbers, SQLSTATEs and sources only when `verbose`.
std::string FailureText(std::exception_ptr failure, bool verbose);

// Throws a Failure when what was written to stdout did not all reach it (a full disk, a quota,
// /dev/full): a cut-off export must not end with 0.
void CheckOutputWritten();

// Prints "`invocation`: " and the FailureText on stderr (passwords masked) and returns the
// exit status; a usage error prints its own text.
int ReportFailure(const std::string& invocation, std::exception_ptr failure, bool verbose);

}  // namespace apps
