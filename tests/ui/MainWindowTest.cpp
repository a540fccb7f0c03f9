// The host's main window with the real driver module, registered in a registry of the
// test's own, on SQLite files.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "apps/dam/DriverModule.h"
#include "apps/dam/MainWindow.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"
#include "tests/ui/DialogDriving.h"
#include "tests/ui/ListText.h"

namespace {

class MainWindowTest : public ::testing::Test {
 protected:
  MainWindowTest() {
    for (const char* name :
         {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR", "DAM_DATA_DIR"}) {
      setenv(name, folder.Path().c_str(), 1);
    }
    setenv("DAM_REGISTRY_FILE", folder.File("drivers.registry").c_str(), 1);
    EXPECT_EQ(dam::DriverModule(DAM_MODULE_PATH).RegisterServer(), 0);
    std::ofstream(config, std::ios::binary)
        << "NAME=Line A\r\nACTIVE=1\r\nDATALINK=" << historian
        << "\r\nSUBGROUPINTERVAL=1\r\nSUBGROUPUNIT=2\r\nDESCRIPTOR=1\tParts\tP-1\r\n";
    // A message box would wait for a user who never comes: close it and fail.
    connect(watchdog);
  }
  ~MainWindowTest() override {
    for (const char* name : {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR", "DAM_DATA_DIR",
                             "DAM_REGISTRY_FILE"}) {
      unsetenv(name);
    }
  }
  static void connect(QTimer* timer) {
    QObject::connect(timer, &QTimer::timeout, [] {
      if (QWidget* modal = QApplication::activeModalWidget()) {
        ADD_FAILURE() << "a modal window was shown: " << modal->windowTitle().toStdString();
        modal->close();
      }
    });
    timer->start(200);
  }
  void Click(dam::MainWindow& window, const char* button) {
    window.findChild<QPushButton*>(button)->click();
    QApplication::processEvents();
  }
  static std::string State(dam::MainWindow& window, int row) {
    return window.findChild<QTreeWidget*>("lvwDrivers")->topLevelItem(row)->text(2).toStdString();
  }

  testsupport::TempFolder folder;
  std::string historian =
      testsupport::CreateSqliteDatabase(folder.File("historian.db"), testsupport::kHistorianTables);
  std::string config = folder.File("line-a.cfg");
  QTimer watchdog_;
  QTimer* watchdog = &watchdog_;
};

TEST_F(MainWindowTest, ButtonsActOnTheSelectedDriverAndClosingUnloadsEveryOne) {
  dam::MainWindow window({config, folder.File("missing.cfg")}, "", "oxaGEPDAD6.Version1");
  window.show();
  auto* list = window.findChild<QTreeWidget*>("lvwDrivers");
  const std::vector<std::string> rows = uitest::Rows(*list);
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], "Line A | oxaGEPDAD6.Version1 | stopped | 0 | none");
  EXPECT_TRUE(rows[1].starts_with("missing | oxaGEPDAD6.Version1 | not loaded |  | ")) << rows[1];
  EXPECT_NE(rows[1].find("missing.cfg"), std::string::npos) << rows[1];

  list->setCurrentItem(list->topLevelItem(1));
  for (const char* button : {"bnStart", "bnStop", "bnPause", "bnSetup", "bnActivity", "bnAbout"}) {
    EXPECT_FALSE(window.findChild<QPushButton*>(button)->isEnabled()) << button;
  }
  list->setCurrentItem(list->topLevelItem(0));
  const struct {
    const char* button;
    std::string state;
  } steps[] = {
      {"bnStart", "running"}, {"bnPause", "paused"}, {"bnStop", "stopped"}, {"bnStart", "running"}};
  for (const auto& step : steps) {
    Click(window, step.button);
    EXPECT_EQ(State(window, 0), step.state) << step.button;
  }
  Click(window, "bnActivity");
  QWidget* activity = nullptr;
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (widget->objectName() == "frmActivity" && widget->isVisible()) activity = widget;
  }
  ASSERT_NE(activity, nullptr);

  EXPECT_TRUE(window.close());
  EXPECT_FALSE(activity->isVisible()) << "closed through QueryUnload";
  EXPECT_EQ(State(window, 0), "stopped");
}

std::string FileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

TEST_F(MainWindowTest, ConfirmedSetupRewritesTheFileAndKeepsTheOldOneCancelLeavesIt) {
  const std::string before = FileText(config);
  dam::MainWindow window({config}, "", "oxaGEPDAD6.Version1");
  window.show();
  uitest::WhenModal([](QDialog& dialog) {
    uitest::Control<QLineEdit>(dialog, "txtName").setText("Line B");
    uitest::Control<QPushButton>(dialog, "bnCancel").click();
  });
  Click(window, "bnSetup");
  EXPECT_EQ(FileText(config), before);
  EXPECT_FALSE(std::ifstream(config + ".bak").good());

  uitest::WhenModal([](QDialog& dialog) {
    uitest::Control<QLineEdit>(dialog, "txtName").setText("Line B");
    uitest::Control<QPushButton>(dialog, "bnOK").click();
  });
  Click(window, "bnSetup");
  EXPECT_EQ(FileText(config + ".bak"), before);
  const std::string after = FileText(config);
  EXPECT_TRUE(after.starts_with("NAME=Line B\n")) << after;
  EXPECT_EQ(after.find('\r'), std::string::npos) << "plain lines";
  EXPECT_NE(after.find("DESCRIPTOR=1\tParts\tP-1\n"), std::string::npos) << after;
  EXPECT_EQ(uitest::Rows(*window.findChild<QTreeWidget*>("lvwDrivers")).at(0).substr(0, 9),
            "Line B | ");
  EXPECT_TRUE(window.close());
}

}  // namespace
