#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Error.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace {

long OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return 0;
}

// One round of everything that allocates handles, the failing paths included.
void Cycle(const std::string& link, int i) {
  platform::OdbcConnection connection;
  connection.Open(link, "", "");
  auto rows = connection.Execute("SELECT * FROM t WHERE id < ?", {runtime::Variant(i % 5)});
  auto statement = connection.Prepare("INSERT INTO t VALUES (?, ?)");
  statement->Execute({runtime::Variant(i), runtime::Variant("x")});
  EXPECT_THROW(connection.Execute("SELECT * FROM missing"), runtime::Error);
  EXPECT_THROW(statement->Execute({runtime::Variant(1)}), runtime::Error);
  connection.BeginTransaction();
  connection.Execute("DELETE FROM t WHERE id = ?", {runtime::Variant(i)});
  if (i % 2 == 0) connection.Commit();
  connection.Close();
  for (; !rows->Eof(); rows->MoveNext()) rows->Field("name");
  platform::OdbcConnection bad;
  EXPECT_THROW(bad.Open("Driver=NoSuchDriver", "", ""), runtime::Error);
  EXPECT_THROW(bad.Open(testsupport::SqliteLink("/nonexistent/folder/x.db"), "", ""),
               runtime::Error);
}

TEST(OdbcHandleRelease, ManyCyclesLeakNeitherDescriptorsNorMemory) {
  testsupport::TempFolder folder;
  std::string link = testsupport::CreateSqliteDatabase(
      folder.File("cycles.db"), {"CREATE TABLE t (id INTEGER, name TEXT)",
                                 "INSERT INTO t VALUES (1, 'a')", "INSERT INTO t VALUES (2, 'b')"});
  // Warm-up: the driver manager and the driver load once and keep some memory.
  link += ";SyncPragma=OFF";
  for (int i = 0; i < 100; ++i) Cycle(link, i);
  long descriptors = OpenDescriptors();
  long resident = ResidentKilobytes();
  for (int i = 0; i < 2000; ++i) Cycle(link, i);
  EXPECT_LE(OpenDescriptors(), descriptors);
  // Loose: a leaked statement or connection per cycle would add megabytes.
  EXPECT_LT(ResidentKilobytes() - resident, 4096);
}

}  // namespace
