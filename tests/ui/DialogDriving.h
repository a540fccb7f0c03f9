// Helpers for tests that drive the modal dialogs: acting on the dialog a modal call opens,
// and reaching controls by name.
#pragma once

#include <QApplication>
#include <QDialog>
#include <QTimer>
#include <functional>
#include <string>

namespace uitest {

// Runs `act` on the next modal dialog, once the event loop is running in it.
inline void WhenModal(std::function<void(QDialog&)> act) {
  QTimer::singleShot(0, [act = std::move(act)] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog == nullptr) return;
    act(*dialog);
  });
}

template <typename T>
T& Control(const QWidget& form, const char* name) {
  T* control = form.findChild<T*>(name);
  if (control == nullptr) throw std::runtime_error(std::string("no control ") + name);
  return *control;
}

}  // namespace uitest
