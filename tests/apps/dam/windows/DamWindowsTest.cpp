// The dam program's windows in this process: the main window and `dam setup`, with the real
// module from a registry of the test's own, the configuration dialog answered the ways a
// user ends it, and the file on disk afterwards.
#include <sys/stat.h>
#include <unistd.h>

#include <QLabel>
#include <QMessageBox>
#include <QProcess>
#include <QThread>
#include <QTreeWidget>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <vector>

#include "apps/dam/host/DriverModule.h"
#include "apps/dam/windows/ChartWindow.h"
#include "apps/dam/windows/MainWindow.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcDialect.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Date.h"
#include "tests/support/DialogDriving.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace {

using Action = std::function<void(QDialog&)>;

const char* const kFolders[] = {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR",
                                "DAM_DATA_DIR"};

std::string FileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

const Action kOkButton = [](QDialog& d) { uitest::Click(d, "bnOK"); };
const Action kEnter = [](QDialog& d) {
  QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &d, Qt::Key_Return);
};
const Action kCancelButton = [](QDialog& d) { uitest::Click(d, "bnCancel"); };

class DamWindowsTest : public ::testing::Test {
 protected:
  DamWindowsTest() {
    for (const char* name : kFolders) setenv(name, state.Path().c_str(), 1);
    setenv("DAM_REGISTRY_FILE", state.File("drivers.registry").c_str(), 1);
    EXPECT_EQ(dam::DriverModule(DAM_MODULE_PATH).RegisterServer(), 0);
  }
  ~DamWindowsTest() override {
    for (const char* name : kFolders) unsetenv(name);
    unsetenv("DAM_REGISTRY_FILE");
  }

  // Acts on the next setup dialog: `rename` is typed into the name box before `end` closes
  // it; `shownName` gets the name the dialog opened with.
  void WhenSetup(const std::string& rename, const Action& end) {
    shownName.clear();
    uitest::WhenModal([=, this](QDialog& dialog) {
      auto& name = uitest::Box(dialog, "txtName");
      shownName = name.text().toStdString();
      if (!rename.empty()) name.setText(QString::fromStdString(rename));
      end(dialog);
    });
  }
  // Runs `dam setup file` and returns its exit status, or -1 with `failure` set for the
  // Failure it raises.
  int Setup(const std::string& file, const std::string& rename, const Action& end) {
    WhenSetup(rename, end);
    return Setup(file);
  }
  int Setup(const std::string& file) {
    dam::SetupOptions options;
    options.config = file;
    try {
      return dam::SetupCommand(options);
    } catch (const apps::Failure& raised) {
      failure = std::to_string(raised.Code()) + " " + raised.what();
      return -1;
    }
  }
  // Acts on the modal windows that come one after another: the dialog, a box, ...
  static void WhenModals(std::vector<Action> actions) {
    if (actions.empty()) return;
    const Action first = actions.front();
    actions.erase(actions.begin());
    uitest::WhenModal([=](QDialog& dialog) {
      WhenModals(actions);
      first(dialog);
    });
  }
  // Answers a message box with `button` ("" for Escape), keeping its text in `told`.
  Action Answer(const QString& button) {
    return [this, button](QDialog& dialog) {
      auto& box = dynamic_cast<QMessageBox&>(dialog);
      told = box.text().toStdString();
      for (QAbstractButton* each : box.buttons()) {
        if (each->text() == button) return each->click();
      }
      QTest::keyClick(&box, Qt::Key_Escape);
    };
  }

  testsupport::TempFolder state;
  testsupport::TempFolder files;
  std::string historian =
      testsupport::CreateSqliteDatabase(state.File("historian.db"), testsupport::kHistorianTables);
  std::string shownName;
  std::string failure;
  std::string told;
};

