// Where the system's files go, path joining, and appending to the files kept there.
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
  // Writes `text` at the end of the file at `path` in one piece. A missing file is created
  // readable and writable by its owner only, whatever the process's file mode mask; a
  // wider file of the owner's is narrowed to that. A failure, a full disk included, is
  // error 75 naming the path and the system's reason; nothing is retried.
  virtual void AppendToFile(const std::string& path, const std::string& text) const = 0;
};

}  // namespace host
