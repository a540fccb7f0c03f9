// The setup dialogs driven as a user does, on real items and a real SQLite SPC database
// for "Select from Database...". A line is configured without the mouse: every accelerator
// of every setup dialog, the host's included, reaches its control, letters shared by two
// controls move between them, Alt+digit picks a tab and gives its first control the focus,
// and on a list tab the letters press the buttons.
#include "common/SpcNames.h"
#include "platform/windows/OdbcDataLinkDialog.h"
#include "platform/windows/SpcSelectionDialog.h"
#include "tests/support/DialogDriving.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/SpcNames.h"
#include "ui/frmCondition.h"
#include "ui/frmConfigure.h"
#include "ui/frmDescriptor.h"
#include "ui/frmDescriptorType.h"
#include "ui/frmTagSetup.h"
#include "ui/frmTest.h"

namespace {

using uitest::Box;
using uitest::Control;
using uitest::Enabled;
// Where a selection dialog was started: its kind, initial id and initial group id.
using Runs = std::vector<std::tuple<host::SelectionKind, int32_t, int32_t>>;

// Records every run; confirms `choice` when it has one, else cancels.
class RecordingSelection : public host::SelectionDialog {
 public:
  RecordingSelection(Runs& runs, host::SelectionKind kind,
                     std::optional<platform::SpcRecord> choice)
      : runs_(runs), kind_(kind), choice_(std::move(choice)) {}
  bool Run(host::DatabaseSession&, int32_t initialId, int32_t initialGroupId) override {
    runs_.emplace_back(kind_, initialId, initialGroupId);
    return choice_.has_value();
  }
  const host::HostRecord& Chosen() const override { return *choice_; }

 private:
  Runs& runs_;
  host::SelectionKind kind_;
  std::optional<platform::SpcRecord> choice_;
};

class SetupDialogsTest : public ::testing::Test {
 protected:
  SetupDialogsTest() {
    components.recordFactory = [](host::RecordKind kind) {
      return std::make_unique<platform::SpcRecord>(kind);
    };
    components.selectionDialogFactory = [this](host::SelectionKind kind) {
      return std::make_unique<RecordingSelection>(runs, kind, choice);
    };
    configuration->SetDatabase(spc);
  }

  // The dialog of `item`, loaded and shown as the active window.
  template <typename Form, typename Item>
  std::unique_ptr<Form> Open(std::shared_ptr<Item> item) {
    auto form = std::make_unique<Form>(components);
    form->SetConfiguration(configuration);
    if constexpr (std::is_same_v<Item, config::DescriptorItem>) form->SetDescriptorItem(item);
    if constexpr (std::is_same_v<Item, config::TestItem>) form->SetTestItem(item);
    if constexpr (std::is_same_v<Item, config::ConditionItem>) form->SetConditionItem(item);
    form->Form_Load();
    uitest::ShowActive(*form);
    return form;
  }
  static std::shared_ptr<config::DescriptorItem> Descriptor(int32_t type, const char* group = "",
                                                            const char* item = "") {
    auto descriptor = std::make_shared<config::DescriptorItem>();
    descriptor->SetDescriptorType(type);
    descriptor->SetGroup(group);
    descriptor->SetItem(item);
    return descriptor;
  }
  static std::shared_ptr<config::TestItem> TestItem(const char* group = "", const char* item = "") {
    auto test = std::make_shared<config::TestItem>();
    test->SetGroup(group);
    test->SetItem(item);
    return test;
  }
  static void Type(QWidget& form, const char* box, const QString& text) {
    Box(form, box).clear();
    QTest::keyClicks(&Box(form, box), text);
  }
  int32_t Id(common::RecordPtr record) { return record ? record->Id() : 0; }

