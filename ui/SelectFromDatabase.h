// "Select from Database..." of the item dialogs: looks the typed names up in the SPC
// database, runs the host's selection dialog from what was found (nothing, when neither
// name is known) and hands back the chosen record's name and its group's name.
#pragma once

#include <string>

#include "config/Configuration1.h"
#include "host/Components.h"
#include "host/SelectionDialog.h"

namespace ui {

// Parts, processes, jobs and shifts start from the item's name and only when that is
// unknown from the group's; descriptors are named within their group, so the group is
// looked up first and the item only inside a known group. On confirmation replaces
// `group` and `item` and returns true; otherwise leaves both alone.
bool SelectFromDatabase(host::Components& components, const config::Configuration1& configuration,
                        host::SelectionKind kind, std::string& group, std::string& item);

}  // namespace ui
