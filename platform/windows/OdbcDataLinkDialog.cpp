#include "platform/windows/OdbcDataLinkDialog.h"

#include <sql.h>
#include <sqlext.h>

#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcHandle.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace platform {
namespace {

constexpr char kMask[] = "***";

bool IsPasswordKey(const std::string& key) {
  return HoldsConnectionSecret(key + "=x");
}

std::string Shown(const ConnectionKey& pair) {
  return IsPasswordKey(pair.key) && !pair.value.empty() ? kMask : pair.value;
}

std::string Join(const std::vector<ConnectionKey>& keys, bool masked) {
  std::string text;
  for (const ConnectionKey& pair : keys) {
    AppendConnectionKey(text, pair.key, masked ? Shown(pair) : pair.value);
  }
  return text.starts_with(';') ? text.substr(1) : text;
}

QStringList Installed(bool drivers) {
  QStringList names;
  OdbcHandle environment(SQL_HANDLE_ENV, nullptr);
  SQLSetEnvAttr(environment.get(), SQL_ATTR_ODBC_VERSION,
                reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0);
  SQLCHAR name[512], detail[4096];
  SQLSMALLINT nameLength = 0, detailLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  auto next = [&] {
    return drivers ? SQLDrivers(environment.get(), direction, name, sizeof name, &nameLength,
                                detail, sizeof detail, &detailLength)
                   : SQLDataSources(environment.get(), direction, name, sizeof name, &nameLength,
                                    detail, sizeof detail, &detailLength);
  };
  while (SQL_SUCCEEDED(next())) {
    direction = SQL_FETCH_NEXT;
    names << QString::fromUtf8(reinterpret_cast<char*>(name));
  }
  return names;
}

}  // namespace