  testsupport::FakeComponents components;
  std::shared_ptr<platform::SpcSession> spc =
      uitest::CreateSpcDatabase(components.Root().File("spc.db"));
  std::shared_ptr<config::Configuration1> configuration =
      std::make_shared<config::Configuration1>(components);
  Runs runs;
  std::optional<platform::SpcRecord> choice;
};

TEST_F(SetupDialogsTest, EveryDialogsAcceleratorsReachTheirControls) {
  ui::frmConfigure configure(components);
  configure.Configuration()->SetData(
      "NAME=Line 1\r\nCONDITION=0\tA\t1\t2\r\nCONDITION=0\tB\t1\t3\r\nTEST=G\tT\tV\t");
  configure.Form_Load();
  auto test = Open<ui::frmTest>(TestItem());
  auto descriptor = Open<ui::frmDescriptor>(Descriptor(1));
  auto compare = std::make_shared<config::ConditionItem>();
  compare->SetEvaluation(1);
  auto condition = Open<ui::frmCondition>(compare);
  ui::frmTagSetup tags(components);
  tags.Form_Load();
  platform::OdbcDataLinkDialog link;
  link.SetConnection("Driver=SQLite3;Database=/srv/h.db");
  platform::SpcSelectionDialog selection(host::SelectionKind::Part);
  selection.Load(*spc, 0, 0);
  const struct {
    QWidget* form;
    const char* from;  // focused before the first key, when not the dialog's first control
    const char* steps;
  } cases[] = {
      {&configure, nullptr,
       "B>txtName A>chkActive 2>dtDate A>dtDate B>dtTime C>txtSubgroupInterval "
       "C>txtRetryInterval D>cboSubgroupUnit D>cboRetryUnit"},
      {test.get(), nullptr, "E>txtDefect D>txtValue B>txtItem A>txtGroup"},
      {descriptor.get(), nullptr, "B>txtItem A>txtGroup"},
      {condition.get(), nullptr, "C>txtValue2 B>cboEvaluation A>txtValue1"},
      {&tags, nullptr, "C>ListView1 A>txtFilter B>bnRefresh B>cboType"},
      {&link, nullptr, "D>cboDriver S>cboSource K>tblKeys C>txtRaw"},
      {&selection, "lvwRecords", "F>txtFilter"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.form->objectName().toStdString());
    for (const auto& other : cases) other.form->hide();
    uitest::ShowActive(*c.form);
    if (c.from) Control<QWidget>(*c.form, c.from).setFocus();
    uitest::Press(*c.form, c.steps);
  }

  // On a list tab C deletes the selected row at once.
  selection.hide();
  uitest::Press(configure, "5>lvwConditions");
  uitest::AltClick(configure, Qt::Key_C);
  EXPECT_EQ(configure.Configuration()->ConditionCount(), 1);
  uitest::Press(configure, "4>lvwTests");
  uitest::AltClick(configure, Qt::Key_C);
  EXPECT_EQ(configure.Configuration()->TestCount(), 0);

  // The accelerator of a disabled control, or of another tab, does nothing: the focus
  // stays and no letter is typed or searched for.
  auto lot = Open<ui::frmDescriptor>(Descriptor(4, "", "L-1"));
  auto isNew = std::make_shared<config::ConditionItem>();
  isNew->SetValue1("%TAG(A)");
  auto watch = Open<ui::frmCondition>(isNew);
  EXPECT_FALSE(Enabled(*watch, "lblValue2"));
  auto& tabs = Control<QTabWidget>(configure, "TabStrip1");
  const struct {
    QWidget* form;
    int tab;
    const char* to;  // the key that gives the focus, and to what
    Qt::Key stray;
  } strays[] = {{lot.get(), 0, "B>txtItem", Qt::Key_A},
                {watch.get(), 0, "A>txtValue1", Qt::Key_C},
                {&configure, 0, "B>txtName", Qt::Key_D},
                {&configure, 1, "D>cboSubgroupUnit", Qt::Key_S}};
  for (const auto& c : strays) {
    SCOPED_TRACE(c.to);
    for (const auto& other : strays) other.form->hide();
    tabs.setCurrentIndex(c.tab);
    uitest::Press(*c.form, c.to);
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus, Qt::Key_End);
    const auto state = [focus] {
      auto* combo = qobject_cast<QComboBox*>(focus);
      return (combo ? combo->currentText() : qobject_cast<QLineEdit*>(focus)->text()).toStdString();
    };
    const std::string before = state();
    uitest::AltClick(*c.form, c.stray);
    EXPECT_EQ(QApplication::focusWidget(), focus);
    EXPECT_EQ(state(), before);
  }
}

TEST_F(SetupDialogsTest, AltDigitFocusesTheTabsFirstControlFromWhereverTheFocusIs) {
  ui::frmConfigure configure(components);
  configure.Configuration()->SetData("NAME=Line 1\r\nDESCRIPTOR=1\tG\tP");
  configure.Form_Load();
  uitest::ShowActive(configure);
  Control<QTabWidget>(configure, "TabStrip1").tabBar()->setFocus();
  uitest::Press(configure, "3>lvwDescriptors");
  Control<QWidget>(configure, "bnAddDesc").setFocus();
  uitest::Press(configure, "3>lvwDescriptors 1>chkActive");
}

