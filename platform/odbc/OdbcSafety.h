// Configuration never names code: a connection string from a configuration or a setting
// reaches the driver manager only when every key in it is one the driver it loads documents
// and none loads a library, reads or writes a file the string names, or changes this
// process. Checked before the driver manager sees the string, on the pairs it reads
// (ParseConnectionString), because a driver path, a file DSN or a driver's extension key
// makes it load a library of the string's choosing into this process.
#pragma once

#include <string_view>

namespace platform {

class OdbcDriverLists;

// Throws runtime::Error (5, source "ODBC") "Connection string refused: ..." naming the
// first key refused and why, unless
// - every key is DSN, DRIVER, UID or PWD, or one the driver the string loads documents:
//   the SQLite3 ODBC driver's and psqlODBC's keys (listed in OdbcSafety.cpp) less those
//   below; the keys of other drivers are not known here, so they get the four only;
// - every DRIVER is the name of a driver registered in `drivers`;
// - no key is DMEnvAttr, DMConnAttr, DMStmtAttr (the driver manager sets environment
//   variables and attributes from them), FILEDSN, SAVEFILE, LoadExt, TraceFile, Pqopt or D5
//   (libpq options: engines and service files) or ConnSettings or A6 (SQL run on connect),
//   also where a driver that cuts the string at every ';' (the SQLite3 ODBC driver) finds
//   keys inside braced values;
// - SyncPragma and JournalMode, which the SQLite3 ODBC driver pastes into SQL, are words.
void RefuseUnsafeConnectionString(std::string_view connectionString,
                                  const OdbcDriverLists& drivers);

// Throws runtime::Error (5, source "ODBC") when the string loads the SQLite3 ODBC driver
// and names no database file (an empty Database, or none and no DSN to give one): that
// driver would make a file named after the whole string in the current folder. Also when
// the Database it names is there but no regular file: the driver fails on a folder without
// saying why, and waits for good on a FIFO it may only read.
void RefuseSqliteWithoutFile(std::string_view connectionString, const OdbcDriverLists& drivers);

}  // namespace platform
