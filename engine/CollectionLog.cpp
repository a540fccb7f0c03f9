#include "engine/CollectionLog.h"

#include <fstream>

#include "runtime/Error.h"
#include "runtime/Text.h"

namespace engine {

void AppendLogLine(const std::string& path, const std::vector<std::string>& fields) {
  std::ofstream file(path, std::ios::binary | std::ios::app);
  if (!file) throw runtime::Error(runtime::kPathFileAccessError);
  file << runtime::Join(fields, "\t") << "\r\n";
  file.close();
  if (!file) throw runtime::Error(runtime::kPathFileAccessError);
}

}  // namespace engine