TEST_F(SetupDialogsTest, EnterPressesTheButtonThatHasTheFocusNotOK) {
  ui::frmConfigure configure(components);
  configure.Configuration()->SetData(
      "NAME=Line 1\r\nDESCRIPTOR=1\tG\tP\r\nTEST=G\tT\tV\t\r\nCONDITION=0\tA\t1\t2\r\n"
      "CONDITION=0\tB\t1\t3");
  configure.Form_Load();
  auto descriptor = Open<ui::frmDescriptor>(Descriptor(1, "G", "P"));
  auto test = Open<ui::frmTest>(TestItem("G", "T"));
  auto compare = std::make_shared<config::ConditionItem>();
  compare->SetEvaluation(1);
  auto condition = Open<ui::frmCondition>(compare);
  ui::frmTagSetup tags(components);
  tags.Form_Load();
  const struct {
    QWidget* form;
    const char* tab;  // the Alt+digit that shows the buttons, if any
    std::vector<const char*> buttons;
  } cases[] = {
      {&configure, nullptr, {"bnDataLink"}},
      {&configure, "3>lvwDescriptors", {"bnAddDesc", "bnEditDesc", "bnDeleteDesc"}},
      {&configure, "4>lvwTests", {"bnAddTest", "bnEditTest", "bnDeleteTest"}},
      {&configure, "5>lvwConditions", {"bnAddCondition", "bnEditCondition", "bnDeleteCondition"}},
      {descriptor.get(), nullptr, {"bnGroup", "bnItem", "bnSelect"}},
      {test.get(), nullptr, {"bnGroup", "bnItem", "bnSelect", "bnValue", "bnDefect"}},
      {condition.get(), nullptr, {"bnValue1", "bnValue2"}},
      {&tags, nullptr, {"bnRefresh"}},
  };
  for (const auto& c : cases) {
    for (const auto& other : cases) other.form->hide();
    uitest::ShowActive(*c.form);
    if (c.tab) uitest::Press(*c.form, c.tab);
    for (const char* name : c.buttons) {
      auto& button = Control<QPushButton>(*c.form, name);
      button.setFocus(Qt::TabFocusReason);
      EXPECT_TRUE(button.isDefault()) << name << ": Enter would press another button";
    }
  }

  // Enter on a focused Delete deletes, and the dialog stays open.
  for (const auto& c : cases) c.form->hide();
  uitest::ShowActive(configure);
  Control<QPushButton>(configure, "bnDeleteCondition").setFocus(Qt::TabFocusReason);
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_EQ(configure.Configuration()->ConditionCount(), 1);
  EXPECT_TRUE(configure.isVisible());
  EXPECT_FALSE(configure.OKPressed());
}

TEST_F(SetupDialogsTest, TypePickerOffersEachFixedTypeOnceAndUserDefinedAlways) {
  for (int32_t held : {1, 4, 7}) configuration->AddDescriptor(Descriptor(held));
  ui::frmDescriptorType picker(components);
  picker.SetConfiguration(configuration);
  picker.Form_Load();
  uitest::ShowActive(picker);
  auto& list = Control<QListWidget>(picker, "lstTypes");
  QStringList rows;
  for (int i = 0; i < list.count(); ++i) rows << list.item(i)->text();
  EXPECT_EQ(rows.join(","), "Process,Job,Shift,Serial Number,User-Defined,Size,Time");
  EXPECT_EQ(list.currentRow(), 0);
  EXPECT_TRUE(Enabled(picker, "OKButton"));
  list.clearSelection();
  EXPECT_FALSE(Enabled(picker, "OKButton")) << "no row, no OK";

  // A double-click presses OK with the row's code.
  uitest::DoubleClick(list, 1);
  EXPECT_TRUE(picker.OKPressed());
  EXPECT_EQ(picker.DescriptorType(), 3);
}

