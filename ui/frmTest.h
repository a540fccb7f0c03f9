// The modal editor of one characteristic, captioned "Characteristic Properties": its test
// group and test (typed, built from a historian tag, or picked from the SPC database), the
// value and an optional defect code. The item changes only on OK, as typed.
#pragma once

#include <QDialog>
#include <memory>

#include "config/Configuration1.h"
#include "config/TestItem.h"
#include "host/Components.h"

class QLineEdit;

namespace Ui {
class frmTest;
}

namespace ui {

class frmTest : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmTest(host::Components& components, QWidget* parent = nullptr);
  ~frmTest() override;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
    configuration_ = std::move(configuration);
  }
  void SetTestItem(std::shared_ptr<config::TestItem> item) { item_ = std::move(item); }
  bool OKPressed() const { return okPressed_; }

  // Fills the boxes from the item; ShowModal runs it before showing.
  void Form_Load();
  int ShowModal();

 protected:
  void reject() override;

 private:
  void EnableOK();
  // The tag button of `box`.
  void SelectTagInto(QLineEdit& box, const char* procedure);
  void bnSelect_Click();
  void OKButton_Click();
  void CancelButton_Click();

  host::Components& components_;
  std::unique_ptr<Ui::frmTest> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  std::shared_ptr<config::TestItem> item_;
  bool okPressed_ = false;
};

}  // namespace ui
