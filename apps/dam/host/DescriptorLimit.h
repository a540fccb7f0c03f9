// The process's limit of open files, which a plant's lines reach: each holds connections,
// and the spool, the logs and the metrics port take more.
#pragma once

namespace dam {

// Raises the soft limit of open files to the hard one. systemd and login sessions start
// processes at 1024, a limit kept for programs that use select(); nothing here does.
void RaiseDescriptorLimit();

}  // namespace dam
