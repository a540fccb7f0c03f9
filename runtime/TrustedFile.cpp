#include "runtime/TrustedFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

namespace runtime {
namespace {

std::string Mode(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

// Why another user could replace what `path` names itself, or empty.
std::string Unsafe(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  if (status.st_uid != geteuid() && status.st_uid != 0) {
    return path.string() + " is owned by user " + std::to_string(status.st_uid) +
           ", neither this user nor root";
  }
  const bool othersWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const bool stickyRootFolder =
      S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0 && status.st_uid == 0;
  if (othersWrite && !stickyRootFolder) {
    return path.string() + " is writable by its group or by others (mode " + Mode(status.st_mode) +
           ")";
  }
  return {};
}

}  // namespace

std::string WhyOthersCouldChange(const std::string& path) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(path, error);
  if (error) return {};
  for (const std::filesystem::path& file :
       {std::filesystem::absolute(path).lexically_normal(), real}) {
    for (std::filesystem::path at = file;; at = at.parent_path()) {
      std::string why = Unsafe(at);
      if (!why.empty()) return why;
      if (!at.has_relative_path()) break;
    }
  }
  return {};
}

}  // namespace runtime
