#include "apps/dam/host/ConfigFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "apps/shared/Failures.h"
#include "host/PrivateFiles.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {
namespace {

constexpr off_t kMostBytes = off_t{16} << 20;

[[noreturn]] void Refuse(const std::string& why) {
  throw apps::Failure(apps::kExitNoFile, why);
}

std::string Kind(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder";
  if (S_ISFIFO(mode)) return "a FIFO";
  if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
  if (S_ISSOCK(mode)) return "a socket";
  return "no regular file";
}

// A FIFO would block an open or read for good, a device or a file growing meanwhile would
// never end: opened without waiting, and only a regular file, read up to the limit.
std::string ReadBytes(const std::string& path) {
  const auto cannotRead = [&] {
    Refuse("cannot read the configuration file " + path + ": " + std::strerror(errno));
  };
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0 && (errno == ENOENT || errno == ENOTDIR)) {
    Refuse("there is no configuration file " + path);
  }
  if (fd < 0) cannotRead();
  const struct Closing {
    int fd;
    ~Closing() { close(fd); }
  } closing{fd};
  struct stat status {};
  if (fstat(fd, &status) != 0) cannotRead();
  if (!S_ISREG(status.st_mode))
    Refuse(path + " is " + Kind(status.st_mode) + ", not a configuration file");
  std::string bytes;
  for (char buffer[65536];;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) cannotRead();
    if (count == 0) break;
    bytes.append(buffer, static_cast<size_t>(count));
    if (std::cmp_greater(bytes.size(), kMostBytes)) break;
  }
  if (std::cmp_greater(bytes.size(), kMostBytes)) {
    Refuse(path + " is larger than 16 MB, too large for a configuration file");
  }
  return bytes;
}

}  // namespace

std::string ReadConfigurationFile(const std::string& path, bool raw) {
  std::string text = ReadBytes(path);
  if (raw) return text;

  std::string normalised;
  normalised.reserve(text.size() + text.size() / 16);
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') continue;
    if (text[i] == '\n') normalised += '\r';
    normalised += text[i];
  }
  while (normalised.ends_with("\r\n")) normalised.resize(normalised.size() - 2);
  return normalised;
}

void WriteConfigurationFile(const std::string& path, const std::string& text) {
  const std::string content = runtime::Join(runtime::Split(text, "\r\n"), "\n") + "\n";
  std::error_code error;
  if (std::filesystem::exists(path, error)) {
    error = host::ReplaceFile(path + ".bak", ReadBytes(path));
    if (error) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Cannot keep " + path + " as " + path + ".bak: " + error.message());
    }
  }
  error = host::ReplaceFile(path, content);
  if (error) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Cannot write the configuration " + path + ": " + error.message());
  }
}

}  // namespace dam
