// The host's selection and data link dialogs from the keyboard: Enter is OK and Escape is
// Cancel from every control, and each accelerator reaches its control.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>
#include <QTreeWidget>

#include "platform/components/OdbcDataLinkDialog.h"
#include "platform/components/SpcSelectionDialog.h"
#include "tests/support/TempFolder.h"
#include "tests/ui/DialogDriving.h"
#include "tests/ui/SpcNames.h"

namespace {

using uitest::Control;

// Gives `control` the focus in the running dialog and presses `key` on it.
void KeyOn(QDialog& dialog, const char* control, Qt::Key key) {
  QApplication::setActiveWindow(&dialog);
  auto& widget = Control<QWidget>(dialog, control);
  widget.setFocus();
  QTest::keyClick(&widget, key);
}

// Closes a dialog a key left open, so that the test goes on.
void StillOpen(QDialog& dialog, bool& open) {
  open = dialog.isVisible();
  if (open) dialog.reject();
}

TEST(HostDialogKeysTest, SelectionDialogEnterTakesTheCurrentRecordEscapeTakesNothing) {
  testsupport::TempFolder folder;
  auto spc = uitest::CreateSpcDatabase(folder.File("spc.db"));
  const int32_t gear = uitest::LoadRecord(*spc, host::RecordKind::Part, "Gear").Id();
  const struct {
    int32_t startId;
    const char* control;
    Qt::Key key;
    bool chosen, leftOpen;
  } cases[] = {
      {gear, "txtFilter", Qt::Key_Return, true, false},
      {gear, "txtFilter", Qt::Key_Enter, true, false},
      {gear, "lvwRecords", Qt::Key_Return, true, false},
      {gear, "txtFilter", Qt::Key_Escape, false, false},
      {gear, "lvwRecords", Qt::Key_Escape, false, false},
      // With no record current there is nothing to take: Enter leaves the dialog open.
      {0, "txtFilter", Qt::Key_Return, false, true},
      {0, "lvwRecords", Qt::Key_Return, false, true},
  };
  for (const auto& test : cases) {
    platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
    bool leftOpen = false;
    uitest::WhenModal([&](QDialog& shown) {
      KeyOn(shown, test.control, test.key);
      StillOpen(shown, leftOpen);
    });
    const bool chosen = dialog.Run(*spc, test.startId, 0);
    const std::string what = std::string(test.control) + " " + std::to_string(test.key);
    EXPECT_EQ(chosen, test.chosen) << what;
    EXPECT_EQ(leftOpen, test.leftOpen) << what;
    if (chosen) {
      EXPECT_EQ(dialog.Chosen().Id(), gear) << what;
    }
  }

  platform::SpcSelectionDialog dialog(host::SelectionKind::Part);
  dialog.Load(*spc, 0, 0);
  uitest::Press(dialog, {});
  Control<QTreeWidget>(dialog, "lvwRecords").setFocus();
  uitest::Press(dialog, {{Qt::Key_F, "txtFilter"}});
}

class DataLinkKeysTest : public ::testing::Test {
 protected:
  // Runs the dialog on `link`, acting on it with `act`; returns whether it was confirmed.
  bool Edit(const std::function<void(QDialog&)>& act) {
    uitest::WhenModal([&](QDialog& shown) {
      act(shown);
      StillOpen(shown, leftOpen);
    });
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

TEST_F(DataLinkKeysTest, EnterIsOkAndEscapeIsCancelFromEveryControl) {
  const struct {
    const char* control;
    Qt::Key key;
    bool confirmed;
  } cases[] = {
      {"cboDriver", Qt::Key_Return, true},  {"cboSource", Qt::Key_Return, true},
      {"tblKeys", Qt::Key_Return, true},    {"txtRaw", Qt::Key_Return, true},
      {"txtRaw", Qt::Key_Enter, true},      {"cboDriver", Qt::Key_Escape, false},
      {"cboSource", Qt::Key_Escape, false}, {"tblKeys", Qt::Key_Escape, false},
      {"txtRaw", Qt::Key_Escape, false},
  };
  for (const auto& test : cases) {
    link = "Driver=SQLite3;Database=/srv/h.db";
    const bool confirmed = Edit([&](QDialog& shown) {
      auto& raw = Control<QLineEdit>(shown, "txtRaw");
      raw.setText("Driver=SQLite3;Database=/srv/other.db");
      emit raw.textEdited(raw.text());
      KeyOn(shown, test.control, test.key);
    });
    const std::string what = std::string(test.control) + " " + std::to_string(test.key);
    EXPECT_EQ(confirmed, test.confirmed) << what;
    EXPECT_FALSE(leftOpen) << what;
    EXPECT_EQ(link, test.confirmed ? "Driver=SQLite3;Database=/srv/other.db"
                                   : "Driver=SQLite3;Database=/srv/h.db")
        << what;
  }
}

TEST_F(DataLinkKeysTest, EnterInAKeyBeingEditedTakesTheValueAndTheNextEnterIsOk) {
  bool openAfterFirst = false;
  EXPECT_TRUE(Edit([&](QDialog& shown) {
    QApplication::setActiveWindow(&shown);
    auto& keys = Control<QTableWidget>(shown, "tblKeys");
    keys.setFocus();
    keys.setCurrentCell(1, 1);
    keys.editItem(keys.item(1, 1));
    QWidget* editor = QApplication::focusWidget();
    ASSERT_NE(editor, &keys) << "an editor is open";
    QTest::keyClick(editor, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(editor, "/srv/typed.db");
    QTest::keyClick(editor, Qt::Key_Return);
    QApplication::processEvents();
    openAfterFirst = shown.isVisible();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  }));
  EXPECT_TRUE(openAfterFirst);
  EXPECT_EQ(link, "Driver=SQLite3;Database=/srv/typed.db");
}

TEST_F(DataLinkKeysTest, AConnectionStringTypedKeyByKeyIsTakenAsTyped) {
  const struct {
    const char* typed;
    const char* key;  // the first row of the table afterwards
  } cases[] = {
      {"Driver=SQLite3;Database=/srv/typed.db", "Driver"},
      {"DSN=Historian;UID=spc;PWD=secret", "DSN"},
      {"Driver=PostgreSQL Unicode;Server=hist01;Database=ih", "Driver"},
  };
  for (const auto& test : cases) {
    link.clear();
    std::string shown;
    std::string firstKey;
    EXPECT_TRUE(Edit([&](QDialog& dialog) {
      KeyOn(dialog, "txtRaw", Qt::Key_Home);
      QTest::keyClicks(&Control<QLineEdit>(dialog, "txtRaw"), test.typed);
      shown = Control<QLineEdit>(dialog, "txtRaw").text().toStdString();
      const QTableWidgetItem* key = Control<QTableWidget>(dialog, "tblKeys").item(0, 0);
      firstKey = key != nullptr ? key->text().toStdString() : "";
      QTest::keyClick(&dialog, Qt::Key_Return);
    }));
    EXPECT_EQ(shown, test.typed);
    EXPECT_EQ(link, test.typed);
    EXPECT_EQ(firstKey, test.key) << test.typed;
  }
}

TEST_F(DataLinkKeysTest, AcceleratorsReachTheirControlsAndPressTheirButtons) {
  dialog.SetConnection(link);
  uitest::Press(dialog, {{Qt::Key_D, "cboDriver"},
                         {Qt::Key_S, "cboSource"},
                         {Qt::Key_K, "tblKeys"},
                         {Qt::Key_C, "txtRaw"}});

  // Alt+A adds a row and edits its key; the value is typed into the cell beside it.
  auto& keys = Control<QTableWidget>(dialog, "tblKeys");
  const auto type = [](const char* text) {
    QWidget* editor = QApplication::focusWidget();
    QTest::keyClicks(editor, text);
    QTest::keyClick(editor, Qt::Key_Return);
    QApplication::processEvents();
  };
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::AltModifier);
  QTest::qWait(uitest::kAnimatedClick);
  ASSERT_EQ(keys.rowCount(), 3);
  ASSERT_TRUE(keys.isAncestorOf(QApplication::focusWidget())) << "an editor is open";
  type("NoCreat");
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/srv/h.db;NoCreat=");
  keys.setCurrentCell(2, 1);
  keys.editItem(keys.item(2, 1));
  type("1");
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/srv/h.db;NoCreat=1");

  QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::AltModifier);
  QTest::qWait(uitest::kAnimatedClick);
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
  EXPECT_TRUE(dialog.isVisible()) << "Escape in a new key only ends its editing";
  EXPECT_EQ(dialog.Connection(), "Driver=SQLite3;Database=/srv/h.db;NoCreat=1");

  keys.setCurrentCell(0, 0);
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_R, Qt::AltModifier);
  QTest::qWait(uitest::kAnimatedClick);
  EXPECT_EQ(dialog.Connection(), "Database=/srv/h.db;NoCreat=1") << "Alt+R removes the current key";

  bool ran = false;
  dialog.hide();
  link = "Driver=SQLite3;Database=/srv/h.db";
  EXPECT_FALSE(Edit([&](QDialog& shown) {
    QApplication::setActiveWindow(&shown);
    QTest::keyClick(&shown, Qt::Key_T, Qt::AltModifier);
    QTest::qWait(uitest::kAnimatedClick);
    ran = !tested.empty();
    EXPECT_EQ(Control<QLabel>(shown, "lblState").text(), "Connection Ready");
    QTest::keyClick(&shown, Qt::Key_Escape);
  }));
  EXPECT_TRUE(ran) << "Alt+T tests the connection";
  EXPECT_EQ(tested, std::vector<std::string>{"Driver=SQLite3;Database=/srv/h.db"});
}

}  // namespace
