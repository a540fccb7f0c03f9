#include "ui/frmConfigure.h"

#include <QDate>
#include <QTime>

#include "common/DataLinkState.h"
#include "common/ErrorDisplay.h"
#include "common/Evaluation.h"
#include "common/IntervalUnit.h"
#include "common/TypeTables.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "ui/CalendarKeys.h"
#include "ui/SelectOnFocus.h"
#include "ui/StrayAccelerators.h"
#include "ui/TabAccelerators.h"
#include "ui/TypedSeparators.h"
#include "ui/frmCondition.h"
#include "ui/frmDescriptor.h"
#include "ui/frmDescriptorType.h"
#include "ui/frmTest.h"
#include "ui_frmConfigure.h"

namespace ui {
namespace {

void SelectByCode(QComboBox& box, int32_t code) {
  box.setCurrentIndex(box.findData(code));
}

// The selected unit's code; `stored` while no unit is selected, as for a stored code
// outside the list that the user left alone.
int32_t SelectedCode(const QComboBox& box, int32_t stored) {
  const QVariant code = box.currentData();
  return code.isValid() ? code.toInt() : stored;
}

// The leading number of `text`, rounded half to even; no number is 0.
int32_t IntervalOf(const QLineEdit& box) {
  return runtime::RoundToLong(runtime::LeadingNumber(box.text().toStdString()));
}

QString ConditionText(const config::ConditionItem& item) {
  std::string text = item.Value1() + " " + common::GetEvaluationType(item.Evaluation(), false);
  if (item.Evaluation() != common::kIsNew) text += " " + item.Value2();
  return QString::fromStdString(text);
}

// Selects `row` when the list has rows: past the end means the last row.
void SelectRow(QTreeWidget& list, int row) {
  if (list.topLevelItemCount() == 0) return;
  list.setCurrentItem(list.topLevelItem(std::min(row, list.topLevelItemCount() - 1)));
}

void Fill(QTreeWidget& list, const QList<QStringList>& rows, int selected) {
  list.clear();
  for (const QStringList& texts : rows) new QTreeWidgetItem(&list, texts);
  for (int i = 0; i < list.columnCount(); ++i) list.resizeColumnToContents(i);
  SelectRow(list, selected);
}

}  // namespace

int SelectedRow(const QTreeWidget& list) {
  const QList<QTreeWidgetItem*> selected = list.selectedItems();
  return selected.isEmpty() ? -1 : list.indexOfTopLevelItem(selected.front());
}

frmConfigure::frmConfigure(host::Components& components, QWidget* parent)
    : QDialog(parent),
      components_(components),
      windowComponents_(components),
      ui_(std::make_unique<Ui::frmConfigure>()),
      configuration_(std::make_shared<config::Configuration1>(windowComponents_)) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  FocusPageOnTabAccelerator(*ui_->TabStrip1);
  connect(ui_->bnDataLink, &QPushButton::clicked, this, &frmConfigure::bnDataLink_Click);
  connect(ui_->bnAddDesc, &QPushButton::clicked, this, &frmConfigure::bnAddDesc_Click);
  connect(ui_->bnEditDesc, &QPushButton::clicked, this, &frmConfigure::bnEditDesc_Click);
  connect(ui_->bnDeleteDesc, &QPushButton::clicked, this, &frmConfigure::bnDeleteDesc_Click);
  connect(ui_->bnAddTest, &QPushButton::clicked, this, &frmConfigure::bnAddTest_Click);
  connect(ui_->bnEditTest, &QPushButton::clicked, this, &frmConfigure::bnEditTest_Click);
  connect(ui_->bnDeleteTest, &QPushButton::clicked, this, &frmConfigure::bnDeleteTest_Click);
  connect(ui_->bnAddCondition, &QPushButton::clicked, this, &frmConfigure::bnAddCondition_Click);
  connect(ui_->bnEditCondition, &QPushButton::clicked, this, &frmConfigure::bnEditCondition_Click);
  connect(ui_->bnDeleteCondition, &QPushButton::clicked, this,
          &frmConfigure::bnDeleteCondition_Click);
  // A double-click presses the tab's Edit button.
  connect(ui_->lvwDescriptors, &QTreeWidget::itemDoubleClicked, ui_->bnEditDesc,
          &QPushButton::click);
  connect(ui_->lvwTests, &QTreeWidget::itemDoubleClicked, ui_->bnEditTest, &QPushButton::click);
  connect(ui_->lvwConditions, &QTreeWidget::itemDoubleClicked, ui_->bnEditCondition,
          &QPushButton::click);
  connect(ui_->bnOK, &QPushButton::clicked, this, &frmConfigure::bnOK_Click);
  connect(ui_->bnCancel, &QPushButton::clicked, this, &frmConfigure::bnCancel_Click);
  for (QLineEdit* box : {ui_->txtName, ui_->txtSubgroupInterval, ui_->txtRetryInterval}) {
    SelectTextOnFocus(*box);
  }
  AcceptTypedSeparators(*ui_->dtDate);
  OpenCalendarByKeyboard(*ui_->dtDate);
  AcceptTypedSeparators(*ui_->dtTime);
}

