// The host's main window (`dam gui`): one row per configuration file with its driver's
// state as the driver reports it, the subgroups it saved and its last error since it last
// started, and buttons acting on the selected row. A confirmed setup is written back to the
// row's file at once; one that renames the configuration makes the row's driver again under
// the new name. Closing it stops every driver and unloads it.
#pragma once

#include <QMainWindow>
#include <QTimer>
#include <memory>
#include <string>
#include <vector>

namespace Ui {
class frmMain;
}

namespace dam {

class MainWindow : public QMainWindow {
 public:
  // Loads every file of `configFiles` (a folder: its *.cfg files, as for `dam run`) into a
  // driver of `driverClass` on the SPC database `spc` ("" for the host's setting), each
  // through a DriverHandle of its own. A file that cannot be loaded, or whose name an
  // earlier file has, stays in the list with its reason and no driver.
  MainWindow(const std::vector<std::string>& configFiles, const std::string& spc,
             const std::string& driverClass);
  ~MainWindow() override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  struct Row;

  void AddConfiguration(const std::string& path);
  // Gives `row` a new handle with a driver loaded with `text`; raises what fails.
  void LoadDriver(Row& row, const std::string& text);
  // After a setup gave the row's driver another name: a driver made under that one.
  void Rename(Row& row, const std::string& text);
  // Takes `text`, now the row's file's, into its driver (Load when `load`, else the driver
  // holds it already), renaming the row when its name changed.
  void TakeText(Row& row, const std::string& text, bool load);
  void ShowChart(Row& row);
  // Shows the newest error of each row, whatever reported it.
  void RefreshRows();
  // `row` shows `error` ("" for none), newer than anything its driver reported so far.
  void SetError(Row& row, const std::string& error);
  void UpdateButtons();
  // The selected row's driver, or nullptr.
  Row* SelectedRow();
  void lvwDrivers_SelectionChanged();
  void bnStart_Click();
  void bnStop_Click();
  void bnPause_Click();
  void bnSetup_Click();
  void bnActivity_Click();
  void bnChart_Click();
  void bnAbout_Click();

  std::unique_ptr<Ui::frmMain> ui_;
  std::string spc_;
  std::string driverClass_;
  std::vector<std::unique_ptr<Row>> rows_;
  QTimer refresh_;
};

}  // namespace dam