TEST_F(SetupDialogsTest, DescriptorDialogEnablesByTypeAndWritesBackAsTyped) {
  const struct {
    int32_t type;
    QString group, item;
    bool groupEnabled, okEnabled;
    const char* caption;
  } cases[] = {
      {4, "", "A", false, true, "Descriptor Properties: Lot"},
      {4, "", "  ", false, false, "Descriptor Properties: Lot"},
      {1, "   ", "A", true, false, "Descriptor Properties: Part"},
      {1, " G ", "A ", true, true, "Descriptor Properties: Part"},
      {7, "Ops", "", true, false, "Descriptor Properties: User-Defined"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.caption + (" " + test.group + "|" + test.item).toStdString());
    auto item = Descriptor(test.type, "Stored group", "Stored item");
    auto dialog = Open<ui::frmDescriptor>(item);
    EXPECT_EQ(dialog->windowTitle().toStdString(), test.caption);
    EXPECT_EQ(Box(*dialog, "txtGroup").text(), test.groupEnabled ? "Stored group" : "");
    for (const char* control : {"lblGroup", "txtGroup", "bnGroup", "bnSelect"}) {
      EXPECT_EQ(Enabled(*dialog, control), test.groupEnabled) << control;
    }
    if (test.groupEnabled) Type(*dialog, "txtGroup", test.group);
    Type(*dialog, "txtItem", test.item);
    EXPECT_EQ(Enabled(*dialog, "OKButton"), test.okEnabled);
    QTest::keyClick(dialog.get(), Qt::Key_Return);
    if (!test.okEnabled) QTest::keyClick(dialog.get(), Qt::Key_Escape);
    EXPECT_EQ(dialog->OKPressed(), test.okEnabled);
    // Blanks are kept; Cancel leaves the item.
    EXPECT_EQ(item->Item(), test.okEnabled ? test.item.toStdString() : "Stored item");
    if (test.okEnabled && test.groupEnabled) {
      EXPECT_EQ(item->Group(), test.group.toStdString());
    }
  }
}

TEST_F(SetupDialogsTest, SelectFromDatabaseStartsFromTheNamesFoundAndTakesTheChoice) {
  const int32_t gears = Id(common::ResolvePartGroupName(components, spc, "Gears"));
  const int32_t gear = Id(common::ResolvePartName(components, spc, "Gear"));
  const int32_t operators = Id(common::ResolveDescGroupName(components, spc, "Operators"));
  const int32_t anna = Id(common::ResolveDescName(components, spc, "Anna", operators));
  const int32_t dimensions = Id(common::ResolveTestGroupName(components, spc, "Dimensions"));
  const int32_t width = Id(common::ResolveTestName(components, spc, "Width"));
  ASSERT_TRUE(gear && anna && width);
  const struct {
    int32_t type;  // 0: a characteristic
    const char *group, *item;
    host::SelectionKind kind;
    int32_t id, groupId;
  } cases[] = {
      {1, "nobody", "GEAR", host::SelectionKind::Part, gear, 0},
      {1, "gears", "unknown", host::SelectionKind::Part, 0, gears},
      {1, "unknown", "unknown", host::SelectionKind::Part, 0, 0},
      {7, "Operators", "Anna", host::SelectionKind::Descriptor, anna, operators},
      {7, "Operators", "Bob", host::SelectionKind::Descriptor, 0, operators},
      // A descriptor is named only within its group.
      {7, "unknown", "Anna", host::SelectionKind::Descriptor, 0, 0},
      {0, "x", "width", host::SelectionKind::Test, width, 0},
      {0, "Dimensions", "Height", host::SelectionKind::Test, 0, dimensions},
      {0, "x", "y", host::SelectionKind::Test, 0, 0},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(std::string(test.group) + "/" + test.item);
    runs.clear();
    const std::unique_ptr<QDialog> dialog =
        test.type == 0
            ? std::unique_ptr<QDialog>(Open<ui::frmTest>(TestItem(test.group, test.item)))
            : Open<ui::frmDescriptor>(Descriptor(test.type, test.group, test.item));
    uitest::AltClick(*dialog, Qt::Key_C);
    EXPECT_EQ(runs, (Runs{{test.kind, test.id, test.groupId}}));
    EXPECT_EQ(Box(*dialog, "txtItem").text().toStdString(), test.item) << "cancelled: unchanged";
  }
  EXPECT_TRUE(components.shownErrors.empty());

  // A confirmed choice names the record and its group.
  choice = uitest::LoadRecord(*spc, host::RecordKind::Process, "Milling");
  auto dialog = Open<ui::frmDescriptor>(Descriptor(2));
  uitest::Click(*dialog, "bnSelect");
  EXPECT_EQ(Box(*dialog, "txtItem").text(), "Milling");
  EXPECT_EQ(Box(*dialog, "txtGroup").text(), "Line 1");
  EXPECT_TRUE(Enabled(*dialog, "OKButton"));
}

