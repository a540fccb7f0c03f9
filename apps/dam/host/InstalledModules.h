// Driver modules installed with dam: a package puts them in a folder at a fixed place
// relative to the program (bin/../lib/<triplet>/dam/modules), so that a service user runs
// them without a registration step. The module of the class "Name.Class" there is
// "Name.so".
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace dam {

// The folder, found from this program's own location; "" when that cannot be read.
std::string InstalledModuleFolder();
// The module there that serves `className`, when the file exists.
std::optional<std::string> InstalledModule(const std::string& className);
// Every module file there, sorted.
std::vector<std::string> InstalledModules();

}  // namespace dam
