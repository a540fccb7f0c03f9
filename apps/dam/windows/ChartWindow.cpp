#include "apps/dam/windows/ChartWindow.h"

#include <QSignalBlocker>
#include <algorithm>
#include <iostream>

#include "common/TagExpressions.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/spcdb/SpcChartReader.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "ui_frmChart.h"

namespace dam {
namespace {

bool ByTag(const std::string& text) {
  std::vector<std::string> tokens, names, fields;
  return common::GetTagArrays(text, tokens, names, fields);
}

QString Figure(double value) {
  return QString::fromStdString(platform::ChartFigure(value));
}

}  // namespace

ChartWindow::ChartWindow(std::shared_ptr<platform::SpcSession> session,
                         const platform::SpcSaveCount& saves,
                         const config::Configuration1& configuration)
    : ui_(std::make_unique<Ui::frmChart>()), session_(std::move(session)), saves_(saves) {
  ui_->setupUi(this);
  setWindowTitle(
      tr("Control Chart - %1").arg(QString::fromStdString(session_->ConfigurationName())));
  ListTests(configuration);
  connect(ui_->cboTest, &QComboBox::currentIndexChanged, this, &ChartWindow::cboTest_Change);
  connect(ui_->spnLast, &QSpinBox::valueChanged, this, &ChartWindow::spnLast_Change);
  connect(ui_->txtRules, &QLineEdit::textChanged, this, &ChartWindow::txtRules_Change);
  connect(ui_->chkFreeze, &QCheckBox::clicked, this, &ChartWindow::chkFreeze_Click);
  Reload();
}

ChartWindow::~ChartWindow() = default;

void ChartWindow::ListTests(const config::Configuration1& configuration) {
  const std::string shown = runtime::FoldCase(ui_->cboTest->currentText().toStdString());
  const QSignalBlocker quiet(ui_->cboTest);
  ui_->cboTest->clear();
  tests_.clear();
  // A characteristic configured several times is one test with several samples.
  std::vector<std::string> keys;
  int keep = 0;
  for (int32_t i = 1; i <= configuration.TestCount(); ++i) {
    const auto test = configuration.GetTestItem(i);
    const std::string& group = test->Group();
    const std::string& name = test->Item();
    if (group.empty() || name.empty() || ByTag(group) || ByTag(name)) continue;
    const std::string key = runtime::FoldCase(group + "/" + name);
    if (std::find(keys.begin(), keys.end(), key) != keys.end()) continue;
    keys.push_back(key);
    if (key == shown) keep = static_cast<int>(tests_.size());
    tests_.emplace_back(group, name);
    ui_->cboTest->addItem(QString::fromStdString(group + "/" + name));
  }
  ui_->cboTest->setCurrentIndex(tests_.empty() ? -1 : keep);
}

void ChartWindow::TestsChanged(const config::Configuration1& configuration) {
  const QString shown = ui_->cboTest->currentText();
  ListTests(configuration);
  if (ui_->cboTest->currentText() != shown) cboTest_Change();
}

void ChartWindow::Refresh() {
  // A closed window is only hidden: it reads the SPC database again once shown.
  if (isVisible() && saves_.Count() != readAtCount_) Reload();
}

void ChartWindow::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  Refresh();
}

void ChartWindow::Reload() {
  readAtCount_ = saves_.Count();
  const int index = ui_->cboTest->currentIndex();
  if (index < 0) {
    ui_->lblStatus->setText(
        tr("The configuration names no characteristic by fixed text: nothing to chart."));
    return;
  }
  const auto& [group, name] = tests_[static_cast<size_t>(index)];
  try {
    std::vector<platform::SpcChartSubgroup> window;
    if (const auto test = platform::FindChartTest(*session_, group, name)) {
      window = platform::ReadChartWindow(
          *session_, test->id,
          {.last = ui_->spnLast->value(), .configuration = session_->ConfigurationName()});
    }
    chart_ = platform::ComputeChart(window, {.rules = rules_, .fixed = frozen_});
  } catch (...) {
    // Shown where the chart is, and logged: the chart stays as it was last read.
    const std::string reason =
        platform::MaskConnectionSecrets(runtime::ToError(std::current_exception()).Description());
    ui_->lblStatus->setText(
        tr("Cannot read the SPC database: %1").arg(QString::fromStdString(reason)));
    std::cerr << "dam gui: chart of " << group << "/" << name << ": " << reason << std::endl;
    return;
  }
  ShowChart(ui_->cboTest->currentText());
}

