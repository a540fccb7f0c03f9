// Commands that only read, or that must not make a new database by mistake, refuse an
// SQLite SPC file that is not there, or one without the SPC tables, instead of letting the
// driver create them.
#pragma once

#include <memory>
#include <string>

#include "apps/dam/host/DamHost.h"
#include "host/Components.h"

namespace dam {

// The file `connection` names when it is an SQLite connection to a file that does not
// exist; "" otherwise (another database, or the file is there). A path the file system
// cannot look up (too long, a symbolic link loop) is an apps::Failure with exit status 4.
std::string MissingSpcFile(const std::string& connection);

// The host's session on the SPC database `spc` names (SpcConnection), for a command that
// reads: fails with exit status 4 when the file is not there, is no SPC database, or the
// database cannot be opened.
std::unique_ptr<DamHost> OpenSpcForReading(host::Components& components, const std::string& spc);

}  // namespace dam
