#include "tests/support/TempFolder.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "runtime/Error.h"

namespace testsupport {

TempFolder::TempFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "dam-test-XXXXXX").string();
  if (!mkdtemp(pattern.data())) {
    throw runtime::Error(runtime::kPathFileAccessError, "Cannot create " + pattern);
  }
  path_ = pattern;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TempFolder::Subfolder(const std::string& name) const {
  const std::string path = File(name);
  std::filesystem::create_directories(path);
  return path;
}

}  // namespace testsupport
