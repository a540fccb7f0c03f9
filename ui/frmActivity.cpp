#include "ui/frmActivity.h"

#include <QHeaderView>
#include <QTreeWidget>
#include <unordered_map>
#include <utility>

#include "common/ErrorDisplay.h"
#include "common/Evaluation.h"
#include "common/TypeTables.h"
#include "runtime/Date.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"
#include "ui/ListColumns.h"
#include "ui_frmActivity.h"

namespace ui {
namespace {

constexpr char kMissing[] = "----";

QString Shown(const std::string& text) {
  return QString::fromStdString(text.empty() ? kMissing : text);
}

QString DateShown(runtime::Date date) {
  return date.serial == 0 ? kMissing : QString::fromStdString(runtime::FormatGeneralDate(date));
}

// A value as the lists show it: SQL NULL reads "Null" rather than failing the refresh.
std::string ValueText(const runtime::Variant& value) {
  return value.IsNull() ? "Null" : runtime::ToText(value);
}

// The rows of a list by the text of their first column, compared without regard to case;
// Row makes one at the end of the list on first use. One look-up a row, not a scan.
class RowsByKey {
 public:
  explicit RowsByKey(QTreeWidget& list) : list_(list) {
    for (int i = 0; i < list.topLevelItemCount(); ++i) {
      QTreeWidgetItem* row = list.topLevelItem(i);
      rows_.try_emplace(row->text(0).toStdString(), row);
    }
  }
  QTreeWidgetItem* Row(const QString& key) {
    const auto [at, added] = rows_.try_emplace(key.toStdString(), nullptr);
    if (added) at->second = new QTreeWidgetItem(&list_, QStringList{key});
    return at->second;
  }

 private:
  QTreeWidget& list_;
  std::unordered_map<std::string, QTreeWidgetItem*, runtime::NoCaseHash, runtime::NoCaseEqual>
      rows_;
};

// Row `index` of `list`, made when the list is shorter. Rows are written in place, not made
// anew at each collection, so that the selection and the scroll position stay.
QTreeWidgetItem* RowAt(QTreeWidget& list, int index) {
  return index < list.topLevelItemCount() ? list.topLevelItem(index) : new QTreeWidgetItem(&list);
}

void KeepRows(QTreeWidget& list, int count) {
  while (list.topLevelItemCount() > count) delete list.takeTopLevelItem(count);
}

}  // namespace

frmActivity::frmActivity(host::Components& components, QWidget* parent)
    : QWidget(parent), components_(components), ui_(std::make_unique<Ui::frmActivity>()) {
  ui_->setupUi(this);
  connect(ui_->TabStrip1, &QTabWidget::currentChanged, this, &frmActivity::TabStrip1_Click);
  TabStrip1_Click();
}

frmActivity::~frmActivity() = default;

void frmActivity::SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
  configuration_ = std::move(configuration);
  if (configuration_) {
    setWindowTitle(QString::fromStdString("Activity - " + configuration_->ConfigurationName()));
  }
}

void frmActivity::SetEngine(engine::Engine1* engine) {
  subscriptions_.clear();
  engine_ = engine;
  missed_ = 0;
  if (!engine_) return;
  for (runtime::Event<>* general :
       {&engine_->EngineStarted, &engine_->EngineStopped, &engine_->CollectionError,
        &engine_->CollectionTimeSet, &engine_->SubgroupSaved}) {
    subscriptions_.push_back(general->Subscribe([this] { Refresh(kGeneral); }));
  }
  subscriptions_.push_back(
      engine_->DescriptorsRefreshed.Subscribe([this] { Refresh(kDescriptors); }));
  subscriptions_.push_back(engine_->TestsRefreshed.Subscribe([this] { Refresh(kTests); }));
  subscriptions_.push_back(engine_->TagsRefreshed.Subscribe([this] { Refresh(kTagItems); }));
  subscriptions_.push_back(
      engine_->ConditionsRefreshed.Subscribe([this] { Refresh(kConditions); }));
  // Shown at once, not at the next event, which may be an hour away.
  if (!engine_->IsRunning()) return;
  Refresh(HoldsResults() ? kGeneral | kDescriptors | kTests | kTagItems | kConditions : kGeneral);
}

void frmActivity::Refresh(unsigned lists) {
  // A closed window is only hidden: with a plant's lines each one's window would otherwise
  // rebuild its lists at every collection until the driver goes.
  if (!isVisible()) {
    missed_ |= lists;
    return;
  }
  if (lists & kGeneral) RefreshGeneral();
  if (lists & kDescriptors) RefreshDescriptors();
  if (lists & kTests) RefreshTests();
  if (lists & kTagItems) RefreshTagItems();
  if (lists & kConditions) RefreshConditions();
}

void frmActivity::showEvent(QShowEvent* event) {
  QWidget::showEvent(event);
  Refresh(std::exchange(missed_, 0));
}

bool frmActivity::HoldsResults() const {
  if (!configuration_) return false;
  for (const auto& tag : configuration_->TagItems()) {
    if (!tag->IsEmpty) return true;
  }
  return false;
}

void frmActivity::SelectTab(const QString& key) {
  for (int i = 0; i < ui_->TabStrip1->count(); ++i) {
    if (ui_->TabStrip1->widget(i)->property("key").toString() == key) {
      ui_->TabStrip1->setCurrentIndex(i);
    }
  }
}

