#include "platform/components/ConsoleError.h"

#include <iostream>
#include <mutex>

#include "platform/components/HostWindows.h"
#include "platform/components/LineFields.h"

namespace platform {
namespace {

std::mutex shownMutex;
ShownError shown;

}  // namespace

ShownError LastShownError() {
  std::lock_guard lock(shownMutex);
  return shown;
}

void ConsoleError::Show(const std::string& module, const std::string& source,
                        const std::string& description, int32_t number,
                        const std::string& location) {
  const std::string text = "Error " + std::to_string(number) + ": " + description +
                           "\nSource: " + source + "\nLocation: " + location;
  {
    const LineNote note({.errorNumber = number, .priority = kLineError});
    std::cerr << module << ": " << text << std::endl;
  }
  {
    std::lock_guard lock(shownMutex);
    ++shown.count;
    shown.text = description;
  }
  if (HostWindows* windows = InstalledHostWindows()) windows->ShowError(module, text);
}

}  // namespace platform
