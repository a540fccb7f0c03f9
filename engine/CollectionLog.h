// The collection log: one line per recorded engine error, appended to a text file that
// nothing truncates.
#pragma once

#include <string>
#include <vector>

namespace engine {

// Appends `fields` joined by tabs and ended by CR LF to the file at `path`, created if
// missing. The file is open only while the line is written. Texts are written as they
// are (UTF-8), tabs and line breaks inside a field included. Failing is error 75.
void AppendLogLine(const std::string& path, const std::vector<std::string>& fields);

}  // namespace engine
