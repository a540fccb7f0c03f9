// The only opener of the tag browser, for the item dialogs' "tag" buttons.
#pragma once

#include <string>

#include "config/Configuration1.h"
#include "host/Components.h"

namespace ui {

// Opens the tag browser on the data link of `configuration` with `text` as its value. On OK
// puts the built tag expression in `text` and returns true; otherwise leaves `text` alone
// and returns false.
bool SelectTag(host::Components& components, const config::Configuration1& configuration,
               std::string& text);

}  // namespace ui