TEST_F(DamWindowsTest, MainWindowActsOnTheSelectedDriverAndClosingUnloadsEveryOne) {
  const std::string config = files.File("line-a.cfg");
  std::ofstream(config, std::ios::binary)
      << "NAME=Line A\r\nACTIVE=1\r\nDATALINK=" << historian
      << "\r\nSUBGROUPINTERVAL=1\r\nSUBGROUPUNIT=3\r\nDESCRIPTOR=1\tParts\tP-1\r\n";
  const std::string before = FileText(config);
  const std::string copy = files.File("copy.cfg");
  std::filesystem::copy_file(config, copy);
  // A message box would wait for a user who never comes: close it and fail.
  QTimer watchdog;
  QObject::connect(&watchdog, &QTimer::timeout, [] {
    QWidget* modal = QApplication::activeModalWidget();
    if (modal == nullptr || modal->objectName() == "frmConfigure") return;
    ADD_FAILURE() << "a modal window was shown: " << modal->windowTitle().toStdString();
    modal->close();
  });
  watchdog.start(200);

  // The folder stands for its files, as for `dam run`: copy.cfg, and line-a.cfg named before.
  dam::MainWindow window({config, files.File("missing.cfg"), files.Path()}, "",
                         "oxaGEPDAD6.Version1");
  window.show();
  auto* list = window.findChild<QTreeWidget*>("lvwDrivers");
  const auto click = [&](const char* button) {
    uitest::Click(window, button);
    QApplication::processEvents();
  };
  const auto row = [&](int row) { return uitest::Rows(*list).at(row); };
  EXPECT_EQ(row(0), "Line A | oxaGEPDAD6.Version1 | stopped | 0 | none");
  EXPECT_TRUE(row(1).starts_with("missing | oxaGEPDAD6.Version1 | not loaded |  | ")) << row(1);
  EXPECT_NE(row(1).find("missing.cfg"), std::string::npos) << row(1);
  EXPECT_EQ(row(2),
            "Line A | oxaGEPDAD6.Version1 | not loaded |  | its name Line A is the name of " +
                config + " already: their subgroups and log lines could not be told apart");

  list->setCurrentItem(list->topLevelItem(1));
  for (const char* button : {"bnStart", "bnStop", "bnPause", "bnSetup", "bnActivity", "bnAbout"}) {
    EXPECT_FALSE(uitest::Enabled(window, button)) << button;
  }
  list->setCurrentItem(list->topLevelItem(0));
  uitest::ShowActive(window);
  uitest::AltClick(window, Qt::Key_H);
  const auto chartTitles = [] {
    std::string titles;
    for (QWidget* chart : uitest::TopLevels("frmChart")) {
      titles += (chart->isVisible() ? "" : "hidden ") + chart->windowTitle().toStdString() + ";";
    }
    return titles;
  };
  EXPECT_EQ(chartTitles(), "Control Chart - Line A;");
  // Setup: a dialog refused, then cancelled, leaves the file alone and its error shows until
  // the next start; OK rewrites the file and renames the row, and the driver and the chart go
  // by the new name, the name its subgroups carry.
  watchdog.stop();
  WhenModals({[](QDialog& dialog) {
                uitest::Box(dialog, "txtSubgroupInterval").setText("99999999999");
                uitest::Click(dialog, "bnOK");
                uitest::Click(dialog, "bnCancel");
              },
              Answer("OK")});
  click("bnSetup");
  watchdog.start(200);
  EXPECT_EQ(FileText(config), before);
  EXPECT_FALSE(std::filesystem::exists(config + ".bak"));
  EXPECT_EQ(row(0), "Line A | oxaGEPDAD6.Version1 | stopped | 0 | Overflow");
  click("bnStart");
  EXPECT_EQ(row(0), "Line A | oxaGEPDAD6.Version1 | running | 0 | none");
  click("bnStop");
  WhenSetup("Line B", kOkButton);
  click("bnSetup");
  EXPECT_TRUE(FileText(config).starts_with("NAME=Line B\n")) << FileText(config);
  EXPECT_EQ(row(0), "Line B | oxaGEPDAD6.Version1 | stopped | 0 | none");
  EXPECT_EQ(chartTitles(), "Control Chart - Line B;");
  // An edit made outside meanwhile (sed -i) is what the dialog opens with, and stays.
  std::string edited = FileText(config);
  edited.replace(edited.find("SUBGROUPUNIT=3\n"), 15, "SUBGROUPUNIT=9\n");
  std::ofstream(config + ".new", std::ios::binary) << edited;
  std::filesystem::rename(config + ".new", config);
  WhenSetup("", kOkButton);
  click("bnSetup");
  EXPECT_NE(FileText(config).find("\nSUBGROUPUNIT=9\n"), std::string::npos) << FileText(config);

  const std::pair<const char*, std::string> steps[] = {
      {"bnStart", "running"}, {"bnPause", "paused"}, {"bnStop", "stopped"}, {"bnStart", "running"}};
  for (const auto& [button, state] : steps) {
    click(button);
    EXPECT_TRUE(row(0).starts_with("Line B | oxaGEPDAD6.Version1 | " + state)) << button;
  }
  // Not while it runs: a plain message box says so.
  watchdog.stop();
  std::string refused;
  uitest::WhenModal([&](QDialog& dialog) {
    auto& box = dynamic_cast<QMessageBox&>(dialog);
    refused = std::to_string(box.icon()) + " " + box.text().toStdString();
    QTest::keyClick(&box, Qt::Key_Return);
  });
  click("bnSetup");
  watchdog.start(200);
  EXPECT_EQ(refused, "0 Already Running. Can't configure at this time.");
  click("bnActivity");
  QWidget* activity = nullptr;
  for (QWidget* window : uitest::TopLevels("frmActivity")) {
    if (window->isVisible()) activity = window;
  }
  ASSERT_NE(activity, nullptr);
  uitest::ShowActive(window);
  uitest::AltClick(window, Qt::Key_H);
  EXPECT_EQ(chartTitles(), "Control Chart - Line B;");

  // The row shows the newest error, whatever reported it: the schedule the driver logged at
  // the start, then a setup that could not be saved, then a start the driver refused.
  EXPECT_TRUE(
      row(0).ends_with(" | Invalid Schedule: Subgroup unit 9 is not one of 0 (Seconds), "
                       "1 (Minutes), 2 (Hours), 3 (Days)"))
      << row(0);
  click("bnStop");
  std::filesystem::remove(config + ".bak");
  std::filesystem::create_directories(config + ".bak/in");
  watchdog.stop();
  WhenModals({[](QDialog& dialog) {
                uitest::Control<QCheckBox>(dialog, "chkActive").setChecked(false);
                uitest::Click(dialog, "bnOK");
              },
              Answer("OK"), kCancelButton});
  click("bnSetup");
  watchdog.start(200);
  EXPECT_TRUE(
      row(0).ends_with(" | Cannot keep " + config + " as " + config + ".bak: Is a directory"))
      << row(0);
  click("bnStart");
  EXPECT_TRUE(row(0).ends_with(" | the driver did not start (is the configuration active?)"))
      << row(0);

  EXPECT_TRUE(window.close());
  EXPECT_FALSE(activity->isVisible()) << "closed through QueryUnload";
  EXPECT_TRUE(uitest::TopLevels("frmChart").empty());
  EXPECT_TRUE(row(0).starts_with("Line B | oxaGEPDAD6.Version1 | stopped")) << row(0);
}

