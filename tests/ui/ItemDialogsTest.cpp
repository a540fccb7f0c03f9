// The item dialogs of the configuration dialog, driven as a user does, on real items, a
// real SQLite historian for the tag buttons and a real SQLite SPC database for "Select
// from Database...".
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTest>

#include "common/SpcNames.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/Historian.h"
#include "tests/ui/DialogDriving.h"
#include "tests/ui/SpcNames.h"
#include "ui/frmCondition.h"
#include "ui/frmDescriptor.h"
#include "ui/frmDescriptorType.h"
#include "ui/frmTest.h"

namespace {

using uitest::Control;

class ItemDialogsTest : public ::testing::Test {
 protected:
  ItemDialogsTest() {
    components.recordFactory = [](host::RecordKind kind) {
      return std::make_unique<platform::SpcRecord>(kind);
    };
    components.selectionDialogFactory = [this](host::SelectionKind kind) {
      return std::make_unique<uitest::RecordingSelection>(runs, kind, choice);
    };
    configuration->SetDatabase(spc);
  }

  // `form` loaded and shown as the active window, so that keys reach it.
  template <typename Form>
  static void Show(Form& form) {
    form.Form_Load();
    form.show();
    QApplication::setActiveWindow(&form);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&form));
  }
  static void Type(QWidget& form, const char* box, const QString& text) {
    auto& edit = Control<QLineEdit>(form, box);
    edit.clear();
    QTest::keyClicks(&edit, text);
  }
  static bool Enabled(QWidget& form, const char* name) {
    return Control<QWidget>(form, name).isEnabled();
  }
  int32_t Id(common::RecordPtr record) { return record ? record->Id() : 0; }

  testsupport::FakeComponents components;
  std::shared_ptr<platform::SpcSession> spc =
      uitest::CreateSpcDatabase(components.Root().File("spc.db"));
  std::shared_ptr<config::Configuration1> configuration =
      std::make_shared<config::Configuration1>(components);
  std::vector<uitest::SelectionRun> runs;
  std::optional<platform::SpcRecord> choice;
};

TEST_F(ItemDialogsTest, TypePickerOffersEachFixedTypeOnceAndUserDefinedAlways) {
  for (int32_t held : {1, 4, 7}) {
    auto item = std::make_shared<config::DescriptorItem>();
    item->SetDescriptorType(held);
    configuration->AddDescriptor(item);
  }
  ui::frmDescriptorType picker(components);
  picker.SetConfiguration(configuration);
  Show(picker);
  auto& list = Control<QListWidget>(picker, "lstTypes");
  QStringList rows;
  for (int i = 0; i < list.count(); ++i) rows << list.item(i)->text();
  EXPECT_EQ(rows.join(","), "Process,Job,Shift,Serial Number,User-Defined,Size,Time");
  EXPECT_EQ(list.currentRow(), 0);
  EXPECT_TRUE(Enabled(picker, "OKButton"));
  list.clearSelection();
  EXPECT_FALSE(Enabled(picker, "OKButton")) << "no row, no OK";

  // A double-click presses OK with the row's code.
  QListWidgetItem* job = list.item(1);
  const QRect place = list.visualItemRect(job);
  QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, place.center());
  QTest::mouseDClick(list.viewport(), Qt::LeftButton, {}, place.center());
  EXPECT_TRUE(picker.OKPressed());
  EXPECT_EQ(picker.DescriptorType(), 3);

  ui::frmDescriptorType cancelled(components);
  cancelled.SetConfiguration(configuration);
  Show(cancelled);
  QTest::keyClick(&cancelled, Qt::Key_Escape);
  EXPECT_FALSE(cancelled.OKPressed());
  EXPECT_FALSE(cancelled.isVisible());
}

