#include "apps/dam/WindowsSide.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "apps/shared/Failures.h"

namespace dam {
namespace {

std::vector<std::string> programArgs;
WindowsSide* programWindows = nullptr;

// Beside this program, links resolved: a setting or the environment never names it.
std::filesystem::path WindowsProgram() {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::canonical("/proc/self/exe", error);
  return error ? std::filesystem::path() : program.parent_path() / "dam-gui";
}

}  // namespace

void SetProgramWindows(const std::vector<std::string>& args, WindowsSide* windows) {
  programArgs = args;
  programWindows = windows;
}

WindowsSide& RequireWindows(const std::string& what) {
  if (programWindows != nullptr) return *programWindows;
  const std::filesystem::path program = WindowsProgram();
  std::error_code error;
  if (program.empty() || !std::filesystem::exists(program, error)) {
    throw apps::Failure(apps::kExitNoWindows,
                        what + " needs the package dam-gui: apt install dam-gui");
  }
  std::vector<char*> argv{const_cast<char*>("dam")};
  for (std::string& arg : programArgs) argv.push_back(arg.data());
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  throw apps::Failure(apps::kExitNoWindows,
                      "cannot start " + program.string() + ": " + std::strerror(errno));
}

}  // namespace dam
