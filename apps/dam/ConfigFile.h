// Configuration text files as users edit them.
#pragma once

#include <string>

namespace dam {

// The file's text as a host stores it: line ends made CR LF, trailing line ends dropped.
// With `raw` the bytes as they are. A file that cannot be read is an error naming it.
std::string ReadConfigurationFile(const std::string& path, bool raw);

}  // namespace dam
