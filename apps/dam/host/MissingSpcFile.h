// Commands that only read, or that must not make a new database by mistake, refuse an
// SQLite SPC file that is not there instead of letting the driver create an empty one.
#pragma once

#include <memory>
#include <string>

#include "apps/dam/host/DamHost.h"
#include "host/Components.h"

namespace dam {

// The file `connection` names when it is an SQLite connection to a file that does not
// exist; "" otherwise (another database, or the file is there).
std::string MissingSpcFile(const std::string& connection);

// The host's session on the SPC database `spc` names (SpcConnection), for a command that
// reads: fails with exit status 4 when the file is not there or the database cannot be opened.
std::unique_ptr<DamHost> OpenSpcForReading(host::Components& components, const std::string& spc);

}  // namespace dam
