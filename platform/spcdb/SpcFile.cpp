#include "platform/spcdb/SpcFile.h"

#include <sys/stat.h>

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
  if (info.st_size == 0 && chmod(path.c_str(), S_IRUSR | S_IWUSR) != 0) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Cannot make the new SPC database file " + path + " owner-only",
                         "SpcFile");
  }
  return SpcFile(std::move(path), info.st_dev, info.st_ino);
}

bool SpcFile::StillAtItsPath() const {
  struct stat info {};
  return stat(path_.c_str(), &info) == 0 && info.st_dev == device_ && info.st_ino == inode_;
}

}  // namespace platform
