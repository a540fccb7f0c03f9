// The host's dialogs on this platform: the selection dialogs on a real SQLite SPC database
// and the data link dialog on the driver manager's real lists. Enter is OK and Escape is
// Cancel from every control.
#include <QLabel>
#include <QTableWidget>

#include "platform/windows/OdbcDataLinkDialog.h"
#include "platform/windows/SpcSelectionDialog.h"
#include "runtime/Variant.h"
#include "tests/support/DialogDriving.h"
#include "tests/support/SpcNames.h"
#include "tests/support/TempFolder.h"

namespace {

using uitest::Box;
using uitest::Control;

// Gives `control` the focus in the running dialog and presses `key` on it.
void KeyOn(QDialog& dialog, const char* control, Qt::Key key) {
  QApplication::setActiveWindow(&dialog);
  auto& widget = Control<QWidget>(dialog, control);
  widget.setFocus();
  QTest::keyClick(&widget, key);
}

TEST(HostDialogsTest, SelectionStartsOnTheGivenRecordOrGroupAndEnterTakesOnlyARecord) {
  testsupport::TempFolder folder;
  auto spc = uitest::CreateSpcDatabase(folder.File("spc.db"));
  const platform::SpcRecord gear = uitest::LoadRecord(*spc, host::RecordKind::Part, "Gear");
  const int32_t gears = runtime::ToLong(gear.Field("Ptgp"));
  // The record and group it starts on, the key pressed on a control, the record current
  // then, and whether one is chosen and the dialog left open.
  const std::tuple<int32_t, int32_t, const char*, Qt::Key, const char*, bool, bool> cases[] = {
      {gear.Id(), 0, "txtFilter", Qt::Key_Return, "Gear", true, false},
      {0, gears, "lvwRecords", Qt::Key_Return, "Gear", true, false},
      {gear.Id(), 0, "txtFilter", Qt::Key_Enter, "Gear", true, false},
      {gear.Id(), 0, "txtFilter", Qt::Key_Escape, "Gear", false, false},
      {gear.Id(), 0, "lvwRecords", Qt::Key_Escape, "Gear", false, false},
      // With no record current there is nothing to take: Enter leaves the dialog open.
      {0, 0, "txtFilter", Qt::Key_Return, "", false, true},
      {999, 999, "lvwRecords", Qt::Key_Return, "", false, true},
  };
  for (const auto& [id, groupId, control, key, expectedCurrent, expectedChosen, expectedOpen] :
       cases) {
    SCOPED_TRACE(std::string(control) + " " + std::to_string(id) + " " + std::to_string(key));
    platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
    std::string current = "?";
    bool leftOpen = false;
    uitest::WhenModal(
        [&](QDialog& shown) {
          auto& list = Control<QTreeWidget>(shown, "lvwRecords");
          ASSERT_EQ(list.topLevelItemCount(), 1);
          EXPECT_EQ(list.topLevelItem(0)->text(0), "Gears");
          current = list.currentItem() ? list.currentItem()->text(0).toStdString() : "";
          KeyOn(shown, control, key);
        },
        &leftOpen);
    const bool chosen = dialog.Run(*spc, id, groupId);
    EXPECT_EQ(std::tuple(current, chosen, leftOpen),
              std::tuple(expectedCurrent, expectedChosen, expectedOpen));
    if (chosen) {
      EXPECT_EQ(dialog.Chosen().Id(), gear.Id());
    }
  }

  platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
  dialog.Load(*spc, 0, 0);
  auto& list = Control<QTreeWidget>(dialog, "lvwRecords");
  dialog.accept();
  EXPECT_TRUE(dialog.result() != QDialog::Accepted) << "a group is no choice";
  Box(dialog, "txtFilter").setText("xyz");
  EXPECT_TRUE(list.topLevelItem(0)->isHidden());
  Box(dialog, "txtFilter").setText("GEA");
  EXPECT_FALSE(list.topLevelItem(0)->child(0)->isHidden());
  EXPECT_EQ(list.currentItem(), list.topLevelItem(0)->child(0)) << "the first match is current";
  dialog.accept();
  EXPECT_EQ(dialog.result(), QDialog::Accepted);
  EXPECT_EQ(runtime::ToText(dialog.Chosen().Field("Name")), "Gear");
  EXPECT_EQ(runtime::ToLong(dialog.Chosen().Field("Ptgp")), gears);
}

class DataLinkTest : public ::testing::Test {
 protected:
  // Runs the dialog on `link`, acting on it with `act`; returns whether it was confirmed.
  bool Edit(const std::function<void(QDialog&)>& act) {
    uitest::WhenModal(act, &leftOpen);
    return dialog.Edit(link, [this](const std::string& candidate) {
      tested.push_back(candidate);
      return std::string("Connection Ready");
    });
  }