TEST_F(DamWindowsTest, SetupWritesOnlyOnOkAndReplacesTheFileByANewOneKeepingTheOldAsBak) {
  // A missing file starts from the defaults, named after it.
  const std::string path = files.File("Line 8.v2.cfg");
  EXPECT_EQ(Setup(path, "", kCancelButton), 1);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(Setup(path, "", kOkButton), 0);
  EXPECT_EQ(shownName, "Line 8.v2");
  EXPECT_FALSE(std::filesystem::exists(path + ".bak"));
  // The schedule is anchored on the day the file was made.
  EXPECT_EQ(std::regex_replace(FileText(path), std::regex("\nSYNCTIME=[0-9]+\n"), "\nSYNCTIME=*\n"),
            "NAME=Line 8.v2\nACTIVE=0\nDATALINK=\nSYNCTIME=*\nSUBGROUPINTERVAL=15\nSUBGROUPUNIT=1\n"
            "RETRYINTERVAL=1\nRETRYUNIT=1\n");

  const std::string original =
      "NAME=Line A\nACTIVE=1\nDATALINK=" + historian +
      "\nSUBGROUPINTERVAL=10\nSUBGROUPUNIT=0\nDESCRIPTOR=1\tParts\t%TAG(P)\n"
      "TEST=Fill\tWeight\t%TAG(W)\t\nTEST=Fill\tWeight\t%TAG(W2)\t\n"
      "CONDITION=0\t%TAG(C)\t0\t\nCONDITION=0\t%TAG(R)\t1\t1\n";
  std::ofstream(path, std::ios::binary) << original;
  std::filesystem::permissions(path, std::filesystem::perms(0640));
  // Reads on through whatever the command does to the name.
  std::ifstream earlier(path, std::ios::binary);

  EXPECT_EQ(Setup(path, "Line B", kEnter), 0);
  EXPECT_EQ(shownName, "Line A");
  const std::string text = FileText(path);
  EXPECT_TRUE(text.starts_with("NAME=Line B\nACTIVE=1\nDATALINK=" + historian + "\n")) << text;
  EXPECT_TRUE(
      text.ends_with("DESCRIPTOR=1\tParts\t%TAG(P)\nTEST=Fill\tWeight\t%TAG(W)\t\n"
                     "TEST=Fill\tWeight\t%TAG(W2)\t\nCONDITION=0\t%TAG(C)\t0\t\n"
                     "CONDITION=0\t%TAG(R)\t1\t1\n"))
      << text;
  EXPECT_EQ(FileText(path + ".bak"), original);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(files.Path()), {}), 2)
      << "no temporary file is left";
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(earlier), {}), original)
      << "replaced by a new file, not rewritten";
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640u) << "the owner's mode is kept";

  // Through a link the file it points to is written, keeping its owner and group (only
  // root may give them away); the link stays.
  const std::string link = files.File("link.cfg");
  std::filesystem::create_symlink(path, link);
  const bool root = geteuid() == 0;
  if (root) {
    ASSERT_EQ(chown(path.c_str(), 4321, 4322), 0);
  }
  EXPECT_EQ(Setup(link, "Line C", kOkButton), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_TRUE(FileText(path).starts_with("NAME=Line C\n")) << FileText(path);
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  if (root) {
    EXPECT_EQ(std::pair(status.st_uid, status.st_gid), std::pair(4321u, 4322u));
  }

  // A save that fails is told, and the dialog comes back with the user's text until they
  // give up; the exit status is not Cancel's.
  std::filesystem::permissions(path, std::filesystem::perms(0444));
  WhenModals({[](QDialog& d) {
                uitest::Box(d, "txtName").setText("Line D");
                uitest::Click(d, "bnOK");
              },
              Answer("OK"),
              [this](QDialog& d) {
                shownName = uitest::Box(d, "txtName").text().toStdString();
                kCancelButton(d);
              }});
  EXPECT_EQ(Setup(path), -1);
  EXPECT_EQ(shownName, "Line D");
  EXPECT_EQ(told, path + " is read-only");
  EXPECT_EQ(failure, "6 not saved: " + path + " is read-only");
  EXPECT_TRUE(FileText(path).starts_with("NAME=Line C\n"));

  // A file someone changed since it was read is overwritten only when the user says so;
  // else their text is kept aside.
  std::filesystem::permissions(path, std::filesystem::perms(0640));
  const auto changedMeanwhile = [&](const std::string& theirs) {
    return [&, theirs](QDialog& d) {
      std::ofstream(path, std::ios::binary) << theirs;
      uitest::Box(d, "txtName").setText("Mine");
      uitest::Click(d, "bnOK");
    };
  };
  WhenModals({changedMeanwhile("NAME=Theirs\n"), Answer("")});
  EXPECT_EQ(Setup(path), -1);
  EXPECT_EQ(told, path +
                      " was changed by someone else since it was read. Overwrite their "
                      "change with yours?");
  EXPECT_EQ(FileText(path), "NAME=Theirs\n");
  EXPECT_TRUE(FileText(path + ".mine").starts_with("NAME=Mine\n"));
  EXPECT_EQ(failure, "6 " + path +
                         " was changed by someone else and is left as it is; your "
                         "text is in " +
                         path + ".mine");
  told.clear();
  WhenModals({changedMeanwhile("NAME=Others\n"), Answer("&Overwrite")});
  EXPECT_EQ(Setup(path), 0);
  EXPECT_FALSE(told.empty()) << "asked";
  EXPECT_TRUE(FileText(path).starts_with("NAME=Mine\n"));
  EXPECT_EQ(FileText(path + ".bak"), "NAME=Others\n");
}

