// The host's error display on this platform: every error goes to stderr, and when the
// host runs with windows it is also shown in a message box.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "host/HostError.h"

namespace platform {

// The last error shown, and how many were shown so far, so that a status display can tell
// when there is a new one.
struct ShownError {
  uint64_t count = 0;
  std::string text;
  int32_t number = 0;
  std::string source;
};

// The errors shown through the displays of one set of components: each driver a host runs
// side by side has its own. Safe from any thread.
class ShownErrors {
 public:
  ShownError Last() const;
  void Add(const std::string& text, int32_t number, const std::string& source);

 private:
  mutable std::mutex mutex_;
  ShownError last_;
};

class ConsoleError : public host::HostError {
 public:
  explicit ConsoleError(std::shared_ptr<ShownErrors> shown) : shown_(std::move(shown)) {}
  void Show(const std::string& module, const std::string& source, const std::string& description,
            int32_t number, const std::string& location) override;

 private:
  std::shared_ptr<ShownErrors> shown_;
};

}  // namespace platform
