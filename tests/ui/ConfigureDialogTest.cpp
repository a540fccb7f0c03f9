// The configuration dialog on real configurations: a real SQLite historian behind the
// data link, items edited through the item dialogs as a user does.

#include "tests/support/DialogDriving.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "ui/frmConfigure.h"

namespace {

using uitest::Box;
using uitest::Control;
using uitest::Lines;

// Answers the data link dialog with a fixed string, or cancels.
class ScriptedDataLink : public host::DataLinkDialog {
 public:
  ScriptedDataLink(std::vector<std::string>& shown, std::optional<std::string> answer)
      : shown_(shown), answer_(std::move(answer)) {}
  bool Edit(std::string& connection, const Tester&) override {
    shown_.push_back(connection);
    if (!answer_) return false;
    connection = *answer_;
    return true;
  }

 private:
  std::vector<std::string>& shown_;
  std::optional<std::string> answer_;
};

class ConfigureDialogTest : public ::testing::Test {
 protected:
  ConfigureDialogTest() {
    components.dataLinkDialogFactory = [this] {
      return std::make_unique<ScriptedDataLink>(linksShown, linkAnswer);
    };
  }

  // A dialog on `text`, loaded and shown as the active window.
  std::unique_ptr<ui::frmConfigure> Open(const std::string& text) {
    auto form = std::make_unique<ui::frmConfigure>(components);
    form->Configuration()->SetData(text);
    form->Form_Load();
    uitest::ShowActive(*form);
    return form;
  }
  static QTreeWidget& List(ui::frmConfigure& form, const char* name) {
    return Control<QTreeWidget>(form, name);
  }
  static int Selected(ui::frmConfigure& form, const char* name) {
    return ui::SelectedRow(List(form, name));
  }
  // Types `text` where the focus is, as on a keyboard: ':' is Shift, pressed as a key of its
  // own, with ';'.
  static void Type(const char* text) {
    QWidget* focus = QApplication::focusWidget();
    for (const char* c = text; *c; ++c) {
      if (*c != ':') {
        QTest::keyClick(focus, *c);
        continue;
      }
      QTest::keyPress(focus, Qt::Key_Shift);
      QTest::keyClick(focus, ':', Qt::ShiftModifier);
      QTest::keyRelease(focus, Qt::Key_Shift, Qt::ShiftModifier);
    }
  }
  static bool Red(ui::frmConfigure& form) {
    return Box(form, "txtConnection").palette().color(QPalette::Base) == QColor(255, 0, 0);
  }

