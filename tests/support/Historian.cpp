#include "tests/support/Historian.h"

#include "platform/odbc/OdbcConnection.h"

namespace testsupport {

std::string SqliteLink(const std::string& path) {
  return "Driver=SQLite3;Database=" + path;
}

std::string CreateSqliteDatabase(const std::string& path,
                                 const std::vector<std::string>& statements) {
  const std::string link = SqliteLink(path);
  platform::OdbcConnection connection;
  connection.Open(link, "", "");
  for (const std::string& statement : statements) connection.Execute(statement);
  connection.Close();
  return link;
}

}  // namespace testsupport
