#include "apps/dam/host/DamHost.h"

#include <cstdlib>
#include <filesystem>
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

}  // namespace

DamHost::DamHost(host::Components& components, const std::string& spcConnection)
    : session_(components.CreateDatabaseSession()) {
  session_->Initialize(host::SessionNumber());
  session_->Settings().SetConnection(spcConnection);
  session_->Open(1, 0);
}

void DamHost::StateChanged(host::IDriver& driver) {
  if (onStateChanged) onStateChanged(driver.State());
}

std::string SpcConnection(host::Components& components, const std::string& flag) {
  if (!flag.empty()) return flag;
  if (const char* environment = std::getenv("DAM_SPC_CONNECTION"); environment && *environment) {
    return environment;
  }
  const std::string setting = components.OpenSettingsFile(SettingsPath(components))
                                  ->ReadString("Database", "Connection", "");
  if (!setting.empty()) return setting;
  host::HostFileSystem& files = components.FileSystem();
  return "Driver=SQLite3;Database=" + files.JoinPath(files.DataFolder(), "spc.db");
}

void WarnIfSettingsShowPasswords(host::Components& components) {
  namespace fs = std::filesystem;
  const std::string path = SettingsPath(components);
  std::error_code error;
  const fs::perms mode = fs::status(path, error).permissions();
  if (error || (mode & (fs::perms::group_read | fs::perms::others_read)) == fs::perms::none) return;
  std::ifstream in(path, std::ios::binary);
  for (std::string line; std::getline(in, line);) {
    if (line.ends_with('\r')) line.pop_back();
    if (platform::HoldsConnectionSecret(line)) {
      std::cerr << "dam: warning: " << path
                << " holds a password that other users can read; make it owner-only: chmod 600 "
                << path << '\n';
      return;
    }
  }
}

}  // namespace dam