// A historian another program holds locked, with no query timeout: `dam select-tag`, `dam
// setup` and the windows of `dam gui` (its setup dialog's OK included), whose collections keep
// QueryTimeout, answer within seconds, waiting for the lock once, not at every step; the list
// and the link box say why.
TEST_F(DamWindowsTest, ALockedHistorianIsToldInSecondsNotWaitedForAtEveryStep) {
  std::ofstream(state.File("dam.ini")) << "[Connections]\nQueryTimeout=0\n";
  const std::string path = files.File("line.cfg");
  std::ofstream(path) << "NAME=Line A\nDATALINK=" + historian + "\nDESCRIPTOR=1\tParts\tP-1\n";
  dam::MainWindow gui({path}, "", "oxaGEPDAD6.Version1");
  platform::OdbcConnection holder;
  holder.Open(historian, "", "");
  holder.Execute("BEGIN EXCLUSIVE");
  std::string row, tip;
  const Action browse = [&](QDialog& browser) {
    const auto& list = uitest::Control<QTreeWidget>(browser, "ListView1");
    row = list.topLevelItem(0)->text(0).toStdString();
    tip = list.toolTip().toStdString();
    uitest::Click(browser, "CancelButton");
  };
  const auto seconds = [](const std::function<void()>& command) {
    const auto start = std::chrono::steady_clock::now();
    command();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  };
  // The link test's wait and not another for the list.
  const double oneWait = 2 * platform::kSpcLockWaitSeconds;
  uitest::WhenModal(browse);
  dam::SelectTagOptions options;
  options.config = path;
  int status = 0;
  EXPECT_LT(seconds([&] { status = dam::SelectTagCommand(options); }), oneWait);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(row, "<Tag Access Error>");
  EXPECT_NE(tip.find("database is locked"), std::string::npos) << tip;
  EXPECT_LT(seconds([&] { status = Setup(path, "", kCancelButton); }), oneWait);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(shownName, "Line A");

  std::string link;
  row.clear();
  uitest::WhenModal([&](QDialog& setup) {
    link = uitest::Box(setup, "txtConnection").toolTip().toStdString();
    auto& descriptors = uitest::Control<QTreeWidget>(setup, "lvwDescriptors");
    descriptors.setCurrentItem(descriptors.topLevelItem(0));
    uitest::WhenModal([&](QDialog& descriptor) {
      uitest::WhenModal(browse);
      uitest::Click(descriptor, "bnItem");
      uitest::Click(descriptor, "CancelButton");
    });
    uitest::Click(setup, "bnEditDesc");
    uitest::Click(setup, "bnCancel");
  });
  EXPECT_LT(seconds([&] { uitest::Click(gui, "bnSetup"); }), oneWait);
  EXPECT_NE(link.find("database is locked"), std::string::npos) << link;
  EXPECT_EQ(row, "<Tag Access Error>");
  // OK: the driver takes the edited text and tests its link again, as does the host's
  // reading of it; neither waits for the lock again.
  uitest::WhenModal([](QDialog& setup) { uitest::Click(setup, "bnOK"); });
  EXPECT_LT(seconds([&] { uitest::Click(gui, "bnSetup"); }), oneWait);
}

