// Helpers for tests that drive the modal dialogs: acting on the dialog a modal call opens,
// reaching controls by name, and pressing their accelerators.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDialog>
#include <QTest>
#include <QTimer>
#include <functional>
#include <string>
#include <vector>

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

// A button's accelerator clicks it as the mouse would, released a moment later.
constexpr int kAnimatedClick = 300;

struct Step {
  Qt::Key key;
  const char* focused;  // the control that has the focus afterwards
};

// Shows `form` as the active window and presses Alt with each step's key in turn.
inline void Press(QWidget& form, const std::vector<Step>& steps) {
  form.show();
  QApplication::setActiveWindow(&form);
  ASSERT_TRUE(QTest::qWaitForWindowActive(&form));
  for (const Step& step : steps) {
    QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &form, step.key,
                    Qt::AltModifier);
    const QWidget* focus = QApplication::focusWidget();
    EXPECT_EQ(focus ? focus->objectName().toStdString() : "", step.focused)
        << "Alt+" << QKeySequence(step.key).toString().toStdString();
  }
}

}  // namespace uitest
