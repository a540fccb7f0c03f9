#include "host/Folders.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "runtime/Error.h"

namespace host {
namespace {

std::string Environment(std::string_view name) {
  const char* value = std::getenv(std::string(name).c_str());
  return value ? value : "";
}

}  // namespace

std::string HomeFolder(std::string_view overrideVariable) {
  if (std::string home = Environment("HOME"); !home.empty()) return home;
  const passwd* entry = getpwuid(getuid());
  if (entry != nullptr && entry->pw_dir != nullptr && entry->pw_dir[0] != '\0') {
    return entry->pw_dir;
  }
  throw runtime::Error(
      runtime::kPathFileAccessError,
      "There is no home folder: HOME is unset and user " + std::to_string(getuid()) +
          " has no home in the user database; set HOME or " + std::string(overrideVariable),
      "Folders.HomeFolder");
}

std::string BaseFolderPath(BaseFolder base, std::string_view overrideVariable) {
  struct Xdg {
    const char* variable;
    const char* fallback;
  };
  static constexpr Xdg kBases[] = {
      {"XDG_STATE_HOME", "/.local/state"},
      {"XDG_CONFIG_HOME", "/.config"},
      {"XDG_DATA_HOME", "/.local/share"},
  };
  const Xdg& xdg = kBases[static_cast<int>(base)];
  if (std::string value = Environment(xdg.variable); value.starts_with('/')) return value;
  return HomeFolder(overrideVariable) + xdg.fallback;
}

std::string ApplicationFolder(std::string_view overrideVariable, BaseFolder base,
                              std::string_view application) {
  if (std::string folder = Environment(overrideVariable); !folder.empty()) return folder;
  return BaseFolderPath(base, overrideVariable) + "/" + std::string(application);
}

}  // namespace host
