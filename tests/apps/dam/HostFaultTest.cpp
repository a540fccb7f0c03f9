// Bad days for the host program, through the real dam: the log cannot be written, a
// database is locked, the schedule holds a unit the tables do not know, a connection string
// names code, a module other users could replace (the SPC database going away:
// SpoolHostTest). dam must refuse what is unsafe, say what went wrong and stop when told to.
#include <sys/stat.h>
#include <unistd.h>

#include <QTcpServer>
#include <QThread>
#include <filesystem>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

using HostFaults = damtest::DamProcesses;

// Unknown units are planned around (EngineTest, UnitCodesOutsideTheTable...); the host run
// although check calls them errors logs them and retries, never loops.
TEST_F(HostFaults, UnknownUnitCodesAreLoggedAndRetriedNotLooped) {
  StartHistorian();
  const auto [exitCode, output] =
      Dam({"run", Configuration(damtest::kWeight, 9, 9), "--for", "3", "--force", "--ndjson"});
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_HAS(output, "{\"event\":\"stopped\"");
  const std::string log = Log();
  EXPECT_GE(Count(log, "\r\n"), 1u);
  EXPECT_LE(Count(log, "\r\n"), 3u) << "in three seconds; a 100 ms loop writes thirty: " << log;
  EXPECT_EQ(Count(output, "\"source\":\"collection log\""), Count(log, "\r\n"))
      << "the start's line too: " << output;
  EXPECT_HAS(log, "unit 9");
}