  testsupport::FakeComponents components;
  std::string historian = testsupport::CreateSqliteDatabase(components.Root().File("h.db"),
                                                            testsupport::kHistorianTables);
  std::vector<std::string> linksShown;
  std::optional<std::string> linkAnswer;
  const std::string lists =
      "NAME=Line 1\r\nDATALINK=" + historian +
      "\r\nDESCRIPTOR=1\tGears\tGear\r\nDESCRIPTOR=4\t\t%TAG(Value, Lot)"
      "\r\nDESCRIPTOR=7\tOperators\tAnna\r\nTEST=Dimensions\tWidth\t%TAG(Value, W)\t"
      "\r\nCONDITION=0\t%TAG(Value, Run)\t0\tignored\r\nCONDITION=0\t%TAG(Value, Speed)\t3\t10";
};

TEST_F(ConfigureDialogTest, LoadsEveryTabAndMarksAFailedLinkRed) {
  auto form = Open(lists + "\r\nACTIVE=1\r\nSUBGROUPINTERVAL=5\r\nSUBGROUPUNIT=2");
  EXPECT_EQ(Control<QTabWidget>(*form, "TabStrip1").currentIndex(), 0);
  EXPECT_TRUE(Control<QCheckBox>(*form, "chkActive").isChecked());
  EXPECT_EQ(Box(*form, "txtName").text(), "Line 1");
  EXPECT_EQ(Box(*form, "txtConnection").text(), "Connection Ready");
  EXPECT_FALSE(Red(*form));
  EXPECT_EQ(Control<QComboBox>(*form, "cboSubgroupUnit").currentText(), "Hours");
  EXPECT_EQ(uitest::Rows(List(*form, "lvwDescriptors")),
            (Lines{"Part | Gear | Gears", "Lot | %TAG(Value, Lot) | ",
                   "User-Defined | Anna | Operators"}));
  EXPECT_EQ(uitest::Rows(List(*form, "lvwTests")), Lines{"Width | Dimensions | %TAG(Value, W) | "});
  EXPECT_EQ(uitest::Rows(List(*form, "lvwConditions")),
            (Lines{"%TAG(Value, Run) IS NEW", "%TAG(Value, Speed) >= 10"}));
  for (const char* list : {"lvwDescriptors", "lvwTests", "lvwConditions"}) {
    EXPECT_EQ(Selected(*form, list), 0) << list;
  }
  EXPECT_TRUE(form->IsLoaded());

  auto failed = Open("NAME=Broken\r\nDATALINK=Driver=NoSuchDriver;Database=x");
  EXPECT_TRUE(Red(*failed));
  EXPECT_EQ(Box(*failed, "txtConnection").toolTip().toStdString(),
            failed->Configuration()->DataLinkError());
}

TEST_F(ConfigureDialogTest, DataLinkIsTestedAgainOnlyWhenItReallyChanged) {
  auto form = Open("NAME=Line 1\r\nDATALINK=" + historian);
  // Typed before the link is edited, and kept through it.
  Box(*form, "txtName").setText("Line 1 renamed");
  Control<QCheckBox>(*form, "chkActive").setChecked(true);
  const struct {
    std::optional<std::string> answer;
    bool tested;
    const char* state;
  } cases[] = {
      {std::nullopt, false, "Connection Ready"},
      {historian, false, "Connection Ready"},
      {runtime::ToUpper(historian), false, "Connection Ready"},
      {"Driver=NoSuchDriver;Database=x", true, nullptr},
      {historian, true, "Connection Ready"},
  };
  for (const auto& test : cases) {
    linkAnswer = test.answer;
    const int before = components.connectionsCreated;
    uitest::Click(*form, "bnDataLink");
    EXPECT_EQ(components.connectionsCreated > before, test.tested) << test.answer.value_or("-");
    if (test.state) {
      EXPECT_EQ(Box(*form, "txtConnection").text(), test.state);
    }
    EXPECT_EQ(Red(*form), !test.state);
    EXPECT_EQ(Box(*form, "txtName").text(), "Line 1 renamed");
    EXPECT_TRUE(Control<QCheckBox>(*form, "chkActive").isChecked());
  }
  EXPECT_EQ(linksShown.front(), historian);
  EXPECT_TRUE(components.shownErrors.empty());
}

TEST_F(ConfigureDialogTest, OKWritesTheSamplingValuesAndAHandlerMayKeepTheDialogOpen) {
  // Unit codes outside the list show no unit and are kept unless the user picks one.
  auto form = Open("NAME=Line 1\r\nSUBGROUPUNIT=7\r\nRETRYUNIT=9\r\nDATALINK=" + historian);
  EXPECT_EQ(Control<QComboBox>(*form, "cboSubgroupUnit").currentText(), "");
  EXPECT_EQ(Control<QComboBox>(*form, "cboRetryUnit").currentText(), "");
  // Dates and times typed as shown, separators and all.
  uitest::Press(*form, "B>txtName 2>dtDate");
  Type("2024-02-29");
  uitest::Press(*form, "B>dtTime");
  Type("06:30:15");
  uitest::Press(*form, "C>txtSubgroupInterval");
  Type("2.5");
  uitest::Press(*form, "C>txtRetryInterval");
  Type(" 7 min");
  uitest::Press(*form, "D>cboSubgroupUnit D>cboRetryUnit");
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_D);
  Control<QCheckBox>(*form, "chkActive").setCheckState(Qt::PartiallyChecked);
  Box(*form, "txtName").setText("  Line 2 ");
  int updates = 0;
  bool refuse = true;
  auto handler = form->SetupUpdate.Subscribe([&](config::Configuration1& edited, bool& cancel) {
    ++updates;
    EXPECT_EQ(&edited, form->Configuration().get());
    cancel = refuse;
  });
  uitest::Click(*form, "bnOK");
  EXPECT_EQ(updates, 1);
  EXPECT_TRUE(form->isVisible()) << "kept open";
  EXPECT_FALSE(form->OKPressed());
  const config::Configuration1& saved = *form->Configuration();
  // Intervals are the leading number, rounded half to even; the subgroup unit was not picked
  // and is kept, the retry unit is Days, picked by its letter; greyed counts as checked.
  EXPECT_EQ(std::tuple(saved.SubgroupInterval(), saved.RetryInterval(), saved.SubgroupUnit(),
                       saved.RetryUnit(), saved.Active(), saved.ConfigurationName()),
            std::tuple(2, 7, 7, 3, true, "  Line 2 "));
  EXPECT_EQ(runtime::FormatGeneralDate(components.DateMath().SerialToDate(saved.SyncTime())),
            "2024-02-29 06:30:15");

