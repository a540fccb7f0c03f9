// SQLite databases that stand in for a historian (or any database a test needs), reached
// through the real "SQLite3" ODBC driver.
#pragma once

#include <string>
#include <vector>

namespace testsupport {

// The ODBC connection string of the SQLite file at `path`.
std::string SqliteLink(const std::string& path);

// Creates the SQLite file at `path`, runs `statements` on it in order and returns its
// connection string.
std::string CreateSqliteDatabase(const std::string& path,
                                 const std::vector<std::string>& statements);

// The historian's two tables as collection needs them.
inline const std::vector<std::string> kHistorianTables = {
    "CREATE TABLE ihTags (Tagname TEXT)",
    "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value TEXT, SamplingMode TEXT)",
};

}  // namespace testsupport
