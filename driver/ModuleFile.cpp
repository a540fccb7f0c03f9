#include "driver/ModuleFile.h"

#include <dlfcn.h>

#include <filesystem>

namespace driver {

std::string ModuleFilePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ModuleFilePath), &info) == 0 || info.dli_fname == nullptr) {
    return "";
  }
  std::error_code error;
  const std::filesystem::path path = std::filesystem::canonical(info.dli_fname, error);
  return error ? info.dli_fname : path.string();
}

}  // namespace driver
