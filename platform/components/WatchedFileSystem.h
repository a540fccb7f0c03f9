// The file system a driver is handed: the platform's, telling whoever listens of each line
// the driver wrote to the collection log. Each driver a host runs side by side has its own
// components and so its own, which makes what it tells that driver's lines, whatever its
// configuration is named: the log itself, shared by every driver, cannot say whose a line is.
#pragma once

#include <string>

#include "platform/utility/FileSystem.h"
#include "runtime/Event.h"

namespace platform {

class WatchedFileSystem : public FileSystem {
 public:
  void AppendToFile(const std::string& path, const std::string& text) const override;

  // Raised on the writer's thread once a collection log line is written, with the line
  // without its line end. A line the log could not take is not raised: its writer shows it.
  runtime::Event<const std::string&> CollectionLogLine;
};

}  // namespace platform
