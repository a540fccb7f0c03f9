#include "ui/Windows.h"

#include <dlfcn.h>

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <filesystem>

#include "runtime/Error.h"
#include "ui/frmActivity.h"
#include "ui/frmConfigure.h"

namespace ui {
namespace {

void RequireWindows() {
  if (qobject_cast<QApplication*>(QCoreApplication::instance()) == nullptr) {
    throw runtime::Error(runtime::kInvalidProcedureCall,
                         "Windows cannot be shown: the host runs without a display session");
  }
}

QWidget* HostMainWindow() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (qobject_cast<QMainWindow*>(widget) && widget->isVisible()) return widget;
  }
  return nullptr;
}

}  // namespace

ActivityWindow::ActivityWindow(host::Components& components) {
  RequireWindows();
  form_ = std::make_unique<frmActivity>(components);
}

ActivityWindow::~ActivityWindow() = default;

void ActivityWindow::SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
  form_->SetConfiguration(std::move(configuration));
}

void ActivityWindow::SetEngine(engine::Engine1* engine) {
  form_->SetEngine(engine);
}

void ActivityWindow::Show() {
  form_->show();
  form_->raise();
}

bool ActivityWindow::IsLoaded() const {
  return form_->isVisible();
}

void ActivityWindow::Unload() {
  form_->close();
}

SetupWindow::SetupWindow(host::Components& components) {
  RequireWindows();
  form_ = std::make_unique<frmConfigure>(components);
}

SetupWindow::~SetupWindow() = default;

config::Configuration1& SetupWindow::Configuration() const {
  return *form_->Configuration();
}

runtime::Event<config::Configuration1&, bool&>& SetupWindow::SetupUpdate() {
  return form_->SetupUpdate;
}

runtime::Event<>& SetupWindow::SetupAborted() {
  return form_->SetupAborted;
}

bool SetupWindow::ShowModal() {
  form_->setParent(HostMainWindow(), form_->windowFlags());
  form_->ShowModal();
  return form_->OKPressed();
}

void SetupWindow::ShowModeless() {
  form_->ShowModeless();
}

void SetupWindow::BringToFront() {
  form_->show();
  form_->raise();
  form_->activateWindow();
}

bool SetupWindow::IsLoaded() const {
  return form_->IsLoaded();
}

void SetupWindow::Unload() {
  form_->close();
}

void ShowAboutBox(const std::string& productName, const std::string& version) {
  RequireWindows();
  const QString product = QString::fromStdString(productName);
  QMessageBox box(QMessageBox::Information, "About " + product,
                  "<b>" + product.toHtmlEscaped() + "</b>", QMessageBox::Ok, HostMainWindow());
  box.setObjectName("AboutBox");
  box.setInformativeText("Version " + QString::fromStdString(version).toHtmlEscaped() +
                         "<br>Module: " + QString::fromStdString(ModuleFilePath()).toHtmlEscaped());
  box.exec();
}

std::string ModuleFilePath() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ModuleFilePath), &info) == 0 || info.dli_fname == nullptr) {
    return "";
  }
  std::error_code error;
  const std::filesystem::path path = std::filesystem::absolute(info.dli_fname, error);
  return error ? info.dli_fname : path.lexically_normal().string();
}

}  // namespace ui
