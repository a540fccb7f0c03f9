// The command line of dam: the global options, the commands with their options and help
// texts, and the dispatch to the command functions.
#pragma once

#include <string>
#include <vector>

namespace dam {

class WindowsSide;

// Runs dam with the arguments after the program name and returns its exit status. `windows`
// are the program's (dam-gui), or nullptr (dam: see WindowsSide.h).
int Main(const std::vector<std::string>& args, WindowsSide* windows);

}  // namespace dam
