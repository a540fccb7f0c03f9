// The modal editor of one collection condition, captioned "Condition Properties": the tag
// value watched, the evaluation and the compare value. Only Value1, Evaluation and Value2
// are read and written, and only on OK. A stored evaluation outside 0-6 selects no row;
// OK then keeps that code (nothing is lost that the user did not choose to change), and
// the compare value stays in use as for every code but "IS NEW".
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>

#include "config/ConditionItem.h"
#include "config/Configuration1.h"
#include "host/Components.h"

class QLineEdit;

namespace Ui {
class frmCondition;
}

namespace ui {

class frmCondition : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmCondition(host::Components& components, QWidget* parent = nullptr);
  ~frmCondition() override;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
    configuration_ = std::move(configuration);
  }
  void SetConditionItem(std::shared_ptr<config::ConditionItem> item) { item_ = std::move(item); }
  bool OKPressed() const { return okPressed_; }

  // Fills the controls from the item; ShowModal runs it before showing.
  void Form_Load();
  int ShowModal();

 protected:
  void reject() override;

 private:
  // The selected row's code, or the stored one when no row is selected.
  int32_t SelectedEvaluation() const;
  void cboEvaluation_Click();
  void txtValue1_Change();
  void SelectTagInto(QLineEdit& box);
  void OKButton_Click();
  void CancelButton_Click();
  // The dialog has no error display of its own: faults are shown as its opener's.
  template <typename Body>
  void Guarded(Body&& body);

  host::Components& components_;
  std::unique_ptr<Ui::frmCondition> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  std::shared_ptr<config::ConditionItem> item_;
  bool okPressed_ = false;
};

}  // namespace ui
