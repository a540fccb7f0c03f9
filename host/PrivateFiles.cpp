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

class FileKindCategory : public std::error_category {
 public:
  const char* name() const noexcept override { return "file kind"; }
  std::string message(int) const override { return "not a regular file (a FIFO or a device)"; }
};

std::error_code NotARegularFile() {
  static const FileKindCategory category;
  return {1, category};
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

std::error_code ReplaceFile(const std::string& path, std::string_view content) {
  std::error_code error;
  const fs::file_status existing = fs::status(path, error);
  const fs::perms mode = fs::exists(existing) ? existing.permissions() : kOwnerFile;
  const std::string temporary = TemporaryBeside(path);
  // Owner-only from the start, so that the content is never readable by others.
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (fd < 0) return LastError();
  error.clear();
  if (!WriteAll(fd, content) || fchmod(fd, static_cast<mode_t>(mode)) != 0 || fsync(fd) != 0) {
    error = LastError();
  }
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
