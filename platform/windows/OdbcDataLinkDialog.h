// The data link dialog on this platform, captioned "Data Link Properties": the installed
// ODBC drivers and data sources as the driver manager lists them, the connection string's
// key/value pairs and its raw text, and Test Connection. Passwords are never shown: their
// values read "***" in both views, and a "***" left standing keeps the value it hides.
#pragma once

#include <QDialog>
#include <string>
#include <vector>

#include "host/DataLinkDialog.h"
#include "platform/odbc/OdbcConnectionString.h"

class QComboBox;
class QLabel;
class QLineEdit;
class QTableWidget;

namespace platform {

class OdbcDataLinkDialog : public QDialog, public host::DataLinkDialog {
 public:
  explicit OdbcDataLinkDialog(QWidget* parent = nullptr);

  bool Edit(std::string& connection, const Tester& test) override;

  // The string the controls hold now, passwords in the clear.
  std::string Connection() const;
  void SetConnection(const std::string& connection);

 private:
  void FillLists();
  void ShowKeys();
  // The table and the driver and source boxes; the connection string box is left alone.
  void ShowTable();
  void SetCell(int row, int column, const std::string& text);
  void ReadTable();
  void txtRaw_Change();
  void cboDriver_Click();
  void cboSource_Click();
  void SetKey(const std::string& key, const std::string& value);
  void bnAddKey_Click();
  void bnRemoveKey_Click();
  void bnTest_Click();

  std::vector<ConnectionKey> keys_;
  Tester test_;
  bool showing_ = false;
  QComboBox* cboDriver_;
  QComboBox* cboSource_;
  QTableWidget* tblKeys_;
  QLineEdit* txtRaw_;
  QLabel* lblState_;
};

}  // namespace platform
