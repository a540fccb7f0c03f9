// The host's own components: the driver module and its registry, the platform components'
// save counts and the modes of what they create.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>

#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/host/DriverModule.h"
#include "apps/dam/host/RunStatus.h"
#include "host/DriverRegistry.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Error.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/FileMode.h"
#include "tests/support/Historian.h"

namespace {

constexpr char kClass[] = "oxaGEPDAD6.Version1";

// The host's reading tests the data link; the module's check and the driver's Load of the
// same text take that test, and a reading after the start tests again.
TEST(DriverModule, RegistersCreatesTheDriverAndAStartTestsItsDataLinkOnce) {
  testsupport::TempFolder folder;
  const char* const variables[] = {"DAM_LOG_DIR", "DAM_SETTINGS_DIR", "DAM_COMPONENT_DIR",
                                   "DAM_DATA_DIR"};
  for (const char* name : variables) setenv(name, folder.Path().c_str(), 1);
  setenv("DAM_REGISTRY_FILE", folder.File("drivers.registry").c_str(), 1);
  std::ofstream(folder.File("junk.so")) << "not a library";
  EXPECT_THROW(dam::DriverModule(folder.File("junk.so")), runtime::Error);
  EXPECT_THROW(dam::DriverModule(folder.File("missing.so")), runtime::Error);

  EXPECT_THROW(dam::LoadRegisteredModule(kClass), runtime::Error);
  {
    dam::DriverModule module(DAM_MODULE_PATH);
    EXPECT_EQ(module.RegisterServer(), 0);
    EXPECT_THROW(module.ClassObject("Other.Class"), runtime::Error);
  }

  auto module = dam::LoadRegisteredModule(kClass);
  testsupport::FakeComponents components;
  {
    std::shared_ptr<host::IDriver> driver = module->ClassObject(kClass).CreateInstance(components);
    EXPECT_FALSE(module->CanUnloadNow());
    EXPECT_EQ(driver->State(), 0);
  }
  EXPECT_TRUE(module->CanUnloadNow());

  const std::string historian =
      testsupport::CreateSqliteDatabase(folder.File("historian.db"), testsupport::kHistorianTables);
  const std::string text = "NAME=Line\r\nACTIVE=1\r\nDATALINK=" + historian;
  const auto linkFindings = [&](dam::DriverHandle& handle) {
    size_t count = 0;
    for (const host::CheckFinding& finding : handle.Check(text)) {
      count += finding.text.starts_with("the historian cannot be reached now");
    }
    return count;
  };
  {
    dam::DriverHandle handle;
    handle.OpenModule(kClass);
    handle.Read(text);
    ASSERT_EQ(handle.Reading().DataLinkState(), 6);
    platform::OdbcConnection other;
    other.Open(historian, "", "");
    other.Execute("DROP TABLE ihRawData");
    EXPECT_EQ(linkFindings(handle), 0u) << "the check took the reading's test";
    handle.Create(testsupport::SqliteLink(folder.File("spc.db")), "Line");
    handle.Load(text);
    EXPECT_TRUE(handle.Text().starts_with(text + "\r\nSYNCTIME=")) << handle.Text();
    EXPECT_EQ(linkFindings(handle), 1u) << "the start is over";
    // A reload reads again, and its check takes that reading's test until one lets it go.
    handle.Read(text);
    EXPECT_EQ(handle.Reading().DataLinkState(), 3);
    other.Execute(
        "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value TEXT, "
        "SamplingMode TEXT)");
    EXPECT_EQ(linkFindings(handle), 1u) << "the check took the reload's reading's test";
    handle.DropLinkTest();
    EXPECT_EQ(linkFindings(handle), 0u);
  }

  EXPECT_EQ(module->UnregisterServer(), 0);
  EXPECT_TRUE(host::ReadDriverRegistry().empty());
  for (const char* name : variables) unsetenv(name);
  unsetenv("DAM_REGISTRY_FILE");
}

using Registration = damtest::DamProcesses;

// The registry names the module file itself, whatever path led to it: a service user or
// another working folder reads the same entry.
TEST_F(Registration, StoresTheCanonicalPathOfTheModuleGiven) {
  namespace fs = std::filesystem;
  const std::string module = fs::canonical(DAM_MODULE_PATH).string();
  fs::create_symlink(module, work_.File("link.so"));
  fs::create_symlink(fs::path(module).parent_path(), work_.File("build"));
  fs::create_directory(work_.File("sub"));
  const std::string forms[] = {work_.File("link.so"), work_.File("build/oxaGEPDAD6.so"),
                               work_.File("sub/../link.so"),
                               fs::relative(module, fs::current_path()).string()};
  for (const std::string& form : forms) {
    const auto [exitCode, output] = Dam({"register", QString::fromStdString(form)});
    EXPECT_EQ(exitCode, 0) << output;
    EXPECT_EQ(Read(work_.File("drivers.registry")), std::string(kClass) + '\t' + module + '\n')
        << form;
  }
  const QString path = QString::fromStdString(module);
  const auto [unregistered, said] = Dam({"unregister", path});
  EXPECT_EQ(said, "unregistered " + module + "\n");
  const auto [again, notThere] = Dam({"unregister", path});
  EXPECT_EQ(notThere, module + " was not registered in " + work_.File("drivers.registry") + "\n");

  // A registry edited on Windows is read; one that cannot be read, or with a line that is no
  // registration, is refused as it is, not rewritten without it.
  WriteFile("drivers.registry", "Other.Version1\t/x/other.so\r\n");
  EXPECT_HAS(Dam({"drivers"}).second, "Other.Version1\t/x/other.so\t(missing)\n");
  WriteFile("drivers.registry", "Other.Version1 /x/other.so\n");
  fs::create_directory(work_.File("folder.registry"));
  ASSERT_EQ(mkfifo(work_.File("fifo.registry").c_str(), 0600), 0);
  for (const char* registry : {"drivers.registry", "folder.registry", "fifo.registry"}) {
    environment_.insert("DAM_REGISTRY_FILE", QString::fromStdString(work_.File(registry)));
    for (const QStringList& command :
         {QStringList{"register", path}, QStringList{"unregister", path}, QStringList{"drivers"}}) {
      const auto [status, output] = Dam(command);
      EXPECT_EQ(status, 1) << registry << ' ' << command[0].toStdString() << ": " << output;
      EXPECT_HAS(output, work_.File(registry));
    }
  }
  EXPECT_EQ(Read(work_.File("drivers.registry")), "Other.Version1 /x/other.so\n");
}

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

TEST(PlatformComponents, TwoHostsOnOneDatabaseCountOnlyTheSubgroupsAndErrorsTheirOwn) {
  testsupport::TempFolder folder;
  setenv("DAM_LOG_DIR", folder.Subfolder("log").c_str(), 1);
  const std::string connection = testsupport::SqliteLink(folder.File("spc.db"));
  Host first(connection), second(connection);
  first.Save();
  config::Configuration1 configuration(first.components);
  dam::RunStatus status(first.components, configuration);
  for (Host* host : {&first, &second, &second, &first, &second, &second}) host->Save();
  EXPECT_EQ(first.components.Saves().Count(), 3);
  EXPECT_EQ(second.components.Saves().Count(), 4);
  EXPECT_EQ(status.SavedSubgroups(), 2) << "since the status was made, this host's own";
  first.components.CreateError()->Show("m", "s", "first's fault", 5, "l");
  second.components.CreateError()->Show("m", "s", "second's fault", 5, "l");
  const auto newest = [&] {
    const std::vector<dam::RunError> errors = status.NewErrors();
    return errors.empty() ? "" : errors.back().message;
  };
  EXPECT_EQ(newest(), "first's fault");
  // Log lines are the errors of the driver that wrote them, whatever name they carry.
  for (Host* host : {&second, &first}) {
    host::HostFileSystem& files = host->components.FileSystem();
    files.AppendToFile(files.JoinPath(files.LogFolder(), "oxaGEPDAD6.LOG"),
                       "Line\t2\t2026-11-26 09:00:00\tDown\tno\tthere\tmore\r\n");
  }
  EXPECT_EQ(newest(), "Down: no\tthere");
  EXPECT_EQ(status.ErrorCounts(), (std::map<std::string, int64_t>{{"Down", 1}}));
  // Descriptions that carry numbers stay a bounded set over a long run; the historian's own
  // are told apart all the same.
  host::HostFileSystem& files = first.components.FileSystem();
  for (int n = 0; n < 41; ++n) {
    const std::string description =
        n == 40 ? "Unable to Access Database" : "full (" + std::to_string(n) + " bytes)";
    files.AppendToFile(files.JoinPath(files.LogFolder(), "oxaGEPDAD6.LOG"),
                       "Line\t2026-11-26 09:00:00\t" + description + "\tx\ty\r\n");
  }
  status.NewErrors();
  EXPECT_EQ(status.ErrorCounts().size(), dam::RunStatus::kDistinctErrors + 1);
  EXPECT_EQ(status.ErrorCounts().at(dam::RunStatus::kOtherErrors), 10);
  EXPECT_EQ(status.HistorianErrors(), 1);
  unsetenv("DAM_LOG_DIR");
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
  EXPECT_EQ(testsupport::FileMode(files.SettingsFolder()), 0700u);
  EXPECT_EQ(testsupport::FileMode(temp.File("config")), 0755u)
      << "a folder that was there keeps its mode";
  const std::string settings = files.JoinPath(files.SettingsFolder(), "dam.ini");
  components.OpenSettingsFile(settings)->WriteString("Database", "StrictTests", "1");
  EXPECT_EQ(testsupport::FileMode(settings), 0600u);
  host::RegisterDriver({"Some.Class", "/opt/some.so"});
  EXPECT_EQ(testsupport::FileMode(host::DriverRegistryPath()), 0600u);
  EXPECT_EQ(testsupport::FileMode(temp.File("registry")), 0700u);

  umask(umaskBefore);
  for (const auto& [name, path] : folders) unsetenv(name);
}

}  // namespace
