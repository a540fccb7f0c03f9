// The SQLite SPC database is the file at its path: users read it there, so saves follow
// the path when the file is deleted or replaced, and a new file is its owner's alone.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace spcdbtest {
namespace {

std::shared_ptr<platform::SpcSession> SessionOn(const std::string& path) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Settings().SetConnection(testsupport::SqliteLink(path));
  session->Open(1, 0);
  return session;
}

unsigned Mode(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

TEST(SpcFile, ASaveAfterTheFileWasDeletedOrReplacedLandsInTheFileAtThePath) {
  for (const bool replaced : {false, true}) {
    SCOPED_TRACE(replaced ? "replaced" : "deleted");
    testsupport::TempFolder folder;
    const std::string path = folder.File("spc.db");
    auto session = SessionOn(path);
    SaveSubgroup(session, SampleSubgroup(1));
    if (replaced) {
      const std::string other = folder.File("other.db");
      testsupport::CreateSqliteDatabase(
          other, {"CREATE TABLE notes (note TEXT)", "INSERT INTO notes VALUES ('kept')"});
      std::filesystem::rename(other, path);
    } else {
      std::filesystem::remove(path);
    }
    SaveSubgroup(session, SampleSubgroup(2));

    auto reader = SessionOn(path);
    const auto saved = platform::ReadSubgroups(*reader, 10);
    ASSERT_EQ(saved.size(), 1u);
    EXPECT_EQ(saved[0].time, SampleSubgroup(2).time);
    if (replaced) {
      platform::OdbcConnection connection;
      connection.Open(testsupport::SqliteLink(path), "", "");
      EXPECT_EQ(runtime::ToText(connection.Execute("SELECT note FROM notes")->Field("note")),
                "kept");
    }
  }
}

TEST(SpcFile, ANewDatabaseAndItsJournalsAreOwnerOnlyWhateverTheUmask) {
  testsupport::TempFolder folder;
  const std::string path = folder.File("spc.db");
  const mode_t umaskBefore = umask(0);
  auto session = SessionOn(path);
  SaveSubgroup(session, SampleSubgroup(1));
  for (const char* suffix : {"", "-wal", "-shm"}) EXPECT_EQ(Mode(path + suffix), 0600u) << suffix;

  // A database that exists keeps the mode its owner gave it.
  session.reset();
  chmod(path.c_str(), 0640);
  SaveSubgroup(SessionOn(path), SampleSubgroup(2));
  EXPECT_EQ(Mode(path), 0640u);
  umask(umaskBefore);
}

}  // namespace
}  // namespace spcdbtest
