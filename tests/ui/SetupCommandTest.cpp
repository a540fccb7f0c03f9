// `dam setup` in this process: the real module from a registry of the test's own, its
// configuration dialog answered the ways a user ends it, and the file on disk afterwards.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include "apps/dam/Commands.h"
#include "apps/dam/DriverModule.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"
#include "tests/ui/DialogDriving.h"

namespace {

using uitest::Control;
using Action = std::function<void(QDialog&)>;

const char* const kFolders[] = {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR",
                                "DAM_DATA_DIR"};

std::string FileText(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::string> FileNames(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void Key(QDialog& dialog, Qt::Key key) {
  QWidget* focus = QApplication::focusWidget();
  QTest::keyClick(focus != nullptr ? focus : &dialog, key);
}

const Action kOkButton = [](QDialog& d) { Control<QPushButton>(d, "bnOK").click(); };
const Action kEnter = [](QDialog& d) { Key(d, Qt::Key_Return); };
const Action kCancelButton = [](QDialog& d) { Control<QPushButton>(d, "bnCancel").click(); };
const Action kEscape = [](QDialog& d) { Key(d, Qt::Key_Escape); };
const Action kCloseBox = [](QDialog& d) { d.close(); };

class SetupCommandTest : public ::testing::Test {
 protected:
  SetupCommandTest() {
    for (const char* name : kFolders) setenv(name, state.Path().c_str(), 1);
    setenv("DAM_REGISTRY_FILE", state.File("drivers.registry").c_str(), 1);
    EXPECT_EQ(dam::DriverModule(DAM_MODULE_PATH).RegisterServer(), 0);
  }
  ~SetupCommandTest() override {
    for (const char* name : kFolders) unsetenv(name);
    unsetenv("DAM_REGISTRY_FILE");
  }

  // Runs `dam setup file`; `rename` is typed into the name box before `end` closes the
  // dialog. Returns the exit status; `shownName` gets the name the dialog opened with.
  int Setup(const std::string& file, const std::string& rename, const Action& end) {
    shownName.clear();
    uitest::WhenModal([&](QDialog& dialog) {
      auto& name = Control<QLineEdit>(dialog, "txtName");
      shownName = name.text().toStdString();
      if (!rename.empty()) name.setText(QString::fromStdString(rename));
      end(dialog);
      // A dialog the action failed to close would wait for a user who never comes.
      if (dialog.isVisible()) {
        ADD_FAILURE() << "the dialog stayed open";
        dialog.reject();
      }
    });
    dam::SetupOptions options;
    options.config = file;
    return dam::SetupCommand(options);
  }

  testsupport::TempFolder state;
  testsupport::TempFolder files;
  std::string shownName;
};

TEST_F(SetupCommandTest, AMissingFileStartsFromTheDefaultsNamedAfterItAndIsWrittenOnlyOnOk) {
  const struct {
    const char* file;
    Action end;
    int status;
    const char* name;  // opened with
  } cases[] = {
      {"line7.cfg", kOkButton, 0, "line7"}, {"Line 8.v2.cfg", kEnter, 0, "Line 8.v2"},
      {"line9", kOkButton, 0, "line9"},     {"line10.cfg", kCancelButton, 1, "line10"},
      {"line11.cfg", kEscape, 1, "line11"},
  };
  for (const auto& test : cases) {
    const std::string path = files.File(test.file);
    EXPECT_EQ(Setup(path, "", test.end), test.status) << test.file;
    EXPECT_EQ(shownName, test.name) << test.file;
    EXPECT_FALSE(std::filesystem::exists(path + ".bak")) << test.file;
    if (test.status != 0) {
      EXPECT_FALSE(std::filesystem::exists(path)) << test.file;
      continue;
    }
    // The schedule is anchored on the day the file was made.
    const std::string text =
        std::regex_replace(FileText(path), std::regex("\nSYNCTIME=[0-9]+\n"), "\nSYNCTIME=*\n");
    EXPECT_EQ(text, "NAME=" + std::string(test.name) +
                        "\nACTIVE=0\nDATALINK=\nSYNCTIME=*\nSUBGROUPINTERVAL=15\n"
                        "SUBGROUPUNIT=1\nRETRYINTERVAL=1\nRETRYUNIT=1\n")
        << test.file;
  }
}

TEST_F(SetupCommandTest, OkReplacesTheFileKeepingTheOldAsBakAndEveryOtherWayOutLeavesIt) {
  const std::string historian =
      testsupport::CreateSqliteDatabase(state.File("historian.db"), testsupport::kHistorianTables);
  const std::string original =
      "NAME=Line A\nACTIVE=1\nDATALINK=" + historian +
      "\nSUBGROUPINTERVAL=10\nSUBGROUPUNIT=0\nDESCRIPTOR=1\tParts\t%TAG(P)\n"
      "TEST=Fill\tWeight\t%TAG(W)\t\nTEST=Fill\tWeight\t%TAG(W2)\t\n"
      "CONDITION=0\t%TAG(C)\t0\t\nCONDITION=0\t%TAG(R)\t1\t1\n";
  const struct {
    const char* how;
    Action end;
    int status;
  } cases[] = {
      {"OK", kOkButton, 0},   {"Enter", kEnter, 0},        {"Cancel", kCancelButton, 1},
      {"Escape", kEscape, 1}, {"close box", kCloseBox, 1},
  };
  for (const auto& test : cases) {
    testsupport::TempFolder folder;
    const std::string path = folder.File("line-a.cfg");
    std::ofstream(path, std::ios::binary) << original;
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    // Reads on through whatever the command does to the name.
    std::ifstream earlier(path, std::ios::binary);

    EXPECT_EQ(Setup(path, "Line B", test.end), test.status) << test.how;
    EXPECT_EQ(shownName, "Line A") << test.how;
    if (test.status != 0) {
      EXPECT_EQ(FileText(path), original) << test.how;
      EXPECT_EQ(FileNames(folder.Path()), std::vector<std::string>{"line-a.cfg"}) << test.how;
      continue;
    }
    const std::string text = FileText(path);
    EXPECT_TRUE(text.starts_with("NAME=Line B\nACTIVE=1\nDATALINK=" + historian + "\n"))
        << test.how << ": " << text;
    EXPECT_TRUE(
        text.ends_with("DESCRIPTOR=1\tParts\t%TAG(P)\nTEST=Fill\tWeight\t%TAG(W)\t\n"
                       "TEST=Fill\tWeight\t%TAG(W2)\t\nCONDITION=0\t%TAG(C)\t0\t\n"
                       "CONDITION=0\t%TAG(R)\t1\t1\n"))
        << test.how << ": " << text;
    EXPECT_EQ(FileText(path + ".bak"), original) << test.how;
    EXPECT_EQ(FileNames(folder.Path()), (std::vector<std::string>{"line-a.cfg", "line-a.cfg.bak"}))
        << test.how << ": no temporary file is left";
    std::stringstream seen;
    seen << earlier.rdbuf();
    EXPECT_EQ(seen.str(), original) << test.how << ": replaced by a new file, not rewritten";
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u) << test.how << ": the owner's mode is kept";
  }
}

}  // namespace
