// What the host refuses and how long it waits, through the real dam program: code named
// by a configuration or a connection string, modules other users could replace, and a
// locked SPC database.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <filesystem>

#include "platform/odbc/OdbcConnection.h"
#include "tests/dam/DamProcesses.h"

namespace {

class HostSafety : public damtest::DamProcesses {
 protected:
  HostSafety() { environment_.insert("DAM_TEST_MARKER", QString::fromStdString(Marker())); }

  // The file the marker library creates when something loads it.
  std::string Marker() const { return work_.File("loaded"); }

  void WriteSettings(const std::string& text) { WriteFile("settings/dam.ini", text); }

  // The configuration file `name` whose data link is `link`.
  QString LinkedConfiguration(const std::string& name, const std::string& link) {
    return WriteFile(name, "NAME=Line\nACTIVE=1\nDATALINK=" + link + "\n" + damtest::kWeight);
  }
};

TEST_F(HostSafety, ConnectionStringsThatNameCodeAreRefusedUnlessTheHostAllowsIt) {
  const std::string library = work_.Subfolder("x") + "/evil.so";
  std::filesystem::copy_file(DAM_MARKER_LIBRARY, library);
  WriteFile("spc.db", "");  // an empty SQLite database
  const struct {
    QStringList args;
    std::string refusedKey;
  } cases[] = {
      {{"config", "show", LinkedConfiguration("driver.cfg", "Driver=" + library)},
       "Driver=" + library},
      {{"subgroups", "--spc",
        QString::fromStdString("Driver=SQLite3;Database=" + work_.File("spc.db") +
                               ";LoadExt=" + library)},
       "LoadExt"},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(Marker());
    WriteSettings("");
    auto [exitCode, output] = Dam(c.args);
    EXPECT_NE(output.find("Connection string refused: " + c.refusedKey), std::string::npos)
        << output;
    EXPECT_NE(output.find("AllowDriverPaths=1"), std::string::npos) << output;
    EXPECT_FALSE(std::filesystem::exists(Marker())) << "loaded by " << output;

    WriteSettings("[Security]\nAllowDriverPaths=1\n");
    output = Dam(c.args).second;
    EXPECT_EQ(output.find("Connection string refused"), std::string::npos) << output;
    EXPECT_TRUE(std::filesystem::exists(Marker())) << "the key reached the driver: " << output;
  }
}

TEST_F(HostSafety, ALockedSpcDatabaseFailsWithinTheQueryTimeoutSetting) {
  WriteSettings("[Connections]\nQueryTimeout=1\n");
  Saved(Spc());  // creates the database
  platform::OdbcConnection holder;
  holder.Open(Spc(), "", "");
  holder.Execute("BEGIN EXCLUSIVE");
  QElapsedTimer clock;
  clock.start();
  auto [exitCode, output] = Dam({"subgroups"});
  EXPECT_NE(exitCode, 0);
  EXPECT_NE(output.find("database is locked"), std::string::npos) << output;
  EXPECT_LT(clock.elapsed(), 5000) << output;
}

TEST_F(HostSafety, AModuleOtherUsersCouldReplaceIsNeitherRegisteredNorLoaded) {
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
  for (const auto& c : cases) {
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    ASSERT_EQ(chmod(module.c_str(), 0755), 0);
    ASSERT_EQ(chown(module.c_str(), geteuid(), -1), 0);
    ASSERT_EQ(Dam({"register", QString::fromStdString(module)}).first, 0);
    ASSERT_EQ(chmod(folder.c_str(), c.folderMode), 0);
    ASSERT_EQ(chmod(module.c_str(), c.moduleMode), 0);
    if (c.owner != geteuid() && chown(module.c_str(), c.owner, -1) != 0) {
      continue;  // only root can give a file away
    }
    for (const QStringList& args : {QStringList{"run", config, "--for", "1"},
                                    QStringList{"register", QString::fromStdString(module)}}) {
      auto [exitCode, output] = Dam(args);
      EXPECT_NE(exitCode, 0) << output;
      EXPECT_NE(output.find("Refusing to load the driver module"), std::string::npos) << output;
      EXPECT_NE(output.find(c.named), std::string::npos) << output;
    }
  }
}

}  // namespace
