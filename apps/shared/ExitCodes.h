// The exit statuses of dam and histsim, the same for every command, so that scripts and
// service managers can tell a typing mistake from a bad configuration or a database away.
// The service unit lists those a restart cannot mend (RestartPreventExitStatus).
#pragma once

namespace apps {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailure = 1,
  kExitUsage = 2,
  // The configuration has errors, or this host's set-up does: a dam.ini that cannot be read
  // or holds a wrong value, a spool that cannot be opened.
  kExitInvalidConfiguration = 3,
  kExitUnreachable = 4,
  // The configuration says ACTIVE=0: there is nothing to collect.
  kExitInactiveConfiguration = 5,
  // A file named on the command line is not there, cannot be read, is no regular file or is
  // larger than a configuration can be.
  kExitNoFile = 6,
  // The command shows windows or draws pictures, and the package that does (dam-gui) is not
  // installed.
  kExitNoWindows = 7,
  // A run stopped because its output was closed: 128 plus SIGPIPE, as a shell reports a
  // program the signal ended, and a failure to service managers, so that they start it again.
  kExitOutputClosed = 141,
};

}  // namespace apps
