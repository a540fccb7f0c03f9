#include "host/DriverRegistry.h"

#include <cstdlib>
#include <filesystem>
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
  const std::string path = DriverRegistryPath();
  std::string text;
  if (const std::error_code error = ReadRegularFile(path, text)) {
    if (error == std::errc::no_such_file_or_directory) return {};
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Cannot read the driver registry " + path + ": " + error.message());
  }
  std::vector<RegisteredDriver> entries;
  std::istringstream in(text);
  std::string line;
  for (int number = 1; std::getline(in, line); ++number) {
    // Edited on Windows, it may end its lines in CR LF.
    if (line.ends_with('\r')) line.pop_back();
    if (line.find_first_not_of(" \t") == std::string::npos) continue;
    const size_t tab = line.find('\t');
    if (tab == std::string::npos || tab == 0 || tab + 1 == line.size()) {
      // Rewriting the file without it would drop a registration that was only mistyped.
      throw runtime::Error(runtime::kPathFileAccessError,
                           "Line " + std::to_string(number) + " of the driver registry " + path +
                               " is not \"class name<TAB>module path\"; mend or delete it");
    }
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
