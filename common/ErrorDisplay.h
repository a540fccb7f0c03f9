// The interactive side's error convention: a procedure of the driver object, a dialog or
// a configuration class runs its body under ShowingErrors; an unexpected error is shown
// through the host error component with the procedure's location, and the procedure then
// returns the result it had. Nothing is raised to the caller.
#pragma once

#include <exception>
#include <string>

#include "host/Components.h"
#include "runtime/Error.h"

namespace common {

// Shows `error` with the location "Class.Procedure".
void ShowError(host::Components& components, const std::string& location,
               const runtime::Error& error);

template <typename Body>
void ShowingErrors(host::Components& components, const char* location, Body&& body) {
  try {
    body();
  } catch (...) {
    ShowError(components, location, runtime::ToError(std::current_exception()));
  }
}

}  // namespace common
