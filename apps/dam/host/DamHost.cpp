#include "apps/dam/host/DamHost.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>

#include "host/SessionNumber.h"
#include "platform/odbc/ConnectionSecrets.h"

namespace dam {
namespace {

std::string SettingsPath(host::Components& components) {
  host::HostFileSystem& files = components.FileSystem();
  return files.JoinPath(files.SettingsFolder(), "dam.ini");
}

// The user's own group, as Debian makes one for each user (and for the service's user dam):
// named as the user, the user's primary group, with no other member.
bool UsersOwnGroup(gid_t gid) {
  const passwd* user = getpwuid(geteuid());
  const group* found = getgrgid(gid);
  if (!user || !found || user->pw_gid != gid || std::string(found->gr_name) != user->pw_name) {
    return false;
  }
  for (char** member = found->gr_mem; *member; ++member) {
    if (std::string(*member) != user->pw_name) return false;
  }
  return true;
}

// Owner-only would lock out a reader that is not the owner: the service reads root's
// /etc/dam/dam.ini through its group.
std::string PrivateModeAdvice(const std::string& path, const struct stat& file) {
  if (file.st_uid == geteuid()) return "make it owner-only: chmod 600 " + path;
  const group* own = getgrgid(getegid());
  const std::string name = own ? own->gr_name : std::to_string(getegid());
  return "make it readable by its owner and your group alone: chgrp " + name + " " + path +
         " && chmod 640 " + path;
}

void WarnIfSettingsShowPasswords(host::Components& components) {
  const std::string path = SettingsPath(components);
  struct stat file {};
  if (stat(path.c_str(), &file) != 0) return;
  // The service reads /etc/dam/dam.ini as root's file of its own group dam, mode 0640.
  const bool groupReads = (file.st_mode & S_IRGRP) && !UsersOwnGroup(file.st_gid);
  if (!groupReads && !(file.st_mode & S_IROTH)) return;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (platform::HoldsConnectionSecret(line)) {
      std::cerr << "dam: warning: " << path << " holds a password that other users can read; "
                << PrivateModeAdvice(path, file) << '\n';
      return;
    }
  }
}

}  // namespace

DamHost::DamHost(host::Components& components, const std::string& spcConnection)
    : session_(SettingUpThisHost([&] { return components.CreateDatabaseSession(); })) {
  session_->Initialize(host::SessionNumber());
  session_->Settings().SetConnection(spcConnection);
  session_->Open(1, 0);
}

void DamHost::StateChanged(host::IDriver& driver) {
  if (onStateChanged) onStateChanged(driver.State());
}

std::string HostSetting(host::Components& components, const std::string& section,
                        const std::string& key) {
  return SettingUpThisHost([&] {
    return components.OpenSettingsFile(SettingsPath(components))->ReadString(section, key, "");
  });
}

std::string SettingName(host::Components& components, const std::string& section,
                        const std::string& key) {
  return "[" + section + "] " + key + " in " + SettingsPath(components);
}

std::string SpcConnection(host::Components& components, const std::string& flag) {
  if (!flag.empty()) return flag;
  if (const char* environment = std::getenv("DAM_SPC_CONNECTION"); environment && *environment) {
    return environment;
  }
  const std::string setting = HostSetting(components, "Database", "Connection");
  if (!setting.empty()) return setting;
  host::HostFileSystem& files = components.FileSystem();
  return "Driver=SQLite3;Database=" + files.JoinPath(files.DataFolder(), "spc.db");
}

platform::OdbcPolicy ReadHostSettings(platform::PlatformComponents& components) {
  WarnIfSettingsShowPasswords(components);
  return SettingUpThisHost([&] { return components.ReadOdbcPolicy(); });
}

}  // namespace dam