TEST_F(ItemDialogsTest, DescriptorDialogEnablesByTypeAndWritesBackAsTyped) {
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
    auto item = std::make_shared<config::DescriptorItem>();
    item->SetDescriptorType(test.type);
    item->SetGroup("Stored group");
    item->SetItem("Stored item");
    ui::frmDescriptor dialog(components);
    dialog.SetConfiguration(configuration);
    dialog.SetDescriptorItem(item);
    Show(dialog);
    EXPECT_EQ(dialog.windowTitle().toStdString(), test.caption);
    EXPECT_EQ(Control<QLineEdit>(dialog, "txtGroup").text(),
              test.groupEnabled ? "Stored group" : "");
    for (const char* control : {"lblGroup", "txtGroup", "bnGroup", "bnSelect"}) {
      EXPECT_EQ(Enabled(dialog, control), test.groupEnabled) << control;
    }
    if (test.groupEnabled) Type(dialog, "txtGroup", test.group);
    Type(dialog, "txtItem", test.item);
    EXPECT_EQ(Enabled(dialog, "OKButton"), test.okEnabled);
    QTest::keyClick(&dialog, Qt::Key_Return);
    EXPECT_EQ(dialog.OKPressed(), test.okEnabled);
    if (test.okEnabled) {
      EXPECT_EQ(item->Item(), test.item.toStdString()) << "blanks kept";
      if (test.groupEnabled) {
        EXPECT_EQ(item->Group(), test.group.toStdString());
      }
    } else {
      QTest::keyClick(&dialog, Qt::Key_Escape);
      EXPECT_FALSE(dialog.OKPressed());
      EXPECT_EQ(item->Item(), "Stored item") << "Cancel leaves the item";
    }
  }
}

TEST_F(ItemDialogsTest, SelectFromDatabaseStartsFromTheNamesFoundAndTakesTheChoice) {
  const int32_t gears = Id(common::ResolvePartGroupName(components, spc, "Gears"));
  const int32_t gear = Id(common::ResolvePartName(components, spc, "Gear"));
  const int32_t operators = Id(common::ResolveDescGroupName(components, spc, "Operators"));
  const int32_t anna = Id(common::ResolveDescName(components, spc, "Anna", operators));
  ASSERT_NE(gear, 0);
  ASSERT_NE(anna, 0);
  const struct {
    int32_t type;
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
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(std::string(test.group) + "/" + test.item);
    runs.clear();
    auto item = std::make_shared<config::DescriptorItem>();
    item->SetDescriptorType(test.type);
    item->SetGroup(test.group);
    item->SetItem(test.item);
    ui::frmDescriptor dialog(components);
    dialog.SetConfiguration(configuration);
    dialog.SetDescriptorItem(item);
    Show(dialog);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_C, Qt::AltModifier);
    QTest::qWait(300);  // the accelerator's click is released a moment later
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].kind, test.kind);
    EXPECT_EQ(runs[0].initialId, test.id);
    EXPECT_EQ(runs[0].initialGroupId, test.groupId);
    EXPECT_EQ(Control<QLineEdit>(dialog, "txtItem").text().toStdString(), test.item)
        << "cancelled: unchanged";
  }
  EXPECT_TRUE(components.shownErrors.empty());

  // A confirmed choice names the record and its group.
  choice = uitest::LoadRecord(*spc, host::RecordKind::Process, "Milling");
  auto item = std::make_shared<config::DescriptorItem>();
  item->SetDescriptorType(2);
  ui::frmDescriptor dialog(components);
  dialog.SetConfiguration(configuration);
  dialog.SetDescriptorItem(item);
  Show(dialog);
  Control<QPushButton>(dialog, "bnSelect").click();
  EXPECT_EQ(Control<QLineEdit>(dialog, "txtItem").text(), "Milling");
  EXPECT_EQ(Control<QLineEdit>(dialog, "txtGroup").text(), "Line 1");
  EXPECT_TRUE(Enabled(dialog, "OKButton"));
  // Lot has no picker: the button is disabled and the handler does nothing.
  item->SetDescriptorType(4);
  runs.clear();
  dialog.Form_Load();
  EXPECT_FALSE(Enabled(dialog, "bnSelect"));
}

