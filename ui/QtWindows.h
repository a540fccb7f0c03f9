// The driver's windows made with Qt Widgets: what the windows library hands the module, and
// what a program that links the forms itself (the tests, the screenshots) hands a driver.
#pragma once

#include "ui/Windows.h"

namespace ui {

Windows& QtWindows();

}  // namespace ui
