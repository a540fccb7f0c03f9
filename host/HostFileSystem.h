// Where the system's files go, and path joining.
#pragma once

#include <string>

namespace host {

class HostFileSystem {
 public:
  virtual ~HostFileSystem() = default;
  virtual std::string JoinPath(const std::string& folder, const std::string& fileName) const = 0;
  // Folder of the collection log.
  virtual std::string LogFolder() const = 0;
  // Folder of per-application settings files (the tag browser's position).
  virtual std::string SettingsFolder() const = 0;
  // Folder of the host's components, where the table definition file is looked for.
  virtual std::string ComponentFolder() const = 0;
  // Folder for data the host keeps (its default SPC database).
  virtual std::string DataFolder() const = 0;
};

}  // namespace host
