#include "apps/dam/host/ConfigFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>
#include <thread>
#include <utility>

#include "apps/shared/Failures.h"
#include "host/FileKind.h"
#include "host/PrivateFiles.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace dam {
namespace {

constexpr off_t kMostBytes = off_t{16} << 20;

[[noreturn]] void Refuse(const std::string& why) {
  throw apps::Failure(apps::kExitNoFile, why);
}

// A file written this recently may be only half written yet, and a writer that goes on
// changes it within as long again.
constexpr std::chrono::milliseconds kMoment{250};

// The bytes of a file, with its state before and after they were read.
struct Look {
  std::string bytes;
  struct stat before {};
  struct stat after {};
};

// A FIFO would block an open or read for good, a device or a file growing meanwhile would
// never end: opened without waiting, and only a regular file, read up to the limit.
Look LookAt(const std::string& path) {
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
  Look look;
  if (fstat(fd, &look.before) != 0) cannotRead();
  if (!S_ISREG(look.before.st_mode))
    Refuse(path + " is " + host::FileKind(look.before.st_mode) + ", not a configuration file");
  for (char buffer[65536];;) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) cannotRead();
    if (count == 0) break;
    look.bytes.append(buffer, static_cast<size_t>(count));
    if (std::cmp_greater(look.bytes.size(), kMostBytes)) break;
  }
  if (std::cmp_greater(look.bytes.size(), kMostBytes)) {
    Refuse(path + " is larger than 16 MB, too large for a configuration file");
  }
  if (fstat(fd, &look.after) != 0) cannotRead();
  return look;
}

// What a writer moves: the size and the time of the last change, or the file itself when
// it is replaced.
bool Same(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
         a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

bool Steady(const Look& look) {
  return Same(look.before, look.after) && std::cmp_equal(look.bytes.size(), look.after.st_size);
}

// A change in the future (a clock behind the file's) says nothing of how long ago it was.
bool Recent(const struct stat& status) {
  const auto changed = std::chrono::system_clock::time_point(
      std::chrono::duration_cast<std::chrono::system_clock::duration>(
          std::chrono::seconds(status.st_mtim.tv_sec) +
          std::chrono::nanoseconds(status.st_mtim.tv_nsec)));
  return changed > std::chrono::system_clock::now() - kMoment;
}

std::string Normalised(const std::string& text) {
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

// The bytes of each file, looked at twice across one pause when it may be half written.
std::vector<ConfigurationRead> ReadSettled(const std::vector<std::string>& paths,
                                           const Pause& pause) {
  std::vector<ConfigurationRead> reads(paths.size());
  // As the first look left them.
  std::vector<std::optional<struct stat>> unsettled(paths.size());
  bool again = false;
  for (size_t i = 0; i < paths.size(); ++i) {
    try {
      Look look = LookAt(paths[i]);
      if (Steady(look) && !Recent(look.after)) {
        reads[i].text = std::move(look.bytes);
      } else {
        unsettled[i] = look.after;
        again = true;
      }
    } catch (...) {
      reads[i].failure = std::current_exception();
    }
  }
  if (!again) return reads;
  pause(kMoment);
  for (size_t i = 0; i < paths.size(); ++i) {
    if (!unsettled[i]) continue;
    try {
      Look look = LookAt(paths[i]);
      if (!Steady(look) || !Same(look.after, *unsettled[i])) {
        // Not kExitNoFile: a service restarted a moment later finds the file complete.
        throw apps::Failure(
            apps::kExitFailure,
            paths[i] + " is being written; reload or run again once it is complete");
      }
      reads[i].text = std::move(look.bytes);
    } catch (...) {
      reads[i].failure = std::current_exception();
    }
  }
  return reads;
}

// The file's bytes without waiting on a writer, or none when there is no file.
std::optional<std::string> BytesNow(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error) && !std::filesystem::is_symlink(path, error)) {
    return std::nullopt;
  }
  return LookAt(path).bytes;
}

}  // namespace

void Sleep(std::chrono::milliseconds time) {
  std::this_thread::sleep_for(time);
}

std::string ReadConfigurationFile(const std::string& path, bool raw) {
  ConfigurationRead read = std::move(ReadSettled({path}, Sleep)[0]);
  if (read.failure) std::rethrow_exception(read.failure);
  return raw ? read.text : Normalised(read.text);
}

std::vector<ConfigurationRead> ReadConfigurationFiles(const std::vector<std::string>& paths,
                                                      const Pause& pause) {
  std::vector<ConfigurationRead> reads = ReadSettled(paths, pause);
  for (ConfigurationRead& read : reads) {
    if (!read.failure) read.text = Normalised(read.text);
  }
  return reads;
}

std::optional<std::string> ConfigurationNow(const std::string& path) {
  const std::optional<std::string> bytes = BytesNow(path);
  if (!bytes) return std::nullopt;
  return Normalised(*bytes);
}

void WriteConfigurationFile(const std::string& path, const std::string& text,
                            const std::optional<std::string>& read) {
  const auto cannot = [&](const std::string& doing, std::error_code error) {
    if (error == host::ReadOnly()) {
      throw runtime::Error(runtime::kPathFileAccessError, path + " is read-only");
    }
    // The file itself may be written: what refuses is its folder, which takes the new file.
    if (error == std::errc::permission_denied || error == std::errc::read_only_file_system) {
      const std::filesystem::path folder = std::filesystem::path(path).parent_path();
      throw runtime::Error(runtime::kPathFileAccessError,
                           doing + ": the folder " + (folder.empty() ? "." : folder.string()) +
                               " does not take new files (" + error.message() + ")");
    }
    throw runtime::Error(runtime::kPathFileAccessError, doing + ": " + error.message());
  };
  const std::optional<std::string> bytes = BytesNow(path);
  if ((bytes ? std::optional(Normalised(*bytes)) : std::nullopt) != read) {
    throw ChangedMeanwhile(path + " was changed by someone else since it was read");
  }
  const std::string content = runtime::Join(runtime::Split(text, "\r\n"), "\n") + "\n";
  std::error_code error = host::CheckWritable(path);
  if (error) cannot("Cannot write the configuration " + path, error);
  if (bytes) {
    error = host::ReplaceFile(path + ".bak", *bytes);
    if (error) cannot("Cannot keep " + path + " as " + path + ".bak", error);
  }
  error = host::ReplaceFile(path, content);
  if (error) cannot("Cannot write the configuration " + path, error);
}

}  // namespace dam
