#include "platform/utility/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "common/Module.h"
#include "host/Folders.h"
#include "host/PrivateFiles.h"
#include "runtime/Error.h"

namespace platform {
namespace {

constexpr mode_t kOwnerOnlyFile = 0600;

std::string Folder(const char* overrideVariable, host::BaseFolder base) {
  std::string folder = host::ApplicationFolder(overrideVariable, base, common::kModuleName);
  host::CreatePrivateFolders(folder);
  return folder;
}

[[noreturn]] void ThrowFileError(const std::string& path, const char* action, int error) {
  throw runtime::Error(runtime::kPathFileAccessError,
                       runtime::StandardDescription(runtime::kPathFileAccessError) + ": cannot " +
                           action + " " + path + ": " + std::strerror(error),
                       "FileSystem.AppendToFile");
}

[[noreturn]] void ThrowNoLogFile(const std::string& path) {
  throw runtime::Error(runtime::kPathFileAccessError,
                       runtime::StandardDescription(runtime::kPathFileAccessError) + ": " + path +
                           " is a FIFO or a socket, not a file to append to",
                       "FileSystem.AppendToFile");
}

// Closes the descriptor however the append ends.
class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }
  // Closes now, so that an error reported only at close is seen.
  int Close() { return close(std::exchange(fd_, -1)); }

 private:
  int fd_;
};

}  // namespace

std::string FileSystem::JoinPath(const std::string& folder, const std::string& fileName) const {
  if (folder.empty()) return fileName;
  if (folder.back() == '/') return folder + fileName;
  return folder + "/" + fileName;
}

std::string FileSystem::LogFolder() const {
  return Folder("DAM_LOG_DIR", host::BaseFolder::State);
}

std::string FileSystem::SettingsFolder() const {
  return Folder("DAM_SETTINGS_DIR", host::BaseFolder::Config);
}

std::string FileSystem::ComponentFolder() const {
  return Folder("DAM_COMPONENT_DIR", host::BaseFolder::Config);
}

std::string FileSystem::DataFolder() const {
  return Folder("DAM_DATA_DIR", host::BaseFolder::Data);
}

void FileSystem::AppendToFile(const std::string& path, const std::string& text) const {
  // A FIFO would hold the open, or a write, until someone reads it: it is refused at once.
  Descriptor file(
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK | O_CLOEXEC, kOwnerOnlyFile));
  if (file.get() < 0 && errno == ENXIO) ThrowNoLogFile(path);
  if (file.get() < 0) ThrowFileError(path, "open", errno);
  // Only a regular file of our own is narrowed: a device or another user's file is not ours
  // to change.
  struct stat status {};
  if (fstat(file.get(), &status) != 0) ThrowFileError(path, "open", errno);
  if (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode)) ThrowNoLogFile(path);
  if (S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
      (status.st_mode & 07777) != kOwnerOnlyFile && fchmod(file.get(), kOwnerOnlyFile) != 0) {
    ThrowFileError(path, "protect", errno);
  }
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = write(file.get(), text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) ThrowFileError(path, "write", count < 0 ? errno : ENOSPC);
    written += static_cast<size_t>(count);
  }
  if (file.Close() != 0) ThrowFileError(path, "write", errno);
}

}  // namespace platform
