// The collection log: one line per recorded engine error, appended to a text file that
// nothing truncates.
#pragma once

#include <string>
#include <vector>

#include "host/HostFileSystem.h"

namespace engine {

// The log line of `fields`: joined by tabs, without its line end. Texts stay as they are
// (UTF-8), tabs and line breaks inside a field included.
std::string LogLine(const std::vector<std::string>& fields);

// Appends `line` and CR LF to the file at `path` through `files`, which creates the file
// for its owner only. The file is open only while the line is written. Failing is error 75.
void AppendLogLine(const host::HostFileSystem& files, const std::string& path,
                   const std::string& line);

}  // namespace engine
