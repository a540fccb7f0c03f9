#include "platform/utility/FileSystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "runtime/Error.h"
#include "tests/support/FileMode.h"
#include "tests/support/TempFolder.h"

namespace {

// Log lines hold what went wrong in a plant; no other user may read them, whatever the
// process's file mode mask says. A device written to is not ours to narrow.
TEST(FileSystemTest, AppendedFilesAreTheOwnersOnly) {
  testsupport::TempFolder temp;
  platform::FileSystem files;
  const mode_t savedMask = umask(0);
  const std::string path = files.JoinPath(temp.Path(), "x.LOG");
  files.AppendToFile(path, "one\r\n");
  files.AppendToFile(path, "two\r\n");
  const std::string wide = temp.File("wide.LOG");
  std::ofstream(wide) << "kept\n";
  std::filesystem::permissions(wide, std::filesystem::perms(0666));
  files.AppendToFile(wide, "more\n");
  umask(savedMask);
  EXPECT_EQ(testsupport::FileMode(path), 0600u);
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "one\r\ntwo\r\n");
  EXPECT_EQ(testsupport::FileMode(wide), 0600u) << "an existing file of ours is narrowed";
  EXPECT_EQ(files.JoinPath("/var/log/", "a.LOG"), "/var/log/a.LOG");
  EXPECT_EQ(files.JoinPath("", "a.LOG"), "a.LOG");

  EXPECT_THROW(files.AppendToFile("/dev/full", "lost\r\n"), runtime::Error);
  EXPECT_EQ(testsupport::FileMode("/dev/full") & 0666, 0666u);
  // A FIFO, read by nobody or by someone, is refused at once, not waited on.
  ASSERT_EQ(mkfifo(temp.File("fifo.LOG").c_str(), 0600), 0);
  EXPECT_THROW(files.AppendToFile(temp.File("fifo.LOG"), "lost\r\n"), runtime::Error);
  const int reader = open(temp.File("fifo.LOG").c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_THROW(files.AppendToFile(temp.File("fifo.LOG"), "lost\r\n"), runtime::Error);
  close(reader);
}

}  // namespace
