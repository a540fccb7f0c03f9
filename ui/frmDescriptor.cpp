#include "ui/frmDescriptor.h"

#include <optional>

#include "common/DescriptorType.h"
#include "common/ErrorDisplay.h"
#include "common/TypeTables.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "ui/SelectFromDatabase.h"
#include "ui/SelectOnFocus.h"
#include "ui/SelectTag.h"
#include "ui/StrayAccelerators.h"
#include "ui_frmDescriptor.h"

namespace ui {
namespace {

bool Blank(const QLineEdit& box) {
  return runtime::TrimSpaces(box.text().toStdString()).empty();
}

// The selection dialog of the types with a database picker, by type code.
std::optional<host::SelectionKind> PickerOf(int32_t type) {
  switch (type) {
    case common::kPart:
      return host::SelectionKind::Part;
    case common::kProcess:
      return host::SelectionKind::Process;
    case common::kJob:
      return host::SelectionKind::Job;
    case common::kShift:
      return host::SelectionKind::Shift;
    case common::kUserDefined:
      return host::SelectionKind::Descriptor;
    default:
      return std::nullopt;
  }
}

const char* PickerProcedure(host::SelectionKind kind) {
  switch (kind) {
    case host::SelectionKind::Part:
      return "frmDescriptor.SelectPart";
    case host::SelectionKind::Process:
      return "frmDescriptor.SelectProcess";
    case host::SelectionKind::Job:
      return "frmDescriptor.SelectJob";
    case host::SelectionKind::Shift:
      return "frmDescriptor.SelectShift";
    default:
      return "frmDescriptor.SelectDescriptor";
  }
}

}  // namespace

frmDescriptor::frmDescriptor(host::Components& components, QWidget* parent)
    : QDialog(parent), components_(components), ui_(std::make_unique<Ui::frmDescriptor>()) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  connect(ui_->txtGroup, &QLineEdit::textChanged, this, &frmDescriptor::EnableOK);
  connect(ui_->txtItem, &QLineEdit::textChanged, this, &frmDescriptor::EnableOK);
  connect(ui_->bnGroup, &QPushButton::clicked, this, &frmDescriptor::bnGroup_Click);
  connect(ui_->bnItem, &QPushButton::clicked, this, &frmDescriptor::bnItem_Click);
  connect(ui_->bnSelect, &QPushButton::clicked, this, &frmDescriptor::bnSelect_Click);
  connect(ui_->OKButton, &QPushButton::clicked, this, &frmDescriptor::OKButton_Click);
  connect(ui_->CancelButton, &QPushButton::clicked, this, &frmDescriptor::CancelButton_Click);
  SelectTextOnFocus(*ui_->txtGroup);
  SelectTextOnFocus(*ui_->txtItem);
}

frmDescriptor::~frmDescriptor() = default;

int frmDescriptor::ShowModal() {
  Form_Load();
  return exec();
}

void frmDescriptor::Form_Load() {
  common::ShowingErrors(components_, "frmDescriptor.Form_Load", [&] {
    if (!item_) throw runtime::Error(runtime::kObjectNotSet);
    const int32_t type = item_->DescriptorType();
    setWindowTitle("Descriptor Properties: " +
                   QString::fromStdString(common::GetDescriptorType(type)));
    hasGroup_ = !common::IsGroupless(type);
    for (QWidget* control :
         {static_cast<QWidget*>(ui_->lblGroup), static_cast<QWidget*>(ui_->txtGroup),
          static_cast<QWidget*>(ui_->bnGroup), static_cast<QWidget*>(ui_->bnSelect)}) {
      control->setEnabled(hasGroup_);
    }
    ui_->txtGroup->setText(hasGroup_ ? QString::fromStdString(item_->Group()) : QString());
    ui_->txtItem->setText(QString::fromStdString(item_->Item()));
    EnableOK();
  });
}

void frmDescriptor::EnableOK() {
  common::ShowingErrors(components_, "frmDescriptor.EnableOK", [&] {
    ui_->OKButton->setEnabled(!Blank(*ui_->txtItem) && (!hasGroup_ || !Blank(*ui_->txtGroup)));
  });
}

void frmDescriptor::bnGroup_Click() {
  common::ShowingErrors(components_, "frmDescriptor.bnGroup_Click", [&] {
    std::string text = ui_->txtGroup->text().toStdString();
    if (SelectTag(components_, *configuration_, text)) {
      ui_->txtGroup->setText(QString::fromStdString(text));
    }
  });
}

void frmDescriptor::bnItem_Click() {
  common::ShowingErrors(components_, "frmDescriptor.bnItem_Click", [&] {
    std::string text = ui_->txtItem->text().toStdString();
    if (SelectTag(components_, *configuration_, text)) {
      ui_->txtItem->setText(QString::fromStdString(text));
    }
  });
}

void frmDescriptor::bnSelect_Click() {
  common::ShowingErrors(components_, "frmDescriptor.bnSelect_Click", [&] {
    const std::optional<host::SelectionKind> kind = PickerOf(item_->DescriptorType());
    if (!kind) return;
    common::ShowingErrors(components_, PickerProcedure(*kind), [&] {
      std::string group = ui_->txtGroup->text().toStdString();
      std::string item = ui_->txtItem->text().toStdString();
      if (!SelectFromDatabase(components_, *configuration_, *kind, group, item)) return;
      ui_->txtItem->setText(QString::fromStdString(item));
      ui_->txtGroup->setText(QString::fromStdString(group));
    });
  });
}

void frmDescriptor::OKButton_Click() {
  common::ShowingErrors(components_, "frmDescriptor.OKButton_Click", [&] {
    if (!ui_->OKButton->isEnabled()) return;
    item_->SetGroup(ui_->txtGroup->text().toStdString());
    item_->SetItem(ui_->txtItem->text().toStdString());
    okPressed_ = true;
    accept();
  });
}

void frmDescriptor::CancelButton_Click() {
  common::ShowingErrors(components_, "frmDescriptor.CancelButton_Click", [&] {
    okPressed_ = false;
    QDialog::reject();
  });
}

void frmDescriptor::reject() {
  CancelButton_Click();
}

}  // namespace ui