void frmActivity::TabStrip1_Click() {
  const QString key = ui_->TabStrip1->currentWidget()->property("key").toString();
  const std::pair<QTreeWidget*, const char*> lists[] = {{ui_->lvwGeneral, "GENERAL"},
                                                        {ui_->lvwDescriptors, "DESCRIPTORS"},
                                                        {ui_->lvwTests, "TESTS"},
                                                        {ui_->lvwTagItems, "TAGITEMS"},
                                                        {ui_->lvwConditions, "CONDITIONS"}};
  for (const auto& [list, listKey] : lists) list->setVisible(key == listKey);
}

template <typename Body>
void frmActivity::Refreshing(const char* procedure, Body&& body) {
  common::ShowingErrors(components_, procedure, [&] {
    if (!engine_ || !configuration_) throw runtime::Error(runtime::kObjectNotSet);
    body();
  });
}

void frmActivity::RefreshGeneral() {
  Refreshing("frmActivity.RefreshGeneral", [&] {
    const engine::Engine1& engine = *engine_;
    const bool noError = engine.LastErrorDescription().empty();
    const std::pair<const char*, QString> rows[] = {
        {"Status", engine.IsRunning() ? "Running" : "Stopped"},
        {"Subgroups Collected", QString::number(engine.SavedSubgroups())},
        {"Last Saved Subgroup", DateShown(engine.LastSavedSubgroup())},
        {"Next Collection Time",
         QString::fromStdString(runtime::FormatGeneralDate(engine.NextCollectionTime()))},
        {"Last Error Time", noError ? kMissing : DateShown(engine.LastErrorTime())},
        {"    Description", Shown(engine.LastErrorDescription())},
        {"    Details", Shown(engine.LastErrorDetail())},
        {"    Extended Details", Shown(engine.LastErrorExtended())}};
    const int description = ColumnByKey(*ui_->lvwGeneral, "Description");
    RowsByKey general(*ui_->lvwGeneral);
    for (const auto& [label, value] : rows) general.Row(label)->setText(description, value);
    FitColumns(*ui_->lvwGeneral);
  });
}

void frmActivity::RefreshDescriptors() {
  Refreshing("frmActivity.RefreshDescriptors", [&] {
    QTreeWidget& list = *ui_->lvwDescriptors;
    const int item = ColumnByKey(list, "Item");
    const int group = ColumnByKey(list, "Group");
    const int32_t count = configuration_->DescriptorCount();
    for (int32_t i = 1; i <= count; ++i) {
      const config::DescriptorItem& descriptor = *configuration_->GetDescriptorItem(i);
      QTreeWidgetItem* row = RowAt(list, i - 1);
      row->setText(0,
                   QString::fromStdString(common::GetDescriptorType(descriptor.DescriptorType())));
      row->setText(item, Shown(descriptor.ResolvedItem(1)));
      row->setText(group, Shown(descriptor.ResolvedGroup(1)));
    }
    KeepRows(list, count);
    FitColumns(list);
  });
}

void frmActivity::RefreshTests() {
  Refreshing("frmActivity.RefreshTests", [&] {
    QTreeWidget& list = *ui_->lvwTests;
    const int group = ColumnByKey(list, "Group");
    const int value = ColumnByKey(list, "Value");
    const int defect = ColumnByKey(list, "Defect");
    const int32_t count = configuration_->TestCount();
    for (int32_t i = 1; i <= count; ++i) {
      const config::TestItem& test = *configuration_->GetTestItem(i);
      QTreeWidgetItem* row = RowAt(list, i - 1);
      row->setText(0, Shown(test.ResolvedItem(1)));
      row->setText(group, Shown(test.ResolvedGroup(1)));
      row->setText(value, Shown(test.ResolvedValue(1)));
      row->setText(defect, Shown(test.ResolvedDefect(1)));
    }
    KeepRows(list, count);
    FitColumns(list);
  });
}

void frmActivity::RefreshTagItems() {
  Refreshing("frmActivity.RefreshTagItems", [&] {
    QTreeWidget& list = *ui_->lvwTagItems;
    const int value = ColumnByKey(list, "Value");
    const int dateTime = ColumnByKey(list, "DateTime");
    RowsByKey rows(list);
    for (const auto& tag : configuration_->TagItems()) {
      QTreeWidgetItem* row = rows.Row(QString::fromStdString(tag->TagName));
      row->setText(value,
                   tag->IsEmpty ? kMissing : QString::fromStdString(ValueText(tag->TagValue)));
      row->setText(dateTime, tag->IsEmpty ? kMissing : DateShown(tag->TimeStamp));
    }
    FitColumns(list);
  });
}

void frmActivity::RefreshConditions() {
  Refreshing("frmActivity.RefreshConditions", [&] {
    QTreeWidget& list = *ui_->lvwConditions;
    const int results = ColumnByKey(list, "Results");
    const int32_t count = configuration_->ConditionCount();
    for (int32_t i = 1; i <= count; ++i) {
      const config::ConditionItem& condition = *configuration_->GetConditionItem(i);
      const bool evaluated = !condition.ResolvedValue1().IsEmpty();
      // Each operand beside its resolved value, in brackets so that the comparison's own
      // operator stands out: "(%TAG(A) = 12.5) > (0 = 0)".
      std::string text = "(" + condition.Value1() + " = " + ValueText(condition.ResolvedValue1()) +
                         ") " + common::GetEvaluationType(condition.Evaluation(), false);
      if (condition.Evaluation() != common::kIsNew) {
        text += " (" + condition.Value2() + " = " + ValueText(condition.ResolvedValue2()) + ")";
      }
      QTreeWidgetItem* row = RowAt(list, i - 1);
      row->setText(0, QString::fromStdString(text));
      row->setText(results, !evaluated ? kMissing : condition.IsValid() ? "True" : "False");
    }
    KeepRows(list, count);
    FitColumns(list);
  });
}

}  // namespace ui