  platform::OdbcDataLinkDialog dialog;
  std::string link = "Driver=SQLite3;Database=/srv/h.db";
  std::vector<std::string> tested;
  bool leftOpen = false;
};

// A connection string typed key by key is taken as typed: the table follows without
// rewriting the box under the cursor.
TEST_F(DataLinkTest, ATypedStringIsTakenOnEnterAndDroppedOnEscapeFromEveryControl) {
  const char* const sqlite = "Driver=SQLite3;Database=/srv/typed.db";
  const char* const dsn = "DSN=Historian;UID=spc;PWD=secret";
  const char* const postgres = "Driver=PostgreSQL Unicode;Server=hist01;Database=ih";
  // What is typed, the key pressed on a control, whether the dialog takes the string.
  const std::tuple<const char*, const char*, Qt::Key, bool> cases[] = {
      {sqlite, "cboDriver", Qt::Key_Return, true},  {dsn, "cboSource", Qt::Key_Return, true},
      {postgres, "tblKeys", Qt::Key_Return, true},  {sqlite, "txtRaw", Qt::Key_Return, true},
      {dsn, "txtRaw", Qt::Key_Enter, true},         {postgres, "cboDriver", Qt::Key_Escape, false},
      {sqlite, "cboSource", Qt::Key_Escape, false}, {dsn, "tblKeys", Qt::Key_Escape, false},
      {postgres, "txtRaw", Qt::Key_Escape, false},
  };
  for (const auto& [typed, control, key, taken] : cases) {
    SCOPED_TRACE(std::string(control) + " " + std::to_string(key));
    link = "Driver=SQLite3;Database=/srv/h.db";
    std::string shown, firstKey;
    const bool confirmed = Edit([&](QDialog& dialog) {
      auto& raw = Box(dialog, "txtRaw");
      KeyOn(dialog, "txtRaw", Qt::Key_End);
      raw.selectAll();
      QTest::keyClicks(&raw, typed);
      shown = raw.text().toStdString();
      const QTableWidgetItem* item = Control<QTableWidget>(dialog, "tblKeys").item(0, 0);
      firstKey = item ? item->text().toStdString() : "";
      KeyOn(dialog, control, key);
    });
    EXPECT_EQ(shown, typed);
    EXPECT_EQ(firstKey, std::string(typed).substr(0, std::string(typed).find('=')));
    EXPECT_EQ(confirmed, taken);
    EXPECT_FALSE(leftOpen);
    EXPECT_EQ(link, taken ? typed : "Driver=SQLite3;Database=/srv/h.db");
  }
}

TEST_F(DataLinkTest, EnterOnTestConnectionTestsAndKeepsTheDialogOpen) {
  const bool confirmed = Edit([](QDialog& dialog) { KeyOn(dialog, "bnTest", Qt::Key_Return); });
  EXPECT_EQ(tested, (std::vector<std::string>{"Driver=SQLite3;Database=/srv/h.db"}));
  EXPECT_EQ(std::tuple(confirmed, leftOpen), std::tuple(false, true));
}

TEST_F(DataLinkTest, ListsDriversHidesPasswordsAndEditsKeysByKeyboard) {
  EXPECT_GE(Control<QComboBox>(dialog, "cboDriver").findText("SQLite3"), 0);
  dialog.SetConnection("Driver=SQLite3;Database=/srv/h.db;PWD=secret");
  auto& raw = Box(dialog, "txtRaw");
  EXPECT_EQ(raw.text(), "Driver=SQLite3;Database=/srv/h.db;PWD=***");
  auto& keys = Control<QTableWidget>(dialog, "tblKeys");
  ASSERT_EQ(keys.rowCount(), 3);
  EXPECT_EQ(keys.item(2, 1)->text(), "***");
  // Raw text edited around the masked password keeps it; a new value replaces it.
  raw.setText("Driver=SQLite3;Database=/srv/other.db;PWD=***");
  emit raw.textEdited(raw.text());
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/srv/other.db;PWD=secret");
  EXPECT_EQ(keys.item(1, 1)->text(), "/srv/other.db");
  keys.item(2, 1)->setText("new");
  const std::string edited = "Driver=SQLite3;Database=/srv/other.db;PWD=new";
  EXPECT_EQ(dialog.Connection(), edited);

  // Tab leaves the table as it leaves any control. Alt+A adds a row and edits its key; Tab
  // takes it and edits the value beside it.
  uitest::Press(dialog, "K>tblKeys");
  QTest::keyClick(&keys, Qt::Key_Tab);
  EXPECT_EQ(QApplication::focusWidget()->property("text").toString(), "&Add Key");
  const auto type = [](const char* text, Qt::Key end) {
    QWidget* editor = QApplication::focusWidget();
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, end);
    QApplication::processEvents();
  };
  uitest::AltClick(dialog, Qt::Key_A);
  ASSERT_EQ(keys.rowCount(), 4);
  ASSERT_TRUE(keys.isAncestorOf(QApplication::focusWidget())) << "an editor is open";
  type("NoCreat", Qt::Key_Tab);
  EXPECT_EQ(dialog.Connection(), edited + ";NoCreat=");
  type("1", Qt::Key_Return);
  EXPECT_EQ(dialog.Connection(), edited + ";NoCreat=1");
  EXPECT_TRUE(dialog.isVisible()) << "Enter in a key being edited only takes its value";

  uitest::AltClick(dialog, Qt::Key_A);
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  EXPECT_TRUE(dialog.isVisible()) << "Escape in a new key only ends its editing";
  EXPECT_EQ(dialog.Connection(), edited + ";NoCreat=1");

  keys.setCurrentCell(0, 0);
  uitest::AltClick(dialog, Qt::Key_R);
  EXPECT_EQ(dialog.Connection(), "Database=/srv/other.db;PWD=new;NoCreat=1")
      << "Alt+R removes the current key";

  // Alt+T tests the link with its real password, which OK keeps.
  dialog.hide();
  link = "Driver=SQLite3;Database=/srv/h.db;PWD=secret";
  std::string state;
  EXPECT_TRUE(Edit([&](QDialog& shown) {
    QApplication::setActiveWindow(&shown);
    uitest::AltClick(shown, Qt::Key_T);
    state = Control<QLabel>(shown, "lblState").text().toStdString();
    QTest::keyClick(&shown, Qt::Key_Return);
  }));
  EXPECT_EQ(tested, std::vector<std::string>{"Driver=SQLite3;Database=/srv/h.db;PWD=secret"});
  EXPECT_EQ(state, "Connection Ready");
  EXPECT_EQ(link, "Driver=SQLite3;Database=/srv/h.db;PWD=secret");
}

}  // namespace
