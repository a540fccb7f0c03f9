#include "platform/windows/SpcSelectionDialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMap>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

#include "platform/spcdb/SpcSession.h"
#include "runtime/Error.h"

namespace platform {
namespace {

struct KindNames {
  host::RecordKind kind, groupKind;
  const char *title, *column, *groupField;
};

KindNames NamesOf(host::SelectionKind kind) {
  using host::RecordKind;
  switch (kind) {
    case host::SelectionKind::Part:
      return {RecordKind::Part, RecordKind::PartGroup, "Select Part", "Part", "Ptgp"};
    case host::SelectionKind::Process:
      return {RecordKind::Process, RecordKind::ProcessGroup, "Select Process", "Process", "Prgp"};
    case host::SelectionKind::Job:
      return {RecordKind::Job, RecordKind::JobGroup, "Select Job", "Job", "Jbgp"};
    case host::SelectionKind::Shift:
      return {RecordKind::Shift, RecordKind::ShiftGroup, "Select Shift", "Shift", "Shgp"};
    case host::SelectionKind::Descriptor:
      return {RecordKind::Descriptor, RecordKind::DescriptorGroup, "Select Descriptor",
              "Descriptor", "Dsgp"};
    case host::SelectionKind::Test:
      return {RecordKind::Test, RecordKind::TestGroup, "Select Test", "Test", "Tsgp"};
  }
  throw runtime::Error(runtime::kInvalidProcedureCall);
}

constexpr int kIdRole = Qt::UserRole;
constexpr int kGroupRole = Qt::UserRole + 1;

}  // namespace

SpcSelectionDialog::SpcSelectionDialog(host::SelectionKind kind, QWidget* parent)
    : QDialog(parent) {
  const KindNames names = NamesOf(kind);
  kind_ = names.kind;
  groupKind_ = names.groupKind;
  groupField_ = names.groupField;
  setObjectName("frmSelect");
  setWindowTitle(names.title);
  setModal(true);
  txtFilter_ = new QLineEdit;
  txtFilter_->setObjectName("txtFilter");
  txtFilter_->setClearButtonEnabled(true);
  lvwRecords_ = new QTreeWidget;
  lvwRecords_->setObjectName("lvwRecords");
  lvwRecords_->setHeaderLabels({names.column});
  lvwRecords_->setMinimumSize(320, 280);
  auto* form = new QFormLayout;
  auto* label = new QLabel("&Filter:");
  label->setBuddy(txtFilter_);
  form->addRow(label, txtFilter_);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(lvwRecords_);
  layout->addWidget(buttons);
  connect(txtFilter_, &QLineEdit::textChanged, this, &SpcSelectionDialog::ApplyFilter);
  connect(lvwRecords_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
    if (item->parent() != nullptr) accept();
  });
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void SpcSelectionDialog::Load(host::DatabaseSession& database, int32_t initialId,
                              int32_t initialGroupId) {
  auto* session = dynamic_cast<SpcSession*>(&database);
  if (session == nullptr) throw runtime::Error(runtime::kTypeMismatch);
  lvwRecords_->clear();
  chosen_.reset();
  QMap<int32_t, QTreeWidgetItem*> groups;
  for (const SpcRecord& group : ListRecords(*session, groupKind_)) {
    auto* item = new QTreeWidgetItem(lvwRecords_, {QString::fromStdString(group.Name())});
    item->setFlags(Qt::ItemIsEnabled);
    item->setData(0, kIdRole, group.Id());
    groups.insert(group.Id(), item);
  }
  QTreeWidgetItem* start = nullptr;
  for (const SpcRecord& record : ListRecords(*session, kind_)) {
    const int32_t groupId = runtime::ToLong(record.Field(groupField_));
    QTreeWidgetItem* group = groups.value(groupId);
    if (group == nullptr) continue;
    auto* item = new QTreeWidgetItem(group, {QString::fromStdString(record.Name())});
    item->setData(0, kIdRole, record.Id());
    item->setData(0, kGroupRole, groupId);
    if (record.Id() == initialId && initialId != 0) start = item;
  }
  lvwRecords_->expandAll();
  if (start == nullptr && initialGroupId != 0) {
    QTreeWidgetItem* group = groups.value(initialGroupId);
    if (group != nullptr && group->childCount() > 0) start = group->child(0);
    if (group != nullptr) lvwRecords_->scrollToItem(group);
  }
  if (start != nullptr) {
    lvwRecords_->setCurrentItem(start);
    lvwRecords_->scrollToItem(start);
  }
}

bool SpcSelectionDialog::Run(host::DatabaseSession& database, int32_t initialId,
                             int32_t initialGroupId) {
  Load(database, initialId, initialGroupId);
  return exec() == QDialog::Accepted && chosen_.has_value();
}

const host::HostRecord& SpcSelectionDialog::Chosen() const {
  if (!chosen_) throw runtime::Error(runtime::kObjectNotSet);
  return *chosen_;
}

void SpcSelectionDialog::accept() {
  const QTreeWidgetItem* item = lvwRecords_->currentItem();
  // Only a record, not a group, can be chosen.
  if (item == nullptr || item->parent() == nullptr || item->isHidden()) return;
  chosen_.emplace(kind_, item->data(0, kIdRole).toInt(), item->text(0).toStdString(),
                  item->data(0, kGroupRole).toInt());
  QDialog::accept();
}

void SpcSelectionDialog::ApplyFilter() {
  const QString filter = txtFilter_->text().trimmed();
  QTreeWidgetItem* firstShown = nullptr;
  for (int i = 0; i < lvwRecords_->topLevelItemCount(); ++i) {
    QTreeWidgetItem* group = lvwRecords_->topLevelItem(i);
    const bool groupMatches = group->text(0).contains(filter, Qt::CaseInsensitive);
    int shown = 0;
    for (int j = 0; j < group->childCount(); ++j) {
      QTreeWidgetItem* record = group->child(j);
      const bool show = groupMatches || record->text(0).contains(filter, Qt::CaseInsensitive);
      record->setHidden(!show);
      shown += show ? 1 : 0;
      if (show && firstShown == nullptr) firstShown = record;
    }
    group->setHidden(shown == 0 && !groupMatches);
  }
  // The record typed for is current, so that Enter takes it.
  const QTreeWidgetItem* current = lvwRecords_->currentItem();
  if (firstShown != nullptr && (current == nullptr || current->isHidden())) {
    lvwRecords_->setCurrentItem(firstShown);
  }
}

}  // namespace platform
