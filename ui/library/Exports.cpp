// The windows library's one export: the driver's windows, for the module that loads it
// (driver/WindowsLibrary.h).
#include <type_traits>

#include "driver/WindowsLibrary.h"
#include "ui/QtWindows.h"

extern "C" ui::Windows* DamDriverWindows() {
  return &ui::QtWindows();
}

static_assert(std::is_same_v<decltype(&DamDriverWindows), driver::WindowsExport>);
