// Configuration text files as users edit them.
#pragma once

#include <string>

namespace dam {

// The file's text as a host stores it: line ends made CR LF, trailing line ends dropped.
// With `raw` the bytes as they are. A file that cannot be read is an error naming it.
std::string ReadConfigurationFile(const std::string& path, bool raw);

// Writes a configuration text (CR LF between lines) as a file users edit: one line per
// line, ending in LF. The new file replaces the old at once (temporary file and rename);
// the old content is kept beside it as `path`.bak. A failure is an error naming the file
// and leaves the old file as it was.
void WriteConfigurationFile(const std::string& path, const std::string& text);

}  // namespace dam
