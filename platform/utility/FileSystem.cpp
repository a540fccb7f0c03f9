#include "platform/utility/FileSystem.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

#include "common/Module.h"
#include "host/PrivateFiles.h"

namespace platform {
namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

std::string HomeFolder() {
  std::string home = Environment("HOME");
  if (home.empty()) {
    if (const passwd* entry = getpwuid(getuid())) home = entry->pw_dir ? entry->pw_dir : "";
  }
  return home.empty() ? "." : home;
}

// The XDG base folder named by `variable`, or `fallback` under the home folder.
std::string XdgFolder(const char* variable, const char* fallback) {
  const std::string value = Environment(variable);
  if (!value.empty() && value.front() == '/') return value;
  return HomeFolder() + "/" + fallback;
}

std::string Folder(const char* overrideVariable, const char* xdgVariable, const char* xdgFallback) {
  std::string folder = Environment(overrideVariable);
  if (folder.empty()) folder = XdgFolder(xdgVariable, xdgFallback) + "/" + common::kModuleName;
  host::CreatePrivateFolders(folder);
  return folder;
}

}  // namespace

std::string FileSystem::JoinPath(const std::string& folder, const std::string& fileName) const {
  if (folder.empty()) return fileName;
  if (folder.back() == '/') return folder + fileName;
  return folder + "/" + fileName;
}

std::string FileSystem::LogFolder() const {
  return Folder("DAM_LOG_DIR", "XDG_STATE_HOME", ".local/state");
}

std::string FileSystem::SettingsFolder() const {
  return Folder("DAM_SETTINGS_DIR", "XDG_CONFIG_HOME", ".config");
}

std::string FileSystem::ComponentFolder() const {
  return Folder("DAM_COMPONENT_DIR", "XDG_CONFIG_HOME", ".config");
}

std::string FileSystem::DataFolder() const {
  return Folder("DAM_DATA_DIR", "XDG_DATA_HOME", ".local/share");
}

}  // namespace platform
