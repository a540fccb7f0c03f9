// The host's display of an unexpected error on the interactive side.
#pragma once

#include <cstdint>
#include <string>

namespace host {

class HostError {
 public:
  virtual ~HostError() = default;
  // `location` is the class, a point and the procedure: "Version1.IDriver_StopDriver".
  virtual void Show(const std::string& module, const std::string& source,
                    const std::string& description, int32_t number,
                    const std::string& location) = 0;
};

}  // namespace host
