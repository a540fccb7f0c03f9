#include "ui/frmCondition.h"

#include "common/ErrorDisplay.h"
#include "common/Evaluation.h"
#include "common/TypeTables.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "ui/SelectOnFocus.h"
#include "ui/SelectTag.h"
#include "ui/StrayAccelerators.h"
#include "ui_frmCondition.h"

namespace ui {

frmCondition::frmCondition(host::Components& components, QWidget* parent)
    : QDialog(parent), components_(components), ui_(std::make_unique<Ui::frmCondition>()) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  connect(ui_->cboEvaluation, &QComboBox::currentIndexChanged, this,
          &frmCondition::cboEvaluation_Click);
  connect(ui_->txtValue1, &QLineEdit::textChanged, this, &frmCondition::txtValue1_Change);
  connect(ui_->bnValue1, &QPushButton::clicked, this, [this] { SelectTagInto(*ui_->txtValue1); });
  connect(ui_->bnValue2, &QPushButton::clicked, this, [this] { SelectTagInto(*ui_->txtValue2); });
  connect(ui_->OKButton, &QPushButton::clicked, this, &frmCondition::OKButton_Click);
  connect(ui_->CancelButton, &QPushButton::clicked, this, &frmCondition::CancelButton_Click);
  SelectTextOnFocus(*ui_->txtValue2);
}

frmCondition::~frmCondition() = default;

template <typename Body>
void frmCondition::Guarded(Body&& body) {
  common::ShowingErrors(components_, "frmConfigure.ShowConditionProperties",
                        std::forward<Body>(body));
}

int frmCondition::ShowModal() {
  Form_Load();
  return exec();
}

void frmCondition::Form_Load() {
  Guarded([&] {
    if (!item_) throw runtime::Error(runtime::kObjectNotSet);
    QComboBox& box = *ui_->cboEvaluation;
    box.clear();
    for (int32_t code = common::kFirstEvaluation; code <= common::kLastEvaluation; ++code) {
      box.addItem(QString::fromStdString(common::GetEvaluationType(code, true)), code);
    }
    ui_->txtValue1->setText(QString::fromStdString(item_->Value1()));
    box.setCurrentIndex(box.findData(item_->Evaluation()));
    cboEvaluation_Click();
    ui_->txtValue2->setText(QString::fromStdString(item_->Value2()));
    txtValue1_Change();
  });
}

int32_t frmCondition::SelectedEvaluation() const {
  const QVariant code = ui_->cboEvaluation->currentData();
  return code.isValid() ? code.toInt() : item_->Evaluation();
}

void frmCondition::cboEvaluation_Click() {
  Guarded([&] {
    const bool compared = SelectedEvaluation() != common::kIsNew;
    // The label too, so that its accelerator is off and shows it.
    ui_->lblValue2->setEnabled(compared);
    ui_->txtValue2->setEnabled(compared);
    ui_->bnValue2->setEnabled(compared);
  });
}

void frmCondition::txtValue1_Change() {
  Guarded([&] {
    ui_->OKButton->setEnabled(!runtime::TrimSpaces(ui_->txtValue1->text().toStdString()).empty());
  });
}

void frmCondition::SelectTagInto(QLineEdit& box) {
  Guarded([&] {
    std::string text = box.text().toStdString();
    if (SelectTag(components_, *configuration_, text)) box.setText(QString::fromStdString(text));
  });
}

void frmCondition::OKButton_Click() {
  Guarded([&] {
    if (!ui_->OKButton->isEnabled()) return;
    const int32_t evaluation = SelectedEvaluation();
    item_->SetValue1(ui_->txtValue1->text().toStdString());
    item_->SetEvaluation(evaluation);
    item_->SetValue2(evaluation != common::kIsNew ? ui_->txtValue2->text().toStdString() : "");
    okPressed_ = true;
    accept();
  });
}

void frmCondition::CancelButton_Click() {
  Guarded([&] {
    okPressed_ = false;
    QDialog::reject();
  });
}

void frmCondition::reject() {
  CancelButton_Click();
}

}  // namespace ui
