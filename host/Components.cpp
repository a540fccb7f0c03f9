#include "host/Components.h"

namespace host {

std::optional<DataLinkTest> Components::SharedDataLinkTest(const std::string&) {
  return std::nullopt;
}

}  // namespace host