frmConfigure::~frmConfigure() = default;

int frmConfigure::ShowModal() {
  Form_Load();
  return exec();
}

void frmConfigure::ShowModeless() {
  Form_Load();
  setModal(false);
  show();
  raise();
  activateWindow();
}

void frmConfigure::Form_Load() {
  common::ShowingErrors(components_, "frmConfigure.Form_Load", [&] {
    ui_->TabStrip1->setCurrentIndex(0);
    LoadUnits(*ui_->cboSubgroupUnit);
    LoadUnits(*ui_->cboRetryUnit);
    RefreshGeneral();
    RefreshSampling();
    RefreshDescriptorList(0);
    RefreshTestList(0);
    RefreshConditionList(0);
    isLoaded_ = true;
  });
}

void frmConfigure::LoadUnits(QComboBox& box) {
  common::ShowingErrors(components_, "frmConfigure.LoadUnits", [&] {
    box.clear();
    for (int32_t code = common::kFirstIntervalUnit; code <= common::kLastIntervalUnit; ++code) {
      box.addItem(QString::fromStdString(common::GetUnitName(code)), code);
    }
  });
}

void frmConfigure::RefreshGeneral() {
  ui_->chkActive->setChecked(configuration_->Active());
  ui_->txtName->setText(QString::fromStdString(configuration_->ConfigurationName()));
  RefreshDataLinkControls();
}

void frmConfigure::RefreshDataLinkControls() {
  ui_->txtConnection->setText(
      QString::fromStdString(common::GetDataLinkStatus(configuration_->DataLinkState())));
  QPalette colours = ui_->txtConnection->palette();
  if (configuration_->DataLinkState() == common::kConnectionReady) {
    // An earlier tooltip is left as it was.
    colours.setColor(QPalette::Base, palette().color(QPalette::Button));
  } else {
    ui_->txtConnection->setToolTip(QString::fromStdString(configuration_->DataLinkError()));
    colours.setColor(QPalette::Base, QColor(255, 0, 0));
  }
  ui_->txtConnection->setPalette(colours);
}

void frmConfigure::RefreshSampling() {
  const runtime::DateParts sync =
      runtime::SplitDate(components_.DateMath().SerialToDate(configuration_->SyncTime()));
  ui_->dtDate->setDate(QDate(sync.year, sync.month, sync.day));
  ui_->dtTime->setTime(QTime(sync.hour, sync.minute, sync.second));
  ui_->txtSubgroupInterval->setText(QString::number(configuration_->SubgroupInterval()));
  SelectByCode(*ui_->cboSubgroupUnit, configuration_->SubgroupUnit());
  ui_->txtRetryInterval->setText(QString::number(configuration_->RetryInterval()));
  SelectByCode(*ui_->cboRetryUnit, configuration_->RetryUnit());
}

void frmConfigure::RefreshDescriptorList(int row) {
  QList<QStringList> rows;
  for (int32_t i = 1; i <= configuration_->DescriptorCount(); ++i) {
    const auto item = configuration_->GetDescriptorItem(i);
    rows.append({QString::fromStdString(common::GetDescriptorType(item->DescriptorType())),
                 QString::fromStdString(item->Item()), QString::fromStdString(item->Group())});
  }
  Fill(*ui_->lvwDescriptors, rows, row);
}

