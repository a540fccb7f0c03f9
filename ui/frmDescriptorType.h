// The modal picker of a new descriptor's type, captioned "Descriptor Type": lists every
// type the configuration does not hold yet, and User-Defined always, so that each fixed
// type is configured at most once.
#pragma once

#include <QDialog>
#include <cstdint>
#include <memory>

#include "config/Configuration1.h"
#include "host/Components.h"

namespace Ui {
class frmDescriptorType;
}

namespace ui {

class frmDescriptorType : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmDescriptorType(host::Components& components, QWidget* parent = nullptr);
  ~frmDescriptorType() override;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
    configuration_ = std::move(configuration);
  }
  int32_t DescriptorType() const { return descriptorType_; }
  bool OKPressed() const { return okPressed_; }

  // Fills the list; ShowModal runs it before showing.
  void Form_Load();
  int ShowModal();

 protected:
  void reject() override;

 private:
  void lstTypes_Click();
  void lstTypes_DblClick();
  void OKButton_Click();
  void CancelButton_Click();

  host::Components& components_;
  std::unique_ptr<Ui::frmDescriptorType> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  int32_t descriptorType_ = 0;
  bool okPressed_ = false;
};

}  // namespace ui