// Its collections keep QueryTimeout: a historian locked longer than a window's connection waits
// holds the running line up, and it saves once the lock goes, with no error.
TEST_F(DamWindowsTest, ACollectionOfDamGuiWaitsForALockedHistorianUpToQueryTimeout) {
  std::ofstream(state.File("dam.ini")) << "[Connections]\nQueryTimeout=30\n";
  const std::string path = files.File("line.cfg");
  std::ofstream(path) << "NAME=Line A\nACTIVE=1\nDATALINK=" + historian +
                             "\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT=0\nDESCRIPTOR=1\tParts\tP-1\n"
                             "TEST=Fill\tWeight\t%TAG(W)\t\n";
  {
    platform::OdbcConnection writer;
    writer.Open(historian, "", "");
    writer.Execute("INSERT INTO ihRawData VALUES (?, ?, ?, ?)",
                   std::vector<runtime::Variant>{"W", runtime::MakeDate({2026, 1, 1, 0, 0, 0}), "5",
                                                 "CurrentValue"});
  }
  dam::MainWindow gui({path}, "", "oxaGEPDAD6.Version1");
  auto& list = uitest::Control<QTreeWidget>(gui, "lvwDrivers");
  // Another program: the collection holds up this thread until the lock goes.
  QProcess locker;
  locker.start("sqlite3", {QString::fromStdString(state.File("historian.db"))});
  ASSERT_TRUE(locker.waitForStarted());
  locker.write(("BEGIN EXCLUSIVE;\n.shell sleep " +
                std::to_string(3 * platform::kSpcLockWaitSeconds) + "\nCOMMIT;\n.quit\n")
                   .c_str());
  ASSERT_TRUE(locker.waitForBytesWritten());
  QThread::msleep(500);
  const auto started = std::chrono::steady_clock::now();
  uitest::Click(gui, "bnStart");
  const auto saved = [&] {
    QApplication::processEvents();
    const std::string row = uitest::Rows(list).at(0);
    return row.starts_with("Line A | oxaGEPDAD6.Version1 | running | ") &&
           !row.starts_with("Line A | oxaGEPDAD6.Version1 | running | 0 |");
  };
  for (int wait = 0; wait < 200 && !saved(); ++wait) QThread::msleep(100);
  const std::string row = uitest::Rows(list).at(0);
  EXPECT_TRUE(saved()) << row;
  // The next start reports the collection times the waiting one missed; nothing else shows.
  const std::string error = row.substr(row.rfind(" | ") + 3);
  EXPECT_TRUE(error == "none" || error.starts_with("Collection Started Late: ")) << row;
  EXPECT_GT(std::chrono::steady_clock::now() - started,
            std::chrono::seconds(2 * platform::kSpcLockWaitSeconds))
      << "longer than a window's connection waits";
  locker.waitForFinished();
  uitest::Click(gui, "bnStop");
}

