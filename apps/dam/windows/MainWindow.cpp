#include "apps/dam/windows/MainWindow.h"

#include <QCloseEvent>
#include <filesystem>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationName.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/host/RunStatus.h"
#include "apps/dam/windows/ChartWindow.h"
#include "apps/shared/Failures.h"
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

}  // namespace

// One configuration file and the driver that runs it, in a handle of its own so that its
// saves are counted apart from the other rows'.
struct MainWindow::Row {
  std::string path;
  DriverHandle handle;
  bool loaded = false;
  std::unique_ptr<RunStatus> status;
  std::unique_ptr<ChartWindow> chart;
  int32_t state = host::kDriverStopped;
  bool started = false;
  std::string error;
};

MainWindow::MainWindow(const std::vector<std::string>& configFiles, const std::string& spc,
                       const std::string& driverClass)
    : ui_(std::make_unique<Ui::frmMain>()), driverClass_(driverClass) {
  ui_->setupUi(this);
  for (const std::string& path : configFiles) AddConfiguration(path, spc);
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

void MainWindow::AddConfiguration(const std::string& path, const std::string& spc) {
  auto row = std::make_unique<Row>();
  row->path = path;
  const std::string stem = std::filesystem::path(path).stem().string();
  auto* item = new QTreeWidgetItem(ui_->lvwDrivers, QStringList{QString::fromStdString(stem)});
  item->setToolTip(kName, QString::fromStdString(path));
  item->setText(kDriver, QString::fromStdString(driverClass_));
  DriverHandle& handle = row->handle;
  try {
    handle.OpenModule(driverClass_);
    const std::string text = ReadConfigurationFile(path, false);
    handle.Read(text);
    const std::string name = handle.NameFor(path);
    item->setText(kName, QString::fromStdString(name));
    for (const auto& other : rows_) {
      if (other->loaded && other->handle.NameFor(other->path) == name) {
        throw apps::Failure(apps::kExitInvalidConfiguration, SameNameText(name, other->path));
      }
    }
    handle.Create(spc, name);
    Row* target = row.get();
    handle.Host().onStateChanged = [this, target](int32_t state) {
      target->state = state;
      RefreshRows();
    };
    handle.Load(text);
    row->loaded = true;
    row->state = handle.Driver().State();
    row->status = std::make_unique<RunStatus>(handle.Components(), handle.Reading());
  } catch (...) {
    row->error = Reason(std::current_exception());
  }
  rows_.push_back(std::move(row));
}

void MainWindow::RefreshRows() {
  for (size_t i = 0; i < rows_.size(); ++i) {
    Row& row = *rows_[i];
    QTreeWidgetItem* item = ui_->lvwDrivers->topLevelItem(static_cast<int>(i));
    item->setText(kState, row.loaded ? QString::fromStdString(RunStatus::StateName(row.state))
                                     : "not loaded");
    if (row.status) {
      item->setText(kSaved, QString::number(row.status->SavedSubgroups()));
      const std::string error = row.status->LastError();
      if (!error.empty()) row.error = error;
    }
    item->setText(kLastError, QString::fromStdString(row.error.empty() ? "none" : row.error));
    if (row.chart) row.chart->Refresh();
  }
  for (int column = kName; column < kLastError; ++column) {
    ui_->lvwDrivers->resizeColumnToContents(column);
  }
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
    if (row->handle.Driver().StartDriver()) {
      row->started = true;
    } else if (row->error.empty()) {
      row->error = "the driver did not start (is the configuration active?)";
    }
    RefreshRows();
  }
}

void MainWindow::bnStop_Click() {
  if (Row* row = SelectedRow(); row && row->started) row->handle.Driver().StopDriver();
}

void MainWindow::bnPause_Click() {
  if (Row* row = SelectedRow()) row->handle.Driver().PauseDriver();
}

void MainWindow::bnSetup_Click() {
  Row* row = SelectedRow();
  if (!row || !row->handle.Driver().ShowSetup(host::kTrue)) return;
  try {
    const std::string text = row->handle.Text();
    WriteConfigurationFile(row->path, text);
    row->handle.Read(text);
    if (row->chart) row->chart->TestsChanged(row->handle.Reading());
    if (!row->handle.Reading().ConfigurationName().empty()) {
      ui_->lvwDrivers->currentItem()->setText(
          kName, QString::fromStdString(row->handle.Reading().ConfigurationName()));
    }
    row->error.clear();
  } catch (...) {
    row->error = Reason(std::current_exception());
  }
  RefreshRows();
}

void MainWindow::bnActivity_Click() {
  if (Row* row = SelectedRow()) row->handle.Driver().ShowActivity();
}

void MainWindow::bnChart_Click() {
  Row* row = SelectedRow();
  if (!row) return;
  if (!row->chart) {
    row->chart = std::make_unique<ChartWindow>(
        std::dynamic_pointer_cast<platform::SpcSession>(row->handle.Host().Session()),
        row->handle.Components().Saves(), row->handle.Reading());
  }
  row->chart->show();
  row->chart->raise();
  row->chart->activateWindow();
}

void MainWindow::bnAbout_Click() {
  Row* row = SelectedRow();
  if (!row) return;
  // The driver raises what fails in its about box; the host shows it.
  try {
    row->handle.Driver().ShowAbout();
  } catch (...) {
    row->error = Reason(std::current_exception());
    RefreshRows();
  }
}

void MainWindow::closeEvent(QCloseEvent* event) {
  bool closed = true;
  for (const auto& row : rows_) {
    if (!row->loaded) continue;
    // Stopping a driver that never started would only report its missing engine.
    if (row->started) row->handle.Driver().StopDriver();
    closed = row->handle.QueryUnload() && closed;
  }
  if (!closed) {
    event->ignore();
    return;
  }
  refresh_.stop();
  for (const auto& row : rows_) {
    row->chart.reset();
    row->handle.Unload();
    row->loaded = false;
  }
  event->accept();
}

}  // namespace dam
