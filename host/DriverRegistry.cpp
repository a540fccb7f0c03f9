#include "host/DriverRegistry.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "runtime/Error.h"

namespace host {
namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

void WriteRegistry(const std::vector<RegisteredDriver>& entries) {
  const std::filesystem::path path = DriverRegistryPath();
  std::error_code ignored;
  std::filesystem::create_directories(path.parent_path(), ignored);
  const std::filesystem::path temporary = path.string() + ".tmp";
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    for (const auto& entry : entries) out << entry.className << '\t' << entry.modulePath << '\n';
    if (!out.flush()) {
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Cannot write the driver registry " + path.string());
    }
  }
  std::error_code error;
  std::filesystem::rename(temporary, path, error);
  if (error) {
    throw runtime::Error(runtime::kPathFileAccessError, "Cannot write the driver registry " +
                                                            path.string() + ": " + error.message());
  }
}

}  // namespace

std::string DriverRegistryPath() {
  if (std::string file = Environment("DAM_REGISTRY_FILE"); !file.empty()) return file;
  std::string config = Environment("XDG_CONFIG_HOME");
  if (config.empty()) config = Environment("HOME") + "/.config";
  return config + "/oxaDAM/drivers.registry";
}

std::vector<RegisteredDriver> ReadDriverRegistry() {
  std::vector<RegisteredDriver> entries;
  std::ifstream in(DriverRegistryPath(), std::ios::binary);
  std::string line;
  while (std::getline(in, line)) {
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || tab == 0 || tab + 1 == line.size()) continue;
    entries.push_back({line.substr(0, tab), line.substr(tab + 1)});
  }
  return entries;
}

void RegisterDriver(const RegisteredDriver& entry) {
  std::vector<RegisteredDriver> entries = ReadDriverRegistry();
  std::erase_if(entries, [&](const auto& e) { return e.className == entry.className; });
  entries.push_back(entry);
  WriteRegistry(entries);
}

bool UnregisterDriver(const std::string& className) {
  std::vector<RegisteredDriver> entries = ReadDriverRegistry();
  if (std::erase_if(entries, [&](const auto& e) { return e.className == className; }) == 0) {
    return false;
  }
  WriteRegistry(entries);
  return true;
}

}  // namespace host
