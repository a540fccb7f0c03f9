// Checks a configuration text for what the reader would silently ignore or misread: it reads
// leniently (unknown keys skipped, "ten" read as 0, a unit code of 7 kept), so mistakes show
// only as a driver that collects nothing or collects wrongly. The check reads the text line
// by line by the reader's own grammar (ConfigurationGrammar.h) and says where.
#pragma once

#include <string>
#include <vector>

#include "host/CheckFinding.h"
#include "host/Components.h"

namespace config {

// Findings in line order. `text` is the configuration text as the host hands it to the
// driver (lines joined by CR LF). Tests the data link through `components`; when the
// historian answers, asks it for every referenced tag (names bound as parameters). A
// historian that cannot be reached is a warning, never an error.
std::vector<host::CheckFinding> CheckConfiguration(host::Components& components,
                                                   const std::string& text);

}  // namespace config
