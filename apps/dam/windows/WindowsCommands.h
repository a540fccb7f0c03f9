// The dam commands that are windows, in dam-gui only (apps/dam/WindowsSide.h).
#pragma once

#include "apps/dam/Commands.h"

namespace dam {

int GuiCommand(const GuiOptions& options);
int SelectTagCommand(const SelectTagOptions& options);
// Opens the configuration dialog on one file and writes it back on OK (0); Cancel is 1.
int SetupCommand(const SetupOptions& options);

}  // namespace dam
