// The host's error display on this platform: every error goes to stderr, and when the
// host runs with windows it is also shown in a message box.
#pragma once

#include "host/HostError.h"

namespace platform {

class ConsoleError : public host::HostError {
 public:
  void Show(const std::string& module, const std::string& source, const std::string& description,
            int32_t number, const std::string& location) override;
};

// True when the host runs with windows (a QApplication exists).
bool WindowsAreUp();

}  // namespace platform
