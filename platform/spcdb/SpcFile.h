// The file of an SQLite SPC database. Users read the database at its path, so a link that
// finds its file deleted or replaced there is dropped and the path opened again, instead
// of writing on into a file nobody can reach any more.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "platform/odbc/OdbcConnection.h"

namespace platform {

class SpcFile {
 public:
  // The file an SQLite `connection` has open as its main database; nothing for a database
  // in memory. A file still empty, so just created, is made owner-only: SQLite creates it
  // readable by everyone and gives its journals the file's mode, so this must come before
  // the first write. Its write-ahead log and index left at the path by a file moved or
  // deleted away are removed first, which that file's readers keep open.
  static std::optional<SpcFile> Opened(OdbcConnection& connection);

  // False when the path is gone or names another file than the one opened.
  bool StillAtItsPath() const;

 private:
  SpcFile(std::string path, dev_t device, ino_t inode)
      : path_(std::move(path)), device_(device), inode_(inode) {}

  std::string path_;
  dev_t device_;
  ino_t inode_;
};

}  // namespace platform
