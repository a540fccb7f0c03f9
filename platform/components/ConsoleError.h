// The host's error display on this platform: every error goes to stderr, and when the
// host runs with windows it is also shown in a message box.
#pragma once

#include <cstdint>
#include <string>

#include "host/HostError.h"

namespace platform {

class ConsoleError : public host::HostError {
 public:
  void Show(const std::string& module, const std::string& source, const std::string& description,
            int32_t number, const std::string& location) override;
};

// The last error shown in this process, and how many were shown so far, so that a status
// display can tell when there is a new one. Safe from any thread.
struct ShownError {
  uint64_t count = 0;
  std::string text;
};
ShownError LastShownError();

}  // namespace platform
