// The driver object's windows: the activity window it opens and the about box.
#include <QMainWindow>
#include <QMessageBox>

#include "driver/Version1.h"
#include "driver/VersionInfo.h"
#include "platform/utility/TextCodec.h"
#include "runtime/Date.h"
#include "tests/support/DialogDriving.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/FakeDriverHost.h"
#include "tests/support/Historian.h"
#include "tests/support/ManualTimer.h"
#include "tests/support/RecordingSubgroup.h"
#include "tests/support/TestClock.h"
#include "ui/QtWindows.h"

namespace {

using testsupport::FakeParent;
using testsupport::FakeSession;

// Refuses every close, as a dialog whose close logic says no.
class RefusingClose : public QObject {
 public:
  bool eventFilter(QObject*, QEvent* event) override {
    if (event->type() != QEvent::Close) return false;
    event->ignore();
    return true;
  }
};

// The host's real codec: a configuration of several lines crosses Load as one line.
class CodecComponents : public testsupport::FakeComponents {
 public:
  host::HostTextCodec& TextCodec() override { return codec_; }

 private:
  platform::TextCodec codec_;
};

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
    return uitest::Rows(
        *uitest::TopLevels("frmActivity").at(0)->findChild<QTreeWidget*>("lvwGeneral"));
  }

  testsupport::TestClock clock{runtime::MakeDate({.year = 2024, .month = 5, .day = 1})};
  CodecComponents components;
  std::string historian = testsupport::CreateSqliteDatabase(components.Root().File("h.db"),
                                                            testsupport::kHistorianTables);
  std::vector<std::string> hostCalls;
  testsupport::ManualTimer* timer = nullptr;
  std::shared_ptr<FakeParent> parent = std::make_shared<FakeParent>();
  std::shared_ptr<driver::Version1> version1 =
      std::make_shared<driver::Version1>(components, ui::QtWindows);
};

TEST_F(DriverWindowsTest, AWindowOpenedBeforeTheFirstStartNeverGetsTheEngine) {
  EXPECT_TRUE(version1->ShowActivity());
  ASSERT_EQ(uitest::TopLevels("frmActivity").size(), 1u);
  EXPECT_TRUE(uitest::TopLevels("frmActivity")[0]->isVisible());
  EXPECT_TRUE(version1->StartDriver());
  Collect();
  uitest::TopLevels("frmActivity")[0]->close();
  EXPECT_TRUE(version1->ShowActivity());
  ASSERT_EQ(uitest::TopLevels("frmActivity").size(), 1u) << "shown again, not made again";
  EXPECT_TRUE(uitest::TopLevels("frmActivity")[0]->isVisible());
  EXPECT_TRUE(GeneralRows().empty());
  EXPECT_EQ(version1->State(), 3);
  EXPECT_TRUE(components.shownErrors.empty());
}

TEST_F(DriverWindowsTest, AWindowOpenedAfterTheStartFollowsTheEngineUntilQueryUnload) {
  EXPECT_TRUE(version1->StartDriver());
  EXPECT_TRUE(version1->ShowActivity());
  ASSERT_EQ(GeneralRows().size(), 8u) << "shown at once, not at the engine's next event";
  EXPECT_EQ(GeneralRows()[0], "Status | Running");
  const std::vector<std::string> before = GeneralRows();
  Collect();
  EXPECT_NE(GeneralRows(), before) << "then follows it";

  host::Bool16 cancel = host::kFalse;
  version1->QueryUnload(cancel, 0);
  EXPECT_EQ(cancel, host::kFalse);
  EXPECT_EQ(components.beeps, 0);
  EXPECT_FALSE(uitest::TopLevels("frmActivity").at(0)->isVisible());
  version1->StopDriver();
  version1.reset();
  EXPECT_TRUE(uitest::TopLevels("frmActivity").empty()) << "the window goes with its driver";
}

