// Which failures of the SPC database mean that it cannot be reached or does not answer in
// time, as opposed to failures of the subgroup itself. A subgroup failing for the first
// reason is kept in the spool and saved later; one failing for the second would fail again
// and stays a save error.
#pragma once

#include "runtime/Error.h"

namespace platform {

// True for lost or refused connections (SQLSTATE class 08), timeouts (HYT00, HYT01), a
// server shutting down, starting or out of connections (57P01-57P03, 53300), a transaction
// the server gave up to let another one on (40001, 40P01) and a locked or busy SQLite file,
// read from the error's SQLSTATE and, where a driver gives none of its own, its text. A connection
// the server refused for the settings it was given (password, database name) is not among them.
bool IsUnavailable(const runtime::Error& error);

}  // namespace platform
