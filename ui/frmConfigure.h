// The tabbed dialog that edits one configuration, captioned "Configuration Properties". It
// works on a configuration of its own; OK writes the controls into it and raises
// SetupUpdate, whose handler may refuse and keep the dialog open; Cancel, Escape and the
// close box raise SetupAborted. The item dialogs edit single items in place. A stored unit
// code outside the list selects no unit and is kept unless the user picks one.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>

#include "config/Configuration1.h"
#include "host/Components.h"
#include "runtime/Event.h"
#include "ui/WindowConnections.h"

class QComboBox;
class QTreeWidget;

namespace Ui {
class frmConfigure;
}

namespace ui {

class frmConfigure : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmConfigure(host::Components& components, QWidget* parent = nullptr);
  ~frmConfigure() override;

  // The working configuration, created with the form.
  const std::shared_ptr<config::Configuration1>& Configuration() const { return configuration_; }
  bool OKPressed() const { return okPressed_; }
  bool IsLoaded() const { return isLoaded_; }

  // The edited configuration, and a flag the handler sets to keep the dialog open.
  runtime::Event<config::Configuration1&, bool&> SetupUpdate;
  runtime::Event<> SetupAborted;

  // Fills the controls from the configuration; ShowModal and ShowModeless run it first.
  void Form_Load();
  int ShowModal();
  void ShowModeless();

 protected:
  void reject() override;
  void done(int result) override;

 private:
  void LoadUnits(QComboBox& box);
  void RefreshGeneral();
  void RefreshDataLinkControls();
  void RefreshSampling();
  void RefreshDescriptorList(int row);
  void RefreshTestList(int row);
  void RefreshConditionList(int row);
  void bnDataLink_Click();
  void bnAddDesc_Click();
  void bnEditDesc_Click();
  void bnDeleteDesc_Click();
  void bnAddTest_Click();
  void bnEditTest_Click();
  void bnDeleteTest_Click();
  void bnAddCondition_Click();
  void bnEditCondition_Click();
  void bnDeleteCondition_Click();
  bool SelectDescriptorType(config::DescriptorItem& item);
  bool ShowDescriptorProperties(std::shared_ptr<config::DescriptorItem> item);
  bool ShowTestProperties(std::shared_ptr<config::TestItem> item);
  bool ShowConditionProperties(std::shared_ptr<config::ConditionItem> item);
  void SaveGeneralProperties();
  void SaveSamplingProperties();
  void bnOK_Click();
  void bnCancel_Click();

  host::Components& components_;
  // What the dialog's configurations test their data link with: the user waits for it.
  WindowConnections windowComponents_;
  std::unique_ptr<Ui::frmConfigure> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  bool okPressed_ = false;
  bool isLoaded_ = false;
};

// The 0-based row selected in `list`, or -1.
int SelectedRow(const QTreeWidget& list);

}  // namespace ui
