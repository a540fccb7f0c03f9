// The exit statuses of dam and histsim, the same for every command, so that scripts and
// service managers can tell a typing mistake from a bad configuration or a database away.
#pragma once

namespace apps {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailure = 1,
  kExitUsage = 2,
  kExitInvalidConfiguration = 3,
  kExitUnreachable = 4,
};

}  // namespace apps
