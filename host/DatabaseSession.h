// The host's SPC database session and its settings.
#pragma once

#include <cstdint>
#include <string>

namespace host {

class DatabaseSettings {
 public:
  virtual ~DatabaseSettings() = default;
  // Where the SPC database is: an ODBC connection string on this platform.
  virtual std::string Connection() const = 0;
  virtual void SetConnection(const std::string& connection) = 0;
};

class DatabaseSession {
 public:
  virtual ~DatabaseSession() = default;
  // Identifies this session to the database (by convention host::SessionNumber()).
  virtual void Initialize(int32_t sessionNumber) = 0;
  virtual DatabaseSettings& Settings() = 0;
  // Opens the database named by the settings; (1, 0) is how drivers open it.
  virtual void Open(int32_t mode, int32_t options) = 0;
};

}  // namespace host
