#include "host/DriverRegistry.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/Folders.h"
#include "host/PrivateFiles.h"
#include "runtime/Error.h"

namespace host {
namespace {

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

void WriteRegistry(const std::vector<RegisteredDriver>& entries) {
  const std::string path = DriverRegistryPath();
  std::string text;
  for (const auto& entry : entries) text += entry.className + '\t' + entry.modulePath + '\n';
  std::error_code error = CreatePrivateFolders(std::filesystem::path(path).parent_path().string());
  if (!error) error = ReplaceFile(path, text);
  if (error) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Cannot write the driver registry " + path + ": " + error.message());
  }
}

}  // namespace

std::string DriverRegistryPath() {
  if (std::string file = Environment("DAM_REGISTRY_FILE"); !file.empty()) return file;
  return ApplicationFolder("DAM_REGISTRY_FILE", BaseFolder::Config, "oxaDAM") + "/drivers.registry";
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
