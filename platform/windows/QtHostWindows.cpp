#include "platform/windows/QtHostWindows.h"

#include <QApplication>
#include <QMessageBox>

#include "platform/windows/OdbcDataLinkDialog.h"
#include "platform/windows/SpcSelectionDialog.h"

namespace platform {

std::unique_ptr<host::SelectionDialog> QtHostWindows::CreateSelectionDialog(
    host::SelectionKind kind) {
  return std::make_unique<SpcSelectionDialog>(kind, QApplication::activeWindow());
}

std::unique_ptr<host::DataLinkDialog> QtHostWindows::CreateDataLinkDialog() {
  return std::make_unique<OdbcDataLinkDialog>(QApplication::activeWindow());
}

void QtHostWindows::MessageBox(const std::string& text) {
  QMessageBox box(QMessageBox::NoIcon, QString(), QString::fromStdString(text), QMessageBox::Ok);
  box.exec();
}

void QtHostWindows::ShowError(const std::string& title, const std::string& text) {
  QMessageBox::critical(nullptr, QString::fromStdString(title), QString::fromStdString(text));
}

void QtHostWindows::Beep() {
  QApplication::beep();
}

}  // namespace platform
