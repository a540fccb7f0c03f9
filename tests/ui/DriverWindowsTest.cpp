// The driver object's windows: the activity window it opens and the about box.
#include <gtest/gtest.h>

#include <QApplication>
#include <QMainWindow>
#include <QMessageBox>
#include <QTimer>
#include <QTreeWidget>

#include "driver/Version1.h"
#include "driver/VersionInfo.h"
#include "platform/utility/TextCodec.h"
#include "runtime/Date.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/FakeDriverHost.h"
#include "tests/support/Historian.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/RecordingSubgroup.h"
#include "tests/support/TestClock.h"
#include "tests/ui/ListText.h"

namespace {

using testsupport::FakeParent;
using testsupport::FakeSession;

// The host's real codec: a configuration of several lines crosses Load as one line.
class CodecComponents : public testsupport::FakeComponents {
 public:
  host::HostTextCodec& TextCodec() override { return codec_; }

 private:
  platform::TextCodec codec_;
};

std::vector<QWidget*> ActivityWindows() {
  std::vector<QWidget*> windows;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == "frmActivity") windows.push_back(widget);
  }
  return windows;
}

class DriverWindowsTest : public ::testing::Test {
 protected:
  DriverWindowsTest() {
    components.databaseSessionFactory = [] { return std::make_shared<FakeSession>(); };
    components.timerFactory = testsupport::ManualTimers(timer);
    components.subgroupFactory = [this] {
      return std::make_unique<testsupport::RecordingSubgroup>(hostCalls);
    };
    EXPECT_TRUE(version1->Initialize(parent, "Line 1"));
    const std::string text =
        "NAME=Line 1\r\nACTIVE=1\r\nDATALINK=" + historian +
        "\r\nSUBGROUPINTERVAL=15\r\nSUBGROUPUNIT=1\r\nDESCRIPTOR=1\tParts\tP-1";
    EXPECT_TRUE(version1->Load(runtime::Variant(components.TextCodec().EncodeText("QZ", text))));
  }
  void Collect() {
    ASSERT_NE(timer, nullptr);
    clock.Set(runtime::Date{clock.Now().serial + 16.0 / 1440});
    timer->Tick();
  }
  std::vector<std::string> GeneralRows() {
    return uitest::Rows(*ActivityWindows().at(0)->findChild<QTreeWidget*>("lvwGeneral"));
  }

  testsupport::TestClock clock{runtime::MakeDate({.year = 2024, .month = 5, .day = 1})};
  CodecComponents components;
  std::string historian = testsupport::CreateSqliteDatabase(components.Root().File("h.db"),
                                                            testsupport::kHistorianTables);
  std::vector<std::string> hostCalls;
  testsupport::ManualTimer* timer = nullptr;
  std::shared_ptr<FakeParent> parent = std::make_shared<FakeParent>();
  std::shared_ptr<driver::Version1> version1 = std::make_shared<driver::Version1>(components);
};

TEST_F(DriverWindowsTest, AWindowOpenedBeforeTheFirstStartNeverGetsTheEngine) {
  EXPECT_TRUE(version1->ShowActivity());
  ASSERT_EQ(ActivityWindows().size(), 1u);
  EXPECT_TRUE(ActivityWindows()[0]->isVisible());
  EXPECT_TRUE(version1->StartDriver());
  Collect();
  ActivityWindows()[0]->close();
  EXPECT_TRUE(version1->ShowActivity());
  ASSERT_EQ(ActivityWindows().size(), 1u) << "shown again, not made again";
  EXPECT_TRUE(ActivityWindows()[0]->isVisible());
  EXPECT_TRUE(GeneralRows().empty());
  EXPECT_EQ(version1->State(), 3);
  EXPECT_TRUE(components.shownErrors.empty());
}

TEST_F(DriverWindowsTest, AWindowOpenedAfterTheStartFollowsTheEngineUntilQueryUnload) {
  EXPECT_TRUE(version1->StartDriver());
  EXPECT_TRUE(version1->ShowActivity());
  EXPECT_TRUE(GeneralRows().empty()) << "nothing before the engine's next event";
  Collect();
  ASSERT_EQ(GeneralRows().size(), 8u);
  EXPECT_EQ(GeneralRows()[0], "Status | Running");

  host::Bool16 cancel = host::kFalse;
  version1->QueryUnload(cancel, 0);
  EXPECT_EQ(cancel, host::kFalse);
  EXPECT_EQ(components.beeps, 0);
  EXPECT_FALSE(ActivityWindows().at(0)->isVisible());
  version1->StopDriver();
  version1.reset();
  EXPECT_TRUE(ActivityWindows().empty()) << "the window goes with its driver";
}

TEST_F(DriverWindowsTest, AboutBoxNamesProductVersionAndModuleAndBelongsToTheMainWindow) {
  QMainWindow mainWindow;
  mainWindow.show();
  QString text;
  QWidget* owner = nullptr;
  QTimer::singleShot(0, [&] {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    ASSERT_NE(box, nullptr);
    text = box->windowTitle() + "\n" + box->text() + "\n" + box->informativeText();
    owner = box->parentWidget();
    box->accept();
  });
  version1->ShowAbout();
  EXPECT_TRUE(text.contains(driver::kProductName)) << text.toStdString();
  EXPECT_TRUE(text.contains(QString("Version ") + driver::kProductVersion)) << text.toStdString();
  EXPECT_TRUE(text.contains(QApplication::applicationFilePath())) << text.toStdString();
  EXPECT_EQ(owner, &mainWindow);
  EXPECT_TRUE(components.shownErrors.empty());
}

}  // namespace