  // Digits alone, and a separator after a section the user ended early; the calendar opens
  // from the keyboard without stepping the date, its arrows move the day, and Escape closes
  // only the calendar.
  refuse = false;
  uitest::Press(*form, "A>dtDate");
  Type("20300102");
  for (const auto& [key, modifier, end] :
       {std::tuple(Qt::Key_Down, Qt::AltModifier, Qt::Key_Escape),
        std::tuple(Qt::Key_F4, Qt::NoModifier, Qt::Key_Return)}) {
    QTest::keyClick(QApplication::focusWidget(), key, modifier);
    QWidget* calendar = QApplication::activePopupWidget();
    ASSERT_NE(calendar, nullptr) << key;
    QTest::keyClick(calendar->focusWidget(), Qt::Key_Right);
    QTest::keyClick(calendar->focusWidget(), end);
  }
  uitest::Press(*form, "B>dtTime");
  Type("3:4:5");
  Box(*form, "txtRetryInterval").setText("abc");
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_EQ(updates, 2);
  EXPECT_TRUE(form->OKPressed());
  EXPECT_EQ(saved.RetryInterval(), 0) << "letters only save 0";
  EXPECT_EQ(runtime::FormatGeneralDate(components.DateMath().SerialToDate(saved.SyncTime())),
            "2030-01-04 03:04:05");
  EXPECT_FALSE(form->isVisible());
  EXPECT_FALSE(form->IsLoaded());
}

TEST_F(ConfigureDialogTest, CancelEscapeAndTheCloseBoxAbortWithoutOK) {
  for (int way = 0; way < 3; ++way) {
    auto form = Open(lists);
    int aborted = 0, updates = 0;
    auto a = form->SetupAborted.Subscribe([&] { ++aborted; });
    auto u = form->SetupUpdate.Subscribe([&](config::Configuration1&, bool&) { ++updates; });
    if (way == 0) uitest::Click(*form, "bnCancel");
    if (way == 1) QTest::keyClick(form.get(), Qt::Key_Escape);
    if (way == 2) form->close();
    EXPECT_EQ(std::tuple(aborted, updates, form->OKPressed(), form->IsLoaded(), form->isVisible()),
              std::tuple(1, 0, false, false, false))
        << way;
  }
}

TEST_F(ConfigureDialogTest, ListsKeepTheirSelectionThroughAddEditAndDelete) {
  auto form = Open(lists);
  Control<QTabWidget>(*form, "TabStrip1").setCurrentIndex(2);

  // Deleting selects the row that moved up, else the new last; no question is asked, and
  // nothing to delete is no fault.
  QTreeWidget& descriptors = List(*form, "lvwDescriptors");
  const struct {
    int selected;
    Lines rows;
  } deletes[] = {{2, {"Part | Gear | Gears", "Lot | %TAG(Value, Lot) | "}},
                 {0, {"Lot | %TAG(Value, Lot) | "}},
                 {0, {}},
                 {-1, {}}};
  for (const auto& step : deletes) {
    if (step.selected >= 0) descriptors.setCurrentItem(descriptors.topLevelItem(step.selected));
    uitest::Click(*form, "bnDeleteDesc");
    EXPECT_EQ(uitest::Rows(descriptors), step.rows);
    EXPECT_EQ(Selected(*form, "lvwDescriptors"), int(step.rows.size()) - 1) << step.selected;
  }
  EXPECT_TRUE(components.shownErrors.empty());

  // Add: the type picker, then the descriptor dialog; the new row is selected.
  uitest::WhenModal([](QDialog& picker) {
    auto& types = Control<QListWidget>(picker, "lstTypes");
    types.setCurrentRow(types.count() - 2);  // Size
    uitest::WhenModal([](QDialog& dialog) {
      QTest::keyClicks(&Box(dialog, "txtItem"), "%TAG(Value, Size)");
      QTest::keyClick(&dialog, Qt::Key_Return);
    });
    QTest::keyClick(&picker, Qt::Key_Return);
  });
  uitest::Click(*form, "bnAddDesc");
  EXPECT_EQ(uitest::Rows(descriptors), (Lines{"Size | %TAG(Value, Size) | "}));
  // Cancelling either dialog discards the new item.
  for (const bool inPicker : {true, false}) {
    uitest::WhenModal([inPicker](QDialog& picker) {
      if (!inPicker) {
        uitest::WhenModal([](QDialog& dialog) { QTest::keyClick(&dialog, Qt::Key_Escape); });
      }
      QTest::keyClick(&picker, inPicker ? Qt::Key_Escape : Qt::Key_Return);
    });
    uitest::Click(*form, "bnAddDesc");
    EXPECT_EQ(form->Configuration()->DescriptorCount(), 1) << inPicker;
  }

  // A double-click edits the row in place and keeps it selected.
  Control<QTabWidget>(*form, "TabStrip1").setCurrentIndex(4);
  QTreeWidget& conditions = List(*form, "lvwConditions");
  uitest::WhenModal([](QDialog& dialog) {
    Control<QComboBox>(dialog, "cboEvaluation").setCurrentIndex(6);
    QTest::keyClick(&dialog, Qt::Key_Return);
  });
  uitest::DoubleClick(conditions, 1);
  EXPECT_EQ(uitest::Rows(conditions),
            (Lines{"%TAG(Value, Run) IS NEW", "%TAG(Value, Speed) <> 10"}));
  EXPECT_EQ(Selected(*form, "lvwConditions"), 1);
}

}  // namespace