TEST_F(SetupDialogsTest, CharacteristicDialogNeedsGroupTestAndValueButNotTheDefect) {
  const struct {
    QString group, test, value, defect;
    bool ok;
  } cases[] = {
      {"Dimensions", "Width", "%TAG(Value, W)", "", true},
      {"Dimensions", "Width", "   ", "D1", false},
      {" ", "Width", "1", "", false},
      {"Dimensions", " ", "1", "", false},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE((test.group + "|" + test.test + "|" + test.value).toStdString());
    auto item = TestItem();
    auto dialog = Open<ui::frmTest>(item);
    EXPECT_FALSE(Enabled(*dialog, "OKButton")) << "a new item has nothing";
    Type(*dialog, "txtGroup", test.group);
    Type(*dialog, "txtItem", test.test);
    Type(*dialog, "txtValue", test.value);
    for (const QString& defect : {QString("D9"), test.defect}) {
      Type(*dialog, "txtDefect", defect);
      EXPECT_EQ(Enabled(*dialog, "OKButton"), test.ok) << "the defect box plays no part";
    }
    uitest::Click(*dialog, "OKButton");
    EXPECT_EQ(dialog->OKPressed(), test.ok);
    if (!test.ok) uitest::Click(*dialog, "CancelButton");
    const auto kept = [&](const QString& typed) { return test.ok ? typed.toStdString() : ""; };
    EXPECT_EQ(
        (uitest::Lines{item->Group(), item->Item(), item->Value(), item->Defect()}),
        (uitest::Lines{kept(test.group), kept(test.test), kept(test.value), kept(test.defect)}));
  }
}

TEST_F(SetupDialogsTest, ConditionDialogDisablesTheCompareValueForIsNewOnly) {
  auto item = std::make_shared<config::ConditionItem>();
  item->SetValue1("%TAG(Value, Run)");
  item->SetEvaluation(0);
  item->SetValue2("kept text");
  item->SetDataType(2);
  auto dialog = Open<ui::frmCondition>(item);
  auto& evaluation = Control<QComboBox>(*dialog, "cboEvaluation");
  EXPECT_EQ(evaluation.currentData().toInt(), 0);
  for (const int index : {0, 1}) {
    evaluation.setCurrentIndex(index);
    EXPECT_EQ(Enabled(*dialog, "txtValue2"), index != 0);
    EXPECT_EQ(Enabled(*dialog, "bnValue2"), index != 0);
  }
  EXPECT_EQ(Box(*dialog, "txtValue2").text(), "kept text");
  Type(*dialog, "txtValue1", "   ");
  EXPECT_FALSE(Enabled(*dialog, "OKButton"));
  Type(*dialog, "txtValue1", " Run ");
  Type(*dialog, "txtValue2", "");
  EXPECT_TRUE(Enabled(*dialog, "OKButton")) << "an empty compare value is allowed";
  QTest::keyClick(dialog.get(), Qt::Key_Enter);
  EXPECT_TRUE(dialog->OKPressed());
  // The data type is not the dialog's.
  EXPECT_EQ(std::tuple(item->Value1(), item->Evaluation(), item->Value2(), item->DataType()),
            std::tuple(" Run ", 1, "", 2));

  // IS NEW stores an empty compare value whatever the box held; an evaluation outside the
  // codes selects no row and is kept; Cancel changes nothing.
  const struct {
    int32_t stored;
    int chosen;  // -1: leave the selection
    bool accept;
    int32_t evaluation;
    const char* value2;
  } cases[] = {{3, 0, true, 0, ""}, {9, -1, true, 9, "other"}, {2, 4, false, 2, "other"}};
  for (const auto& test : cases) {
    SCOPED_TRACE(test.stored);
    item->SetEvaluation(test.stored);
    item->SetValue2("other");
    auto again = Open<ui::frmCondition>(item);
    auto& box = Control<QComboBox>(*again, "cboEvaluation");
    if (test.stored == 9) {
      EXPECT_EQ(box.currentIndex(), -1);
      EXPECT_TRUE(Enabled(*again, "txtValue2"));
    }
    if (test.chosen >= 0) box.setCurrentIndex(test.chosen);
    QTest::keyClick(again.get(), test.accept ? Qt::Key_Return : Qt::Key_Escape);
    EXPECT_EQ(std::tuple(again->OKPressed(), item->Evaluation(), item->Value2()),
              std::tuple(test.accept, test.evaluation, test.value2));
  }
}

}  // namespace