// Another writer holds the historian: each collection fails within the query timeout
// with one line, the next start logs the collection times it ran past, and SIGTERM stops
// dam in time even while a collection waits on the lock without any limit, or a start on a
// historian server that takes the connection and never answers: that start is said not to
// answer once it waits longer than the time limits allow, as a collection would be, and at the
// stop it is left behind, said so, and the run fails with 4 when nothing else ran.
TEST_F(HostFaults, ALockedHistorianFailsInTimeAndSigtermStillStopsTheHost) {
  damtest::CreateLockableHistorian(historian_);
  const auto holder = damtest::Lock(testsupport::SqliteLink(historian_));

  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=2\r\n");
  auto run = Start(DAM_PROGRAM, {"run", Configuration()});
  // The start tests the data link once before the first collection.
  EXPECT_TRUE(WaitFor([&] { return Logged("database is locked"); }, 15)) << Log();
  const size_t first = Count(Log(), "\r\n");
  QThread::msleep(4000);
  const std::string log = Log();
  EXPECT_LE(Count(log, "\r\n") - first, 4u) << "two lines for each collection failing in 2 s";
  EXPECT_HAS(log, "\tCollection Started Late\t");
  Terminate(*run);

  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=0\r\n");
  run = Start(DAM_PROGRAM, {"run", Configuration()});
  QThread::msleep(2500);  // the first collection now waits on the lock for good
  EXPECT_EQ(run->state(), QProcess::Running);
  Terminate(*run);
  const std::string output = run->readAll().toStdString();
  EXPECT_EQ(run->exitCode(), 0) << output;
  EXPECT_HAS(output, "stopped after 0 subgroup(s)");

  holder->Execute("ROLLBACK");
  // The kernel takes the connection; nobody ever answers on it.
  QTcpServer server;
  ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
  // Inside one call for 2 * (10, the default for 0, + 1) + 10 s is stuck.
  WriteFile("settings/dam.ini", "[Connections]\r\nLoginTimeout=0\r\nQueryTimeout=1\r\n");
  const QString silent =
      WriteFile("silent.cfg",
                "NAME=Silent\nACTIVE=1\nDATALINK=Driver={PostgreSQL Unicode};"
                "Server=127.0.0.1;Database=x;Port=" +
                    std::to_string(server.serverPort()) + "\n" + damtest::kWeight);
  for (const bool alone : {false, true}) {
    std::string said;
    if (alone) {
      run = Start(DAM_PROGRAM, {"run", silent, "--for", "1"});
      EXPECT_TRUE(run->waitForFinished(15'000));
    } else {
      run = Start(DAM_PROGRAM, {"run", Configuration(), silent});
      EXPECT_TRUE(Says(*run, said, "Silent: Driver Not Answering: inside one database call", 45))
          << said;
      EXPECT_HAS(said, "Line 1: running");
      Terminate(*run);
    }
    said += run->readAll().toStdString();
    EXPECT_EQ(run->exitCode(), alone ? 4 : 0) << said;
    EXPECT_HAS(said, "silent.cfg: stopped while it waited on a database that does not answer");
  }
}

TEST_F(HostFaults, AnUnwritableLogGoesToStderrAndTheStatusLine) {
  // The log folder is a file: no line can be written there.
  environment_.insert("DAM_LOG_DIR", WriteFile("not-a-folder", "x"));
  const auto [exitCode, output] = Dam({"run", Configuration(), "--for", "3"});
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_TRUE(std::regex_search(output, std::regex("last error [^\n]*Unable to Access Database")))
      << output;
  // Retried once a second, never every tick.
  EXPECT_LE(Count(output, "Unable to Access Database"), 12u) << output;
}

// Opening the SPC database only reads its schema version when it is current: a reader does
// not wait for another program's write lock.
TEST_F(HostFaults, ALockedSpcDatabaseDoesNotHoldReadersUp) {
  Saved(Spc());  // creates the database
  const auto holder = damtest::Lock(Spc());
  auto [exitCode, output] = Dam({"subgroups"});
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_HAS(output, "no subgroups saved");
}

class HostSafety : public damtest::DamProcesses {
 protected:
  // The marker library as evil.so: it creates `marker_` when something loads it.
  HostSafety() {
    environment_.insert("DAM_TEST_MARKER", QString::fromStdString(marker_));
    std::filesystem::copy_file(DAM_MARKER_LIBRARY, library_);
  }
  // The configuration file `name` whose data link is `link`.
  QString LinkedConfiguration(const std::string& name, const std::string& link) {
    return WriteFile(name, "NAME=Line\nACTIVE=1\nDATALINK=" + link + "\n" + damtest::kWeight);
  }
  const std::string marker_ = work_.File("loaded"), library_ = work_.Subfolder("x") + "/evil.so";
};

TEST_F(HostSafety, ConnectionStringsThatNameCodeAreRefusedUnlessTheHostAllowsIt) {
  const QString fileDsn = WriteFile("x/evil.dsn", "[ODBC]\nDRIVER=" + library_ + "\n");
  const std::string spc = "Driver=SQLite3;Database=" + WriteFile("spc.db", "").toStdString();
  const struct {
    QStringList args;
    std::string spcConnection;  // DAM_SPC_CONNECTION
    std::string refused;
    bool loadsWhenAllowed;
  } cases[] = {
      {{"config", "show", LinkedConfiguration("driver.cfg", "Driver=" + library_)},
       "",
       "Driver=" + library_,
       true},
      {{"subgroups", "--spc", QString::fromStdString(spc + ";LoadExt=" + library_)},
       "",
       "LoadExt",
       true},
      // The driver manager starts a key right after a closing brace.
      {{"config", "show",
        LinkedConfiguration("brace.cfg", "Driver=SQLite3;Database={x}Driver=" + library_)},
       "",
       "Driver=" + library_,
       true},
      {{"check",
        LinkedConfiguration("filedsn.cfg", "Database={x}FILEDSN=" + fileDsn.toStdString())},
       "",
       "FILEDSN",
       true},
      // The driver manager would set the variable in dam (libpq loads an SSL key engine named
      // so).
      {{"subgroups"},
       spc + ";DMEnvAttr=SQL_ATTR_UNIXODBC_ENVATTR={PGSSLKEY=" + library_ + ":k}",
       "DMEnvAttr",
       false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.args.join(' ').toStdString());
    std::filesystem::remove(marker_);
    environment_.insert("DAM_SPC_CONNECTION", QString::fromStdString(c.spcConnection));
    WriteFile("settings/dam.ini", "");
    auto [exitCode, output] = Dam(c.args);
    EXPECT_HAS(output, "Connection string refused: " + c.refused);
    EXPECT_HAS(output, "AllowDriverPaths=1");
    EXPECT_FALSE(std::filesystem::exists(marker_)) << "loaded by " << output;

    WriteFile("settings/dam.ini", "[Security]\nAllowDriverPaths=1\n");
    output = Dam(c.args).second;
    EXPECT_LACKS(output, "Connection string refused");
    EXPECT_EQ(std::filesystem::exists(marker_), c.loadsWhenAllowed) << output;
  }
}

// A dam.ini that another user could have written allows nothing: the host warns and keeps
// to the safe default.
TEST_F(HostSafety, SecuritySettingsCountOnlyInADamIniNoOtherUserCanWrite) {
  const QString config = LinkedConfiguration("driver.cfg", "Driver=" + library_);
  const std::string settings = work_.Subfolder("settings");
  const std::string ini =
      WriteFile("settings/dam.ini", "[Security]\nAllowDriverPaths=1\n").toStdString();
  const struct {
    mode_t folderMode, fileMode;
    std::string writable;  // "": no other user could write dam.ini
  } cases[] = {{0755, 0666, ini + " is writable by its group or by others (mode 0666)"},
               {0777, 0644, settings + " is writable by its group or by others (mode 0777)"},
               {0700, 0600, ""}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.writable);
    std::filesystem::remove(marker_);
    ASSERT_EQ(chmod(settings.c_str(), c.folderMode), 0);
    ASSERT_EQ(chmod(ini.c_str(), c.fileMode), 0);
    const auto [exitCode, output] = Dam({"config", "show", config});
    if (c.writable.empty()) {
      EXPECT_LACKS(output, "warning");
      EXPECT_TRUE(std::filesystem::exists(marker_)) << output;
      continue;
    }
    EXPECT_HAS(output,
               "warning: ignoring [Security] AllowDriverPaths in " + ini + ": " + c.writable);
    EXPECT_HAS(output, "Connection string refused: Driver=");
    EXPECT_FALSE(std::filesystem::exists(marker_)) << output;
  }
  chmod(settings.c_str(), 0755);
}

TEST_F(HostSafety, AModuleOrItsWindowsOtherUsersCouldReplaceAreNotLoaded) {
  const std::string folder = work_.Subfolder("modules");
  const std::string module = folder + "/oxaGEPDAD6.so";
  std::filesystem::copy_file(DAM_MODULE_PATH, module);
  const QString config =
      LinkedConfiguration("line.cfg", "Driver=SQLite3;Database=" + work_.File("none.db"));
  const struct {
    mode_t folderMode, moduleMode;
    uid_t owner;
    std::string named;
  } cases[] = {{0777, 0755, geteuid(), folder + " is writable"},
               {0755, 0666, geteuid(), module + " is writable"},
               {0755, 0755, 4242, module + " is owned by user 4242"}};
  const auto trust = [&] {
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(chmod(module.c_str(), 0755), 0);
    ASSERT_EQ(chown(module.c_str(), geteuid(), -1), 0);
    ASSERT_EQ(Dam({"register", QString::fromStdString(module)}).first, 0);
  };
  for (const auto& c : cases) {
    trust();
    ASSERT_EQ(chmod(folder.c_str(), c.folderMode), 0);
    ASSERT_EQ(chmod(module.c_str(), c.moduleMode), 0);
    if (c.owner != geteuid() && chown(module.c_str(), c.owner, -1) != 0) {
      continue;  // only root can give a file away
    }
    for (const QStringList& args : {QStringList{"run", config, "--for", "1"},
                                    QStringList{"register", QString::fromStdString(module)}}) {
      auto [exitCode, output] = Dam(args);
      EXPECT_NE(exitCode, 0) << output;
      EXPECT_HAS(output, "Refusing to load the driver module");
      EXPECT_HAS(output, c.named);
    }
  }

  // The windows beside a trusted module, loaded by the first window.
  trust();
  const std::string windows = work_.Subfolder("modules/windows") + "/oxaGEPDAD6-windows.so";
  std::filesystem::copy_file(DAM_WINDOWS_LIBRARY, windows);
  ASSERT_EQ(chmod(windows.c_str(), 0666), 0);
  environment_.insert("QT_QPA_PLATFORM", "offscreen");
  // The error is shown in a box too, which nobody closes here: read up to its line's end.
  const auto run = Start(DAM_PROGRAM, {"run", config, "--for", "60", "--activity"});
  std::string output;
  while (output.find("location Version1.IDriver_ShowActivity)\n") == std::string::npos &&
         run->waitForReadyRead(30'000)) {
    output += run->readAll().toStdString();
  }
  run->kill();
  run->waitForFinished();
  EXPECT_HAS(output, "Error 75: Refusing to load the driver's windows " + windows + ": " + windows +
                         " is writable by its group or by others (mode 0666)");
}

}  // namespace
