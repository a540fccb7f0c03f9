#include "platform/odbc/HostTimeZone.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>

namespace platform {
namespace {

constexpr char kLocalTime[] = "/etc/localtime";
constexpr std::string_view kZoneFolder = "zoneinfo/";
// Zone files of the same names whose times PostgreSQL reads from its own files.
constexpr std::string_view kPosixFolder = "posix/";

// The rule a zone file of version 2 or later ends with, on a line of its own.
std::string FileRule(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.starts_with("TZif") || text.size() < 6 || text[4] < '2' || !text.ends_with('\n'))
    return {};
  const size_t start = text.rfind('\n', text.size() - 2);
  return start == std::string::npos ? std::string()
                                    : text.substr(start + 1, text.size() - start - 2);
}

// The zone of a zone file: its name under a zoneinfo folder, else its rule.
std::string FileZone(const std::string& path) {
  const size_t folder = path.rfind(kZoneFolder);
  if (folder == std::string::npos) return FileRule(path);
  std::string_view name = std::string_view(path).substr(folder + kZoneFolder.size());
  if (name.starts_with(kPosixFolder)) name.remove_prefix(kPosixFolder.size());
  return std::string(name);
}

}  // namespace

std::string HostTimeZone() {
  const char* variable = std::getenv("TZ");
  if (variable == nullptr) {
    std::error_code error;
    const std::filesystem::path link = std::filesystem::read_symlink(kLocalTime, error);
    if (!error) return FileZone(link.string());
    return std::filesystem::exists(kLocalTime, error) ? FileRule(kLocalTime) : "UTC";
  }
  std::string_view zone = variable;
  if (zone.starts_with(':')) zone.remove_prefix(1);
  if (zone.empty()) return "UTC";
  if (zone.starts_with('/')) return FileZone(std::string(zone));
  return std::string(zone);
}

}  // namespace platform