void frmConfigure::RefreshTestList(int row) {
  QList<QStringList> rows;
  for (int32_t i = 1; i <= configuration_->TestCount(); ++i) {
    const auto item = configuration_->GetTestItem(i);
    rows.append({QString::fromStdString(item->Item()), QString::fromStdString(item->Group()),
                 QString::fromStdString(item->Value()), QString::fromStdString(item->Defect())});
  }
  Fill(*ui_->lvwTests, rows, row);
}

void frmConfigure::RefreshConditionList(int row) {
  QList<QStringList> rows;
  for (int32_t i = 1; i <= configuration_->ConditionCount(); ++i) {
    rows.append({ConditionText(*configuration_->GetConditionItem(i))});
  }
  Fill(*ui_->lvwConditions, rows, row);
}

void frmConfigure::bnDataLink_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnDataLink_Click", [&] {
    std::string link = configuration_->DataLink();
    const std::unique_ptr<host::DataLinkDialog> dialog = components_.CreateDataLinkDialog();
    // Only a real change re-tests the link: letter case alone is none.
    // The dialog's test is the configuration's own, on a scratch configuration.
    const auto test = [this](const std::string& candidate) {
      config::Configuration1 scratch(windowComponents_);
      scratch.SetDataLink(candidate);
      std::string state = common::GetDataLinkStatus(scratch.DataLinkState());
      if (!scratch.DataLinkError().empty()) state += ": " + scratch.DataLinkError();
      return state;
    };
    if (dialog->Edit(link, test) && !runtime::EqualsNoCase(link, configuration_->DataLink())) {
      configuration_->SetDataLink(link);
    }
    // Only the link's state: the name and Enabled as typed are saved on OK, not before.
    RefreshDataLinkControls();
  });
}

bool frmConfigure::SelectDescriptorType(config::DescriptorItem& item) {
  frmDescriptorType picker(components_, this);
  picker.SetConfiguration(configuration_);
  picker.ShowModal();
  if (!picker.OKPressed()) return false;
  item.SetDescriptorType(picker.DescriptorType());
  return true;
}

bool frmConfigure::ShowDescriptorProperties(std::shared_ptr<config::DescriptorItem> item) {
  frmDescriptor dialog(components_, this);
  dialog.SetConfiguration(configuration_);
  dialog.SetDescriptorItem(std::move(item));
  dialog.ShowModal();
  return dialog.OKPressed();
}

bool frmConfigure::ShowTestProperties(std::shared_ptr<config::TestItem> item) {
  frmTest dialog(components_, this);
  dialog.SetConfiguration(configuration_);
  dialog.SetTestItem(std::move(item));
  dialog.ShowModal();
  return dialog.OKPressed();
}

bool frmConfigure::ShowConditionProperties(std::shared_ptr<config::ConditionItem> item) {
  frmCondition dialog(components_, this);
  dialog.SetConfiguration(configuration_);
  dialog.SetConditionItem(std::move(item));
  dialog.ShowModal();
  return dialog.OKPressed();
}

void frmConfigure::bnAddDesc_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnAddDesc_Click", [&] {
    auto item = std::make_shared<config::DescriptorItem>();
    if (!SelectDescriptorType(*item) || !ShowDescriptorProperties(item)) return;
    configuration_->AddDescriptor(item);
    RefreshDescriptorList(configuration_->DescriptorCount() - 1);
  });
}

void frmConfigure::bnEditDesc_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnEditDesc_Click", [&] {
    const int row = SelectedRow(*ui_->lvwDescriptors);
    if (row < 0) return;
    if (ShowDescriptorProperties(configuration_->GetDescriptorItem(row + 1))) {
      RefreshDescriptorList(row);
    }
  });
}

void frmConfigure::bnDeleteDesc_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnDeleteDesc_Click", [&] {
    const int row = SelectedRow(*ui_->lvwDescriptors);
    if (row < 0) return;
    configuration_->RemoveDescriptorItem(row + 1);
    RefreshDescriptorList(row);
  });
}

