#include "apps/dam/windows/MainWindow.h"

#include <QCloseEvent>
#include <filesystem>
#include <iostream>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationName.h"
#include "apps/dam/host/ConfigurationPaths.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/host/RunStatus.h"
#include "apps/dam/windows/ChartWindow.h"
#include "apps/dam/windows/SaveEdited.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "host/DriverState.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"
#include "ui_frmMain.h"

namespace dam {
namespace {

enum Column { kName, kDriver, kState, kSaved, kLastError };

// What failed, as a command would say it.
std::string Reason(std::exception_ptr thrown) {
  return platform::MaskConnectionSecrets(apps::FailureText(thrown, false));
}

// The files `paths` name, as `dam run` takes them: a folder stands for its *.cfg files.
// Paths that name no file at all are listed as they are, each with its reason.
std::vector<std::string> Files(const std::vector<std::string>& paths) {
  if (paths.empty()) return {};
  ConfigurationFileList list;
  try {
    list = ConfigurationFiles(paths);
  } catch (const apps::Failure&) {
    return paths;
  }
  for (const ConfigurationFileList::Again& again : list.again) {
    std::cerr << "dam gui: " << apps::Printable(again.path + ": the same file as " + again.first)
              << "; it is listed once" << std::endl;
  }
  for (const ConfigurationFileList::PassedOver& over : list.passedOver) {
    std::cerr << "dam gui: " << apps::Printable(over.folder + ": " + PassedOverText(over))
              << std::endl;
  }
  return std::move(list.files);
}

}  // namespace

// One configuration file and the driver that runs it, in a handle of its own so that its
// saves are counted apart from the other rows'. A setup that renames it gives it a new one.
struct MainWindow::Row {
  std::string path;
  // The file's text as last read or written here: a change made outside shows against it.
  std::string text;
  QTreeWidgetItem* item = nullptr;
  std::unique_ptr<DriverHandle> handle;
  bool loaded = false;
  // Saved by the handles the row had before its current one.
  int64_t savedBefore = 0;
  std::unique_ptr<RunStatus> status;
  std::unique_ptr<ChartWindow> chart;
  int32_t state = host::kDriverStopped;
  bool started = false;
  std::string error;
};

MainWindow::MainWindow(const std::vector<std::string>& configFiles, const std::string& spc,
                       const std::string& driverClass)
    : ui_(std::make_unique<Ui::frmMain>()), spc_(spc), driverClass_(driverClass) {
  ui_->setupUi(this);
  for (const std::string& path : Files(configFiles)) AddConfiguration(path);
  connect(ui_->lvwDrivers, &QTreeWidget::itemSelectionChanged, this,
          &MainWindow::lvwDrivers_SelectionChanged);
  connect(ui_->bnStart, &QPushButton::clicked, this, &MainWindow::bnStart_Click);
  connect(ui_->bnStop, &QPushButton::clicked, this, &MainWindow::bnStop_Click);
  connect(ui_->bnPause, &QPushButton::clicked, this, &MainWindow::bnPause_Click);
  connect(ui_->bnSetup, &QPushButton::clicked, this, &MainWindow::bnSetup_Click);
  connect(ui_->bnActivity, &QPushButton::clicked, this, &MainWindow::bnActivity_Click);
  connect(ui_->bnChart, &QPushButton::clicked, this, &MainWindow::bnChart_Click);
  connect(ui_->bnAbout, &QPushButton::clicked, this, &MainWindow::bnAbout_Click);
  connect(&refresh_, &QTimer::timeout, this, &MainWindow::RefreshRows);
  if (ui_->lvwDrivers->topLevelItemCount() > 0) {
    ui_->lvwDrivers->setCurrentItem(ui_->lvwDrivers->topLevelItem(0));
  }
  RefreshRows();
  UpdateButtons();
  refresh_.start(500);
}

MainWindow::~MainWindow() = default;

void MainWindow::AddConfiguration(const std::string& path) {
  auto row = std::make_unique<Row>();
  row->path = path;
  const std::string stem = std::filesystem::path(path).stem().string();
  row->item = new QTreeWidgetItem(ui_->lvwDrivers, QStringList{QString::fromStdString(stem)});
  row->item->setToolTip(kName, QString::fromStdString(path));
  row->item->setText(kDriver, QString::fromStdString(driverClass_));
  try {
    LoadDriver(*row, ReadConfigurationFile(path, false));
  } catch (...) {
    row->error = Reason(std::current_exception());
  }
  rows_.push_back(std::move(row));
}

void MainWindow::LoadDriver(Row& row, const std::string& text) {
  row.handle = std::make_unique<DriverHandle>();
  DriverHandle& handle = *row.handle;
  handle.SetUserWaits();
  handle.OpenModule(driverClass_);
  handle.Read(text);
  const std::string name = handle.NameFor(row.path);
  row.item->setText(kName, QString::fromStdString(name));
  for (const auto& other : rows_) {
    if (other.get() != &row && other->loaded && other->handle->NameFor(other->path) == name) {
      throw apps::Failure(apps::kExitInvalidConfiguration, SameNameText(name, other->path));
    }
  }
  handle.Create(spc_, name);
  handle.Host().onStateChanged = [this, target = &row](int32_t state) {
    target->state = state;
    RefreshRows();
  };
  handle.Load(text);
  row.text = text;
  row.loaded = true;
  row.state = handle.Driver().State();
  row.status = std::make_unique<RunStatus>(handle.Components(), handle.Reading());
}

void MainWindow::Rename(Row& row, const std::string& text) {
  // The sessions save under the name their driver was made with: as dam run does for a
  // renamed file, the driver is unloaded and made again under the new one.
  const bool charted = row.chart && row.chart->isVisible();
  row.chart.reset();
  row.savedBefore += row.status->SavedSubgroups();
  row.status.reset();
  if (row.started) row.handle->Driver().StopDriver();
  row.handle->Unload();
  row.loaded = false;
  row.started = false;
  LoadDriver(row, text);
  if (charted) ShowChart(row);
}

void MainWindow::RefreshRows() {
  bool changed = false;
  const auto set = [&changed](QTreeWidgetItem& item, int column, const QString& text) {
    if (item.text(column) == text) return;
    item.setText(column, text);
    changed = true;
  };
  for (const auto& each : rows_) {
    Row& row = *each;
    QTreeWidgetItem& item = *row.item;
    set(item, kState,
        row.loaded ? QString::fromStdString(RunStatus::StateName(row.state)) : "not loaded");
    if (row.status) {
      set(item, kSaved, QString::number(row.savedBefore + row.status->SavedSubgroups()));
      const std::vector<RunError> errors = row.status->NewErrors();
      if (!errors.empty()) row.error = errors.back().message;
    }
    set(item, kLastError, QString::fromStdString(row.error.empty() ? "none" : row.error));
    if (row.chart) row.chart->Refresh();
  }
  // Measuring every row's texts twice a second was most of an idle window's work.
  if (!changed) return;
  for (int column = kName; column < kLastError; ++column) {
    ui_->lvwDrivers->resizeColumnToContents(column);
  }
}

void MainWindow::SetError(Row& row, const std::string& error) {
  // What the driver reported before is older: it must not come back at the next refresh.
  if (row.status) row.status->NewErrors();
  row.error = error;
}

void MainWindow::UpdateButtons() {
  const bool hasDriver = SelectedRow() != nullptr;
  for (QPushButton* button : {ui_->bnStart, ui_->bnStop, ui_->bnPause, ui_->bnSetup,
                              ui_->bnActivity, ui_->bnChart, ui_->bnAbout}) {
    button->setEnabled(hasDriver);
  }
}

MainWindow::Row* MainWindow::SelectedRow() {
  const int index = ui_->lvwDrivers->indexOfTopLevelItem(ui_->lvwDrivers->currentItem());
  if (index < 0 || static_cast<size_t>(index) >= rows_.size()) return nullptr;
  return rows_[index]->loaded ? rows_[index].get() : nullptr;
}

void MainWindow::lvwDrivers_SelectionChanged() {
  UpdateButtons();
}

void MainWindow::bnStart_Click() {
  if (Row* row = SelectedRow()) {
    // A start begins the driver's status afresh: what was reported before it (a refused
    // dialog, an earlier run) would read as a fault of this run.
    SetError(*row, "");
    if (row->handle->Driver().StartDriver()) {
      row->started = true;
    } else {
      SetError(*row, "the driver did not start (is the configuration active?)");
    }
    RefreshRows();
  }
}

void MainWindow::bnStop_Click() {
  if (Row* row = SelectedRow(); row && row->started) row->handle->Driver().StopDriver();
}

void MainWindow::bnPause_Click() {
  if (Row* row = SelectedRow()) row->handle->Driver().PauseDriver();
}

void MainWindow::bnSetup_Click() {
  Row* row = SelectedRow();
  if (!row) return;
  try {
    // An edit made outside since is what the dialog starts from, as a reload would take it.
    if (row->state == host::kDriverStopped) {
      if (const std::optional<std::string> now = ConfigurationNow(row->path);
          now && *now != row->text) {
        TakeText(*row, *now, true);
      }
    }
  } catch (...) {
    SetError(*row, Reason(std::current_exception()));
  }
  row = SelectedRow();
  std::string failure;
  while (row && row->handle->Driver().ShowSetup(host::kTrue)) {
    const std::string text = row->handle->Text();
    const SaveOutcome outcome = SaveEdited(row->path, text, row->text, failure);
    if (outcome == SaveOutcome::kFailed) continue;
    if (outcome == SaveOutcome::kKeptAside) break;
    failure.clear();
    try {
      SetError(*row, "");
      TakeText(*row, text, false);
    } catch (...) {
      SetError(*row, Reason(std::current_exception()));
    }
    break;
  }
  if (row && !failure.empty()) SetError(*row, failure);
  RefreshRows();
  UpdateButtons();
}

void MainWindow::TakeText(Row& row, const std::string& text, bool load) {
  if (ConfigurationNameIn(row.path, text) != row.handle->NameFor(row.path)) {
    Rename(row, text);
    return;
  }
  row.handle->Read(text);
  if (load) row.handle->Load(text);
  row.text = text;
  if (row.chart) row.chart->TestsChanged(row.handle->Reading());
}

void MainWindow::bnActivity_Click() {
  if (Row* row = SelectedRow()) row->handle->Driver().ShowActivity();
}

void MainWindow::bnChart_Click() {
  if (Row* row = SelectedRow()) ShowChart(*row);
}

void MainWindow::ShowChart(Row& row) {
  if (!row.chart) {
    row.chart = std::make_unique<ChartWindow>(
        std::dynamic_pointer_cast<platform::SpcSession>(row.handle->Host().Session()),
        row.handle->Components().Saves(), row.handle->Reading());
  }
  row.chart->show();
  row.chart->raise();
  row.chart->activateWindow();
}

void MainWindow::bnAbout_Click() {
  Row* row = SelectedRow();
  if (!row) return;
  // The driver raises what fails in its about box; the host shows it.
  try {
    row->handle->Driver().ShowAbout();
  } catch (...) {
    SetError(*row, Reason(std::current_exception()));
    RefreshRows();
  }
}

void MainWindow::closeEvent(QCloseEvent* event) {
  bool closed = true;
  for (const auto& row : rows_) {
    if (!row->loaded) continue;
    // Stopping a driver that never started would only report its missing engine.
    if (row->started) row->handle->Driver().StopDriver();
    closed = row->handle->QueryUnload() && closed;
  }
  if (!closed) {
    event->ignore();
    return;
  }
  refresh_.stop();
  for (const auto& row : rows_) {
    row->chart.reset();
    // A file that could not be read never had one.
    if (row->handle) row->handle->Unload();
    row->loaded = false;
  }
  event->accept();
}

}  // namespace dam
