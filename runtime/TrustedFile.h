// Files whose content decides what this process runs or allows (a driver module, its windows,
// the host settings) count only when no other user could have written or replaced them: the
// rule sshd's StrictModes applies to key files.
#pragma once

#include <string>

namespace runtime {

// Why another user could change or replace the file at `path`, or empty when none could:
// the file and every folder above it, both as `path` names them and as it resolves through
// links, must be owned by this user or root and writable by neither group nor others. A
// folder others may write to is accepted when it is root's and sticky, as /tmp: they
// cannot replace its entries then. A path that does not exist gives empty.
std::string WhyOthersCouldChange(const std::string& path);

}  // namespace runtime
