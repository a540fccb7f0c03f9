// Helpers for tests that drive the windows: acting on the dialog a modal call opens,
// reaching controls by name, pressing their accelerators, and reading lists back as text.
#pragma once

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

namespace uitest {

using Lines = std::vector<std::string>;

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
inline bool Enabled(const QWidget& form, const char* name) {
  return Control<QWidget>(form, name).isEnabled();
}
inline QLineEdit& Box(const QWidget& form, const char* name) {
  return Control<QLineEdit>(form, name);
}

// The top-level windows named `name`.
inline std::vector<QWidget*> TopLevels(const char* name) {
  std::vector<QWidget*> windows;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == name) windows.push_back(widget);
  }
  return windows;
}

// A report-style list, one string per row, columns joined by " | ".
inline Lines Rows(const QTreeWidget& list) {
  Lines rows;
  for (int i = 0; i < list.topLevelItemCount(); ++i) {
    std::string row;
    for (int column = 0; column < list.columnCount(); ++column) {
      row += (column ? " | " : "") + list.topLevelItem(i)->text(column).toStdString();
    }
    rows.push_back(row);
  }
  return rows;
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

// Double-clicks row `row` as a user does: the first click selects, the second one makes it
// a double click.
inline void DoubleClick(QAbstractItemView& list, int row) {
  const QPoint at = list.visualRect(list.model()->index(row, 0)).center();
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, at);
  QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, at);
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
