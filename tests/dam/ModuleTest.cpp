#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "apps/dam/DriverModule.h"
#include "host/DriverRegistry.h"
#include "runtime/Error.h"
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
  const auto registered = host::ReadDriverRegistry();
  ASSERT_EQ(registered.size(), 1u);
  EXPECT_EQ(registered[0].className, kClass);
  EXPECT_EQ(registered[0].modulePath, DAM_MODULE_PATH);

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

}  // namespace
