#include "apps/dam/DamHost.h"

#include <filesystem>

#include "runtime/Clock.h"

namespace dam {

DamHost::DamHost(host::Components& components, const std::string& spcConnection)
    : session_(components.CreateDatabaseSession()) {
  session_->Initialize(SessionNumber());
  session_->Settings().SetConnection(spcConnection);
  session_->Open(1, 0);
}

void DamHost::StateChanged(host::IDriver& driver) {
  if (onStateChanged) onStateChanged(driver.State());
}

std::string SpcConnection(host::Components& components, const std::string& flag) {
  if (!flag.empty()) return flag;
  host::HostFileSystem& files = components.FileSystem();
  const std::string setting =
      components.OpenSettingsFile(files.JoinPath(files.SettingsFolder(), "dam.ini"))
          ->ReadString("Database", "Connection", "");
  if (!setting.empty()) return setting;
  std::filesystem::create_directories(files.DataFolder());
  return "Driver=SQLite3;Database=" + files.JoinPath(files.DataFolder(), "spc.db");
}

int32_t SessionNumber() {
  const runtime::Date since = runtime::MakeDate({.year = 1980, .month = 1, .day = 1});
  return static_cast<int32_t>(runtime::DateDiffMinutes(since, runtime::Now()));
}

}  // namespace dam
