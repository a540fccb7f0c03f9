// Helpers for tests that drive the modal dialogs: acting on the dialog a modal call opens,
// reaching controls by name, and pressing their accelerators.
#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QDialog>
#include <QPointer>
#include <QTest>
#include <QTimer>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace uitest {

// Runs `act` on the next modal dialog, once the event loop is running in it. A dialog left
// open would wait for a user who never comes: it is closed, and `leftOpen` says so when
// given, else the test fails.
inline void WhenModal(std::function<void(QDialog&)> act, bool* leftOpen = nullptr) {
  QTimer::singleShot(0, [act = std::move(act), leftOpen] {
    QPointer<QDialog> dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (dialog == nullptr) return;
    act(*dialog);
    const bool open = dialog && dialog->isVisible();
    if (leftOpen) {
      *leftOpen = open;
    } else {
      EXPECT_FALSE(open) << "the dialog stayed open";
    }
    if (open) dialog->reject();
  });
}

template <typename T>
T& Control(const QWidget& form, const char* name) {
  T* control = form.findChild<T*>(name);
  if (control == nullptr) throw std::runtime_error(std::string("no control ") + name);
  return *control;
}

inline void Click(const QWidget& form, const char* button) {
  Control<QAbstractButton>(form, button).click();
}

// The top-level windows named `name`.
inline std::vector<QWidget*> TopLevels(const char* name) {
  std::vector<QWidget*> windows;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == name) windows.push_back(widget);
  }
  return windows;
}

// Shows `form` as the active window, so that keys reach it.
inline void ShowActive(QWidget& form) {
  form.show();
  QApplication::setActiveWindow(&form);
  EXPECT_TRUE(QTest::qWaitForWindowActive(&form));
}

// Presses Alt+`key` where the focus is. A button's accelerator clicks it as the mouse
// would, released a moment later.
inline void AltClick(QWidget& form, Qt::Key key) {
  QWidget* focus = QApplication::focusWidget();
  QTest::keyClick(focus ? focus : &form, key, Qt::AltModifier);
  QTest::qWait(300);
}

// As a user does it: the first click selects, the second one makes it a double click.
inline void DoubleClick(QAbstractItemView& list, const QRect& row) {
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, row.center());
  QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, row.center());
}

// Shows `form` as the active window and presses Alt with each key of `steps` in turn:
// "B>txtName 2>dtDate" presses Alt+B, after which txtName has the focus, then Alt+2.
inline void Press(QWidget& form, const std::string& steps) {
  ShowActive(form);
  std::istringstream in(steps);
  for (std::string step; in >> step;) {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus ? focus : &form, Qt::Key(step[0]), Qt::AltModifier);
    focus = QApplication::focusWidget();
    EXPECT_EQ(focus ? focus->objectName().toStdString() : "", step.substr(2)) << "Alt+" << step[0];
  }
}

}  // namespace uitest
