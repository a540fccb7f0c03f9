#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "apps/dam/DriverModule.h"
#include "host/DriverRegistry.h"
#include "runtime/Error.h"
#include "tests/dam/DamProcesses.h"
#include "tests/support/FakeComponents.h"
#include "tests/support/TempFolder.h"

namespace {

constexpr char kClass[] = "oxaGEPDAD6.Version1";

TEST(DriverModule, RegistersAndCreatesTheDriverThroughTheRegistry) {
  testsupport::TempFolder folder;
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

  EXPECT_EQ(module->UnregisterServer(), 0);
  EXPECT_TRUE(host::ReadDriverRegistry().empty());
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
}

}  // namespace
