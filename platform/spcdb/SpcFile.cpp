#include "platform/spcdb/SpcFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace platform {

std::optional<SpcFile> SpcFile::Opened(OdbcConnection& connection) {
  std::string path;
  for (auto rows = connection.Execute("PRAGMA database_list"); !rows->Eof(); rows->MoveNext()) {
    const runtime::Variant file = rows->Field("file");
    if (runtime::ToText(rows->Field("name")) == "main" && !file.IsNull()) {
      path = runtime::ToText(file);
    }
  }
  if (path.empty()) return std::nullopt;
  struct stat info {};
  if (stat(path.c_str(), &info) != 0) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "The SPC database file " + path + " is gone right after opening it",
                         "SpcFile");
  }
  if (info.st_size == 0) {
    if (chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Cannot make the new SPC database file " + path + " owner-only",
                           "SpcFile");
    }
    // A log and index at the path of a new file are those of a file moved or deleted away,
    // which another connection may still use: taken up, they would mix the two files.
    for (const char* suffix : {"-wal", "-shm"}) {
      const std::string left = path + suffix;
      if (unlink(left.c_str()) != 0 && errno != ENOENT) {
        throw runtime::Error(runtime::kPathFileAccessError,
                             "Cannot remove " + left + ", left by an SPC database file moved " +
                                 "or deleted away: " + std::strerror(errno),
                             "SpcFile");
      }
    }
  }
  return SpcFile(std::move(path), info.st_dev, info.st_ino);
}

bool SpcFile::StillAtItsPath() const {
  struct stat info {};
  return stat(path_.c_str(), &info) == 0 && info.st_dev == device_ && info.st_ino == inode_;
}

}  // namespace platform
