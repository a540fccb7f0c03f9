#include "ui/frmTagSetup.h"

#include <QEvent>
#include <QHash>
#include <QTreeWidget>
#include <vector>

#include "common/ErrorDisplay.h"
#include "common/Module.h"
#include "common/TagExpressions.h"
#include "common/TypeTables.h"
#include "runtime/Conversions.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"
#include "ui/SelectOnFocus.h"
#include "ui/StrayAccelerators.h"
#include "ui_frmTagSetup.h"

namespace ui {
namespace {

constexpr char kPositionSection[] = "TagSelect";
constexpr char kTypes[][6] = {"Value", "Date"};
constexpr int kTwipsPerInch = 1440;

// The key of a tag row; placeholder rows have none.
QString KeyOf(const QTreeWidgetItem* row) {
  return row ? row->data(0, Qt::UserRole).toString() : QString();
}

}  // namespace

frmTagSetup::frmTagSetup(host::Components& components, QWidget* parent)
    : QDialog(parent), components_(components), ui_(std::make_unique<Ui::frmTagSetup>()) {
  ui_->setupUi(this);
  IgnoreStrayAccelerators(*this);
  connect(ui_->bnRefresh, &QPushButton::clicked, this, &frmTagSetup::bnRefresh_Click);
  connect(ui_->OKButton, &QPushButton::clicked, this, &frmTagSetup::OKButton_Click);
  connect(ui_->CancelButton, &QPushButton::clicked, this, &frmTagSetup::CancelButton_Click);
  connect(ui_->ListView1, &QTreeWidget::itemDoubleClicked, this, &frmTagSetup::ListView1_DblClick);
  SelectTextOnFocus(*ui_->txtFilter);
  ui_->txtFilter->installEventFilter(this);
}

frmTagSetup::~frmTagSetup() = default;

std::string frmTagSetup::PositionFile(host::Components& components) {
  host::HostFileSystem& files = components.FileSystem();
  return files.JoinPath(files.SettingsFolder(), std::string(common::kModuleName) + ".ini");
}

int frmTagSetup::ShowModal() {
  Form_Load();
  return exec();
}

void frmTagSetup::Form_Load() {
  common::ShowingErrors(components_, "frmTagSetup.Form_Load", [&] {
    std::vector<std::string> tokens, tagNames, fields;
    if (common::GetTagArrays(value_, tokens, tagNames, fields)) {
      initialTagName_ = runtime::TrimSpaces(tagNames.front());
      initialTagType_ = runtime::TrimSpaces(fields.front());
    }
    ui_->cboType->clear();
    for (const char* type : kTypes) ui_->cboType->addItem(type);
    ui_->cboType->setCurrentIndex(0);
    for (int i = 0; i < ui_->cboType->count(); ++i) {
      if (runtime::EqualsNoCase(ui_->cboType->itemText(i).toStdString(), initialTagType_)) {
        ui_->cboType->setCurrentIndex(i);
        break;
      }
    }
    RefreshTagNames();
    // On the preselected row, so that Enter takes it; Enter in the filter refreshes.
    ui_->ListView1->setFocus();
    RestorePosition();
  });
}

void frmTagSetup::RefreshTagNames() {
  QTreeWidget& list = *ui_->ListView1;
  list.clear();
  list.setToolTip(QString());
  std::unique_ptr<host::Connection> connection;
  try {
    connection = components_.CreateWindowConnection();
    connection->Open(dataLink_, "", "");
  } catch (...) {
    ShowPlaceholder("<Connection Error>", runtime::ToError(std::current_exception()).Description());
    return;
  }
  // The filter is bound, never written into the statement: a quote is an ordinary
  // character.
  std::string sql = std::string("SELECT ") + common::kTagnameField + " FROM " + common::kTagsTable;
  std::vector<runtime::Variant> parameters;
  const std::string filter = ui_->txtFilter->text().toStdString();
  if (!filter.empty()) {
    sql += std::string(" WHERE ") + common::kTagnameField + " LIKE ?";
    parameters.emplace_back("%" + filter + "%");
  }
  sql += std::string(" ORDER BY ") + common::kTagnameField;
  std::unique_ptr<host::Recordset> rs;
  try {
    rs = connection->Execute(sql, parameters);
  } catch (...) {
    ShowPlaceholder("<Tag Access Error>", runtime::ToError(std::current_exception()).Description());
    return;
  }

  // One pass into a detached list, handed to the view at once: no repaint per row.
  QList<QTreeWidgetItem*> rows;
  QHash<QString, QTreeWidgetItem*> byKey;
  try {
    for (; !rs->Eof(); rs->MoveNext()) {
      const runtime::Variant field = rs->Field(common::kTagnameField);
      if (field.IsNull()) continue;
      const QString key = QString::fromStdString(runtime::ToText(field));
      if (byKey.contains(key)) continue;  // a repeated key is left out
      auto* row = new QTreeWidgetItem(QStringList{key});
      row->setData(0, Qt::UserRole, key);
      byKey.insert(key, row);
      rows.append(row);
    }
  } catch (...) {
    // A failing read ends the list with the rows read so far.
  }
  rs.reset();
  connection.reset();
  if (rows.isEmpty()) {
    ShowPlaceholder("<No Tags Available>", "");
    return;
  }
  list.setUpdatesEnabled(false);
  list.addTopLevelItems(rows);
  list.setUpdatesEnabled(true);
  QTreeWidgetItem* selected = byKey.value(QString::fromStdString(initialTagName_), rows.front());
  list.setCurrentItem(selected);
  list.scrollToItem(selected);
  ui_->OKButton->setEnabled(true);
}

void frmTagSetup::ShowPlaceholder(const char* text, const std::string& description) {
  new QTreeWidgetItem(ui_->ListView1, QStringList{text});
  if (!description.empty()) ui_->ListView1->setToolTip(QString::fromStdString(description));
  ui_->OKButton->setEnabled(false);
}

void frmTagSetup::bnRefresh_Click() {
  common::ShowingErrors(components_, "frmTagSetup.bnRefresh_Click", [&] { RefreshTagNames(); });
}

void frmTagSetup::OKButton_Click() {
  common::ShowingErrors(components_, "frmTagSetup.OKButton_Click", [&] {
    const QList<QTreeWidgetItem*> selected = ui_->ListView1->selectedItems();
    const QString key = selected.isEmpty() ? QString() : KeyOf(selected.front());
    if (key.isEmpty()) {
      components_.Beep();
      return;
    }
    value_ = "%TAG(" + ui_->cboType->currentText().toStdString() + ", " + key.toStdString() + ")";
    okPressed_ = true;
    accept();
  });
}

void frmTagSetup::CancelButton_Click() {
  common::ShowingErrors(components_, "frmTagSetup.CancelButton_Click", [&] {
    okPressed_ = false;
    reject();
  });
}

void frmTagSetup::ListView1_DblClick() {
  common::ShowingErrors(components_, "frmTagSetup.ListView1_DblClick", [&] {
    // A placeholder row has no key: OK is never reached through it.
    if (!ui_->OKButton->isEnabled() || KeyOf(ui_->ListView1->currentItem()).isEmpty()) return;
    OKButton_Click();
  });
}

bool frmTagSetup::eventFilter(QObject* watched, QEvent* event) {
  if (watched == ui_->txtFilter) {
    if (event->type() == QEvent::FocusIn) txtFilter_GotFocus();
    if (event->type() == QEvent::FocusOut) txtFilter_LostFocus();
  }
  return QDialog::eventFilter(watched, event);
}

void frmTagSetup::txtFilter_GotFocus() {
  ui_->bnRefresh->setDefault(true);
}

void frmTagSetup::txtFilter_LostFocus() {
  ui_->OKButton->setDefault(true);
}

void frmTagSetup::done(int result) {
  Form_QueryUnload();
  QDialog::done(result);
}

void frmTagSetup::Form_QueryUnload() {
  SavePosition();
}

void frmTagSetup::RestorePosition() {
  try {
    const std::unique_ptr<host::SettingsFile> file =
        components_.OpenSettingsFile(PositionFile(components_));
    const int32_t width = file->ReadInteger(kPositionSection, "Width", 0);
    if (width == 0) return;
    const double twipsPerPixel = double(kTwipsPerInch) / logicalDpiX();
    auto pixels = [&](int32_t twips) { return int(twips / twipsPerPixel); };
    move(pixels(file->ReadInteger(kPositionSection, "Left", 0)),
         pixels(file->ReadInteger(kPositionSection, "Top", 0)));
    resize(pixels(width), pixels(file->ReadInteger(kPositionSection, "Height", 0)));
  } catch (...) {
    // A missing or unreadable position leaves the designed place and size.
  }
}

void frmTagSetup::SavePosition() {
  try {
    const std::unique_ptr<host::SettingsFile> file =
        components_.OpenSettingsFile(PositionFile(components_));
    const double twipsPerPixel = double(kTwipsPerInch) / logicalDpiX();
    auto twips = [&](int value) {
      return runtime::NumberToText(static_cast<float>(value * twipsPerPixel));
    };
    file->WriteString(kPositionSection, "Left", twips(x()));
    file->WriteString(kPositionSection, "Top", twips(y()));
    file->WriteString(kPositionSection, "Width", twips(width()));
    file->WriteString(kPositionSection, "Height", twips(height()));
  } catch (...) {
    // An unwritable position file costs only the position.
  }
}

}  // namespace ui
