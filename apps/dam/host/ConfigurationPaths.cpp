#include "apps/dam/host/ConfigurationPaths.h"

#include <algorithm>
#include <filesystem>

#include "apps/shared/Failures.h"

namespace dam {
namespace {

// A path that names nothing stands for PATH.cfg, else the folder PATH.d, when there is one:
// a service instance names its configuration so.
std::string Resolved(const std::string& path) {
  std::error_code error;
  if (std::filesystem::exists(path, error)) return path;
  for (const char* suffix : {".cfg", ".d"}) {
    if (std::filesystem::exists(path + suffix, error)) return path + suffix;
  }
  return path;
}

}  // namespace

std::vector<std::string> ConfigurationFiles(const std::vector<std::string>& paths) {
  namespace fs = std::filesystem;
  std::vector<std::string> files;
  for (const std::string& path : paths) {
    std::error_code error;
    const std::string folder = Resolved(path);
    if (!fs::is_directory(folder, error)) {
      files.push_back(folder);
      continue;
    }
    std::vector<std::string> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      if (entry->path().extension() == ".cfg" && !entry->is_directory()) {
        found.push_back(entry->path().string());
      }
    }
    if (error) {
      throw apps::Failure(apps::kExitNoFile,
                          "the folder " + folder + " cannot be listed: " + error.message());
    }
    std::sort(found.begin(), found.end());
    files.insert(files.end(), found.begin(), found.end());
  }
  if (files.empty()) {
    std::string named;
    for (const std::string& path : paths) named += (named.empty() ? "" : " ") + path;
    throw apps::Failure(apps::kExitNoFile, "no configuration (*.cfg) in " + named);
  }
  return files;
}

}  // namespace dam
