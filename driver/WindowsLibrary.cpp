#include "driver/WindowsLibrary.h"

#include <dlfcn.h>

#include <filesystem>

#include "driver/ModuleFile.h"
#include "runtime/Error.h"
#include "runtime/TrustedFile.h"

namespace driver {
namespace {

ui::Windows& Load() {
  const std::string file =
      (std::filesystem::path(ModuleFilePath()).parent_path() / "windows/oxaGEPDAD6-windows.so")
          .string();
  // Its code runs as this user, as the module's does: no other user may be able to replace it.
  const std::string why = runtime::WhyOthersCouldChange(file);
  if (!why.empty()) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Refusing to load the driver's windows " + file + ": " + why);
  }
  // Never unloaded: Qt keeps pointers into the code that made its widgets.
  void* library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
  if (library == nullptr) {
    throw runtime::Error(
        runtime::kCannotCreateObject,
        std::string("The driver's windows are not installed (package dam-gui): ") + dlerror());
  }
  const auto windows = reinterpret_cast<WindowsExport>(dlsym(library, kWindowsExportName));
  if (windows == nullptr) {
    throw runtime::Error(runtime::kCannotCreateObject,
                         file + " is no windows library: it does not export " + kWindowsExportName);
  }
  return *windows();
}

}  // namespace

ui::Windows& LoadWindowsLibrary() {
  // A failure is tried again next time: the package may have been installed since.
  static ui::Windows* windows = nullptr;
  if (windows == nullptr) windows = &Load();
  return *windows;
}

}  // namespace driver