// The chart of the weights (n 2) worked by hand: X 5.75 +- 1.880 * R 1.5, R times 3.267;
// with 20 and 21 added, X 8.7 +- 1.880 * 1.4.
TEST_F(DamWindowsTest, ChartWindowShowsACharacteristicAndReadsAgainWhenItsHostSaved) {
  platform::PlatformComponents components;
  components.SetConfigurationName("Line A");
  auto session =
      std::dynamic_pointer_cast<platform::SpcSession>(components.CreateDatabaseSession());
  session->Initialize(1);
  session->Settings().SetConnection("Driver=SQLite3;Database=" + state.File("spc.db"));
  session->Open(1, 0);
  config::Configuration1 configuration(components);
  configuration.SetData(
      "NAME=Line A\r\nTEST=Fill\tWeight\t1\t\r\nTEST=fill\tWEIGHT\t2\t\r\n"
      "TEST=Fill\tWidth\t3\t\r\nTEST=%TAG(G)\tX\t4\t");
  int minute = 0;
  const auto save = [&](double first, double second, const char* test = "Weight") {
    platform::SpcSubgroup subgroup;
    subgroup.SetDatabase(session);
    subgroup.SetTime(runtime::MakeDate({2026, 11, 23, 9, ++minute, 0}));
    subgroup.LookupTestGroup("Fill");
    subgroup.LookupTest(test);
    subgroup.AddReading(first, 1, 0, "", "");
    subgroup.AddReading(second, 2, 0, "", "");
    subgroup.Save(0);
  };
  for (const auto& [first, second] : {std::pair(5, 7), {6, 6}, {8, 5}, {4, 5}}) save(first, second);

  dam::ChartWindow chart(session, components.Saves(), configuration);
  uitest::ShowActive(chart);
  auto& tests = uitest::Control<QComboBox>(chart, "cboTest");
  ASSERT_EQ(tests.count(), 2) << "one entry per test; none named by a tag";
  EXPECT_EQ(tests.itemText(1), "Fill/Width");
  const auto& limits = uitest::Control<QTreeWidget>(chart, "lvwLimits");
  const auto& breaks = uitest::Control<QTreeWidget>(chart, "lvwBreaks");
  const auto status = [&] {
    return uitest::Control<QLabel>(chart, "lblStatus").text().toStdString();
  };
  EXPECT_EQ(uitest::Rows(limits),
            (uitest::Lines{"mean | 8.57 | 5.75 | 2.93", "range | 4.9005 | 1.5 | 0"}));
  EXPECT_TRUE(uitest::Rows(breaks).empty());
  EXPECT_EQ(status(), "xbar-r chart, n 2, 4 subgroups");

  // Frozen from the keyboard, the limits stay as a subgroup far off arrives.
  uitest::AltClick(chart, Qt::Key_F);
  EXPECT_TRUE(uitest::Control<QCheckBox>(chart, "chkFreeze").isChecked());
  save(20, 21);
  chart.Refresh();
  EXPECT_EQ(uitest::Rows(limits)[0], "mean | 8.57 | 5.75 | 2.93");
  EXPECT_EQ(uitest::Rows(breaks), (uitest::Lines{"2026-11-23 09:05:00 | mean | 20.5 | 1"}));
  EXPECT_EQ(status(), "xbar-r chart, n 2, 5 subgroups; limits frozen");
  uitest::AltClick(chart, Qt::Key_F);
  EXPECT_EQ(uitest::Rows(limits),
            (uitest::Lines{"mean | 11.332 | 8.7 | 6.068", "range | 4.5738 | 1.4 | 0"}));
  EXPECT_EQ(uitest::Rows(breaks).size(), 4u) << "6, 6 and 4.5 are below 6.068 now";

  uitest::Press(chart, "L>spnLast");
  QTest::keyClick(QApplication::focusWidget(), Qt::Key_A, Qt::ControlModifier);
  QTest::keyClicks(QApplication::focusWidget(), "3");
  EXPECT_EQ(status(), "xbar-r chart, n 2, 3 subgroups");
  uitest::Press(chart, "U>txtRules");
  uitest::Box(chart, "txtRules").setText("2,3");
  uitest::Box(chart, "txtRules").setText("1, 9");
  const std::string refused =
      "Rules are numbers from 1 to 8 separated by commas, as 1,2,3,4; the chart keeps rules 2,3.";
  EXPECT_EQ(status(), refused);
  save(7, 7);
  chart.Refresh();
  EXPECT_EQ(status(), refused) << "as long as the field holds them";
  uitest::Box(chart, "txtRules").setText("2");
  EXPECT_TRUE(uitest::Rows(breaks).empty()) << "rule 1 is off";
  uitest::Press(chart, "C>cboTest M>lvwLimits R>lvwBreaks");

  // Set up anew: the list follows, and the test shown stays shown while it is there.
  configuration.SetData("NAME=Line A\r\nTEST=Fill\tLength\t1\t\r\nTEST=Fill\tWeight\t2\t");
  chart.TestsChanged(configuration);
  EXPECT_EQ(tests.itemText(0), "Fill/Length");
  EXPECT_EQ(tests.currentText(), "Fill/Weight");
  EXPECT_EQ(status(), "xbar-r chart, n 2, 3 subgroups");
  configuration.SetData("NAME=Line A\r\nTEST=Fill\tLength\t1\t");
  chart.TestsChanged(configuration);
  EXPECT_EQ(status(), "No subgroup of Fill/Length saved by Line A yet.");

  // Closed, it reads nothing; shown again, it reads what was saved meanwhile.
  chart.close();
  save(1, 2, "Length");
  chart.Refresh();
  EXPECT_EQ(status(), "No subgroup of Fill/Length saved by Line A yet.");
  uitest::ShowActive(chart);
  EXPECT_EQ(status(), "xbar-r chart, n 2, 1 subgroups");
}

}  // namespace
