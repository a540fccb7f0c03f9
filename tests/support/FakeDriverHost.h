// The host side a driver object talks to, for tests: a parent that is also the host's
// notification interface and application database, and a database session that records
// how the driver set it up.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "host/DatabaseSession.h"
#include "host/IDriver.h"

namespace testsupport {

class FakeSession : public host::DatabaseSession, public host::DatabaseSettings {
 public:
  void Initialize(int32_t number) override { sessionNumber = number; }
  host::DatabaseSettings& Settings() override { return *this; }
  void Open(int32_t mode, int32_t options) override { opened = {mode, options}; }
  std::string Connection() const override { return connection; }
  void SetConnection(const std::string& value) override { connection = value; }
  int32_t sessionNumber = -1;
  std::pair<int32_t, int32_t> opened{-1, -1};
  std::string connection;
};

class FakeParent : public host::DriverParent,
                   public host::HostNotify,
                   public host::ApplicationDatabase,
                   public std::enable_shared_from_this<FakeParent> {
 public:
  std::shared_ptr<host::ApplicationDatabase> Database() override { return shared_from_this(); }
  std::shared_ptr<host::DatabaseSession> Session() override { return hostSession; }
  void StateChanged(host::IDriver& driver) override { states.push_back(driver.State()); }
  void ConfigurationChanged(host::IDriver&) override { ++configurationChanges; }
  std::shared_ptr<FakeSession> hostSession = std::make_shared<FakeSession>();
  std::vector<int32_t> states;
  int configurationChanges = 0;
};

}  // namespace testsupport
