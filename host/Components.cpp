#include "host/Components.h"

namespace host {

std::unique_ptr<Connection> Components::CreateWindowConnection() {
  return CreateConnection();
}

std::optional<DataLinkTest> Components::SharedDataLinkTest(const std::string&) {
  return std::nullopt;
}

}  // namespace host
