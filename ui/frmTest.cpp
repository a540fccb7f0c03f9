#include "ui/frmTest.h"

#include "common/ErrorDisplay.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "ui/SelectFromDatabase.h"
#include "ui/SelectOnFocus.h"
#include "ui/SelectTag.h"
#include "ui/StrayAccelerators.h"
#include "ui_frmTest.h"

namespace ui {
namespace {

bool Blank(const QLineEdit& box) {
  return runtime::TrimSpaces(box.text().toStdString()).empty();
}

}  // namespace

frmTest::frmTest(host::Components& components, QWidget* parent)
    : QDialog(parent), components_(components), ui_(std::make_unique<Ui::frmTest>()) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  // The defect code is optional: its box does not take part.
  for (QLineEdit* box : {ui_->txtGroup, ui_->txtItem, ui_->txtValue}) {
    connect(box, &QLineEdit::textChanged, this, &frmTest::EnableOK);
  }
  connect(ui_->bnGroup, &QPushButton::clicked, this,
          [this] { SelectTagInto(*ui_->txtGroup, "frmTest.bnGroup_Click"); });
  connect(ui_->bnItem, &QPushButton::clicked, this,
          [this] { SelectTagInto(*ui_->txtItem, "frmTest.bnItem_Click"); });
  connect(ui_->bnValue, &QPushButton::clicked, this,
          [this] { SelectTagInto(*ui_->txtValue, "frmTest.bnValue_Click"); });
  connect(ui_->bnDefect, &QPushButton::clicked, this,
          [this] { SelectTagInto(*ui_->txtDefect, "frmTest.bnDefect_Click"); });
  connect(ui_->bnSelect, &QPushButton::clicked, this, &frmTest::bnSelect_Click);
  connect(ui_->OKButton, &QPushButton::clicked, this, &frmTest::OKButton_Click);
  connect(ui_->CancelButton, &QPushButton::clicked, this, &frmTest::CancelButton_Click);
  SelectTextOnFocus(*ui_->txtGroup);
  SelectTextOnFocus(*ui_->txtItem);
}

frmTest::~frmTest() = default;

int frmTest::ShowModal() {
  Form_Load();
  return exec();
}

void frmTest::Form_Load() {
  common::ShowingErrors(components_, "frmTest.Form_Load", [&] {
    if (!item_) throw runtime::Error(runtime::kObjectNotSet);
    ui_->txtGroup->setText(QString::fromStdString(item_->Group()));
    ui_->txtItem->setText(QString::fromStdString(item_->Item()));
    ui_->txtValue->setText(QString::fromStdString(item_->Value()));
    ui_->txtDefect->setText(QString::fromStdString(item_->Defect()));
    EnableOK();
  });
}

void frmTest::EnableOK() {
  common::ShowingErrors(components_, "frmTest.EnableOK", [&] {
    ui_->OKButton->setEnabled(!Blank(*ui_->txtGroup) && !Blank(*ui_->txtItem) &&
                              !Blank(*ui_->txtValue));
  });
}

void frmTest::SelectTagInto(QLineEdit& box, const char* procedure) {
  common::ShowingErrors(components_, procedure, [&] {
    std::string text = box.text().toStdString();
    if (SelectTag(components_, *configuration_, text)) box.setText(QString::fromStdString(text));
  });
}

void frmTest::bnSelect_Click() {
  common::ShowingErrors(components_, "frmTest.SelectTest", [&] {
    std::string group = ui_->txtGroup->text().toStdString();
    std::string item = ui_->txtItem->text().toStdString();
    if (!SelectFromDatabase(components_, *configuration_, host::SelectionKind::Test, group, item)) {
      return;
    }
    ui_->txtItem->setText(QString::fromStdString(item));
    ui_->txtGroup->setText(QString::fromStdString(group));
  });
}

void frmTest::OKButton_Click() {
  common::ShowingErrors(components_, "frmTest.OKButton_Click", [&] {
    if (!ui_->OKButton->isEnabled()) return;
    item_->SetGroup(ui_->txtGroup->text().toStdString());
    item_->SetItem(ui_->txtItem->text().toStdString());
    item_->SetValue(ui_->txtValue->text().toStdString());
    item_->SetDefect(ui_->txtDefect->text().toStdString());
    okPressed_ = true;
    accept();
  });
}

void frmTest::CancelButton_Click() {
  common::ShowingErrors(components_, "frmTest.CancelButton_Click", [&] {
    okPressed_ = false;
    QDialog::reject();
  });
}

void frmTest::reject() {
  CancelButton_Click();
}

}  // namespace ui
