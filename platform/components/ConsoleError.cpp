#include "platform/components/ConsoleError.h"

#include <QApplication>
#include <QMessageBox>
#include <iostream>

namespace platform {

ShownError ShownErrors::Last() const {
  std::lock_guard lock(mutex_);
  return last_;
}

void ShownErrors::Add(const std::string& text, int32_t number, const std::string& source) {
  std::lock_guard lock(mutex_);
  last_ = {last_.count + 1, text, number, source};
}

bool WindowsAreUp() {
  return qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
}

void ConsoleError::Show(const std::string& module, const std::string& source,
                        const std::string& description, int32_t number,
                        const std::string& location) {
  const std::string text = "Error " + std::to_string(number) + ": " + description +
                           "\nSource: " + source + "\nLocation: " + location;
  std::cerr << module << ": " << text << std::endl;
  shown_->Add(description, number, source);
  if (WindowsAreUp()) {
    QMessageBox::critical(nullptr, QString::fromStdString(module), QString::fromStdString(text));
  }
}

}  // namespace platform