void frmConfigure::bnAddTest_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnAddTest_Click", [&] {
    auto item = std::make_shared<config::TestItem>();
    if (!ShowTestProperties(item)) return;
    configuration_->AddTest(item);
    RefreshTestList(configuration_->TestCount() - 1);
  });
}

void frmConfigure::bnEditTest_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnEditTest_Click", [&] {
    const int row = SelectedRow(*ui_->lvwTests);
    if (row < 0) return;
    if (ShowTestProperties(configuration_->GetTestItem(row + 1))) RefreshTestList(row);
  });
}

void frmConfigure::bnDeleteTest_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnDeleteTest_Click", [&] {
    const int row = SelectedRow(*ui_->lvwTests);
    if (row < 0) return;
    configuration_->RemoveTestItem(row + 1);
    RefreshTestList(row);
  });
}

void frmConfigure::bnAddCondition_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnAddCondition_Click", [&] {
    auto item = std::make_shared<config::ConditionItem>();
    if (!ShowConditionProperties(item)) return;
    configuration_->AddCondition(item);
    RefreshConditionList(configuration_->ConditionCount() - 1);
  });
}

void frmConfigure::bnEditCondition_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnEditCondition_Click", [&] {
    const int row = SelectedRow(*ui_->lvwConditions);
    if (row < 0) return;
    if (ShowConditionProperties(configuration_->GetConditionItem(row + 1))) {
      RefreshConditionList(row);
    }
  });
}

void frmConfigure::bnDeleteCondition_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnDeleteCondition_Click", [&] {
    const int row = SelectedRow(*ui_->lvwConditions);
    if (row < 0) return;
    configuration_->RemoveConditionItem(row + 1);
    RefreshConditionList(row);
  });
}

void frmConfigure::SaveGeneralProperties() {
  // A greyed box counts as checked.
  configuration_->SetActive(ui_->chkActive->checkState() != Qt::Unchecked);
  configuration_->SetConfigurationName(ui_->txtName->text().toStdString());
}

void frmConfigure::SaveSamplingProperties() {
  runtime::RaisingFrom("frmConfigure.SaveSamplingProperties", [&] {
    const QDate date = ui_->dtDate->date();
    const QTime time = ui_->dtTime->time();
    const std::string text =
        runtime::FormatShortDate(
            runtime::MakeDate({.year = date.year(), .month = date.month(), .day = date.day()})) +
        " " +
        runtime::FormatLongTime(runtime::MakeDate(
            {.hour = time.hour(), .minute = time.minute(), .second = time.second()}));
    const std::optional<runtime::Date> sync = runtime::ParseDate(text);
    if (!sync) throw runtime::Error(runtime::kTypeMismatch);
    configuration_->SetSyncTime(components_.DateMath().DateToSerial(*sync));
    configuration_->SetSubgroupInterval(IntervalOf(*ui_->txtSubgroupInterval));
    configuration_->SetSubgroupUnit(
        SelectedCode(*ui_->cboSubgroupUnit, configuration_->SubgroupUnit()));
    configuration_->SetRetryInterval(IntervalOf(*ui_->txtRetryInterval));
    configuration_->SetRetryUnit(SelectedCode(*ui_->cboRetryUnit, configuration_->RetryUnit()));
  });
}

void frmConfigure::bnOK_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnOK_Click", [&] {
    SaveGeneralProperties();
    SaveSamplingProperties();
    bool cancel = false;
    SetupUpdate.Raise(*configuration_, cancel);
    if (cancel) return;
    okPressed_ = true;
    accept();
  });
}

void frmConfigure::bnCancel_Click() {
  common::ShowingErrors(components_, "frmConfigure.bnCancel_Click", [&] {
    okPressed_ = false;
    QDialog::reject();
    SetupAborted.Raise();
  });
}

void frmConfigure::reject() {
  bnCancel_Click();
}

void frmConfigure::done(int result) {
  isLoaded_ = false;
  QDialog::done(result);
}

}  // namespace ui
