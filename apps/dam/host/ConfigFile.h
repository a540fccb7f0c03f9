// Configuration text files as users edit them.
#pragma once

#include <string>

namespace dam {

// The file's text as a host stores it: line ends made CR LF, trailing line ends dropped.
// With `raw` the bytes as they are. A file that is not there or cannot be read, that is no
// regular file (a folder, a FIFO, a device) or that is larger than 16 MB is an apps::Failure
// with exit status kExitNoFile naming it; nothing waits on a FIFO or reads a device.
std::string ReadConfigurationFile(const std::string& path, bool raw);

// Writes a configuration text (CR LF between lines) as a file users edit: one line per
// line, ending in LF. The new file replaces the old at once and durably (host::ReplaceFile);
// the old content is kept beside it as `path`.bak, replaced the same way. A failure is an
// error naming the file and leaves the old file as it was.
void WriteConfigurationFile(const std::string& path, const std::string& text);

}  // namespace dam
