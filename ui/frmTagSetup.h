// The modal tag browser, captioned "Select Tag Item": lists the historian's tags (read live
// from ihTags over the data link, filtered by a bound LIKE pattern) and builds the tag
// expression "%TAG(<type>, <tag>)" for the chosen tag and value type. Its position is kept
// in the module's settings file, section "TagSelect", in twips. It opens with the focus on
// the preselected row, so Enter takes it; while the filter is edited, Enter refreshes.
#pragma once

#include <QDialog>
#include <memory>
#include <string>

#include "host/Components.h"

namespace Ui {
class frmTagSetup;
}

namespace ui {

class frmTagSetup : public QDialog {
 public:
  // `components` outlives the dialog.
  explicit frmTagSetup(host::Components& components, QWidget* parent = nullptr);
  ~frmTagSetup() override;

  void SetDataLink(std::string dataLink) { dataLink_ = std::move(dataLink); }
  const std::string& Value() const { return value_; }
  void SetValue(std::string value) { value_ = std::move(value); }
  bool OKPressed() const { return okPressed_; }

  // Reads the initial tag from Value, fills the lists and restores the position. ShowModal
  // runs it before showing; tests call it and show the dialog themselves.
  void Form_Load();
  int ShowModal();

  // The settings file that keeps the position.
  static std::string PositionFile(host::Components& components);

 protected:
  void done(int result) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void RefreshTagNames();
  // Ends the list with one placeholder row and disables OK.
  void ShowPlaceholder(const char* text, const std::string& description);
  void bnRefresh_Click();
  void OKButton_Click();
  void CancelButton_Click();
  void ListView1_DblClick();
  void txtFilter_GotFocus();
  void txtFilter_LostFocus();
  void Form_QueryUnload();
  void RestorePosition();
  void SavePosition();

  host::Components& components_;
  std::unique_ptr<Ui::frmTagSetup> ui_;
  std::string dataLink_;
  std::string value_;
  bool okPressed_ = false;
  std::string initialTagName_;
  std::string initialTagType_;
};

}  // namespace ui
