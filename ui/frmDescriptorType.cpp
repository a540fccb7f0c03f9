#include "ui/frmDescriptorType.h"

#include "common/DescriptorType.h"
#include "common/ErrorDisplay.h"
#include "common/TypeTables.h"
#include "ui/StrayAccelerators.h"
#include "ui_frmDescriptorType.h"

namespace ui {

frmDescriptorType::frmDescriptorType(host::Components& components, QWidget* parent)
    : QDialog(parent), components_(components), ui_(std::make_unique<Ui::frmDescriptorType>()) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  connect(ui_->lstTypes, &QListWidget::itemSelectionChanged, this,
          &frmDescriptorType::lstTypes_Click);
  connect(ui_->lstTypes, &QListWidget::itemDoubleClicked, this,
          &frmDescriptorType::lstTypes_DblClick);
  connect(ui_->OKButton, &QPushButton::clicked, this, &frmDescriptorType::OKButton_Click);
  connect(ui_->CancelButton, &QPushButton::clicked, this, &frmDescriptorType::CancelButton_Click);
}

frmDescriptorType::~frmDescriptorType() = default;

int frmDescriptorType::ShowModal() {
  Form_Load();
  return exec();
}

void frmDescriptorType::Form_Load() {
  common::ShowingErrors(components_, "frmDescriptorType.Form_Load", [&] {
    QListWidget& list = *ui_->lstTypes;
    list.clear();
    for (int32_t code = common::kFirstDescriptorType; code <= common::kLastDescriptorType; ++code) {
      // Every type but User-Defined is configured once at most.
      if (code != common::kUserDefined && configuration_ &&
          configuration_->GetDescriptorType(code)) {
        continue;
      }
      auto* row = new QListWidgetItem(QString::fromStdString(common::GetDescriptorType(code)));
      row->setData(Qt::UserRole, code);
      list.addItem(row);
    }
    if (list.count() > 0) list.setCurrentRow(0);
    lstTypes_Click();
  });
}

void frmDescriptorType::lstTypes_Click() {
  common::ShowingErrors(components_, "frmDescriptorType.lstTypes_Click", [&] {
    ui_->OKButton->setEnabled(!ui_->lstTypes->selectedItems().isEmpty());
  });
}

void frmDescriptorType::lstTypes_DblClick() {
  common::ShowingErrors(components_, "frmDescriptorType.lstTypes_DblClick",
                        [&] { ui_->OKButton->click(); });
}

void frmDescriptorType::OKButton_Click() {
  common::ShowingErrors(components_, "frmDescriptorType.OKButton_Click", [&] {
    const QList<QListWidgetItem*> selected = ui_->lstTypes->selectedItems();
    if (selected.isEmpty()) return;
    descriptorType_ = selected.front()->data(Qt::UserRole).toInt();
    okPressed_ = true;
    accept();
  });
}

void frmDescriptorType::CancelButton_Click() {
  common::ShowingErrors(components_, "frmDescriptorType.CancelButton_Click", [&] {
    okPressed_ = false;
    QDialog::reject();
  });
}

void frmDescriptorType::reject() {
  CancelButton_Click();
}

}  // namespace ui
