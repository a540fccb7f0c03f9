// The dam commands. Each takes the arguments after its name and returns the exit status.
#pragma once

#include <string>
#include <vector>

namespace dam {

using Arguments = std::vector<std::string>;

int RegisterCommand(const Arguments& args);
int UnregisterCommand(const Arguments& args);
int DriversCommand(const Arguments& args);
int RunCommand(const Arguments& args);
int ConfigShowCommand(const Arguments& args);
int SubgroupsCommand(const Arguments& args);
int GuiCommand(const Arguments& args);
int SelectTagCommand(const Arguments& args);
int SpoolCommand(const Arguments& args);
// Opens the configuration dialog on one file and writes it back on OK (0); Cancel is 1.
int SetupCommand(const Arguments& args);
// Not in the usage: writes pictures of every window to a folder, for the documentation.
int ScreenshotsCommand(const Arguments& args);

}  // namespace dam
