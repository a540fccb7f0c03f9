// The host side of one driver: its parent object, which is also the host's notification
// interface and the application database holding the host's SPC database session.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "apps/shared/Failures.h"
#include "host/Components.h"
#include "host/IDriver.h"
#include "platform/components/PlatformComponents.h"

namespace dam {

class DamHost : public host::DriverParent,
                public host::HostNotify,
                public host::ApplicationDatabase,
                public std::enable_shared_from_this<DamHost> {
 public:
  // Opens the host's session on the SPC database at `spcConnection`.
  DamHost(host::Components& components, const std::string& spcConnection);

  std::shared_ptr<host::ApplicationDatabase> Database() override { return shared_from_this(); }
  std::shared_ptr<host::DatabaseSession> Session() override { return session_; }
  void StateChanged(host::IDriver& driver) override;
  void ConfigurationChanged(host::IDriver&) override {}

  std::function<void(int32_t state)> onStateChanged;

 private:
  std::shared_ptr<host::DatabaseSession> session_;
};

// Runs `body`, which reads dam.ini or sets up what it configures (the spool). A dam.ini that
// cannot be read, a wrong value or a spool that cannot be opened is no outage a restart
// mends: an apps::Failure with exit status kExitInvalidConfiguration.
template <typename Body>
decltype(auto) SettingUpThisHost(Body&& body) {
  return apps::Doing(apps::kExitInvalidConfiguration, "cannot set up this host",
                     std::forward<Body>(body));
}

// The host setting `key` of `section` in dam.ini (settings folder); "" when not set.
std::string HostSetting(host::Components& components, const std::string& section,
                        const std::string& key);
// "[Section] Key in /path/dam.ini", for messages about a setting.
std::string SettingName(host::Components& components, const std::string& section,
                        const std::string& key);

// The SPC database's connection string: `flag` when given, else the environment variable
// DAM_SPC_CONNECTION (keeps a password off command lines), else the host setting
// ("[Database] Connection=" in dam.ini in the settings folder), else an SQLite file in
// the data folder.
std::string SpcConnection(host::Components& components, const std::string& flag);

// What dam.ini allows the connections made through `components` (ReadOdbcPolicy), read under
// SettingUpThisHost: every command that reads dam.ini calls it once as it starts, so that a
// dam.ini that cannot be read or holds a wrong value stops it before it does anything. Warns
// on stderr first when dam.ini gives a connection string a password and people other than its
// owner may read the file: others, or a group that is not the reader's own private group.
platform::OdbcPolicy ReadHostSettings(platform::PlatformComponents& components);

}  // namespace dam
