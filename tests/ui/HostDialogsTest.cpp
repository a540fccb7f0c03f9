// The host's dialogs on this platform: the selection dialogs on a real SQLite SPC database
// and the data link dialog on the driver manager's real lists.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QTest>
#include <QTreeWidget>

#include "platform/components/OdbcDataLinkDialog.h"
#include "platform/components/SpcSelectionDialog.h"
#include "runtime/Variant.h"
#include "tests/support/TempFolder.h"
#include "tests/ui/DialogDriving.h"
#include "tests/ui/SpcNames.h"

namespace {

using uitest::Control;

TEST(HostDialogsTest, SelectionStartsOnTheGivenRecordOrGroupFiltersAndGivesTheRecord) {
  testsupport::TempFolder folder;
  auto spc = uitest::CreateSpcDatabase(folder.File("spc.db"));
  const platform::SpcRecord gear = uitest::LoadRecord(*spc, host::RecordKind::Part, "Gear");
  const int32_t gears = runtime::ToLong(gear.Field("Ptgp"));
  const struct {
    int32_t id, groupId;
    const char* current;
  } cases[] = {{gear.Id(), 0, "Gear"}, {0, gears, "Gear"}, {0, 0, ""}, {999, 999, ""}};
  for (const auto& test : cases) {
    platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
    dialog.Load(*spc, test.id, test.groupId);
    auto& list = Control<QTreeWidget>(dialog, "lvwRecords");
    ASSERT_EQ(list.topLevelItemCount(), 1);
    EXPECT_EQ(list.topLevelItem(0)->text(0), "Gears");
    const QTreeWidgetItem* current = list.currentItem();
    EXPECT_EQ(current ? current->text(0).toStdString() : "", test.current) << test.id;
  }

  platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
  dialog.Load(*spc, 0, 0);
  auto& list = Control<QTreeWidget>(dialog, "lvwRecords");
  dialog.accept();
  EXPECT_TRUE(dialog.result() != QDialog::Accepted) << "a group is no choice";
  Control<QLineEdit>(dialog, "txtFilter").setText("xyz");
  EXPECT_TRUE(list.topLevelItem(0)->isHidden());
  Control<QLineEdit>(dialog, "txtFilter").setText("GEA");
  EXPECT_FALSE(list.topLevelItem(0)->child(0)->isHidden());
  list.setCurrentItem(list.topLevelItem(0)->child(0));
  dialog.accept();
  EXPECT_EQ(dialog.result(), QDialog::Accepted);
  EXPECT_EQ(runtime::ToText(dialog.Chosen().Field("Name")), "Gear");
  EXPECT_EQ(runtime::ToLong(dialog.Chosen().Field("Ptgp")), gears);
}

TEST(HostDialogsTest, DataLinkDialogListsDriversHidesPasswordsAndTests) {
  platform::OdbcDataLinkDialog dialog;
  auto& drivers = Control<QComboBox>(dialog, "cboDriver");
  EXPECT_GE(drivers.findText("SQLite3"), 0) << "from the driver manager";
  dialog.SetConnection("Driver=SQLite3;Database=/tmp/h.db;PWD=secret");
  auto& raw = Control<QLineEdit>(dialog, "txtRaw");
  EXPECT_EQ(raw.text(), "Driver=SQLite3;Database=/tmp/h.db;PWD=***");
  auto& keys = Control<QTableWidget>(dialog, "tblKeys");
  ASSERT_EQ(keys.rowCount(), 3);
  EXPECT_EQ(keys.item(2, 1)->text(), "***");

  // Raw text edited around the masked password keeps it; a new value replaces it.
  raw.setText("Driver=SQLite3;Database=/tmp/other.db;PWD=***");
  emit raw.textEdited(raw.text());
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/tmp/other.db;PWD=secret");
  EXPECT_EQ(keys.item(1, 1)->text(), "/tmp/other.db");
  keys.item(2, 1)->setText("new");
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/tmp/other.db;PWD=new");

  std::vector<std::string> tested;
  uitest::WhenModal([&](QDialog& shown) {
    Control<QPushButton>(shown, "bnTest").click();
    EXPECT_EQ(Control<QLabel>(shown, "lblState").text(), "Connection Ready");
    QTest::keyClick(&shown, Qt::Key_Return);
  });
  std::string link = "Driver=SQLite3;Database=/tmp/x.db;Password=p";
  EXPECT_TRUE(dialog.Edit(link, [&](const std::string& candidate) {
    tested.push_back(candidate);
    return std::string("Connection Ready");
  }));
  EXPECT_EQ(tested, std::vector<std::string>{"Driver=SQLite3;Database=/tmp/x.db;Password=p"});
  EXPECT_EQ(link, "Driver=SQLite3;Database=/tmp/x.db;Password=p");
}

}  // namespace
