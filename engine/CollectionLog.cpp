#include "engine/CollectionLog.h"

#include "runtime/Text.h"

namespace engine {

std::string LogLine(const std::vector<std::string>& fields) {
  return runtime::Join(fields, "\t");
}

void AppendLogLine(const host::HostFileSystem& files, const std::string& path,
                   const std::string& line) {
  files.AppendToFile(path, line + "\r\n");
}

}  // namespace engine
