// The driver's windows live in a library of their own, windows/oxaGEPDAD6-windows.so beside
// the module file, so that a host without windows loads neither Qt Widgets nor a display's
// libraries: the module loads it when the first window is asked for. It is looked for there
// only; nothing a setting or a configuration holds names another file.
#pragma once

#include <functional>

#include "ui/Windows.h"

namespace driver {

// Where a driver gets its windows: LoadWindowsLibrary in the module, the forms themselves
// where a program links them (ui::QtWindows).
using WindowsSource = std::function<ui::Windows&()>;

// The windows of the library beside the module, loaded on the first call and kept loaded.
// Raises error 429 when the library is not installed or is no windows library, and error 75
// when another user could have replaced it (runtime/TrustedFile.h).
ui::Windows& LoadWindowsLibrary();

// The function the windows library exports, of type WindowsExport.
inline constexpr char kWindowsExportName[] = "DamDriverWindows";
using WindowsExport = ui::Windows* (*)();

}  // namespace driver
