#include "ui/QtWindows.h"

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>

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

class QtActivityWindow : public ActivityWindow {
 public:
  explicit QtActivityWindow(host::Components& components) : form_(components) {}

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) override {
    form_.SetConfiguration(std::move(configuration));
  }
  void SetEngine(engine::Engine1* engine) override { form_.SetEngine(engine); }
  void Show() override {
    form_.show();
    form_.raise();
  }
  bool IsLoaded() const override { return form_.isVisible(); }
  void Unload() override { form_.close(); }

 private:
  frmActivity form_;
};

class QtSetupWindow : public SetupWindow {
 public:
  explicit QtSetupWindow(host::Components& components) : form_(components) {}

  config::Configuration1& Configuration() const override { return *form_.Configuration(); }
  runtime::Event<config::Configuration1&, bool&>& SetupUpdate() override {
    return form_.SetupUpdate;
  }
  runtime::Event<>& SetupAborted() override { return form_.SetupAborted; }
  bool ShowModal() override {
    form_.setParent(HostMainWindow(), form_.windowFlags());
    form_.ShowModal();
    return form_.OKPressed();
  }
  void ShowModeless() override { form_.ShowModeless(); }
  void BringToFront() override {
    form_.show();
    form_.raise();
    form_.activateWindow();
  }
  bool IsLoaded() const override { return form_.IsLoaded(); }
  void Unload() override { form_.close(); }

 private:
  frmConfigure form_;
};

class WindowsOfQt : public Windows {
 public:
  std::unique_ptr<ActivityWindow> CreateActivityWindow(host::Components& components) override {
    RequireWindows();
    return std::make_unique<QtActivityWindow>(components);
  }
  std::unique_ptr<SetupWindow> CreateSetupWindow(host::Components& components) override {
    RequireWindows();
    return std::make_unique<QtSetupWindow>(components);
  }
  void ShowAboutBox(const std::string& productName, const std::string& version,
                    const std::string& moduleFile) override {
    RequireWindows();
    const QString product = QString::fromStdString(productName);
    QMessageBox box(QMessageBox::Information, "About " + product,
                    "<b>" + product.toHtmlEscaped() + "</b>", QMessageBox::Ok, HostMainWindow());
    box.setObjectName("AboutBox");
    box.setInformativeText("Version " + QString::fromStdString(version).toHtmlEscaped() +
                           "<br>Module: " + QString::fromStdString(moduleFile).toHtmlEscaped());
    box.exec();
  }
};

}  // namespace

Windows& QtWindows() {
  static WindowsOfQt windows;
  return windows;
}

}  // namespace ui
