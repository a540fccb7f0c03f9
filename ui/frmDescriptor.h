// The modal editor of one descriptor, captioned "Descriptor Properties: <type>": its group
// and item, typed, built from a historian tag, or picked from the SPC database. Lot,
// Serial Number, Size and Time have no group. The item changes only on OK, as typed.
#pragma once

#include <QDialog>
#include <memory>

#include "config/Configuration1.h"
#include "config/DescriptorItem.h"
#include "host/Components.h"

namespace Ui {
class frmDescriptor;
}

namespace ui {

class frmDescriptor : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmDescriptor(host::Components& components, QWidget* parent = nullptr);
  ~frmDescriptor() override;

  void SetConfiguration(std::shared_ptr<config::Configuration1> configuration) {
    configuration_ = std::move(configuration);
  }
  void SetDescriptorItem(std::shared_ptr<config::DescriptorItem> item) { item_ = std::move(item); }
  bool OKPressed() const { return okPressed_; }

  // Fills the boxes from the item; ShowModal runs it before showing.
  void Form_Load();
  int ShowModal();

 protected:
  void reject() override;

 private:
  void EnableOK();
  void bnGroup_Click();
  void bnItem_Click();
  void bnSelect_Click();
  void OKButton_Click();
  void CancelButton_Click();

  host::Components& components_;
  std::unique_ptr<Ui::frmDescriptor> ui_;
  std::shared_ptr<config::Configuration1> configuration_;
  std::shared_ptr<config::DescriptorItem> item_;
  bool okPressed_ = false;
  bool hasGroup_ = true;
};

}  // namespace ui
