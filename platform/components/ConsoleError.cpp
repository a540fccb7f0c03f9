#include "platform/components/ConsoleError.h"

#include <QApplication>
#include <QMessageBox>
#include <iostream>
#include <mutex>

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

bool WindowsAreUp() {
  return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
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
  if (WindowsAreUp()) {
    QMessageBox::critical(nullptr, QString::fromStdString(module), QString::fromStdString(text));
  }
}

}  // namespace platform
