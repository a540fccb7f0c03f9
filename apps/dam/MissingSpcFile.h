// Commands that only read, or that must not make a new database by mistake, refuse an
// SQLite SPC file that is not there instead of letting the driver create an empty one.
#pragma once

#include <string>

namespace dam {

// The file `connection` names when it is an SQLite connection to a file that does not
// exist; "" otherwise (another database, or the file is there).
std::string MissingSpcFile(const std::string& connection);

}  // namespace dam
