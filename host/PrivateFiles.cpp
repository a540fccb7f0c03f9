#include "host/PrivateFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <random>
#include <string>

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr fs::perms kOwnerFile = fs::perms::owner_read | fs::perms::owner_write;

std::string TemporaryBeside(const std::string& path) {
  std::random_device random;
  return path + ".~" + std::to_string(random()) + std::to_string(random());
}

std::error_code LastError() {
  return {errno, std::generic_category()};
}

bool WriteAll(int fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = write(fd, content.data(), content.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    content.remove_prefix(static_cast<size_t>(written));
  }
  return true;
}

enum FileKind { kNotRegular = 1, kReadOnly };

class FileKindCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "file kind"; }
  std::string message(int kind) const override {
    return kind == kReadOnly ? "the file is read-only" : "not a regular file (a FIFO or a device)";
  }
};

const FileKindCategory kFileKind;

std::error_code NotARegularFile() {
  return {kNotRegular, kFileKind};
}

// A link stays a link: what is replaced is the file it points to.
std::string Target(const std::string& path) {
  std::error_code error;
  if (!fs::is_symlink(path, error)) return path;
  const fs::path target = fs::weakly_canonical(path, error);
  return error ? path : target.string();
}

// Owner and group may be given only by root, or by the owner to a group of theirs: where
// that is refused the file is written over in place (no rename can keep them).
std::error_code WriteInPlace(const std::string& path, std::string_view content) {
  const int fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return LastError();
  std::error_code error;
  if (!WriteAll(fd, content) || ftruncate(fd, static_cast<off_t>(content.size())) != 0 ||
      fsync(fd) != 0) {
    error = LastError();
  }
  if (close(fd) != 0 && !error) error = LastError();
  return error;
}

// A rename is durable once the folder that holds the name is synced.
std::error_code SyncFolderOf(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  const int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return LastError();
  std::error_code error;
  if (fsync(fd) != 0) error = LastError();
  close(fd);
  return error;
}

}  // namespace

std::error_code CreatePrivateFolders(const std::string& folder) {
  std::error_code error;
  fs::path made;
  for (const fs::path& part : fs::path(folder)) {
    made /= part;
    if (part.empty() || part == made.root_path()) continue;
    if (fs::create_directory(made, error)) fs::permissions(made, fs::perms::owner_all, error);
    if (error) return error;
  }
  return error;
}

std::error_code ReadOnly() {
  return {kReadOnly, kFileKind};
}

std::error_code CheckWritable(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno == ENOENT ? std::error_code() : LastError();
  // Root may write anything: a mode without any write bit still says "leave it".
  if ((status.st_mode & 0222) == 0 || access(path.c_str(), W_OK) != 0) return ReadOnly();
  return {};
}

std::error_code ReplaceFile(const std::string& given, std::string_view content) {
  const std::string path = Target(given);
  struct stat old {};
  const bool existed = stat(path.c_str(), &old) == 0;
  if (std::error_code error = CheckWritable(path)) return error;
  const mode_t mode = existed ? old.st_mode & 07777 : static_cast<mode_t>(kOwnerFile);
  const std::string temporary = TemporaryBeside(path);
  // Owner-only from the start, so that the content is never readable by others.
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return LastError();
  std::error_code error;
  struct stat made {};
  bool owned = !existed;
  if (existed && fstat(fd, &made) == 0) {
    owned = (made.st_uid == old.st_uid && made.st_gid == old.st_gid) ||
            fchown(fd, old.st_uid, old.st_gid) == 0;
  }
  if (!owned) {
    close(fd);
    unlink(temporary.c_str());
    return WriteInPlace(path, content);
  }
  if (!WriteAll(fd, content) || fchmod(fd, mode) != 0 || fsync(fd) != 0) error = LastError();
  if (close(fd) != 0 && !error) error = LastError();
  if (!error && rename(temporary.c_str(), path.c_str()) != 0) error = LastError();
  if (error) {
    unlink(temporary.c_str());
    return error;
  }
  return SyncFolderOf(path);
}

std::error_code ReadRegularFile(const std::string& path, std::string& content) {
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return LastError();
  std::error_code error;
  struct stat status {};
  if (fstat(fd, &status) != 0) {
    error = LastError();
  } else if (!S_ISREG(status.st_mode)) {
    error = S_ISDIR(status.st_mode) ? std::make_error_code(std::errc::is_a_directory)
                                    : NotARegularFile();
  }
  content.clear();
  for (char buffer[65536]; !error;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) error = LastError();
    if (count <= 0) break;
    content.append(buffer, static_cast<size_t>(count));
  }
  close(fd);
  return error;
}

}  // namespace host