void ChartWindow::ShowChart(const QString& title) {
  ui_->wgtChart->SetChart(chart_, title);
  ui_->lvwLimits->clear();
  const QString meanName = platform::ChartMeanName(chart_.kind),
                spreadName = platform::ChartSpreadName(chart_.kind);
  for (const auto& [label, line] :
       {std::pair(meanName, chart_.mean), std::pair(spreadName, chart_.spread)}) {
    new QTreeWidgetItem(ui_->lvwLimits,
                        {label, Figure(line.ucl), Figure(line.center), Figure(line.lcl)});
  }
  ui_->lvwBreaks->clear();
  // Newest first: the one that just arrived is what people look for.
  for (auto p = chart_.points.rbegin(); p != chart_.points.rend(); ++p) {
    const QString time = QString::fromStdString(runtime::FormatGeneralDate(p->time));
    if (p->rules) {
      new QTreeWidgetItem(ui_->lvwBreaks, {time, meanName, Figure(p->mean),
                                           QString::fromStdString(platform::RulesText(p->rules))});
    }
    if (p->spreadRules) {
      new QTreeWidgetItem(ui_->lvwBreaks,
                          {time, spreadName, Figure(p->spread),
                           QString::fromStdString(platform::RulesText(p->spreadRules))});
    }
  }
  for (QTreeWidget* list : {ui_->lvwLimits, ui_->lvwBreaks}) {
    for (int column = 0; column < list->columnCount(); ++column)
      list->resizeColumnToContents(column);
  }
  QString status = chart_.points.empty()
                       ? tr("No subgroup of %1 saved by %2 yet.")
                             .arg(title, QString::fromStdString(session_->ConfigurationName()))
                       : tr("%1 chart, n %2, %3 subgroups")
                             .arg(platform::ChartKindName(chart_.kind))
                             .arg(chart_.n)
                             .arg(chart_.points.size());
  if (chart_.leftOut) status += tr("; %1 readings of a defect left out").arg(chart_.leftOut);
  if (chart_.notFinite) {
    status += tr("; %1 readings of no finite value left out").arg(chart_.notFinite);
  }
  if (frozen_) status += tr("; limits frozen");
  ui_->lblStatus->setText(rulesRefusal_.isEmpty() ? status : rulesRefusal_);
}

void ChartWindow::cboTest_Change() {
  frozen_.reset();
  ui_->chkFreeze->setChecked(false);
  Reload();
}

void ChartWindow::spnLast_Change() {
  Reload();
}

void ChartWindow::txtRules_Change() {
  const auto rules = platform::ParseRules(ui_->txtRules->text().toStdString());
  if (rules) rules_ = *rules;
  // Shown for as long as the field holds it, however often the chart is read meanwhile.
  rulesRefusal_ =
      rules ? QString()
            : tr("Rules are numbers from 1 to 8 separated by commas, as 1,2,3,4; the chart "
                 "keeps rules %1.")
                  .arg(QString::fromStdString(platform::RulesText(rules_)));
  if (rules) {
    Reload();
  } else {
    ui_->lblStatus->setText(rulesRefusal_);
  }
}

void ChartWindow::chkFreeze_Click() {
  frozen_.reset();
  if (ui_->chkFreeze->isChecked() && !chart_.points.empty()) frozen_ = chart_.basis;
  Reload();
}

}  // namespace dam
