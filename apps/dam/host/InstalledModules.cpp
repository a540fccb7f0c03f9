#include "apps/dam/host/InstalledModules.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace dam {
namespace fs = std::filesystem;

std::string InstalledModuleFolder() {
  std::error_code error;
  const fs::path program = fs::canonical("/proc/self/exe", error);
  if (error) return {};
  return (program.parent_path() / DAM_INSTALLED_MODULE_DIR).lexically_normal().string();
}

std::optional<std::string> InstalledModule(const std::string& className) {
  const std::string folder = InstalledModuleFolder();
  const size_t dot = className.find('.');
  if (folder.empty() || dot == 0 || dot == std::string::npos) return std::nullopt;
  const fs::path module = fs::path(folder) / (className.substr(0, dot) + ".so");
  std::error_code error;
  if (!fs::is_regular_file(module, error)) return std::nullopt;
  return module.string();
}

std::vector<std::string> InstalledModules() {
  std::vector<std::string> modules;
  const std::string folder = InstalledModuleFolder();
  std::error_code error;
  if (folder.empty() || !fs::is_directory(folder, error)) return modules;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
    if (entry.path().extension() == ".so" && entry.is_regular_file(error)) {
      modules.push_back(entry.path().string());
    }
  }
  std::sort(modules.begin(), modules.end());
  return modules;
}

}  // namespace dam