OdbcDataLinkDialog::OdbcDataLinkDialog(QWidget* parent) : QDialog(parent) {
  setObjectName("frmDataLink");
  setWindowTitle("Data Link Properties");
  setModal(true);
  cboDriver_ = new QComboBox;
  cboDriver_->setObjectName("cboDriver");
  cboSource_ = new QComboBox;
  cboSource_->setObjectName("cboSource");
  tblKeys_ = new QTableWidget(0, 2);
  tblKeys_->setObjectName("tblKeys");
  tblKeys_->setHorizontalHeaderLabels({"Key", "Value"});
  tblKeys_->horizontalHeader()->setStretchLastSection(true);
  tblKeys_->verticalHeader()->hide();
  // Tab goes on to the next control, as from any other; the arrows move between cells.
  tblKeys_->setTabKeyNavigation(false);
  txtRaw_ = new QLineEdit;
  txtRaw_->setObjectName("txtRaw");
  txtRaw_->setMinimumWidth(420);
  lblState_ = new QLabel;
  lblState_->setObjectName("lblState");
  lblState_->setWordWrap(true);
  auto* bnAddKey = new QPushButton("&Add Key");
  auto* bnRemoveKey = new QPushButton("&Remove Key");
  auto* bnTest = new QPushButton("&Test Connection");
  bnTest->setObjectName("bnTest");

  auto* form = new QFormLayout;
  auto add = [&](const char* caption, QWidget* field) {
    auto* label = new QLabel(caption);
    label->setBuddy(field);
    form->addRow(label, field);
  };
  add("&Driver:", cboDriver_);
  add("Data &source:", cboSource_);
  add("&Keys:", tblKeys_);
  auto* keyButtons = new QHBoxLayout;
  keyButtons->addWidget(bnAddKey);
  keyButtons->addWidget(bnRemoveKey);
  keyButtons->addStretch();
  form->addRow(QString(), keyButtons);
  add("&Connection string:", txtRaw_);
  auto* test = new QHBoxLayout;
  test->addWidget(bnTest);
  test->addWidget(lblState_, 1);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addLayout(test);
  layout->addWidget(buttons);

  FillLists();
  connect(cboDriver_, &QComboBox::activated, this, &OdbcDataLinkDialog::cboDriver_Click);
  connect(cboSource_, &QComboBox::activated, this, &OdbcDataLinkDialog::cboSource_Click);
  connect(tblKeys_, &QTableWidget::itemChanged, this, &OdbcDataLinkDialog::ReadTable);
  connect(txtRaw_, &QLineEdit::textEdited, this, &OdbcDataLinkDialog::txtRaw_Change);
  connect(bnAddKey, &QPushButton::clicked, this, &OdbcDataLinkDialog::bnAddKey_Click);
  connect(bnRemoveKey, &QPushButton::clicked, this, &OdbcDataLinkDialog::bnRemoveKey_Click);
  connect(bnTest, &QPushButton::clicked, this, &OdbcDataLinkDialog::bnTest_Click);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

void OdbcDataLinkDialog::FillLists() {
  cboDriver_->addItem("(choose a driver)");
  cboDriver_->addItems(Installed(true));
  cboSource_->addItem("(no data source)");
  cboSource_->addItems(Installed(false));
}

bool OdbcDataLinkDialog::Edit(std::string& connection, const Tester& test) {
  test_ = test;
  SetConnection(connection);
  if (exec() != QDialog::Accepted) return false;
  connection = Connection();
  return true;
}

std::string OdbcDataLinkDialog::Connection() const {
  return Join(keys_, false);
}

void OdbcDataLinkDialog::SetConnection(const std::string& connection) {
  keys_ = ParseConnectionString(connection);
  ShowKeys();
}

void OdbcDataLinkDialog::ShowKeys() {
  ShowTable();
  const QString text = QString::fromStdString(Join(keys_, true));
  if (txtRaw_->text() == text) return;
  txtRaw_->setText(text);
  // Shown from its start, the driver first, unless the user is typing in it.
  if (!txtRaw_->hasFocus()) txtRaw_->setCursorPosition(0);
}

void OdbcDataLinkDialog::ShowTable() {
  showing_ = true;
  tblKeys_->setRowCount(static_cast<int>(keys_.size()));
  for (size_t i = 0; i < keys_.size(); ++i) {
    SetCell(int(i), 0, keys_[i].key);
    SetCell(int(i), 1, Shown(keys_[i]));
  }
  for (const ConnectionKey& pair : keys_) {
    if (runtime::EqualsNoCase(pair.key, "Driver")) {
      cboDriver_->setCurrentText(QString::fromStdString(pair.value));
    }
    if (runtime::EqualsNoCase(pair.key, "DSN")) {
      cboSource_->setCurrentText(QString::fromStdString(pair.value));
    }
  }
  showing_ = false;
}

void OdbcDataLinkDialog::SetCell(int row, int column, const std::string& text) {
  const QString shown = QString::fromStdString(text);
  // An item is changed in place: one replaced under an open editor would lose its edit.
  if (QTableWidgetItem* item = tblKeys_->item(row, column)) {
    if (item->text() != shown) item->setText(shown);
  } else {
    tblKeys_->setItem(row, column, new QTableWidgetItem(shown));
  }
}

void OdbcDataLinkDialog::ReadTable() {
  if (showing_) return;
  std::vector<ConnectionKey> keys;
  for (int row = 0; row < tblKeys_->rowCount(); ++row) {
    const QTableWidgetItem* key = tblKeys_->item(row, 0);
    const QTableWidgetItem* value = tblKeys_->item(row, 1);
    ConnectionKey pair{key ? key->text().trimmed().toStdString() : "",
                       value ? value->text().toStdString() : ""};
    if (pair.key.empty()) continue;
    // A password still masked keeps its value.
    if (pair.value == kMask && static_cast<size_t>(row) < keys_.size()) {
      pair.value = keys_[row].value;
    }
    keys.push_back(std::move(pair));
  }
  keys_ = std::move(keys);
  ShowKeys();
}

void OdbcDataLinkDialog::txtRaw_Change() {
  std::vector<ConnectionKey> keys = ParseConnectionString(txtRaw_->text().toStdString());
  for (ConnectionKey& pair : keys) {
    if (pair.value != kMask) continue;
    for (const ConnectionKey& old : keys_) {
      if (runtime::EqualsNoCase(old.key, pair.key)) pair.value = old.value;
    }
  }
  keys_ = std::move(keys);
  // Rewritten while typing, "Driver=" would lose its "=" before the value is there.
  ShowTable();
}

void OdbcDataLinkDialog::SetKey(const std::string& key, const std::string& value) {
  std::erase_if(keys_,
                [&](const ConnectionKey& pair) { return runtime::EqualsNoCase(pair.key, key); });
  if (!value.empty()) keys_.insert(keys_.begin(), ConnectionKey{key, value});
  ShowKeys();
}

void OdbcDataLinkDialog::cboDriver_Click() {
  if (cboDriver_->currentIndex() <= 0) return;
  SetKey("DSN", "");
  SetKey("Driver", cboDriver_->currentText().toStdString());
}

void OdbcDataLinkDialog::cboSource_Click() {
  if (cboSource_->currentIndex() <= 0) return;
  SetKey("Driver", "");
  SetKey("DSN", cboSource_->currentText().toStdString());
}

void OdbcDataLinkDialog::bnAddKey_Click() {
  const int row = tblKeys_->rowCount();
  // The row is read once its key is typed; read now, empty, it would vanish at once.
  showing_ = true;
  tblKeys_->insertRow(row);
  auto* key = new QTableWidgetItem;
  tblKeys_->setItem(row, 0, key);
  tblKeys_->setItem(row, 1, new QTableWidgetItem);
  showing_ = false;
  tblKeys_->setCurrentCell(row, 0);
  tblKeys_->editItem(key);
}

void OdbcDataLinkDialog::bnRemoveKey_Click() {
  const int row = tblKeys_->currentRow();
  if (row < 0 || static_cast<size_t>(row) >= keys_.size()) return;
  keys_.erase(keys_.begin() + row);
  ShowKeys();
}

void OdbcDataLinkDialog::bnTest_Click() {
  if (!test_) return;
  lblState_->setText(QString::fromStdString(MaskConnectionSecrets(test_(Connection()))));
}

}  // namespace platform