TEST_F(DriverWindowsTest, AboutBoxNamesProductVersionAndModuleAndBelongsToTheMainWindow) {
  QMainWindow mainWindow;
  mainWindow.show();
  QString text;
  QWidget* owner = nullptr;
  uitest::WhenModal([&](QDialog& dialog) {
    auto& box = dynamic_cast<QMessageBox&>(dialog);
    text = box.windowTitle() + "\n" + box.text() + "\n" + box.informativeText();
    owner = box.parentWidget();
    box.accept();
  });
  version1->ShowAbout();
  EXPECT_TRUE(text.contains(driver::kProductName)) << text.toStdString();
  EXPECT_TRUE(text.contains(QString("Version ") + driver::kProductVersion)) << text.toStdString();
  EXPECT_TRUE(text.contains(QApplication::applicationFilePath())) << text.toStdString();
  EXPECT_EQ(owner, &mainWindow);
  EXPECT_TRUE(components.shownErrors.empty());
}

TEST_F(DriverWindowsTest, SetupIsRefusedWhileRunningOpensOneDialogOnlyOKChangesAndUnloadDropsIt) {
  EXPECT_TRUE(version1->StartDriver());
  EXPECT_FALSE(version1->ShowSetup(host::kTrue));
  EXPECT_EQ(components.messageBoxes,
            std::vector<std::string>{"Already Running. Can't configure at this time."});
  EXPECT_TRUE(uitest::TopLevels("frmConfigure").empty());
  version1->StopDriver();

  parent->states.clear();
  const std::string before = version1->GetConfiguration();
  EXPECT_FALSE(version1->ShowSetup(host::kFalse)) << "modeless";
  EXPECT_EQ(parent->states, std::vector<int32_t>{4});
  ASSERT_EQ(uitest::TopLevels("frmConfigure").size(), 1u);
  QWidget& dialog = *uitest::TopLevels("frmConfigure")[0];
  EXPECT_TRUE(dialog.isVisible());
  EXPECT_EQ(uitest::Control<QLineEdit>(dialog, "txtName").text(), "Line 1");
  EXPECT_FALSE(version1->ShowSetup(host::kFalse));
  EXPECT_FALSE(version1->ShowSetup(host::kTrue)) << "brought forward, not opened again";
  EXPECT_EQ(uitest::TopLevels("frmConfigure").size(), 1u);

  // QueryUnload closes the dialog, which aborts the setup; a dialog that refuses to close
  // cancels the unload with one beep.
  uitest::Control<QLineEdit>(dialog, "txtName").setText("Changed");
  RefusingClose refusing;
  dialog.installEventFilter(&refusing);
  for (const bool refuse : {true, false}) {
    if (!refuse) dialog.removeEventFilter(&refusing);
    host::Bool16 cancel = host::kFalse;
    version1->QueryUnload(cancel, 0);
    EXPECT_EQ(cancel, refuse ? host::kTrue : host::kFalse);
    EXPECT_EQ(components.beeps, 1);
    EXPECT_EQ(dialog.isVisible(), refuse);
    EXPECT_EQ(version1->State(), refuse ? 4 : 0);
  }
  EXPECT_EQ(version1->GetConfiguration(), before);
  EXPECT_EQ(parent->configurationChanges, 0);

  uitest::WhenModal([](QDialog& modal) {
    uitest::Control<QLineEdit>(modal, "txtName").setText("Line 2");
    QTest::keyClick(&modal, Qt::Key_Return);
  });
  EXPECT_TRUE(version1->ShowSetup(host::kTrue));
  EXPECT_EQ(std::tuple(version1->Name(), parent->configurationChanges, version1->State()),
            std::tuple("Line 2", 1, 0));
  EXPECT_TRUE(components.shownErrors.empty());

  // Unload lets go of the setup dialog, even of one shown modally at the time.
  bool leftOpen = false;
  uitest::WhenModal([&](QDialog&) { version1->Unload(); }, &leftOpen);
  EXPECT_FALSE(version1->ShowSetup(host::kTrue));
  EXPECT_TRUE(leftOpen) << "Unload runs none of the dialog's close logic";
  EXPECT_TRUE(uitest::TopLevels("frmConfigure").empty());
  EXPECT_EQ(parent->configurationChanges, 1);
  EXPECT_TRUE(components.shownErrors.empty());
}

}  // namespace
