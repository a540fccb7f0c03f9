#include "common/ErrorDisplay.h"

#include "common/Module.h"

namespace common {

void ShowError(host::Components& components, const std::string& location,
               const runtime::Error& error) {
  // An error raised without a source arose in this module, as the language runtime would say.
  const std::string& source = error.Source().empty() ? std::string(kModuleName) : error.Source();
  components.CreateError()->Show(kModuleName, source, error.Description(), error.Number(),
                                 location);
}

}  // namespace common