TEST_F(ItemDialogsTest, CharacteristicDialogNeedsGroupTestAndValueButNotTheDefect) {
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
    auto item = std::make_shared<config::TestItem>();
    ui::frmTest dialog(components);
    dialog.SetConfiguration(configuration);
    dialog.SetTestItem(item);
    Show(dialog);
    EXPECT_EQ(dialog.windowTitle(), "Characteristic Properties");
    EXPECT_FALSE(Enabled(dialog, "OKButton")) << "a new item has nothing";
    Type(dialog, "txtDefect", "D9");
    EXPECT_FALSE(Enabled(dialog, "OKButton")) << "the defect box plays no part";
    Type(dialog, "txtGroup", test.group);
    Type(dialog, "txtItem", test.test);
    Type(dialog, "txtValue", test.value);
    const bool before = Enabled(dialog, "OKButton");
    EXPECT_EQ(before, test.ok);
    Type(dialog, "txtDefect", test.defect);
    EXPECT_EQ(Enabled(dialog, "OKButton"), before);
    Control<QPushButton>(dialog, "OKButton").click();
    EXPECT_EQ(dialog.OKPressed(), test.ok);
    if (test.ok) {
      EXPECT_EQ(item->Group(), test.group.toStdString());
      EXPECT_EQ(item->Item(), test.test.toStdString());
      EXPECT_EQ(item->Value(), test.value.toStdString());
      EXPECT_EQ(item->Defect(), test.defect.toStdString());
    } else {
      Control<QPushButton>(dialog, "CancelButton").click();
      EXPECT_EQ(item->Value(), "");
    }
  }

  // An unknown test starts from its group, and from nothing when that is unknown too.
  const int32_t dimensions = Id(common::ResolveTestGroupName(components, spc, "Dimensions"));
  const int32_t width = Id(common::ResolveTestName(components, spc, "Width"));
  for (const auto& [group, test, id, groupId] :
       std::vector<std::tuple<const char*, const char*, int32_t, int32_t>>{
           {"x", "width", width, 0}, {"Dimensions", "Height", 0, dimensions}, {"x", "y", 0, 0}}) {
    runs.clear();
    auto item = std::make_shared<config::TestItem>();
    item->SetGroup(group);
    item->SetItem(test);
    ui::frmTest dialog(components);
    dialog.SetConfiguration(configuration);
    dialog.SetTestItem(item);
    Show(dialog);
    Control<QPushButton>(dialog, "bnSelect").click();
    ASSERT_EQ(runs.size(), 1u);
    EXPECT_EQ(runs[0].kind, host::SelectionKind::Test);
    EXPECT_EQ(runs[0].initialId, id) << test;
    EXPECT_EQ(runs[0].initialGroupId, groupId) << test;
  }
}

TEST_F(ItemDialogsTest, ConditionDialogDisablesTheCompareValueForIsNewOnly) {
  auto item = std::make_shared<config::ConditionItem>();
  item->SetValue1("%TAG(Value, Run)");
  item->SetEvaluation(0);
  item->SetValue2("kept text");
  item->SetDataType(2);
  ui::frmCondition dialog(components);
  dialog.SetConfiguration(configuration);
  dialog.SetConditionItem(item);
  Show(dialog);
  auto& evaluation = Control<QComboBox>(dialog, "cboEvaluation");
  ASSERT_EQ(evaluation.count(), 7);
  EXPECT_EQ(evaluation.itemText(0), "IS NEW (New Tag Value Received)");
  EXPECT_EQ(evaluation.itemText(1), "= (Tag Value = Compare Value)");
  EXPECT_EQ(evaluation.currentData().toInt(), 0);
  EXPECT_FALSE(Enabled(dialog, "txtValue2"));
  EXPECT_FALSE(Enabled(dialog, "bnValue2"));

  evaluation.setCurrentIndex(1);
  EXPECT_TRUE(Enabled(dialog, "txtValue2"));
  EXPECT_TRUE(Enabled(dialog, "bnValue2"));
  EXPECT_EQ(Control<QLineEdit>(dialog, "txtValue2").text(), "kept text");
  Type(dialog, "txtValue1", "   ");
  EXPECT_FALSE(Enabled(dialog, "OKButton"));
  Type(dialog, "txtValue1", " Run ");
  Type(dialog, "txtValue2", "");
  EXPECT_TRUE(Enabled(dialog, "OKButton")) << "an empty compare value is allowed";
  QTest::keyClick(&dialog, Qt::Key_Enter);
  EXPECT_TRUE(dialog.OKPressed());
  EXPECT_EQ(item->Value1(), " Run ");
  EXPECT_EQ(item->Evaluation(), 1);
  EXPECT_EQ(item->Value2(), "");
  EXPECT_EQ(item->DataType(), 2) << "not the dialog's";

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
    ui::frmCondition again(components);
    again.SetConfiguration(configuration);
    again.SetConditionItem(item);
    Show(again);
    auto& box = Control<QComboBox>(again, "cboEvaluation");
    if (test.stored == 9) {
      EXPECT_EQ(box.currentIndex(), -1);
      EXPECT_TRUE(Enabled(again, "txtValue2"));
    }
    if (test.chosen >= 0) box.setCurrentIndex(test.chosen);
    QTest::keyClick(&again, test.accept ? Qt::Key_Return : Qt::Key_Escape);
    EXPECT_EQ(again.OKPressed(), test.accept);
    EXPECT_EQ(item->Evaluation(), test.evaluation);
    EXPECT_EQ(item->Value2(), test.value2);
  }
}

}  // namespace
