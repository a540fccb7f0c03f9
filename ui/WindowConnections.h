// Components whose every connection is a window's (Components::CreateWindowConnection): the
// configuration dialog's own configuration tests its data link with them, as its user waits.
#pragma once

#include <memory>

#include "host/ComponentsWrapper.h"

namespace ui {

class WindowConnections : public host::ComponentsWrapper {
 public:
  using ComponentsWrapper::ComponentsWrapper;

  std::unique_ptr<host::Connection> CreateConnection() override {
    return Target().CreateWindowConnection();
  }
};

}  // namespace ui
