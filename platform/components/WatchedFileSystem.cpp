#include "platform/components/WatchedFileSystem.h"

#include "common/Module.h"

namespace platform {

void WatchedFileSystem::AppendToFile(const std::string& path, const std::string& text) const {
  FileSystem::AppendToFile(path, text);
  if (path != JoinPath(LogFolder(), std::string(common::kModuleName) + ".LOG")) return;
  CollectionLogLine.Raise(text.ends_with("\r\n") ? text.substr(0, text.size() - 2) : text);
}

}  // namespace platform
