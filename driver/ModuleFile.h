// The file this code was loaded from: the driver module in a host, the program itself where
// the driver is linked in (the tests). Canonical, so that the registry names the file itself
// whatever path, link or working folder it was loaded through.
#pragma once

#include <string>

namespace driver {

// Empty when the system cannot tell.
std::string ModuleFilePath();

}  // namespace driver
