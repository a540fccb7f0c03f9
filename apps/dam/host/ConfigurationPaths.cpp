#include "apps/dam/host/ConfigurationPaths.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <utility>

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

ConfigurationFileList ConfigurationFiles(const std::vector<std::string>& paths) {
  namespace fs = std::filesystem;
  ConfigurationFileList list;
  std::vector<std::string> named;
  // As found: a service's NAME is told as the folder NAME.d it stood for.
  std::string searched;
  for (const std::string& path : paths) {
    std::error_code error;
    const std::string folder = Resolved(path);
    searched += (searched.empty() ? "" : " ") + folder;
    if (folder == path + ".cfg" && fs::is_directory(path + ".d", error)) {
      list.passedOver.push_back({path + ".d", folder});
    }
    if (!fs::is_directory(folder, error)) {
      named.push_back(folder);
      continue;
    }
    std::vector<std::string> found;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      std::error_code kind;
      if (entry->path().extension() == ".cfg" && !entry->is_directory(kind)) {
        found.push_back(entry->path().string());
      }
    }
    if (error) {
      throw apps::Failure(apps::kExitNoFile,
                          "the folder " + folder + " cannot be listed: " + error.message());
    }
    std::sort(found.begin(), found.end());
    named.insert(named.end(), found.begin(), found.end());
  }
  if (named.empty()) {
    throw apps::Failure(apps::kExitNoFile, "no configuration (*.cfg) in " + searched);
  }
  std::map<std::pair<dev_t, ino_t>, std::string> seen;
  for (std::string& file : named) {
    struct stat status {};
    // One that cannot be looked at is left for the reading to report.
    if (stat(file.c_str(), &status) == 0) {
      const auto [first, added] = seen.emplace(std::pair(status.st_dev, status.st_ino), file);
      if (!added) {
        list.again.push_back({std::move(file), first->second});
        continue;
      }
    }
    list.files.push_back(std::move(file));
  }
  return list;
}

std::string PassedOverText(const ConfigurationFileList::PassedOver& over) {
  return "its configurations do not run, as " + over.file + " is there and comes first";
}

}  // namespace dam
