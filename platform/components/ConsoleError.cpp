#include "platform/components/ConsoleError.h"

#include <iostream>

#include "platform/components/HostWindows.h"
#include "platform/components/LineFields.h"

namespace platform {

ShownError ShownErrors::Last() const {
  std::lock_guard lock(mutex_);
  return last_;
}

void ShownErrors::Add(const std::string& text, int32_t number, const std::string& source) {
  std::lock_guard lock(mutex_);
  last_ = {last_.count + 1, text, number, source};
}

void ConsoleError::Show(const std::string& module, const std::string& source,
                        const std::string& description, int32_t number,
                        const std::string& location) {
  const std::string error = "Error " + std::to_string(number) + ": " + description;
  {
    // One line, so that the journal keeps it as one entry.
    const LineNote note({.errorNumber = number, .priority = kLineError});
    std::cerr << module << ": " << error << " (source " << source << ", location " << location
              << ")" << std::endl;
  }
  shown_->Add(description, number, source);
  if (HostWindows* windows = InstalledHostWindows()) {
    windows->ShowError(module, error + "\nSource: " + source + "\nLocation: " + location);
  }
}

}  // namespace platform
