#include "platform/odbc/SqliteLibrary.h"

#include <sqlite3.h>

namespace platform {

void TuneSqliteForManyConnections() {
  sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  sqlite3_config(SQLITE_CONFIG_PAGECACHE, nullptr, 0, 0);
}

}  // namespace platform
