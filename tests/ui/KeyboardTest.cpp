// A line configured without the mouse: every accelerator of the setup dialogs reaches its
// control, letters shared by two controls move between them, Alt+digit picks a tab and
// gives its first control the focus.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QLineEdit>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

#include "tests/support/FakeComponents.h"
#include "tests/ui/DialogDriving.h"
#include "ui/frmCondition.h"
#include "ui/frmConfigure.h"
#include "ui/frmTest.h"

namespace {

using uitest::Control;
using uitest::Press;

TEST(KeyboardTest, AcceleratorsReachTheirControlsOnEveryTab) {
  testsupport::FakeComponents components;
  ui::frmConfigure form(components);
  form.Configuration()->SetData(
      "NAME=Line 1\r\nCONDITION=0\tA\t1\t2\r\nCONDITION=0\tB\t1\t3\r\nTEST=G\tT\tV\t");
  form.Form_Load();
  Press(form, {{Qt::Key_B, "txtName"},
               {Qt::Key_A, "chkActive"},
               {Qt::Key_2, "dtDate"},
               {Qt::Key_A, "dtDate"},
               {Qt::Key_B, "dtTime"},
               {Qt::Key_C, "txtSubgroupInterval"},
               {Qt::Key_C, "txtRetryInterval"},
               {Qt::Key_D, "cboSubgroupUnit"},
               {Qt::Key_D, "cboRetryUnit"}});
  // On a list tab the letters press the buttons: C deletes the selected row at once.
  Press(form, {{Qt::Key_5, "lvwConditions"}});
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_C, Qt::AltModifier);
  QTest::qWait(uitest::kAnimatedClick);
  EXPECT_EQ(form.Configuration()->ConditionCount(), 1);
  Press(form, {{Qt::Key_4, "lvwTests"}});
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_C, Qt::AltModifier);
  QTest::qWait(uitest::kAnimatedClick);
  EXPECT_EQ(form.Configuration()->TestCount(), 0);
  // Enter is OK.
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
  EXPECT_TRUE(form.OKPressed());
}

TEST(KeyboardTest, ItemDialogAcceleratorsReachTheirBoxes) {
  testsupport::FakeComponents components;
  auto configuration = std::make_shared<config::Configuration1>(components);
  ui::frmTest test(components);
  test.SetConfiguration(configuration);
  test.SetTestItem(std::make_shared<config::TestItem>());
  test.Form_Load();
  Press(test, {{Qt::Key_E, "txtDefect"},
               {Qt::Key_D, "txtValue"},
               {Qt::Key_B, "txtItem"},
               {Qt::Key_A, "txtGroup"}});
  ui::frmCondition condition(components);
  condition.SetConfiguration(configuration);
  auto item = std::make_shared<config::ConditionItem>();
  item->SetEvaluation(1);
  condition.SetConditionItem(item);
  condition.Form_Load();
  Press(condition,
        {{Qt::Key_C, "txtValue2"}, {Qt::Key_B, "cboEvaluation"}, {Qt::Key_A, "txtValue1"}});
  QTest::keyClick(&condition, Qt::Key_Escape);
  EXPECT_FALSE(condition.isVisible());
}

}  // namespace
