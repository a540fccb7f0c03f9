// Pictures of every window for the documentation: the main window with one configuration
// running, its activity window on each tab after a few collections, its chart window, the
// about box, the tag browser filtered, the configuration dialog on each tab, the item
// dialogs, the data link dialog and a selection dialog of the SPC database. Run under a
// real X server (scripts/screenshots uses Xvfb), with a registered driver module:
//   screenshots FOLDER CONFIG SECONDS
// SECONDS is how long the configuration runs before the pictures are taken.
#include <QApplication>
#include <QComboBox>
#include <QEventLoop>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTimer>
#include <QTreeWidget>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>

#include "apps/dam/Commands.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/windows/MainWindow.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/shared/Failures.h"
#include "common/SpcNames.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcPool.h"
#include "platform/windows/SpcSelectionDialog.h"
#include "ui/SelectTag.h"
#include "ui/frmCondition.h"
#include "ui/frmConfigure.h"
#include "ui/frmDescriptor.h"
#include "ui/frmDescriptorType.h"
#include "ui/frmTest.h"

namespace dam {
namespace {

void Wait(int milliseconds) {
  QEventLoop loop;
  QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
  loop.exec();
}

void Save(QWidget& widget, const std::string& folder, const std::string& name) {
  QApplication::processEvents();
  const std::string path = folder + "/" + name + ".png";
  if (!widget.grab().save(QString::fromStdString(path))) {
    throw std::runtime_error("cannot write " + path);
  }
  std::cout << path << std::endl;
}

QWidget* TopLevel(const char* objectName) {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == objectName && widget->isVisible()) return widget;
  }
  throw std::runtime_error(std::string("no window ") + objectName);
}

// Saves the modal window that `open` shows, after `prepare` has filled it, then closes it.
void SaveModal(const std::string& folder, const std::string& name,
               const std::function<void(QWidget&)>& prepare, const std::function<void()>& open) {
  QTimer::singleShot(500, [&] {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal) return;
    prepare(*modal);
    Save(*modal, folder, name);
    modal->close();
  });
  open();
}

// Shows `form` after `load`, saves it and closes it.
template <typename Form>
void SaveForm(Form& form, const std::string& folder, const std::string& name) {
  form.Form_Load();
  form.show();
  Wait(200);
  Save(form, folder, name);
  form.close();
}

void SaveSetupDialogs(platform::PlatformComponents& components, const std::string& file,
                      const std::string& folder) {
  ui::frmConfigure setup(components);
  auto configuration = setup.Configuration();
  configuration->SetData(ReadConfigurationFile(file, false));
  setup.Form_Load();
  setup.show();
  auto* tabs = setup.findChild<QTabWidget*>("TabStrip1");
  for (int i = 0; i < tabs->count(); ++i) {
    tabs->setCurrentIndex(i);
    Wait(100);
    Save(setup, folder, "setup-" + tabs->widget(i)->objectName().mid(3).toLower().toStdString());
  }
  // The data link dialog as the General tab's button opens it, its link tested.
  tabs->setCurrentIndex(0);
  SaveModal(
      folder, "data-link", [](QWidget& link) { link.findChild<QPushButton*>("bnTest")->click(); },
      [&] { setup.findChild<QPushButton*>("bnDataLink")->click(); });
  setup.hide();

  ui::frmDescriptorType types(components);
  types.SetConfiguration(configuration);
  SaveForm(types, folder, "descriptor-type");
  if (configuration->DescriptorCount() > 0) {
    ui::frmDescriptor descriptor(components);
    descriptor.SetConfiguration(configuration);
    descriptor.SetDescriptorItem(configuration->GetDescriptorItem(1));
    SaveForm(descriptor, folder, "descriptor");
  }
  if (configuration->TestCount() > 0) {
    ui::frmTest test(components);
    test.SetConfiguration(configuration);
    test.SetTestItem(configuration->GetTestItem(1));
    SaveForm(test, folder, "characteristic");
  }
  if (configuration->ConditionCount() > 0) {
    ui::frmCondition condition(components);
    condition.SetConfiguration(configuration);
    condition.SetConditionItem(configuration->GetConditionItem(1));
    SaveForm(condition, folder, "condition");
  }

  DamHost spc(components, SpcConnection(components, ""));
  // Started from a test looked up by name, as the characteristic dialog starts it.
  const common::RecordPtr width = common::ResolveTestName(components, spc.Session(), "Width");
  platform::SpcSelectionDialog select(host::SelectionKind::Test);
  select.Load(*spc.Session(), width ? width->Id() : 0, 0);
  select.show();
  Wait(200);
  Save(select, folder, "select-test");
  select.close();
}

int TakeScreenshots(const std::string& folder, const std::string& file, int seconds) {
  std::filesystem::create_directories(folder);
  const auto application = MakeWindowsApplication();

  MainWindow window({file}, "", kDefaultDriverClass);
  window.resize(960, 220);
  window.show();
  window.findChild<QPushButton*>("bnStart")->click();
  window.findChild<QPushButton*>("bnActivity")->click();
  QWidget* activity = TopLevel("frmActivity");
  activity->resize(760, 330);
  activity->move(window.x(), window.y() + window.height() + 40);
  // Opened before the collections, so that it shows them arriving; with every rule judged.
  window.findChild<QPushButton*>("bnChart")->click();
  QWidget* chart = TopLevel("frmChart");
  chart->resize(1120, 600);
  chart->findChild<QLineEdit*>("txtRules")->setText("1,2,3,4,5,6,7,8");
  Wait(seconds * 1000);

  auto* tabs = activity->findChild<QTabWidget*>("TabStrip1");
  for (int i = 0; i < tabs->count(); ++i) {
    tabs->setCurrentIndex(i);
    Save(*activity, folder,
         "activity-" + tabs->widget(i)->property("key").toString().toLower().toStdString());
  }
  Save(window, folder, "main-window");
  // The first characteristic whose chart shows a rule break, when one does.
  auto* tests = chart->findChild<QComboBox*>("cboTest");
  auto* breaks = chart->findChild<QTreeWidget*>("lvwBreaks");
  for (int i = 0; i < tests->count() && breaks->topLevelItemCount() == 0; ++i) {
    tests->setCurrentIndex(i);
  }
  if (breaks->topLevelItemCount() == 0) tests->setCurrentIndex(0);
  Save(*chart, folder, "chart");
  SaveModal(
      folder, "about", [](QWidget&) {},
      [&] { window.findChild<QPushButton*>("bnAbout")->click(); });

  DriverHandle handle;
  handle.Read(ReadConfigurationFile(file, false));
  std::string value = "%TAG(Value, LINE1.WEIGHT)";
  SaveModal(
      folder, "tag-browser",
      [](QWidget& browser) {
        browser.findChild<QLineEdit*>("txtFilter")->setText("LINE1.W");
        browser.findChild<QPushButton*>("bnRefresh")->click();
      },
      [&] { ui::SelectTag(handle.Components(), handle.Reading(), value); });
  window.findChild<QPushButton*>("bnStop")->click();
  SaveSetupDialogs(handle.Components(), file, folder);
  window.close();
  return 0;
}

}  // namespace
}  // namespace dam

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: screenshots FOLDER CONFIG SECONDS\n";
    return apps::kExitUsage;
  }
  int status = apps::kExitFailure;
  try {
    status = dam::TakeScreenshots(argv[1], argv[2], std::stoi(argv[3]));
  } catch (...) {
    status = apps::ReportFailure("screenshots", std::current_exception(), false);
  }
  // While every library is still whole: a driver called from a static destructor may crash.
  platform::OdbcPool::Instance().Close();
  return status;
}
