// The name a configuration runs under, known before its driver reads it: the name its
// subgroups are saved with and its collection log lines and status lines carry, so two
// configurations of one name cannot run side by side.
#pragma once

#include <string>

namespace dam {

// The NAME `text` gives (the last NAME line, as the reader takes it), else the stem of
// `file`, as DriverHandle::NameFor gives it once the text is read.
std::string ConfigurationNameIn(const std::string& file, const std::string& text);

// Why the configuration in `file` does not run or pass: `first` runs under its `name`.
std::string SameNameText(const std::string& name, const std::string& first);

}  // namespace dam
