#include "common/ErrorDisplay.h"

#include "common/Module.h"

namespace common {

void ShowError(host::Components& components, const std::string& location,
               const runtime::Error& error) {
  components.CreateError()->Show(kModuleName, error.Source(), error.Description(), error.Number(),
                                 location);
}

}  // namespace common
