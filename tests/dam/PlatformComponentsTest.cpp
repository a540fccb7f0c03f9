#include "platform/components/PlatformComponents.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "apps/dam/RunStatus.h"
#include "host/DriverRegistry.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace {

// A host as a driver uses it: one session of its own on the shared database.
struct Host {
  explicit Host(const std::string& connection) : session(components.CreateDatabaseSession()) {
    session->Settings().SetConnection(connection);
    session->Open(1, 0);
  }

  void Save() {
    platform::SpcSubgroup subgroup;
    subgroup.SetDatabase(session);
    subgroup.Save(0);
  }

  platform::PlatformComponents components;
  std::shared_ptr<host::DatabaseSession> session;
};

TEST(PlatformComponents, TwoHostsOnOneDatabaseCountOnlyTheSubgroupsTheirSessionsSaved) {
  testsupport::TempFolder folder;
  setenv("DAM_LOG_DIR", folder.Subfolder("log").c_str(), 1);
  const std::string connection = testsupport::SqliteLink(folder.File("spc.db"));
  Host first(connection), second(connection);
  first.Save();
  config::Configuration1 configuration(first.components);
  dam::RunStatus status(first.components, first.components.Saves(), configuration);
  for (Host* host : {&first, &second, &second, &first, &second, &second}) host->Save();
  EXPECT_EQ(first.components.Saves().Count(), 3);
  EXPECT_EQ(second.components.Saves().Count(), 4);
  EXPECT_EQ(status.SavedSubgroups(), 2) << "since the status was made, this host's own";
  unsetenv("DAM_LOG_DIR");
}

unsigned Mode(const std::string& path) {
  struct stat info {};
  EXPECT_EQ(stat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

TEST(PlatformComponents, FoldersAndFilesTheHostCreatesAreOwnerOnlyWhateverTheUmask) {
  testsupport::TempFolder temp;
  const mode_t umaskBefore = umask(0);
  const std::pair<const char*, std::string> folders[] = {
      {"DAM_LOG_DIR", temp.File("state/log")},
      {"DAM_SETTINGS_DIR", temp.File("config/settings")},
      {"DAM_DATA_DIR", temp.File("data/spc")},
      {"DAM_REGISTRY_FILE", temp.File("registry/oxaDAM/drivers.registry")}};
  for (const auto& [name, path] : folders) setenv(name, path.c_str(), 1);
  mkdir(temp.File("config").c_str(), 0755);
  platform::PlatformComponents components;
  host::HostFileSystem& files = components.FileSystem();
  // The other folders, missing parents and files that were there: FileSystemTest and
  // SetupCommandTest.
  EXPECT_EQ(Mode(files.SettingsFolder()), 0700u);
  EXPECT_EQ(Mode(temp.File("config")), 0755u) << "a folder that was there keeps its mode";
  const std::string settings = files.JoinPath(files.SettingsFolder(), "dam.ini");
  components.OpenSettingsFile(settings)->WriteString("Database", "StrictTests", "1");
  EXPECT_EQ(Mode(settings), 0600u);
  host::RegisterDriver({"Some.Class", "/opt/some.so"});
  EXPECT_EQ(Mode(host::DriverRegistryPath()), 0600u);
  EXPECT_EQ(Mode(temp.File("registry")), 0700u);

  umask(umaskBefore);
  for (const auto& [name, path] : folders) unsetenv(name);
}

}  // namespace
